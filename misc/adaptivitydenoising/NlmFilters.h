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
#include "misc/adaptivitydenoising/utils/TriAccumulation.h"

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
template <class Dist, class Shape>
struct KernelScratch {
    static constexpr std::size_t TILE_PIXELS = std::size_t(BAND_ROWS) * TILE_WIDTH;

    SweepBuffers<Dist, Shape> sweep;
    /// The sums of the weights and of the weighted pixels, apart so that they are runs of floats.
    Array<Float4> weightSums = Array<Float4>(TILE_PIXELS);
    Array<Float4> valueSums = Array<Float4>(TILE_PIXELS);
    Array<Float4> featureFactors = Array<Float4>(TILE_PIXELS * FeatureWeights::MAX_FEATURES);
    Array<std::uint8_t> active = Array<std::uint8_t>(TILE_PIXELS);
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
        if (weights.size() == 0) {
            return noFeatureWeight;
        }
        return weights.weight(
            p, q, scratch.featureFactors.data() + std::size_t(tileIndex) * FeatureWeights::MAX_FEATURES);
    }

    /// A visitor of pixel pairs that adds neighbour q, at patch distance `distance`, to the sums of
    /// tile pixel `index` (at p), weighted by colour and features; inactive pixels take nothing.
    template <class Scratch>
    auto weightedSums(Scratch& scratch) const {
        return [this, &scratch](int index, std::size_t p, std::size_t q, float distance, float) {
            if (!scratch.active[std::size_t(index)]) {
                return;
            }
            const Float4 w =
                min(negativeExp(Float4(distance * colourFactor)), featureWeight(scratch, index, p, q));
            scratch.weightSums[std::size_t(index)] += w;
            scratch.valueSums[std::size_t(index)] += w * loadPixel(image, q);
        };
    }
};

/// NLM with one weight per pixel pair from the mean over colours (`LANE_WISE` false), limited by
/// the features, or with a weight per lane and no features (`LANE_WISE` true).
template <int SUPPORT, int PATCH, bool LANE_WISE>
class NlmKernel : public KernelInputs {
public:
    using Shape = SweepShape<(SUPPORT - PATCH) / 2, PATCH>;
    using Dist = std::conditional_t<LANE_WISE, Float4, float>;
    using Output = Rgb;
    using Scratch = KernelScratch<Dist, Shape>;

    NlmKernel(const NlmInputs& inputs, const BitmapImpl<Rgb>& image) : KernelInputs(inputs, image) {}

    Scratch makeScratch() const { return Scratch(); }

    template <class TargetRow>
    void filterTile(const Tile& tile, Scratch& scratch, TargetRow& targetRow) const {
        forTilePixels(tile, [&](int index, std::size_t p) {
            const Float4 c = loadPixel(colour, p);
            const Float4 v = loadPixel(variance, p);
            scratch.active[std::size_t(index)] = LANE_WISE ? shouldFilterLanes(c, v) : shouldFilterMean(c, v);
            scratch.weightSums[std::size_t(index)] = Float4();
            scratch.valueSums[std::size_t(index)] = Float4();
            prepareFeatureFactors(scratch, index, p);
        });
        if constexpr (LANE_WISE) {
            sweepTile<Shape, Dist>(
                tile, scratch.sweep, colour, variance, alpha, epsilon, false, [](int, int) {},
                [&](int rowIndex, int firstColumn, int endColumn, std::size_t rowStart, std::ptrdiff_t offset,
                    const Float4* distances, const Float4*) {
                    addLaneWeights(scratch, rowIndex, firstColumn, endColumn, rowStart, offset, distances);
                });
        } else {
            auto visit = weightedSums(scratch);
            sweepTile<Shape, Dist>(
                tile, scratch.sweep, colour, variance, alpha, epsilon, false, [](int, int) {},
                eachPixel(visit));
        }
        forTilePixels(tile, [&](int index, std::size_t p) {
            const Float4 result =
                scratch.active[std::size_t(index)]
                    ? scratch.valueSums[std::size_t(index)] / scratch.weightSums[std::size_t(index)]
                    : loadPixel(image, p);
            const int y = int(p / std::size_t(width));
            storePixel(targetRow(y), p - std::size_t(y) * std::size_t(width), result);
        });
    }

private:
    /// One row at once, as runs of floats; the sums of the pixels that are not filtered are
    /// made as well and never read.
    void addLaneWeights(Scratch& scratch, int rowIndex, int firstColumn, int endColumn, std::size_t rowStart,
                        std::ptrdiff_t offset, const Float4* distances) const {
        const std::size_t at = std::size_t(rowIndex + firstColumn);
        const std::size_t q = std::size_t(std::ptrdiff_t(rowStart) + firstColumn + offset);
        Sweep::addLaneWeights(reinterpret_cast<float*>(scratch.weightSums.data() + at),
                              reinterpret_cast<float*>(scratch.valueSums.data() + at),
                              reinterpret_cast<const float*>(distances + firstColumn),
                              reinterpret_cast<const float*>(image + q), colourFactor,
                              4 * (endColumn - firstColumn));
    }
};

