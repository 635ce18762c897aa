#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "base/image/ElementNames.h"
#include "base/pipeline/BlendBloomGlareOperator.h"
#include "base/pipeline/BloomGlareOperator.h"
#include "base/pipeline/LightMixOperator.h"
#include "settings/PropertyIds.h"
#include "tests/pipeline/PipelineTestSupport.h"

using namespace Vespra;
using namespace Vespra::Pipeline;
using namespace Vespra::Pipeline::Testing;

namespace {

constexpr Bucket FRAME{0, 0, 12, 8};
constexpr RenderElementFlags ALL_EFFECTS =
    RenderElementFlag::COLOR_MAPPED | RenderElementFlag::BLOOM_EFFECT | RenderElementFlag::GLARE_EFFECT;
/// What the stand-in effect adds everywhere.
constexpr Rgb ADDED_LIGHT(0.5f, 1.f, 2.f);

float pictureValue(int x, int y, int c) {
    return 0.05f * float(x) + 0.1f * float(y) + 0.3f * float(c);
}

/// Beauty; a layer; a layer without bloom; a data element without either effect; a mono one.
ChannelImage testImage() {
    ChannelImage image(FRAME, FRAME, 1.f);
    addColorElement(image, u"", pictureValue);
    addColorElement(image, u"Lamp", pictureValue);
    addColorElement(image, u"Sky", pictureValue);
    addColorElement(image, u"Normals", pictureValue);
    addColorElement(image, u"Unlisted", pictureValue);
    addMonoChannel(image, u"ZDepth", [](int x, int) { return float(x); });
    const RenderElementInfo infos[] = {
        {u"Lamp", ALL_EFFECTS, RenderElementType::LIGHT_SELECT},
        {u"Sky", RenderElementFlag::COLOR_MAPPED | RenderElementFlag::GLARE_EFFECT,
         RenderElementType::LIGHT_SELECT},
        {u"Normals", {}, RenderElementType::NORMALS},
        {u"BloomGlare", RenderElementFlag::COLOR_MAPPED | RenderElementFlag::GLARE_EFFECT,
         RenderElementType::BLOOM_GLARE},
    };
    image.setRenderElementInfos(infos);
    return image;
}

/// Load, LightMix, bloom and glare with a stand-in effect, and the blend, wired as in the graph.
struct EffectBench {
    Settings settings;
    LoadOperator load;
    LightMixOperator lightMix;
    std::atomic<int> effectRuns = 0;
    std::thread::id effectThread;
    PostProcessData::BloomGlare lastParams;
    BloomGlareOperator bloomGlare{[this](Flags<ImageOperatorsFlag> flags, ColorBitmap& bitmap,
                                         const PostProcessData::BloomGlare& params) {
        EXPECT_TRUE(flags.has(ImageOperatorsFlag::PARALLEL));
        EXPECT_EQ(bitmap.size(), FRAME.size());
        effectThread = std::this_thread::get_id();
        lastParams = params;
        bitmap.fill(ADDED_LIGHT);
        ++effectRuns;
    }};
    BlendBloomGlareOperator blend;

    EffectBench() {
        load.settings = &settings;
        load.setLoader(memoryLoader({{u"image", testImage()}}));
        const RunReport report =
            runToEnd(load, [this] { load.setInput({}, Array<Io::Path>{Io::Path(u"image")}); });
        EXPECT_TRUE(report.finished) << report.error;
        lightMix.upstream = {&load};
        lightMix.settings = &settings;
        lightMix.imageInfo = &load;
        bloomGlare.upstream = {&lightMix};
        bloomGlare.settings = &settings;
        bloomGlare.imageInfo = &load;
        blend.upstream = {&lightMix, &bloomGlare};
        settings.set(PropertyId::BLOOM_GLARE_ENABLED, true);
    }

    /// Runs the worker on `name` to its end.
    RunReport runOn(const String& name) {
        return runToEnd(bloomGlare, [&] { bloomGlare.setSourceElement(name); });
    }

