#include "foundation/ColorSpace.h"

#include <algorithm>
#include <cmath>

#include "foundation/Containers.h"

namespace Vespra {

namespace {

struct DoubleMatrix {
    double m[3][3];
};

struct Chromaticity {
    double x;
    double y;
};

constexpr DoubleMatrix multiply(const DoubleMatrix& a, const DoubleMatrix& b) {
    DoubleMatrix result{};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            result.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j];
        }
    }
    return result;
}

constexpr DoubleMatrix inverse(const DoubleMatrix& a) {
    DoubleMatrix result{};
    double determinant = 0.0;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            // The cofactor of (j, i), by cyclic indices, is the entry (i, j) of the adjugate.
            const int r0 = (j + 1) % 3, r1 = (j + 2) % 3, c0 = (i + 1) % 3, c1 = (i + 2) % 3;
            result.m[i][j] = a.m[r0][c0] * a.m[r1][c1] - a.m[r0][c1] * a.m[r1][c0];
        }
    }
    for (int k = 0; k < 3; ++k) {
        determinant += a.m[0][k] * result.m[k][0];
    }
    for (auto& row : result.m) {
        for (double& value : row) {
            value /= determinant;
        }
    }
    return result;
}

/// XYZ of a chromaticity, with Y = 1.
constexpr StaticArray<double, 3> toXyz(Chromaticity c) {
    return {c.x / c.y, 1.0, (1.0 - c.x - c.y) / c.y};
}

/// RGB to XYZ of three primaries: each primary's XYZ column is scaled so that
/// RGB (1, 1, 1) lands on the white.
constexpr DoubleMatrix rgbToXyz(Chromaticity red, Chromaticity green, Chromaticity blue, Chromaticity white) {
    const Chromaticity primaries[3] = {red, green, blue};
    DoubleMatrix columns{};
    for (int j = 0; j < 3; ++j) {
        const auto xyz = toXyz(primaries[j]);
        for (int i = 0; i < 3; ++i) {
            columns.m[i][j] = xyz[i];
        }
    }
    const DoubleMatrix toPrimaries = inverse(columns);
    const auto whiteXyz = toXyz(white);
    for (int j = 0; j < 3; ++j) {
        const double scale = toPrimaries.m[j][0] * whiteXyz[0] + toPrimaries.m[j][1] * whiteXyz[1] +
                             toPrimaries.m[j][2] * whiteXyz[2];
        for (int i = 0; i < 3; ++i) {
            columns.m[i][j] *= scale;
        }
    }
    return columns;
}

constexpr Matrix33 toFloat(const DoubleMatrix& a) {
    Matrix33 result;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            result.m[i][j] = float(a.m[i][j]);
        }
    }
    return result;
}

constexpr Chromaticity D65{0.3127, 0.3290};
constexpr DoubleMatrix REC709_TO_XYZ = rgbToXyz({0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}, D65);
constexpr DoubleMatrix REC2020_TO_XYZ = rgbToXyz({0.708, 0.292}, {0.170, 0.797}, {0.131, 0.046}, D65);
constexpr DoubleMatrix XYZ_TO_REC709 = inverse(REC709_TO_XYZ);
constexpr DoubleMatrix XYZ_TO_REC2020 = inverse(REC2020_TO_XYZ);

Chromaticity daylightLocus(double kelvin) {
    const double t = 1.0 / kelvin;
    const double x = kelvin <= 7000.0 ? ((-4.6070e9 * t + 2.9678e6) * t + 0.09911e3) * t + 0.244063
                                      : ((-2.0064e9 * t + 1.9018e6) * t + 0.24748e3) * t + 0.237040;
    return {x, (-3.0 * x + 2.870) * x - 0.275};
}

