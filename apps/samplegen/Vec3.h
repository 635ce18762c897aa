#pragma once

#include <cmath>

namespace Vespra::SampleGen {

/// A point, direction or colour of the sample scene. The tracer mixes the three freely, which
/// the tagged vector types of the foundation would not let it do.
struct Vec3 {
    float x = 0.f;
    float y = 0.f;
    float z = 0.f;

    constexpr float operator[](int index) const { return index == 0 ? x : (index == 1 ? y : z); }
    constexpr Vec3 operator+(const Vec3& o) const { return {x + o.x, y + o.y, z + o.z}; }
    constexpr Vec3 operator-(const Vec3& o) const { return {x - o.x, y - o.y, z - o.z}; }
    constexpr Vec3 operator*(const Vec3& o) const { return {x * o.x, y * o.y, z * o.z}; }
    constexpr Vec3 operator*(float f) const { return {x * f, y * f, z * f}; }
    constexpr Vec3 operator-() const { return {-x, -y, -z}; }
    constexpr Vec3& operator+=(const Vec3& o) { return *this = *this + o; }
    constexpr Vec3& operator*=(const Vec3& o) { return *this = *this * o; }
    constexpr Vec3& operator*=(float f) { return *this = *this * f; }
};

constexpr float dot(const Vec3& a, const Vec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

constexpr Vec3 cross(const Vec3& a, const Vec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline Vec3 normalize(const Vec3& v) {
    return v * (1.f / std::sqrt(dot(v, v)));
}

/// `d` mirrored about the plane of normal `n`.
constexpr Vec3 reflect(const Vec3& d, const Vec3& n) {
    return d - n * (2.f * dot(d, n));
}

struct Ray {
    Vec3 origin;
    /// Unit length.
    Vec3 direction;
};

} // namespace Vespra::SampleGen
