#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Curve.h"
#include "foundation/CurveLanes.h"

using namespace Vespra;

namespace {

constexpr CurveInterpolation ALL_KINDS[] = {
    CurveInterpolation::CUBIC_SPLINES, CurveInterpolation::LINEAR_SPLINES, CurveInterpolation::UNIFORM_CUBIC,
    CurveInterpolation::CHORDAL_CUBIC};

Curve makeCurve(std::initializer_list<Vector2> nodes, CurveInterpolation kind) {
    return Curve(ArrayView<const Vector2>(nodes.begin(), nodes.size()), kind);
}

} // namespace

TEST(Curve, EmptySingleAndTwoNodeCurves) {
    for (CurveInterpolation kind : ALL_KINDS) {
        EXPECT_EQ(Curve({}, kind)(0.37f), 0.37f);
        EXPECT_EQ(makeCurve({{0.4f, 0.7f}}, kind)(-3.f), 0.7f);
        EXPECT_EQ(makeCurve({{0.4f, 0.7f}}, kind)(3.f), 0.7f);
        const Curve identity = makeCurve({{0.f, 0.f}, {1.f, 1.f}}, kind);
        for (float x : {-2.f, 0.f, 0.3f, 1.f, 5.f}) {
            EXPECT_FLOAT_EQ(identity(x), x);
        }
        // A line of slope 1/2 through (0.2, 0.3), also given in reverse order.
        const Curve line = makeCurve({{0.6f, 0.5f}, {0.2f, 0.3f}}, kind);
        EXPECT_FLOAT_EQ(line(-1.f), -0.3f);
        EXPECT_FLOAT_EQ(line(0.4f), 0.4f);
        EXPECT_FLOAT_EQ(line(2.f), 1.2f);
    }
    EXPECT_EQ(Curve()(0.25f), 0.25f);
}

