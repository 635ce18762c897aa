#include "misc/adaptivitydenoising/utils/TriAccumulation.h"

#include "foundation/VectorClones.h"
#include "misc/adaptivitydenoising/utils/PixelMath.h"

namespace Vespra::Detail::Tri {

namespace {

/// The feature weight of each pixel: e^-(the largest feature term, at least -1), with the
/// number of features known, so that the largest terms stay in registers.
template <int FEATURE_COUNT>
[[gnu::always_inline]] inline void
featureWeights(const OffsetSettings& settings, const float* __restrict centre, std::ptrdiff_t offset,
               const float* __restrict factors, float* __restrict weights, int count) {
    for (int c = 0; c < count; ++c) {
        float largest[4] = {-1.f, -1.f, -1.f, -1.f};
#pragma GCC unroll 4
        for (int feature = 0; feature < FEATURE_COUNT; ++feature) {
#pragma GCC unroll 4
            for (int lane = 0; lane < 4; ++lane) {
                const int item = 4 * feature + lane;
                const float* mean =
                    centre + std::size_t(FEATURES + PLANES_PER_FEATURE * feature + lane) * REGION_PLANE;
                const float* variance = mean + 4 * REGION_PLANE;
                const float vp = variance[c];
                const float difference = mean[c] - mean[c + offset];
                const float numerator =
                    difference * difference -
                    settings.varianceScales[item] * (laneMin(vp, variance[c + offset]) + vp);
                const float factor = factors[std::size_t(item) * TILE_PLANE + std::size_t(c)];
                largest[lane] = laneMax(largest[lane], numerator * laneMin(settings.limits[item], factor));
            }
        }
        // In the order of maxOfLanes, for the same answer with NaN.
        weights[c] =
            negativeExpLane(laneMax(laneMax(largest[0], largest[1]), laneMax(largest[2], largest[3])));
    }
}

/// How much the patch distance of each pixel grows when its neighbour is perturbed.
[[gnu::always_inline]] inline void perturbations(const OffsetSettings& settings,
                                                 const float* __restrict centre, std::ptrdiff_t offset,
                                                 float* __restrict out, int count) {
    const float* colour[3] = {centre + COLOUR * REGION_PLANE, centre + (COLOUR + 1) * REGION_PLANE,
                              centre + (COLOUR + 2) * REGION_PLANE};
    const float* variance[3] = {centre + VARIANCE * REGION_PLANE, centre + (VARIANCE + 1) * REGION_PLANE,
                                centre + (VARIANCE + 2) * REGION_PLANE};
    float lanes[3][TILE_WIDTH];
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
template <bool FIRST>
[[gnu::always_inline]] inline void
addCandidate(const OffsetSettings& settings, int k, const float* __restrict image,
             const float* __restrict distances, const float* __restrict smallDistances,
             const std::int32_t* __restrict useSmall, const float* __restrict featureWeight,
             const float* __restrict perturbation, float* __restrict sums, int count) {
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

} // namespace

VESPRA_VECTOR_CLONES
void accumulateRow(const OffsetSettings& settings, const float* centre, std::ptrdiff_t offset,
                   const float* __restrict distances, const float* __restrict smallDistances,
                   const std::int32_t* __restrict useSmall, const float* __restrict factors,
                   float* __restrict sums, float* __restrict scratch, int count) {
    float* __restrict featureWeight = scratch;
    float* __restrict perturbation = scratch + TILE_WIDTH;
    switch (settings.features) {
    case 0:
        featureWeights<0>(settings, centre, offset, factors, featureWeight, count);
        break;
    case 1:
        featureWeights<1>(settings, centre, offset, factors, featureWeight, count);
        break;
    case 2:
        featureWeights<2>(settings, centre, offset, factors, featureWeight, count);
        break;
    case 3:
        featureWeights<3>(settings, centre, offset, factors, featureWeight, count);
        break;
    default:
        featureWeights<4>(settings, centre, offset, factors, featureWeight, count);
        break;
    }
    perturbations(settings, centre, offset, perturbation, count);

    const float* image = centre + IMAGE * REGION_PLANE + offset;
    addCandidate<true>(settings, 0, image, distances, smallDistances, useSmall, featureWeight, perturbation,
                       sums, count);
    addCandidate<false>(settings, 1, image, distances, smallDistances, useSmall, featureWeight, perturbation,
                        sums, count);
    addCandidate<false>(settings, 2, image, distances, smallDistances, useSmall, featureWeight, perturbation,
                        sums, count);
}

} // namespace Vespra::Detail::Tri
