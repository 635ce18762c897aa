// The curve stage of the colour chain, run on whole bitmaps in every register width, against
// the curves evaluated one value at a time on the same chain without them.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <random>

#include <gtest/gtest.h>

#include "imaging/ColorMapping.h"
#include "tests/imaging/RegisterWidths.h"

using namespace Vespra;

namespace {

/// Every pixel value from black to far above white, with a position for the vignette.
BitmapImpl<Rgb> testFrame() {
    std::mt19937 random(11);
    std::uniform_real_distribution<float> value(0.f, 3.f);
    BitmapImpl<Rgb> frame(300, 7);
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) {
            frame(x, y) = Rgb(value(random), value(random), value(random), 0.5f);
        }
    }
    frame(0, 0) = Rgb(0.f, 0.f, 0.f, 1.f);
    return frame;
}

/// Curves of every kind, with nodes beyond the unit square and a channel left alone.
ColorCurve testCurves() {
    const Vector2 master[] = {{0.f, 0.05f}, {0.2f, 0.3f}, {0.5f, 0.45f}, {0.8f, 0.9f}, {1.2f, 1.f}};
    const Vector2 red[] = {{0.f, 0.f}, {0.4f, 0.5f}, {1.f, 1.f}};
    const Vector2 blue[] = {{0.1f, 0.f}, {0.3f, 0.2f}, {0.6f, 0.7f}, {0.9f, 0.85f}};
    return ColorCurve(Curve(master, CurveInterpolation::CUBIC_SPLINES),
                      Curve(red, CurveInterpolation::LINEAR_SPLINES), Curve(),
                      Curve(blue, CurveInterpolation::CHORDAL_CUBIC));
}

PostProcessData withCurves(bool enabled) {
    PostProcessData data;
    data.originalImageSize = {300.f, 7.f};
    data.contrast = 1.2f;
    data.saturation = 0.1f;
    data.vignetteIntensity = 0.3f;
    data.curvesEnabled = enabled;
    data.curves = testCurves();
    return data;
}

void expectSameBits(float actual, float expected, int x, int y, int channel) {
    ASSERT_EQ(std::bit_cast<std::uint32_t>(actual), std::bit_cast<std::uint32_t>(expected))
        << "pixel (" << x << ", " << y << "), channel " << channel << ": " << actual << " against "
        << expected;
}

} // namespace

TEST(CurveKernel, TheCurveStageGivesTheBitsOfTheCurvesOnTheChainWithoutThem) {
    const ColorMapping mapping(withCurves(true));
    const ColorCurve curves = testCurves();
    for (const auto& [flavour, without] :
         {std::pair{ColorMapFlavour::EXACT, ColorMapFlavour::EXACT_WITHOUT_CURVES},
          std::pair{ColorMapFlavour::FAST_POWER, ColorMapFlavour::FAST_POWER_WITHOUT_CURVES}}) {
        SCOPED_TRACE(int(flavour));
        forEveryRegisterWidth([&](int) {
            BitmapImpl<Rgb> mapped = testFrame();
            mapping.applyToBitmap(mapped, {0, 0}, 1.f, flavour);
            BitmapImpl<Rgb> plain = testFrame();
            mapping.applyToBitmap(plain, {0, 0}, 1.f, without);
            for (int y = 0; y < mapped.height(); ++y) {
                for (int x = 0; x < mapped.width(); ++x) {
                    const Rgb expected = curves(plain(x, y));
                    for (int c = 0; c < 3; ++c) {
                        expectSameBits(mapped(x, y)[c], std::max(0.f, expected[c]), x, y, c);
                    }
                    EXPECT_EQ(mapped(x, y).a, 0.5f + (x == 0 && y == 0 ? 0.5f : 0.f));
                }
            }
        });
    }
}

TEST(CurveKernel, CurvesOffOrIdentityChangeNothing) {
    BitmapImpl<Rgb> off = testFrame();
    ColorMapping(withCurves(false)).applyToBitmap(off, {0, 0}, 1.f, ColorMapFlavour::EXACT);
    PostProcessData identity = withCurves(true);
    const Vector2 line[] = {{0.f, 0.f}, {1.f, 1.f}};
    identity.curves =
        ColorCurve(Curve(line), Curve(), Curve(line, CurveInterpolation::LINEAR_SPLINES), Curve());
    BitmapImpl<Rgb> on = testFrame();
    ColorMapping(identity).applyToBitmap(on, {0, 0}, 1.f, ColorMapFlavour::EXACT);
    for (int y = 0; y < on.height(); ++y) {
        for (int x = 0; x < on.width(); ++x) {
            for (int c = 0; c < 4; ++c) {
                expectSameBits(on(x, y)[c], off(x, y)[c], x, y, c);
            }
        }
    }
}
