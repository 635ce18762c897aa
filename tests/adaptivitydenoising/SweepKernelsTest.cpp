// The wide kernels of the filters must give the very numbers of the four-lane helpers, whichever
// vector width the processor picks, and the tiled filters must agree with the plain formulas
// on images wider and taller than one tile.

#include <bit>
#include <random>

#include <gtest/gtest.h>

#include "misc/adaptivitydenoising/NlmFilters.h"
#include "misc/adaptivitydenoising/utils/ImageOps.h"
#include "misc/adaptivitydenoising/utils/PixelMath.h"
#include "misc/adaptivitydenoising/utils/SweepKernels.h"
#include "tests/adaptivitydenoising/ReferenceFilters.h"
#include "tests/adaptivitydenoising/TestImages.h"

namespace Vespra {
namespace {

using namespace Detail;

/// Random floats, some of them zero, so that 0/0 distances come up.
std::vector<float> randomFloats(std::size_t count, float scale, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> unit(0.f, 1.f);
    std::vector<float> values(count);
    for (float& value : values) {
        value = unit(random) < 0.1f ? 0.f : scale * unit(random);
    }
    return values;
}

void expectSameBits(const float* a, const float* b, int count) {
    for (int i = 0; i < count; ++i) {
        ASSERT_EQ(std::bit_cast<std::uint32_t>(a[i]), std::bit_cast<std::uint32_t>(b[i])) << "at " << i;
    }
}

TEST(SweepKernels, WideKernelsGiveTheNumbersOfTheFourLaneHelpers) {
    // 37 pixels, so that every vector width leaves a remainder.
    constexpr int PIXELS = 37;
    constexpr int FLOATS = 4 * PIXELS;
    const std::vector<float> a = randomFloats(FLOATS, 2.f, 1), b = randomFloats(FLOATS, 2.f, 2);
    const std::vector<float> va = randomFloats(FLOATS, 0.01f, 3), vb = randomFloats(FLOATS, 30.f, 4);
    std::vector<float> distances(FLOATS), expected(FLOATS);
    Sweep::pairDistances(distances.data(), a.data(), b.data(), va.data(), vb.data(), FLOATS, 2.f, 0.f);
    for (std::size_t i = 0; i < std::size_t(FLOATS); ++i) {
        expected[i] = Reference::pairDistance(a[i], b[i], va[i], vb[i], 2.f, 0.f);
    }
    expectSameBits(distances.data(), expected.data(), FLOATS);

    std::vector<float> sums(PIXELS), expectedSums(PIXELS);
    Sweep::colourSums(sums.data(), distances.data(), PIXELS);
    for (int x = 0; x < PIXELS; ++x) {
        expectedSums[std::size_t(x)] =
            sumOfColours(Float4::loadUnaligned(&distances[4 * std::size_t(x)])).x();
    }
    expectSameBits(sums.data(), expectedSums.data(), PIXELS);

    // Weights over the whole range of the exponential, its clamps included.
    std::vector<float> exponents(FLOATS);
    for (int i = 0; i < FLOATS; ++i) {
        exponents[std::size_t(i)] = -120.f + 1.7f * float(i) + (i % 3 == 0 ? 0.5f / 1.442695f : 0.f);
    }
    std::vector<float> weights(FLOATS, 1.f), values(FLOATS, 2.f);
    std::vector<float> expectedWeights = weights, expectedValues = values;
    Sweep::addLaneWeights(weights.data(), values.data(), exponents.data(), a.data(), 0.75f, FLOATS);
    for (int i = 0; i < FLOATS; i += 4) {
        const Float4 w = negativeExp(Float4::loadUnaligned(&exponents[i]) * Float4(0.75f));
        (Float4::loadUnaligned(&expectedWeights[i]) + w).storeUnaligned(&expectedWeights[i]);
        (Float4::loadUnaligned(&expectedValues[i]) + w * Float4::loadUnaligned(&a[i]))
            .storeUnaligned(&expectedValues[i]);
    }
    expectSameBits(weights.data(), expectedWeights.data(), FLOATS);
    expectSameBits(values.data(), expectedValues.data(), FLOATS);
    EXPECT_EQ(negativeExpLane(0.f), 1.f);
    EXPECT_EQ(negativeExpLane(200.f), 0.f);
}

TEST(SweepKernels, RangeSumsAddTheTermsInOrder) {
    constexpr int FLOATS = 45;
    constexpr int STEP = 50;
    const std::vector<float> in = randomFloats(std::size_t(FLOATS + 12 * STEP), 1.f, 5);
    // 1 to 7 terms have their own loops, 8 and more a run per term.
    for (const int terms : {1, 2, 5, 7, 9}) {
        for (const bool accumulate : {false, true}) {
            SCOPED_TRACE(testing::Message() << terms << " terms, accumulate " << accumulate);
            std::vector<float> out(FLOATS, 0.25f), expected(FLOATS);
            Sweep::addRange(out.data(), in.data(), STEP, 2, 1 + terms, FLOATS, accumulate);
            for (int i = 0; i < FLOATS; ++i) {
                float sum = accumulate ? 0.25f : 0.f;
                for (int k = 2; k <= 1 + terms; ++k) {
                    sum += in[std::size_t(i + k * STEP)];
                }
                expected[std::size_t(i)] = sum;
            }
            expectSameBits(out.data(), expected.data(), FLOATS);
        }
    }
}

/// Two tiles and a part across, three bands down: the search windows and the sums cross the
/// edges of tiles and bands, which the one-tile images of the other tests never do.
TEST(SweepKernels, TiledFiltersMatchThePlainFormulasAcrossTiles) {
    constexpr int WIDTH = 2 * TILE_WIDTH + 9;
    constexpr int HEIGHT = 2 * BAND_ROWS + 5;
    Scheduler& scheduler = Scheduler::highPriorityInstance();
    DenoiseContext context(scheduler);
    Testing::NoisyRender render = Testing::makeNoisyRender(WIDTH, HEIGHT, 8, 0.15f, 11);
    BitmapImpl<Rgb> colour = render.colour;
    BitmapImpl<Rgb> variance = render.squared;
    Utils::squaredToClampedVariance(scheduler, variance, colour, render.passes);

    std::vector<Feature> features(2);
    std::mt19937 random(12);
    std::uniform_real_distribution<float> unit(0.f, 1.f);
    for (std::size_t f = 0; f < features.size(); ++f) {
        Feature& feature = features[f];
        feature.mean.resize(WIDTH, HEIGHT);
        feature.variance.resize(WIDTH, HEIGHT);
        feature.gradient.resize(WIDTH, HEIGHT);
        for (int y = 0; y < HEIGHT; ++y) {
            for (int x = 0; x < WIDTH; ++x) {
                const float edge = x > 2 * y + int(f) * 30 ? 0.3f : 0.f;
                feature.mean(x, y) = Rgb(edge + 0.1f * unit(random), 0.1f * unit(random), 0.2f * unit(random),
                                         0.1f * unit(random));
                feature.variance(x, y) = Rgb(0.001f * unit(random), 0.002f * unit(random),
                                             0.001f * unit(random), 0.0005f * unit(random));
                feature.gradient(x, y) = Rgb(0.02f * unit(random), 0.01f * unit(random), 0.03f * unit(random),
                                             0.01f * unit(random));
            }
        }
        feature.config.invK2 = Float4(2.f, 1.f, 0.5f, 3.f);
        feature.config.minGradient = Float4(0.004f, 0.002f, 0.003f, 0.0001f);
        feature.config.varianceScale = Float4(1.f, 0.5f, 1.f, 0.01f);
        feature.config.flags = FeatureConfig::IN_WEIGHTS;
    }

    NlmInputs inputs;
    inputs.colour = &colour;
    inputs.variance = &variance;
    inputs.alpha = 2.f;
    inputs.features = ArrayView<const Feature>(features.data(), features.size());
    const Float4 factors(1.f / 0.16f, 1.f / 0.49f, 1.f / 2.25f, 0.f);
    BitmapImpl<TripleWeight> triple(WIDTH, HEIGHT), expected;
    BitmapImpl<float> weightSum(WIDTH, HEIGHT), expectedWeightSum;
    ASSERT_TRUE(
        runOutOfPlace(context, NlmTriFilter<5, 7>(inputs, colour, factors, weightSum.data()), triple.data()));
    Reference::triFilter(colour, variance, Reference::NlmSettings{19, 7, 2.f, 0.f, features, 1.f, 1.f}, 5,
                         Reference::Px{factors[0], factors[1], factors[2], 0.f}, expected, expectedWeightSum);
    float largest = 0.f;
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) {
            for (auto field : {&TripleWeight::value0, &TripleWeight::value1, &TripleWeight::value2}) {
                for (int l = 0; l < 4; ++l) {
                    const float reference = (expected(x, y).*field)[l];
                    largest = std::max(largest, std::abs((triple(x, y).*field)[l] - reference) /
                                                    (1.f + std::abs(reference)));
                }
            }
        }
    }
    EXPECT_LT(largest, 2e-5f);

    // Feature prefiltering in place: the lane-wise kernel over rows that later bands still read.
    NlmInputs selfInputs;
    BitmapImpl<Rgb> inPlace = colour;
    selfInputs.colour = &inPlace;
    selfInputs.variance = &variance;
    selfInputs.epsilon = 1e-6f;
    selfInputs.colourFactor = 11.111111f;
    ASSERT_TRUE(runInPlace(context, NlmVectorFilter<11, 5>(selfInputs, inPlace), inPlace));
    const BitmapImpl<Rgb> reference = Reference::nlm(
        colour, colour, variance, Reference::NlmSettings{11, 5, 1.f, 1e-6f, {}, 1.f, 11.111111f}, true);
    float largestLaneWise = 0.f;
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) {
            for (int l = 0; l < 4; ++l) {
                largestLaneWise = std::max(largestLaneWise, std::abs(inPlace(x, y)[l] - reference(x, y)[l]) /
                                                                (1.f + std::abs(reference(x, y)[l])));
            }
        }
    }
    EXPECT_LT(largestLaneWise, 2e-5f);
}

} // namespace
} // namespace Vespra
