#pragma once

#include "foundation/Bitmap.h"
#include "foundation/Rgb.h"
#include "imaging/BloomGlare.h"
#include "imaging/ImageOperatorsFlag.h"

namespace Vespra {

/// Blurs `work` level after level, each level starting from the blur of the one before: two box
/// passes of radius `radiusY` along the columns, then two of radius `radiusX` along the rows, with
/// black outside the picture. Adds `scale` times the light of every level to `out` (of the same
/// size), which it overwrites unless `accumulate`; `work` is left blurred. With the panorama flag
/// the rows wrap around and blur wider towards the poles.
void runBlurCascade(BitmapImpl<Rgb>& work, const BlurLevels& levels, float scale, BitmapImpl<Rgb>& out,
                    bool accumulate, Flags<ImageOperatorsFlag> flags);

} // namespace Vespra
