#include <cmath>

#include <gtest/gtest.h>

#include "foundation/Curve.h"

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
