#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "foundation/Bitmap.h"
#include "foundation/Containers.h"
#include "misc/adaptivitydenoising/DenoiseContext.h"
#include "misc/adaptivitydenoising/NlmFeature.h"
#include "misc/adaptivitydenoising/utils/FeatureWeights.h"
#include "misc/adaptivitydenoising/utils/PatchSweep.h"
#include "misc/adaptivitydenoising/utils/RowFrame.h"

// The non-local-means filters of the denoisers. A filter of support S and patch P searches a
// window of side S - P + 1 around each pixel and weighs each neighbour q by how alike the
// patches around p and q are, judged on `colour` with its `variance`; it averages `image`,
// which may be another bitmap of the same size. Each filter runs out of place or in place
// (Detail::runBandsInPlace), answering false when the context asked it to stop.

namespace Vespra {

/// Where an NLM filter takes its distances from, and how it weighs them.
struct NlmInputs {
    const BitmapImpl<Rgb>* colour = nullptr;
    const BitmapImpl<Rgb>* variance = nullptr;
    /// How much of the expected noise a squared difference loses.
    float alpha = 1.f;
    /// Added to the denominator of a distance.
    float epsilon = 0.f;
    /// Features with `FeatureConfig::IN_WEIGHTS` limit the weights; empty for none.
    ArrayView<const Feature> features;
    /// Multiplier of the features' `minGradient`.
    float gradientScale = 1.f;
    /// 1/k² of the colour weight.
    float colourFactor = 1.f;
};

namespace Detail {

/// Whether a pixel is noisy enough for the scalar filters: not black, and its mean variance
/// above 0.0001 times its mean squared colour.
inline bool shouldFilterMean(Float4 colour, Float4 variance) {
    if (all(equalLanes(colour, Float4(0.f)))) {
        return false;
    }
    return meanOfColours(variance).x() > 0.0001f * meanOfColours(colour * colour).x();
}

/// The lane-wise filters' test: some lane's variance above 0.0001 times its squared colour.
inline bool shouldFilterLanes(Float4 colour, Float4 variance) {
    return any(Float4(0.0001f) * colour * colour < variance);
}

/// Accumulators and buffers of one worker, for a tile of a kernel.
template <class Dist, class Shape, class Accumulator>
struct KernelScratch {
    explicit KernelScratch(const FeatureWeights& weights) : weights(weights) {}

    static constexpr std::size_t TILE_PIXELS = std::size_t(BAND_ROWS) * TILE_WIDTH;

    SweepBuffers<Dist, Shape> sweep;
    Array<Accumulator> accumulators = Array<Accumulator>(TILE_PIXELS);
    Array<Float4> featureFactors = Array<Float4>(TILE_PIXELS * FeatureWeights::MAX_FEATURES);
    Array<std::uint8_t> active = Array<std::uint8_t>(TILE_PIXELS);
    /// A copy per worker, as the three-way filter changes its limits per offset.
    FeatureWeights weights;
};

/// Calls `perPixel(tileIndex, p)` for each pixel of `tile`, in rows.
template <class PerPixel>
void forTilePixels(const Tile& tile, PerPixel&& perPixel) {
    for (int y = tile.y0; y < tile.y1; ++y) {
        for (int x = tile.x0; x < tile.x1; ++x) {
            perPixel((y - tile.y0) * TILE_WIDTH + (x - tile.x0),
                     std::size_t(y) * std::size_t(tile.width) + std::size_t(x));
        }
    }
}

/// Tile by tile across the rows [first, end).
template <class Kernel, class TargetRow>
void filterBand(const Kernel& kernel, int first, int end, typename Kernel::Scratch& scratch,
                TargetRow&& targetRow) {
    for (int x0 = 0; x0 < kernel.width; x0 += TILE_WIDTH) {
        const Tile tile{x0, std::min(kernel.width, x0 + TILE_WIDTH), first, end, kernel.width, kernel.height};
        kernel.filterTile(tile, scratch, targetRow);
    }
}

/// Writes the output of `kernel` into `output`, `width` * `height` pixels.
template <class Kernel>
bool runOutOfPlace(DenoiseContext& context, const Kernel& kernel, typename Kernel::Output* output) {
    return runBandsOutOfPlace<typename Kernel::Scratch>(
        context, kernel.height, [&] { return kernel.makeScratch(); },
        [&](int first, int end, typename Kernel::Scratch& scratch) {
            filterBand(kernel, first, end, scratch,
                       [&](int y) { return output + std::size_t(y) * std::size_t(kernel.width); });
        });
}

/// Overwrites `image`, which the kernel may read as its colour or its image.
template <class Kernel>
bool runInPlace(DenoiseContext& context, const Kernel& kernel, BitmapImpl<typename Kernel::Output>& image) {
    return runBandsInPlace<typename Kernel::Scratch>(
        context, image, Kernel::Shape::MARGIN, [&] { return kernel.makeScratch(); },
        [&](int first, int end, typename Kernel::Scratch& scratch, auto& targetRow) {
            filterBand(kernel, first, end, scratch, targetRow);
        });
}

/// What the kernels share: the inputs as raw pointers and the feature weights.
struct KernelInputs {
    KernelInputs(const NlmInputs& inputs, const BitmapImpl<Rgb>& image)
        : colour(inputs.colour->data()), variance(inputs.variance->data()), image(image.data()),
          width(image.width()), height(image.height()), alpha(inputs.alpha), epsilon(inputs.epsilon),
          colourFactor(inputs.colourFactor), weights(inputs.features, inputs.gradientScale),
          noFeatureWeight(negativeExp(Float4(-1.f))) {
        VESPRA_ASSERT(inputs.colour->size() == image.size() && inputs.variance->size() == image.size());
    }

