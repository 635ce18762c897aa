#include "misc/adaptivitydenoising/NlmDenoiser.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>

#include "foundation/DebugLog.h"
#include "foundation/ParallelFor.h"
#include "misc/adaptivitydenoising/NlmFilters.h"
#include "misc/adaptivitydenoising/utils/ImageOps.h"
#include "misc/adaptivitydenoising/utils/PixelMath.h"

namespace Vespra {

using Detail::loadPixel;
using Detail::meanOfColours;
using Detail::storePixel;

namespace {

struct LevelConstants {
    float normaliserMultiplier;
    float triFilterStep;
    float sureStep;
    float maskStep;
    float secondPassStep;
};

const LevelConstants& getLevelConstants(int level) {
    static const LevelConstants COARSE{100.f, 0.09f, 0.01f, 0.01f, 0.01f};
    static const LevelConstants FINE{1.f, 0.66f, 0.06f, 0.05f, 0.05f};
    return level == 2 ? FINE : COARSE;
}

/// Adds the seconds that `function` takes to `seconds`; answers what it answers.
template <class Function>
bool timed(double& seconds, Function&& function) {
    const auto start = std::chrono::steady_clock::now();
    const bool done = function();
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return done;
}

/// Calls `perPixel(pixelIndex)` for all pixels of a `width` x `height` image, by rows.
template <class PerPixel>
void forPixels(Scheduler& scheduler, Pixel size, PerPixel&& perPixel) {
    parallelFor(scheduler, 0, size.y, 20, [&](int y) {
        const std::size_t first = std::size_t(y) * std::size_t(size.x);
        for (std::size_t p = first; p < first + std::size_t(size.x); ++p) {
            perPixel(p);
        }
    });
}

const Feature* findFeature(ArrayView<const Feature> features, FeatureType type) {
    for (const Feature& feature : features) {
        if (feature.config.type == type) {
            return &feature;
        }
    }
    return nullptr;
}

} // namespace

NlmDenoiser::NlmDenoiser(Scheduler& scheduler, DenoisingData&& data)
    : DenoiserBase(scheduler, std::move(data)), sensitivity(data.sensitivity), textureBlur(data.textureBlur) {
    timed(times.featurePreparation, [&] {
        for (FeatureInput& input : features) {
            nlmFeatures.push(prepareFeature(input));
        }
        return true;
    });
    context.range.reset();
}

Feature NlmDenoiser::prepareFeature(FeatureInput& input) {
    Scheduler& scheduler = context.scheduler;
    Feature feature;
    feature.config = input.config;
    feature.config.invK2 = feature.config.invK2 * Float4(1.f / (sensitivity * sensitivity));
    feature.config.varianceScale = feature.config.varianceScale * Float4(sensitivity);
    feature.mean = std::move(input.mean);
    feature.variance = std::move(input.squared);
    if (feature.variance.size() != feature.mean.size()) {
        feature.variance =
            BitmapImpl<Rgb>(feature.mean.width(), feature.mean.height(), Rgb(0.f, 0.f, 0.f, 0.f));
    } else {
        Utils::squaredToVariance(scheduler, feature.variance, feature.mean, passes);
    }

    const Float4 keptLanes =
        feature.config.has(FeatureConfig::CLEAR_LANE_3) ? Float4(1.f, 1.f, 1.f, 0.f) : Float4(1.f);
    Float4 minimum, maximum;
    if (feature.config.has(FeatureConfig::CLEAR_LANE_3)) {
        forPixels(scheduler, feature.mean.size(), [&](std::size_t p) {
            storePixel(feature.mean.data(), p, loadPixel(feature.mean.data(), p) * keptLanes);
            storePixel(feature.variance.data(), p, loadPixel(feature.variance.data(), p) * keptLanes);
        });
    }
    Utils::minMax(scheduler, feature.mean, minimum, maximum);
    const Float4 range = maximum - minimum;
    const Float4 scale =
        select(Detail::equalLanes(range, Float4(0.f)) | isNan(range), Float4(0.f), Float4(1.f) / range);
    forPixels(scheduler, feature.mean.size(), [&](std::size_t p) {
        storePixel(feature.mean.data(), p, scale * (loadPixel(feature.mean.data(), p) - minimum));
        storePixel(feature.variance.data(), p, loadPixel(feature.variance.data(), p) * scale * scale);
    });

    if (feature.config.has(FeatureConfig::PREFILTER)) {
        context.range.beginStep(1.f / 60.f);
        NlmInputs inputs;
        inputs.colour = &feature.mean;
        inputs.variance = &feature.variance;
        inputs.alpha = 1.f;
        inputs.epsilon = 0.000001f;
        inputs.colourFactor = 11.111111f;
        runInPlace(context, NlmVectorFilter<11, 5>(inputs, feature.mean), feature.mean);
    }
    Utils::gradient(context, feature.mean, feature.gradient);
    forPixels(scheduler, feature.mean.size(), [&](std::size_t p) {
        storePixel(feature.gradient.data(), p,
                   max(loadPixel(feature.gradient.data(), p), loadPixel(feature.variance.data(), p)));
    });
    return feature;
}

int NlmDenoiser::groupSize(std::size_t pixels) {
    // The buffers of one element at the peak, on the full level: colour, variance, smoothed
    // variance and output (16 bytes each a pixel), the weight sums (4) and the candidates (96).
    constexpr double BYTES_PER_PIXEL = 164.0;
    constexpr double LEAST_BUDGET = 1024.0 * 1024.0 * 1024.0;
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGE_SIZE);
    const double physical = pages > 0 && pageSize > 0 ? double(pages) * double(pageSize) : 0.0;
    const double budget = std::max(LEAST_BUDGET, physical / 4.0);
    const double fitting = budget / (BYTES_PER_PIXEL * double(std::max<std::size_t>(pixels, 1)));
    return int(std::clamp(fitting, 1.0, double(Detail::MAX_ELEMENTS)));
}

