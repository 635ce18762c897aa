#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "foundation/ColorSpace.h"
#include "imaging/ColorMapping.h"

using namespace Vespra;

namespace {

constexpr float DISPLAY_GAMMA = 2.2f;

float encoded(double linear, double gamma = DISPLAY_GAMMA) {
    return float(std::pow(linear, 1.0 / gamma));
}

Rgb mapOne(const PostProcessData& data, const Rgb& value, Pixel position = {50, 50},
           ColorMapFlavour flavour = ColorMapFlavour::EXACT) {
    return ColorMapping(data)(value, position, flavour);
}

/// Linear output: with gamma 1 the gamma step is the identity, so each step shows as it is.
PostProcessData linearData() {
    PostProcessData data;
    data.gamma = 1.f;
    return data;
}

void expectRgbNear(const Rgb& actual, const Rgb& expected, float tolerance) {
    EXPECT_NEAR(actual.r, expected.r, tolerance);
    EXPECT_NEAR(actual.g, expected.g, tolerance);
    EXPECT_NEAR(actual.b, expected.b, tolerance);
}

/// The contrast step as a plain double-precision formula.
double contrastReference(double f, double contrast) {
    if (contrast == 1.0 || f <= 1e-6 || f >= 0.999999) {
        return f;
    }
    const auto ratio = [](double x, const double(&n)[4], const double(&d)[4]) {
        return (n[0] + x * (n[1] + x * (n[2] + x * n[3]))) / (d[0] + x * (d[1] + x * (d[2] + x * d[3])));
    };
    const double p = ratio(f, {0.0081768222, 1.7777296, 17.444134, 13.855738},
                           {0.0093355039, 1.7220032, 11.960345, 3.9500558}) -
                     0.8757956;
    const double k = contrast >= 1.0 ? -contrast : 10.0 * (contrast - 1.0);
    const double scale = 0.5 / (0.5 - 1.0 / (std::exp(-0.5 * k) + 1.0));
    const double offset = 0.5 - 0.5 * scale;
    double q;
    if (contrast >= 1.0) {
        q = offset + scale / (std::exp(k * (p - 0.5)) + 1.0);
    } else {
        const double w = std::clamp(scale / (p - offset) - 1.0, std::exp(0.5 * k), std::exp(-0.5 * k));
        q = 0.5 + std::log(w) / k;
    }
    return ratio(q, {0.18229988, 0.51218796, 0.63405341, 3.8048322},
                 {1.2790123, 3.6338649, -0.52414358, 0.10437664}) -
           0.14250813;
}

} // namespace

TEST(ColorMappingTest, DefaultsEncodeWithGammaAndKeepAlpha) {
    const Rgb out = mapOne(PostProcessData(), Rgb(0.18f, 0.18f, 0.18f, 0.37f));
    expectRgbNear(out, Rgb(encoded(0.18)), 1e-6f);
    EXPECT_EQ(out.a, 0.37f);
    // Alpha passes even when it is negative or the colour is not finite.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Rgb odd = mapOne(PostProcessData(), Rgb(-1.f, nan, 0.5f, -2.f));
    EXPECT_EQ(odd.r, 0.f);
    EXPECT_EQ(odd.g, 0.f);
    EXPECT_NEAR(odd.b, encoded(0.5), 1e-6f);
    EXPECT_EQ(odd.a, -2.f);
}

TEST(ColorMappingTest, Exposure) {
    PostProcessData data;
    data.simpleExposure = 1.5f;
    EXPECT_NEAR(mapOne(data, Rgb(0.1f)).g, encoded(0.1 * std::pow(2.0, 1.5)), 1e-6f);

    // 683 / ((78 * 16^2) / (0.65 * 1/50 * 100)) = 683 / 15360; simple exposure no longer counts.
    data.usePhotographic = true;
    EXPECT_NEAR(ColorMapping(data).getExposure(), 683.0 / 15360.0, 1e-8);
    EXPECT_NEAR(mapOne(data, Rgb(1.f)).r, encoded(683.0 / 15360.0), 1e-6f);
    data.fStop = 8.f;
    data.iso = 400.f;
    EXPECT_NEAR(ColorMapping(data).getExposure(), 683.0 / ((78.0 * 64) / (0.65 * 0.02 * 400)), 1e-6);
}

