#pragma once

#include <cstdint>

namespace Vespra {

/// An integer point.
struct Pixel {
    std::int32_t x = 0;
    std::int32_t y = 0;

    static const Pixel ZERO;
    static const Pixel ONE;

    constexpr Pixel operator+(Pixel other) const { return {x + other.x, y + other.y}; }
    constexpr Pixel operator-(Pixel other) const { return {x - other.x, y - other.y}; }
    constexpr bool operator==(const Pixel&) const = default;
};

inline constexpr Pixel Pixel::ZERO{0, 0};
inline constexpr Pixel Pixel::ONE{1, 1};

} // namespace Vespra
