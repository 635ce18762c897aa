#include "misc/adaptivitydenoising/utils/SweepKernels.h"

#include <algorithm>

#include "foundation/VectorClones.h"
#include "misc/adaptivitydenoising/utils/PixelMath.h"

namespace Vespra::Detail::Sweep {

VESPRA_VECTOR_CLONES
void pairDistances(float* __restrict out, const float* a, const float* b, const float* va, const float* vb,
                   int floats, float alpha, float epsilon) {
    for (int i = 0; i < floats; ++i) {
        out[i] = pairDistanceLane(a[i], b[i], va[i], vb[i], alpha, epsilon);
    }
}

VESPRA_VECTOR_CLONES
void colourSums(float* __restrict out, const float* __restrict in, int count) {
    for (int x = 0; x < count; ++x) {
        out[x] = in[4 * x] + in[4 * x + 1] + in[4 * x + 2];
    }
}

namespace {

/// `addRange` with the number of terms known, so that a sum stays in a register.
template <int TERMS, bool ACCUMULATE>
[[gnu::always_inline]] inline void addTerms(float* __restrict out, const float* __restrict in,
                                            std::ptrdiff_t step, int floats) {
    for (int i = 0; i < floats; ++i) {
        float sum = ACCUMULATE ? out[i] : 0.f;
#pragma GCC unroll 8
        for (int k = 0; k < TERMS; ++k) {
            sum += in[i + k * step];
        }
        out[i] = sum;
    }
}

template <bool ACCUMULATE>
[[gnu::always_inline]] inline void addTerms(float* __restrict out, const float* __restrict in,
                                            std::ptrdiff_t step, int terms, int floats) {
    switch (terms) {
    case 1:
        return addTerms<1, ACCUMULATE>(out, in, step, floats);
    case 2:
        return addTerms<2, ACCUMULATE>(out, in, step, floats);
    case 3:
        return addTerms<3, ACCUMULATE>(out, in, step, floats);
    case 4:
        return addTerms<4, ACCUMULATE>(out, in, step, floats);
    case 5:
        return addTerms<5, ACCUMULATE>(out, in, step, floats);
    case 6:
        return addTerms<6, ACCUMULATE>(out, in, step, floats);
    case 7:
        return addTerms<7, ACCUMULATE>(out, in, step, floats);
    default:
        // Wider patches than the filters use: a run per term.
        if (!ACCUMULATE) {
            std::fill(out, out + floats, 0.f);
        }
        for (int k = 0; k < terms; ++k) {
            for (int i = 0; i < floats; ++i) {
                out[i] += in[i + k * step];
            }
        }
    }
}

} // namespace

VESPRA_VECTOR_CLONES
void addRange(float* __restrict out, const float* __restrict in, std::ptrdiff_t step, int from, int to,
              int floats, bool accumulate) {
    const float* first = in + from * step;
    if (accumulate) {
        addTerms<true>(out, first, step, to - from + 1, floats);
    } else {
        addTerms<false>(out, first, step, to - from + 1, floats);
    }
}

namespace {

template <int HALF, int SMALL_HALF>
[[gnu::always_inline]] inline void patchSumsOf(const float* __restrict in, float* __restrict smallRows,
                                               float* __restrict largeRows, float* __restrict smallPatch,
                                               float* __restrict patch, int regionCount, int tileCount,
                                               int stride, float smallFactor, float factor) {
    constexpr bool HAS_SMALL = SMALL_HALF != HALF;
    for (int i = 0; i < regionCount; ++i) {
        float small = 0.f;
#pragma GCC unroll 8
        for (int k = HALF - SMALL_HALF; k <= HALF + SMALL_HALF; ++k) {
            small += in[i + k];
        }
        smallRows[i] = small;
        if constexpr (HAS_SMALL) {
            float large = small;
#pragma GCC unroll 8
            for (int k = 0; k < HALF - SMALL_HALF; ++k) {
                large += in[i + k];
            }
#pragma GCC unroll 8
            for (int k = HALF + SMALL_HALF + 1; k <= 2 * HALF; ++k) {
                large += in[i + k];
            }
            largeRows[i] = large;
        }
    }
    const float* rows = HAS_SMALL ? largeRows : smallRows;
    for (int i = 0; i < tileCount; ++i) {
        if constexpr (HAS_SMALL) {
            float small = 0.f;
#pragma GCC unroll 8
            for (int k = HALF - SMALL_HALF; k <= HALF + SMALL_HALF; ++k) {
                small += smallRows[i + k * stride];
            }
            smallPatch[i] = small * smallFactor;
        }
        float large = 0.f;
#pragma GCC unroll 8
        for (int k = 0; k <= 2 * HALF; ++k) {
            large += rows[i + k * stride];
        }
        patch[i] = large * factor;
    }
}

} // namespace

VESPRA_VECTOR_CLONES
bool fusedPatchSums(const float* in, float* smallRows, float* largeRows, float* smallPatch, float* patch,
                    int half, int smallHalf, int regionCount, int tileCount, int stride, float smallFactor,
                    float factor) {
    if (half == 3 && smallHalf == 2) {
        patchSumsOf<3, 2>(in, smallRows, largeRows, smallPatch, patch, regionCount, tileCount, stride,
                          smallFactor, factor);
    } else if (half == 1 && smallHalf == 0) {
        patchSumsOf<1, 0>(in, smallRows, largeRows, smallPatch, patch, regionCount, tileCount, stride,
                          smallFactor, factor);
    } else if (half == 1 && smallHalf == 1) {
        patchSumsOf<1, 1>(in, smallRows, largeRows, smallPatch, patch, regionCount, tileCount, stride,
                          smallFactor, factor);
    } else if (half == 2 && smallHalf == 2) {
        patchSumsOf<2, 2>(in, smallRows, largeRows, smallPatch, patch, regionCount, tileCount, stride,
                          smallFactor, factor);
    } else if (half == 3 && smallHalf == 3) {
        patchSumsOf<3, 3>(in, smallRows, largeRows, smallPatch, patch, regionCount, tileCount, stride,
                          smallFactor, factor);
    } else {
        return false;
    }
    return true;
}

VESPRA_VECTOR_CLONES
void addLaneWeights(float* __restrict weights, float* __restrict sums, const float* __restrict distances,
                    const float* __restrict image, float factor, int floats) {
    for (int i = 0; i < floats; ++i) {
        const float w = negativeExpLane(distances[i] * factor);
        weights[i] += w;
        sums[i] += w * image[i];
    }
}

} // namespace Vespra::Detail::Sweep