TEST(ColorMappingTest, WhiteBalanceAndItsLateVariant) {
    PostProcessData data = linearData();
    data.colorTemp = 3000.f;
    const Rgb balance = colorAdaptation(3000.f, 6500.f);
    ASSERT_GT(std::abs(balance.r - balance.b), 0.1f);
    expectRgbNear(mapOne(data, Rgb(0.2f)), Rgb(0.2f) * balance, 1e-6f);

    // With highlight compression the order shows: normally the balance comes before it...
    data.highlightCompression = 0.5f; // white multiplier 4
    const auto compress = [](double c) { return ((4.0 * c + 1.0) * c) / (c + 1.0); };
    const Rgb normal = mapOne(data, Rgb(0.6f));
    for (int channel = 0; channel < 3; ++channel) {
        EXPECT_NEAR(normal[channel], compress(0.6 * balance[channel]), 1e-5);
    }
    // ... and with the flag it rides on the tint, after the compression.
    data.colorTemp15Hack = true;
    const Rgb late = mapOne(data, Rgb(0.6f));
    for (int channel = 0; channel < 3; ++channel) {
        EXPECT_NEAR(late[channel], compress(0.6) * balance[channel], 1e-5);
    }
    // The same with display gamma: the tint is raised to gamma, so the balance survives it.
    data.gamma = DISPLAY_GAMMA;
    const Rgb lateEncoded = mapOne(data, Rgb(0.6f));
    EXPECT_NEAR(lateEncoded.r, encoded(compress(0.6)) * balance.r, 1e-5);
    // At 6500 K the flag changes nothing.
    data.colorTemp = 6500.f;
    data.colorTemp15Hack = false;
    const Rgb plain = mapOne(data, Rgb(0.6f));
    data.colorTemp15Hack = true;
    expectRgbNear(mapOne(data, Rgb(0.6f)), plain, 0.f);
}

TEST(ColorMappingTest, HighlightCompressionAndFilmic) {
    PostProcessData data = linearData();
    data.highlightCompression = 2.f; // white multiplier 1/4
    EXPECT_NEAR(mapOne(data, Rgb(3.f)).r, ((0.25 * 3 + 1) * 3) / 4, 1e-6);
    data.highlightCompression = 1.f;
    EXPECT_NEAR(mapOne(data, Rgb(3.f)).r, 3.f, 1e-6f);

    data.richShadows = 1.f;
    data.filmicHighlights = 0.5f;
    const auto fit = [](double h) {
        return (h * (1.0003055 * h + 0.0021391737)) / (h * (h + 0.43034402) + 0.036029063);
    };
    // At 0.3 the strength is 1 + (0.5 - 1) * 0.3 = 0.85; at 1 and above it is 0.5.
    EXPECT_NEAR(mapOne(data, Rgb(0.3f)).r, 0.3 + 0.85 * (fit(0.3) - 0.3), 1e-6);
    EXPECT_NEAR(mapOne(data, Rgb(4.f)).r, 4.0 + 0.5 * (fit(4.0) - 4.0), 1e-5);
    // Full rich shadows alone act at black (strength 1 - 0.05 here) and fade out at white.
    data.filmicHighlights = 0.f;
    EXPECT_NEAR(mapOne(data, Rgb(0.05f)).r, 0.05 + 0.95 * (fit(0.05) - 0.05), 1e-6);
    EXPECT_NEAR(mapOne(data, Rgb(2.f)).r, 2.f, 1e-6f);
}

