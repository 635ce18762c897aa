#include "misc/adaptivitydenoising/utils/TriAccumulation.h"

#include <algorithm>

#include "foundation/VectorClones.h"
#include "misc/adaptivitydenoising/utils/PixelMath.h"

namespace Vespra::Detail::Tri {

namespace {

/// The loops below that keep values of their own per pixel go through a run in chunks of this
/// many pixels. A whole chunk or a whole tile row, numbers the compiler knows, needs no remainder
/// loop; only the last part of a longer run, or a row cut short by an edge of the image, takes
/// the general form.
constexpr int CHUNK = 128;

/// The feature weights with the number of features known. Feature by feature and lane by lane,
/// so that each term of a pixel is one more maximum in a plane of running maxima; the order of
/// the maxima is that of `FeatureWeights::term`, which gives the same bits.
template <int FEATURE_COUNT, int FIXED_COUNT>
[[gnu::always_inline]] inline void
featureWeightsOf(const OffsetSettings& settings, const float* __restrict features, std::ptrdiff_t offset,
                 const float* __restrict factors, float* __restrict weights, int count) {
    if constexpr (FIXED_COUNT > 0) {
        count = FIXED_COUNT;
    }
    alignas(64) float largest[4][CHUNK];
    for (int lane = 0; lane < 4; ++lane) {
        for (int c = 0; c < count; ++c) {
            largest[lane][c] = -1.f;
        }
    }
#pragma GCC unroll 1
    for (int feature = 0; feature < FEATURE_COUNT; ++feature) {
#pragma GCC unroll 1
        for (int lane = 0; lane < 4; ++lane) {
            const int item = 4 * feature + lane;
            const float* __restrict mean =
                features + std::size_t(PLANES_PER_FEATURE * feature + lane) * REGION_PLANE;
            const float* __restrict variance = mean + 4 * REGION_PLANE;
            const float* __restrict factor = factors + std::size_t(item) * TILE_PLANE;
            const float varianceScale = settings.varianceScales[item];
            const float limit = settings.limits[item];
            float* __restrict running = largest[lane];
            for (int c = 0; c < count; ++c) {
                const float vp = variance[c];
                const float difference = mean[c] - mean[c + offset];
                const float numerator =
                    difference * difference - varianceScale * (laneMin(vp, variance[c + offset]) + vp);
                running[c] = laneMax(running[c], numerator * laneMin(limit, factor[c]));
            }
        }
    }
    // In the order of maxOfLanes, for the same answer with NaN.
    for (int c = 0; c < count; ++c) {
        weights[c] = negativeExpLane(
            laneMax(laneMax(largest[0][c], largest[1][c]), laneMax(largest[2][c], largest[3][c])));
    }
}

template <int FIXED_COUNT>
[[gnu::always_inline]] inline void featureWeightsFor(const OffsetSettings& settings, const float* features,
                                                     std::ptrdiff_t offset, const float* factors,
                                                     float* weights, int count) {
    switch (settings.features) {
    case 0:
        return featureWeightsOf<0, FIXED_COUNT>(settings, features, offset, factors, weights, count);
    case 1:
        return featureWeightsOf<1, FIXED_COUNT>(settings, features, offset, factors, weights, count);
    case 2:
        return featureWeightsOf<2, FIXED_COUNT>(settings, features, offset, factors, weights, count);
    case 3:
        return featureWeightsOf<3, FIXED_COUNT>(settings, features, offset, factors, weights, count);
    default:
        return featureWeightsOf<4, FIXED_COUNT>(settings, features, offset, factors, weights, count);
    }
}

/// How much the patch distance of each pixel grows when its neighbour is perturbed.
template <int FIXED_COUNT>
[[gnu::always_inline]] inline void perturbations(const OffsetSettings& settings,
                                                 const float* __restrict centre, std::ptrdiff_t offset,
                                                 float* __restrict out, int count) {
    if constexpr (FIXED_COUNT > 0) {
        count = FIXED_COUNT;
    }
    const float* colour[3] = {centre + COLOUR * REGION_PLANE, centre + (COLOUR + 1) * REGION_PLANE,
                              centre + (COLOUR + 2) * REGION_PLANE};
    const float* variance[3] = {centre + VARIANCE * REGION_PLANE, centre + (VARIANCE + 1) * REGION_PLANE,
                                centre + (VARIANCE + 2) * REGION_PLANE};
    alignas(64) float lanes[3][CHUNK];
    for (int lane = 0; lane < 3; ++lane) {
        const float* cLane = colour[lane];
        const float* vLane = variance[lane];
        for (int c = 0; c < count; ++c) {
            const float cp = cLane[c];
            const float vp = vLane[c];
            lanes[lane][c] = (cp - cLane[c + offset]) * cp /
                             (settings.epsilon + vp + laneMin(vLane[c + offset], 1000.f * vp));
        }
    }
    for (int c = 0; c < count; ++c) {
        out[c] = (lanes[0][c] + lanes[1][c] + lanes[2][c]) * settings.perturbationScale;
    }
}

/// The weights of candidate `k` and its perturbed run, and the sums they weigh. Only the first
/// candidate (`FIRST`) takes the small patch where `useSmall` says so.
template <bool FIRST, int FIXED_COUNT>
[[gnu::always_inline]] inline void
addCandidate(const OffsetSettings& settings, int k, const float* __restrict image,
             const float* __restrict distances, const float* __restrict smallDistances,
             const std::int32_t* __restrict useSmall, const float* __restrict featureWeight,
             const float* __restrict perturbation, float* __restrict sums, int count) {
    if constexpr (FIXED_COUNT > 0) {
        count = FIXED_COUNT;
    }
    const float factor = settings.candidateFactors[k];
    float* values = sums + std::size_t(VALUES + 4 * k) * TILE_PLANE;
    float* perturbedValues = sums + std::size_t(PERTURBED_VALUES + 4 * k) * TILE_PLANE;
    float* weights = sums + std::size_t(WEIGHTS + k) * TILE_PLANE;
    float* perturbedWeights = sums + std::size_t(PERTURBED_WEIGHTS + k) * TILE_PLANE;
    for (int c = 0; c < count; ++c) {
        const float distance = FIRST && useSmall[c] ? smallDistances[c] : distances[c];
        const float w = laneMin(negativeExpLane(distance * factor), featureWeight[c]);
        const float pw = laneMin(negativeExpLane((distance + perturbation[c]) * factor), featureWeight[c]);
        weights[c] += w;
        perturbedWeights[c] += pw;
#pragma GCC unroll 4
        for (int lane = 0; lane < 4; ++lane) {
            const float value = image[std::size_t(lane) * REGION_PLANE + std::size_t(c)];
            values[std::size_t(lane) * TILE_PLANE + std::size_t(c)] += w * value;
            perturbedValues[std::size_t(lane) * TILE_PLANE + std::size_t(c)] += pw * (value * 1.01f);
        }
    }
}

template <int FIXED_COUNT>
[[gnu::always_inline]] inline void
accumulateOf(const OffsetSettings& settings, const float* centre, std::ptrdiff_t offset,
             const float* __restrict distances, const float* __restrict smallDistances,
             const std::int32_t* __restrict useSmall, const float* __restrict featureWeight,
             float* __restrict sums, int count) {
    alignas(64) float perturbation[CHUNK];
    perturbations<FIXED_COUNT>(settings, centre, offset, perturbation, count);
    const float* image = centre + IMAGE * REGION_PLANE + offset;
    addCandidate<true, FIXED_COUNT>(settings, 0, image, distances, smallDistances, useSmall, featureWeight,
                                    perturbation, sums, count);
    addCandidate<false, FIXED_COUNT>(settings, 1, image, distances, smallDistances, useSmall, featureWeight,
                                     perturbation, sums, count);
    addCandidate<false, FIXED_COUNT>(settings, 2, image, distances, smallDistances, useSmall, featureWeight,
                                     perturbation, sums, count);
}

} // namespace

VESPRA_VECTOR_CLONES
void distanceRow(const float* centre, std::ptrdiff_t offset, float alpha, float epsilon,
                 float* __restrict out, int count) {
    const float* __restrict colour0 = centre + COLOUR * REGION_PLANE;
    const float* __restrict colour1 = centre + (COLOUR + 1) * REGION_PLANE;
    const float* __restrict colour2 = centre + (COLOUR + 2) * REGION_PLANE;
    const float* __restrict variance0 = centre + VARIANCE * REGION_PLANE;
    const float* __restrict variance1 = centre + (VARIANCE + 1) * REGION_PLANE;
    const float* __restrict variance2 = centre + (VARIANCE + 2) * REGION_PLANE;
    for (int c = 0; c < count; ++c) {
        const float d0 = pairDistanceLane(colour0[c], colour0[c + offset], variance0[c],
                                          variance0[c + offset], alpha, epsilon);
        const float d1 = pairDistanceLane(colour1[c], colour1[c + offset], variance1[c],
                                          variance1[c + offset], alpha, epsilon);
        const float d2 = pairDistanceLane(colour2[c], colour2[c + offset], variance2[c],
                                          variance2[c + offset], alpha, epsilon);
        out[c] = d0 + d1 + d2;
    }
}

VESPRA_VECTOR_CLONES
void featureWeights(const OffsetSettings& settings, const float* features, std::ptrdiff_t offset,
                    const float* factors, float* weights, int count) {
    if (count == TILE_WIDTH) {
        featureWeightsFor<TILE_WIDTH>(settings, features, offset, factors, weights, count);
        return;
    }
    int first = 0;
    for (; first + CHUNK <= count; first += CHUNK) {
        featureWeightsFor<CHUNK>(settings, features + first, offset, factors + first, weights + first, CHUNK);
    }
    if (first < count) {
        featureWeightsFor<0>(settings, features + first, offset, factors + first, weights + first,
                             count - first);
    }
}

VESPRA_VECTOR_CLONES
void accumulate(const OffsetSettings& settings, const float* centre, std::ptrdiff_t offset,
                const float* distances, const float* smallDistances, const std::int32_t* useSmall,
                const float* featureWeight, float* sums, int count) {
    if (count == TILE_WIDTH) {
        accumulateOf<TILE_WIDTH>(settings, centre, offset, distances, smallDistances, useSmall, featureWeight,
                                 sums, count);
        return;
    }
    int first = 0;
    for (; first + CHUNK <= count; first += CHUNK) {
        accumulateOf<CHUNK>(settings, centre + first, offset, distances + first, smallDistances + first,
                            useSmall + first, featureWeight + first, sums + first, CHUNK);
    }
    if (first < count) {
        accumulateOf<0>(settings, centre + first, offset, distances + first, smallDistances + first,
                        useSmall + first, featureWeight + first, sums + first, count - first);
    }
}

VESPRA_VECTOR_CLONES
void scalarWeights(float* __restrict weights, const float* __restrict distances,
                   const float* __restrict featureWeight, float factor, int count) {
    for (int c = 0; c < count; ++c) {
        weights[c] = laneMin(negativeExpLane(distances[c] * factor), featureWeight[c]);
    }
}

} // namespace Vespra::Detail::Tri
