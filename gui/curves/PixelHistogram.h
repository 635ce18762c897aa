#pragma once

#include "foundation/Bitmap.h"
#include "foundation/Histogram.h"
#include "foundation/Rgb.h"

namespace Vespra::Wx {

/// Counts the pixels of `pixels` into `binCount` equal bins over `range`, by the mean of red,
/// green and blue (channel 0) or by red, green or blue (1, 2, 3). The bin of a value v is
/// int((v - min) / (max - min) * binCount); values whose bin falls outside count for nothing.
/// Rows are counted in parallel on the high-priority scheduler, each worker into bins of its
/// own.
Histogram countPixelHistogram(const BitmapImpl<Rgb, 0>& pixels, Range range, int channel, int binCount);

} // namespace Vespra::Wx
