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
//
// The three-way filter and the scalar filter also take several elements of one render at once
// (`ElementImages`): the feature weights of each search offset depend on the features alone,
// so one sweep over a tile makes them once for all elements, and each element gets the very
// numbers it would get alone.

namespace Vespra {

/// Where an NLM filter takes its distances from, and how it weighs them. Filters of several
/// elements take `colour` and `variance` from their `ElementImages` instead.
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

/// The pictures of one of several elements of a render that a kernel filters together: they
/// share the features and so the feature weights, which depend on the features alone.
struct ElementImages {
    /// Where the distances come from.
    const BitmapImpl<Rgb>* colour = nullptr;
    const BitmapImpl<Rgb>* variance = nullptr;
    /// What is averaged; may be `colour`.
    const BitmapImpl<Rgb>* image = nullptr;
};

namespace Detail {

/// Most elements that one kernel filters together.
inline constexpr int MAX_ELEMENTS = 8;

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

/// The pixels of one element as the kernels read them.
struct ElementPixels {
    const Rgb* colour = nullptr;
    const Rgb* variance = nullptr;
    const Rgb* image = nullptr;
};

/// Accumulators and buffers of one worker, for a tile of a kernel of one element.
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

/// Calls `perPixel(tileIndex, p)` for each pixel of `tile`, in rows; tile rows lie `STRIDE`
/// indices apart.
template <int STRIDE = TILE_WIDTH, class PerPixel>
void forTilePixels(const Tile& tile, PerPixel&& perPixel) {
    for (int y = tile.y0; y < tile.y1; ++y) {
        for (int x = tile.x0; x < tile.x1; ++x) {
            perPixel((y - tile.y0) * STRIDE + (x - tile.x0),
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

/// Writes the output of each element `e` of `kernel` into `outputs[e]`, `width` * `height`
/// pixels each.
template <class Kernel>
bool runOutOfPlace(DenoiseContext& context, const Kernel& kernel,
                   ArrayView<typename Kernel::Output* const> outputs) {
    VESPRA_ASSERT(int(outputs.size()) == kernel.elementCount);
    return runBandsOutOfPlace<typename Kernel::Scratch>(
        context, kernel.height, [&] { return kernel.makeScratch(); },
        [&](int first, int end, typename Kernel::Scratch& scratch) {
            filterBand(kernel, first, end, scratch, [&](int element, int y) {
                return outputs[std::size_t(element)] + std::size_t(y) * std::size_t(kernel.width);
            });
        });
}

/// `runOutOfPlace` of a kernel of one element.
template <class Kernel>
bool runOutOfPlace(DenoiseContext& context, const Kernel& kernel, typename Kernel::Output* output) {
    typename Kernel::Output* const outputs[] = {output};
    return runOutOfPlace(context, kernel, ArrayView<typename Kernel::Output* const>(outputs, 1));
}

/// Overwrites each element's image `images[e]`, which the kernel may read as that element's
/// colour or image.
template <class Kernel>
bool runInPlace(DenoiseContext& context, const Kernel& kernel,
                ArrayView<BitmapImpl<typename Kernel::Output>* const> images) {
    VESPRA_ASSERT(int(images.size()) == kernel.elementCount);
    return runBandsInPlace<typename Kernel::Scratch>(
        context, images, Kernel::Shape::MARGIN, [&] { return kernel.makeScratch(); },
        [&](int first, int end, typename Kernel::Scratch& scratch, auto& targetRow) {
            filterBand(kernel, first, end, scratch, targetRow);
        });
}

/// `runInPlace` of a kernel of one element.
template <class Kernel>
bool runInPlace(DenoiseContext& context, const Kernel& kernel, BitmapImpl<typename Kernel::Output>& image) {
    BitmapImpl<typename Kernel::Output>* const images[] = {&image};
    return runInPlace(context, kernel, ArrayView<BitmapImpl<typename Kernel::Output>* const>(images, 1));
}

/// What the kernels share: the elements' pixels as raw pointers and the feature weights.
struct KernelInputs {
    KernelInputs(const NlmInputs& inputs, ArrayView<const ElementImages> images)
        : width(images.empty() ? 0 : images[0].image->width()),
          height(images.empty() ? 0 : images[0].image->height()), alpha(inputs.alpha),
          epsilon(inputs.epsilon), colourFactor(inputs.colourFactor),
          weights(inputs.features, inputs.gradientScale), noFeatureWeight(negativeExp(Float4(-1.f))),
          elementCount(int(images.size())) {
        VESPRA_ASSERT(elementCount >= 1 && elementCount <= MAX_ELEMENTS);
        for (int e = 0; e < elementCount; ++e) {
            const ElementImages& element = images[std::size_t(e)];
            VESPRA_ASSERT(element.colour->size() == element.image->size() &&
                          element.variance->size() == element.image->size() &&
                          element.image->width() == width && element.image->height() == height);
            elements[std::size_t(e)] = {element.colour->data(), element.variance->data(),
                                        element.image->data()};
        }
        colour = elements[0].colour;
        variance = elements[0].variance;
        image = elements[0].image;
    }

    int width;
    int height;
    float alpha;
    float epsilon;
    float colourFactor;
    FeatureWeights weights;
    /// The feature weight without features: e^1, above every colour weight.
    Float4 noFeatureWeight;
    int elementCount;
    StaticArray<ElementPixels, MAX_ELEMENTS> elements{};
    /// The pixels of the first element, for the kernels of one element.
    const Rgb* colour;
    const Rgb* variance;
    const Rgb* image;

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

    /// The settings of the planar feature weights, with the limits of a neighbour at distance 1.
    Tri::OffsetSettings featureSettings() const {
        Tri::OffsetSettings settings;
        settings.epsilon = epsilon;
        settings.features = weights.size();
        for (int i = 0; i < weights.size(); ++i) {
            for (int lane = 0; lane < 4; ++lane) {
                settings.varianceScales[4 * i + lane] = weights.item(i).varianceScale[lane];
                settings.limits[4 * i + lane] = weights.item(i).limit[lane];
            }
        }
        return settings;
    }
};

/// The lanes of pixels of a tile and its search border, as region planes (Tri's layout).
inline void spreadRegion(const Tile& tile, int border, const Rgb* source, int lanes, float* planes) {
    const int x0 = std::max(0, tile.x0 - border);
    const int x1 = std::min(tile.width, tile.x1 + border);
    const int y0 = std::max(0, tile.y0 - border);
    const int y1 = std::min(tile.height, tile.y1 + border);
    for (int y = y0; y < y1; ++y) {
        const Rgb* row = source + std::size_t(y) * std::size_t(tile.width);
        float* out = planes + Tri::regionIndex(y - tile.y0, x0 - tile.x0);
        for (int x = x0; x < x1; ++x) {
            const float values[4] = {row[x].r, row[x].g, row[x].b, row[x].a};
            for (int lane = 0; lane < lanes; ++lane) {
                out[std::size_t(lane) * Tri::REGION_PLANE + std::size_t(x - x0)] = values[lane];
            }
        }
    }
}

/// Sweep buffers whose rows lie as far apart as those of the region and tile planes.
template <class Shape>
using PlanarSweepBuffers = SweepBuffers<float, Shape, Tri::TILE_STRIDE>;

/// `patchDistances` of one element, from its region planes (`region`, in Tri's layout), which
/// hold its colour and variance over the tile and a border of the kernel's margin.
template <class Shape>
void planarPatchDistances(const Tile& tile, const TileOffset& offset, PlanarSweepBuffers<Shape>& buffers,
                          const float* region, float alpha, float epsilon) {
    const std::ptrdiff_t regionOffset = std::ptrdiff_t(offset.dy) * Tri::REGION_STRIDE + offset.dx;
    if (isInteriorTile<Shape>(tile)) {
        interiorPatchDistances(tile, buffers, [&](float* out, int count) {
            Tri::distanceRow(region + Tri::regionIndex(-Shape::HALF, -Shape::HALF), regionOffset, alpha,
                             epsilon, out, count);
        });
        return;
    }
    patchDistancesOf(tile, offset, buffers, [&](float* out, int y, int x0, int x1) {
        Tri::distanceRow(region + Tri::regionIndex(y - tile.y0, x0 - tile.x0), regionOffset, alpha, epsilon,
                         out, x1 - x0);
    });
}

/// The colour and variance of one element over a tile and a border of `margin`, as region planes.
inline void spreadDistancePlanes(const Tile& tile, int margin, const ElementPixels& element, float* region) {
    spreadRegion(tile, margin, element.colour, 3, region + Tri::COLOUR * Tri::REGION_PLANE);
    spreadRegion(tile, margin, element.variance, 3, region + Tri::VARIANCE * Tri::REGION_PLANE);
}

/// Calls `run(row, firstColumn, count)` for the rows of `tile` whose `rowActive` is set, with the
/// columns of the pixels whose neighbour at `offset` lies inside the image.
template <class Run>
void forOffsetRuns(const TileOffset& offset, const std::uint8_t* rowActive, Run&& run) {
    for (int r = offset.firstRow; r < offset.endRow; ++r) {
        if (rowActive[r]) {
            run(r, offset.firstColumn, offset.endColumn - offset.firstColumn);
        }
    }
}

/// The features of a tile and its search border as planes, and each feature's factor
/// (`FeatureWeights::pixelFactor`) for the tile's pixels, also as planes; the buffers of the
/// planar feature weights of one worker. What lies off the image is never read but for sums
/// that are thrown away, so it holds whatever an earlier tile left.
struct FeaturePlanes {
    Array<float> region = Array<float>(std::size_t(Tri::FEATURE_PLANES) * Tri::REGION_PLANE);
    Array<float> factors = Array<float>(std::size_t(4 * FeatureWeights::MAX_FEATURES) * Tri::TILE_PLANE);
    /// The feature weights of the tile's pixels at one offset, in a tile plane.
    Array<float> weights = Array<float>(Tri::TILE_PLANE);

    void fill(const FeatureWeights& features, const Tile& tile, int border) {
        for (int i = 0; i < features.size(); ++i) {
            spreadRegion(tile, border, features.item(i).mean, 4,
                         region.data() + std::size_t(Tri::PLANES_PER_FEATURE * i) * Tri::REGION_PLANE);
            spreadRegion(tile, border, features.item(i).variance, 4,
                         region.data() + std::size_t(Tri::PLANES_PER_FEATURE * i + 4) * Tri::REGION_PLANE);
        }
        forTilePixels<Tri::TILE_STRIDE>(tile, [&](int index, std::size_t p) {
            for (int i = 0; i < features.size(); ++i) {
                const Float4 factor = features.pixelFactor(i, p);
                for (int lane = 0; lane < 4; ++lane) {
                    factors[std::size_t(4 * i + lane) * Tri::TILE_PLANE + std::size_t(index)] = factor[lane];
                }
            }
        });
    }

    /// The feature weights of the pixels of the tile that have their neighbour at `offset` inside
    /// the image, in the rows where `rowActive` is set.
    void offsetWeights(const Tri::OffsetSettings& settings, const TileOffset& offset,
                       const std::uint8_t* rowActive) {
        const std::ptrdiff_t regionOffset = std::ptrdiff_t(offset.dy) * Tri::REGION_STRIDE + offset.dx;
        forOffsetRuns(offset, rowActive, [&](int row, int column, int count) {
            const std::size_t at = Tri::tileIndex(row, column);
            Tri::featureWeights(settings, region.data() + Tri::regionIndex(row, column), regionOffset,
                                factors.data() + at, weights.data() + at, count);
        });
    }
};

/// Buffers of one worker for the scalar NLM kernel: shared by its elements, and one set of sums
/// per element.
template <class Shape>
struct ScalarScratch {
    static constexpr std::size_t TILE_PIXELS = Tri::TILE_PLANE;

    explicit ScalarScratch(int elements)
        : region(std::size_t(elements) * Tri::DISTANCE_PLANES * Tri::REGION_PLANE),
          weightSums(std::size_t(elements) * TILE_PIXELS), valueSums(std::size_t(elements) * TILE_PIXELS),
          active(std::size_t(elements) * TILE_PIXELS), rowActive(std::size_t(elements) * BAND_ROWS) {}

    PlanarSweepBuffers<Shape> sweep;
    FeaturePlanes features;
    /// Per element its colour and variance as region planes.
    Array<float> region;
    Array<float> weightSums;
    Array<Float4> valueSums;
    Array<std::uint8_t> active;
    /// Whether a tile row of an element has any pixel to filter, and whether any element has.
    Array<std::uint8_t> rowActive;
    StaticArray<std::uint8_t, BAND_ROWS> anyRowActive{};
    /// The weights of one offset, in a tile plane.
    Array<float> weights = Array<float>(Tri::TILE_PLANE);
};

/// NLM with one weight per pixel pair from the mean over colours, limited by the features, for
/// one or several elements with the same features. The feature weights of each offset are made
/// once for all elements, as runs of floats; so are the colour weights of each element.
template <int SUPPORT, int PATCH>
class NlmScalarKernel : public KernelInputs {
public:
    using Shape = SweepShape<(SUPPORT - PATCH) / 2, PATCH>;
    using Dist = float;
    using Output = Rgb;
    using Scratch = ScalarScratch<Shape>;
    static_assert(Shape::MARGIN <= Tri::MAX_BORDER);

    NlmScalarKernel(const NlmInputs& inputs, const BitmapImpl<Rgb>& image)
        : NlmScalarKernel(
              inputs, StaticArray<ElementImages, 1>{ElementImages{inputs.colour, inputs.variance, &image}}) {}
    NlmScalarKernel(const NlmInputs& inputs, ArrayView<const ElementImages> images)
        : KernelInputs(inputs, images), settings(featureSettings()) {}

    Scratch makeScratch() const { return Scratch(elementCount); }

    template <class TargetRow>
    void filterTile(const Tile& tile, Scratch& scratch, TargetRow& targetRow) const {
        const bool withFeatures = weights.size() > 0;
        std::fill(scratch.anyRowActive.begin(), scratch.anyRowActive.end(), std::uint8_t(0));
        for (int e = 0; e < elementCount; ++e) {
            const ElementPixels& element = elements[std::size_t(e)];
            std::uint8_t* active = scratch.active.data() + std::size_t(e) * Scratch::TILE_PIXELS;
            std::uint8_t* rowActive = scratch.rowActive.data() + std::size_t(e) * BAND_ROWS;
            std::fill(rowActive, rowActive + BAND_ROWS, std::uint8_t(0));
            std::fill_n(scratch.weightSums.data() + std::size_t(e) * Scratch::TILE_PIXELS,
                        Scratch::TILE_PIXELS, 0.f);
            std::fill_n(scratch.valueSums.data() + std::size_t(e) * Scratch::TILE_PIXELS,
                        Scratch::TILE_PIXELS, Float4());
            forTilePixels<Tri::TILE_STRIDE>(tile, [&](int index, std::size_t p) {
                const bool filtered =
                    shouldFilterMean(loadPixel(element.colour, p), loadPixel(element.variance, p));
                active[std::size_t(index)] = filtered;
                rowActive[std::size_t(index / Tri::TILE_STRIDE)] |= std::uint8_t(filtered);
                scratch.anyRowActive[std::size_t(index / Tri::TILE_STRIDE)] |= std::uint8_t(filtered);
            });
            spreadDistancePlanes(tile, Shape::MARGIN, element,
                                 scratch.region.data() +
                                     std::size_t(e) * Tri::DISTANCE_PLANES * Tri::REGION_PLANE);
        }
        if (withFeatures) {
            scratch.features.fill(weights, tile, Shape::RADIUS);
        } else {
            std::fill(scratch.features.weights.begin(), scratch.features.weights.end(), noFeatureWeight.x());
        }
        forEachOffset<Shape>(tile, false, [&](const TileOffset& offset) {
            if (withFeatures) {
                scratch.features.offsetWeights(settings, offset, scratch.anyRowActive.data());
            }
            const std::ptrdiff_t pixelOffset = offset.pixelOffset(width);
            for (int e = 0; e < elementCount; ++e) {
                const ElementPixels& element = elements[std::size_t(e)];
                const std::uint8_t* rowActive = scratch.rowActive.data() + std::size_t(e) * BAND_ROWS;
                if (!std::any_of(rowActive + offset.firstRow, rowActive + offset.endRow,
                                 [](std::uint8_t a) { return a != 0; })) {
                    continue;
                }
                planarPatchDistances<Shape>(tile, offset, scratch.sweep,
                                            scratch.region.data() +
                                                std::size_t(e) * Tri::DISTANCE_PLANES * Tri::REGION_PLANE,
                                            alpha, epsilon);
                float* weightSums = scratch.weightSums.data() + std::size_t(e) * Scratch::TILE_PIXELS;
                Float4* valueSums = scratch.valueSums.data() + std::size_t(e) * Scratch::TILE_PIXELS;
                forOffsetRuns(offset, rowActive, [&](int row, int column, int count) {
                    const std::size_t at = Tri::tileIndex(row, column);
                    Tri::scalarWeights(scratch.weights.data() + at, scratch.sweep.patchSums.data() + at,
                                       scratch.features.weights.data() + at, colourFactor, count);
                });
                // The weighted pixels row by row, as the image's rows lie apart in memory.
                for (int r = offset.firstRow; r < offset.endRow; ++r) {
                    if (!rowActive[r]) {
                        continue;
                    }
                    const std::size_t at = Tri::tileIndex(r, offset.firstColumn);
                    const Rgb* image = element.image +
                                       std::ptrdiff_t(std::size_t(tile.y0 + r) * std::size_t(width) +
                                                      std::size_t(tile.x0 + offset.firstColumn)) +
                                       pixelOffset;
                    const float* w = scratch.weights.data() + at;
                    for (int c = 0; c < offset.endColumn - offset.firstColumn; ++c) {
                        weightSums[at + std::size_t(c)] += w[c];
                        valueSums[at + std::size_t(c)] += Float4(w[c]) * loadPixel(image, std::size_t(c));
                    }
                }
            }
        });
        for (int e = 0; e < elementCount; ++e) {
            const ElementPixels& element = elements[std::size_t(e)];
            const std::uint8_t* active = scratch.active.data() + std::size_t(e) * Scratch::TILE_PIXELS;
            const float* weightSums = scratch.weightSums.data() + std::size_t(e) * Scratch::TILE_PIXELS;
            const Float4* valueSums = scratch.valueSums.data() + std::size_t(e) * Scratch::TILE_PIXELS;
            forTilePixels<Tri::TILE_STRIDE>(tile, [&](int index, std::size_t p) {
                const Float4 result = active[std::size_t(index)] ? valueSums[std::size_t(index)] /
                                                                       Float4(weightSums[std::size_t(index)])
                                                                 : loadPixel(element.image, p);
                const int y = int(p / std::size_t(width));
                storePixel(targetRow(e, y), p - std::size_t(y) * std::size_t(width), result);
            });
        }
    }

private:
    Tri::OffsetSettings settings;
};

/// NLM with a weight per lane and no features, for one element.
template <int SUPPORT, int PATCH>
class NlmLaneKernel : public KernelInputs {
public:
    using Shape = SweepShape<(SUPPORT - PATCH) / 2, PATCH>;
    using Dist = Float4;
    using Output = Rgb;
    using Scratch = KernelScratch<Dist, Shape>;

    NlmLaneKernel(const NlmInputs& inputs, const BitmapImpl<Rgb>& image)
        : KernelInputs(inputs,
                       StaticArray<ElementImages, 1>{ElementImages{inputs.colour, inputs.variance, &image}}) {
    }

    Scratch makeScratch() const { return Scratch(); }

    template <class TargetRow>
    void filterTile(const Tile& tile, Scratch& scratch, TargetRow& targetRow) const {
        forTilePixels(tile, [&](int index, std::size_t p) {
            scratch.active[std::size_t(index)] =
                shouldFilterLanes(loadPixel(colour, p), loadPixel(variance, p));
            scratch.weightSums[std::size_t(index)] = Float4();
            scratch.valueSums[std::size_t(index)] = Float4();
        });
        sweepTile<Shape, Dist>(
            tile, scratch.sweep, colour, variance, alpha, epsilon, false, [](int, int) {},
            [&](int rowIndex, int firstColumn, int endColumn, std::size_t rowStart, std::ptrdiff_t offset,
                const Float4* distances, const Float4*) {
                addLaneWeights(scratch, rowIndex, firstColumn, endColumn, rowStart, offset, distances);
            });
        forTilePixels(tile, [&](int index, std::size_t p) {
            const Float4 result =
                scratch.active[std::size_t(index)]
                    ? scratch.valueSums[std::size_t(index)] / scratch.weightSums[std::size_t(index)]
                    : loadPixel(image, p);
            const int y = int(p / std::size_t(width));
            storePixel(targetRow(0, y), p - std::size_t(y) * std::size_t(width), result);
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

/// Buffers of one worker of the three-way filter, laid out as `Tri` describes: shared by the
/// elements, and per element its region planes and sums.
template <class Shape>
struct TriScratch {
    TriScratch(const FeatureWeights& weights, int elements)
        : weights(weights), region(std::size_t(elements) * Tri::ELEMENT_PLANES * Tri::REGION_PLANE),
          sums(std::size_t(elements) * Tri::SUM_PLANES * Tri::TILE_PLANE),
          useSmall(std::size_t(elements) * Tri::TILE_PLANE), active(std::size_t(elements) * Tri::TILE_PLANE),
          rowActive(std::size_t(elements) * BAND_ROWS) {}

    /// A copy per worker, as its limits change per offset.
    FeatureWeights weights;
    PlanarSweepBuffers<Shape> sweep;
    FeaturePlanes features;
    Array<float> region;
    Array<float> sums;
    Array<std::int32_t> useSmall;
    Array<std::uint8_t> active;
    /// Whether a tile row of an element has any pixel to filter, and whether any element has.
    Array<std::uint8_t> rowActive;
    StaticArray<std::uint8_t, BAND_ROWS> anyRowActive{};
    Tri::OffsetSettings settings;
};

/// Three NLM candidates at once, with patches of side SMALL_PATCH for the first and PATCH for
/// the other two, and for each a perturbed run whose change estimates the derivative of the
/// output with respect to the input, for the risk estimate that picks among them. Filters one
/// or several elements with the same features in one sweep: the feature weights of each offset
/// are made once for all of them.
template <int SMALL_PATCH, int PATCH>
class NlmTriKernel : public KernelInputs {
public:
    using Shape = SweepShape<(19 - PATCH) / 2, PATCH, SMALL_PATCH>;
    using Dist = float;
    using Output = TripleWeight;
    using Scratch = TriScratch<Shape>;
    static_assert(Shape::MARGIN <= Tri::MAX_BORDER);

    /// One element: `image` averaged, weighed on `inputs.colour`; its weight sums go to `weightSum`.
    NlmTriKernel(const NlmInputs& inputs, const BitmapImpl<Rgb>& image, Float4 candidateFactors,
                 float* weightSum)
        : NlmTriKernel(inputs,
                       StaticArray<ElementImages, 1>{ElementImages{inputs.colour, inputs.variance, &image}},
                       candidateFactors, ArrayView<float* const>(&weightSum, 1)) {}
    /// Several elements; the weight sums of element `e` go to `weightSums[e]`.
    NlmTriKernel(const NlmInputs& inputs, ArrayView<const ElementImages> images, Float4 candidateFactors,
                 ArrayView<float* const> weightSums)
        : KernelInputs(inputs, images), candidateFactors(candidateFactors * Float4(inputs.colourFactor)) {
        VESPRA_ASSERT(weightSums.size() == images.size());
        for (std::size_t e = 0; e < weightSums.size(); ++e) {
            this->weightSums[e] = weightSums[e];
        }
    }

    Scratch makeScratch() const {
        Scratch scratch(weights, elementCount);
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
        scratch.features.fill(weights, tile, Shape::RADIUS);
        preparePixels(tile, scratch);
        forEachOffset<Shape>(tile, false, [&](const TileOffset& offset) {
            scratch.weights.beginOffset(
                std::max(1.f, std::sqrt(float(offset.dx * offset.dx + offset.dy * offset.dy))));
            for (int i = 0; i < scratch.weights.size(); ++i) {
                for (int lane = 0; lane < 4; ++lane) {
                    scratch.settings.limits[4 * i + lane] = scratch.weights.item(i).limit[lane];
                }
            }
            scratch.features.offsetWeights(scratch.settings, offset, scratch.anyRowActive.data());
            const std::ptrdiff_t regionOffset = std::ptrdiff_t(offset.dy) * Tri::REGION_STRIDE + offset.dx;
            for (int e = 0; e < elementCount; ++e) {
                const std::uint8_t* rowActive = scratch.rowActive.data() + std::size_t(e) * BAND_ROWS;
                if (!std::any_of(rowActive + offset.firstRow, rowActive + offset.endRow,
                                 [](std::uint8_t a) { return a != 0; })) {
                    continue;
                }
                const float* region = elementRegion(scratch, e);
                planarPatchDistances<Shape>(tile, offset, scratch.sweep, region, alpha, epsilon);
                const std::int32_t* useSmall = scratch.useSmall.data() + std::size_t(e) * Tri::TILE_PLANE;
                float* sums = scratch.sums.data() + std::size_t(e) * Tri::SUM_PLANES * Tri::TILE_PLANE;
                forOffsetRuns(offset, rowActive, [&](int row, int column, int count) {
                    const std::size_t at = Tri::tileIndex(row, column);
                    const float* smallDistances = rowSmallDistances(scratch.sweep, 0);
                    Tri::accumulate(scratch.settings, region + Tri::regionIndex(row, column), regionOffset,
                                    scratch.sweep.patchSums.data() + at, smallDistances + at, useSmall + at,
                                    scratch.features.weights.data() + at, sums + at, count);
                });
            }
        });
        for (int e = 0; e < elementCount; ++e) {
            writeTile(tile, scratch, e, targetRow);
        }
    }

private:
    static const float* elementRegion(const Scratch& scratch, int e) {
        return scratch.region.data() + std::size_t(e) * Tri::ELEMENT_PLANES * Tri::REGION_PLANE;
    }

    /// Each element's region planes, which pixels are filtered and how, and empty sums.
    void preparePixels(const Tile& tile, Scratch& scratch) const {
        std::fill(scratch.sums.begin(), scratch.sums.end(), 0.f);
        std::fill(scratch.rowActive.begin(), scratch.rowActive.end(), std::uint8_t(0));
        std::fill(scratch.anyRowActive.begin(), scratch.anyRowActive.end(), std::uint8_t(0));
        for (int e = 0; e < elementCount; ++e) {
            const ElementPixels& element = elements[std::size_t(e)];
            float* region = scratch.region.data() + std::size_t(e) * Tri::ELEMENT_PLANES * Tri::REGION_PLANE;
            spreadDistancePlanes(tile, Shape::MARGIN, element, region);
            spreadRegion(tile, Shape::RADIUS, element.image, 4, region + Tri::IMAGE * Tri::REGION_PLANE);
            std::uint8_t* active = scratch.active.data() + std::size_t(e) * Tri::TILE_PLANE;
            std::int32_t* useSmall = scratch.useSmall.data() + std::size_t(e) * Tri::TILE_PLANE;
            std::uint8_t* rowActive = scratch.rowActive.data() + std::size_t(e) * BAND_ROWS;
            // Pixels near an edge use the large patch for all candidates: 1 inside, 2 near an edge.
            forTilePixels<Tri::TILE_STRIDE>(tile, [&](int index, std::size_t p) {
                const int y = int(p / std::size_t(width));
                const int x = int(p - std::size_t(y) * std::size_t(width));
                const bool border =
                    std::min(std::min(x, y), std::min(width - 1 - x, height - 1 - y)) < Shape::MARGIN;
                const bool filtered =
                    shouldFilterMean(loadPixel(element.colour, p), loadPixel(element.variance, p));
                active[std::size_t(index)] = filtered ? (border ? 2 : 1) : 0;
                useSmall[std::size_t(index)] = filtered && !border;
                rowActive[std::size_t(y - tile.y0)] |= std::uint8_t(filtered);
                scratch.anyRowActive[std::size_t(y - tile.y0)] |= std::uint8_t(filtered);
            });
        }
    }

    template <class TargetRow>
    void writeTile(const Tile& tile, const Scratch& scratch, int e, TargetRow& targetRow) const {
        const ElementPixels& element = elements[std::size_t(e)];
        const std::uint8_t* active = scratch.active.data() + std::size_t(e) * Tri::TILE_PLANE;
        const float* elementSums = scratch.sums.data() + std::size_t(e) * Tri::SUM_PLANES * Tri::TILE_PLANE;
        float* weightSum = weightSums[std::size_t(e)];
        forTilePixels<Tri::TILE_STRIDE>(tile, [&](int index, std::size_t p) {
            const int y = int(p / std::size_t(width));
            TripleWeight& out = targetRow(e, y)[p - std::size_t(y) * std::size_t(width)];
            const Float4 centre = loadPixel(element.image, p);
            if (!active[std::size_t(index)]) {
                weightSum[p] = 1000.f;
                for (Rgb* member : {&out.value0, &out.derivative0, &out.value1, &out.derivative1, &out.value2,
                                    &out.derivative2}) {
                    storePixel(member, 0, centre);
                }
                return;
            }
            const float* sums = elementSums + index;
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
    StaticArray<float*, MAX_ELEMENTS> weightSums{};
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
        : KernelInputs(inputs,
                       StaticArray<ElementImages, 1>{ElementImages{inputs.colour, inputs.variance, &image}}),
          gamma(gamma), markOnly(markOnly), exclude(exclude ? exclude->mean.data() : nullptr) {}

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
            storePixel(targetRow(0, y), std::size_t(x), result);
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

/// NLM weighted by the mean colour distance and the features, of one or several elements.
template <int SUPPORT, int PATCH>
using NlmFilter = Detail::NlmScalarKernel<SUPPORT, PATCH>;

/// NLM with a weight per lane and no features.
template <int SUPPORT, int PATCH>
using NlmVectorFilter = Detail::NlmLaneKernel<SUPPORT, PATCH>;

/// The three candidates of a level: <19, 5, 7> at full resolution, <19, 1, 3> at half; of one
/// or several elements.
template <int SMALL_PATCH, int PATCH>
using NlmTriFilter = Detail::NlmTriKernel<SMALL_PATCH, PATCH>;

/// NLM-based removal of single bright pixels; `exclude` (may be null) protects pixels where its
/// mean is above 0.
using NlmOutlierRemoval = Detail::NlmOutlierKernel;

using Detail::runInPlace;
using Detail::runOutOfPlace;

} // namespace Vespra