void NlmDenoiser::setFeatureSwitch(const ElementType& elementType) {
    const bool textureElement = elementType == ElementType{1017, 1} || elementType == ElementType{1005, 1};
    for (Feature& feature : nlmFeatures) {
        const bool inWeights = !(textureElement && feature.config.type == FeatureType::VISIBLE_DIFFUSE);
        feature.config.set(FeatureConfig::IN_WEIGHTS, inWeights);
    }
}

NlmDenoiser::LevelImages NlmDenoiser::prepareElement(BitmapImpl<Rgb>&& image,
                                                     BitmapImpl<Rgb>&& squared) const {
    LevelImages element;
    element.colour = std::move(image);
    element.variance = std::move(squared);
    VESPRA_ASSERT(element.colour.size() == passes.size() && element.variance.size() == passes.size());
    element.meanVariance =
        Utils::squaredToClampedVariance(context.scheduler, element.variance, element.colour, passes);
    element.output = BitmapImpl<Rgb>(passes.width(), passes.height(), UNINITIALIZED);
    return element;
}

void NlmDenoiser::filter(Optional<BitmapImpl<Rgb>>& result, BitmapImpl<Rgb>&& image,
                         BitmapImpl<Rgb>&& squared, const ElementType& elementType,
                         Function<bool(float)>&& progress) {
    beginFilter(std::move(progress));
    times = {.featurePreparation = times.featurePreparation};
    result.reset();
    setFeatureSwitch(elementType);
    Detail::debugPrintImpl(u"Filtering with ONE BUFFER");
    Detail::FunctionElapsedTime elapsed(u"NlmDenoiser::filter");
    LevelImages element = prepareElement(std::move(image), std::move(squared));
    if (filterLevel(ArrayView<LevelImages>(&element, 1), nlmFeatures, 1.f, 2, 1.f)) {
        result = std::move(element.output);
    }
    endFilter();
}

void NlmDenoiser::filterElements(ArrayView<const DenoiseElement> elements,
                                 const Function<bool(float)>& progress,
                                 const Function<void(std::size_t, BitmapImpl<Rgb>&&)>& store) {
    beginFilter([&progress](float done) { return progress(done); });
    // The progress function refers to the caller's; it must not outlive this call.
    struct EndFilter {
        NlmDenoiser& denoiser;
        ~EndFilter() { denoiser.endFilter(); }
    } endFilter{*this};
    times = {.featurePreparation = times.featurePreparation};
    const std::size_t count = elements.size();
    const std::size_t limit =
        std::size_t(groupSize(std::size_t(passes.width()) * std::size_t(passes.height())));
    for (std::size_t first = 0; first < count;) {
        // Elements that the features guide alike, as many as fit.
        std::size_t end = first + 1;
        while (end < count && end - first < limit && elements[end].type == elements[first].type) {
            ++end;
        }
        setFeatureSwitch(elements[first].type);
        Detail::debugPrintImpl(
            String::fromUtf8(fmt::format("Filtering {} elements in one sweep", end - first)));
        Detail::FunctionElapsedTime elapsed(u"NlmDenoiser::filterElements");
        Stack<LevelImages> group;
        for (std::size_t index = first; index < end; ++index) {
            BitmapImpl<Rgb> image, squared;
            elements[index].load(image, squared);
            group.push(prepareElement(std::move(image), std::move(squared)));
        }
        const float share = float(end - first) / float(count);
        if (!filterLevel(ArrayView<LevelImages>(group.data(), group.size()), nlmFeatures, 1.f, 2, share)) {
            return;
        }
        for (std::size_t index = first; index < end; ++index) {
            store(index, std::move(group[index - first].output));
        }
        first = end;
    }
}