    Optional<ColorBitmap> pull(const String& name, std::uint32_t flags) {
        return pullColorBitmap(&blend, name, FRAME, 1.f, flags);
    }
};

/// Whether `bitmap` is the test picture plus `light` in every pixel.
::testing::AssertionResult isPicturePlus(const Optional<ColorBitmap>& bitmap, const Rgb& light) {
    if (!bitmap) {
        return ::testing::AssertionFailure() << "no bitmap";
    }
    for (int y = 0; y < FRAME.height(); ++y) {
        for (int x = 0; x < FRAME.width(); ++x) {
            for (int c = 0; c < 3; ++c) {
                if ((*bitmap)(x, y)[c] != pictureValue(x, y, c) + light[c]) {
                    return ::testing::AssertionFailure() << "differs at " << x << "," << y << "," << c;
                }
            }
            if ((*bitmap)(x, y).a != 1.f) {
                return ::testing::AssertionFailure() << "alpha changed at " << x << "," << y;
            }
        }
    }
    return ::testing::AssertionSuccess();
}

} // namespace

TEST(BloomGlareOperator, OffersTheElementsThatCanHaveTheEffect) {
    EffectBench bench;
    Stack<String> names;
    for (const ElementInfo& element : bench.bloomGlare.getElements()) {
        names.push(element.name);
    }
    // Layers first, as the image lists them; no data, mono or other colour elements.
    EXPECT_EQ(names, (Stack<String>{u"Lamp", u"Sky", u"", LIGHT_MIX_INTERACTIVE_NAME,
                                    BLOOM_GLARE_INTERACTIVE_NAME}));
    const ElementInfo own{BLOOM_GLARE_INTERACTIVE_NAME, ElementInfo::KIND_COLOR,
                          ElementInfo::INTERACTIVE | ElementInfo::NO_BLOOM};
    EXPECT_EQ(bench.bloomGlare.getElements().back(), own);
    EXPECT_EQ(bench.blend.getElements().back(), own);
    EXPECT_EQ(bench.blend.getElements().size(), bench.lightMix.getElements().size() + 1);

    // An element without bloom and glare gets no run and no light.
    EXPECT_TRUE(isPicturePlus(bench.pull(u"Normals", PullFlag::SYNCHRONOUS), Rgb(0.f)));
    EXPECT_TRUE(isPicturePlus(bench.pull(u"Unlisted", PullFlag::SYNCHRONOUS), Rgb(0.f)));
    EXPECT_EQ(bench.effectRuns, 0);
    // Flag 128 switches the bloom off, flag 256 the glare.
    ASSERT_TRUE(bench.pull(u"Sky", PullFlag::SYNCHRONOUS));
    EXPECT_EQ(bench.lastParams.bloomIntensity, 0.f);
    EXPECT_EQ(bench.lastParams.glareIntensity, 1.f);
    bench.settings.set(PropertyId::BLOOM_INTENSITY, 3.f);
    ASSERT_TRUE(bench.pull(u"Lamp", PullFlag::SYNCHRONOUS));
    EXPECT_EQ(bench.lastParams.bloomIntensity, 3.f);
    EXPECT_EQ(bench.lastParams.glareIntensity, 1.f);
}

TEST(BloomGlareOperator, TheThresholdFollowsTheExposure) {
    EffectBench bench;
    bench.settings.set(PropertyId::BLOOM_GLARE_THRESHOLD, 3.f);
    bench.settings.set(PropertyId::GLARE_ROTATION, 25.f);
    ASSERT_TRUE(bench.runOn(u"").finished);
    const float neutral = bench.lastParams.threshold;
    // At the defaults the colour mapping's linear stage has a gain of 1.
    EXPECT_NEAR(neutral, 3.f, 1e-4f);
    EXPECT_EQ(bench.lastParams.rotation, -25.f);
    // One stop brighter halves the threshold on the data, two more quarter it again.
    bench.settings.set(PropertyId::SIMPLE_EXPOSURE, 1.f);
    ASSERT_TRUE(bench.runOn(u"").finished);
    EXPECT_FLOAT_EQ(bench.lastParams.threshold, neutral / 2.f);
    bench.settings.set(PropertyId::SIMPLE_EXPOSURE, 3.f);
    ASSERT_TRUE(bench.runOn(u"").finished);
    EXPECT_FLOAT_EQ(bench.lastParams.threshold, neutral / 8.f);
}

