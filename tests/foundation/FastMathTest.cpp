#include <cmath>
#include <functional>
#include <iostream>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/FastMath.h"

using namespace Vespra;

namespace {

constexpr float INF = std::numeric_limits<float>::infinity();
constexpr float NAN_F = std::numeric_limits<float>::quiet_NaN();

std::vector<float> linearGrid(float low, float high, int count) {
    std::vector<float> values;
    for (int i = 0; i < count; ++i) {
        values.push_back(float(low + (double(high) - low) * i / (count - 1)));
    }
    return values;
}

std::vector<float> logGrid(float low, float high, int count) {
    std::vector<float> values;
    for (int i = 0; i < count; ++i) {
        values.push_back(float(low * std::pow(double(high) / low, double(i) / (count - 1))));
    }
    return values;
}

/// Worst error of `fast` against the double-precision `exact` over `inputs`, relative to the
/// exact value or absolute. Prints it, so that the bounds below can be kept just above it.
double worstError(const char* name, const std::vector<float>& inputs,
                  const std::function<Float4(Float4)>& fast, const std::function<double(double)>& exact,
                  bool relative) {
    double worst = 0.0;
    float worstAt = 0.f;
    for (std::size_t i = 0; i + 4 <= inputs.size(); i += 4) {
        const Float4 result = fast(Float4::loadUnaligned(&inputs[i]));
        for (int lane = 0; lane < 4; ++lane) {
            const double expected = exact(inputs[i + lane]);
            const double error = std::abs(result[lane] - expected) / (relative ? std::abs(expected) : 1.0);
            if (!(error <= worst)) {
                worst = error;
                worstAt = inputs[i + lane];
            }
        }
    }
    std::cout << name << ": worst " << (relative ? "relative" : "absolute") << " error " << worst << " at "
              << worstAt << std::endl;
    return worst;
}

float lane0(Float4 value) {
    return value.x();
}

} // namespace

TEST(FastMath, Exp2MatchesStdOverTheNormalRangeAndHandlesEdges) {
    const auto inputs = linearGrid(-126.f, 127.f, 2'000'000);
    EXPECT_LT(worstError(
                  "exp2Approx", inputs, [](Float4 x) { return exp2Approx(x); },
                  [](double x) { return std::exp2(x); }, true),
              2.5e-7);
    EXPECT_EQ(exp2Approx(0.f), 1.f);
    EXPECT_EQ(exp2Approx(-140.f), std::ldexp(1.f, -140)); // denormal result
    EXPECT_EQ(exp2Approx(128.f), INF);
    EXPECT_EQ(exp2Approx(1e6f), INF);
    EXPECT_EQ(exp2Approx(INF), INF);
    EXPECT_EQ(exp2Approx(-151.f), 0.f);
    EXPECT_EQ(exp2Approx(-INF), 0.f);
    EXPECT_TRUE(std::isnan(exp2Approx(NAN_F)));
}

