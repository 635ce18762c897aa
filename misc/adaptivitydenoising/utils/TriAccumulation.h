#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/Containers.h"
#include "misc/adaptivitydenoising/utils/FeatureWeights.h"
#include "misc/adaptivitydenoising/utils/PatchSweep.h"

// The three-way filter holds its inputs and sums in planes of floats, one plane per lane, so
// that the work of one search offset is a few plain loops along a tile row, which run as wide
// as the processor allows.

namespace Vespra::Detail::Tri {

/// The widest search border of a three-way filter.
inline constexpr int MAX_BORDER = 8;
/// Floats between vertically neighbouring pixels of a region plane.
inline constexpr int REGION_STRIDE = TILE_WIDTH + 2 * MAX_BORDER;
/// A region is a tile with its search border: every neighbour a tile pixel looks at.
inline constexpr std::size_t REGION_PLANE = std::size_t(BAND_ROWS + 2 * MAX_BORDER) * REGION_STRIDE;
/// Region planes: colour and variance lanes 0-2, the averaged image's lanes 0-3, then for each
/// feature the lanes 0-3 of its mean and of its variance.
inline constexpr int COLOUR = 0;
inline constexpr int VARIANCE = 3;
inline constexpr int IMAGE = 6;
inline constexpr int FEATURES = 10;
inline constexpr int PLANES_PER_FEATURE = 8;
inline constexpr int REGION_PLANES = FEATURES + PLANES_PER_FEATURE * FeatureWeights::MAX_FEATURES;

/// Planes over the tile pixels, TILE_WIDTH floats a row.
inline constexpr std::size_t TILE_PLANE = std::size_t(BAND_ROWS) * TILE_WIDTH;
/// Sum planes: candidate k's value lanes at VALUES + 4k, its perturbed ones at
/// PERTURBED_VALUES + 4k, its weight at WEIGHTS + k and its perturbed weight at
/// PERTURBED_WEIGHTS + k.
inline constexpr int VALUES = 0;
inline constexpr int PERTURBED_VALUES = 12;
inline constexpr int WEIGHTS = 24;
inline constexpr int PERTURBED_WEIGHTS = 27;
inline constexpr int SUM_PLANES = 30;

/// Floats of scratch that `accumulateRow` needs.
inline constexpr std::size_t ROW_SCRATCH = std::size_t(2) * TILE_WIDTH;

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

/// Adds the neighbours at `offset` (in region floats) to the sums of `count` pixels of a tile
/// row. `centre` is the first pixel's place in the region planes; `distances`,
/// `smallDistances`, `useSmall` (the first candidate takes the small patch) and `sums` start at
/// its place in a tile row, `factors` (a feature's `pixelFactor`, four planes per feature) at
/// its place in the tile planes. `scratch` holds ROW_SCRATCH floats.
void accumulateRow(const OffsetSettings& settings, const float* centre, std::ptrdiff_t offset,
                   const float* distances, const float* smallDistances, const std::int32_t* useSmall,
                   const float* factors, float* sums, float* scratch, int count);

} // namespace Vespra::Detail::Tri
