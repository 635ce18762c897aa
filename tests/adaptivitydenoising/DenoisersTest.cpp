#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <random>
#include <vector>

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

/// Elements of one render for `filterElements`, loaded from copies of `renders`.
std::vector<DenoiseElement> elementsOf(const std::vector<Testing::NoisyRender>& renders,
                                       const std::vector<ElementType>& types, std::vector<int>& loads) {
    std::vector<DenoiseElement> elements;
    for (std::size_t i = 0; i < renders.size(); ++i) {
        elements.push_back({[&renders, &loads, i](BitmapImpl<Rgb>& image, BitmapImpl<Rgb>& squared) {
                                ++loads[i];
                                image = renders[i].colour;
                                squared = renders[i].squared;
                            },
                            types[i]});
    }
    return elements;
}

TEST(NlmDenoiserTest, ElementsFilteredTogetherGetThePixelsOfEachFilteredAlone) {
    // Four elements of one render: the same features and passes, each its own picture and noise.
    // Wider than a tile and taller than a batch of in-place rows of two workers, so that the
    // shared sweep crosses tiles, bands and batches. The last element is one whose albedo
    // does not guide it, which goes into a group of its own.
    constexpr int WIDTH = 61;
    constexpr int HEIGHT = 270;
    ASSERT_GE(NlmDenoiser::groupSize(std::size_t(WIDTH) * HEIGHT), 3);
    std::vector<Testing::NoisyRender> renders;
    for (unsigned seed = 31; seed < 35; ++seed) {
        renders.push_back(Testing::makeNoisyRender(WIDTH, HEIGHT, 8, 0.1f * float(seed - 29), seed));
        // Each element its own brightness, and a few black pixels, which no filter touches.
        for (Rgb& pixel : renders.back().colour.view()) {
            pixel = Rgb(pixel.r * 0.5f * float(seed - 30), pixel.g, pixel.b, pixel.a);
        }
        renders.back().colour(3 + int(seed), 7) = Rgb(0.f, 0.f, 0.f, 0.f);
    }
    const std::vector<ElementType> types = {{}, {}, {}, {1017, 1}};
    DenoisingData data = makeData(renders[0], true);
    NlmDenoiser alone(scheduler(), std::move(data));
    std::vector<BitmapImpl<Rgb>> expected;
    for (std::size_t i = 0; i < renders.size(); ++i) {
        Optional<BitmapImpl<Rgb>> result = runFilter(
            alone, renders[i], [](float) { return false; }, types[i]);
        ASSERT_TRUE(result.has_value());
        expected.push_back(std::move(*result));
    }
    // The filtered elements differ from one another and from their input.
    EXPECT_NE(expected[0], expected[1]);
    EXPECT_NE(expected[0], renders[0].colour);

    NlmDenoiser together(scheduler(), makeData(renders[0], true));
    std::vector<int> loads(renders.size(), 0);
    const std::vector<DenoiseElement> elements = elementsOf(renders, types, loads);
    std::vector<Optional<BitmapImpl<Rgb>>> results(renders.size());
    std::mutex mutex;
    std::vector<float> reports;
    together.filterElements(
        elements,
        [&](float t) {
            std::lock_guard lock(mutex);
            reports.push_back(t);
            return false;
        },
        [&](std::size_t index, BitmapImpl<Rgb>&& result) {
            ASSERT_FALSE(results[index].has_value());
            results[index] = std::move(result);
        });
    for (std::size_t i = 0; i < renders.size(); ++i) {
        EXPECT_EQ(loads[i], 1) << i;
        ASSERT_TRUE(results[i].has_value()) << i;
        // Bit for bit: memcmp, as == of floats would take -0 for 0.
        ASSERT_EQ(std::memcmp(results[i]->data(), expected[i].data(), expected[i].view().size_bytes()), 0)
            << i;
    }
    ASSERT_FALSE(reports.empty());
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
    EXPECT_NEAR(reports.back(), 0.94f, 1e-4f);
}

TEST(NlmDenoiserTest, AStopDuringElementsFilteredTogetherStoresNoneOfThem) {
    std::vector<Testing::NoisyRender> renders;
    for (unsigned seed = 41; seed < 44; ++seed) {
        renders.push_back(Testing::makeNoisyRender(40, 30, 8, 0.2f, seed));
    }
    NlmDenoiser denoiser(scheduler(), makeData(renders[0], true));
    std::vector<int> loads(renders.size(), 0);
    const std::vector<DenoiseElement> elements = elementsOf(renders, {{}, {}, {}}, loads);
    int stored = 0;
    denoiser.filterElements(
        elements, [](float t) { return t > 0.1f; }, [&](std::size_t, BitmapImpl<Rgb>&&) { ++stored; });
    EXPECT_EQ(stored, 0);
    // And the denoiser is ready for another run.
    denoiser.filterElements(
        elements, [](float) { return false; }, [&](std::size_t, BitmapImpl<Rgb>&&) { ++stored; });
    EXPECT_EQ(stored, 3);
}