bool NlmDenoiser::filterLevel(ArrayView<LevelImages> elements, ArrayView<const Feature> features, float scale,
                              int level, float share) {
    const LevelConstants& constants = getLevelConstants(level);
    const std::size_t count = elements.size();
    const float elementShare = share / float(count);
    // The coarse level is timed as a whole by its caller.
    double coarseSeconds = 0.0;
    double& triFilterSeconds = level == 2 ? times.triFilter : coarseSeconds;
    double& sureSeconds = level == 2 ? times.sure : coarseSeconds;
    Detail::debugPrintImpl(u"Smoothing sample variance");
    Stack<BitmapImpl<Rgb>> smoothed;
    for (LevelImages& element : elements) {
        smoothed.push(Utils::blur3(context.scheduler, element.variance, 0.22561f, 0.54878f));
    }

    if (level == 2) {
        Detail::debugPrintImpl(u"Removing outliers");
        for (std::size_t e = 0; e < count; ++e) {
            context.range.beginStep(0.01f * elementShare);
            NlmInputs inputs;
            inputs.colour = &elements[e].colour;
            inputs.variance = &smoothed[e];
            inputs.alpha = 1.f;
            inputs.epsilon = 0.01f * meanOfColours(elements[e].meanVariance).x();
            inputs.colourFactor = 2.0408163f;
            const NlmOutlierRemoval removal(inputs, elements[e].colour, 5.f, false,
                                            findFeature(features, FeatureType::HAIR_IDS));
            if (!timed(times.outlierRemoval,
                       [&] { return runInPlace(context, removal, elements[e].colour); })) {
                return false;
            }
        }
    }

    Detail::debugPrintImpl(String::fromUtf8(fmt::format("FILTERING LEVEL {}", level)));
    context.range.beginStep(constants.triFilterStep * share);
    const int width = elements[0].colour.width();
    const int height = elements[0].colour.height();
    Stack<BitmapImpl<TripleWeight>> triples;
    Stack<BitmapImpl<float>> weightSums;
    Stack<ElementImages> images;
    Stack<TripleWeight*> tripleData;
    Stack<float*> weightSumData;
    for (std::size_t e = 0; e < count; ++e) {
        triples.push(BitmapImpl<TripleWeight>(width, height, UNINITIALIZED));
        weightSums.push(BitmapImpl<float>(width, height, UNINITIALIZED));
        images.push({&elements[e].colour, &smoothed[e], &elements[e].colour});
    }
    for (std::size_t e = 0; e < count; ++e) {
        tripleData.push(triples[e].data());
        weightSumData.push(weightSums[e].data());
    }
    NlmInputs inputs;
    inputs.alpha = 2.f;
    inputs.epsilon = 0.f;
    inputs.features = features;
    inputs.gradientScale = constants.normaliserMultiplier;
    inputs.colourFactor = 1.f;
    const Float4 strengths = Float4(0.4f, 0.7f, 1.5f, 1.f) * Float4(scale);
    const Float4 candidateFactors = (Float4(1.f) / (strengths * strengths)) * Float4(1.f, 1.f, 1.f, 0.f);
    const ArrayView<const ElementImages> imageView(images.data(), images.size());
    const ArrayView<float* const> weightSumView(weightSumData.data(), weightSumData.size());
    const ArrayView<TripleWeight* const> outputs(tripleData.data(), tripleData.size());
    const bool filtered = timed(triFilterSeconds, [&] {
        if (level == 2) {
            return runOutOfPlace(
                context, NlmTriFilter<5, 7>(inputs, imageView, candidateFactors, weightSumView), outputs);
        }
        return runOutOfPlace(context, NlmTriFilter<1, 3>(inputs, imageView, candidateFactors, weightSumView),
                             outputs);
    });
    if (!filtered) {
        return false;
    }
    for (std::size_t e = 0; e < count; ++e) {
        LevelImages& element = elements[e];
        if (!timed(sureSeconds, [&] {
                return filterSure(triples[e], element.colour, element.variance, element.output, level,
                                  elementShare);
            })) {
            return false;
        }
        triples[e] = {};
    }
    if (level < 2) {
        return true;
    }
    if (!timed(times.secondPass, [&] {
            return secondPass(elements, ArrayView<BitmapImpl<Rgb>>(smoothed.data(), smoothed.size()),
                              ArrayView<const BitmapImpl<float>>(weightSums.data(), weightSums.size()),
                              features, scale, share);
        })) {
        return false;
    }
    weightSums = {};
    return mergeLevels(elements, ArrayView<const BitmapImpl<Rgb>>(smoothed.data(), smoothed.size()), features,
                       scale, level, share);
}

