#include <algorithm>
#include <cmath>
#include <map>

#include <gtest/gtest.h>

#include "base/image/Resampling.h"
#include "base/pipeline/OperatorGraph.h"
#include "imaging/SharpenBlur.h"
#include "settings/PropertyIds.h"
#include "tests/pipeline/PipelineTestSupport.h"

using namespace Vespra;
using namespace Vespra::Pipeline;
using namespace Vespra::Pipeline::Testing;

namespace {

constexpr int WIDTH = 96;
constexpr int HEIGHT = 72;

/// A textured image, with a few values above 1 and alpha that varies.
Rgb texture(int x, int y) {
    const float base = 0.45f + 0.35f * std::sin(0.7f * float(x) + 0.3f * float(y));
    const float bright = (x * 7 + y * 3) % 29 == 0 ? 1.8f : 0.f;
    return Rgb(base + bright, 0.5f + 0.4f * std::cos(0.2f * float(x * y % 17)), 0.3f + 0.002f * float(x + y),
               0.25f + 0.01f * float(x % 7));
}

/// An upstream that delivers `texture` for every element name at any region and zoom, and
/// remembers the regions it was asked for.
class TextureSource : public IOperator {
public:
    Array<ElementInfo> elements;
    std::vector<Bucket> pulls;

    Timestamp getTimestamp() const override { return 1; }
    Array<ElementInfo> getElements() const override { return elements; }
    Bucket getDisplayWindow() const override { return Bucket::fromSize(WIDTH, HEIGHT); }
    Bucket getDataWindow() const override { return Bucket::fromSize(WIDTH, HEIGHT); }
    Optional<ColorBitmap> getColorBitmap(const String&, const Bucket& region, float zoom,
                                         std::uint32_t) override {
        pulls.push_back(region);
        return resample<Rgb>(region, zoom, texture);
    }
    Optional<MonoBitmap> getMonoBitmap(const String&, const Bucket&, float, std::uint32_t) override {
        return std::nullopt;
    }
};

ElementInfo element(const char16_t* name, std::uint32_t flags) {
    return ElementInfo{name, ElementInfo::KIND_COLOR, flags};
}

template <class Operator>
struct OperatorOnTexture {
    Settings settings;
    TextureSource source;
    Operator op;

    OperatorOnTexture() {
        source.elements = Array<ElementInfo>{element(u"", 0), element(u"Raw", ElementInfo::NOT_COLOR_MAPPED),
                                             element(u"Sharp", ElementInfo::NOT_SHARPENED)};
        op.settings = &settings;
        op.upstream = {&source};
    }

    ColorBitmap pull(const char16_t* name, const Bucket& region, float zoom, std::uint32_t flags = 0) {
        Optional<ColorBitmap> pixels = op.getColorBitmap(name, region, zoom, flags);
        EXPECT_TRUE(pixels.has_value());
        return pixels ? std::move(*pixels) : ColorBitmap();
    }
};

void expectIdentical(const ColorBitmap& actual, const ColorBitmap& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (int y = 0; y < actual.height(); ++y) {
        for (int x = 0; x < actual.width(); ++x) {
            const Rgb a = actual(x, y);
            const Rgb e = expected(x, y);
            ASSERT_TRUE(a == e && a.a == e.a) << x << "," << y;
        }
    }
}

float largestDifference(const ColorBitmap& part, const ColorBitmap& whole, Pixel offset) {
    float largest = 0.f;
    for (int y = 0; y < part.height(); ++y) {
        for (int x = 0; x < part.width(); ++x) {
            for (int lane = 0; lane < 4; ++lane) {
                largest =
                    std::max(largest, std::abs(part(x, y)[lane] - whole(x + offset.x, y + offset.y)[lane]));
            }
        }
    }
    return largest;
}

/// Sharpening and blurring both on.
void enableSharpenBlur(Settings& settings, float amount, float sharpRadius, float blurRadius) {
    settings.set(PropertyId::SHARPENING_BLURRING_ENABLE, true);
    settings.set(PropertyId::SHARPENING_AMOUNT, amount);
    settings.set(PropertyId::SHARPENING_RADIUS, sharpRadius);
    settings.set(PropertyId::BLURRING_RADIUS, blurRadius);
}

/// A graph with `image` loaded.
struct LoadedGraph {
    Settings settings;
    OperatorGraph graph{settings};

    explicit LoadedGraph(const ChannelImage& image) {
        graph.load.setLoader(memoryLoader({{u"image", image}}));
        const RunReport report =
            runToEnd(graph.load, [this] { graph.load.setInput({}, Array<Io::Path>{Io::Path(u"image")}); });
        EXPECT_TRUE(report.finished) << report.error;
    }

