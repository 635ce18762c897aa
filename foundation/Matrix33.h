#pragma once

#include "foundation/Rgb.h"
#include "foundation/Vector3.h"

namespace Vespra {

/// A 3 by 3 matrix of rows.
struct Matrix33 {
    float m[3][3] = {{1.f, 0.f, 0.f}, {0.f, 1.f, 0.f}, {0.f, 0.f, 1.f}};

    constexpr Rgb operator*(const Rgb& c) const {
        return {m[0][0] * c.r + m[0][1] * c.g + m[0][2] * c.b, m[1][0] * c.r + m[1][1] * c.g + m[1][2] * c.b,
                m[2][0] * c.r + m[2][1] * c.g + m[2][2] * c.b, c.a};
    }
    template <class Tag>
    constexpr Vector3<Tag> operator*(const Vector3<Tag>& v) const {
        return {m[0][0] * v.x + m[0][1] * v.y + m[0][2] * v.z, m[1][0] * v.x + m[1][1] * v.y + m[1][2] * v.z,
                m[2][0] * v.x + m[2][1] * v.y + m[2][2] * v.z};
    }
    constexpr Matrix33 operator*(const Matrix33& o) const {
        Matrix33 result;
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) {
                result.m[i][j] = m[i][0] * o.m[0][j] + m[i][1] * o.m[1][j] + m[i][2] * o.m[2][j];
            }
        }
        return result;
    }
    static constexpr Matrix33 diagonal(const Rgb& d) {
        Matrix33 result;
        result.m[0][0] = d.r;
        result.m[1][1] = d.g;
        result.m[2][2] = d.b;
        return result;
    }
    Matrix33 inverse() const;
    constexpr bool operator==(const Matrix33&) const = default;
};

/// A 3 by 4 transform: a linear part and a translation.
struct AffineTm {
    Matrix33 linear;
    Pos translation;

    constexpr Pos operator*(const Pos& p) const { return linear * p + translation; }
    constexpr Dir operator*(const Dir& d) const { return linear * d; }
    constexpr bool operator==(const AffineTm&) const = default;
};

inline constexpr AffineTm AFFINETM_IDENTITY{};

} // namespace Vespra