TEST(BloomGlareOperator, ASynchronousPullComputesSilentlyOnTheCallersThread) {
    EffectBench bench;
    bool called = false;
    bench.bloomGlare.onStarted = [&](const String&) { called = true; };
    bench.bloomGlare.onFinished = [&](const String&) { called = true; };
    EXPECT_TRUE(isPicturePlus(bench.pull(u"", PullFlag::SYNCHRONOUS), ADDED_LIGHT));
    EXPECT_EQ(bench.effectThread, std::this_thread::get_id());
    EXPECT_FALSE(called);
    EXPECT_EQ(bench.effectRuns, 1);
    // The cache serves the next pull; the pseudo-element is the beauty with the light of the
    // beauty.
    EXPECT_TRUE(isPicturePlus(bench.pull(u"", PullFlag::SYNCHRONOUS), ADDED_LIGHT));
    EXPECT_EQ(bench.effectRuns, 1);
    EXPECT_TRUE(isPicturePlus(bench.pull(BLOOM_GLARE_INTERACTIVE_NAME, PullFlag::SYNCHRONOUS), ADDED_LIGHT));
    EXPECT_EQ(bench.effectRuns, 2);
}

TEST(BloomGlareOperator, TheDisplayGetsTheLightFromTheWorker) {
    EffectBench bench;
    // The first display pull finds no light: it shows the picture and starts a run.
    RunReport report;
    report = runToEnd(bench.bloomGlare,
                      [&] { EXPECT_TRUE(isPicturePlus(bench.pull(u"Lamp", PullFlag::DISPLAY), Rgb(0.f))); });
    EXPECT_TRUE(report.finished);
    EXPECT_NE(bench.effectThread, std::this_thread::get_id());
    EXPECT_TRUE(isPicturePlus(bench.pull(u"Lamp", PullFlag::DISPLAY), ADDED_LIGHT));
    // Another element does not get the light of this one.
    EXPECT_TRUE(isPicturePlus(bench.pull(u"Unlisted", PullFlag::DISPLAY), Rgb(0.f)));
    EXPECT_GT(bench.bloomGlare.getTimestamp(), NO_TIMESTAMP);

    // Switching the effect off drops the light and asks for a repaint.
    bench.settings.set(PropertyId::BLOOM_GLARE_ENABLED, false);
    EXPECT_TRUE(bench.runOn(u"Lamp").finished);
    const int runs = bench.effectRuns;
    EXPECT_TRUE(isPicturePlus(bench.pull(u"Lamp", PullFlag::SYNCHRONOUS), Rgb(0.f)));
    EXPECT_TRUE(isPicturePlus(bench.pull(BLOOM_GLARE_INTERACTIVE_NAME, PullFlag::SYNCHRONOUS), Rgb(0.f)));
    // So does a run with both intensities at 0.
    bench.settings.set(PropertyId::BLOOM_GLARE_ENABLED, true);
    ASSERT_TRUE(bench.pull(u"Lamp", PullFlag::SYNCHRONOUS));
    bench.settings.set(PropertyId::BLOOM_INTENSITY, 0.f);
    bench.settings.set(PropertyId::GLARE_INTENSITY, 0.f);
    EXPECT_TRUE(bench.runOn(u"Lamp").finished);
    EXPECT_TRUE(isPicturePlus(bench.pull(u"Lamp", PullFlag::SYNCHRONOUS), Rgb(0.f)));
    EXPECT_EQ(bench.effectRuns, runs + 1);
}

TEST(BloomGlareOperator, AFailingEffectReportsItsErrorAndGivesNoLight) {
    EffectBench bench;
    BloomGlareOperator failing([](Flags<ImageOperatorsFlag>, ColorBitmap&,
                                  const PostProcessData::BloomGlare&) { throw Exception(u"out of light"); });
    failing.upstream = {&bench.lightMix};
    failing.settings = &bench.settings;
    failing.imageInfo = &bench.load;
    const RunReport report = runToEnd(failing, [&] { failing.setSourceElement(u""); });
    EXPECT_EQ(report.error, u"out of light");
    EXPECT_FALSE(pullColorBitmap(&failing, u"", FRAME, 1.f, PullFlag::SYNCHRONOUS).has_value());
}
