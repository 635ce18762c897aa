#include "foundation/Curve.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Vespra {

namespace {

float chordLength(Vector2 a, Vector2 b) {
    return std::hypot(b.x - a.x, b.y - a.y);
}

/// The quadratic through (0, y0) and (1, y1) with derivative `derivative1` at 1.
float quadraticEndingWith(float t, float y0, float y1, float derivative1) {
    const float rise = y1 - y0;
    return y0 + t * ((2.f * rise - derivative1) + t * (derivative1 - rise));
}

/// The quadratic through (0, y0) and (1, y1) with derivative `derivative0` at 0.
float quadraticStartingWith(float t, float y0, float y1, float derivative0) {
    return y0 + t * (derivative0 + t * (y1 - y0 - derivative0));
}

float hermite(float t, float y0, float y1, float m0, float m1) {
    const float t2 = t * t;
    const float t3 = t2 * t;
    return (2.f * t3 - 3.f * t2 + 1.f) * y0 + (t3 - 2.f * t2 + t) * m0 + (3.f * t2 - 2.f * t3) * y1 +
           (t3 - t2) * m1;
}

} // namespace

Curve::Curve(ArrayView<const Vector2> nodes, CurveInterpolation interpolation)
    : nodeArray(nodes), kind(interpolation) {
    std::stable_sort(nodeArray.begin(), nodeArray.end(), [](Vector2 a, Vector2 b) { return a.x < b.x; });
    if (kind != CurveInterpolation::LINEAR_SPLINES && nodeArray.size() >= 3) {
        slopes.resize(nodeArray.size());
        for (std::size_t i = 1; i + 1 < nodeArray.size(); ++i) {
            slopes[i] = tangentSlope(i);
        }
    }
}

float Curve::tangentSlope(std::size_t i) const {
    const Vector2 previous = nodeArray[i - 1];
    const Vector2 node = nodeArray[i];
    const Vector2 next = nodeArray[i + 1];
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

float Curve::evaluate(float x) const {
    const std::size_t count = nodeArray.size();
    if (count == 0) {
        return x;
    }
    if (count == 1) {
        return nodeArray[0].y;
    }
    // The segment whose first node is the last one at or before x, limited to the ends.
    const auto after = std::upper_bound(nodeArray.begin(), nodeArray.end(), x,
                                        [](float value, Vector2 node) { return value < node.x; });
    const std::size_t first =
        std::clamp<std::size_t>(std::size_t(after - nodeArray.begin()), 1, count - 1) - 1;
    return evaluateSegment(first, x);
}

float Curve::evaluateSegment(std::size_t first, float x) const {
    const Vector2 a = nodeArray[first];
    const Vector2 b = nodeArray[first + 1];
    const float s = b.x - a.x;
    if (s == 0.f) {
        // A vertical step: reached only from outside, as the first or the last segment.
        return x < a.x ? a.y : b.y;
    }
    const float t = (x - a.x) / s;
    if (kind == CurveInterpolation::LINEAR_SPLINES || nodeArray.size() == 2) {
        return (1.f - t) * a.y + t * b.y;
    }
    const bool isFirst = first == 0;
    const bool isLast = first + 2 == nodeArray.size();
    if (isFirst) {
        const float mb = slopes[first + 1] * s;
        // Below the first node: straight on, along the quadratic's derivative there.
        return t < 0.f ? a.y + t * (2.f * (b.y - a.y) - mb) : quadraticEndingWith(t, a.y, b.y, mb);
    }
    if (isLast) {
        const float ma = slopes[first] * s;
        return t > 1.f ? b.y + (t - 1.f) * (2.f * (b.y - a.y) - ma) : quadraticStartingWith(t, a.y, b.y, ma);
    }
    return hermite(t, a.y, b.y, slopes[first] * s, slopes[first + 1] * s);
}

ColorCurve::ColorCurve(Curve master, Curve red, Curve green, Curve blue)
    : masterCurve(std::move(master)), channelCurves{std::move(red), std::move(green), std::move(blue)} {}

Rgb ColorCurve::operator()(const Rgb& color) const {
    Rgb result = color;
    for (int i = 0; i < 3; ++i) {
        result[i] = channelCurves[i](masterCurve(color[i]));
    }
    return result;
}

} // namespace Vespra