/// Buffers of one worker of the three-way filter, laid out as `Tri` describes.
template <class Shape>
struct TriScratch {
    explicit TriScratch(const FeatureWeights& weights) : weights(weights) {}

    SweepBuffers<float, Shape> sweep;
    Array<float> region = Array<float>(Tri::REGION_PLANES * Tri::REGION_PLANE);
    Array<float> factors = Array<float>(4 * FeatureWeights::MAX_FEATURES * Tri::TILE_PLANE);
    Array<float> sums = Array<float>(Tri::SUM_PLANES * Tri::TILE_PLANE);
    Array<std::int32_t> useSmall = Array<std::int32_t>(Tri::TILE_PLANE);
    Array<std::uint8_t> active = Array<std::uint8_t>(Tri::TILE_PLANE);
    Array<float> rowScratch = Array<float>(Tri::ROW_SCRATCH);
    /// Whether a tile row has any pixel to filter.
    StaticArray<bool, BAND_ROWS> rowActive{};
    Tri::OffsetSettings settings;
    /// A copy per worker, as its limits change per offset.
    FeatureWeights weights;
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
    using Scratch = TriScratch<Shape>;
    static_assert(Shape::RADIUS <= Tri::MAX_BORDER);

    NlmTriKernel(const NlmInputs& inputs, const BitmapImpl<Rgb>& image, Float4 candidateFactors,
                 float* weightSum)
        : KernelInputs(inputs, image), candidateFactors(candidateFactors * Float4(inputs.colourFactor)),
          weightSum(weightSum) {}

    Scratch makeScratch() const {
        Scratch scratch(weights);
        Tri::OffsetSettings& settings = scratch.settings;
        settings.epsilon = epsilon;
        settings.perturbationScale = 0.02f / 3.f / float(PATCH * PATCH);
        for (int k = 0; k < 3; ++k) {
            settings.candidateFactors[k] = candidateFactors[k];
        }
        settings.features = weights.size();
        for (int i = 0; i < weights.size(); ++i) {
            for (int lane = 0; lane < 4; ++lane) {
                settings.varianceScales[4 * i + lane] = weights.item(i).varianceScale[lane];
            }
        }
        return scratch;
    }

