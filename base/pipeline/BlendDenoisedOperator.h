#pragma once

#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/SettingsMixin.h"

namespace Vespra::Pipeline {

/// Mixes the original (upstream 0) and the denoised image (upstream 1). Without denoised
/// pixels it passes the original through.
class BlendDenoisedOperator : public DependentMixin<2, SettingsMixin<IOperator>> {
public:
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override {
        return pullColorBitmap(upstream[0], name, region, zoom, flags);
    }
};

} // namespace Vespra::Pipeline
