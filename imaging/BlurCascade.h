#pragma once

#include "foundation/Bitmap.h"
#include "foundation/Containers.h"
#include "foundation/Pointers.h"
#include "foundation/Rgb.h"
#include "imaging/BloomGlare.h"
#include "imaging/ImageOperatorsFlag.h"
#include "imaging/RowSpan.h"

namespace Vespra {

/// A picture that the first sweep of a cascade reads as it is made, instead of from `work`.
struct CascadeInput {
    /// For each row, the span outside which it is black.
    Array<RowSpan> lit;
    /// Writes the pixels `pixels` of row `y` to out[x * step].
    Function<void(std::int32_t y, RowSpan pixels, Rgb* out, std::ptrdiff_t step)> read;
};

/// The span of `row`, of `width` pixels, outside which it is black.
RowSpan nonBlackSpan(const Rgb* row, std::int32_t width);

/// Blurs `work` level after level, each level starting from the blur of the one before: two box
/// passes of radius `radiusY` along the columns, then two of radius `radiusX` along the rows, with
/// black outside the picture. Adds `scale` times the light of every level to `out` (of the same
/// size), which it overwrites unless `accumulate`; `work` is left in no particular state. With
/// the panorama flag the rows wrap around and blur wider towards the poles. When `needed` is
/// given, one span for each row, `out` is only made within those spans. With `input`, the picture
/// comes from there and `work` only needs its size.
void runBlurCascade(BitmapImpl<Rgb>& work, const BlurLevels& levels, float scale, BitmapImpl<Rgb>& out,
                    bool accumulate, Flags<ImageOperatorsFlag> flags, ArrayView<const RowSpan> needed = {},
                    const CascadeInput* input = nullptr);

} // namespace Vespra