TEST(ColorMappingTest, ContrastOnBothSidesOfOne) {
    PostProcessData data = linearData();
    for (const float contrast : {0.f, 0.5f, 0.9999f, 1.0001f, 1.5f, 4.f}) {
        data.contrast = contrast;
        // Just below 1 the inverse sigmoid divides by nearly nothing, which costs float digits.
        const double tolerance = contrast == 0.9999f ? 5e-4 : 2e-5;
        for (const float f : {0.02f, 0.18f, 0.5f, 0.8f, 0.97f}) {
            EXPECT_NEAR(mapOne(data, Rgb(f)).g, contrastReference(f, contrast), tolerance)
                << "contrast " << contrast << " at " << f;
        }
        // Outside the open range 0..1 nothing changes.
        EXPECT_EQ(mapOne(data, Rgb(1.5f)).g, 1.5f);
        EXPECT_EQ(mapOne(data, Rgb(0.f)).g, 0.f);
    }
    // Steepening darkens the darks and lifts the lights; flattening does the opposite.
    data.contrast = 3.f;
    EXPECT_LT(mapOne(data, Rgb(0.05f)).r, 0.05f);
    EXPECT_GT(mapOne(data, Rgb(0.8f)).r, 0.8f);
    data.contrast = 0.3f;
    EXPECT_GT(mapOne(data, Rgb(0.05f)).r, 0.05f);
    EXPECT_LT(mapOne(data, Rgb(0.8f)).r, 0.8f);
    // The deliberate jump at 1: both neighbours of 1 differ clearly, and 1 itself is the identity.
    data.contrast = 1.f;
    EXPECT_EQ(mapOne(data, Rgb(0.7f)).r, 0.7f);
    data.contrast = 1.0001f;
    const float above = mapOne(data, Rgb(0.7f)).r;
    data.contrast = 0.9999f;
    const float below = mapOne(data, Rgb(0.7f)).r;
    EXPECT_NEAR(below, 0.7f, 1e-3f);
    EXPECT_GT(above - below, 0.005f);
}

TEST(ColorMappingTest, SaturationKeepsBrightestAndOrder) {
    PostProcessData data = linearData();
    // The middle channel goes through the 12-bit approximate reciprocal.
    constexpr float tolerance = 1e-3f;
    data.saturation = -1.f;
    expectRgbNear(mapOne(data, Rgb(1.f, 0.5f, 0.25f)), Rgb(1.f), 1e-6f);
    data.saturation = 0.5f;
    // newLo = max(0, 0.25 - 0.5); middle: (0.5 - 0.25) / 0.75 of the way up.
    expectRgbNear(mapOne(data, Rgb(1.f, 0.5f, 0.25f)), Rgb(1.f, 1.f / 3.f, 0.f), tolerance);
    data.saturation = -0.25f;
    // newLo = 0.4 + 0.25 * 0.8 = 0.6; middle 0.6 + 0.2 * (0.2 / 0.4).
    expectRgbNear(mapOne(data, Rgb(0.8f, 0.4f, 0.6f)), Rgb(0.8f, 0.6f, 0.7f), tolerance);
    data.saturation = 1.f;
    expectRgbNear(mapOne(data, Rgb(0.8f, 0.4f, 0.6f)), Rgb(0.8f, 0.f, 0.4f), tolerance);
    // Two equal brightest channels both stay; the other is the darkest.
    data.saturation = 0.5f;
    expectRgbNear(mapOne(data, Rgb(1.f, 1.f, 0.5f)), Rgb(1.f, 1.f, 0.f), 1e-6f);
    // Grey within a thousandth is left alone; a little more colour is not.
    data.saturation = 1.f;
    expectRgbNear(mapOne(data, Rgb(0.5f, 0.5004f, 0.4996f)), Rgb(0.5f, 0.5004f, 0.4996f), 0.f);
    expectRgbNear(mapOne(data, Rgb(0.5f, 0.502f, 0.5f)), Rgb(0.f, 0.502f, 0.f), 1e-6f);
}

