#pragma once

#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/SettingsMixin.h"

namespace Vespra::Pipeline {

/// Maps linear pixels to display values with `Mapping`. Until the colour mapping is wired in
/// it passes the pixels through.
template <class Mapping>
class ColorMapOperator : public DependentMixin<1, SettingsMixin<IOperator>> {
public:
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override {
        return pullColorBitmap(upstream[0], name, region, zoom, flags);
    }
};

} // namespace Vespra::Pipeline
