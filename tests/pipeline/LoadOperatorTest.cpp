#include <gtest/gtest.h>

#include "base/image/VxrMetadata.h"
#include "base/pipeline/Accumulator.h"
#include "base/pipeline/ImageSettings.h"
#include "base/pipeline/LoadOperator.h"
#include "settings/PropertyIds.h"
#include "tests/pipeline/PipelineTestSupport.h"

using namespace Vespra;
using namespace Vespra::Pipeline;
using namespace Vespra::Pipeline::Testing;

namespace {

constexpr Bucket FRAME{0, 0, 4, 2};

/// A render node's image: constant colour `level`, weights `weight(x, y)` in the default channel.
ChannelImage nodeImage(const Bucket& dataWindow, float level, float weight) {
    ChannelImage image(FRAME, dataWindow, 1.f);
    addColorElement(image, u"", [level](int x, int, int c) { return level + float(x) + 0.1f * float(c); });
    addMonoChannel(image, DEFAULT_WEIGHT_CHANNEL, [weight](int x, int) { return weight * float(x + 1); });
    return image;
}

void markAsRender(ChannelImage& image, int passes) {
    image.setAttribute<std::int32_t>(VxrAttribute::IS_VESPRA_EXR, 1);
    image.setAttribute<std::int32_t>(VxrAttribute::STATS_PASSES, passes);
    image.setAttribute<std::int32_t>(VxrAttribute::STATS_TIME, 10);
    image.setAttribute<std::int32_t>(VxrAttribute::STATS_RAYS_PER_SECOND, 1000);
    image.setAttribute<float>(VxrAttribute::STATS_RAYS_PER_SAMPLE, 2.f);
}

struct Fixture {
    Settings settings;
    LoadOperator load;

    explicit Fixture(std::map<String, ChannelImage> images) {
        load.settings = &settings;
        load.setLoader(memoryLoader(std::move(images)));
    }

    RunReport loadPaths(std::initializer_list<const char16_t*> names, Array<MergeWeight> weights = {}) {
        Stack<Io::Path> paths;
        for (const char16_t* name : names) {
            paths.push(Io::Path(name));
        }
        return runToEnd(load, [&] { load.setInput(std::move(weights), std::move(paths)); });
    }

    Rgb pixel(int x, int y) {
        const auto bitmap = load.getColorBitmap(u"", Bucket{x, y, x + 1, y + 1}, 1.f, 0);
        return bitmap ? (*bitmap)(0, 0) : Rgb(-1.f);
    }
};

} // namespace

TEST(LoadOperator, ConstantWeightsGiveTheMeanAndHalvePartlyCoveredPixels) {
    // The second node rendered only the right half of the frame.
    Fixture fixture({{u"a", nodeImage(FRAME, 1.f, 1.f)}, {u"b", nodeImage({2, 0, 4, 2}, 5.f, 1.f)}});
    const RunReport report = fixture.loadPaths({u"a", u"b"}, {MergeWeight(1.f)});
    ASSERT_TRUE(report.finished) << report.error;
    // Left half: only the first node, divided by a weight sum of 2.
    EXPECT_FLOAT_EQ(fixture.pixel(1, 0).r, (1.f + 1.f) / 2.f);
    EXPECT_FLOAT_EQ(fixture.pixel(0, 1).b, (1.f + 0.2f) / 2.f);
    // Right half: the mean of both; the second node's x counts from its own data window.
    EXPECT_FLOAT_EQ(fixture.pixel(2, 0).r, ((1.f + 2.f) + (5.f + 0.f)) / 2.f);
    EXPECT_FLOAT_EQ(fixture.pixel(3, 1).g, ((1.f + 3.f + 0.1f) + (5.f + 1.f + 0.1f)) / 2.f);
    EXPECT_TRUE(fixture.load.getDefaultOutputPath().isEmpty());
    EXPECT_EQ(fixture.load.getInputPaths().size(), 2u);
}

