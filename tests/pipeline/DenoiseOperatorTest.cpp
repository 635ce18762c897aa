#include <cmath>
#include <cstdint>
#include <mutex>

#include <gtest/gtest.h>

#include "base/image/ElementNames.h"
#include "base/pipeline/OperatorGraph.h"
#include "imaging/GpuLibraries.h"
#include "misc/adaptivitydenoising/NlmDenoiser.h"
#include "settings/PropertyIds.h"
#include "tests/pipeline/PipelineTestSupport.h"

using namespace Vespra;
using namespace Vespra::Pipeline;
using namespace Vespra::Pipeline::Testing;

namespace {

constexpr float PASSES = 8.f;
/// The spread of the noise of one sample; the stored mean has `NOISE / sqrt(PASSES)`.
constexpr float NOISE = 0.3f;

/// Two flat levels in blocks, which the features outline.
float cleanValue(int x, int y, int c) {
    return (x / 8 + y / 6) % 2 ? 0.8f + 0.05f * float(c) : 0.3f + 0.05f * float(c);
}

/// A fixed pseudo-random number in [-1, 1) per pixel, channel and element.
float pseudoRandom(int x, int y, int c, std::uint32_t salt) {
    std::uint32_t h =
        std::uint32_t(x) * 73856093u ^ std::uint32_t(y) * 19349663u ^ std::uint32_t(c) * 83492791u ^ salt;
    h ^= h >> 13;
    h *= 0x5bd1e995u;
    h ^= h >> 15;
    return float(h & 0xffffu) / 32768.f - 1.f;
}

struct ImageOptions {
    int width = 32;
    int height = 24;
    float passes = PASSES;
    bool normals = true;
    bool hairIds = false;
    bool optixNormals = false;
};

/// A noisy render of the blocks: the beauty (with alpha) and the light layer "Key light" with
/// their squared elements, the gathered features, the passes, and "Albedo" with no squared
/// element.
ChannelImage noisyRender(const ImageOptions& options) {
    const Bucket frame = Bucket::fromSize(options.width, options.height);
    ChannelImage image(frame, frame, 1.f);
    const float meanNoise = NOISE / std::sqrt(options.passes);
    std::uint32_t salt = 1;
    const auto addNoisy = [&](const String& name, float scale) {
        const std::uint32_t own = salt++;
        const auto noisy = [=](int x, int y, int c) {
            return scale * cleanValue(x, y, c) + meanNoise * pseudoRandom(x, y, c, own);
        };
        addColorElement(image, name, noisy);
        addColorElement(image, squaredName(name), [=](int x, int y, int c) {
            return noisy(x, y, c) * noisy(x, y, c) + NOISE * NOISE / 3.f;
        });
    };
    const auto addFeature = [&](const String& name, auto value) {
        addColorElement(image, name, value);
        addColorElement(image, squaredName(name),
                        [=](int x, int y, int c) { return value(x, y, c) * value(x, y, c); });
    };
    addNoisy(u"", 1.f);
    addMonoChannel(image, u"A", [](int, int) { return 1.f; });
    addNoisy(u"Key light", 0.5f);
    addColorElement(image, u"Albedo", [](int x, int y, int c) { return cleanValue(x, y, c); });
    addFeature(VISIBLE_DIFFUSE_NAME, [](int x, int y, int c) { return 0.9f * cleanValue(x, y, c); });
    addFeature(HYBRID_NAME, [](int x, int y, int c) { return cleanValue(x, y, c) > 0.5f ? 0.7f : 0.2f; });
    if (options.normals) {
        addFeature(VISIBLE_NORMALS_NAME,
                   [](int x, int y, int c) { return cleanValue(x, y, 0) > 0.5f ? 1.f : float(c); });
    }
    if (options.hairIds) {
        // Without its squared element: the feature is left out, not a failure.
        addColorElement(image, HAIR_IDS_NAME, [](int, int, int) { return 0.f; });
    }
    if (options.optixNormals) {
        addColorElement(image, OPTIX_NORMALS_NAME, [](int, int, int c) { return float(c); });
    }
    addMonoChannel(image, FB_WEIGHTS_NAME, [&](int, int) { return options.passes; });
    return image;
}

/// Mean squared difference of the colour lanes from the clean picture of the blocks.
double errorOf(const ColorBitmap& pixels, float scale) {
    double sum = 0.0;
    for (int y = 0; y < pixels.height(); ++y) {
        for (int x = 0; x < pixels.width(); ++x) {
            for (int c = 0; c < 3; ++c) {
                const double d = pixels(x, y)[c] - scale * cleanValue(x, y, c);
                sum += d * d;
            }
        }
    }
    return sum / (3.0 * double(pixels.width()) * double(pixels.height()));
}

struct DenoisingGraph {
    Settings settings;
    OperatorGraph graph{settings};
    Bucket frame;

