#include <gtest/gtest.h>

#include <mutex>

#include "misc/adaptivitydenoising/HotPixelsDenoiser.h"
#include "misc/adaptivitydenoising/NlmDenoiser.h"
#include "tests/adaptivitydenoising/TestImages.h"

namespace Vespra {
namespace {

Scheduler& scheduler() {
    return Scheduler::highPriorityInstance();
}

DenoisingData makeData(const Testing::NoisyRender& render, bool withHair) {
    DenoisingData data;
    data.passes = render.passes;
    Testing::addFeatures(data, render.colour.width(), render.colour.height(), withHair);
    return data;
}

double meanSquaredError(const BitmapImpl<Rgb>& image, const BitmapImpl<Rgb>& clean) {
    double sum = 0.0;
    for (int y = 0; y < clean.height(); ++y) {
        for (int x = 0; x < clean.width(); ++x) {
            for (int c = 0; c < 3; ++c) {
                sum += (image(x, y)[c] - clean(x, y)[c]) * (image(x, y)[c] - clean(x, y)[c]);
            }
        }
    }
    return sum / (3.0 * clean.width() * clean.height());
}

Optional<BitmapImpl<Rgb>> runFilter(
    IDenoiser& denoiser, const Testing::NoisyRender& render,
    Function<bool(float)> progress = [](float) { return false; }, ElementType type = {}) {
    Optional<BitmapImpl<Rgb>> result;
    BitmapImpl<Rgb> colour = render.colour, squared = render.squared;
    denoiser.filter(result, std::move(colour), std::move(squared), type, std::move(progress));
    return result;
}

TEST(NlmDenoiserTest, RemovesNoiseAndIgnoresTextureBlur) {
    const Testing::NoisyRender render = Testing::makeNoisyRender(64, 48, 8, 0.2f, 3);
    Optional<BitmapImpl<Rgb>> first, second;
    for (const float textureBlur : {1.f, 37.f}) {
        DenoisingData data = makeData(render, true);
        data.textureBlur = textureBlur;
        NlmDenoiser denoiser(scheduler(), std::move(data));
        (textureBlur == 1.f ? first : second) = runFilter(denoiser, render);
    }
    ASSERT_TRUE(first.has_value());
    ASSERT_TRUE(second.has_value());
    EXPECT_EQ(*first, *second);
    const double before = meanSquaredError(render.colour, render.clean);
    const double after = meanSquaredError(*first, render.clean);
    EXPECT_LT(after, 0.5 * before) << before << " " << after;
}

TEST(NlmDenoiserTest, ZeroVarianceOrMissingHairLeavesTheImageAlone) {
    Testing::NoisyRender render = Testing::makeNoisyRender(40, 30, 8, 0.2f, 4);
    // Squared equal to mean² everywhere: no variance at all.
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 40; ++x) {
            const Rgb c = render.colour(x, y);
            render.squared(x, y) = Rgb(c.r * c.r, c.g * c.g, c.b * c.b, 1.f);
        }
    }
    NlmDenoiser denoiser(scheduler(), makeData(render, false));
    EXPECT_EQ(denoiser.getFeatures().size(), 3u);
    const Optional<BitmapImpl<Rgb>> result = runFilter(denoiser, render);
    ASSERT_TRUE(result.has_value());
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 40; ++x) {
            for (int c = 0; c < 3; ++c) {
                ASSERT_NEAR((*result)(x, y)[c], render.colour(x, y)[c], 1e-5f * render.colour(x, y)[c]);
            }
        }
    }
}

TEST(NlmDenoiserTest, SensitivityScalesTheFeatureTolerances) {
    const Testing::NoisyRender render = Testing::makeNoisyRender(24, 20, 8, 0.2f, 5);
    DenoisingData data = makeData(render, true);
    data.sensitivity = 2.f;
    const NlmDenoiser denoiser(scheduler(), std::move(data));
    const ArrayView<const Feature> features = denoiser.getPreparedFeatures();
    ASSERT_EQ(features.size(), 4u);
    EXPECT_EQ(features[0].config.type, FeatureType::VISIBLE_DIFFUSE);
    EXPECT_FLOAT_EQ(features[0].config.invK2[0], 100.f / 4.f);
    EXPECT_FLOAT_EQ(features[0].config.varianceScale[0], 2.f);
    EXPECT_FLOAT_EQ(features[1].config.minGradient[3], 0.00001f);
    // Normalised to [0, 1] per lane; lane 3 cleared except for the normals.
    for (const Feature& feature : features) {
        float low = 1.f, high = 0.f;
        for (const Rgb& pixel : feature.mean.view()) {
            low = std::min(low, pixel.r);
            high = std::max(high, pixel.r);
        }
        EXPECT_GE(low, 0.f);
        EXPECT_LE(high, 1.f + 1e-6f);
        EXPECT_EQ(feature.mean(5, 5).a == 0.f, feature.config.type != FeatureType::VISIBLE_NORMALS);
    }
}

