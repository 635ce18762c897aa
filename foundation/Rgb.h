#pragma once

namespace Vespra {

/// A colour of three floats. It occupies four lanes, like a `Float4`: pixel bitmaps carry
/// alpha in the fourth, and colour arithmetic leaves that lane as the left operand has it.
struct alignas(16) Rgb {
    float r = 0.f;
    float g = 0.f;
    float b = 0.f;
    float a = 1.f;

    constexpr Rgb() = default;
    constexpr Rgb(float r, float g, float b, float a = 1.f) : r(r), g(g), b(b), a(a) {}
    constexpr explicit Rgb(float gray) : r(gray), g(gray), b(gray) {}

    static constexpr Rgb black() { return Rgb(0.f); }
    static constexpr Rgb white() { return Rgb(1.f); }

    constexpr float& operator[](int index) { return (&r)[index]; }
    constexpr float operator[](int index) const { return (&r)[index]; }

    constexpr Rgb operator+(const Rgb& o) const { return {r + o.r, g + o.g, b + o.b, a}; }
    constexpr Rgb operator-(const Rgb& o) const { return {r - o.r, g - o.g, b - o.b, a}; }
    constexpr Rgb operator*(const Rgb& o) const { return {r * o.r, g * o.g, b * o.b, a}; }
    constexpr Rgb operator/(const Rgb& o) const { return {r / o.r, g / o.g, b / o.b, a}; }
    constexpr Rgb operator*(float f) const { return {r * f, g * f, b * f, a}; }
    constexpr Rgb operator/(float f) const { return {r / f, g / f, b / f, a}; }
    constexpr Rgb& operator+=(const Rgb& o) { return *this = *this + o; }
    constexpr Rgb& operator*=(const Rgb& o) { return *this = *this * o; }
    constexpr Rgb& operator*=(float f) { return *this = *this * f; }
    friend constexpr Rgb operator*(float f, const Rgb& c) { return c * f; }

    /// Colours compare by their three channels; the fourth lane is not part of the colour.
    constexpr bool operator==(const Rgb& o) const { return r == o.r && g == o.g && b == o.b; }

    /// Rec. 709 luminance.
    constexpr float luminance() const { return 0.2126f * r + 0.7152f * g + 0.0722f * b; }
    constexpr float average() const { return (r + g + b) / 3.f; }
    constexpr float max() const { return r > g ? (r > b ? r : b) : (g > b ? g : b); }
};

static_assert(sizeof(Rgb) == 16);

} // namespace Vespra
