#include <cmath>
#include <limits>
#include <map>

#include <gtest/gtest.h>

#include "base/image/ExrLoader.h"
#include "foundation/io/Files.h"

using namespace Vespra;

namespace {

const Io::Path SAMPLES(u"../shared/testdata/exr");
constexpr std::uint32_t ALL_EFFECTS_OFF = 64 | 128 | 256 | 512;

#define SKIP_WITHOUT_SAMPLES()                                                                               \
    if (!Io::dirExists(SAMPLES)) {                                                                           \
        GTEST_SKIP() << "The sample folder ../shared/testdata/exr is not there.";                            \
    }

/// What loading a sample gives: its element list, or the failure text.
struct Outcome {
    Stack<ElementInfo> elements;
    String failure;
};

const ElementInfo BEAUTY_RGB{u"", ElementInfo::KIND_COLOR, 0};
const ElementInfo BEAUTY_RGBA{u"", ElementInfo::KIND_COLOR_ALPHA, 0};
const ElementInfo ALPHA{u"A", ElementInfo::KIND_SINGLE_CHANNEL, ALL_EFFECTS_OFF};

String inFile(const String& name, const String& text) {
    return u"Cannot operate with image file \"" + (SAMPLES / Io::Path(name)).nativeStr() + u"\". " + text;
}

std::map<String, Outcome> expectedOutcomes() {
    const ElementInfo z{u"Z", ElementInfo::KIND_SINGLE_CHANNEL, ALL_EFFECTS_OFF};
    const auto noKind = [](const char16_t* name) { return ElementInfo{name, ElementInfo::KIND_NONE, 0}; };
    const String invalid =
        u"File stores an invalid image.\n\nIt either does not have all required and properly "
        u"defined attributes (data and display windows, gamma), or its pixel data are incomplete.";
    const String autofuzz = (SAMPLES / Io::Path(u"autofuzz_141647077")).nativeStr();
    return {
        {u"AllHalfValues.exr", {{BEAUTY_RGB}, {}}},
        {u"Beachball_singlepart.0001.exr",
         {{BEAUTY_RGBA, z, noKind(u"disparityL"), noKind(u"disparityR"), noKind(u"forward.left"),
           noKind(u"forward.right"), noKind(u"left"), noKind(u"whitebarmask.left"),
           noKind(u"whitebarmask.right"), ALPHA},
          {}}},
        {u"Carrots.exr", {{BEAUTY_RGBA, ALPHA}, {}}},
        {u"ColorCodedLevels.exr", {{BEAUTY_RGBA, ALPHA}, {}}},
        {u"DisplayWindow_t05.exr", {{BEAUTY_RGB}, {}}},
        {u"DisplayWindow_t08.exr", {{BEAUTY_RGB}, {}}},
        // Luminance with chroma at half resolution: the chroma planes do not cover the data window.
        {u"Flowers.exr", {{}, inFile(u"Flowers.exr", invalid)}},
        {u"autofuzz_141647077",
         {{},
          u"Error reading pixel data from image file \"" + autofuzz +
              u"\". Early end of file: read 1 out of 4 requested bytes."}},
        {u"comp_dwaa_v2.exr", {{BEAUTY_RGBA, ALPHA}, {}}},
        {u"manifest_id.exr", {{BEAUTY_RGBA, ALPHA}, {}}},
        {u"python_test_float_rgb.exr", {{BEAUTY_RGB}, {}}},
        {u"v1.7.test.planar.exr", {{BEAUTY_RGB, z}, {}}},
    };
}

ChannelImage loadSample(const char16_t* name) {
    auto loaded = ExrLoader(true).load(SAMPLES / Io::Path(name));
    if (!loaded) {
        ADD_FAILURE() << loaded.error();
        return {};
    }
    return std::move(*loaded);
}

float at(const ChannelImage& image, const char16_t* channel, std::int32_t x, std::int32_t y) {
    const Bucket window = image.getDataWindow();
    const auto* plane = image.findChannel<float>(channel);
    return plane->data[std::size_t(y - window.y0) * std::size_t(window.width()) + std::size_t(x - window.x0)];
}

} // namespace

