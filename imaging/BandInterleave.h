#pragma once

#include <array>

#include "foundation/Rgb.h"
#include "imaging/PixelVectors.h"
#include "imaging/RowSpan.h"

namespace Vespra {

/// Rows whose row passes run together. They are interleaved pixel by pixel, so that a row pass
/// becomes a running sum over vectors of this many pixels: wide registers stay full, and the
/// running sums of the rows do not wait for one another.
constexpr int BAND_ROWS = 16;

/// Copies the pixels `pixels` of the rows `rows` into `band`, where pixel x of row k lies at
/// band[x * BAND_ROWS + k]. A null row reads as black.
void interleaveBand(const std::array<const Rgb*, BAND_ROWS>& rows, RowSpan pixels, Rgb* band);

/// Copies the pixels `pixels` of an interleaved band back into `rows`, or with `add` adds them to
/// what the rows hold. Null rows are left out.
void deinterleaveBand(const Rgb* band, RowSpan pixels, const std::array<Rgb*, BAND_ROWS>& rows, bool add);

/// As `deinterleaveBand`, of the light of the band's pixels instead of the pixels.
void deinterleaveLight(const Rgb* band, RowSpan pixels, const std::array<Rgb*, BAND_ROWS>& rows,
                       const PixelLight& light, bool add);

} // namespace Vespra