TEST(NlmDenoiserTest, ObjectIdentifiersKeepTwoTouchingObjectsOfOneColourAndNormalApart) {
    // Two objects side by side, of one albedo and one orientation, meet at x = 32; a shadow
    // ends at that edge, so the left one is lit a little more. The colour alone cannot tell the
    // sides apart under this noise: only the object identifier in the fourth lane of the normals
    // can.
    constexpr int WIDTH = 64;
    constexpr int HEIGHT = 40;
    constexpr int EDGE = 32;
    constexpr float LIT = 0.3f;
    constexpr float SHADED = 0.2f;
    constexpr int PASSES = 8;
    std::mt19937 random(51);
    std::normal_distribution<float> noise(0.f, 0.3f);
    Testing::NoisyRender render{BitmapImpl<Rgb>(WIDTH, HEIGHT), BitmapImpl<Rgb>(WIDTH, HEIGHT),
                                BitmapImpl<Rgb>(WIDTH, HEIGHT),
                                BitmapImpl<float>(WIDTH, HEIGHT, float(PASSES))};
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) {
            const float clean = x < EDGE ? LIT : SHADED;
            Rgb sum(0.f, 0.f, 0.f, 0.f), squares(0.f, 0.f, 0.f, 0.f);
            for (int s = 0; s < PASSES; ++s) {
                // Not clamped at 0, so that the clean value stays the expectation of the mean.
                const float sample = clean + noise(random);
                for (int c = 0; c < 3; ++c) {
                    sum[c] += sample;
                    squares[c] += sample * sample;
                }
            }
            render.clean(x, y) = Rgb(clean, clean, clean, 1.f);
            render.colour(x, y) = Rgb(sum.r / PASSES, sum.g / PASSES, sum.b / PASSES, 1.f);
            render.squared(x, y) = Rgb(squares.r / PASSES, squares.g / PASSES, squares.b / PASSES, 1.f);
        }
    }
    const auto denoise = [&](bool withIdentifiers) {
        DenoisingData data;
        data.passes = render.passes;
        const auto constant = [&](auto&& value) {
            FeatureBuffers buffers{BitmapImpl<Rgb>(WIDTH, HEIGHT), BitmapImpl<Rgb>(WIDTH, HEIGHT)};
            for (int y = 0; y < HEIGHT; ++y) {
                for (int x = 0; x < WIDTH; ++x) {
                    const Rgb v = value(x);
                    buffers.mean(x, y) = v;
                    buffers.squared(x, y) = Rgb(v.r * v.r, v.g * v.g, v.b * v.b, v.a * v.a);
                }
            }
            return buffers;
        };
        data.setFeature(FeatureType::VISIBLE_DIFFUSE,
                        constant([](int) { return Rgb(0.5f, 0.5f, 0.5f, 0.f); }));
        data.setFeature(FeatureType::VISIBLE_NORMALS, constant([&](int x) {
                            const float id = withIdentifiers ? (x < EDGE ? 7.f : 8.f) / 32.f : 0.f;
                            return Rgb(0.f, 0.f, 1.f, id);
                        }));
        data.setFeature(FeatureType::HYBRID, constant([](int) { return Rgb(0.4f, 0.4f, 0.4f, 0.f); }));
        NlmDenoiser denoiser(scheduler(), std::move(data));
        return runFilter(denoiser, render);
    };
    // The mean of the two columns beside the edge on each side, over the rows, against the
    // clean values: a smear pulls them towards the middle, 0.25.
    const auto bias = [&](const BitmapImpl<Rgb>& image) {
        double lit = 0.0, shaded = 0.0;
        for (int y = 0; y < HEIGHT; ++y) {
            for (int x : {EDGE - 2, EDGE - 1}) {
                lit += image(x, y).g;
            }
            for (int x : {EDGE, EDGE + 1}) {
                shaded += image(x, y).g;
            }
        }
        return std::pair{lit / (2.0 * HEIGHT) - LIT, shaded / (2.0 * HEIGHT) - SHADED};
    };
    const Optional<BitmapImpl<Rgb>> apart = denoise(true);
    const Optional<BitmapImpl<Rgb>> alike = denoise(false);
    ASSERT_TRUE(apart && alike);
    // The noise of one pixel's mean is 0.3 / sqrt(8), about 0.11; averaged over 80 pixels and
    // smoothed, what is left of it is far below the 0.02 allowed here.
    const auto [litApart, shadedApart] = bias(*apart);
    EXPECT_LT(std::abs(litApart), 0.02) << litApart;
    EXPECT_LT(std::abs(shadedApart), 0.02) << shadedApart;
    // Without the identifiers the two sides borrow from each other across the edge.
    const auto [litAlike, shadedAlike] = bias(*alike);
    EXPECT_LT(litAlike, -0.02) << litAlike;
    EXPECT_GT(shadedAlike, 0.02) << shadedAlike;
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