    const Rgb* colour;
    const Rgb* variance;
    const Rgb* image;
    int width;
    int height;
    float alpha;
    float epsilon;
    float colourFactor;
    FeatureWeights weights;
    /// The feature weight without features: e^1, above every colour weight.
    Float4 noFeatureWeight;

    template <class Scratch>
    void prepareFeatureFactors(Scratch& scratch, int tileIndex, std::size_t p) const {
        for (int i = 0; i < weights.size(); ++i) {
            scratch.featureFactors[std::size_t(tileIndex) * FeatureWeights::MAX_FEATURES + std::size_t(i)] =
                weights.pixelFactor(i, p);
        }
    }

    template <class Scratch>
    Float4 featureWeight(const Scratch& scratch, int tileIndex, std::size_t p, std::size_t q) const {
        if (scratch.weights.size() == 0) {
            return noFeatureWeight;
        }
        return scratch.weights.weight(
            p, q, scratch.featureFactors.data() + std::size_t(tileIndex) * FeatureWeights::MAX_FEATURES);
    }
};

struct WeightedSum {
    Float4 weight;
    Float4 sum;
};

/// NLM with one weight per pixel pair from the mean over colours (`LANE_WISE` false), limited by
/// the features, or with a weight per lane and no features (`LANE_WISE` true).
template <int SUPPORT, int PATCH, bool LANE_WISE>
class NlmKernel : public KernelInputs {
public:
    using Shape = SweepShape<(SUPPORT - PATCH) / 2, PATCH>;
    using Dist = std::conditional_t<LANE_WISE, Float4, float>;
    using Output = Rgb;
    using Scratch = KernelScratch<Dist, Shape, WeightedSum>;

    NlmKernel(const NlmInputs& inputs, const BitmapImpl<Rgb>& image) : KernelInputs(inputs, image) {}

    Scratch makeScratch() const { return Scratch(weights); }

    template <class TargetRow>
    void filterTile(const Tile& tile, Scratch& scratch, TargetRow& targetRow) const {
        forTilePixels(tile, [&](int index, std::size_t p) {
            const Float4 c = loadPixel(colour, p);
            const Float4 v = loadPixel(variance, p);
            scratch.active[std::size_t(index)] = LANE_WISE ? shouldFilterLanes(c, v) : shouldFilterMean(c, v);
            scratch.accumulators[std::size_t(index)] = {};
            prepareFeatureFactors(scratch, index, p);
        });
        auto visit = [&](int index, std::size_t p, std::size_t q, Dist distance, Dist) {
            if (!scratch.active[std::size_t(index)]) {
                return;
            }
            Float4 w;
            if constexpr (LANE_WISE) {
                w = negativeExp(distance * Float4(colourFactor));
            } else {
                w = min(negativeExp(Float4(distance * colourFactor)), featureWeight(scratch, index, p, q));
            }
            WeightedSum& sum = scratch.accumulators[std::size_t(index)];
            sum.weight += w;
            sum.sum += w * loadPixel(image, q);
        };
        sweepTile<Shape, Dist>(
            tile, scratch.sweep, colour, variance, alpha, epsilon, false, [](int, int) {}, eachPixel(visit));
        forTilePixels(tile, [&](int index, std::size_t p) {
            const WeightedSum& sum = scratch.accumulators[std::size_t(index)];
            const Float4 result =
                scratch.active[std::size_t(index)] ? sum.sum / sum.weight : loadPixel(image, p);
            const int y = int(p / std::size_t(width));
            storePixel(targetRow(y), p - std::size_t(y) * std::size_t(width), result);
        });
    }
};

struct TripleSums {
    StaticArray<Float4, 3> values;
    StaticArray<Float4, 3> perturbedValues;
    Float4 weights;
    Float4 perturbedWeights;
};

/// Three NLM candidates at once, with patches of side SMALL_PATCH for the first and PATCH for
/// the other two, and for each a perturbed run whose change estimates the derivative of the
/// output with respect to the input, for the risk estimate that picks among them.
template <int SMALL_PATCH, int PATCH>
class NlmTriKernel : public KernelInputs {
public:
    using Shape = SweepShape<(19 - PATCH) / 2, PATCH, SMALL_PATCH>;
    using Dist = float;
    using Output = TripleWeight;
    using Scratch = KernelScratch<float, Shape, TripleSums>;

