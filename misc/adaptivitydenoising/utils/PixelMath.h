#pragma once

#include <cstddef>

#include "foundation/FastMath.h"
#include "foundation/Float4.h"
#include "foundation/LaneMath.h"
#include "foundation/Rgb.h"

/// Four-lane helpers of the denoising kernels. Pixels are `Rgb`, whose four floats are read
/// and written as one `Float4`.
namespace Vespra::Detail {

inline Float4 loadPixel(const Rgb* pixels, std::size_t index) {
    return Float4::load(&pixels[index].r);
}
inline void storePixel(Rgb* pixels, std::size_t index, Float4 value) {
    value.store(&pixels[index].r);
}

/// Lane mask of the lanes where a equals b.
inline Float4 equalLanes(Float4 a, Float4 b) {
    return _mm_cmpeq_ps(a.v, b.v);
}

/// Sum of the three colour lanes, in every lane.
inline Float4 sumOfColours(Float4 value) {
    return dot3(value, Float4(1.f));
}
inline Float4 meanOfColours(Float4 value) {
    return sumOfColours(value) * Float4(1.f / 3.f);
}

/// The largest of the four lanes, in every lane.
inline Float4 maxOfLanes(Float4 value) {
    const Float4 swapped = _mm_shuffle_ps(value.v, value.v, _MM_SHUFFLE(2, 3, 0, 1));
    const Float4 pairs = max(value, swapped);
    return max(pairs, Float4(_mm_shuffle_ps(pairs.v, pairs.v, _MM_SHUFFLE(1, 0, 3, 2))));
}

/// e^-x through the base library's exp2 approximation, as all weights are made.
inline Float4 negativeExp(Float4 x) {
    return exp2Approx(x * Float4(-1.442695f));
}

/// `negativeExp` of one lane, for kernels written as plain loops over floats.
[[gnu::always_inline]] inline float negativeExpLane(float x) {
    return laneExp2Approx(x * -1.442695f);
}

/// The colour distance of lane a of one pixel to lane b of another with variances va and vb.
/// It is asymmetric: the neighbour's variance counts at most 1000 times the centre's, so that a
/// very noisy neighbour cannot draw close to a clean pixel. A 0/0 counts as 0.
[[gnu::always_inline]] inline float pairDistanceLane(float a, float b, float va, float vb, float alpha,
                                                     float epsilon) {
    const float difference = a - b;
    const float numerator = difference * difference - alpha * (laneMin(va, vb) + va);
    const float denominator = epsilon + va + laneMin(vb, 1000.f * va);
    return laneMax(numerator / denominator, 0.f);
}

/// Sorts the few pixels of a 3x3 neighbourhood ascending by their sum over colours.
inline void sortByBrightness(Float4* pixels, int count) {
    for (int i = 1; i < count; ++i) {
        const Float4 item = pixels[i];
        const float key = sumOfColours(item).x();
        int j = i;
        for (; j > 0 && key < sumOfColours(pixels[j - 1]).x(); --j) {
            pixels[j] = pixels[j - 1];
        }
        pixels[j] = item;
    }
}

} // namespace Vespra::Detail