TEST(ColorMappingTest, VignetteByPositionOffsetAndZoom) {
    PostProcessData data = linearData();
    data.vignetteIntensity = 0.5f;
    data.vignetteFalloff = 0.3f;
    data.vignetteOffset = {0.2f, -0.4f};
    data.originalImageSize = {200.f, 100.f};
    data.cropOrigin = {10.f, 4.f};
    // Worked out: s = 1/200, centre ((0.2 + 1) * 0.5, (-0.4 + 1) * 0.5 * 0.5) = (0.6, 0.15),
    // inner radius 0.5^2, falloff scale e^0.75 / (2 / 0.5 - 0.25).
    const auto expected = [](double x, double y) {
        const double a = (x + 10) / 200 - 0.6;
        const double b = (y + 4) / 200 - 0.15;
        const double t = std::clamp((a * a + b * b - 0.25) * std::exp(0.75) / 3.75, 0.0, 1.0);
        const double u = std::pow(1 - t, 4);
        return u * u * u * (u * (u * 6 - 15) + 10);
    };
    const ColorMapping mapping(data);
    for (const Pixel p : {Pixel{110, 26}, Pixel{0, 0}, Pixel{189, 95}, Pixel{20, 80}, Pixel{150, 0}}) {
        EXPECT_NEAR(mapping(Rgb(1.f), p).r, expected(p.x, p.y), 1e-5) << p.x << "," << p.y;
    }
    EXPECT_EQ(mapping(Rgb(1.f), {110, 26}).r, 1.f);
    EXPECT_LT(mapping(Rgb(1.f), {0, 99}).r, 0.9f);

    // A preview at zoom 4 whose region starts at (8, 12) samples the full-resolution positions.
    BitmapImpl<Rgb> preview(30, 20, Rgb(1.f, 1.f, 1.f, 0.5f));
    mapping.applyToBitmap(preview, {8, 12}, 4.f, ColorMapFlavour::EXACT);
    for (int j = 0; j < 20; j += 3) {
        for (int i = 0; i < 30; i += 7) {
            EXPECT_NEAR(preview(i, j).g, expected(4 * i + 8, 4 * j + 12), 1e-5);
            EXPECT_EQ(preview(i, j).a, 0.5f);
        }
    }

    // Intensity above 1 darkens from the centre on; offset 1 puts the centre on the right edge.
    data.vignetteIntensity = 2.f;
    data.vignetteOffset = {1.f, 0.f};
    data.cropOrigin = {};
    const ColorMapping strong(data);
    EXPECT_EQ(strong(Rgb(1.f), {200, 50}).r, 1.f);
    EXPECT_LT(strong(Rgb(1.f), {170, 50}).r, 1.f);
    EXPECT_GT(strong(Rgb(1.f), {170, 50}).r, strong(Rgb(1.f), {120, 50}).r);
    // Spherical projections have none.
    data.projection = 2;
    EXPECT_EQ(mapOne(data, Rgb(1.f), {0, 0}).r, 1.f);
}

TEST(ColorMappingTest, TintAndDisabledToneMapping) {
    PostProcessData data;
    data.tint = Rgb(0.5f, 1.f, 2.f);
    expectRgbNear(mapOne(data, Rgb(0.18f)), Rgb(encoded(0.18)) * Rgb(0.5f, 1.f, 2.f), 1e-6f);

    // Switched off, only exposure, the table and gamma act.
    data.enabled = false;
    data.simpleExposure = 1.f;
    data.colorTemp = 3000.f;
    data.highlightCompression = 0.3f;
    data.contrast = 2.f;
    data.saturation = 1.f;
    data.richShadows = 1.f;
    data.vignetteIntensity = 3.f;
    data.curvesEnabled = true;
    const Vector2 nodes[] = {{0.f, 0.5f}, {1.f, 1.f}};
    data.curves = ColorCurve(Curve(nodes), {}, {}, {});
    const ColorMapping mapping(data);
    for (const Pixel p : {Pixel{0, 0}, Pixel{50, 50}, Pixel{99, 3}}) {
        expectRgbNear(mapping(Rgb(0.1f, 0.2f, 0.3f), p), Rgb(encoded(0.2), encoded(0.4), encoded(0.6)),
                      1e-6f);
    }
}