    explicit DenoisingGraph(const ImageOptions& options = {})
        : frame(Bucket::fromSize(options.width, options.height)) {
        graph.load.setLoader(memoryLoader({{u"render", noisyRender(options)}}));
        const RunReport report =
            runToEnd(graph.load, [this] { graph.load.setInput({}, Array<Io::Path>{Io::Path(u"render")}); });
        EXPECT_TRUE(report.finished) << report.error;
    }

    RunReport denoise(DenoisingMode mode) {
        settings.set(PropertyId::DENOISE_FILTER_TYPE, std::int32_t(mode));
        return runToEnd(graph.denoise, [this] { graph.denoise.start(); });
    }

    Optional<ColorBitmap> pull(IOperator& op, const String& name) {
        return pullColorBitmap(&op, name, frame, 1.f, PullFlag::SYNCHRONOUS);
    }
};

Stack<String> namesOf(ArrayView<const ElementInfo> elements) {
    Stack<String> names;
    for (const ElementInfo& element : elements) {
        names.push(element.name);
    }
    return names;
}

/// Serves upstream's image with a time stamp that a test moves.
struct MovableTimestamp : DependentMixin<1, IOperator> {
    Timestamp shift = 0;

    Timestamp getTimestamp() const override { return upstream[0]->getTimestamp() + shift; }
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override {
        return pullColorBitmap(upstream[0], name, region, zoom, flags);
    }
};

} // namespace

TEST(DenoiseOperator, ElementListsAndModesFollowTheImage) {
    DenoisingGraph full;
    DenoiseOperator& denoise = full.graph.denoise;
    EXPECT_EQ(namesOf(denoise.getDenoisableElements({})), (Stack<String>{u"", u"Key light"}));
    EXPECT_EQ(namesOf(denoise.getDenoisableElements([](const ElementInfo& e) { return !e.name.isEmpty(); })),
              (Stack<String>{u"Key light"}));
    EXPECT_EQ(namesOf(denoise.getNonDenoisableElements({})), (Stack<String>{u"Albedo"}));
    EXPECT_EQ(denoise.getAvailableModes(),
              (Stack<DenoisingMode>{DenoisingMode::FULL, DenoisingMode::FIREFLIES}));
    // Nothing is denoised yet: the operator lists the selected elements without the has-denoised bit.
    for (const ElementInfo& element : denoise.getElements()) {
        EXPECT_EQ(element.flags & ElementInfo::HAS_DENOISED, 0u) << element.name.toUtf8();
    }

    DenoisingGraph withoutNormals(ImageOptions{.normals = false, .optixNormals = true});
    // The GPU mode needs its runtime besides its features; this machine may have neither.
    Stack<DenoisingMode> expected{DenoisingMode::FIREFLIES};
    if (isGpuDenoiserAvailable()) {
        expected.push(DenoisingMode::NVIDIA_AI);
    }
    EXPECT_EQ(withoutNormals.graph.denoise.getAvailableModes(), expected);
}