    ColorBitmap pull(const Bucket& region, float zoom, std::uint32_t flags) {
        Optional<ColorBitmap> pixels = pullColorBitmap(&graph.zoom, u"", region, zoom, flags);
        EXPECT_TRUE(pixels.has_value());
        return pixels ? std::move(*pixels) : ColorBitmap();
    }
};

} // namespace

TEST(ColorMapOperator, MapsAllButTheElementsMarkedRaw) {
    OperatorOnTexture<ColorMapOperator<ColorMapping>> fixture;
    const Bucket region{3, 2, 19, 11};
    expectIdentical(fixture.pull(u"Raw", region, 1.f, PullFlag::DISPLAY),
                    resample<Rgb>(region, 1.f, texture));

    // Listed without the flag, or not listed at all: mapped, alpha kept. Defaults: gamma 2.2.
    for (const char16_t* name : {u"", u"Unlisted"}) {
        const ColorBitmap mapped = fixture.pull(name, region, 1.f);
        const Rgb in = texture(region.x0 + 4, region.y0 + 5);
        const Rgb out = mapped(4, 5);
        EXPECT_NEAR(out.g, std::pow(double(in.g), 1.0 / 2.2), 1e-6);
        EXPECT_EQ(out.a, in.a);
    }
}

TEST(SharpenBlurOperator, MarkedOrSwitchedOffPassesWithoutExtraPixels) {
    OperatorOnTexture<SharpenBlurOperator> fixture;
    const Bucket region{10, 12, 30, 40};
    enableSharpenBlur(fixture.settings, 1.f, 2.f, 1.f);
    expectIdentical(fixture.pull(u"Sharp", region, 1.f), resample<Rgb>(region, 1.f, texture));
    EXPECT_EQ(fixture.source.pulls.back(), region);

    fixture.pull(u"", region, 1.f);
    EXPECT_NE(fixture.source.pulls.back(), region) << "an enabled filter pulls a margin";

    // Disabled, or enabled with nothing to do.
    fixture.settings.set(PropertyId::SHARPENING_BLURRING_ENABLE, false);
    expectIdentical(fixture.pull(u"", region, 2.f), resample<Rgb>(region, 2.f, texture));
    EXPECT_EQ(fixture.source.pulls.back(), region);
    enableSharpenBlur(fixture.settings, 1.f, 0.f, 0.f);
    expectIdentical(fixture.pull(u"", region, 1.f), resample<Rgb>(region, 1.f, texture));
    EXPECT_EQ(fixture.source.pulls.back(), region);
}

TEST(SharpenBlurOperator, MarginFollowsTheStepGridAndTheImageEdges) {
    OperatorOnTexture<SharpenBlurOperator> fixture;
    enableSharpenBlur(fixture.settings, 1.f, 3.f, 2.f);

    // At the left and top edges the pull starts on the region's grid of step 2, at 0 or 1.
    const Bucket edge{0, 3, 14, 21};
    const ColorBitmap atEdge = fixture.pull(u"", edge, 2.f);
    const Bucket edgePull = fixture.source.pulls.back();
    EXPECT_EQ(edgePull.x0, 0);
    EXPECT_EQ(edgePull.y0, 1);
    EXPECT_EQ(atEdge.size(), (Pixel{7, 9}));
    // At the right and bottom edges it stops at the image.
    fixture.pull(u"", Bucket{80, 60, WIDTH, HEIGHT}, 2.f);
    EXPECT_EQ(fixture.source.pulls.back().x1, WIDTH);
    EXPECT_EQ(fixture.source.pulls.back().y1, HEIGHT);

    // Zoom 1.5 filters with step 1, so it pulls what zoom 1 pulls. The margin at step 1:
    // sharpening radius 20 gives trunc(l) = 5 and 4 * 5 + 4 = 24, blurring radius 10 gives
    // trunc(l) = 2 and 12; at step 2 the radii halve and the margin shrinks.
    enableSharpenBlur(fixture.settings, 1.f, 20.f, 10.f);
    const Bucket inner{40, 36, 50, 40};
    fixture.pull(u"", inner, 1.f);
    const Bucket atOne = fixture.source.pulls.back();
    EXPECT_EQ(atOne, (Bucket{40 - 36, 0, 50 + 36, HEIGHT}));
    fixture.pull(u"", inner, 1.5f);
    EXPECT_EQ(fixture.source.pulls.back(), atOne);
    fixture.pull(u"", inner, 2.f);
    EXPECT_GT(fixture.source.pulls.back().x0, atOne.x0);
}

