#pragma once

#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/SettingsMixin.h"

namespace Vespra::Pipeline {

/// Sharpens or blurs the shown (gamma-encoded) pixels. A pull asks upstream for the region
/// grown by the filter's margin, on the pixel grid of the reduced image, filters that and
/// cuts the requested region back out. Elements flagged as not sharpened pass untouched.
class SharpenBlurOperator : public DependentMixin<1, SettingsMixin<IOperator>> {
public:
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override;
};

} // namespace Vespra::Pipeline