TEST(Curve, ThreeNodesUseQuadraticsOnTheTangentOfTheMiddleNode) {
    // Nodes (0, 0), (0.5, 0.8), (1, 1): both segments have s = 1/2 and are end segments, so
    // with m the tangent of the middle node scaled by s:
    //   first:  q(t) = (1.6 - m) t + (m - 0.8) t^2, straight before 0 with slope 1.6 - m;
    //   second: q(t) = 0.8 + m t + (0.2 - m) t^2, straight after 1 with slope 0.4 - m.
    // Middle slopes: uniform (1 - 0) / (1 - 0) = 1; chordal, with chords 0.943398 and
    // 0.538516, 1.6 * 0.363387 + 0.4 * 0.636613 = 0.836071; centripetal, with their square
    // roots 0.971287 and 0.733837, 1.6 * 0.430372 + 0.4 * 0.569628 = 0.916446.
    struct Case {
        CurveInterpolation kind;
        float at025, at075, atMinus05, at15;
    };
    const Case cases[] = {
        {CurveInterpolation::LINEAR_SPLINES, 0.4f, 0.9f, -0.8f, 1.2f},
        {CurveInterpolation::UNIFORM_CUBIC, 0.475f, 0.975f, -1.1f, 0.9f},
        {CurveInterpolation::CHORDAL_CUBIC, 0.495491f, 0.954509f, -1.181965f, 0.981965f},
        {CurveInterpolation::CUBIC_SPLINES, 0.485444f, 0.964556f, -1.141777f, 0.941777f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(int(c.kind));
        const Curve curve = makeCurve({{0.5f, 0.8f}, {1.f, 1.f}, {0.f, 0.f}}, c.kind);
        EXPECT_NEAR(curve(0.25f), c.at025, 1e-6f);
        EXPECT_NEAR(curve(0.75f), c.at075, 1e-6f);
        EXPECT_NEAR(curve(-0.5f), c.atMinus05, 1e-6f);
        EXPECT_NEAR(curve(1.5f), c.at15, 1e-6f);
        EXPECT_FLOAT_EQ(curve(0.5f), 0.8f);
    }
}

TEST(Curve, InteriorSegmentsAreHermiteCubics) {
    // Uniform tangents (0.6 - 0) / 0.75 = 0.8 and (1 - 0.5) / 0.75 = 2/3; scaled by the middle
    // segment's length 0.5: 0.4 and 1/3. At t = 1/2 the Hermite basis is (1/2, 1/8, 1/2, -1/8):
    // 0.25 + 0.05 + 0.3 - 1/24.
    const Curve curve =
        makeCurve({{0.f, 0.f}, {0.25f, 0.5f}, {0.75f, 0.6f}, {1.f, 1.f}}, CurveInterpolation::UNIFORM_CUBIC);
    EXPECT_NEAR(curve(0.5f), 0.6f - 1.f / 24.f, 1e-6f);
    // The first segment: s = 0.25, m = 0.2, q(t) = 0.8 t - 0.3 t^2 at t = 1/2.
    EXPECT_NEAR(curve(0.125f), 0.325f, 1e-6f);
}

TEST(Curve, CubicKindsPassThroughNodesWithContinuousSlope) {
    const auto nodes = {Vector2{0.f, 0.1f}, Vector2{0.2f, 0.5f}, Vector2{0.3f, 0.45f}, Vector2{0.7f, 0.9f},
                        Vector2{1.f, 0.8f}};
    const float h = 1e-3f;
    for (CurveInterpolation kind : ALL_KINDS) {
        SCOPED_TRACE(int(kind));
        const Curve curve(ArrayView<const Vector2>(nodes.begin(), nodes.size()), kind);
        for (const Vector2& node : nodes) {
            EXPECT_NEAR(curve(node.x), node.y, 1e-6f);
            EXPECT_NEAR(curve(node.x - h), curve(node.x + h), 0.01f);
            if (kind != CurveInterpolation::LINEAR_SPLINES) {
                // One-sided differences of second order on each side.
                const float y = curve(node.x);
                const float left = (3.f * y - 4.f * curve(node.x - h) + curve(node.x - 2.f * h)) / (2.f * h);
                const float right =
                    (-3.f * y + 4.f * curve(node.x + h) - curve(node.x + 2.f * h)) / (2.f * h);
                EXPECT_NEAR(left, right, 0.01f) << "at x = " << node.x;
            }
        }
        // Straight beyond the ends.
        EXPECT_NEAR(curve(-2.f) - curve(-1.f), curve(-1.f) - curve(0.f), 1e-5f);
        EXPECT_NEAR(curve(3.f) - curve(2.f), curve(2.f) - curve(1.f), 1e-5f);
    }
}

TEST(Curve, ComparisonAndInterpolationTable) {
    const Curve a = makeCurve({{0.f, 0.f}, {0.5f, 0.6f}, {1.f, 1.f}}, CurveInterpolation::CHORDAL_CUBIC);
    EXPECT_EQ(a, makeCurve({{1.f, 1.f}, {0.f, 0.f}, {0.5f, 0.6f}}, CurveInterpolation::CHORDAL_CUBIC));
    EXPECT_NE(a, makeCurve({{0.f, 0.f}, {0.5f, 0.6f}, {1.f, 1.f}}, CurveInterpolation::UNIFORM_CUBIC));
    EXPECT_NE(a, makeCurve({{0.f, 0.f}, {0.5f, 0.7f}, {1.f, 1.f}}, CurveInterpolation::CHORDAL_CUBIC));
    EXPECT_EQ(a.nodes()[1], (Vector2{0.5f, 0.6f}));

    EXPECT_EQ(CURVE_INTERPOLATION_TABLE.size(), 4u);
    for (CurveInterpolation kind : ALL_KINDS) {
        EXPECT_EQ(Detail::stringToValue(Detail::valueToString(kind, CURVE_INTERPOLATION_TABLE),
                                        CURVE_INTERPOLATION_TABLE),
                  kind);
    }
    EXPECT_EQ(Detail::valueToString(CurveInterpolation::CUBIC_SPLINES, CURVE_INTERPOLATION_TABLE),
              String(u"Cubic splines"));
}

TEST(ColorCurve, MasterCurveComesBeforeTheChannelCurves) {
    const Curve doubling = makeCurve({{0.f, 0.f}, {1.f, 2.f}}, CurveInterpolation::LINEAR_SPLINES);
    const Curve plusTenth = makeCurve({{0.f, 0.1f}, {1.f, 1.1f}}, CurveInterpolation::LINEAR_SPLINES);
    const Curve halving = makeCurve({{0.f, 0.f}, {1.f, 0.5f}}, CurveInterpolation::LINEAR_SPLINES);
    const ColorCurve curves(doubling, plusTenth, Curve(), halving);
    const Rgb result = curves(Rgb(0.3f, 0.3f, 0.3f, 0.25f));
    EXPECT_FLOAT_EQ(result.r, 0.7f); // 0.3 * 2 + 0.1, not (0.3 + 0.1) * 2
    EXPECT_FLOAT_EQ(result.g, 0.6f);
    EXPECT_FLOAT_EQ(result.b, 0.3f);
    EXPECT_EQ(result.a, 0.25f);

    EXPECT_EQ(ColorCurve()(Rgb(0.2f, 0.4f, 0.6f)), Rgb(0.2f, 0.4f, 0.6f));
    EXPECT_EQ(curves, ColorCurve(doubling, plusTenth, Curve(), halving));
    EXPECT_NE(curves, ColorCurve(doubling, plusTenth, halving, halving));
}

TEST(Curve, InteriorSegmentsOfChordalAndCentripetalCurves) {
    // Nodes (0, 0), (0.25, 0.5), (0.75, 0.6), (1, 1). Chords around node 1: 0.559017 back to
    // (0, 0) and 0.509902 on to (0.75, 0.6), with slopes 2 and 0.2; around node 2: 0.509902 and
    // 0.471699 on to (1, 1), with slopes 0.2 and 1.6.
    //   chordal:     w1 = 0.522975, slope1 = 2 (1 - w1) + 0.2 w1 = 1.058646;
    //                w2 = 0.519460, slope2 = 0.2 (1 - w2) + 1.6 w2 = 0.927243;
    //   centripetal: the square roots of the chords give w1 = 0.511493, slope1 = 1.079312,
    //                w2 = 0.509734, slope2 = 0.913627.
    // Middle segment, s = 0.5, at t = 1/2 the Hermite basis is (1/2, 1/8, 1/2, -1/8):
    //   y = 0.55 + (slope1 - slope2) * 0.5 / 8.
    // First segment, s = 0.25, m = slope1 / 4, q(t) = (1 - m) t + (m - 0.5) t^2, at t = 1/2.
    // Last segment, s = 0.25, m = slope2 / 4, q(t) = 0.6 + m t + (0.4 - m) t^2, at t = 1/2; beyond
    // the end it goes on with slope 0.8 - m per unit of t: at x = 1.25, 1.8 - m.
    struct Case {
        CurveInterpolation kind;
        float middle, first, last, beyond;
    };
    const Case cases[] = {
        {CurveInterpolation::CHORDAL_CUBIC, 0.558213f, 0.308835f, 0.757953f, 1.568189f},
        {CurveInterpolation::CUBIC_SPLINES, 0.560355f, 0.307543f, 0.757102f, 1.571593f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(int(c.kind));
        const Curve curve = makeCurve({{0.f, 0.f}, {0.25f, 0.5f}, {0.75f, 0.6f}, {1.f, 1.f}}, c.kind);
        EXPECT_NEAR(curve(0.5f), c.middle, 1e-6f);
        EXPECT_NEAR(curve(0.125f), c.first, 1e-6f);
        EXPECT_NEAR(curve(0.875f), c.last, 1e-6f);
        EXPECT_NEAR(curve(1.25f), c.beyond, 1e-6f);
    }
}

TEST(Curve, TwoNodeLinesGoOnPastTheirEndsInEveryKind) {
    // Through (0.25, 0.5) and (0.75, 0.25): slope -1/2.
    for (CurveInterpolation kind : ALL_KINDS) {
        SCOPED_TRACE(int(kind));
        const Curve line = makeCurve({{0.25f, 0.5f}, {0.75f, 0.25f}}, kind);
        EXPECT_FLOAT_EQ(line(-1.75f), 1.5f);
        EXPECT_FLOAT_EQ(line(0.5f), 0.375f);
        EXPECT_FLOAT_EQ(line(4.75f), -1.75f);
    }
}

TEST(Curve, SegmentsAreFoundByBisectionAmongManyNodes) {
    // A saw tooth of 1001 linear nodes, x = i / 1000, y = i % 2: on each segment the value a
    // quarter of the way in is 1/4 when it rises and 3/4 when it falls.
    std::vector<Vector2> nodes;
    for (int i = 0; i <= 1000; ++i) {
        nodes.push_back({float(i) / 1000.f, float(i % 2)});
    }
    const Curve saw(nodes, CurveInterpolation::LINEAR_SPLINES);
    for (int segment : {0, 1, 2, 499, 500, 997, 998, 999}) {
        const float x = (float(segment) + 0.25f) / 1000.f;
        EXPECT_NEAR(saw(x), segment % 2 == 0 ? 0.25f : 0.75f, 1e-3f) << "segment " << segment;
    }
    for (int i : {0, 1, 500, 999, 1000}) {
        EXPECT_EQ(saw(nodes[std::size_t(i)].x), float(i % 2)) << "node " << i;
    }
}

TEST(Curve, VerticalEndSegmentsAreStepsWithFlatOutsides) {
    for (CurveInterpolation kind : ALL_KINDS) {
        SCOPED_TRACE(int(kind));
        const Curve step = makeCurve({{0.5f, 0.2f}, {0.5f, 0.8f}}, kind);
        EXPECT_EQ(step(0.f), 0.2f);
        EXPECT_EQ(step(0.5f), 0.8f);
        EXPECT_EQ(step(3.f), 0.8f);
    }
}

TEST(Curve, BlocksOfValuesGetTheBitsOfSingleEvaluations) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> coordinate(0.f, 1.f);
    std::uniform_real_distribution<float> input(-0.5f, 1.5f);
    for (CurveInterpolation kind : ALL_KINDS) {
        for (std::size_t count : {0u, 1u, 2u, 3u, 4u, 17u}) {
            SCOPED_TRACE(::testing::Message() << int(kind) << ", " << count << " nodes");
            std::vector<Vector2> nodes;
            for (std::size_t i = 0; i < count; ++i) {
                nodes.push_back({coordinate(random), coordinate(random)});
            }
            const Curve curve(nodes, kind);
            alignas(64) float values[128];
            for (float& value : values) {
                value = input(random);
            }
            // The bounds themselves, where a piece starts.
            for (std::size_t i = 0; i < count && i < 128; ++i) {
                values[i] = curve.nodes()[i].x;
            }
            float expected[128];
            for (int i = 0; i < 128; ++i) {
                expected[i] = curve(values[i]);
            }
            Detail::evaluateCurveLanes<128, 16>(curve.pieces(), values);
            for (int i = 0; i < 128; ++i) {
                EXPECT_EQ(std::bit_cast<std::uint32_t>(values[i]), std::bit_cast<std::uint32_t>(expected[i]))
                    << "value " << i;
            }
        }
    }
}

TEST(Curve, OnlyTheIdentityLineAndTheEmptyCurveAreIdentities) {
    EXPECT_TRUE(Curve().isIdentity());
    for (CurveInterpolation kind : ALL_KINDS) {
        EXPECT_TRUE(makeCurve({{0.f, 0.f}, {1.f, 1.f}}, kind).isIdentity());
        EXPECT_FALSE(makeCurve({{0.f, 0.f}, {1.f, 0.9f}}, kind).isIdentity());
        EXPECT_FALSE(makeCurve({{0.f, 0.f}, {0.5f, 0.5f}, {1.f, 1.f}}, kind).isIdentity());
    }
    const Curve identity = makeCurve({{0.f, 0.f}, {1.f, 1.f}}, CurveInterpolation::CUBIC_SPLINES);
    for (float x : {0.f, 1e-30f, 0.123456f, 0.5f, 1.f, 7.5f, 1e30f}) {
        EXPECT_EQ(identity(x), x);
    }
}
