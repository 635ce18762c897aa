#pragma once

#include "foundation/Containers.h"
#include "foundation/EnumTable.h"
#include "foundation/Rgb.h"
#include "foundation/Vector2.h"

namespace Vespra {

enum class CurveInterpolation : int {
    CUBIC_SPLINES = 0, ///< Centripetal tangents.
    LINEAR_SPLINES = 1,
    UNIFORM_CUBIC = 2,
    CHORDAL_CUBIC = 3,
};

inline constexpr EnumTableRow<CurveInterpolation> CURVE_INTERPOLATION_ROWS[] = {
    {CurveInterpolation::CUBIC_SPLINES, u"Cubic splines"},
    {CurveInterpolation::LINEAR_SPLINES, u"Linear splines"},
    {CurveInterpolation::UNIFORM_CUBIC, u"(EXP) Uniform cubic"},
    {CurveInterpolation::CHORDAL_CUBIC, u"(EXP) Chordal cubic"},
};
inline constexpr EnumTable<CurveInterpolation> CURVE_INTERPOLATION_TABLE = CURVE_INTERPOLATION_ROWS;

/// A function of one variable through nodes, such as a tone curve. With no nodes it is the
/// identity, with one a constant, and with two the straight line through them, in every
/// interpolation. With more, each segment between neighbouring nodes is linear, or a Hermite
/// cubic on tangents at its nodes; the end segments have a tangent at their inner node only
/// and are the quadratics with that derivative there. Beyond the end nodes the curve goes
/// on straight, along its derivative at the end.
class Curve {
public:
    Curve() = default;
    /// The nodes are sorted by x; nodes of equal x keep their order.
    explicit Curve(ArrayView<const Vector2> nodes,
                   CurveInterpolation interpolation = CurveInterpolation::CUBIC_SPLINES);

    float evaluate(float x) const;
    float operator()(float x) const { return evaluate(x); }

    ArrayView<const Vector2> nodes() const { return nodeArray; }
    CurveInterpolation interpolation() const { return kind; }

    bool operator==(const Curve& other) const { return kind == other.kind && nodeArray == other.nodeArray; }

private:
    Array<Vector2> nodeArray;
    /// dy/dx at each node; the Hermite tangent of a segment is this times its length. Only
    /// the interior nodes of cubic curves of three or more nodes have one.
    Array<float> slopes;
    CurveInterpolation kind = CurveInterpolation::CUBIC_SPLINES;

    float tangentSlope(std::size_t node) const;
    float evaluateSegment(std::size_t first, float x) const;
};

/// A master curve followed by one curve per channel.
class ColorCurve {
public:
    ColorCurve() = default;
    ColorCurve(Curve master, Curve red, Curve green, Curve blue);

    /// Each channel goes through the master curve, then through its own; alpha is kept.
    Rgb operator()(const Rgb& color) const;

    const Curve& master() const { return masterCurve; }
    const Curve& red() const { return channelCurves[0]; }
    const Curve& green() const { return channelCurves[1]; }
    const Curve& blue() const { return channelCurves[2]; }

    bool operator==(const ColorCurve&) const = default;

private:
    Curve masterCurve;
    StaticArray<Curve, 3> channelCurves;
};

} // namespace Vespra
