#pragma once

#include "foundation/Curve.h"
#include "foundation/Histogram.h"
#include "foundation/Optional.h"

namespace Vespra::Wx {

/// What "Equalize" asks of the histogram: the mean of the channels over 0 to 2 in 100 bins.
inline constexpr Range EQUALIZE_RANGE{0.f, 2.f};
inline constexpr int EQUALIZE_BINS = 100;

/// The curves that spread the values of the image evenly: red, green and blue the identity, and
/// a master curve from (0, 0) to (2, 1) through fifteen nodes at even steps of the input,
/// (2t, C(t) / T) for t = 0.062501 k, k = 1 to 15, where C(t) is the count of bins 0 to int(100 t)
/// of `histogram` and T its total. The master curve keeps the interpolation of `current`'s.
/// Empty when the histogram counted nothing.
Optional<ColorCurve> equalizedCurves(const Histogram& histogram, const ColorCurve& current);

} // namespace Vespra::Wx
