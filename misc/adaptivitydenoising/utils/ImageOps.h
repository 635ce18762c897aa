#pragma once

#include "foundation/Bitmap.h"
#include "foundation/Float4.h"
#include "foundation/Rgb.h"
#include "foundation/Scheduler.h"
#include "misc/adaptivitydenoising/DenoiseContext.h"

// Whole-image steps of the denoisers around the NLM filters.
namespace Vespra::Utils {

/// Turns `squared` into the per-pixel variance of the mean `mean`, in place: with n passes of
/// at least 2, max(0, squared - mean²) / (n - 1), else 0.
void squaredToVariance(Scheduler& scheduler, BitmapImpl<Rgb>& squared, const BitmapImpl<Rgb>& mean,
                       const BitmapImpl<float>& passes);

/// As `squaredToVariance`, then keeps the variance of the colours off zero: when all three are
/// at most 1e-12 all four lanes become 1e-12, when some are, those take the largest of the
/// three. Answers the mean of the result over all pixels.
Float4 squaredToClampedVariance(Scheduler& scheduler, BitmapImpl<Rgb>& squared, const BitmapImpl<Rgb>& mean,
                                const BitmapImpl<float>& passes);

/// Separable blur with the normalised 3-tap kernel (side, centre, side); the border mirrors.
BitmapImpl<Rgb> blur3(Scheduler& scheduler, const BitmapImpl<Rgb>& image, float side, float centre);

/// Half the width and height (rounded down): blurred by the Gaussian of sigma 1 (3 taps), the
/// pixels of even x and y kept. `forVariance` squares the taps, as the variance of a weighted
/// sum needs.
BitmapImpl<Rgb> downscale(Scheduler& scheduler, const BitmapImpl<Rgb>& image, bool forVariance = false);

/// Bilinear, pixel corners aligned: target (i, j) reads source (i * srcWidth / width, ...).
BitmapImpl<Rgb> upscale(Scheduler& scheduler, const BitmapImpl<Rgb>& image, int width, int height);

/// Per lane min(a², b²) + min(c², d²) of the differences to the four neighbours of the pixel
/// clamped one pixel inside the image; cancellable.
bool gradient(DenoiseContext& context, const BitmapImpl<Rgb>& image, BitmapImpl<Rgb>& output);

/// The 3x3 median test: a pixel brighter than one place above the median by more than 0.001 +
/// `gamma` times the spread of the darker neighbours becomes that median (or, with `markOnly`,
/// (1e8, 0, 0, 0)). Out of place into `output`, or in place when `output` is `image`.
bool outlierRemoval(DenoiseContext& context, BitmapImpl<Rgb>& image, BitmapImpl<Rgb>& output, float gamma,
                    bool markOnly);

/// Per-lane minimum and maximum over all pixels.
void minMax(Scheduler& scheduler, const BitmapImpl<Rgb>& image, Float4& minimum, Float4& maximum);

} // namespace Vespra::Utils
