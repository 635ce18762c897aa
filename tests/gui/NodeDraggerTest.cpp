// The rules by which the mouse edits the nodes of a curve, on a graph of 256 by 256 pixels with a
// margin of 5: curve point (x, y) lies at widget pixel (5 + 256 x, 261 - 256 y).

#include <gtest/gtest.h>

#include "gui/curves/Equalize.h"
#include "gui/curves/GraphView.h"
#include "gui/curves/NodeDragger.h"

namespace Vespra::Wx {
namespace {

const GraphView VIEW;

/// The index held, or one no node has.
std::size_t indexOf(const Optional<std::size_t>& index) {
    return index ? *index : std::size_t(-1);
}

Vector2 at(float x, float y) {
    return {5.f + 256.f * x, 261.f - 256.f * y};
}

CurveNodes identity() {
    return {{0.f, 0.f}, {1.f, 1.f}};
}

Curve curveOf(const CurveNodes& nodes) {
    return Curve(nodes, CurveInterpolation::LINEAR_SPLINES);
}

TEST(GraphView, MapsTheUnitSquareIntoTheMarginsAndBack) {
    EXPECT_EQ(VIEW.toWidget({0.f, 0.f}), (Vector2{5.f, 261.f}));
    EXPECT_EQ(VIEW.toWidget({1.f, 1.f}), (Vector2{261.f, 5.f}));
    GraphView zoomed = VIEW;
    zoomed.zoom = 2.f;
    zoomed.pan = {64.f, 32.f};
    // ((0.5 * 256 - 64) * 2 + 5, 266 - (0.5 * 256 - 32) * 2 - 5)
    EXPECT_EQ(zoomed.toWidget({0.5f, 0.5f}), (Vector2{133.f, 69.f}));
    EXPECT_EQ(zoomed.toCurve({133.f, 69.f}), (Vector2{0.5f, 0.5f}));
    // The inputs shown: from pan.x / 256 on, 1 / zoom wide.
    EXPECT_EQ(zoomed.visibleInputs(), (Range{0.25f, 0.75f}));
}

TEST(NodeDragger, ANodeIsHitWithinTwelvePixels) {
    const CurveNodes nodes{{0.f, 0.f}, {0.5f, 0.5f}, {1.f, 1.f}};
    EXPECT_EQ(indexOf(NodeDragger::nodeAt(nodes, VIEW, at(0.5f, 0.5f) + Vector2{11.f, 0.f})), 1u);
    EXPECT_EQ(indexOf(NodeDragger::nodeAt(nodes, VIEW, at(0.5f, 0.5f) + Vector2{7.f, 7.f})), 1u);
    EXPECT_FALSE(NodeDragger::nodeAt(nodes, VIEW, at(0.5f, 0.5f) + Vector2{12.f, 0.f}));
    EXPECT_FALSE(NodeDragger::nodeAt(nodes, VIEW, at(0.5f, 0.5f) + Vector2{9.f, 9.f}));
    // The nearest of two in reach.
    const CurveNodes close{{0.f, 0.f}, {0.5f, 0.5f}, {0.53f, 0.5f}, {1.f, 1.f}};
    EXPECT_EQ(indexOf(NodeDragger::nodeAt(close, VIEW, at(0.52f, 0.5f))), 2u);
}

TEST(NodeDragger, APressNearTheCurveAddsANodeOnIt) {
    CurveNodes nodes = identity();
    NodeDragger dragger;
    // 11 pixels below the curve at x = 0.25: a node at (0.25, 0.25), and its drag starts.
    EXPECT_TRUE(dragger.press(nodes, curveOf(nodes), VIEW, at(0.25f, 0.25f) + Vector2{0.f, 11.f}));
    ASSERT_EQ(nodes.size(), 3u);
    EXPECT_EQ(nodes[1], (Vector2{0.25f, 0.25f}));
    EXPECT_TRUE(dragger.isDragging());
    EXPECT_EQ(indexOf(dragger.getDragNode()), 1u);

    // 13 pixels away nothing happens.
    CurveNodes untouched = identity();
    NodeDragger other;
    EXPECT_FALSE(other.press(untouched, curveOf(untouched), VIEW, at(0.25f, 0.25f) + Vector2{0.f, 13.f}));
    EXPECT_EQ(untouched, identity());
    EXPECT_FALSE(other.isDragging());
    EXPECT_FALSE(other.moveTo(untouched, VIEW, at(0.5f, 0.9f)));
}

TEST(NodeDragger, EndNodesFollowTheMouseAHundredthFromTheirNeighbour) {
    CurveNodes nodes{{0.f, 0.f}, {0.5f, 0.5f}, {1.f, 1.f}};
    NodeDragger dragger;
    EXPECT_FALSE(dragger.press(nodes, curveOf(nodes), VIEW, at(0.f, 0.f)));
    ASSERT_EQ(indexOf(dragger.getDragNode()), 0u);
    EXPECT_TRUE(dragger.moveTo(nodes, VIEW, at(0.25f, 0.125f)));
    EXPECT_EQ(nodes[0], (Vector2{0.25f, 0.125f}));
    dragger.moveTo(nodes, VIEW, at(0.75f, 0.125f));
    EXPECT_EQ(nodes[0], (Vector2{0.49f, 0.125f}));
    // Outside the graph the mouse counts as at its edge, 5 pixels in.
    dragger.moveTo(nodes, VIEW, {-40.f, 400.f});
    EXPECT_EQ(nodes[0], (Vector2{0.f, 0.f}));
    dragger.release();

    dragger.press(nodes, curveOf(nodes), VIEW, at(1.f, 1.f));
    ASSERT_EQ(indexOf(dragger.getDragNode()), 2u);
    dragger.moveTo(nodes, VIEW, at(0.25f, 0.75f));
    EXPECT_EQ(nodes[2], (Vector2{0.51f, 0.75f}));
    EXPECT_EQ(nodes.size(), 3u);
}

TEST(NodeDragger, AnInteriorNodeDraggedPastItsNeighbourGoesAndANewOneFollows) {
    CurveNodes nodes{{0.f, 0.f}, {0.25f, 0.25f}, {0.5f, 0.5f}, {1.f, 1.f}};
    NodeDragger dragger;
    dragger.press(nodes, curveOf(nodes), VIEW, at(0.25f, 0.25f));
    ASSERT_EQ(indexOf(dragger.getDragNode()), 1u);
    // Within 0.01 to 0.49 it follows.
    dragger.moveTo(nodes, VIEW, at(0.375f, 0.125f));
    EXPECT_EQ(nodes[1], (Vector2{0.375f, 0.125f}));
    // Past 0.49 it is removed...
    dragger.moveTo(nodes, VIEW, at(0.75f, 0.125f));
    EXPECT_EQ(nodes, (CurveNodes{{0.f, 0.f}, {0.5f, 0.5f}, {1.f, 1.f}}));
    EXPECT_FALSE(dragger.getDragNode());
    // ...and from the next motion on a node follows the mouse again, between its new neighbours.
    dragger.moveTo(nodes, VIEW, at(0.75f, 0.25f));
    EXPECT_EQ(nodes, (CurveNodes{{0.f, 0.f}, {0.5f, 0.5f}, {0.75f, 0.25f}, {1.f, 1.f}}));
    dragger.moveTo(nodes, VIEW, at(0.875f, 0.375f));
    EXPECT_EQ(nodes, (CurveNodes{{0.f, 0.f}, {0.5f, 0.5f}, {0.875f, 0.375f}, {1.f, 1.f}}));
    dragger.release();
    EXPECT_FALSE(dragger.moveTo(nodes, VIEW, at(0.6f, 0.6f)));
}

TEST(NodeDragger, TheRightButtonRemovesInteriorNodesOnly) {
    CurveNodes nodes{{0.f, 0.f}, {0.5f, 0.25f}, {1.f, 1.f}};
    EXPECT_FALSE(NodeDragger::removeAt(nodes, VIEW, at(0.f, 0.f)));
    EXPECT_FALSE(NodeDragger::removeAt(nodes, VIEW, at(1.f, 1.f)));
    EXPECT_FALSE(NodeDragger::removeAt(nodes, VIEW, at(0.5f, 0.5f)));
    EXPECT_EQ(nodes.size(), 3u);
    EXPECT_TRUE(NodeDragger::removeAt(nodes, VIEW, at(0.5f, 0.25f)));
    EXPECT_EQ(nodes, identity());
}

TEST(NodeDragger, APickDragsANewNodeUpAndDownByPixels) {
    CurveNodes nodes = identity();
    NodeDragger dragger;
    EXPECT_TRUE(dragger.startAt(nodes, {0.25f, 0.25f}));
    ASSERT_EQ(indexOf(dragger.getDragNode()), 1u);
    // 32 pixels up raise it by 32 / 256; a sideways part moves it along x.
    EXPECT_TRUE(dragger.moveBy(nodes, VIEW, {0.f, -32.f}));
    EXPECT_EQ(nodes[1], (Vector2{0.25f, 0.375f}));
    // Beyond the graph too: nodes picked from values above 1 lie there.
    dragger.release();
    EXPECT_TRUE(dragger.startAt(nodes, {1.5f, 1.5f}));
    ASSERT_EQ(indexOf(dragger.getDragNode()), 3u);
    dragger.moveBy(nodes, VIEW, {0.f, 64.f});
    EXPECT_EQ(nodes[3], (Vector2{1.5f, 1.25f}));
    // A pick within a hundredth of a node's x takes that node.
    dragger.release();
    EXPECT_TRUE(dragger.startAt(nodes, {0.255f, 0.5f}));
    EXPECT_EQ(nodes.size(), 4u);
    EXPECT_EQ(nodes[1], (Vector2{0.25f, 0.5f}));
}

TEST(Equalize, FifteenNodesOfTheRunningSumAtEvenSteps) {
    // 100 bins of 0..2 holding 1, 2, ..., 100: C(i) = (i + 1)(i + 2) / 2, T = 5050.
    Histogram histogram{Array<std::uint64_t>(100, 0), EQUALIZE_RANGE};
    for (std::size_t i = 0; i < 100; ++i) {
        histogram.counts[i] = i + 1;
    }
    const ColorCurve current(Curve({}, CurveInterpolation::CHORDAL_CUBIC), Curve(), Curve(), Curve());
    const Optional<ColorCurve> curves = equalizedCurves(histogram, current);
    ASSERT_TRUE(curves);
    const ArrayView<const Vector2> master = (*curves)[0].nodes();
    ASSERT_EQ(master.size(), 17u);
    EXPECT_EQ((*curves)[0].interpolation(), CurveInterpolation::CHORDAL_CUBIC);
    EXPECT_EQ(master[0], (Vector2{0.f, 0.f}));
    EXPECT_EQ(master[16], (Vector2{2.f, 1.f}));
    // Node k at t = 0.062501 k: bins int(6.2501 k) = 6, 12, 18, 25, 31, 37, 43, 50, 56, 62, 68, 75,
    // 81, 87, 93.
    const int bins[] = {6, 12, 18, 25, 31, 37, 43, 50, 56, 62, 68, 75, 81, 87, 93};
    for (int k = 1; k <= 15; ++k) {
        const int i = bins[k - 1];
        EXPECT_FLOAT_EQ(master[std::size_t(k)].x, float(2. * 0.062501 * k)) << k;
        EXPECT_FLOAT_EQ(master[std::size_t(k)].y, float((i + 1) * (i + 2) / 2) / 5050.f) << k;
    }
    for (int i = 1; i < 4; ++i) {
        EXPECT_EQ((*curves)[i].nodes().size(), 2u);
        EXPECT_TRUE((*curves)[i].isIdentity());
    }
    // Nothing counted, nothing to spread.
    EXPECT_FALSE(equalizedCurves(Histogram{Array<std::uint64_t>(100, 0), EQUALIZE_RANGE}, current));
}

} // namespace
} // namespace Vespra::Wx
