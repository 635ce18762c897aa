#include <mutex>

#include <gtest/gtest.h>

#include "apps/samplegen/SampleRenderer.h"
#include "base/image/ElementNames.h"
#include "base/pipeline/LightMixState.h"
#include "base/pipeline/OperatorGraph.h"
#include "settings/PropertyIds.h"
#include "tests/pipeline/PipelineTestSupport.h"

using namespace Vespra;
using namespace Vespra::Pipeline;
using namespace Vespra::Pipeline::Testing;

namespace {

constexpr Bucket FRAME{0, 0, 10, 6};
constexpr RenderElementFlags ALL_EFFECTS =
    RenderElementFlag::COLOR_MAPPED | RenderElementFlag::BLOOM_EFFECT | RenderElementFlag::GLARE_EFFECT;

/// Layer `layer`'s value at (x, y) in channel c, distinct for every layer and channel.
float layerValue(int layer, int x, int y, int c) {
    return 0.1f * float(layer + 1) + 0.01f * float(x) + 0.03f * float(y) + 0.2f * float(c * (layer + 1) % 3);
}

/// Beauty, three light-mix layers and one colour element that is no layer.
ChannelImage layeredImage(bool withLayers) {
    ChannelImage image(FRAME, FRAME, 1.f);
    addColorElement(image, u"", [](int x, int y, int c) { return layerValue(7, x, y, c); });
    addColorElement(image, u"Other", [](int x, int y, int c) { return layerValue(9, x, y, c); });
    Stack<RenderElementInfo> infos;
    for (int layer = 0; layer < 3; ++layer) {
        const String name = u"L" + String::fromUtf8(std::to_string(layer + 1));
        addColorElement(image, name, [layer](int x, int y, int c) { return layerValue(layer, x, y, c); });
        if (withLayers) {
            infos.push(RenderElementInfo(name, ALL_EFFECTS, RenderElementType::LIGHT_SELECT));
        }
    }
    // The mix gets bloom but no glare.
    infos.push(RenderElementInfo(u"LightMix",
                                 RenderElementFlag::COLOR_MAPPED | RenderElementFlag::BLOOM_EFFECT,
                                 RenderElementType::LIGHT_MIX));
    image.setRenderElementInfos(infos);
    return image;
}

/// Forwards to upstream and notes which colour elements were pulled.
class PullRecorder : public DependentMixin<1, IOperator> {
public:
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override {
        std::lock_guard guard(mutex);
        pulled.push(name);
        if (name == refused) {
            return std::nullopt;
        }
        return pullColorBitmap(upstream[0], name, region, zoom, flags);
    }

    std::mutex mutex;
    Stack<String> pulled;
    String refused;
};

struct MixBench {
    Settings settings;
    LoadOperator load;
    PullRecorder recorder;
    LightMixOperator mix;

    explicit MixBench(ChannelImage image) {
        load.settings = &settings;
        load.setLoader(memoryLoader({{u"image", std::move(image)}}));
        const RunReport report =
            runToEnd(load, [this] { load.setInput({}, Array<Io::Path>{Io::Path(u"image")}); });
        EXPECT_TRUE(report.finished) << report.error;
        recorder.upstream = {&load};
        mix.upstream = {&recorder};
        mix.settings = &settings;
        mix.imageInfo = &load;
    }

    Optional<ColorBitmap> pullMix(const Bucket& region = FRAME, float zoom = 1.f) {
        recorder.pulled = {};
        return pullColorBitmap(&mix, LIGHT_MIX_INTERACTIVE_NAME, region, zoom, 0);
    }
};

/// The published Rec. 709 to Rec. 2020 matrix, and its inverse, to four places.
constexpr double TO_WIDE[3][3] = {
    {0.6274, 0.3293, 0.0433}, {0.0691, 0.9195, 0.0114}, {0.0164, 0.0880, 0.8956}};
constexpr double FROM_WIDE[3][3] = {
    {1.6605, -0.5876, -0.0728}, {-0.1246, 1.1329, -0.0083}, {-0.0182, -0.1006, 1.1187}};

std::array<double, 3> times(const double (&m)[3][3], const std::array<double, 3>& v) {
    return {m[0][0] * v[0] + m[0][1] * v[1] + m[0][2] * v[2],
            m[1][0] * v[0] + m[1][1] * v[1] + m[1][2] * v[2],
            m[2][0] * v[0] + m[2][1] * v[1] + m[2][2] * v[2]};
}

} // namespace