TEST(FastMath, Log2MatchesStdAndHandlesEdges) {
    const auto inputs = logGrid(1e-37f, 1e37f, 2'000'000);
    EXPECT_LT(worstError(
                  "log2Approx", inputs, [](Float4 x) { return log2Approx(x); },
                  [](double x) { return std::log2(x); }, false),
              5e-6);
    // Near 1 the result is small, so the error must be small relative to it too.
    const auto nearOne = linearGrid(0.5f, 2.f, 200'000);
    EXPECT_LT(worstError(
                  "log2Approx near 1", nearOne, [](Float4 x) { return log2Approx(x); },
                  [](double x) { return std::log2(x); }, false),
              2e-7);
    EXPECT_EQ(log2Approx(1.f), 0.f);
    EXPECT_NEAR(log2Approx(std::ldexp(1.f, -140)), -140.f, 1e-5f);
    EXPECT_NEAR(log2Approx(3.f * std::ldexp(1.f, -148)), -148.f + std::log2(3.f), 1e-5f);
    EXPECT_EQ(log2Approx(0.f), -INF);
    EXPECT_EQ(log2Approx(INF), INF);
    EXPECT_TRUE(std::isnan(log2Approx(-1.f)));
    EXPECT_TRUE(std::isnan(log2Approx(NAN_F)));
}

TEST(FastMath, PowMatchesStdOnDisplayRangesAndHandlesEdges) {
    const auto bases = logGrid(1e-6f, 1e4f, 2000);
    const auto exponents = logGrid(0.05f, 10.f, 500);
    double worst = 0.0;
    for (float y : exponents) {
        for (std::size_t i = 0; i < bases.size(); i += 4) {
            const Float4 result = powApprox(Float4::loadUnaligned(&bases[i]), Float4(y));
            for (int lane = 0; lane < 4; ++lane) {
                const double expected = std::pow(double(bases[i + lane]), double(y));
                // Results outside the normal float range have no relative precision to speak of.
                if (expected >= FLT_MIN && expected <= FLT_MAX) {
                    worst = std::max(worst, std::abs(result[lane] - expected) / expected);
                }
            }
        }
    }
    std::cout << "powApprox: worst relative error " << worst << std::endl;
    EXPECT_LT(worst, 1e-5);
    // The display gamma on a few exact values.
    EXPECT_NEAR(powApprox(0.5f, 1.f / 2.2f), 0.7297400f, 1e-6f);
    EXPECT_EQ(powApprox(0.f, 2.f), 0.f);
    EXPECT_EQ(powApprox(-2.f, 2.f), 0.f);
    EXPECT_EQ(powApprox(0.f, -1.f), INF);
    EXPECT_EQ(powApprox(0.f, 0.f), 1.f);
    EXPECT_EQ(powApprox(-3.f, 0.f), 1.f);
    EXPECT_EQ(powApprox(NAN_F, 0.f), 1.f);
    EXPECT_EQ(powApprox(1.f, 7.f), 1.f);
    EXPECT_TRUE(std::isnan(powApprox(NAN_F, 2.f)));
    EXPECT_TRUE(std::isnan(powApprox(2.f, NAN_F)));
}

TEST(FastMath, ReciprocalAndRsqrtAreRefinedEstimates) {
    const auto inputs = logGrid(1e-30f, 1e30f, 1'000'000);
    EXPECT_LT(worstError(
                  "fastReciprocal", inputs, [](Float4 x) { return fastReciprocal(x); },
                  [](double x) { return 1.0 / x; }, true),
              4e-7);
    EXPECT_LT(worstError(
                  "fastRsqrt", inputs, [](Float4 x) { return fastRsqrt(x); },
                  [](double x) { return 1.0 / std::sqrt(x); }, true),
              4e-7);
    const Float4 edges(0.f, INF, -4.f, NAN_F);
    const Float4 reciprocal = fastReciprocal(edges);
    EXPECT_EQ(reciprocal[0], INF);
    EXPECT_EQ(reciprocal[1], 0.f);
    EXPECT_NEAR(reciprocal[2], -0.25f, 1e-7f);
    EXPECT_TRUE(std::isnan(reciprocal[3]));
    const Float4 rsqrt = fastRsqrt(edges);
    EXPECT_EQ(rsqrt[0], INF);
    EXPECT_EQ(rsqrt[1], 0.f);
    EXPECT_TRUE(std::isnan(rsqrt[2]));
    EXPECT_TRUE(std::isnan(rsqrt[3]));
}

TEST(FastMath, ExpAndLogMatchStd) {
    EXPECT_LT(worstError(
                  "exp", linearGrid(-87.f, 88.f, 1'000'000), [](Float4 x) { return Vespra::exp(x); },
                  [](double x) { return std::exp(x); }, true),
              2.5e-7);
    EXPECT_LT(worstError(
                  "log", logGrid(1e-37f, 1e37f, 1'000'000), [](Float4 x) { return Vespra::log(x); },
                  [](double x) { return std::log(x); }, false),
              1e-5);
    EXPECT_LT(worstError(
                  "log near 1", linearGrid(0.5f, 2.f, 200'000), [](Float4 x) { return Vespra::log(x); },
                  [](double x) { return std::log(x); }, false),
              1.5e-7);
    EXPECT_EQ(lane0(Vespra::exp(Float4(0.f))), 1.f);
    EXPECT_EQ(lane0(Vespra::exp(Float4(100.f))), INF);
    EXPECT_EQ(lane0(Vespra::exp(Float4(-200.f))), 0.f);
    EXPECT_EQ(lane0(Vespra::log(Float4(0.f))), -INF);
    EXPECT_TRUE(std::isnan(lane0(Vespra::log(Float4(-1.f)))));
}

TEST(FastMath, TrigonometryMatchesStd) {
    const auto angles = linearGrid(-100.f, 100.f, 2'000'000);
    EXPECT_LT(worstError(
                  "sincos (sin)", angles,
                  [](Float4 x) {
                      Float4 s, c;
                      sincos(x, s, c);
                      return s;
                  },
                  [](double x) { return std::sin(x); }, false),
              2e-7);
    EXPECT_LT(worstError(
                  "cos", angles, [](Float4 x) { return Vespra::cos(x); },
                  [](double x) { return std::cos(x); }, false),
              2e-7);
    EXPECT_LT(worstError(
                  "acos", linearGrid(-1.f, 1.f, 1'000'000), [](Float4 x) { return Vespra::acos(x); },
                  [](double x) { return std::acos(x); }, false),
              5e-7);
    auto atanInputs = linearGrid(-10.f, 10.f, 1'000'000);
    for (float x : logGrid(1e-6f, 1e6f, 100'000)) {
        atanInputs.push_back(x);
        atanInputs.push_back(-x);
    }
    EXPECT_LT(worstError(
                  "atan", atanInputs, [](Float4 x) { return Vespra::atan(x); },
                  [](double x) { return std::atan(x); }, false),
              3e-7);
    EXPECT_TRUE(std::isnan(lane0(Vespra::acos(Float4(1.5f)))));
    EXPECT_NEAR(lane0(Vespra::atan(Float4(-INF))), -std::numbers::pi_v<float> / 2.f, 1e-7f);
}
