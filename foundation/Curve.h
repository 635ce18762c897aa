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

/// One polynomial piece of a curve: with t = (x - start) * scale, the value is
/// c0 + t * (c1 + t * (c2 + t * c3)). t runs from 0 to 1 over the segment between two nodes, so
/// the coefficients stay well conditioned however short the segment is.
struct CurvePiece {
    float start = 0.f;
    float scale = 1.f;
    float c0 = 0.f;
    float c1 = 1.f;
    float c2 = 0.f;
    float c3 = 0.f;

    bool operator==(const CurvePiece&) const = default;
};

/// A curve as pieces: piece 0 holds below `breaks[0]`, piece k from `breaks[k - 1]` up to
/// `breaks[k]`, the last one from the last break on. `cubic` is false when every piece is a
/// line (c2 and c3 are 0), whose evaluation then leaves those terms out.
struct CurvePieces {
    Stack<float> breaks;
    Stack<CurvePiece> pieces = Stack<CurvePiece>(std::size_t(1));
    bool cubic = false;

    /// The identity, exactly, for every finite x.
    bool isIdentity() const { return breaks.empty() && pieces[0] == CurvePiece(); }
};

/// A function of one variable through nodes, such as a tone curve. With no nodes it is the
/// identity, with one a constant, and with two the straight line through them, in every
/// interpolation. With more, each segment between neighbouring nodes is linear, or a Hermite
/// cubic on tangents at its nodes; the end segments have a tangent at their inner node only
/// and are the quadratics with that derivative there. Beyond the end nodes the curve goes
/// on straight, along its derivative at the end.
///
/// The curve is turned into polynomial pieces once, at construction; `evaluate` finds the
/// piece of x by bisection over their bounds, and the colour chain evaluates the same pieces on
/// whole blocks of values (CurveLanes.h) with the same numbers.
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
    const CurvePieces& pieces() const { return pieceTable; }
    /// Whether the curve maps every finite value to itself, bit for bit: no nodes, or a line
    /// through (0, 0) and (1, 1).
    bool isIdentity() const { return pieceTable.isIdentity(); }

    bool operator==(const Curve& other) const { return kind == other.kind && nodeArray == other.nodeArray; }

private:
    Array<Vector2> nodeArray;
    CurveInterpolation kind = CurveInterpolation::CUBIC_SPLINES;
    CurvePieces pieceTable;
};

/// A master curve followed by one curve per channel.
class ColorCurve {
public:
    /// The curves by index: master, red, green, blue.
    static constexpr int COUNT = 4;

    ColorCurve() = default;
    ColorCurve(Curve master, Curve red, Curve green, Curve blue);

    /// Each channel goes through the master curve, then through its own; alpha is kept.
    Rgb operator()(const Rgb& color) const;

    const Curve& master() const { return curves[0]; }
    const Curve& red() const { return curves[1]; }
    const Curve& green() const { return curves[2]; }
    const Curve& blue() const { return curves[3]; }
    /// Curve `index` of COUNT, in the order master, red, green, blue.
    const Curve& operator[](int index) const { return curves[std::size_t(index)]; }
    void set(int index, Curve curve) { curves[std::size_t(index)] = std::move(curve); }

    bool operator==(const ColorCurve&) const = default;

private:
    StaticArray<Curve, COUNT> curves;
};

} // namespace Vespra