TEST(ColorMappingTest, FlavoursAndCurves) {
    PostProcessData data;
    data.curvesEnabled = true;
    const Vector2 nodes[] = {{0.f, 0.f}, {0.5f, 0.7f}, {1.f, 1.f}};
    data.curves = ColorCurve(Curve(nodes, CurveInterpolation::LINEAR_SPLINES), {}, {}, {});
    // The curves act on encoded values: 0.18^(1/2.2) = 0.4587 lies on the first segment, slope 1.4.
    const float encodedGrey = encoded(0.18);
    EXPECT_NEAR(mapOne(data, Rgb(0.18f)).r, 1.4f * encodedGrey, 1e-6f);
    EXPECT_NEAR(mapOne(data, Rgb(0.18f), {}, ColorMapFlavour::EXACT_WITHOUT_CURVES).r, encodedGrey, 1e-6f);

    // The fast power stays within 3e-5 of the exact one over the whole range of the display.
    data.tint = Rgb(0.9f, 1.f, 0.8f);
    data.contrast = 1.3f;
    const ColorMapping mapping(data);
    for (float v = 1e-4f; v < 50.f; v *= 1.37f) {
        const Rgb in(v, v * 0.5f, v * 0.9f, 0.25f);
        const Rgb exact = mapping(in, {5, 5}, ColorMapFlavour::EXACT);
        const Rgb fast = mapping(in, {5, 5}, ColorMapFlavour::FAST_POWER);
        const Rgb exactPlain = mapping(in, {5, 5}, ColorMapFlavour::EXACT_WITHOUT_CURVES);
        const Rgb fastPlain = mapping(in, {5, 5}, ColorMapFlavour::FAST_POWER_WITHOUT_CURVES);
        for (int channel = 0; channel < 3; ++channel) {
            EXPECT_NEAR(fast[channel], exact[channel], 3e-5f * std::max(exact[channel], 0.01f)) << v;
            EXPECT_NEAR(fastPlain[channel], exactPlain[channel],
                        3e-5f * std::max(exactPlain[channel], 0.01f));
        }
        EXPECT_EQ(fast.a, 0.25f);
    }
    EXPECT_EQ(colorMapFlavour(1 | 2 | 8), ColorMapFlavour::FAST_POWER);
    EXPECT_EQ(colorMapFlavour(4), ColorMapFlavour::EXACT_WITHOUT_CURVES);
    EXPECT_EQ(colorMapFlavour(5), ColorMapFlavour::FAST_POWER_WITHOUT_CURVES);

    // With gamma 1 the exact flavour returns to linear light after the curves.
    data = linearData();
    data.curvesEnabled = true;
    data.curves = ColorCurve(Curve(nodes, CurveInterpolation::LINEAR_SPLINES), {}, {}, {});
    EXPECT_NEAR(mapOne(data, Rgb(0.25f)).g, 0.35f, 1e-6f);
}

TEST(ColorMappingTest, FieldsOfTheEvaluator) {
    PostProcessData data;
    data.curvesEnabled = true;
    const Vector2 nodes[] = {{0.f, 0.f}, {1.f, 0.5f}};
    data.curves = ColorCurve(Curve(nodes), {}, {}, {});
    const ColorMapping mapping(data);
    // The curves' inverse halves back: 0.25 on the output side came from about 0.5.
    ASSERT_TRUE(mapping.getCurves().inverse.has_value());
    EXPECT_NEAR(mapping.getCurves().inverse->evaluate(Float4(0.25f))[0], 0.5f, 0.02f);
    EXPECT_EQ(mapping.getCurves().gamma, DISPLAY_GAMMA);
    // The table is inactive without a path, with the default flags.
    EXPECT_FALSE(mapping.getLut().isActive());
    EXPECT_EQ(mapping.getLut().flags.value(), 28u);
    EXPECT_FALSE(mapping.getVignette().enabled);
    const float unset = Detail::UNSET_FLOAT;
    EXPECT_EQ(std::bit_cast<std::uint32_t>(unset), 0x7FC00001u);
    EXPECT_TRUE(std::isnan(Contrast().k));
}
