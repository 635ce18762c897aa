#pragma once

#include "foundation/Bitmap.h"
#include "foundation/Containers.h"
#include "foundation/Pointers.h"
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

/// `source` rotated by `degrees` about its centre and that of a target of `targetSize`, sampled
/// bilinearly as `rotateBitmap` samples it, a piece of a row at a time. `source` must outlive it.
class RotatedPicture {
public:
    RotatedPicture(const BitmapImpl<Rgb>& source, float degrees, Pixel targetSize);
    ~RotatedPicture();

    Pixel size() const { return targetSize; }
    /// The pixels of target row `y` whose samples may touch the source pixels in `columns` of
    /// `lines`: when the source is black elsewhere, the row is black outside them.
    RowSpan reach(std::int32_t y, RowSpan columns, RowSpan lines) const;
    /// Writes the pixels `pixels` of target row `y` to out[x * step], or with `add` adds them.
    void sample(std::int32_t y, RowSpan pixels, Rgb* out, std::ptrdiff_t step, bool add) const;

private:
    struct Rows;

    const BitmapImpl<Rgb>& source;
    Pixel targetSize;
    AutoPtr<Rows> rows;
};

/// For every row of a source of `sourceSize`, the pixels that `rotateBitmap` by `degrees` onto a
/// target of `targetSize` reads.
Array<RowSpan> readWhenRotated(Pixel sourceSize, float degrees, Pixel targetSize);

} // namespace Vespra
