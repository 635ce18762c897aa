#pragma once

#include <cstdint>

#include "foundation/Bitmap.h"
#include "foundation/Containers.h"
#include "foundation/Pixel.h"
#include "foundation/Rgb.h"
#include "imaging/ImageOperatorsFlag.h"
#include "imaging/PostProcessData.h"

namespace Vespra {

/// One level of the cascade of box blurs that makes bloom and glare.
struct BlurLevel {
    std::int32_t radiusX = 0;
    std::int32_t radiusY = 0;
    /// The hue that the level's light takes on, by `colorMix`.
    Rgb color;
    float colorMix = 0.f;
    float weight = 1.f;
};

inline constexpr int BLUR_LEVEL_COUNT = 9;
using BlurLevels = StaticArray<BlurLevel, BLUR_LEVEL_COUNT>;

/// The levels for a picture of `size`: radii doubling from size / 1024 (vertical ones scaled by
/// `verticalScale`), limited to just under half the picture; hues 80 degrees apart from
/// `colorShift` turns; weights growing by `growth`.
BlurLevels blurLevels(Pixel size, float verticalScale, float colorShift, float colorIntensity, float growth);

/// The fully saturated colour of hue `degrees` in [0, 360).
Rgb hueToRgb(float degrees);

/// Replaces `bitmap`, a linear picture, with the light that bloom and glare add to it, of the
/// same size. Glare streaks run at `rotation` degrees in the sense of `rotateBitmap`. In panorama
/// mode only the bloom treats the picture as a sphere. When
/// neither effect has a positive intensity the bitmap is released.
void bloomAndGlare(Flags<ImageOperatorsFlag> flags, BitmapImpl<Rgb>& bitmap,
                   const PostProcessData::BloomGlare& params);

} // namespace Vespra