    template <class TargetRow>
    void filterTile(const Tile& tile, Scratch& scratch, TargetRow& targetRow) const {
        fillRegion(tile, scratch);
        preparePixels(tile, scratch);
        std::ptrdiff_t regionOffset = 0;
        sweepTile<Shape, float>(
            tile, scratch.sweep, colour, variance, alpha, epsilon, false,
            [&](int dx, int dy) {
                scratch.weights.beginOffset(std::max(1.f, std::sqrt(float(dx * dx + dy * dy))));
                for (int i = 0; i < scratch.weights.size(); ++i) {
                    for (int lane = 0; lane < 4; ++lane) {
                        scratch.settings.limits[4 * i + lane] = scratch.weights.item(i).limit[lane];
                    }
                }
                regionOffset = std::ptrdiff_t(dy) * Tri::REGION_STRIDE + dx;
            },
            [&](int rowIndex, int firstColumn, int endColumn, std::size_t, std::ptrdiff_t,
                const float* distances, const float* smallDistances) {
                const int row = rowIndex / TILE_WIDTH;
                if (!scratch.rowActive[std::size_t(row)]) {
                    return;
                }
                const std::size_t at = std::size_t(rowIndex + firstColumn);
                Tri::accumulateRow(scratch.settings, scratch.region.data() + regionIndex(row, firstColumn),
                                   regionOffset, distances + firstColumn, smallDistances + firstColumn,
                                   scratch.useSmall.data() + at, scratch.factors.data() + at,
                                   scratch.sums.data() + at, scratch.rowScratch.data(),
                                   endColumn - firstColumn);
            });
        writeTile(tile, scratch, targetRow);
    }

private:
    /// Where tile pixel (column, row) lies in the region planes.
    static std::size_t regionIndex(int row, int column) {
        return std::size_t(row + Shape::RADIUS) * Tri::REGION_STRIDE + std::size_t(column + Shape::RADIUS);
    }

    /// Copies the lanes of the tile's region into the planes; what lies off the image is never read.
    void fillRegion(const Tile& tile, Scratch& scratch) const {
        const int x0 = std::max(0, tile.x0 - Shape::RADIUS);
        const int x1 = std::min(width, tile.x1 + Shape::RADIUS);
        const int y0 = std::max(0, tile.y0 - Shape::RADIUS);
        const int y1 = std::min(height, tile.y1 + Shape::RADIUS);
        auto spread = [&](const Rgb* source, int firstPlane, int lanes) {
            for (int y = y0; y < y1; ++y) {
                const Rgb* row = source + std::size_t(y) * std::size_t(width);
                float* planes = scratch.region.data() + std::size_t(firstPlane) * Tri::REGION_PLANE +
                                regionIndex(y - tile.y0, x0 - tile.x0);
                for (int x = x0; x < x1; ++x) {
                    const float values[4] = {row[x].r, row[x].g, row[x].b, row[x].a};
                    for (int lane = 0; lane < lanes; ++lane) {
                        planes[std::size_t(lane) * Tri::REGION_PLANE + std::size_t(x - x0)] = values[lane];
                    }
                }
            }
        };
        spread(colour, Tri::COLOUR, 3);
        spread(variance, Tri::VARIANCE, 3);
        spread(image, Tri::IMAGE, 4);
        for (int i = 0; i < weights.size(); ++i) {
            spread(weights.item(i).mean, Tri::FEATURES + Tri::PLANES_PER_FEATURE * i, 4);
            spread(weights.item(i).variance, Tri::FEATURES + Tri::PLANES_PER_FEATURE * i + 4, 4);
        }
    }

    /// Which pixels are filtered and how, their feature factors, and empty sums.
    void preparePixels(const Tile& tile, Scratch& scratch) const {
        std::fill(scratch.sums.begin(), scratch.sums.end(), 0.f);
        std::fill(scratch.rowActive.begin(), scratch.rowActive.end(), false);
        // Pixels near an edge use the large patch for all candidates: 1 inside, 2 near an edge.
        forTilePixels(tile, [&](int index, std::size_t p) {
            const int y = int(p / std::size_t(width));
            const int x = int(p - std::size_t(y) * std::size_t(width));
            const bool border =
                std::min(std::min(x, y), std::min(width - 1 - x, height - 1 - y)) < Shape::MARGIN;
            const bool filtered = shouldFilterMean(loadPixel(colour, p), loadPixel(variance, p));
            scratch.active[std::size_t(index)] = filtered ? (border ? 2 : 1) : 0;
            scratch.useSmall[std::size_t(index)] = filtered && !border;
            scratch.rowActive[std::size_t(y - tile.y0)] |= filtered;
            for (int i = 0; i < weights.size(); ++i) {
                const Float4 factor = weights.pixelFactor(i, p);
                for (int lane = 0; lane < 4; ++lane) {
                    scratch.factors[std::size_t(4 * i + lane) * Tri::TILE_PLANE + std::size_t(index)] =
                        factor[lane];
                }
            }
        });
    }

