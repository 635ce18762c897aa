#pragma once

#include <vector>

#include "foundation/Curve.h"

namespace Vespra::Wx {

/// The nodes of one curve, sorted by x.
using CurveNodes = std::vector<Vector2>;

/// The curve of two nodes, (0, 0) and (1, 1): the identity in every interpolation.
Curve identityCurve(CurveInterpolation interpolation);

/// Whether `curve` is that curve, which the graph leaves out unless it is the active one.
bool isIdentityLine(const Curve& curve);

/// The nodes of `curve` as the editor shows them: a curve without nodes (the identity, as
/// properties start) gets (0, 0) and (1, 1), and a single node (a constant) a second one, so
/// that there are always two ends to drag. The curves they make are the same functions.
CurveNodes editableNodes(const Curve& curve);

/// `curve` with its nodes as `editableNodes` gives them.
Curve editableCurve(const Curve& curve);

} // namespace Vespra::Wx
