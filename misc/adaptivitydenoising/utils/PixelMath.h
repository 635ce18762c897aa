#pragma once

#include <cstddef>

#include "foundation/FastMath.h"
#include "foundation/Float4.h"
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