TEST(LoadOperator, ChannelWeightsGiveTheWeightedMean) {
    Fixture fixture({{u"a", nodeImage(FRAME, 1.f, 1.f)}, {u"b", nodeImage(FRAME, 3.f, 3.f)}});
    const RunReport report = fixture.loadPaths({u"a", u"b"});
    ASSERT_TRUE(report.finished) << report.error;
    for (int x = 0; x < 4; ++x) {
        const float wa = float(x + 1);
        const float wb = 3.f * float(x + 1);
        const float expected = (wa * (1.f + float(x)) + wb * (3.f + float(x))) / (wa + wb);
        EXPECT_FLOAT_EQ(fixture.pixel(x, 1).r, expected) << x;
    }
    // The weight channel stays as an internal element with the sums.
    const auto weights = fixture.load.getMonoBitmap(DEFAULT_WEIGHT_CHANNEL, Bucket{3, 0, 4, 1}, 1.f, 0);
    ASSERT_TRUE(weights);
    EXPECT_FLOAT_EQ((*weights)(0, 0), 4.f + 12.f);
}

TEST(LoadOperator, ZeroWeightEverywhereGivesZero) {
    Fixture fixture({{u"a", nodeImage(FRAME, 1.f, 0.f)}, {u"b", nodeImage(FRAME, 3.f, 0.f)}});
    ASSERT_TRUE(fixture.loadPaths({u"a", u"b"}).finished);
    EXPECT_EQ(fixture.pixel(2, 1), Rgb(0.f));
}

TEST(LoadOperator, MergeFailuresHaveReadableTexts) {
    ChannelImage unweighted(FRAME, FRAME, 1.f);
    addColorElement(unweighted, u"", [](int, int, int) { return 1.f; });
    ChannelImage larger({0, 0, 8, 2}, {0, 0, 8, 2}, 1.f);
    addColorElement(larger, u"", [](int, int, int) { return 1.f; });
    Fixture fixture({{u"a", nodeImage(FRAME, 1.f, 1.f)}, {u"plain", unweighted}, {u"larger", larger}});

    EXPECT_EQ(fixture.loadPaths({u"a", u"a"}, {MergeWeight(1.f), MergeWeight(1.f), MergeWeight(1.f)}).error,
              String(u"Number of specified weights is mismatched with number of input images.\n\nYou can either set "
                     u"no weight at all which will lead to a default (%VESPRA_FB_WEIGHTS) for all input images, or "
                     u"set only one weight to actually change the default, or set same number of weights as the "
                     u"number of input images."));
    EXPECT_EQ(fixture.loadPaths({u"a", u"larger"}).error,
              String(u"Image \"larger\" does not fit within the merged output image.\n\nThe first image loaded for "
                     u"merging defines the dimensions of the output image. All other images to be merged have to fit "
                     u"within those dimensions, otherwise they are not compatible for the merging."));
    const String missing = u"Image \"plain\" is missing channel \"VESPRA_FB_WEIGHTS\", expected to contain pixel "
                           u"weights.\n\nFor each pixel to be merged its weight is required. For this purpose "
                           u"mergeable images store a special weight channel defining a weight of each pixel of the "
                           u"image. By default Vespra Renderer names this channel \"VESPRA_FB_WEIGHTS\".";
    EXPECT_EQ(fixture.loadPaths({u"a", u"plain"}).error, missing);
    fixture.load.commandLineName = u"vespra-image-cmd";
    EXPECT_EQ(fixture.loadPaths({u"a", u"plain"}).error,
              missing + u"\n\nIf the weight channel exists but with a different name than the expected default, "
                        u"please explicitly specify the channel name - see help (vespra-image-cmd -h) for how to do "
                        u"this. The other available option is to specify a constant weight for all pixels.");
    // None of the failed merges replaced what was published; a single image needs no weight channel.
    EXPECT_EQ(fixture.load.getTimestamp(), NO_TIMESTAMP);
    ASSERT_TRUE(fixture.loadPaths({u"plain"}).finished);
    EXPECT_EQ(fixture.load.getDefaultOutputPath(), Io::Path(u"plain_Post.vxr"));
}

