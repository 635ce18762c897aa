#pragma once

namespace Vespra {

/// Two floats, such as a curve node.
struct Vector2 {
    float x = 0.f;
    float y = 0.f;

    constexpr Vector2 operator+(Vector2 o) const { return {x + o.x, y + o.y}; }
    constexpr Vector2 operator-(Vector2 o) const { return {x - o.x, y - o.y}; }
    constexpr Vector2 operator*(float f) const { return {x * f, y * f}; }
    constexpr bool operator==(const Vector2&) const = default;
};

} // namespace Vespra
