#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "misc/adaptivitydenoising/NlmFilters.h"
#include "misc/adaptivitydenoising/utils/ImageOps.h"
#include "tests/adaptivitydenoising/ReferenceFilters.h"
#include "tests/adaptivitydenoising/TestImages.h"

namespace Vespra {
namespace {

constexpr int WIDTH = 24;
constexpr int HEIGHT = 20;

/// Largest |fast - reference| / (1 + |reference|) over all lanes of all pixels.
float largestError(const BitmapImpl<Rgb>& fast, const BitmapImpl<Rgb>& reference) {
    EXPECT_EQ(fast.size(), reference.size());
    float largest = 0.f;
    for (int y = 0; y < reference.height(); ++y) {
        for (int x = 0; x < reference.width(); ++x) {
            for (int l = 0; l < 4; ++l) {
                const float error =
                    std::abs(fast(x, y)[l] - reference(x, y)[l]) / (1.f + std::abs(reference(x, y)[l]));
                largest = std::isnan(error) ? INFINITY : std::max(largest, error);
            }
        }
    }
    return largest;
}

BitmapImpl<Rgb> member(const BitmapImpl<TripleWeight>& triple, Rgb TripleWeight::*field) {
    BitmapImpl<Rgb> out(triple.width(), triple.height());
    for (int y = 0; y < triple.height(); ++y) {
        for (int x = 0; x < triple.width(); ++x) {
            out(x, y) = triple(x, y).*field;
        }
    }
    return out;
}

class NlmFiltersTest : public testing::Test {
protected:
    void SetUp() override {
        Testing::NoisyRender render = Testing::makeNoisyRender(WIDTH, HEIGHT, 8, 0.15f, 7);
        colour = render.colour;
        variance = render.squared;
        Utils::squaredToClampedVariance(scheduler, variance, colour, render.passes);
        // Another image to average, so that the weights and the averaged values are told apart.
        other = Testing::makeNoisyRender(WIDTH, HEIGHT, 2, 0.3f, 8).colour;
        std::mt19937 random(9);
        std::uniform_real_distribution<float> unit(0.f, 1.f);
        for (int f = 0; f < 3; ++f) {
            Feature feature;
            feature.mean.resize(WIDTH, HEIGHT);
            feature.variance.resize(WIDTH, HEIGHT);
            feature.gradient.resize(WIDTH, HEIGHT);
            for (int y = 0; y < HEIGHT; ++y) {
                for (int x = 0; x < WIDTH; ++x) {
                    const float edge = x > y + f ? 0.3f : 0.f;
                    feature.mean(x, y) = Rgb(edge + 0.1f * unit(random), 0.5f + 0.1f * unit(random),
                                             0.2f * unit(random), 0.1f * unit(random));
                    feature.variance(x, y) = Rgb(0.001f * unit(random), 0.001f * unit(random),
                                                 0.002f * unit(random), 0.0005f * unit(random));
                    feature.gradient(x, y) = Rgb(0.02f * unit(random), 0.01f * unit(random),
                                                 0.03f * unit(random), 0.01f * unit(random));
                }
            }
            feature.config.invK2 = Float4(2.f, 1.f, 0.5f, 3.f);
            feature.config.minGradient = Float4(0.004f, 0.002f, 0.003f, 0.0001f);
            feature.config.varianceScale = Float4(1.f, 0.5f, 1.f, 0.01f);
            // The third feature stays out of the weights; its numbers would dominate them.
            feature.config.flags = f < 2 ? std::uint32_t(FeatureConfig::IN_WEIGHTS) : 0u;
            if (f == 2) {
                feature.config.invK2 = Float4(1e6f);
            }
            features.push_back(std::move(feature));
        }
    }

    NlmInputs inputs(float alpha, float epsilon, bool withFeatures, float gradientScale, float colourFactor) {
        NlmInputs in;
        in.colour = &colour;
        in.variance = &variance;
        in.alpha = alpha;
        in.epsilon = epsilon;
        if (withFeatures) {
            in.features = ArrayView<const Feature>(features.data(), features.size());
        }
        in.gradientScale = gradientScale;
        in.colourFactor = colourFactor;
        return in;
    }

    Reference::NlmSettings settings(int support, int patch, float alpha, float epsilon, bool withFeatures,
                                    float gradientScale, float colourFactor) {
        Reference::NlmSettings s{support, patch, alpha, epsilon, {}, gradientScale, colourFactor};
        if (withFeatures) {
            s.features = features;
        }
        return s;
    }