TEST(DenoiseOperator, FullRunStoresLessNoisyElementsWithRisingProgress) {
    DenoisingGraph loaded(ImageOptions{.hairIds = true});
    std::mutex progressLock;
    Stack<float> progress;
    loaded.graph.denoise.onProgress = [&](float value) {
        std::lock_guard lock(progressLock);
        progress.push(value);
    };
    const RunReport report = loaded.denoise(DenoisingMode::FULL);
    ASSERT_TRUE(report.finished) << report.error;

    ASSERT_GE(progress.size(), 4u);
    EXPECT_EQ(progress[0], 0.f);
    EXPECT_EQ(progress[progress.size() - 1], 1.f);
    EXPECT_TRUE(std::ranges::is_sorted(progress));
    // Each of the two elements reports its own half.
    EXPECT_TRUE(std::ranges::any_of(progress, [](float p) { return p > 0.1f && p < 0.5f; }));
    EXPECT_TRUE(std::ranges::any_of(progress, [](float p) { return p > 0.6f && p < 1.f; }));

    for (const auto& [name, scale] : {std::pair<String, float>{u"", 1.f}, {u"Key light", 0.5f}}) {
        ASSERT_TRUE(loaded.graph.denoise.holdsElement(name));
        const Optional<ColorBitmap> noisy = loaded.pull(loaded.graph.load, name);
        const Optional<ColorBitmap> denoised = loaded.pull(loaded.graph.denoise, name);
        ASSERT_TRUE(noisy && denoised);
        EXPECT_LT(errorOf(*denoised, scale), errorOf(*noisy, scale) / 3.0) << name.toUtf8();
    }
    for (const ElementInfo& element : loaded.graph.blendDenoised.getElements()) {
        const bool denoised = element.name.isEmpty() || element.name == u"Key light";
        EXPECT_EQ(bool(element.flags & ElementInfo::HAS_DENOISED), denoised) << element.name.toUtf8();
    }
    EXPECT_FALSE(loaded.pull(loaded.graph.denoise, u"DenoisedKey light"));
}

TEST(DenoiseOperator, HandsTheImageAndSettingsToTheDenoiser) {
    // The operator's result equals a denoiser built here from the image's own buffers.
    const ImageOptions options;
    DenoisingGraph loaded(options);
    loaded.settings.set(PropertyId::DENOISE_SENSITIVITY, 2.5f);
    ASSERT_TRUE(loaded.denoise(DenoisingMode::FULL).finished);

    const ChannelImage image = noisyRender(options);
    const auto bitmap = [&](const String& name) { return image.getRgbBitmap(name, loaded.frame, 1.f); };
    DenoisingData data;
    data.passes = image.getMonoBitmap(FB_WEIGHTS_NAME, loaded.frame, 1.f);
    data.sensitivity = 2.5f;
    for (const FeatureType type :
         {FeatureType::VISIBLE_DIFFUSE, FeatureType::VISIBLE_NORMALS, FeatureType::HYBRID}) {
        const String name = getFeatureElementName(type);
        data.setFeature(type, FeatureBuffers{bitmap(name), bitmap(squaredName(name))});
    }
    NlmDenoiser denoiser(Scheduler::highPriorityInstance(), std::move(data));
    Optional<BitmapImpl<Rgb>> expected;
    denoiser.filter(expected, bitmap(u"Key light"), bitmap(u"SqrKey light"), ElementType{},
                    [](float) { return false; });
    ASSERT_TRUE(expected);
    EXPECT_EQ(loaded.pull(loaded.graph.denoise, u"Key light").value(), *expected);
}