TEST(SharpenBlurOperator, RegionsMatchTheWholeImage) {
    OperatorOnTexture<SharpenBlurOperator> fixture;
    struct Case {
        float amount, sharpRadius, blurRadius;
        int step;
        float tolerance;
    };
    // Only rounding differs at steps 1 and 2; at step 4 the margin, counted in full-image
    // pixels, leaves out weights of about 1e-5.
    for (const Case c : {Case{1.5f, 7.f, 10.f, 1, 5e-6f}, Case{1.f, 0.5f, 1.33f, 2, 5e-6f},
                         Case{1.f, 0.5f, 1.33f, 4, 2e-4f}}) {
        enableSharpenBlur(fixture.settings, c.amount, c.sharpRadius, c.blurRadius);
        const float zoom = float(c.step);
        const ColorBitmap whole = fixture.pull(u"", Bucket::fromSize(WIDTH, HEIGHT), zoom);
        for (const Bucket region :
             {Bucket{0, 0, 48, 40}, Bucket{48, 32, WIDTH, HEIGHT}, Bucket{24, 16, 76, 60}}) {
            const ColorBitmap part = fixture.pull(u"", region, zoom);
            ASSERT_EQ(part.size(), resampledSize(region, zoom));
            EXPECT_LE(largestDifference(part, whole, {region.x0 / c.step, region.y0 / c.step}), c.tolerance)
                << "step " << c.step << " region " << region.x0 << "," << region.y0;
        }
    }
}

TEST(ColorMapInGraph, GreyOfDefaultsAndFastPower) {
    const Bucket frame = Bucket::fromSize(8, 6);
    ChannelImage image(frame, frame, 1.f);
    addColorElement(image, u"", [](int, int, int) { return 0.18f; });
    LoadedGraph loaded(image);
    const double expected = std::pow(0.18, 1.0 / 2.2);
    const Rgb exact = loaded.pull(frame, 1.f, 0)(3, 2);
    EXPECT_NEAR(exact.r, expected, 1e-6);
    EXPECT_NEAR(exact.b, expected, 1e-6);
    EXPECT_NEAR(loaded.pull(frame, 1.f, PullFlag::DISPLAY)(3, 2).g, expected, 3e-5 * expected);
}

TEST(ColorMapInGraph, VignetteStaysWithTheDisplayWindow) {
    // The data window lies 6 and 4 pixels into a 64 x 48 display window.
    const Bucket display = Bucket::fromSize(64, 48);
    const Bucket data{6, 4, 58, 44};
    ChannelImage image(display, data, 1.f);
    addColorElement(image, u"", [](int, int, int) { return 0.5f; });
    LoadedGraph loaded(image);
    loaded.settings.set(PropertyId::COLOR_MAP_GAMMA, 1.f);
    loaded.settings.set(PropertyId::VIGNETTE_INTENSITY, 0.8f);

    const ColorBitmap whole = loaded.pull(Bucket::fromSize(data.width(), data.height()), 1.f, 0);
    // Worked out for the display window: s = 1/64, centre (0.5, 0.375), inner radius 0.2^2,
    // falloff scale 1 / (2 / 0.8 - 0.04). Data pixel (x, y) lies at display (x + 6, y + 4).
    const auto vignette = [](double x, double y) {
        const double a = x / 64 - 0.5;
        const double b = y / 64 - 0.375;
        const double t = std::clamp((a * a + b * b - 0.04) / 2.46, 0.0, 1.0);
        const double u = std::pow(1 - t, 4);
        return u * u * u * (u * (u * 6 - 15) + 10);
    };
    for (const Pixel p : {Pixel{26, 20}, Pixel{0, 0}, Pixel{51, 39}, Pixel{45, 5}, Pixel{10, 30}}) {
        EXPECT_NEAR(whole(p.x, p.y).r, 0.5 * vignette(p.x + 6, p.y + 4), 1e-6) << p.x << "," << p.y;
    }
    EXPECT_EQ(whole(26, 20).r, 0.5f);
    EXPECT_LT(whole(0, 0).r, 0.45f);

    // A region away from the origin, in full and reduced, darkens the same places.
    const Bucket region{20, 10, 50, 36};
    expectIdentical(loaded.pull(region, 1.f, 0), SharpenBlur::cut(whole, region));
    const ColorBitmap reduced = loaded.pull(region, 3.f, 0);
    for (int j = 0; j < reduced.height(); ++j) {
        for (int i = 0; i < reduced.width(); ++i) {
            ASSERT_EQ(reduced(i, j), whole(region.x0 + 3 * i, region.y0 + 3 * j)) << i << "," << j;
        }
    }
}
