#include "foundation/Curve.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "foundation/CurveLanes.h"

namespace Vespra {

namespace {

float chordLength(Vector2 a, Vector2 b) {
    return std::hypot(b.x - a.x, b.y - a.y);
}

/// dy/dx of the curve at interior node i: the weighted mean of the slopes of its two chords
/// (uniform: the slope between its neighbours).
float tangentSlope(ArrayView<const Vector2> nodes, std::size_t i, CurveInterpolation kind) {
    const Vector2 previous = nodes[i - 1];
    const Vector2 node = nodes[i];
    const Vector2 next = nodes[i + 1];
    // A zero-length chord has no slope of its own; the tangent is vertical then.
    if (previous.x == node.x || node.x == next.x) {
        return std::copysign(std::numeric_limits<float>::infinity(), next.y - previous.y);
    }
    if (kind == CurveInterpolation::UNIFORM_CUBIC) {
        return (next.y - previous.y) / (next.x - previous.x);
    }
    float before = chordLength(previous, node);
    float after = chordLength(node, next);
    if (kind == CurveInterpolation::CUBIC_SPLINES) {
        before = std::sqrt(before);
        after = std::sqrt(after);
    }
    const float w = before / (before + after);
    return (node.y - previous.y) / (node.x - previous.x) * (1.f - w) +
           (next.y - node.y) / (next.x - node.x) * w;
}

/// The straight piece through `origin` with slope `slope` per unit of t, t counted in units of
/// `length` from origin.x. A zero length gives the constant origin.y: such pieces hold beyond a
/// vertical end segment, where only one side of the step is reached.
CurvePiece linePiece(Vector2 origin, float length, float slope) {
    if (length == 0.f) {
        return {origin.x, 0.f, origin.y, 0.f, 0.f, 0.f};
    }
    return {origin.x, 1.f / length, origin.y, slope, 0.f, 0.f};
}

/// Builds the pieces of nodes sorted by x.
class PieceBuilder {
public:
    PieceBuilder(ArrayView<const Vector2> nodes, CurveInterpolation kind) : nodes(nodes), kind(kind) {}

    CurvePieces build() {
        const std::size_t count = nodes.size();
        if (count == 0) {
            return {}; // the identity
        }
        if (count == 1) {
            CurvePieces constant;
            constant.pieces[0] = linePiece(nodes[0], 0.f, 0.f);
            return constant;
        }
        return count == 2 || kind == CurveInterpolation::LINEAR_SPLINES ? lines() : cubics();
    }

private:
    float length(std::size_t segment) const { return nodes[segment + 1].x - nodes[segment].x; }
    float rise(std::size_t segment) const { return nodes[segment + 1].y - nodes[segment].y; }

    /// Segment i from node i on; a segment of zero length is never reached from inside, so its
    /// content doesn't matter.
    CurvePiece segmentLine(std::size_t segment) const {
        return linePiece(nodes[segment], length(segment), rise(segment));
    }

    // The end segments of lines are the lines beyond the ends, unless they are vertical: then the
    // constant beyond comes first (or last) as a piece of its own.
    CurvePieces lines() const {
        const std::size_t segments = nodes.size() - 1;
        CurvePieces result;
        result.pieces.clear();
        if (length(0) == 0.f) {
            result.pieces.push(linePiece(nodes[0], 0.f, 0.f));
            result.breaks.push(nodes[0].x);
        }
        for (std::size_t i = 0; i < segments; ++i) {
            if (i > 0) {
                result.breaks.push(nodes[i].x);
            }
            result.pieces.push(segmentLine(i));
        }
        if (length(segments - 1) == 0.f) {
            result.breaks.push(nodes[segments].x);
            result.pieces.push(linePiece(nodes[segments], 0.f, 0.f));
        }
        return result;
    }

    // The Hermite cubic on tangents m0 and m1 (scaled by the segment's length) in Horner's form;
    // an end segment is the quadratic with the one tangent at its inner node.
    CurvePiece segmentCubic(std::size_t segment, float m0, float m1, bool first, bool last) const {
        const float s = length(segment);
        const float dy = rise(segment);
        const float y0 = nodes[segment].y;
        const float scale = s == 0.f ? 0.f : 1.f / s;
        if (first) {
            return {nodes[segment].x, scale, y0, 2.f * dy - m1, m1 - dy, 0.f};
        }
        if (last) {
            return {nodes[segment].x, scale, y0, m0, dy - m0, 0.f};
        }
        return {nodes[segment].x, scale, y0, m0, 3.f * dy - 2.f * m0 - m1, 2.f * -dy + m0 + m1};
    }

    CurvePieces cubics() const {
        const std::size_t count = nodes.size();
        const std::size_t segments = count - 1;
        Array<float> slopes(count, 0.f);
        for (std::size_t i = 1; i + 1 < count; ++i) {
            slopes[i] = tangentSlope(nodes, i, kind);
        }
        CurvePieces result;
        result.cubic = true;
        result.pieces.clear();
        // Before the first node: on along the first quadratic's derivative there.
        const float firstSlope = 2.f * rise(0) - slopes[1] * length(0);
        result.pieces.push(linePiece(nodes[0], length(0), firstSlope));
        for (std::size_t i = 0; i < segments; ++i) {
            result.breaks.push(nodes[i].x);
            result.pieces.push(
                segmentCubic(i, slopes[i] * length(i), slopes[i + 1] * length(i), i == 0, i + 1 == segments));
        }
        // After the last node: on along the last quadratic's derivative there.
        const std::size_t last = segments - 1;
        const float lastSlope = 2.f * rise(last) - slopes[last] * length(last);
        result.breaks.push(nodes[count - 1].x);
        result.pieces.push(linePiece(nodes[count - 1], length(last), lastSlope));
        return result;
    }

    ArrayView<const Vector2> nodes;
    CurveInterpolation kind;
};

} // namespace

Curve::Curve(ArrayView<const Vector2> nodes, CurveInterpolation interpolation)
    : nodeArray(nodes), kind(interpolation) {
    std::stable_sort(nodeArray.begin(), nodeArray.end(), [](Vector2 a, Vector2 b) { return a.x < b.x; });
    pieceTable = PieceBuilder(nodeArray, kind).build();
}

float Curve::evaluate(float x) const {
    // Bisection over the bounds: the piece after the last bound that x is not below.
    const Stack<float>& breaks = pieceTable.breaks;
    const auto after = std::upper_bound(breaks.begin(), breaks.end(), x);
    const CurvePiece& piece = pieceTable.pieces[std::size_t(after - breaks.begin())];
    return pieceTable.cubic ? Detail::evaluateCurvePiece<true>(x, piece)
                            : Detail::evaluateCurvePiece<false>(x, piece);
}

ColorCurve::ColorCurve(Curve master, Curve red, Curve green, Curve blue)
    : curves{std::move(master), std::move(red), std::move(green), std::move(blue)} {}

Rgb ColorCurve::operator()(const Rgb& color) const {
    Rgb result = color;
    for (int i = 0; i < 3; ++i) {
        result[i] = curves[std::size_t(i) + 1](curves[0](color[i]));
    }
    return result;
}

} // namespace Vespra