TEST(DenoiseOperator, FailuresHaveTheirTexts) {
    const String prefix = u"Denoising has failed. ";
    DenoisingGraph loaded;
    EXPECT_EQ(loaded.denoise(DenoisingMode::NONE).error,
              prefix + u"Denoising is not enabled. You have to select the denoise mode first.");
    EXPECT_EQ(loaded.denoise(DenoisingMode::GATHER).error,
              prefix + u"Denoising is not enabled. You have to select the denoise mode first.");

    loaded.graph.load.setElementFlag(ElementInfo::SELECTED_FOR_DENOISING, {});
    EXPECT_EQ(loaded.denoise(DenoisingMode::FIREFLIES).error,
              prefix +
                  u"There are not selected any denoisable render elements to be denoised. You need to select "
                  u"some first.");

    // The firefly filter would work on one pass, but no mode runs on a preview.
    DenoisingGraph onePass(ImageOptions{.passes = 1.f});
    EXPECT_EQ(onePass.denoise(DenoisingMode::FIREFLIES).error,
              prefix + u"No part of the image has been rendered with at least 2 passes.");

    DenoisingGraph withoutNormals(ImageOptions{.normals = false, .optixNormals = true});
    EXPECT_EQ(withoutNormals.denoise(DenoisingMode::FULL).error,
              prefix + u"The image is missing \"VisibleNormals\" render element.");
    if (!isGpuDenoiserAvailable()) {
        EXPECT_EQ(withoutNormals.denoise(DenoisingMode::NVIDIA_AI).error,
                  prefix + checkGpuDenoiserLibraries().error());
    }
    EXPECT_TRUE(withoutNormals.denoise(DenoisingMode::FIREFLIES).finished);
}

TEST(DenoiseOperator, CancelEndsTheRunAndLeavesNoResult) {
    DenoisingGraph loaded(ImageOptions{.width = 96, .height = 64});
    std::mutex progressLock;
    int reportsAfterCancel = -1;
    float last = 0.f;
    loaded.graph.denoise.onProgress = [&](float value) {
        std::lock_guard lock(progressLock);
        last = value;
        if (reportsAfterCancel >= 0) {
            ++reportsAfterCancel;
        } else if (value > 0.f) {
            loaded.graph.denoise.cancel();
            reportsAfterCancel = 0;
        }
    };
    const RunReport report = loaded.denoise(DenoisingMode::FULL);
    EXPECT_TRUE(report.finished) << report.error;
    // Rows already running when the stop was asked for still end, and a row on each of the two
    // reporting threads (the pool's first worker and the caller) may report once more; each
    // element after that stops at its first report. An uncancelled run reports hundreds of times.
    constexpr int REPORTING_THREADS = 2;
    constexpr int ELEMENTS = 2;
    EXPECT_LE(reportsAfterCancel, REPORTING_THREADS * ELEMENTS + 1);
    EXPECT_EQ(last, 1.f);
    EXPECT_FALSE(loaded.graph.denoise.holdsElement(u""));
    EXPECT_FALSE(loaded.graph.denoise.holdsElement(u"Key light"));
    EXPECT_FALSE(loaded.pull(loaded.graph.denoise, u""));

    // A new start is not cancelled by the old request.
    loaded.graph.denoise.onProgress = {};
    EXPECT_TRUE(loaded.denoise(DenoisingMode::FIREFLIES).finished);
    EXPECT_TRUE(loaded.graph.denoise.holdsElement(u"Key light"));
}

TEST(DenoiseOperator, StoreGoesStaleWhenUpstreamChanges) {
    DenoisingGraph loaded;
    MovableTimestamp source;
    source.upstream = {&loaded.graph.load};
    DenoiseOperator denoise;
    denoise.settings = &loaded.settings;
    denoise.upstream = {&source};
    loaded.settings.set(PropertyId::DENOISE_FILTER_TYPE, std::int32_t(DenoisingMode::FIREFLIES));
    ASSERT_TRUE(runToEnd(denoise, [&] { denoise.start(); }).finished);
    ASSERT_TRUE(denoise.holdsElement(u""));

    // Time stamps count seconds: the same stamp keeps the store.
    EXPECT_TRUE(denoise.getColorBitmap(u"", loaded.frame, 1.f, 0));
    source.shift = 1;
    EXPECT_FALSE(denoise.getColorBitmap(u"", loaded.frame, 1.f, 0));
    EXPECT_FALSE(denoise.holdsElement(u""));
    // Still stale when the stamp moves back: the store has gone.
    source.shift = 0;
    EXPECT_FALSE(denoise.holdsElement(u""));
}