TEST(NlmDenoiserTest, ProgressRisesAndACancelEndsEarlyWithNoResult) {
    const Testing::NoisyRender render = Testing::makeNoisyRender(48, 160, 8, 0.2f, 6);
    NlmDenoiser denoiser(scheduler(), makeData(render, true));
    std::mutex mutex;
    std::vector<float> reports;
    const Optional<BitmapImpl<Rgb>> done = runFilter(denoiser, render, [&](float t) {
        std::lock_guard lock(mutex);
        reports.push_back(t);
        return false;
    });
    ASSERT_TRUE(done.has_value());
    ASSERT_FALSE(reports.empty());
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
    // The steps of both levels add up to 0.94; the caller reports the end itself.
    EXPECT_NEAR(reports.back(), 0.94f, 1e-4f);
    EXPECT_GT(reports.front(), 0.f);

    // Stop during the three-way filter: no later report may come from beyond one batch of rows.
    std::vector<float> cancelled;
    const Optional<BitmapImpl<Rgb>> stopped = runFilter(denoiser, render, [&](float t) {
        std::lock_guard lock(mutex);
        cancelled.push_back(t);
        return t > 0.2f;
    });
    EXPECT_FALSE(stopped.has_value());
    const auto first = std::find_if(cancelled.begin(), cancelled.end(), [](float t) { return t > 0.2f; });
    ASSERT_NE(first, cancelled.end());
    EXPECT_LE(cancelled.end() - first, 3);
    EXPECT_LT(cancelled.back(), 0.67f);
}

TEST(HotPixelsDenoiserTest, ReplacesOnlyFireflies) {
    constexpr int SIZE = 9;
    Testing::NoisyRender render{BitmapImpl<Rgb>(), BitmapImpl<Rgb>(SIZE, SIZE, Rgb(1.f)),
                                BitmapImpl<Rgb>(SIZE, SIZE, Rgb(1.0001f)),
                                BitmapImpl<float>(SIZE, SIZE, 4.f)};
    // One of four samples was 4000: mean 1000, mean of squares 4e6.
    render.colour(4, 4) = Rgb(1000.f);
    render.squared(4, 4) = Rgb(4000000.f);
    render.colour(7, 1) = Rgb(0.99f);
    DenoisingData data;
    data.passes = render.passes;
    HotPixelsDenoiser denoiser(scheduler(), std::move(data));
    int reports = 0;
    const Optional<BitmapImpl<Rgb>> result = runFilter(denoiser, render, [&](float t) {
        ++reports;
        EXPECT_EQ(t, 0.f);
        return false;
    });
    ASSERT_TRUE(result.has_value());
    EXPECT_GT(reports, 0);
    for (int y = 0; y < SIZE; ++y) {
        for (int x = 0; x < SIZE; ++x) {
            if (x != 4 || y != 4) {
                ASSERT_EQ((*result)(x, y), render.colour(x, y)) << x << " " << y;
            }
        }
    }
    EXPECT_EQ((*result)(4, 4), Rgb(1.f));

    // Black stays black; a lone pixel has nothing to compare with; a stop leaves no result.
    Testing::NoisyRender black{BitmapImpl<Rgb>(), BitmapImpl<Rgb>(SIZE, SIZE, Rgb(0.f, 0.f, 0.f, 0.f)),
                               BitmapImpl<Rgb>(SIZE, SIZE, Rgb(0.f, 0.f, 0.f, 0.f)), render.passes};
    EXPECT_EQ(*runFilter(denoiser, black), black.colour);
    Testing::NoisyRender lone{BitmapImpl<Rgb>(), BitmapImpl<Rgb>(1, 1, Rgb(500.f)),
                              BitmapImpl<Rgb>(1, 1, Rgb(1e6f)), BitmapImpl<float>(1, 1, 4.f)};
    DenoisingData loneData;
    loneData.passes = lone.passes;
    HotPixelsDenoiser loneDenoiser(scheduler(), std::move(loneData));
    EXPECT_EQ(*runFilter(loneDenoiser, lone), lone.colour);
    EXPECT_FALSE(runFilter(denoiser, render, [](float) { return true; }).has_value());
}

} // namespace
} // namespace Vespra