TEST(LoadOperator, MergeWarnsOnceEach) {
    ChannelImage first = nodeImage(FRAME, 1.f, 1.f);
    markAsRender(first, 5);
    const PropertyDescriptor& contrast = *PropertyDescriptor::get(PropertyId::CONTRAST);
    writePropertyAttribute(first, contrast, 2.f);
    ChannelImage second = first;
    writePropertyAttribute(second, contrast, 3.f);
    ChannelImage plain = nodeImage(FRAME, 1.f, 1.f);
    Fixture fixture({{u"a", first}, {u"b", second}, {u"c", second}, {u"plain", plain}});

    const RunReport report = fixture.loadPaths({u"a", u"b", u"c", u"plain", u"plain"});
    ASSERT_TRUE(report.finished) << report.error;
    ASSERT_EQ(report.warnings.size(), 2u);
    EXPECT_EQ(report.warnings[0], String(u"One or more postprocessing properties differed among the merged images. "
                                         u"Using properties from the first image."));
    EXPECT_EQ(report.warnings[1],
              String(u"One or more of the merged images have not been recognized as VXR images. The resulting "
                     u"postprocessing properties and/or render statistics of the merged image may be incorrect."));
    // The first image's settings win.
    EXPECT_EQ(fixture.settings.get(PropertyId::CONTRAST).asFloat(), 2.f);
}

TEST(LoadOperator, MergedStatisticsAreSummed) {
    ChannelImage node = nodeImage(FRAME, 1.f, 1.f);
    markAsRender(node, 5);
    Accumulator accumulator([](const String&) {});
    for (int i = 0; i < 3; ++i) {
        accumulator.add(node, MergeWeight(String(DEFAULT_WEIGHT_CHANNEL)));
    }
    const ChannelImage merged = accumulator.finish();
    EXPECT_TRUE(merged.isVxrImage());
    EXPECT_EQ(merged.findAttribute<std::int32_t>(VxrAttribute::STATS_PASSES)->value, 15);
    EXPECT_EQ(merged.findAttribute<std::int32_t>(VxrAttribute::STATS_TIME)->value, 30);
    // Rays per sample is a mean, not a sum.
    EXPECT_FLOAT_EQ(merged.findAttribute<float>(VxrAttribute::STATS_RAYS_PER_SAMPLE)->value, 2.f);
}

TEST(LoadOperator, SettingsTravelWithTheImage) {
    ChannelImage withSettings = nodeImage(FRAME, 1.f, 1.f);
    writePropertyAttribute(withSettings, *PropertyDescriptor::get(PropertyId::SIMPLE_EXPOSURE), 1.5f);
    const float intensities[] = {0.5f, 2.f};
    writePropertyAttribute(withSettings, *PropertyDescriptor::get(PropertyId::LIGHTMIX_INTENSITIES),
                           ArrayView<const float>(intensities));
    writePropertyAttribute(withSettings, *PropertyDescriptor::get(PropertyId::BLOOM_GLARE_ENABLED), true);
    Fixture fixture({{u"with", withSettings}, {u"without", nodeImage(FRAME, 1.f, 1.f)}});

    ASSERT_TRUE(fixture.loadPaths({u"with"}).finished);
    EXPECT_EQ(fixture.settings.get(PropertyId::SIMPLE_EXPOSURE).asFloat(), 1.5f);
    EXPECT_EQ(fixture.settings.get(PropertyId::LIGHTMIX_INTENSITIES), Property(ArrayView<const float>(intensities)));
    EXPECT_TRUE(fixture.settings.get(PropertyId::BLOOM_GLARE_ENABLED).asBool());

    // An image without stored settings resets them to the table's defaults.
    ASSERT_TRUE(fixture.loadPaths({u"without"}).finished);
    EXPECT_EQ(fixture.settings.get(PropertyId::SIMPLE_EXPOSURE).asFloat(), 0.f);
    EXPECT_EQ(fixture.settings.get(PropertyId::LIGHTMIX_INTENSITIES), Property(ArrayView<const float>()));
    EXPECT_FALSE(fixture.settings.get(PropertyId::BLOOM_GLARE_ENABLED).asBool());
}

TEST(LoadOperator, DefaultOutputPaths) {
    EXPECT_EQ(deriveDefaultOutputPath(Io::Path(u"a/b.exr")), Io::Path(u"a/b_Post.exr"));
    EXPECT_EQ(deriveDefaultOutputPath(Io::Path(u"a/b")), Io::Path(u"a/b_Post.vxr"));
    EXPECT_EQ(deriveDefaultOutputPath(Io::Path(u"")), Io::Path());
}