    Scheduler& scheduler = Scheduler::highPriorityInstance();
    DenoiseContext context{scheduler};
    BitmapImpl<Rgb> colour, variance, other;
    std::vector<Feature> features;
};

TEST_F(NlmFiltersTest, ScalarAndLaneWiseFiltersMatchThePlainFormulas) {
    // Second pass: features, alpha 0, epsilon 0; in place it must equal out of place.
    {
        const NlmFilter<7, 3> filter(inputs(0.f, 0.f, true, 1.f, 1.3f), colour);
        BitmapImpl<Rgb> out(WIDTH, HEIGHT);
        ASSERT_TRUE(runOutOfPlace(context, filter, out.data()));
        EXPECT_LT(largestError(out, Reference::nlm(colour, colour, variance,
                                                   settings(7, 3, 0.f, 0.f, true, 1.f, 1.3f), false)),
                  2e-5f);
        BitmapImpl<Rgb> inPlace = colour;
        const NlmFilter<7, 3> selfFilter(inputs(0.f, 0.f, true, 1.f, 1.3f), inPlace);
        NlmInputs selfInputs = inputs(0.f, 0.f, true, 1.f, 1.3f);
        selfInputs.colour = &inPlace;
        ASSERT_TRUE(runInPlace(context, NlmFilter<7, 3>(selfInputs, inPlace), inPlace));
        EXPECT_EQ(inPlace, out);
    }
    // Mask smoothing: another image is averaged, no features.
    {
        BitmapImpl<Rgb> out(WIDTH, HEIGHT);
        ASSERT_TRUE(
            runOutOfPlace(context, NlmFilter<9, 3>(inputs(1.f, 1e-6f, false, 1.f, 1.f), other), out.data()));
        EXPECT_LT(largestError(out, Reference::nlm(other, colour, variance,
                                                   settings(9, 3, 1.f, 1e-6f, false, 1.f, 1.f), false)),
                  2e-5f);
    }
    // Risk smoothing and feature prefiltering weigh each lane apart.
    {
        BitmapImpl<Rgb> out(WIDTH, HEIGHT);
        ASSERT_TRUE(runOutOfPlace(context, NlmVectorFilter<7, 3>(inputs(1.f, 1e-6f, false, 1.f, 1.f), other),
                                  out.data()));
        EXPECT_LT(largestError(out, Reference::nlm(other, colour, variance,
                                                   settings(7, 3, 1.f, 1e-6f, false, 1.f, 1.f), true)),
                  2e-5f);
        BitmapImpl<Rgb> inPlace = colour;
        NlmInputs selfInputs = inputs(1.f, 1e-6f, false, 1.f, 11.111111f);
        selfInputs.colour = &inPlace;
        ASSERT_TRUE(runInPlace(context, NlmVectorFilter<11, 5>(selfInputs, inPlace), inPlace));
        EXPECT_LT(
            largestError(inPlace, Reference::nlm(colour, colour, variance,
                                                 settings(11, 5, 1.f, 1e-6f, false, 1.f, 11.111111f), true)),
            2e-5f);
    }
}

TEST_F(NlmFiltersTest, ThreeWayFilterMatchesThePlainFormulasOnBothLevels) {
    const Float4 strengths(0.4f, 0.7f, 1.5f, 1.f);
    const Float4 factors = Float4(1.f) / (strengths * strengths) * Float4(1.f, 1.f, 1.f, 0.f);
    const Reference::Px referenceFactors{factors[0], factors[1], factors[2], 0.f};
    for (const int level : {2, 1}) {
        SCOPED_TRACE(level);
        const float gradientScale = level == 2 ? 1.f : 100.f;
        BitmapImpl<TripleWeight> triple(WIDTH, HEIGHT), expected;
        BitmapImpl<float> weightSum(WIDTH, HEIGHT), expectedWeightSum;
        const NlmInputs in = inputs(2.f, 0.f, true, gradientScale, 1.f);
        if (level == 2) {
            ASSERT_TRUE(runOutOfPlace(context, NlmTriFilter<5, 7>(in, colour, factors, weightSum.data()),
                                      triple.data()));
            Reference::triFilter(colour, variance, settings(19, 7, 2.f, 0.f, true, gradientScale, 1.f), 5,
                                 referenceFactors, expected, expectedWeightSum);
        } else {
            ASSERT_TRUE(runOutOfPlace(context, NlmTriFilter<1, 3>(in, colour, factors, weightSum.data()),
                                      triple.data()));
            Reference::triFilter(colour, variance, settings(19, 3, 2.f, 0.f, true, gradientScale, 1.f), 1,
                                 referenceFactors, expected, expectedWeightSum);
        }
        for (auto field : {&TripleWeight::value0, &TripleWeight::value1, &TripleWeight::value2}) {
            EXPECT_LT(largestError(member(triple, field), member(expected, field)), 2e-5f);
        }
        // Derivatives are a difference of two close averages divided by 1% of the pixel.
        for (auto field :
             {&TripleWeight::derivative0, &TripleWeight::derivative1, &TripleWeight::derivative2}) {
            EXPECT_LT(largestError(member(triple, field), member(expected, field)), 2e-3f);
        }
        for (int i = 0; i < WIDTH * HEIGHT; ++i) {
            ASSERT_NEAR(weightSum.data()[i], expectedWeightSum.data()[i],
                        1e-4f * expectedWeightSum.data()[i]);
        }
    }
}

TEST_F(NlmFiltersTest, OutlierRemovalsMatchThePlainFormulas) {
    BitmapImpl<Rgb> spotted = colour;
    for (const Pixel at : {Pixel{0, 0}, Pixel{5, 7}, Pixel{23, 10}, Pixel{12, 19}, Pixel{13, 19}}) {
        spotted(at.x, at.y) = Rgb(40.f, 30.f, 35.f, 1.f);
    }
    // The NLM outlier test, with features and a hair mask that protects one of the spots. The
    // spots are noisy, as fireflies are, and their variance spreads to the neighbours.
    {
        BitmapImpl<Rgb> spottedVariance = variance;
        for (const Pixel at : {Pixel{0, 0}, Pixel{5, 7}, Pixel{23, 10}, Pixel{12, 19}, Pixel{13, 19}}) {
            spottedVariance(at.x, at.y) = Rgb(500.f);
        }
        spottedVariance = Utils::blur3(scheduler, spottedVariance, 0.10651f, 0.78699f);
        NlmInputs in = inputs(1.f, 0.004f, true, 1.f, 2.0408163f);
        in.colour = &spotted;
        in.variance = &spottedVariance;
        Feature hair;
        hair.mean = BitmapImpl<Rgb>(WIDTH, HEIGHT, Rgb(0.f, 0.f, 0.f, 0.f));
        hair.mean(23, 10) = Rgb(1.f);
        BitmapImpl<Rgb> out(WIDTH, HEIGHT);
        ASSERT_TRUE(runOutOfPlace(context, NlmOutlierRemoval(in, spotted, 5.f, false, &hair), out.data()));
        Reference::NlmSettings s = settings(5, 3, 1.f, 0.004f, true, 1.f, 2.0408163f);
        const BitmapImpl<Rgb> expected =
            Reference::nlmOutlierRemoval(spotted, spottedVariance, s, 5.f, &hair);
        EXPECT_LT(largestError(out, expected), 2e-5f);
        EXPECT_EQ(out(23, 10), spotted(23, 10));
        EXPECT_NE(out(5, 7), spotted(5, 7));
        EXPECT_NE(out(0, 0), spotted(0, 0));
    }
    // The median test, out of place and in place, and marking.
    {
        BitmapImpl<Rgb> out;
        ASSERT_TRUE(Utils::outlierRemoval(context, spotted, out, 5.f, false));
        const BitmapImpl<Rgb> expected = Reference::outlierRemoval(spotted, 5.f, false);
        EXPECT_EQ(out, expected);
        EXPECT_NE(out(5, 7), spotted(5, 7));
        BitmapImpl<Rgb> inPlace = spotted;
        ASSERT_TRUE(Utils::outlierRemoval(context, inPlace, inPlace, 5.f, false));
        EXPECT_EQ(inPlace, expected);
        ASSERT_TRUE(Utils::outlierRemoval(context, spotted, out, 5.f, true));
        EXPECT_EQ(out, Reference::outlierRemoval(spotted, 5.f, true));
        EXPECT_EQ(out(5, 7), Rgb(100000000.f, 0.f, 0.f, 0.f));
    }
}

TEST(MedianTest, PixelsOfEqualBrightnessKeepTheOrderOfTheirPlaces) {
    // Most pixels are orderings of the same three colours, so their sums are equal and the sort
    // leaves them in the order of their places in the window: in a window of them alone the
    // median, one place above the middle, is the pixel right of the centre. A few darker,
    // brighter and much brighter pixels move it. A small gamma replaces most pixels by their
    // median, so that another order of equal pixels would show. Wide enough for runs of
    // neighbourhoods that are sorted together, and pixels after the last run.
    constexpr int WIDTH = 45;
    constexpr int HEIGHT = 5;
    constexpr float GAMMA = 0.05f;
    const Rgb orderings[] = {Rgb(0.25f, 0.5f, 1.f, 1.f), Rgb(1.f, 0.25f, 0.5f, 1.f),
                             Rgb(0.5f, 1.f, 0.25f, 1.f), Rgb(0.25f, 1.f, 0.5f, 1.f),
                             Rgb(1.f, 0.5f, 0.25f, 1.f), Rgb(0.5f, 0.25f, 1.f, 1.f)};
    BitmapImpl<Rgb> image(WIDTH, HEIGHT);
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) {
            const int hash = (x * 7 + y * 13) % 23;
            image(x, y) = hash == 3    ? Rgb(0.125f, 0.25f, 0.5f, 1.f)
                          : hash == 11 ? Rgb(1.f, 2.f, 4.f, 1.f)
                          : hash == 17 ? Rgb(40.f, 30.f, 50.f, 1.f)
                                       : orderings[(x * 5 + y * 3) % 6];
        }
    }
    // The plain rule with a stable sort by the sum over the colours.
    BitmapImpl<Rgb> expected = image;
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) {
            std::vector<Rgb> window;
            for (int qy = std::max(0, y - 1); qy <= std::min(HEIGHT - 1, y + 1); ++qy) {
                for (int qx = std::max(0, x - 1); qx <= std::min(WIDTH - 1, x + 1); ++qx) {
                    window.push_back(image(qx, qy));
                }
            }
            std::stable_sort(window.begin(), window.end(),
                             [](const Rgb& a, const Rgb& b) { return a.r + a.g + a.b < b.r + b.g + b.b; });
            const int n = int(window.size());
            const Rgb median = window[std::size_t(std::min(n - 1, n / 2 + 1))];
            const int k = std::max(n - 2, 2);
            bool keep = true;
            for (int l = 0; l < 3; ++l) {
                float spread = 0.f;
                for (int i = 0; i < k; ++i) {
                    spread +=
                        (window[std::size_t(i)][l] - median[l]) * (window[std::size_t(i)][l] - median[l]);
                }
                keep = keep && image(x, y)[l] - median[l] < 0.001f + GAMMA * (spread / float(k));
            }
            if (!keep) {
                expected(x, y) = median;
            }
        }
    }
    DenoiseContext context(Scheduler::highPriorityInstance());
    BitmapImpl<Rgb> out;
    ASSERT_TRUE(Utils::outlierRemoval(context, image, out, GAMMA, false));
    int replaced = 0;
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) {
            ASSERT_EQ(out(x, y), expected(x, y)) << x << ", " << y;
            replaced += out(x, y) != image(x, y);
        }
    }
    EXPECT_GT(replaced, WIDTH * HEIGHT / 3);
}

