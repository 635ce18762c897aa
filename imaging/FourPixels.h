#pragma once

#include <cstdint>

#include "foundation/Rgb.h"

namespace Vespra {

/// Four pixels side by side, in whatever registers the processor has: one AVX-512 register, two
/// AVX ones or four SSE ones. Helpers take and give them by reference: returning one by value
/// would change the calling convention between those widths.
using FourPixels = float __attribute__((vector_size(64), aligned(16)));
using LaneIndices = std::int32_t __attribute__((vector_size(64)));

/// The four pixels from `pixels` as one vector.
[[gnu::always_inline]] inline const FourPixels& quadAt(const Rgb* pixels) {
    return *reinterpret_cast<const FourPixels*>(pixels);
}

[[gnu::always_inline]] inline FourPixels& quadAt(Rgb* pixels) {
    return *reinterpret_cast<FourPixels*>(pixels);
}

/// The light that a level of a blur cascade adds for a pixel t, `plain` * t + max(t.r, t.g, t.b)
/// * `tint`, four pixels at a time.
struct QuadLight {
    FourPixels plains;
    FourPixels tints;

    QuadLight(float plain, const Rgb& tint)
        : plains(FourPixels{} + plain), tints{tint.r, tint.g, tint.b, 0.f, tint.r, tint.g, tint.b, 0.f,
                                              tint.r, tint.g, tint.b, 0.f, tint.r, tint.g, tint.b, 0.f} {}

    /// target = the light of `t`, or with `add` target + the light.
    [[gnu::always_inline]] void put(const FourPixels& t, FourPixels& target, bool add) const {
        // Picks lane 0 of each pixel for all four of its lanes; adding 1 or 2 picks lane 1 or 2.
        const LaneIndices firstLanes{0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12};
        const FourPixels red = __builtin_shuffle(t, firstLanes);
        const FourPixels green = __builtin_shuffle(t, firstLanes + 1);
        const FourPixels blue = __builtin_shuffle(t, firstLanes + 2);
        const FourPixels redGreen = red > green ? red : green;
        const FourPixels brightest = redGreen > blue ? redGreen : blue;
        const FourPixels light = plains * t + brightest * tints;
        target = add ? target + light : light;
    }
};

} // namespace Vespra
