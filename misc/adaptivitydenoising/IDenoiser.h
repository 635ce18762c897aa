#pragma once

#include "foundation/Bitmap.h"
#include "foundation/Optional.h"
#include "foundation/Pointers.h"
#include "foundation/Rgb.h"
#include "misc/adaptivitydenoising/DenoisingTypes.h"

namespace Vespra {

/// Removes noise from one element at a time.
class IDenoiser : public Polymorphic {
public:
    /// Filters `image`, whose squared samples are `squared`. `progress` gets the fraction done
    /// of this image and answers true to stop; then `result` stays empty. The denoiser owns
    /// `image`, `squared` and `progress` for the call and releases them before it returns.
    virtual void filter(Optional<BitmapImpl<Rgb>>& result, BitmapImpl<Rgb>&& image, BitmapImpl<Rgb>&& squared,
                        const ElementType& elementType, Function<bool(float)>&& progress) = 0;
};

} // namespace Vespra
