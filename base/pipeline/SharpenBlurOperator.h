#pragma once

#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/SettingsMixin.h"

namespace Vespra::Pipeline {

/// Sharpens or blurs the shown pixels. Until the filter is wired in it passes them through.
class SharpenBlurOperator : public DependentMixin<1, SettingsMixin<IOperator>> {
public:
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override {
        return pullColorBitmap(upstream[0], name, region, zoom, flags);
    }
};

} // namespace Vespra::Pipeline
