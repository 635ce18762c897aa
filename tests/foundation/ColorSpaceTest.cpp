#include <limits>
#include <utility>

#include <gtest/gtest.h>

#include "foundation/ColorSpace.h"

using namespace Vespra;

namespace {

void expectMatrixNear(const Matrix33& actual, const float (&expected)[3][3], float tolerance) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            EXPECT_NEAR(actual.m[i][j], expected[i][j], tolerance) << "row " << i << ", column " << j;
        }
    }
}

void expectRgbNear(const Rgb& actual, const Rgb& expected, float tolerance) {
    EXPECT_NEAR(actual.r, expected.r, tolerance);
    EXPECT_NEAR(actual.g, expected.g, tolerance);
    EXPECT_NEAR(actual.b, expected.b, tolerance);
}

} // namespace

TEST(ColorSpace, MatricesMatchPublishedValues) {
    // IEC 61966-2-1 and ITU-R BT.2087, to the four decimals they are published with.
    expectMatrixNear(TM_LIN_RGB_TO_XYZ,
                     {{0.4124f, 0.3576f, 0.1805f}, {0.2126f, 0.7152f, 0.0722f}, {0.0193f, 0.1192f, 0.9505f}},
                     1e-4f);
    expectMatrixNear(TM_LIN_WIDE_RGB_TO_XYZ,
                     {{0.6370f, 0.1446f, 0.1689f}, {0.2627f, 0.6780f, 0.0593f}, {0.f, 0.0281f, 1.0610f}},
                     1e-4f);
    expectMatrixNear(TM_LIN_RGB_TO_LIN_WIDE_RGB,
                     {{0.6274f, 0.3293f, 0.0433f}, {0.0691f, 0.9195f, 0.0114f}, {0.0164f, 0.0880f, 0.8956f}},
                     1e-4f);
}

TEST(ColorSpace, PairsAreInversesAndKeepWhite) {
    const float identity[3][3] = {{1.f, 0.f, 0.f}, {0.f, 1.f, 0.f}, {0.f, 0.f, 1.f}};
    expectMatrixNear(TM_LIN_RGB_TO_LIN_WIDE_RGB * TM_LIN_WIDE_RGB_TO_LIN_RGB, identity, 1e-6f);
    expectMatrixNear(TM_LIN_WIDE_RGB_TO_LIN_RGB * TM_LIN_RGB_TO_LIN_WIDE_RGB, identity, 1e-6f);
    expectMatrixNear(TM_XYZ_TO_LIN_RGB * TM_LIN_RGB_TO_XYZ, identity, 1e-6f);
    expectMatrixNear(TM_XYZ_TO_LIN_WIDE_RGB * TM_LIN_WIDE_RGB_TO_XYZ, identity, 1e-6f);
    // The same colour reached through XYZ and directly.
    const Rgb colour(0.2f, 0.5f, 0.9f);
    expectRgbNear(TM_XYZ_TO_LIN_WIDE_RGB * (TM_LIN_RGB_TO_XYZ * colour), TM_LIN_RGB_TO_LIN_WIDE_RGB * colour,
                  1e-6f);

    expectRgbNear(TM_LIN_RGB_TO_LIN_WIDE_RGB * Rgb::white(), Rgb::white(), 1e-6f);
    expectRgbNear(TM_LIN_WIDE_RGB_TO_LIN_RGB * Rgb::white(), Rgb::white(), 1e-6f);
    // D65 with Y = 1: (0.3127 / 0.3290, 1, 0.3583 / 0.3290).
    const Rgb d65(0.950456f, 1.f, 1.089058f);
    expectRgbNear(TM_LIN_RGB_TO_XYZ * Rgb::white(), d65, 1e-6f);
    expectRgbNear(TM_LIN_WIDE_RGB_TO_XYZ * Rgb::white(), d65, 1e-6f);
}

TEST(ColorSpace, TemperatureChromaticitiesFollowPublishedLoci) {
    const auto expectXy = [](float kelvin, float x, float y, float tolerance) {
        const Vector2 xy = temperatureToChromaticity(kelvin);
        EXPECT_NEAR(xy.x, x, tolerance) << kelvin << " K";
        EXPECT_NEAR(xy.y, y, tolerance) << kelvin << " K";
    };
    expectXy(6504.f, 0.3127f, 0.3290f, 2e-4f);   // D65
    expectXy(5003.f, 0.3457f, 0.3585f, 2e-4f);   // D50
    expectXy(2856.f, 0.44757f, 0.40745f, 5e-4f); // illuminant A, a black body
    expectXy(1000.f, 0.6528f, 0.3444f, 5e-4f);   // black body
    expectXy(10.f, 0.6528f, 0.3444f, 5e-4f);     // clamped to 1000 K
}

TEST(ColorSpace, ColorAdaptationMultipliers) {
    EXPECT_EQ(colorAdaptation(6500.f, 6500.f), Rgb::white());
    EXPECT_EQ(colorAdaptation(1234.5f, 1234.5f), Rgb::white());
    EXPECT_EQ(colorAdaptation(500.f, 1000.f), Rgb::white()); // both clamped to 1000 K

    // The white of 6500 K is the neutral white to within 0.1%, so from 6500 K a neutral grey
    // takes on the colour of the target temperature: 3000 K is warm, 10000 K is cool.
    const Rgb warm = colorAdaptation(6500.f, 3000.f);
    EXPECT_GT(warm.r, 1.5f);
    EXPECT_LT(warm.b, 0.5f);
    const Rgb cool = colorAdaptation(6500.f, 10000.f);
    EXPECT_LT(cool.r, 0.9f);
    EXPECT_GT(cool.b, 1.3f);

    // Red over blue falls steadily from the lowest to the highest temperature.
    float previous = std::numeric_limits<float>::infinity();
    for (float kelvin = 1000.f; kelvin <= 100000.f; kelvin *= 1.002f) {
        const Rgb m = colorAdaptation(6500.f, kelvin);
        ASSERT_TRUE(m.r > 0.f && m.g > 0.f && m.b > 0.f) << kelvin << " K";
        ASSERT_LT(m.r / m.b, previous) << kelvin << " K";
        previous = m.r / m.b;
    }

    for (const auto& [from, to] :
         {std::pair{6500.f, 3000.f}, {2000.f, 12000.f}, {1000.f, 100000.f}, {4100.f, 3900.f}}) {
        expectRgbNear(colorAdaptation(from, to) * colorAdaptation(to, from), Rgb::white(), 1e-5f);
        // Going through a third temperature is the same as going directly.
        expectRgbNear(colorAdaptation(from, 5000.f) * colorAdaptation(5000.f, to) / colorAdaptation(from, to),
                      Rgb::white(), 1e-5f);
    }
}
