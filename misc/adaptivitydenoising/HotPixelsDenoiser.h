#pragma once

#include "misc/adaptivitydenoising/DenoiserBase.h"

namespace Vespra {

/// The "Fireflies" mode: replaces only single pixels far brighter than what their neighbours
/// explain, and leaves all other pixels bit for bit. Needs no features.
class HotPixelsDenoiser : public DenoiserBase {
public:
    using DenoiserBase::DenoiserBase;

    /// Reports no fraction (the filter is short) but passes a stop request through.
    void filter(Optional<BitmapImpl<Rgb>>& result, BitmapImpl<Rgb>&& image, BitmapImpl<Rgb>&& squared,
                const ElementType& elementType, Function<bool(float)>&& progress) override;
};

} // namespace Vespra