    NlmTriKernel(const NlmInputs& inputs, const BitmapImpl<Rgb>& image, Float4 candidateFactors,
                 float* weightSum)
        : KernelInputs(inputs, image), candidateFactors(candidateFactors * Float4(inputs.colourFactor)),
          weightSum(weightSum) {}

    Scratch makeScratch() const { return Scratch(weights); }

    template <class TargetRow>
    void filterTile(const Tile& tile, Scratch& scratch, TargetRow& targetRow) const {
        // Pixels near an edge use the large patch for all candidates: 1 inside, 2 near an edge.
        forTilePixels(tile, [&](int index, std::size_t p) {
            const int y = int(p / std::size_t(width));
            const int x = int(p - std::size_t(y) * std::size_t(width));
            const bool border =
                std::min(std::min(x, y), std::min(width - 1 - x, height - 1 - y)) < Shape::MARGIN;
            const bool filtered = shouldFilterMean(loadPixel(colour, p), loadPixel(variance, p));
            scratch.active[std::size_t(index)] = filtered ? (border ? 2 : 1) : 0;
            scratch.accumulators[std::size_t(index)] = {};
            prepareFeatureFactors(scratch, index, p);
        });
        sweepTile<Shape, float>(
            tile, scratch.sweep, colour, variance, alpha, epsilon, false,
            [&](int dx, int dy) {
                scratch.weights.beginOffset(std::max(1.f, std::sqrt(float(dx * dx + dy * dy))));
            },
            [&](int rowIndex, int firstColumn, int endColumn, std::size_t rowStart, std::ptrdiff_t offset,
                const float* distances, const float* smallDistances) {
                for (int c = firstColumn; c < endColumn; c += 4) {
                    accumulateFour(scratch, rowIndex + c, rowStart + std::size_t(c), offset, distances + c,
                                   smallDistances + c, std::min(4, endColumn - c));
                }
            });
        forTilePixels(tile, [&](int index, std::size_t p) {
            const int y = int(p / std::size_t(width));
            TripleWeight& out = targetRow(y)[p - std::size_t(y) * std::size_t(width)];
            const Float4 centre = loadPixel(image, p);
            if (!scratch.active[std::size_t(index)]) {
                weightSum[p] = 1000.f;
                for (Rgb* member : {&out.value0, &out.derivative0, &out.value1, &out.derivative1, &out.value2,
                                    &out.derivative2}) {
                    storePixel(member, 0, centre);
                }
                return;
            }
            const TripleSums& sums = scratch.accumulators[std::size_t(index)];
            weightSum[p] = sums.weights[1];
            const Float4 scale = Float4(1.f) / (Float4(0.01f) * meanOfColours(centre) + Float4(0.000001f));
            const Float4 values[3] = {sums.values[0] / broadcast<0>(sums.weights),
                                      sums.values[1] / broadcast<1>(sums.weights),
                                      sums.values[2] / broadcast<2>(sums.weights)};
            const Float4 perturbedValues[3] = {sums.perturbedValues[0] / broadcast<0>(sums.perturbedWeights),
                                               sums.perturbedValues[1] / broadcast<1>(sums.perturbedWeights),
                                               sums.perturbedValues[2] / broadcast<2>(sums.perturbedWeights)};
            Rgb* members[3][2] = {{&out.value0, &out.derivative0},
                                  {&out.value1, &out.derivative1},
                                  {&out.value2, &out.derivative2}};
            for (int i = 0; i < 3; ++i) {
                storePixel(members[i][0], 0, values[i]);
                storePixel(members[i][1], 0, (perturbedValues[i] - values[i]) * scale);
            }
        });
    }

private:
    /// Up to four neighbouring pixels at once, so that their weights share the exponentials.
    void accumulateFour(Scratch& scratch, int index, std::size_t p0, std::ptrdiff_t offset,
                        const float* distances, const float* smallDistances, int count) const {
        const std::uint8_t* states = scratch.active.data() + index;
        if ((count < 1 || states[0] == 0) && (count < 2 || states[1] == 0) && (count < 3 || states[2] == 0) &&
            (count < 4 || states[3] == 0)) {
            return;
        }
        const Float4 epsilon4(epsilon);
        alignas(16) float candidate0[4], terms[4];
        Float4 perturbations[4];
        for (int i = 0; i < 4; ++i) {
            // Lanes beyond `count` repeat the first pixel and are never accumulated.
            const int at = i < count ? i : 0;
            const std::size_t p = p0 + std::size_t(at);
            const std::size_t q = std::size_t(std::ptrdiff_t(p) + offset);
            candidate0[i] = states[at] == 1 ? smallDistances[at] : distances[at];
            const Float4 cp = loadPixel(colour, p);
            const Float4 vp = loadPixel(variance, p);
            perturbations[i] = (cp - loadPixel(colour, q)) * cp /
                               (epsilon4 + vp + min(loadPixel(variance, q), Float4(1000.f) * vp));
            terms[i] = scratch.weights.size() == 0
                           ? -1.f
                           : scratch.weights
                                 .term(p, q,
                                       scratch.featureFactors.data() +
                                           std::size_t(index + at) * FeatureWeights::MAX_FEATURES)
                                 .x();
        }
        const Float4 wf = negativeExp(Float4::load(terms));
        const Float4 t =
            sumsOfColours(perturbations[0], perturbations[1], perturbations[2], perturbations[3]) *
            Float4(0.02f / 3.f / float(PATCH * PATCH));
        const Float4 c = Float4::load(candidate0);
        const Float4 e = Float4::loadUnaligned(distances);
        Float4 w[4] = {min(negativeExp(c * broadcast<0>(candidateFactors)), wf),
                       min(negativeExp(e * broadcast<1>(candidateFactors)), wf),
                       min(negativeExp(e * broadcast<2>(candidateFactors)), wf), Float4()};
        Float4 perturbed[4] = {min(negativeExp((c + t) * broadcast<0>(candidateFactors)), wf),
                               min(negativeExp((e + t) * broadcast<1>(candidateFactors)), wf),
                               min(negativeExp((e + t) * broadcast<2>(candidateFactors)), wf), Float4()};
        // Per pixel: lanes (candidate 0, 1, 2, 0).
        _MM_TRANSPOSE4_PS(w[0].v, w[1].v, w[2].v, w[3].v);
        _MM_TRANSPOSE4_PS(perturbed[0].v, perturbed[1].v, perturbed[2].v, perturbed[3].v);
        for (int i = 0; i < count; ++i) {
            if (states[i] == 0) {
                continue;
            }
            const Float4 value = loadPixel(image, std::size_t(std::ptrdiff_t(p0) + i + offset));
            const Float4 perturbedValue = value * Float4(1.01f);
            TripleSums& sums = scratch.accumulators[std::size_t(index + i)];
            sums.values[0] += broadcast<0>(w[i]) * value;
            sums.values[1] += broadcast<1>(w[i]) * value;
            sums.values[2] += broadcast<2>(w[i]) * value;
            sums.perturbedValues[0] += broadcast<0>(perturbed[i]) * perturbedValue;
            sums.perturbedValues[1] += broadcast<1>(perturbed[i]) * perturbedValue;
            sums.perturbedValues[2] += broadcast<2>(perturbed[i]) * perturbedValue;
            sums.weights += w[i];
            sums.perturbedWeights += perturbed[i];
        }
    }

