#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/Containers.h"
#include "misc/adaptivitydenoising/utils/FeatureWeights.h"
#include "misc/adaptivitydenoising/utils/PatchSweep.h"

// The NLM kernels hold a tile's inputs and sums in planes of floats, one plane per lane, so that
// the work of one search offset is a few plain loops along a tile row, which run as wide as the
// processor allows. The feature weights of an offset depend on the features alone: kernels that
// filter several elements of one render make them once for all.

namespace Vespra::Detail::Tri {

/// The widest border of a kernel's region: its search radius plus half its patch, for the
/// distances of the pixels of a patch at the window's edge.
inline constexpr int MAX_BORDER = 9;
/// Floats between vertically neighbouring pixels of a region plane.
inline constexpr int REGION_STRIDE = TILE_WIDTH + 2 * MAX_BORDER;
/// A region is a tile with its search border: every neighbour a tile pixel looks at. The planes
/// lie a little more than a power of two apart, which keeps the many planes that one loop
/// reads from falling into the same sets of the cache.
inline constexpr std::size_t REGION_PLANE = std::size_t(BAND_ROWS + 2 * MAX_BORDER) * REGION_STRIDE + 16;
/// Region planes of one element: colour and variance lanes 0-2 (what the distances need), the
/// averaged image's lanes 0-3.
inline constexpr int COLOUR = 0;
inline constexpr int VARIANCE = 3;
inline constexpr int DISTANCE_PLANES = 6;
inline constexpr int IMAGE = 6;
inline constexpr int ELEMENT_PLANES = 10;
/// Region planes of the features: for each feature the lanes 0-3 of its mean and of its variance.
inline constexpr int PLANES_PER_FEATURE = 8;
inline constexpr int FEATURE_PLANES = PLANES_PER_FEATURE * FeatureWeights::MAX_FEATURES;

/// Planes over the tile pixels, rows REGION_STRIDE floats apart like the region planes' (the
/// floats past the tile's width are padding), so that the work of an interior tile is one run
/// over all its rows.
inline constexpr int TILE_STRIDE = REGION_STRIDE;
inline constexpr std::size_t TILE_PLANE = std::size_t(BAND_ROWS) * TILE_STRIDE + 16;
/// Sum planes: candidate k's value lanes at VALUES + 4k, its perturbed ones at
/// PERTURBED_VALUES + 4k, its weight at WEIGHTS + k and its perturbed weight at
/// PERTURBED_WEIGHTS + k.
inline constexpr int VALUES = 0;
inline constexpr int PERTURBED_VALUES = 12;
inline constexpr int WEIGHTS = 24;
inline constexpr int PERTURBED_WEIGHTS = 27;
inline constexpr int SUM_PLANES = 30;

/// Where tile pixel (column, row) lies in a region plane.
inline std::size_t regionIndex(int row, int column) {
    return std::size_t(row + MAX_BORDER) * REGION_STRIDE + std::size_t(column + MAX_BORDER);
}
/// Where tile pixel (column, row) lies in a tile plane.
inline std::size_t tileIndex(int row, int column) {
    return std::size_t(row) * TILE_STRIDE + std::size_t(column);
}

/// What stays the same along the rows of one search offset.
struct OffsetSettings {
    float epsilon = 0.f;
    /// Turns the summed perturbation of the colours into a change of the patch distance.
    float perturbationScale = 0.f;
    float candidateFactors[3] = {};
    int features = 0;
    /// Per feature and lane, the feature's limit at this offset and its variance scale.
    float limits[4 * FeatureWeights::MAX_FEATURES] = {};
    float varianceScales[4 * FeatureWeights::MAX_FEATURES] = {};
};

// Each function below takes `count` pixels of a run along a row of the planes, or along all
// rows of an interior tile at once, the padding between them included.

/// The colour distances of `count` pixels of the region planes of an element to their neighbours
/// `offset` floats away, summed over the colours in the order of `Sweep::colourSums`: the very
/// numbers of `Sweep::distanceRow` of `float` filters. `centre` is the first pixel's place in
/// the element's region planes.
void distanceRow(const float* centre, std::ptrdiff_t offset, float alpha, float epsilon, float* out,
                 int count);

/// The feature weight of `count` pixels and their neighbours at `offset` (in region floats):
/// e^-(the largest feature term, at least -1), as `FeatureWeights::weight`. `features` is the
/// first pixel's place in the feature planes, `factors` (a feature's `pixelFactor`, four planes
/// per feature) its place in the tile planes.
void featureWeights(const OffsetSettings& settings, const float* features, std::ptrdiff_t offset,
                    const float* factors, float* weights, int count);

/// Adds the neighbours at `offset` (in region floats) to the sums of the three candidates of
/// `count` pixels. `centre` is the first pixel's place in the element's region planes;
/// `distances`, `smallDistances`, `useSmall` (the first candidate takes the small patch),
/// `featureWeight` (of `featureWeights`) and `sums` start at its place in the tile planes.
void accumulate(const OffsetSettings& settings, const float* centre, std::ptrdiff_t offset,
                const float* distances, const float* smallDistances, const std::int32_t* useSmall,
                const float* featureWeight, float* sums, int count);

/// The weights of the scalar NLM of `count` pixels: min(e^-(factor * distance), featureWeight).
void scalarWeights(float* weights, const float* distances, const float* featureWeight, float factor,
                   int count);

} // namespace Vespra::Detail::Tri