TEST(LightMix, WhiteLayersAtOneSumToTheLayersAndCarryNoAlpha) {
    MixBench bench(layeredImage(true));
    const Array<ElementInfo> elements = bench.mix.getElements();
    ASSERT_FALSE(elements.empty());
    EXPECT_EQ(elements.back(), (ElementInfo{LIGHT_MIX_INTERACTIVE_NAME, ElementInfo::KIND_COLOR,
                                            ElementInfo::INTERACTIVE | ElementInfo::NO_GLARE}));
    EXPECT_EQ(elements.size(), bench.load.getElements().size() + 1);

    const Optional<ColorBitmap> mixed = bench.pullMix();
    ASSERT_TRUE(mixed);
    ASSERT_EQ(mixed->size(), FRAME.size());
    EXPECT_EQ(bench.recorder.pulled, (Stack<String>{u"L1", u"L2", u"L3"}));
    for (int y = 0; y < FRAME.height(); ++y) {
        for (int x = 0; x < FRAME.width(); ++x) {
            for (int c = 0; c < 3; ++c) {
                const float sum = layerValue(0, x, y, c) + layerValue(1, x, y, c) + layerValue(2, x, y, c);
                EXPECT_NEAR((*mixed)(x, y)[c], sum, 2e-6f * sum) << x << "," << y << "," << c;
            }
            // The layers come with alpha 1; the mix has none.
            EXPECT_EQ((*mixed)(x, y).a, 0.f);
        }
    }
    // Other elements pass untouched, alpha included.
    const auto other = pullColorBitmap(&bench.mix, u"Other", FRAME, 1.f, 0);
    ASSERT_TRUE(other);
    EXPECT_EQ(*other, bench.load.getColorBitmap(u"Other", FRAME, 1.f, 0).value());
}

TEST(LightMix, LayersOffOrAtZeroAreNeverPulled) {
    MixBench bench(layeredImage(true));
    // The switches are one short: the third layer is on. Intensities have one to spare.
    bench.settings.set(PropertyId::LIGHTMIX_ENABLED_LAYERS,
                       Property(ArrayView<const bool>(std::array{true, false})));
    bench.settings.set(PropertyId::LIGHTMIX_INTENSITIES,
                       Property(ArrayView<const float>(std::array{2.f, 3.f, 0.f, 7.f})));
    bench.settings.set(PropertyId::LIGHTMIX_COLORS,
                       Property(ArrayView<const Rgb>(std::array{Rgb(0.f, 0.f, 0.f), Rgb(1.f, 1.f, 1.f)})));
    // Layer 1 is black, layer 2 off and layer 3 at 0: nothing to pull, a black frame.
    Optional<ColorBitmap> mixed = bench.pullMix();
    ASSERT_TRUE(mixed);
    EXPECT_TRUE(bench.recorder.pulled.empty());
    EXPECT_EQ(*mixed, ColorBitmap(FRAME.width(), FRAME.height(), Rgb(0.f, 0.f, 0.f, 0.f)));

    // White first layer at 2, second off; the colours array is short for the third, at 0.5.
    bench.settings.set(PropertyId::LIGHTMIX_COLORS,
                       Property(ArrayView<const Rgb>(std::array{Rgb(1.f, 1.f, 1.f)})));
    bench.settings.set(PropertyId::LIGHTMIX_INTENSITIES,
                       Property(ArrayView<const float>(std::array{2.f, 3.f, 0.5f})));
    mixed = bench.pullMix();
    ASSERT_TRUE(mixed);
    EXPECT_EQ(bench.recorder.pulled, (Stack<String>{u"L1", u"L3"}));
    const float expected = 2.f * layerValue(0, 4, 3, 1) + 0.5f * layerValue(2, 4, 3, 1);
    EXPECT_NEAR((*mixed)(4, 3).g, expected, 2e-6f * expected);

    // A layer that cannot be delivered empties the mix.
    bench.recorder.refused = u"L3";
    EXPECT_FALSE(bench.pullMix().has_value());
}

TEST(LightMix, ColoursActInTheWideGamut) {
    MixBench bench(layeredImage(true));
    bench.settings.set(PropertyId::LIGHTMIX_ENABLED_LAYERS,
                       Property(ArrayView<const bool>(std::array{true, false, false})));
    const Rgb saturated(0.9f, 0.1f, 0.05f);
    bench.settings.set(PropertyId::LIGHTMIX_COLORS, Property(ArrayView<const Rgb>(std::array{saturated})));
    bench.settings.set(PropertyId::LIGHTMIX_INTENSITIES, Property(ArrayView<const float>(std::array{1.5f})));
    const Optional<ColorBitmap> mixed = bench.pullMix();
    ASSERT_TRUE(mixed);
    const Pixel at{6, 2};
    const std::array<double, 3> pixel{layerValue(0, at.x, at.y, 0), layerValue(0, at.x, at.y, 1),
                                      layerValue(0, at.x, at.y, 2)};
    const std::array<double, 3> factor =
        times(TO_WIDE, {1.5 * saturated.r, 1.5 * saturated.g, 1.5 * saturated.b});
    std::array<double, 3> wide = times(TO_WIDE, pixel);
    for (int c = 0; c < 3; ++c) {
        wide[std::size_t(c)] *= factor[std::size_t(c)];
    }
    const std::array<double, 3> expected = times(FROM_WIDE, wide);
    for (int c = 0; c < 3; ++c) {
        const double plain = pixel[std::size_t(c)] * 1.5 * saturated[c];
        EXPECT_NEAR((*mixed)(at.x, at.y)[c], expected[std::size_t(c)],
                    2e-3 * std::abs(expected[std::size_t(c)]))
            << c;
        // A multiplication in the picture's own space would be quite another colour.
        EXPECT_GT(std::abs((*mixed)(at.x, at.y)[c] - plain), 0.02 * plain) << c;
    }
}