TEST(BlendDenoised, AmountsAndNonFinitePixels) {
    ColorBitmap original(3, 1, Rgb(1.f, 2.f, 3.f, 0.5f));
    ColorBitmap denoised(3, 1, Rgb(3.f, 6.f, 11.f, 0.25f));
    denoised(1, 0).g = std::nanf("");
    denoised(2, 0).b = -INFINITY;

    ColorBitmap none = original;
    blendDenoised(none, denoised, 0.f);
    EXPECT_EQ(none, original);

    ColorBitmap all = original;
    blendDenoised(all, denoised, 1.f);
    EXPECT_EQ(all(0, 0), Rgb(3.f, 6.f, 11.f, 0.5f));
    EXPECT_EQ(all(1, 0), original(1, 0));
    EXPECT_EQ(all(2, 0), original(2, 0));

    ColorBitmap quarter = original;
    blendDenoised(quarter, denoised, 0.25f);
    EXPECT_EQ(quarter(0, 0), Rgb(1.5f, 3.f, 5.f, 0.5f));
    EXPECT_EQ(quarter(1, 0), original(1, 0));
}

TEST(BlendDenoised, MixesTheStoredOrTheCarriedDenoisedElement) {
    DenoisingGraph loaded;
    // Before a run the blend passes the original, whatever the amount.
    loaded.settings.set(PropertyId::DENOISE_BLEND_AMOUNT, 1.f);
    EXPECT_EQ(loaded.pull(loaded.graph.blendDenoised, u"Key light").value(),
              loaded.pull(loaded.graph.load, u"Key light").value());

    ASSERT_TRUE(loaded.denoise(DenoisingMode::FULL).finished);
    const ColorBitmap original = *loaded.pull(loaded.graph.load, u"");
    const ColorBitmap denoised = *loaded.pull(loaded.graph.denoise, u"");
    ASSERT_NE(original, denoised);
    ColorBitmap expected = denoised;
    for (int x = 0; x < expected.width(); ++x) {
        for (int y = 0; y < expected.height(); ++y) {
            expected(x, y).a = original(x, y).a;
        }
    }
    EXPECT_EQ(loaded.pull(loaded.graph.blendDenoised, u"").value(), expected);
    loaded.settings.set(PropertyId::DENOISE_BLEND_AMOUNT, 0.f);
    EXPECT_EQ(loaded.pull(loaded.graph.blendDenoised, u"").value(), original);

    // A file that carries a denoised element of its own is blended without a run.
    ChannelImage carrying = noisyRender({});
    addColorElement(carrying, u"DenoisedKey light", [](int, int, int) { return 2.f; });
    DenoisingGraph fromFile;
    fromFile.graph.load.setLoader(memoryLoader({{u"carrying", carrying}}));
    ASSERT_TRUE(runToEnd(fromFile.graph.load, [&] {
                    fromFile.graph.load.setInput({}, Array<Io::Path>{Io::Path(u"carrying")});
                }).finished);
    fromFile.settings.set(PropertyId::DENOISE_BLEND_AMOUNT, 0.5f);
    const ColorBitmap noisy = *fromFile.pull(fromFile.graph.load, u"Key light");
    const ColorBitmap blended = *fromFile.pull(fromFile.graph.blendDenoised, u"Key light");
    EXPECT_FLOAT_EQ(blended(3, 2).g, 0.5f * 2.f + 0.5f * noisy(3, 2).g);
    EXPECT_FALSE(fromFile.pull(fromFile.graph.denoise, u"DenoisedKey light"));
}
