#pragma once

#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/SettingsMixin.h"

namespace Vespra::Pipeline {

/// Mixes the original image (upstream 0) with its denoised version (upstream 1) by
/// "denoise.blendAmount", at each pull, so that moving the amount repeats no filtering.
/// Without denoised pixels it passes the original through.
class BlendDenoisedOperator : public DependentMixin<2, SettingsMixin<IOperator>> {
public:
    /// The elements of the original, marked where upstream 1 has a denoised version.
    Array<ElementInfo> getElements() const override;
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override;
};

/// `amount * denoised + (1 - amount) * original` in the colour lanes of `original`; alpha
/// stays, and so does every pixel whose denoised colour is not finite.
void blendDenoised(ColorBitmap& original, const ColorBitmap& denoised, float amount);

} // namespace Vespra::Pipeline
