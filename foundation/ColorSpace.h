#pragma once

#include "foundation/Matrix33.h"
#include "foundation/Rgb.h"
#include "foundation/Vector2.h"

namespace Vespra {

/// Colour spaces of the editor. Linear RGB has the Rec. 709 (sRGB) primaries, the wide gamut
/// the Rec. 2020 ones; both have the D65 white, so (1, 1, 1) is white in either, and XYZ is
/// CIE 1931 XYZ with Y = 1 for that white. All matrices come from the primaries in double
/// precision, rounded to float once, so each pair is inverse to float precision.
extern const Matrix33 TM_LIN_RGB_TO_XYZ;
extern const Matrix33 TM_XYZ_TO_LIN_RGB;
extern const Matrix33 TM_LIN_WIDE_RGB_TO_XYZ;
extern const Matrix33 TM_XYZ_TO_LIN_WIDE_RGB;
extern const Matrix33 TM_LIN_RGB_TO_LIN_WIDE_RGB;
extern const Matrix33 TM_LIN_WIDE_RGB_TO_LIN_RGB;

/// Colour temperatures are clamped to this range.
inline constexpr float MIN_KELVIN = 1000.f;
inline constexpr float MAX_KELVIN = 100000.f;

/// CIE 1931 xy chromaticity of the white of a colour temperature: the CIE daylight locus
/// from 4000 K up (as published for 4000..25000 K, extended beyond), the Planckian locus
/// below 3500 K (Krystek's rational approximation, accurate to 1e-4 in uv), and a linear
/// blend between them in 3500..4000 K, which keeps whites growing steadily bluer with the
/// temperature across the change of locus.
Vector2 temperatureToChromaticity(float kelvin);

/// The per-channel multiplier in linear RGB that takes the white of `fromKelvin` to the
/// white of `toKelvin`: exactly (1, 1, 1) when both are equal, and the multiplier of
/// (to, from) is the reciprocal of that of (from, to). A neutral grey is the white of about
/// 6500 K, so (6500, 3000) warms a picture up and (6500, 10000) cools it down.
Rgb colorAdaptation(float fromKelvin, float toKelvin);

} // namespace Vespra
