#pragma once

#include "foundation/Curve.h"
#include "foundation/LaneMath.h"

/// The evaluation of a curve's pieces, one value at a time and over arrays of values. Both give
/// the same bits: `Curve::evaluate` and the colour chain's block kernels share these functions,
/// and the block form only replaces the bisection by a sweep over the bounds that picks the
/// same piece.
namespace Vespra::Detail {

/// The piece's polynomial at x; with CUBIC false the terms of c2 and c3 are left out, which
/// changes nothing for pieces that are lines.
template <bool CUBIC>
inline float evaluateCurvePiece(float x, float start, float scale, float c0, float c1, float c2, float c3) {
    const float t = (x - start) * scale;
    if constexpr (CUBIC) {
        return c0 + t * (c1 + t * (c2 + t * c3));
    } else {
        return c0 + t * c1;
    }
}

template <bool CUBIC>
inline float evaluateCurvePiece(float x, const CurvePiece& piece) {
    return evaluateCurvePiece<CUBIC>(x, piece.start, piece.scale, piece.c0, piece.c1, piece.c2, piece.c3);
}

/// Replaces each of the LANES values at `values` by the curve's value. A value's piece is the
/// one after the last bound it is not below: the piece that bisection finds, NaN included.
/// Every choice is a mask, so that the loops over lanes vectorise at the width of the clone.
template <int LANES, bool CUBIC>
inline void evaluateCurveGroup(const CurvePieces& curve, float* values) {
    alignas(64) float start[LANES], scale[LANES], c0[LANES], c1[LANES], c2[LANES], c3[LANES];
    const CurvePiece first = curve.pieces[0];
    for (int i = 0; i < LANES; ++i) {
        start[i] = first.start;
        scale[i] = first.scale;
        c0[i] = first.c0;
        c1[i] = first.c1;
        c2[i] = first.c2;
        c3[i] = first.c3;
    }
    const std::size_t bounds = curve.breaks.size();
    for (std::size_t k = 0; k < bounds; ++k) {
        const float bound = curve.breaks[k];
        const CurvePiece piece = curve.pieces[k + 1];
        for (int i = 0; i < LANES; ++i) {
            const bool reached = !(values[i] < bound);
            start[i] = laneSelect(reached, piece.start, start[i]);
            scale[i] = laneSelect(reached, piece.scale, scale[i]);
            c0[i] = laneSelect(reached, piece.c0, c0[i]);
            c1[i] = laneSelect(reached, piece.c1, c1[i]);
            if constexpr (CUBIC) {
                c2[i] = laneSelect(reached, piece.c2, c2[i]);
                c3[i] = laneSelect(reached, piece.c3, c3[i]);
            }
        }
    }
    for (int i = 0; i < LANES; ++i) {
        values[i] = evaluateCurvePiece<CUBIC>(values[i], start[i], scale[i], c0[i], c1[i], c2[i], c3[i]);
    }
}

/// The curve on COUNT values, in groups of GROUP lanes (COUNT a multiple of GROUP).
template <int COUNT, int GROUP>
inline void evaluateCurveLanes(const CurvePieces& curve, float* values) {
    static_assert(COUNT % GROUP == 0);
    for (int i = 0; i < COUNT; i += GROUP) {
        if (curve.cubic) {
            evaluateCurveGroup<GROUP, true>(curve, values + i);
        } else {
            evaluateCurveGroup<GROUP, false>(curve, values + i);
        }
    }
}

} // namespace Vespra::Detail
