#pragma once

#include <cstdint>
#include <type_traits>

#include "foundation/Rgb.h"
#include "foundation/VectorClones.h"

namespace Vespra {

/// Vectors of `PIXELS` whole pixels, 4, 2 or 1: one register of AVX-512, AVX or SSE. A kernel
/// works with the vectors that fill the registers of the clone that runs (see
/// `withRegisterPixels`): the compiler keeps a vector wider than the registers in memory, and
/// one narrower leaves lanes idle.
template <int PIXELS>
struct PixelLanes;

template <>
struct PixelLanes<4> {
    using Vector = float __attribute__((vector_size(64), aligned(16)));
    using Indices = std::int32_t __attribute__((vector_size(64)));
    static constexpr Indices FIRST_OF_EACH_PIXEL{0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12};
};

template <>
struct PixelLanes<2> {
    using Vector = float __attribute__((vector_size(32), aligned(16)));
    using Indices = std::int32_t __attribute__((vector_size(32)));
    static constexpr Indices FIRST_OF_EACH_PIXEL{0, 0, 0, 0, 4, 4, 4, 4};
};

template <>
struct PixelLanes<1> {
    using Vector = float __attribute__((vector_size(16), aligned(16)));
    using Indices = std::int32_t __attribute__((vector_size(16)));
    static constexpr Indices FIRST_OF_EACH_PIXEL{0, 0, 0, 0};
};

template <int PIXELS>
using PixelVector = typename PixelLanes<PIXELS>::Vector;

/// Lane numbers for shuffles of `PixelVector<PIXELS>`; `FIRST_OF_EACH_PIXEL` picks the first lane
/// of each pixel for all four of its lanes.
template <int PIXELS>
using LaneIndices = typename PixelLanes<PIXELS>::Indices;

/// Calls `kernel(std::integral_constant<int, PIXELS>{})` with the pixels of one register of the
/// running clone. Either the caller is itself a kernel marked VESPRA_VECTOR_CLONES and
/// [[gnu::flatten]], so that every width is compiled into every clone and each clone runs the one
/// of its own registers; then `kernel` must be an always_inline lambda, as a clone does not inline
/// a plain one, which is compiled for the baseline processor. Or `kernel` calls the clones of a
/// kernel made for the width.
template <class Kernel>
[[gnu::always_inline]] inline void withRegisterPixels(Kernel&& kernel) {
    switch (Detail::cloneVectorBytes()) {
    case 64:
        return kernel(std::integral_constant<int, 4>{});
    case 32:
        return kernel(std::integral_constant<int, 2>{});
    default:
        return kernel(std::integral_constant<int, 1>{});
    }
}

/// The vector of the pixels from `pixels`.
template <int PIXELS>
[[gnu::always_inline]] inline const PixelVector<PIXELS>& pixelsAt(const Rgb* pixels) {
    return *reinterpret_cast<const PixelVector<PIXELS>*>(pixels);
}

template <int PIXELS>
[[gnu::always_inline]] inline PixelVector<PIXELS>& pixelsAt(Rgb* pixels) {
    return *reinterpret_cast<PixelVector<PIXELS>*>(pixels);
}

/// The light that a level of a blur cascade adds for a pixel t: `plain` * t + max(t.r, t.g, t.b)
/// * `tint`.
struct PixelLight {
    float plain;
    Rgb tint;

    /// The light in vectors of `PIXELS`; a kernel takes them into locals before its loop, where
    /// they stay in registers.
    template <int PIXELS>
    struct Lanes {
        PixelVector<PIXELS> plains;
        PixelVector<PIXELS> tints;

        /// target = the light of `t`, or with `add` target + the light.
        [[gnu::always_inline]] void put(const PixelVector<PIXELS>& t, PixelVector<PIXELS>& target,
                                        bool add) const {
            // Lane 0 of each pixel in all four of its lanes; adding 1 or 2 picks lane 1 or 2.
            constexpr LaneIndices<PIXELS> firstLanes = PixelLanes<PIXELS>::FIRST_OF_EACH_PIXEL;
            const PixelVector<PIXELS> red = __builtin_shuffle(t, firstLanes);
            const PixelVector<PIXELS> green = __builtin_shuffle(t, firstLanes + 1);
            const PixelVector<PIXELS> blue = __builtin_shuffle(t, firstLanes + 2);
            const PixelVector<PIXELS> redGreen = red > green ? red : green;
            const PixelVector<PIXELS> brightest = redGreen > blue ? redGreen : blue;
            const PixelVector<PIXELS> light = plains * t + brightest * tints;
            target = add ? target + light : light;
        }
    };

    template <int PIXELS>
    [[gnu::always_inline]] Lanes<PIXELS> lanes() const {
        Lanes<PIXELS> result;
        for (int lane = 0; lane < 4 * PIXELS; ++lane) {
            const int channel = lane & 3;
            result.plains[lane] = plain;
            result.tints[lane] = channel == 0 ? tint.r : channel == 1 ? tint.g : channel == 2 ? tint.b : 0.f;
        }
        return result;
    }
};

} // namespace Vespra
