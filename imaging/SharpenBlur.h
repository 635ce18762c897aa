#pragma once

#include "foundation/Bitmap.h"
#include "foundation/Bucket.h"
#include "foundation/Pixel.h"
#include "foundation/Rgb.h"

namespace Vespra {

/// The extended box filter that, run four times, approximates a Gaussian of one radius: a box
/// of half width `boxRadius` with weight `outerWeight` + `innerExtra` on each sample, plus the
/// two samples just outside it with `outerWeight`.
struct GaussianParams {
    /// The smaller of the bitmap's width and height; below 3 nothing is filtered.
    int size = 0;
    int boxRadius = 0;
    float outerWeight = 0.f;
    float innerExtra = 0.f;

    /// For a radius in full-image pixels, on a bitmap of `width` by `height` pixels of a
    /// preview with pixel step `step`.
    static GaussianParams forRadius(float radius, int step, int width, int height);

    bool filters() const { return size >= 3; }
};

/// Blur and unsharp mask on gamma-encoded colour bitmaps, with radii in full-image pixels
/// that scale down with a preview's pixel step.
class SharpenBlur {
public:
    /// Disabled, with unset radii, until configured.
    SharpenBlur();

    void configure(bool enable, float amount, float sharpRadius, float blurRadius);
    bool isEnabled() const { return enabled; }

    /// Extra full-image pixels a region needs on each side, a multiple of `step`; 0 when
    /// disabled. `width` and `height` are those of the whole image.
    int requiredMargin(int width, int height, int step) const;

    /// Filters in place: blur first, then sharpen. Loops run on the high-priority scheduler
    /// when `parallel`.
    void apply(bool parallel, BitmapImpl<Rgb>& bitmap, int step) const;

    /// The region to pull for `region` of an image of `imageSize`: grown by `margin`, kept
    /// inside the image, and on the `step` grid of the reduced image.
    static Bucket enlargeRegion(const Bucket& region, int margin, int step, Pixel imageSize);
    /// Where `region` lies, in pixels of the reduced bitmap pulled for `enlarged`.
    static Bucket cutRegion(const Bucket& region, const Bucket& enlarged, int step);
    /// A copy of the pixels of `part`.
    static BitmapImpl<Rgb> cut(const BitmapImpl<Rgb>& bitmap, const Bucket& part);

    float getSharpenGain() const { return sharpenGain; }
    float getSharpenRadius() const { return sharpenRadius; }
    float getBlurRadius() const { return blurRadius; }

private:
    bool sharpens() const { return sharpenGain > 0.f && sharpenRadius > 0.f; }
    void sharpen(bool parallel, BitmapImpl<Rgb>& bitmap, const BitmapImpl<Rgb>& detector) const;

    /// Twice the amount.
    float sharpenGain;
    float sharpenRadius;
    float blurRadius;
    bool enabled = false;
};

/// Four extended box passes over the rows and then the columns of `source`, each lane by
/// itself. With `clampFirst` the source is first limited to at most 1.
BitmapImpl<Rgb> gaussian(bool parallel, const GaussianParams& params, const BitmapImpl<Rgb>& source,
                         bool clampFirst);

} // namespace Vespra