bool NlmDenoiser::secondPass(ArrayView<LevelImages> elements, ArrayView<BitmapImpl<Rgb>> smoothed,
                             ArrayView<const BitmapImpl<float>> weightSums, ArrayView<const Feature> features,
                             float scale, float share) {
    Stack<ElementImages> images;
    Stack<BitmapImpl<Rgb>*> outputs;
    for (std::size_t e = 0; e < elements.size(); ++e) {
        BitmapImpl<Rgb>& variance = elements[e].variance;
        if (!Utils::outlierRemoval(context, variance, smoothed[e], 5.f, false)) {
            return false;
        }
        const float* weightSum = weightSums[e].data();
        forPixels(context.scheduler, variance.size(), [&](std::size_t p) {
            const Float4 v = loadPixel(variance.data(), p) / Float4(weightSum[p] + 0.000001f);
            Float4 m = meanOfColours(v);
            m = select(Detail::equalLanes(m, Float4(0.f)) | isNan(m), Float4(0.000001f), m);
            storePixel(variance.data(), p, max(m, v));
        });
        images.push({&elements[e].output, &variance, &elements[e].output});
        outputs.push(&elements[e].output);
    }
    Detail::debugPrintImpl(u"2nd pass filtering");
    context.range.beginStep(getLevelConstants(2).secondPassStep * share);
    NlmInputs inputs;
    inputs.alpha = 0.f;
    inputs.epsilon = 0.f;
    inputs.features = features;
    inputs.gradientScale = 1.f;
    inputs.colourFactor = 1.f / (scale * scale);
    return runInPlace(context,
                      NlmFilter<7, 3>(inputs, ArrayView<const ElementImages>(images.data(), images.size())),
                      ArrayView<BitmapImpl<Rgb>* const>(outputs.data(), outputs.size()));
}

bool NlmDenoiser::mergeLevels(ArrayView<LevelImages> elements, ArrayView<const BitmapImpl<Rgb>> smoothed,
                              ArrayView<const Feature> features, float scale, int level, float share) {
    Scheduler& scheduler = context.scheduler;
    Detail::debugPrintImpl(u"Downscaling image");
    Stack<LevelImages> coarse;
    for (std::size_t e = 0; e < elements.size(); ++e) {
        LevelImages& half = coarse.emplace();
        half.colour = Utils::downscale(scheduler, elements[e].output);
        half.variance = Utils::downscale(scheduler, smoothed[e], true);
        half.meanVariance = elements[e].meanVariance * Float4(0.25f);
        half.output = BitmapImpl<Rgb>(half.colour.width(), half.colour.height(), UNINITIALIZED);
    }
    const ArrayView<const Feature> coarseFeatures = coarseFeaturesOf(features);
    if (!timed(times.coarseLevel, [&] {
            return filterLevel(ArrayView<LevelImages>(coarse.data(), coarse.size()), coarseFeatures,
                               scale * 0.5f, level - 1, share);
        })) {
        return false;
    }
    return timed(times.merge, [&] {
        for (std::size_t e = 0; e < elements.size(); ++e) {
            BitmapImpl<Rgb>& output = elements[e].output;
            Detail::debugPrintImpl(u"Upscaling image");
            const BitmapImpl<Rgb> coarseUp =
                Utils::upscale(scheduler, coarse[e].output, output.width(), output.height());
            const BitmapImpl<Rgb> fineUp =
                Utils::upscale(scheduler, coarse[e].colour, output.width(), output.height());
            Detail::debugPrintImpl(u"Merging levels");
            BitmapImpl<Rgb> gradient;
            if (!Utils::gradient(context, coarseUp, gradient)) {
                return false;
            }
            forPixels(scheduler, output.size(), [&](std::size_t p) {
                const Float4 f = loadPixel(output.data(), p);
                const Float4 c = loadPixel(coarseUp.data(), p);
                const Float4 u = loadPixel(fineUp.data(), p);
                const Float4 t = min(Float4(1.f), sqrt(meanOfColours(loadPixel(gradient.data(), p))) /
                                                      (meanOfColours(f) + Float4(0.000001f)));
                const Float4 merged = t * f + (Float4(1.f) - t) * (c + (f - u));
                storePixel(output.data(), p, min(max(f, max(u, c)), max(min(f, min(u, c)), merged)));
            });
        }
        return true;
    });
}