TEST(ExrSamples, EveryFileLoadsWithItsElementsOrFailsWithItsText) {
    SKIP_WITHOUT_SAMPLES();
    const std::map<String, Outcome> expected = expectedOutcomes();
    const Stack<Io::Path> files = Io::getFiles(SAMPLES);
    EXPECT_EQ(files.size(), expected.size());
    for (const Io::Path& file : files) {
        const String name = file.fileName();
        SCOPED_TRACE(name.toUtf8());
        ASSERT_TRUE(expected.contains(name)) << "a sample without an expected outcome";
        const Outcome& outcome = expected.at(name);
        for (const bool multithreaded : {true, false}) {
            const auto loaded = ExrLoader(multithreaded).load(file);
            if (outcome.failure.isEmpty()) {
                ASSERT_TRUE(loaded.has_value()) << loaded.error();
                EXPECT_EQ(loaded->getElements(), outcome.elements);
            } else {
                ASSERT_FALSE(loaded.has_value());
                EXPECT_EQ(loaded.error(), outcome.failure);
            }
        }
    }
}

TEST(ExrSamples, HalfValuesWidenExactly) {
    SKIP_WITHOUT_SAMPLES();
    const ChannelImage image = loadSample(u"AllHalfValues.exr");
    ASSERT_FALSE(image.isEmpty());
    EXPECT_EQ(at(image, u"R", 0, 0), 0.f);
    EXPECT_EQ(at(image, u"G", 1, 0), std::ldexp(1.f, -24)); // the smallest denormal half
    EXPECT_EQ(at(image, u"B", 0, 60), 1.f);
    EXPECT_EQ(at(image, u"R", 0, 124), std::numeric_limits<float>::infinity());
    EXPECT_EQ(at(image, u"R", 0, 252), -std::numeric_limits<float>::infinity());
    EXPECT_EQ(at(image, u"G", 128, 128), -std::ldexp(1.f, -17)); // 0x8080
    EXPECT_EQ(at(image, u"R", 255, 123), 65504.f);               // 0x7bff, the largest half
    EXPECT_TRUE(std::isnan(at(image, u"B", 255, 255)));
    int nans = 0;
    for (const float value : image.findChannel<float>(u"R")->data) {
        nans += std::isnan(value) ? 1 : 0;
    }
    EXPECT_EQ(nans, 2046);
    EXPECT_EQ(image.findAttribute<float>(u"gamma")->value, 1.f);
}

TEST(ExrSamples, WindowsAndPixelsLandWhereTheFileSays) {
    SKIP_WITHOUT_SAMPLES();
    const ChannelImage inner = loadSample(u"DisplayWindow_t08.exr");
    ASSERT_FALSE(inner.isEmpty());
    EXPECT_EQ(inner.getDataWindow(), (Bucket{30, 40, 430, 340}));
    EXPECT_EQ(inner.getDisplayWindow(), (Bucket{0, 0, 501, 401}));
    EXPECT_EQ(inner.getRgbBitmap(u"", {0, 0, 1, 1}, 1.f)(0, 0), Rgb(1, 1, 0));
    EXPECT_EQ(at(inner, u"B", 229, 189), 1.f);
    EXPECT_EQ(at(inner, u"G", 429, 339), 1.f);

    const ChannelImage outer = loadSample(u"DisplayWindow_t05.exr");
    ASSERT_FALSE(outer.isEmpty());
    EXPECT_EQ(outer.getDisplayWindow(), (Bucket{30, 20, 370, 280}));
    EXPECT_EQ(at(outer, u"B", 199, 149), 1.f);

    const ChannelImage beachball = loadSample(u"Beachball_singlepart.0001.exr");
    ASSERT_FALSE(beachball.isEmpty());
    EXPECT_EQ(beachball.getDataWindow(), (Bucket{654, 245, 1565, 1121}));
    EXPECT_EQ(at(beachball, u"R", 1109, 683), 0.455078125f);
    EXPECT_EQ(at(beachball, u"B", 1109, 683), 0.5f);
    EXPECT_EQ(at(beachball, u"A", 1109, 683), 1.f);
    EXPECT_EQ(at(beachball, u"left.R", 654, 245), 0.f);

    const ChannelImage carrots = loadSample(u"Carrots.exr");
    ASSERT_FALSE(carrots.isEmpty());
    EXPECT_EQ(carrots.getRgbaBitmap(u"", {0, 0, 1, 1}, 1.f)(0, 0),
              Rgb(0.139648438f, 0.135375977f, 0.115234375f));
    EXPECT_EQ(at(carrots, u"A", 0, 0), 0.f);
    EXPECT_EQ(carrots.findAttribute<float>(u"aperture")->value, 8.f);
    EXPECT_EQ(carrots.findAttribute<float>(u"isoSpeed")->value, 100.f);
    EXPECT_EQ(carrots.attributes.count(u"adoptedNeutral"), 0u) << "v2f is not an image attribute type";
}

