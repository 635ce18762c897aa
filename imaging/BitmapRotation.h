#pragma once

#include "foundation/Bitmap.h"
#include "foundation/Containers.h"
#include "foundation/Rgb.h"
#include "imaging/ImageOperatorsFlag.h"
#include "imaging/RowSpan.h"

namespace Vespra {

/// The bounding size of a picture of `size` rotated by `degrees`, rounded up; sides that the
/// rotation maps onto the axes keep their length exactly.
Pixel rotatedSize(Pixel size, float degrees);

/// Writes into `target`, keeping its size, `source` rotated by `degrees` about the centres of
/// both, sampled bilinearly; what falls outside `source` counts as black. Angles turn the x
/// axis towards the y axis, that is clockwise on screen, where rows run downwards. With `add`
/// the rotated picture is added to `target` instead of replacing it.
void rotateBitmap(const BitmapImpl<Rgb>& source, float degrees, BitmapImpl<Rgb>& target, bool add,
                  Flags<ImageOperatorsFlag> flags);

/// For every row of a source of `sourceSize`, the pixels that `rotateBitmap` by `degrees` onto a
/// target of `targetSize` reads.
Array<RowSpan> readWhenRotated(Pixel sourceSize, float degrees, Pixel targetSize);

} // namespace Vespra
