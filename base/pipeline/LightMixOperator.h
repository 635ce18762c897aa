#pragma once

#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/SettingsMixin.h"

namespace Vespra::Pipeline {

/// Composes the light-select layers into "LightMix Interactive". Until the mixing is wired
/// in it passes every element through.
class LightMixOperator : public DependentMixin<1, SettingsMixin<ImageInfoMixin<IOperator>>> {
public:
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override {
        return pullColorBitmap(upstream[0], name, region, zoom, flags);
    }
};

} // namespace Vespra::Pipeline
