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

/// One colour's part of the perturbation: the change of the distance between the centre cp and
/// the neighbour cq when the neighbour is perturbed, over the same denominator as the distance,
/// where the neighbour's variance counts at most 1000 times the centre's.
[[gnu::always_inline]] inline float perturbationLane(float cp, float cq, float vp, float vq, float epsilon) {
    return (cp - cq) * cp / (epsilon + vp + laneMin(vq, 1000.f * vp));
}

/// The three candidates of each pixel at one offset, in one loop: the perturbation of the
/// patch distance by the neighbour (`perturbation`), the weights of each candidate and of its
/// perturbed run, and the sums they weigh. Each sum takes one term, as a separate loop per
/// candidate would give it; only the first candidate takes the small patch, where `useSmall`
/// says so.
template <int FIXED_COUNT>
[[gnu::always_inline]] inline void
accumulateOf(const OffsetSettings& settings, const float* __restrict centre, std::ptrdiff_t offset,
             const float* __restrict distances, const float* __restrict smallDistances,
             const std::int32_t* __restrict useSmall, const float* __restrict featureWeight,
             float* __restrict sums, int count) {
    if constexpr (FIXED_COUNT > 0) {
        count = FIXED_COUNT;
    }
    const float* __restrict colour0 = centre + COLOUR * REGION_PLANE;
    const float* __restrict colour1 = centre + (COLOUR + 1) * REGION_PLANE;
    const float* __restrict colour2 = centre + (COLOUR + 2) * REGION_PLANE;
    const float* __restrict variance0 = centre + VARIANCE * REGION_PLANE;
    const float* __restrict variance1 = centre + (VARIANCE + 1) * REGION_PLANE;
    const float* __restrict variance2 = centre + (VARIANCE + 2) * REGION_PLANE;
    const float* __restrict image = centre + IMAGE * REGION_PLANE + offset;
    const float epsilon = settings.epsilon;
    const float perturbationScale = settings.perturbationScale;
    const float factor0 = settings.candidateFactors[0];
    const float factor1 = settings.candidateFactors[1];
    const float factor2 = settings.candidateFactors[2];
    const auto plane = [sums](int index) { return sums + std::size_t(index) * TILE_PLANE; };
    float* __restrict weights0 = plane(WEIGHTS);
    float* __restrict weights1 = plane(WEIGHTS + 1);
    float* __restrict weights2 = plane(WEIGHTS + 2);
    float* __restrict perturbedWeights0 = plane(PERTURBED_WEIGHTS);
    float* __restrict perturbedWeights1 = plane(PERTURBED_WEIGHTS + 1);
    float* __restrict perturbedWeights2 = plane(PERTURBED_WEIGHTS + 2);
    float* __restrict values = plane(VALUES);
    float* __restrict perturbedValues = plane(PERTURBED_VALUES);
    for (int c = 0; c < count; ++c) {
        const float perturbation =
            (perturbationLane(colour0[c], colour0[c + offset], variance0[c], variance0[c + offset], epsilon) +
             perturbationLane(colour1[c], colour1[c + offset], variance1[c], variance1[c + offset], epsilon) +
             perturbationLane(colour2[c], colour2[c + offset], variance2[c], variance2[c + offset],
                              epsilon)) *
            perturbationScale;
        const float feature = featureWeight[c];
        const float distance = distances[c];
        const float smallDistance = laneSelect(useSmall[c] != 0, smallDistances[c], distance);
        const float w0 = laneMin(negativeExpLane(smallDistance * factor0), feature);
        const float pw0 = laneMin(negativeExpLane((smallDistance + perturbation) * factor0), feature);
        const float w1 = laneMin(negativeExpLane(distance * factor1), feature);
        const float pw1 = laneMin(negativeExpLane((distance + perturbation) * factor1), feature);
        const float w2 = laneMin(negativeExpLane(distance * factor2), feature);
        const float pw2 = laneMin(negativeExpLane((distance + perturbation) * factor2), feature);
        weights0[c] += w0;
        weights1[c] += w1;
        weights2[c] += w2;
        perturbedWeights0[c] += pw0;
        perturbedWeights1[c] += pw1;
        perturbedWeights2[c] += pw2;
#pragma GCC unroll 4
        for (int l = 0; l < 4; ++l) {
            const float value = image[std::size_t(l) * REGION_PLANE + std::size_t(c)];
            const float perturbedValue = value * 1.01f;
            const std::size_t at = std::size_t(l) * TILE_PLANE + std::size_t(c);
            values[at] += w0 * value;
            values[4 * TILE_PLANE + at] += w1 * value;
            values[8 * TILE_PLANE + at] += w2 * value;
            perturbedValues[at] += pw0 * perturbedValue;
            perturbedValues[4 * TILE_PLANE + at] += pw1 * perturbedValue;
            perturbedValues[8 * TILE_PLANE + at] += pw2 * perturbedValue;
        }
    }
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
