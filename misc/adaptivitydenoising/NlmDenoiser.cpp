#include "misc/adaptivitydenoising/NlmDenoiser.h"

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

void NlmDenoiser::filter(Optional<BitmapImpl<Rgb>>& result, BitmapImpl<Rgb>&& image,
                         BitmapImpl<Rgb>&& squared, const ElementType& elementType,
                         Function<bool(float)>&& progress) {
    beginFilter(std::move(progress));
    times = {.featurePreparation = times.featurePreparation};
    result.reset();
    const bool textureElement = elementType == ElementType{1017, 1} || elementType == ElementType{1005, 1};
    for (Feature& feature : nlmFeatures) {
        const bool inWeights = !(textureElement && feature.config.type == FeatureType::VISIBLE_DIFFUSE);
        feature.config.set(FeatureConfig::IN_WEIGHTS, inWeights);
    }
    Detail::debugPrintImpl(u"Filtering with ONE BUFFER");
    Detail::FunctionElapsedTime elapsed(u"NlmDenoiser::filter");

    BitmapImpl<Rgb> colour = std::move(image);
    BitmapImpl<Rgb> variance = std::move(squared);
    VESPRA_ASSERT(colour.size() == passes.size() && variance.size() == passes.size());
    const Float4 meanVariance = Utils::squaredToClampedVariance(context.scheduler, variance, colour, passes);
    BitmapImpl<Rgb> output(passes.width(), passes.height());
    if (filterLevel(colour, variance, meanVariance, nlmFeatures, output, 1.f, 2)) {
        result = std::move(output);
    }
    endFilter();
}

bool NlmDenoiser::filterLevel(BitmapImpl<Rgb>& colour, BitmapImpl<Rgb>& variance, Float4 meanVariance,
                              ArrayView<const Feature> features, BitmapImpl<Rgb>& output, float scale,
                              int level) {
    const LevelConstants& constants = getLevelConstants(level);
    // The coarse level is timed as a whole by its caller.
    double coarseSeconds = 0.0;
    double& triFilterSeconds = level == 2 ? times.triFilter : coarseSeconds;
    double& sureSeconds = level == 2 ? times.sure : coarseSeconds;
    Detail::debugPrintImpl(u"Smoothing sample variance");
    BitmapImpl<Rgb> smoothed = Utils::blur3(context.scheduler, variance, 0.22561f, 0.54878f);

    if (level == 2) {
        Detail::debugPrintImpl(u"Removing outliers");
        context.range.beginStep(0.01f);
        NlmInputs inputs;
        inputs.colour = &colour;
        inputs.variance = &smoothed;
        inputs.alpha = 1.f;
        inputs.epsilon = 0.01f * meanOfColours(meanVariance).x();
        inputs.colourFactor = 2.0408163f;
        const NlmOutlierRemoval removal(inputs, colour, 5.f, false,
                                        findFeature(features, FeatureType::HAIR_IDS));
        if (!timed(times.outlierRemoval, [&] { return runInPlace(context, removal, colour); })) {
            return false;
        }
    }

    Detail::debugPrintImpl(String::fromUtf8(fmt::format("FILTERING LEVEL {}", level)));
    context.range.beginStep(constants.triFilterStep);
    BitmapImpl<TripleWeight> triple(colour.width(), colour.height());
    BitmapImpl<float> weightSum(colour.width(), colour.height());
    NlmInputs inputs;
    inputs.colour = &colour;
    inputs.variance = &smoothed;
    inputs.alpha = 2.f;
    inputs.epsilon = 0.f;
    inputs.features = features;
    inputs.gradientScale = constants.normaliserMultiplier;
    inputs.colourFactor = 1.f;
    const Float4 strengths = Float4(0.4f, 0.7f, 1.5f, 1.f) * Float4(scale);
    const Float4 candidateFactors = (Float4(1.f) / (strengths * strengths)) * Float4(1.f, 1.f, 1.f, 0.f);
    const bool filtered = timed(triFilterSeconds, [&] {
        if (level == 2) {
            return runOutOfPlace(context,
                                 NlmTriFilter<5, 7>(inputs, colour, candidateFactors, weightSum.data()),
                                 triple.data());
        }
        return runOutOfPlace(context, NlmTriFilter<1, 3>(inputs, colour, candidateFactors, weightSum.data()),
                             triple.data());
    });
    if (!filtered) {
        return false;
    }
    if (!timed(sureSeconds, [&] { return filterSure(triple, colour, variance, output, level); })) {
        return false;
    }
    triple = {};
    if (level < 2) {
        return true;
    }
    if (!timed(times.secondPass,
               [&] { return secondPass(variance, smoothed, weightSum, features, output, scale); })) {
        return false;
    }
    return mergeLevels(output, smoothed, meanVariance, features, scale, level);
}