    Float4 candidateFactors;
    float* weightSum;
};

/// Replaces a pixel that its 8 neighbours, weighed by NLM, cannot explain within `gamma` times
/// their spread: the replacement is a neighbour just above the median brightness.
class NlmOutlierKernel : public KernelInputs {
public:
    using Shape = SweepShape<1, 3>;
    using Dist = float;
    using Output = Rgb;
    using Scratch = KernelScratch<float, Shape, WeightedSum>;

    NlmOutlierKernel(const NlmInputs& inputs, const BitmapImpl<Rgb>& image, float gamma, bool markOnly,
                     const Feature* exclude)
        : KernelInputs(inputs, image), gamma(gamma), markOnly(markOnly),
          exclude(exclude ? exclude->mean.data() : nullptr) {}

    Scratch makeScratch() const { return Scratch(weights); }

    template <class TargetRow>
    void filterTile(const Tile& tile, Scratch& scratch, TargetRow& targetRow) const {
        forTilePixels(tile, [&](int index, std::size_t p) {
            const bool excluded = exclude && meanOfColours(loadPixel(exclude, p)).x() > 0.f;
            scratch.active[std::size_t(index)] =
                !excluded && shouldFilterMean(loadPixel(colour, p), loadPixel(variance, p));
            scratch.accumulators[std::size_t(index)] = {};
            prepareFeatureFactors(scratch, index, p);
        });
        auto visit = [&](int index, std::size_t p, std::size_t q, float distance, float) {
            if (!scratch.active[std::size_t(index)]) {
                return;
            }
            const Float4 w =
                min(negativeExp(Float4(distance * colourFactor)), featureWeight(scratch, index, p, q));
            WeightedSum& sum = scratch.accumulators[std::size_t(index)];
            sum.weight += w;
            sum.sum += w * loadPixel(image, q);
        };
        sweepTile<Shape, float>(
            tile, scratch.sweep, colour, variance, alpha, epsilon, true, [](int, int) {}, eachPixel(visit));
        forTilePixels(tile, [&](int index, std::size_t p) {
            const int y = int(p / std::size_t(width));
            const int x = int(p - std::size_t(y) * std::size_t(width));
            const Float4 pixel = loadPixel(image, p);
            const Float4 result = scratch.active[std::size_t(index)]
                                      ? filterPixel(scratch.accumulators[std::size_t(index)], x, y, pixel)
                                      : pixel;
            storePixel(targetRow(y), std::size_t(x), result);
        });
    }

private:
    Float4 filterPixel(const WeightedSum& sum, int x, int y, Float4 pixel) const {
        if (!(meanOfColours(sum.weight).x() > 0.f)) {
            return pixel;
        }
        StaticArray<Float4, 8> neighbours;
        int count = 0;
        Float4 total, squares;
        for (int ny = std::max(0, y - 1); ny <= std::min(height - 1, y + 1); ++ny) {
            for (int nx = std::max(0, x - 1); nx <= std::min(width - 1, x + 1); ++nx) {
                if (nx == x && ny == y) {
                    continue;
                }
                const Float4 q = loadPixel(image, std::size_t(ny) * std::size_t(width) + std::size_t(nx));
                neighbours[std::size_t(count++)] = q;
                total += q;
                squares += q * q;
            }
        }
        const Float4 c = sum.sum / sum.weight;
        const Float4 m = total * Float4(1.f / 9.f);
        const Float4 s2 = squares * Float4(1.f / 9.f);
        const Float4 v = meanOfColours(c * c + s2 - Float4(2.f) * c * m);
        const Float4 difference = c - pixel;
        const Float4 inside =
            difference * difference < Float4(std::max(epsilon, 0.000001f)) + Float4(gamma) * v;
        if ((_mm_movemask_ps(inside.v) & 7) == 7) {
            return pixel;
        }
        if (markOnly) {
            return Float4(100000000.f, 0.f, 0.f, 0.f);
        }
        sortByBrightness(neighbours.data(), count);
        return neighbours[std::size_t(std::min(count - 1, 1 + std::max(count - 2, 2) / 2))];
    }

    float gamma;
    bool markOnly;
    const Rgb* exclude;
};

} // namespace Detail

/// NLM weighted by the mean colour distance and the features.
template <int SUPPORT, int PATCH>
using NlmFilter = Detail::NlmKernel<SUPPORT, PATCH, false>;

/// NLM with a weight per lane and no features.
template <int SUPPORT, int PATCH>
using NlmVectorFilter = Detail::NlmKernel<SUPPORT, PATCH, true>;

/// The three candidates of a level: <19, 5, 7> at full resolution, <19, 1, 3> at half.
template <int SMALL_PATCH, int PATCH>
using NlmTriFilter = Detail::NlmTriKernel<SMALL_PATCH, PATCH>;

/// NLM-based removal of single bright pixels; `exclude` (may be null) protects pixels where its
/// mean is above 0.
using NlmOutlierRemoval = Detail::NlmOutlierKernel;

using Detail::runInPlace;
using Detail::runOutOfPlace;

} // namespace Vespra