    template <class TargetRow>
    void writeTile(const Tile& tile, const Scratch& scratch, TargetRow& targetRow) const {
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
            const float* sums = scratch.sums.data() + index;
            auto plane = [&](int i) { return sums[std::size_t(i) * Tri::TILE_PLANE]; };
            auto lanes = [&](int first) {
                return Float4(plane(first), plane(first + 1), plane(first + 2), plane(first + 3));
            };
            weightSum[p] = plane(Tri::WEIGHTS + 1);
            const Float4 scale = Float4(1.f) / (Float4(0.01f) * meanOfColours(centre) + Float4(0.000001f));
            Rgb* members[3][2] = {{&out.value0, &out.derivative0},
                                  {&out.value1, &out.derivative1},
                                  {&out.value2, &out.derivative2}};
            for (int k = 0; k < 3; ++k) {
                const Float4 value = lanes(Tri::VALUES + 4 * k) / Float4(plane(Tri::WEIGHTS + k));
                const Float4 perturbed =
                    lanes(Tri::PERTURBED_VALUES + 4 * k) / Float4(plane(Tri::PERTURBED_WEIGHTS + k));
                storePixel(members[k][0], 0, value);
                storePixel(members[k][1], 0, (perturbed - value) * scale);
            }
        });
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
    using Scratch = KernelScratch<float, Shape>;

    NlmOutlierKernel(const NlmInputs& inputs, const BitmapImpl<Rgb>& image, float gamma, bool markOnly,
                     const Feature* exclude)
        : KernelInputs(inputs, image), gamma(gamma), markOnly(markOnly),
          exclude(exclude ? exclude->mean.data() : nullptr) {}

    Scratch makeScratch() const { return Scratch(); }

    template <class TargetRow>
    void filterTile(const Tile& tile, Scratch& scratch, TargetRow& targetRow) const {
        forTilePixels(tile, [&](int index, std::size_t p) {
            const bool excluded = exclude && meanOfColours(loadPixel(exclude, p)).x() > 0.f;
            scratch.active[std::size_t(index)] =
                !excluded && shouldFilterMean(loadPixel(colour, p), loadPixel(variance, p));
            scratch.weightSums[std::size_t(index)] = Float4();
            scratch.valueSums[std::size_t(index)] = Float4();
            prepareFeatureFactors(scratch, index, p);
        });
        auto visit = weightedSums(scratch);
        sweepTile<Shape, float>(
            tile, scratch.sweep, colour, variance, alpha, epsilon, true, [](int, int) {}, eachPixel(visit));
        forTilePixels(tile, [&](int index, std::size_t p) {
            const int y = int(p / std::size_t(width));
            const int x = int(p - std::size_t(y) * std::size_t(width));
            const Float4 pixel = loadPixel(image, p);
            const Float4 result = scratch.active[std::size_t(index)]
                                      ? filterPixel(scratch.weightSums[std::size_t(index)],
                                                    scratch.valueSums[std::size_t(index)], x, y, pixel)
                                      : pixel;
            storePixel(targetRow(y), std::size_t(x), result);
        });
    }

private:
    Float4 filterPixel(Float4 weightSum, Float4 valueSum, int x, int y, Float4 pixel) const {
        if (!(meanOfColours(weightSum).x() > 0.f)) {
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
        const Float4 c = valueSum / weightSum;
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