bool NlmDenoiser::secondPass(BitmapImpl<Rgb>& variance, BitmapImpl<Rgb>& smoothed,
                             const BitmapImpl<float>& weightSum, ArrayView<const Feature> features,
                             BitmapImpl<Rgb>& output, float scale) {
    if (!Utils::outlierRemoval(context, variance, smoothed, 5.f, false)) {
        return false;
    }
    forPixels(context.scheduler, variance.size(), [&](std::size_t p) {
        const Float4 v = loadPixel(variance.data(), p) / Float4(weightSum.data()[p] + 0.000001f);
        Float4 m = meanOfColours(v);
        m = select(Detail::equalLanes(m, Float4(0.f)) | isNan(m), Float4(0.000001f), m);
        storePixel(variance.data(), p, max(m, v));
    });
    Detail::debugPrintImpl(u"2nd pass filtering");
    context.range.beginStep(getLevelConstants(2).secondPassStep);
    NlmInputs inputs;
    inputs.colour = &output;
    inputs.variance = &variance;
    inputs.alpha = 0.f;
    inputs.epsilon = 0.f;
    inputs.features = features;
    inputs.gradientScale = 1.f;
    inputs.colourFactor = 1.f / (scale * scale);
    return runInPlace(context, NlmFilter<7, 3>(inputs, output), output);
}

bool NlmDenoiser::mergeLevels(BitmapImpl<Rgb>& output, const BitmapImpl<Rgb>& smoothed, Float4 meanVariance,
                              ArrayView<const Feature> features, float scale, int level) {
    Scheduler& scheduler = context.scheduler;
    Detail::debugPrintImpl(u"Downscaling image");
    BitmapImpl<Rgb> coarseColour = Utils::downscale(scheduler, output);
    BitmapImpl<Rgb> coarseVariance = Utils::downscale(scheduler, smoothed, true);
    const Stack<Feature> coarseFeatures = downscaleFeatures(features);
    BitmapImpl<Rgb> coarseOutput(coarseColour.width(), coarseColour.height());
    if (!timed(times.coarseLevel, [&] {
            return filterLevel(coarseColour, coarseVariance, meanVariance * Float4(0.25f), coarseFeatures,
                               coarseOutput, scale * 0.5f, level - 1);
        })) {
        return false;
    }
    return timed(times.merge, [&] {
        Detail::debugPrintImpl(u"Upscaling image");
        const BitmapImpl<Rgb> coarseUp =
            Utils::upscale(scheduler, coarseOutput, output.width(), output.height());
        const BitmapImpl<Rgb> fineUp =
            Utils::upscale(scheduler, coarseColour, output.width(), output.height());
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
        return true;
    });
}

Stack<Feature> NlmDenoiser::downscaleFeatures(ArrayView<const Feature> features) {
    Stack<Feature> coarse;
    for (const Feature& feature : features) {
        Feature& half = coarse.emplace();
        half.mean = Utils::downscale(context.scheduler, feature.mean);
        half.variance = Utils::downscale(context.scheduler, feature.variance, true);
        half.gradient = Utils::downscale(context.scheduler, feature.gradient);
        half.config = feature.config;
    }
    return coarse;
}

bool NlmDenoiser::filterSure(const BitmapImpl<TripleWeight>& triple, const BitmapImpl<Rgb>& colour,
                             const BitmapImpl<Rgb>& variance, BitmapImpl<Rgb>& output, int level) {
    Scheduler& scheduler = context.scheduler;
    const LevelConstants& constants = getLevelConstants(level);
    BitmapImpl<Rgb> sure(colour.width(), colour.height());
    BitmapImpl<Rgb> bias(colour.width(), colour.height());
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
    context.range.beginStep(constants.sureStep * 0.5f);
    if (!Utils::outlierRemoval(context, sure, sure, 5.f, false)) {
        return false;
    }
    context.range.beginStep(constants.sureStep * 0.5f);
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
    context.range.beginStep(constants.maskStep);
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
