#pragma once

#include "foundation/Float4.h"
#include "foundation/Rgb.h"

namespace Vespra {

/// Four colours with one channel per register: lane k of `r`, `g` and `b` belongs to colour k.
/// Per-channel arithmetic then works on four pixels at once with all lanes in use, and the
/// three channels form independent chains.
struct ColorQuad {
    Float4 r;
    Float4 g;
    Float4 b;

    /// From four pixels with red, green and blue in their first three lanes; `fourth`
    /// receives their fourth lanes.
    static ColorQuad fromPixels(Float4 p0, Float4 p1, Float4 p2, Float4 p3, Float4& fourth) {
        _MM_TRANSPOSE4_PS(p0.v, p1.v, p2.v, p3.v);
        fourth = p3;
        return {p0, p1, p2};
    }

    static ColorQuad fromPixels(Float4 p0, Float4 p1, Float4 p2, Float4 p3) {
        Float4 unused;
        return fromPixels(p0, p1, p2, p3, unused);
    }

    /// The four pixels, with `fourth` in their fourth lanes.
    void toPixels(Float4& p0, Float4& p1, Float4& p2, Float4& p3, Float4 fourth = Float4()) const {
        p0 = r;
        p1 = g;
        p2 = b;
        p3 = fourth;
        _MM_TRANSPOSE4_PS(p0.v, p1.v, p2.v, p3.v);
    }

    /// Applies `function` (Float4 pixel to Float4 pixel) to each of the four colours by
    /// itself: the way into code that works on one whole pixel.
    template <class Function>
    ColorQuad perPixel(Function function) const {
        Float4 p0, p1, p2, p3;
        toPixels(p0, p1, p2, p3);
        return fromPixels(function(p0), function(p1), function(p2), function(p3));
    }
};

} // namespace Vespra
