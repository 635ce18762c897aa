#include "gui/curves/CurveNodes.h"

namespace Vespra::Wx {

namespace {

constexpr Vector2 IDENTITY_NODES[] = {{0.f, 0.f}, {1.f, 1.f}};

} // namespace

Curve identityCurve(CurveInterpolation interpolation) {
    return Curve(IDENTITY_NODES, interpolation);
}

bool isIdentityLine(const Curve& curve) {
    const ArrayView<const Vector2> nodes = curve.nodes();
    return nodes.size() == 2 && nodes[0] == IDENTITY_NODES[0] && nodes[1] == IDENTITY_NODES[1];
}

CurveNodes editableNodes(const Curve& curve) {
    const ArrayView<const Vector2> nodes = curve.nodes();
    if (nodes.empty()) {
        return {IDENTITY_NODES[0], IDENTITY_NODES[1]};
    }
    if (nodes.size() == 1) {
        // A constant: the same value at both ends of the unit range.
        return {{0.f, nodes[0].y}, {1.f, nodes[0].y}};
    }
    return CurveNodes(nodes.begin(), nodes.end());
}

Curve editableCurve(const Curve& curve) {
    return Curve(editableNodes(curve), curve.interpolation());
}

} // namespace Vespra::Wx
