#include <gtest/gtest.h>

#include "base/pipeline/OperatorGraph.h"
#include "settings/PropertyIds.h"
#include "tests/pipeline/PipelineTestSupport.h"

using namespace Vespra;
using namespace Vespra::Pipeline;
using namespace Vespra::Pipeline::Testing;

namespace {

constexpr Bucket FRAME{0, 0, 10, 10};

ChannelImage testImage() {
    ChannelImage image(FRAME, FRAME, 1.f);
    addColorElement(image, u"",
                    [](int x, int y, int c) { return float(x) + 10.f * float(y) + 0.25f * float(c); });
    addMonoChannel(image, u"ZDepth", [](int x, int y) { return float(x * y); });
    return image;
}

struct LoadedGraph {
    Settings settings;
    OperatorGraph graph{settings};

    LoadedGraph() {
        graph.load.setLoader(memoryLoader({{u"image", testImage()}}));
        const RunReport report =
            runToEnd(graph.load, [this] { graph.load.setInput({}, Array<Io::Path>{Io::Path(u"image")}); });
        EXPECT_TRUE(report.finished) << report.error;
        // Gamma 1 and the exact power leave these pixels as they are through the colour map.
        settings.set(PropertyId::COLOR_MAP_GAMMA, 1.f);
    }
};

} // namespace

TEST(OperatorGraph, AnEmptyGraphAnswersNothing) {
    Settings settings;
    OperatorGraph graph(settings);
    EXPECT_TRUE(graph.zoom.getElements().empty());
    EXPECT_EQ(graph.zoom.getTimestamp(), NO_TIMESTAMP);
    EXPECT_FALSE(pullColorBitmap(&graph.zoom, u"", FRAME, 1.f, PullFlag::DISPLAY).has_value());
    EXPECT_FALSE(pullColorBitmap(&graph.zoom, u"", FRAME, 1.f, PullFlag::SYNCHRONOUS).has_value());
}

TEST(OperatorGraph, PixelsTravelUnchangedThroughThePassingStages) {
    LoadedGraph loaded;
    const auto pixels = pullColorBitmap(&loaded.graph.zoom, u"", Bucket{2, 3, 5, 4}, 1.f, 0);
    ASSERT_TRUE(pixels);
    ASSERT_EQ(pixels->size(), (Pixel{3, 1}));
    EXPECT_EQ((*pixels)(1, 0), Rgb(3.f + 30.f, 3.25f + 30.f, 3.5f + 30.f));
    EXPECT_NE(loaded.graph.zoom.getTimestamp(), NO_TIMESTAMP);
}

TEST(OperatorGraph, ZoomBelowOneMagnifiesBySquareBlocks) {
    LoadedGraph loaded;
    const auto twice = pullColorBitmap(&loaded.graph.zoom, u"", Bucket{0, 0, 10, 10}, 0.5f, 0);
    ASSERT_TRUE(twice);
    EXPECT_EQ(twice->size(), (Pixel{20, 20}));
    for (const auto& [x, y] : {std::pair{0, 0}, {1, 1}, {5, 4}, {19, 19}}) {
        EXPECT_EQ((*twice)(x, y).r, float(x / 2) + 10.f * float(y / 2)) << x << "," << y;
    }
    // 0.3 truncates to a factor of 3.
    const auto thrice = pullMonoBitmap(&loaded.graph.zoom, u"ZDepth", Bucket{2, 2, 4, 3}, 0.3f, 0);
    ASSERT_TRUE(thrice);
    EXPECT_EQ(thrice->size(), (Pixel{6, 3}));
    EXPECT_EQ((*thrice)(5, 2), 3.f * 2.f);
    // Above 1 the source reduces: 10 pixels at zoom 2 give 5.
    const auto half = pullColorBitmap(&loaded.graph.zoom, u"", FRAME, 2.f, 0);
    ASSERT_TRUE(half);
    EXPECT_EQ(half->size(), (Pixel{5, 5}));
    EXPECT_EQ((*half)(1, 1).r, 2.f + 20.f);
}

TEST(OperatorGraph, MonoElementsReachTheDisplayAsGrey) {
    LoadedGraph loaded;
    const Optional<ElementInfo> depth = findElement(&loaded.graph.zoom, u"ZDepth");
    ASSERT_TRUE(depth);
    EXPECT_EQ(depth->kind, ElementInfo::KIND_COLOR);
    EXPECT_EQ(findElement(&loaded.graph.sharpenBlur, u"ZDepth")->kind, ElementInfo::KIND_SINGLE_CHANNEL);
    const auto grey = pullColorBitmap(&loaded.graph.zoom, u"ZDepth", Bucket{3, 2, 4, 3}, 1.f, 0);
    ASSERT_TRUE(grey);
    EXPECT_EQ((*grey)(0, 0), Rgb(6.f, 6.f, 6.f, 6.f));
    EXPECT_EQ((*grey)(0, 0).a, 6.f); // alpha carries the value too
    EXPECT_FALSE(pullColorBitmap(&loaded.graph.zoom, u"Nothing", FRAME, 1.f, 0).has_value());
}

TEST(OperatorGraph, ElementFlagsAreSetAndCleared) {
    LoadedGraph loaded;
    const Timestamp before = loaded.graph.load.getTimestamp();
    ElementInfo depth;
    depth.name = u"ZDepth";
    loaded.graph.load.setElementFlag(16, Array<ElementInfo>{depth});
    EXPECT_EQ(findElement(&loaded.graph.load, u"ZDepth")->flags & 16, 16u);
    EXPECT_EQ(findElement(&loaded.graph.load, u"")->flags & 16, 0u);
    EXPECT_GE(loaded.graph.load.getTimestamp(), before);
    loaded.graph.load.setElementFlag(16, {});
    EXPECT_EQ(findElement(&loaded.graph.load, u"ZDepth")->flags & 16, 0u);
}
