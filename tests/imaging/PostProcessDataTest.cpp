#include <gtest/gtest.h>

#include "imaging/PostProcessData.h"
#include "settings/PropertyIds.h"

using namespace Vespra;

TEST(PostProcessDataTest, ReadsTheSettings) {
    const auto settings = makeShared<Settings>();
    const PostProcessData defaults(settings);
    EXPECT_TRUE(defaults.enabled);
    EXPECT_EQ(defaults.gamma, 2.2f);
    EXPECT_FLOAT_EQ(defaults.exposureTime, 1.f / 50.f);
    EXPECT_EQ(defaults.tint, Rgb::white());
    EXPECT_EQ(defaults.originalImageSize, (Vector2{100.f, 100.f}));
    EXPECT_FLOAT_EQ(defaults.sharpenBlur.blurRadius, 1.33f);
    EXPECT_EQ(defaults.bloomGlare.streakCount, 3);

    settings->set(PropertyId::SHUTTER_SPEED, 250.f);
    settings->set(PropertyId::TINT, Rgb(0.5f, 0.f, -1.f));
    settings->set(PropertyId::LUT_PATH, String(u"/luts/film.cube"));
    settings->set(PropertyId::VIGNETTE_OFFSET_Y, -0.5f);
    settings->set(PropertyId::CURVES_RED_INTERPOLATION, std::int32_t(CurveInterpolation::LINEAR_SPLINES));
    const Vector2 nodes[] = {{0.f, 0.1f}, {1.f, 0.9f}};
    settings->set(PropertyId::CURVES_RED_NODES, Property(ArrayView<const Vector2>(nodes)));
    settings->set(PropertyId::SHARPENING_BLURRING_ENABLE, true);
    const PostProcessData data(settings, {640, 480}, CameraData{640.f / 480.f});
    EXPECT_FLOAT_EQ(data.exposureTime, 0.004f);
    EXPECT_EQ(data.tint, Rgb(0.5f, 1e-6f, 1e-6f));
    EXPECT_EQ(data.lutPath, Io::Path(u"/luts/film.cube"));
    EXPECT_EQ(data.vignetteOffset, (Vector2{0.f, -0.5f}));
    EXPECT_EQ(data.curves.red().interpolation(), CurveInterpolation::LINEAR_SPLINES);
    EXPECT_FLOAT_EQ(data.curves.red()(0.5f), 0.5f);
    EXPECT_TRUE(data.sharpenBlur.enabled);
    // The editor's camera renders the whole frame.
    EXPECT_EQ(data.originalImageSize, (Vector2{640.f, 480.f}));
    EXPECT_EQ(data.cropOrigin, (Vector2{0.f, 0.f}));
    EXPECT_EQ(data.projection, 1);
}

TEST(PostProcessDataTest, ComparesWithToleranceAndIgnoresSwitchedOffGroups) {
    PostProcessData a;
    PostProcessData b;
    b.gamma += 0.00005f;
    EXPECT_EQ(a, b);
    b.gamma += 0.0002f;
    EXPECT_FALSE(a == b);
    b = a;
    b.contrast = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(a == b);
    // Switched off, a group's values do not count; switched on, they do.
    a.enabled = b.enabled = false;
    EXPECT_EQ(a, b);
    b = a;
    b.sharpenBlur.blurRadius = 7.f;
    b.lutPath = Io::Path(u"other.cube");
    b.bloomGlare.threshold = 9.f;
    EXPECT_EQ(a, b);
    a.lutEnabled = b.lutEnabled = true;
    EXPECT_FALSE(a == b);
    b.lutEnabled = false;
    EXPECT_FALSE(a == b);
}