TEST(LightMix, RegionsZoomsAndImagesWithoutLayers) {
    MixBench bench(layeredImage(true));
    EXPECT_FALSE(bench.pullMix(Bucket{3, 2, 3, 5}).has_value());
    EXPECT_FALSE(bench.pullMix(Bucket{3, 2, 8, 2}).has_value());
    EXPECT_TRUE(bench.recorder.pulled.empty());
    // Above zoom 1 every layer is pulled at that zoom: 10 x 6 at 4 gives 3 x 2.
    const Optional<ColorBitmap> reduced = bench.pullMix(FRAME, 4.f);
    ASSERT_TRUE(reduced);
    EXPECT_EQ(reduced->size(), (Pixel{3, 2}));
    const float sum = layerValue(0, 4, 4, 2) + layerValue(1, 4, 4, 2) + layerValue(2, 4, 4, 2);
    EXPECT_NEAR((*reduced)(1, 1).b, sum, 2e-6f * sum);

    MixBench plain(layeredImage(false));
    for (const ElementInfo& element : plain.mix.getElements()) {
        EXPECT_NE(element.name, LIGHT_MIX_INTERACTIVE_NAME);
    }
    // Without layers the mix is black, its size the truncated quotient: 10 / 4 by 6 / 4.
    const Optional<ColorBitmap> black = plain.pullMix(FRAME, 4.f);
    ASSERT_TRUE(black);
    EXPECT_EQ(*black, ColorBitmap(2, 1, Rgb(0.f, 0.f, 0.f, 0.f)));
    EXPECT_TRUE(plain.recorder.pulled.empty());
}

TEST(LightMix, TheMixOfASampleRenderIsItsBeauty) {
    const SampleGen::RenderJob job = SampleGen::wholeFrameJob(32, 24, 2);
    Settings settings;
    OperatorGraph graph(settings);
    graph.load.setLoader(memoryLoader({{u"sample", SampleGen::renderSampleImage(job)}}));
    const RunReport report =
        runToEnd(graph.load, [&] { graph.load.setInput({}, Array<Io::Path>{Io::Path(u"sample")}); });
    ASSERT_TRUE(report.finished) << report.error;
    ASSERT_TRUE(findElement(&graph.blendBloomGlare, LIGHT_MIX_INTERACTIVE_NAME));

    const Bucket frame = Bucket::fromSize(32, 24);
    const auto mix = pullColorBitmap(&graph.blendBloomGlare, LIGHT_MIX_INTERACTIVE_NAME, frame, 1.f, 0);
    const auto beauty = pullColorBitmap(&graph.blendBloomGlare, u"", frame, 1.f, 0);
    ASSERT_TRUE(mix && beauty);
    double largest = 0.0;
    for (const Rgb& pixel : beauty->view()) {
        largest = std::max<double>(largest, pixel.max());
    }
    ASSERT_GT(largest, 0.0);
    for (int y = 0; y < 24; ++y) {
        for (int x = 0; x < 32; ++x) {
            for (int c = 0; c < 3; ++c) {
                const float expected = (*beauty)(x, y)[c];
                ASSERT_NEAR((*mix)(x, y)[c], expected, 1e-5f * expected + 1e-6 * largest) << x << "," << y;
            }
        }
    }
}

TEST(LightMixState, ArraysArePaddedToTheLongestAndEmptyStatesMatchAll) {
    Settings settings;
    settings.set(PropertyId::LIGHTMIX_ENABLED_LAYERS, Property(ArrayView<const bool>(std::array{false})));
    settings.set(PropertyId::LIGHTMIX_INTENSITIES,
                 Property(ArrayView<const float>(std::array{2.f, 0.5f, 4.f})));
    const LightMixState state = LightMixState::fromSettings(settings);
    ASSERT_TRUE(state.getLayers());
    ASSERT_EQ(state.getLayers()->size(), 3u);
    EXPECT_FALSE(state.layer(0).enabled);
    EXPECT_TRUE(state.layer(2).enabled);
    EXPECT_EQ(state.layer(1).color, Rgb::white());
    EXPECT_EQ(state.layer(7).intensity, 1.f);
    EXPECT_EQ(state.wideGamutFactor(0), Rgb(0.f));
    // White stays white in the wide gamut, to float precision.
    EXPECT_NEAR(state.wideGamutFactor(1).g, 0.5f, 1e-6f);
    EXPECT_NEAR(state.wideGamutFactor(1).r, 0.5f, 1e-6f);

    LightMixState other = LightMixState::fromSettings(settings);
    EXPECT_EQ(state, other);
    settings.set(PropertyId::LIGHTMIX_INTENSITIES,
                 Property(ArrayView<const float>(std::array{2.f, 0.5f, 4.5f})));
    EXPECT_FALSE(state == LightMixState::fromSettings(settings));
    EXPECT_EQ(state, LightMixState());
    EXPECT_EQ(LightMixState(), state);
}
