#pragma once

#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/SettingsMixin.h"
#include "foundation/Locks.h"

namespace Vespra::Pipeline {

/// Adds "LightMix Interactive" to the elements: the sum of the light-mix layers, each switched,
/// scaled and tinted as the LightMix settings say at the moment of the pull. Tints act in the
/// wide gamut. Every other element passes through.
class LightMixOperator : public DependentMixin<1, SettingsMixin<ImageInfoMixin<IOperator>>> {
public:
    /// Upstream's elements and, when the image has light-mix layers, the mix last.
    Array<ElementInfo> getElements() const override;
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override;

private:
    /// Rebuilds the layer names when upstream has a newer image. Called under `lock`.
    void refreshLayers(const Array<ElementInfo>& upstreamElements, Timestamp upstreamTimestamp) const;
    Optional<ColorBitmap> mixLayers(const Bucket& region, float zoom, std::uint32_t flags);

    mutable SimpleLock lock;
    mutable Array<String> layers;
    mutable Timestamp layersTimestamp = NO_TIMESTAMP;
};

} // namespace Vespra::Pipeline