TEST(ExrSamples, FloatAndUnsignedChannelsAndAttributeTypes) {
    SKIP_WITHOUT_SAMPLES();
    const ChannelImage planar = loadSample(u"v1.7.test.planar.exr");
    ASSERT_FALSE(planar.isEmpty());
    EXPECT_EQ(at(planar, u"R", 20, 20), 0.101989746f);
    EXPECT_EQ(at(planar, u"Z", 20, 20), 0.101990692f);
    EXPECT_EQ(at(planar, u"Z", 197, 174), 0.88785702f);
    EXPECT_EQ(planar.findAttribute<Bucket>(u"a1")->value, (Bucket{1, 2, 4, 5}));
    EXPECT_EQ(planar.findAttribute<float>(u"a3")->value, 3.14159f);
    EXPECT_EQ(planar.findAttribute<std::int32_t>(u"a4")->value, 17);
    EXPECT_EQ(planar.findAttribute<String>(u"a7")->value,
              String(u"extensive rebuilding by Nebuchadrezzar has left"));
    EXPECT_EQ(planar.findAttribute<Pixel>(u"a8")->value, (Pixel{27, 28}));
    EXPECT_EQ(planar.findAttribute<Rgb>(u"a11")->value, Rgb(37.5f, 38.5f, 39.5f));
    EXPECT_EQ(planar.findAttribute<double>(u"a12")->value, 7.12342341419);
    for (const char16_t* skipped :
         {u"a2", u"a5", u"a6", u"a9", u"a10", u"a13", u"a15", u"a16", u"a17", u"a18", u"a19"}) {
        EXPECT_FALSE(planar.attributes.contains(skipped)) << String(skipped).toUtf8();
    }

    const ChannelImage manifest = loadSample(u"manifest_id.exr");
    ASSERT_FALSE(manifest.isEmpty());
    const auto* ids = manifest.findChannel<std::uint32_t>(u"id");
    ASSERT_NE(ids, nullptr);
    EXPECT_EQ(ids->data[0], 1u);
    EXPECT_EQ(ids->data[50 * 100 + 50], 4u);
    EXPECT_FALSE(manifest.attributes.contains(u"idManifest"));
    EXPECT_FALSE(manifest.attributes.contains(u"Order"));

    const ChannelImage python = loadSample(u"python_test_float_rgb.exr");
    ASSERT_FALSE(python.isEmpty());
    EXPECT_EQ(python.getRgbBitmap(u"", {0, 0, 1, 1}, 1.f)(0, 0),
              Rgb(0.654279649f, 0.440349877f, 0.821444392f));
    EXPECT_EQ(python.findAttribute<String>(u"name")->value, String());
    EXPECT_EQ(python.findAttribute<String>(u"type")->value, String(u"scanlineimage"));
    EXPECT_FALSE(python.attributes.contains(u"dummy"));
    EXPECT_FALSE(python.isVxrImage());
}
