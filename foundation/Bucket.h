#pragma once

#include <algorithm>
#include <cstdint>

#include "foundation/Pixel.h"

namespace Vespra {

/// An integer rectangle; `x1` and `y1` are exclusive.
struct Bucket {
    std::int32_t x0 = 0;
    std::int32_t y0 = 0;
    std::int32_t x1 = 0;
    std::int32_t y1 = 0;

    static constexpr Bucket fromSize(std::int32_t width, std::int32_t height) {
        return {0, 0, width, height};
    }

    constexpr std::int32_t width() const { return x1 - x0; }
    constexpr std::int32_t height() const { return y1 - y0; }
    constexpr Pixel size() const { return {width(), height()}; }
    constexpr std::int64_t area() const { return isEmpty() ? 0 : std::int64_t(width()) * height(); }
    constexpr bool isEmpty() const { return x1 <= x0 || y1 <= y0; }
    constexpr bool contains(Pixel p) const { return p.x >= x0 && p.x < x1 && p.y >= y0 && p.y < y1; }
    constexpr bool contains(const Bucket& b) const {
        return b.x0 >= x0 && b.y0 >= y0 && b.x1 <= x1 && b.y1 <= y1;
    }

    constexpr Bucket intersect(const Bucket& other) const {
        return {std::max(x0, other.x0), std::max(y0, other.y0), std::min(x1, other.x1),
                std::min(y1, other.y1)};
    }
    constexpr Bucket translated(Pixel offset) const {
        return {x0 + offset.x, y0 + offset.y, x1 + offset.x, y1 + offset.y};
    }
    /// Grown by `margin` on every side.
    constexpr Bucket grown(std::int32_t margin) const {
        return {x0 - margin, y0 - margin, x1 + margin, y1 + margin};
    }

    constexpr bool operator==(const Bucket&) const = default;
};

} // namespace Vespra