ArrayView<const Feature> NlmDenoiser::coarseFeaturesOf(ArrayView<const Feature> features) {
    if (coarseFeatures.size() != features.size()) {
        coarseFeatures = {};
        for (const Feature& feature : features) {
            Feature& half = coarseFeatures.emplace();
            half.mean = Utils::downscale(context.scheduler, feature.mean);
            half.variance = Utils::downscale(context.scheduler, feature.variance, true);
            half.gradient = Utils::downscale(context.scheduler, feature.gradient);
        }
    }
    for (std::size_t i = 0; i < features.size(); ++i) {
        coarseFeatures[i].config = features[i].config;
    }
    return coarseFeatures;
}

bool NlmDenoiser::filterSure(const BitmapImpl<TripleWeight>& triple, const BitmapImpl<Rgb>& colour,
                             const BitmapImpl<Rgb>& variance, BitmapImpl<Rgb>& output, int level,
                             float share) {
    Scheduler& scheduler = context.scheduler;
    const LevelConstants& constants = getLevelConstants(level);
    BitmapImpl<Rgb> sure(colour.width(), colour.height(), UNINITIALIZED);
    BitmapImpl<Rgb> bias(colour.width(), colour.height(), UNINITIALIZED);
    forPixels(scheduler, colour.size(), [&](std::size_t p) {
        const TripleWeight& t = triple.data()[p];
        const Float4 u = loadPixel(colour.data(), p);
        const Float4 v = loadPixel(variance.data(), p);
        float risks[3];
        const Rgb* members[3][2] = {
            {&t.value0, &t.derivative0}, {&t.value1, &t.derivative1}, {&t.value2, &t.derivative2}};
        for (int i = 0; i < 3; ++i) {
            const Float4 error = loadPixel(members[i][0], 0) - u;
            risks[i] = Detail::sumOfColours(error * error +
                                            (Float4(2.f) * loadPixel(members[i][1], 0) - Float4(1.f)) * v)
                           .x();
        }
        storePixel(sure.data(), p, Float4(risks[0], risks[1], risks[2], 0.f));
        const bool barred = Detail::sumOfColours(loadPixel(&t.derivative0, 0)).x() >
                            Detail::sumOfColours(loadPixel(&t.derivative1, 0)).x();
        storePixel(bias.data(), p, Float4(barred ? 100000000.f : 1.f, 1.f, 1.f, 1.f));
    });

    Detail::debugPrintImpl(u"Filtering SURE");
    context.range.beginStep(constants.sureStep * 0.5f * share);
    if (!Utils::outlierRemoval(context, sure, sure, 5.f, false)) {
        return false;
    }
    context.range.beginStep(constants.sureStep * 0.5f * share);
    NlmInputs inputs;
    inputs.colour = &colour;
    inputs.variance = &variance;
    inputs.alpha = 1.f;
    inputs.epsilon = 0.000001f;
    inputs.colourFactor = 1.f;
    if (!runInPlace(context, NlmVectorFilter<7, 3>(inputs, sure), sure)) {
        return false;
    }

    Detail::debugPrintImpl(u"Filtering bitmask");
    BitmapImpl<Rgb>& mask = bias;
    forPixels(scheduler, colour.size(), [&](std::size_t p) {
        const Float4 e = loadPixel(bias.data(), p) * abs(loadPixel(sure.data(), p));
        const float e0 = e[0], e1 = e[1], e2 = e[2];
        storePixel(mask.data(), p,
                   Float4(e0 > e1 || e0 > e2 ? 0.f : 1.f, e1 > e0 || e1 > e2 ? 0.f : 1.f,
                          e2 >= e0 || e2 >= e1 ? 0.f : 1.f, 0.f));
    });
    context.range.beginStep(constants.maskStep * share);
    if (!runInPlace(context, NlmFilter<9, 3>(inputs, mask), mask)) {
        return false;
    }
    forPixels(scheduler, colour.size(), [&](std::size_t p) {
        const TripleWeight& t = triple.data()[p];
        const Float4 m = loadPixel(mask.data(), p);
        const Float4 sum = broadcast<0>(m) * loadPixel(&t.value0, 0) +
                           broadcast<1>(m) * loadPixel(&t.value1, 0) +
                           broadcast<2>(m) * loadPixel(&t.value2, 0);
        storePixel(output.data(), p,
                   sum / (broadcast<0>(m) + broadcast<1>(m) + broadcast<2>(m) + Float4(0.000001f)));
    });
    return true;
}

} // namespace Vespra
