#pragma once

#include <cmath>

namespace Vespra {

/// Three floats that are a direction or a position.
template <class Tag>
struct Vector3 {
    float x = 0.f;
    float y = 0.f;
    float z = 0.f;

    constexpr float& operator[](int index) { return (&x)[index]; }
    constexpr float operator[](int index) const { return (&x)[index]; }
    constexpr Vector3 operator+(const Vector3& o) const { return {x + o.x, y + o.y, z + o.z}; }
    constexpr Vector3 operator-(const Vector3& o) const { return {x - o.x, y - o.y, z - o.z}; }
    constexpr Vector3 operator*(float f) const { return {x * f, y * f, z * f}; }
    constexpr bool operator==(const Vector3&) const = default;
    float length() const { return std::sqrt(x * x + y * y + z * z); }
};

struct DirTag;
struct PosTag;
using Dir = Vector3<DirTag>;
using Pos = Vector3<PosTag>;

} // namespace Vespra
