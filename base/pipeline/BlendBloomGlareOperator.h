#pragma once

#include "base/pipeline/DependentMixin.h"

namespace Vespra::Pipeline {

/// Adds the light of bloom and glare (upstream 1) to the image (upstream 0). Without that
/// light it passes the image through.
class BlendBloomGlareOperator : public DependentMixin<2, IOperator> {
public:
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override {
        return pullColorBitmap(upstream[0], name, region, zoom, flags);
    }
};

} // namespace Vespra::Pipeline
