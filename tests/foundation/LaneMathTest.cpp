// The lane forms of the four-lane functions give the same bits, which the exact flavour of the
// colour mapping relies on.

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "foundation/FastMath.h"
#include "foundation/LaneMath.h"

using namespace Vespra;

namespace {

/// Edge cases, then values spread over the whole float range in both signs.
std::vector<float> testInputs() {
    constexpr float INF = std::numeric_limits<float>::infinity();
    std::vector<float> inputs = {
        0.f,    -0.f,   1.f,       -1.f,   INF,          -INF,   std::numeric_limits<float>::quiet_NaN(),
        1e-45f, 1e-40f, 1.17e-38f, 88.9f,  89.f,         -104.f, -103.99f,
        0.5f,   2.f,    1e30f,     -1e30f, 0.693359375f, 126.5f};
    std::mt19937 random(3);
    std::uniform_int_distribution<std::uint32_t> bits;
    std::uniform_real_distribution<float> moderate(-120.f, 100.f);
    for (int i = 0; i < 20000; ++i) {
        inputs.push_back(std::bit_cast<float>(bits(random)));
        inputs.push_back(moderate(random));
    }
    return inputs;
}

void expectSameBits(float (*lane)(float), Float4 (*quad)(Float4), const char* name) {
    for (const float x : testInputs()) {
        const float expected = quad(Float4(x)).x();
        const float actual = lane(x);
        if (std::isnan(expected)) {
            EXPECT_TRUE(std::isnan(actual)) << name << "(" << x << ")";
        } else {
            ASSERT_EQ(std::bit_cast<std::uint32_t>(actual), std::bit_cast<std::uint32_t>(expected))
                << name << "(" << x << ") = " << actual << ", four lanes give " << expected;
        }
    }
}

} // namespace

TEST(LaneMath, ExponentialAndLogarithmMatchTheFourLaneForms) {
    expectSameBits(
        Detail::laneExp, [](Float4 x) { return exp(x); }, "exp");
    expectSameBits(
        Detail::laneLog, [](Float4 x) { return log(x); }, "log");
    expectSameBits(
        Detail::laneExp2Approx, [](Float4 x) { return exp2Approx(x); }, "exp2Approx");
}

TEST(LaneMath, MinimumMaximumAndRounding) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // As minps and maxps: the second operand when either is NaN.
    EXPECT_EQ(Detail::laneMin(nan, 2.f), 2.f);
    EXPECT_TRUE(std::isnan(Detail::laneMin(2.f, nan)));
    EXPECT_EQ(Detail::laneMax(nan, -3.f), -3.f);
    EXPECT_EQ(Detail::laneMax(-0.f, 0.f), 0.f);
    EXPECT_FALSE(std::signbit(Detail::laneMax(-0.f, 0.f)));
    // Ties go to even.
    EXPECT_EQ(Detail::laneRoundToNearest(2.5f), 2.f);
    EXPECT_EQ(Detail::laneRoundToNearest(-3.5f), -4.f);
    EXPECT_EQ(Detail::laneRoundToNearest(126.49f), 126.f);
    EXPECT_EQ(Detail::lanePow2(-126), std::ldexp(1.f, -126));
    EXPECT_EQ(Detail::laneScaleByPow2(1.5f, -140.f), std::ldexp(1.5f, -140));
    EXPECT_EQ(Detail::laneSelect(true, 1.f, 2.f), 1.f);
}