Chromaticity planckianLocus(double kelvin) {
    const double t = kelvin;
    const double u = (0.860117757 + 1.54118254e-4 * t + 1.28641212e-7 * t * t) /
                     (1.0 + 8.42420235e-4 * t + 7.08145163e-7 * t * t);
    const double v = (0.317398726 + 4.22806245e-5 * t + 4.20481691e-8 * t * t) /
                     (1.0 - 2.89741816e-5 * t + 1.61456053e-7 * t * t);
    // CIE 1960 uv to xy.
    const double d = 2.0 * u - 8.0 * v + 4.0;
    return {3.0 * u / d, 2.0 * v / d};
}

Chromaticity whiteChromaticity(double kelvin) {
    constexpr double BLEND_START = 3500.0;
    constexpr double DAYLIGHT_START = 4000.0;
    if (kelvin >= DAYLIGHT_START) {
        return daylightLocus(kelvin);
    }
    const Chromaticity planckian = planckianLocus(kelvin);
    if (kelvin <= BLEND_START) {
        return planckian;
    }
    const Chromaticity daylight = daylightLocus(kelvin);
    const double w = (kelvin - BLEND_START) / (DAYLIGHT_START - BLEND_START);
    return {planckian.x + (daylight.x - planckian.x) * w, planckian.y + (daylight.y - planckian.y) * w};
}

/// Linear RGB of the white of a temperature, with luminance 1. Whites below about 1900 K lie
/// outside the Rec. 709 gamut (their blue is negative); those are moved towards grey, keeping
/// the luminance, until no channel is below MIN_CHANNEL, so that every multiplier stays
/// positive and finite.
Rgb whiteRgb(float kelvin) {
    constexpr double MIN_CHANNEL = 0.02;
    const auto xyz = toXyz(whiteChromaticity(std::clamp(kelvin, MIN_KELVIN, MAX_KELVIN)));
    double rgb[3];
    for (int i = 0; i < 3; ++i) {
        rgb[i] =
            XYZ_TO_REC709.m[i][0] * xyz[0] + XYZ_TO_REC709.m[i][1] * xyz[1] + XYZ_TO_REC709.m[i][2] * xyz[2];
    }
    const double lowest = std::min({rgb[0], rgb[1], rgb[2]});
    const double towardsGrey = lowest < MIN_CHANNEL ? (1.0 - MIN_CHANNEL) / (1.0 - lowest) : 1.0;
    const auto channel = [&](int i) { return float(1.0 + (rgb[i] - 1.0) * towardsGrey); };
    return {channel(0), channel(1), channel(2)};
}

} // namespace

constinit const Matrix33 TM_LIN_RGB_TO_XYZ = toFloat(REC709_TO_XYZ);
constinit const Matrix33 TM_XYZ_TO_LIN_RGB = toFloat(XYZ_TO_REC709);
constinit const Matrix33 TM_LIN_WIDE_RGB_TO_XYZ = toFloat(REC2020_TO_XYZ);
constinit const Matrix33 TM_XYZ_TO_LIN_WIDE_RGB = toFloat(XYZ_TO_REC2020);
constinit const Matrix33 TM_LIN_RGB_TO_LIN_WIDE_RGB = toFloat(multiply(XYZ_TO_REC2020, REC709_TO_XYZ));
constinit const Matrix33 TM_LIN_WIDE_RGB_TO_LIN_RGB = toFloat(multiply(XYZ_TO_REC709, REC2020_TO_XYZ));

Vector2 temperatureToChromaticity(float kelvin) {
    const Chromaticity c = whiteChromaticity(std::clamp(kelvin, MIN_KELVIN, MAX_KELVIN));
    return {float(c.x), float(c.y)};
}

Rgb colorAdaptation(float fromKelvin, float toKelvin) {
    // Any von Kries adaptation (Bradford included) takes the source white exactly onto the
    // destination white; the per-channel multiplier that does the same in RGB is the ratio
    // of the two whites, and it is (1, 1, 1) exactly when the temperatures are equal.
    return whiteRgb(toKelvin) / whiteRgb(fromKelvin);
}

} // namespace Vespra
