#pragma once

#include "foundation/Bitmap.h"
#include "foundation/Bucket.h"
#include "foundation/Curve.h"
#include "foundation/Histogram.h"
#include "foundation/Optional.h"
#include "foundation/Pointers.h"
#include "foundation/Rgb.h"

namespace Vespra::Abstract {

/// What the curve editor needs of the world outside it: the pixels of the image shown (before
/// the curves), and a place to put the curves the user made. Called on the GUI thread.
class CurveInterface : public Polymorphic {
public:
    /// Channels of a histogram: the mean of red, green and blue, or one of them.
    enum Channel : int { MEAN = 0, RED = 1, GREEN = 2, BLUE = 3 };

    /// Work that counts the pixels shown, before the curves, into `binCount` bins over `range`
    /// by `channel`. It is made on the GUI thread and may run on any thread, as it reads the
    /// image through the operators alone; without an image it counts nothing.
    virtual Function<Histogram()> histogramJob(Range range, int channel, int binCount) = 0;

    /// The same histogram, counted now on the calling thread.
    Histogram getHistogram(Range range, int channel, int binCount) {
        return histogramJob(range, channel, binCount)();
    }

    /// The pixels shown before the curves, of a region in image pixels; empty without an image.
    virtual Optional<BitmapImpl<Rgb, 0>> getPixels(const Bucket& region) = 0;

    /// Takes the curves; `changed` lists the indices (ColorCurve order) that differ from what
    /// was taken last.
    virtual void setCurves(const ColorCurve& curves, ArrayView<const int> changed) = 0;
};

} // namespace Vespra::Abstract