TEST_F(NlmFiltersTest, GradientAndScalingMatchThePlainFormulas) {
    BitmapImpl<Rgb> gradient;
    ASSERT_TRUE(Utils::gradient(context, colour, gradient));
    EXPECT_LT(largestError(gradient, Reference::gradient(colour)), 1e-6f);
    // An edge pixel copies the gradient of its inner neighbour.
    EXPECT_EQ(gradient(0, 5), gradient(1, 5));

    for (const bool forVariance : {false, true}) {
        const BitmapImpl<Rgb> half = Utils::downscale(scheduler, colour, forVariance);
        EXPECT_EQ(half.size(), (Pixel{12, 10}));
        EXPECT_LT(largestError(half, Reference::downscale(colour, forVariance)), 1e-6f);
    }
    const BitmapImpl<Rgb> odd =
        Utils::downscale(scheduler, Testing::makeNoisyRender(25, 21, 2, 0.1f, 3).colour);
    EXPECT_EQ(odd.size(), (Pixel{12, 10}));

    const BitmapImpl<Rgb> small = Utils::downscale(scheduler, colour);
    for (const Pixel size : {Pixel{24, 20}, Pixel{25, 21}}) {
        const BitmapImpl<Rgb> up = Utils::upscale(scheduler, small, size.x, size.y);
        EXPECT_LT(largestError(up, Reference::upscale(small, size.x, size.y)), 1e-6f);
        // Corners, not centres, are aligned.
        EXPECT_EQ(up(0, 0), small(0, 0));
    }
}

} // namespace
} // namespace Vespra
