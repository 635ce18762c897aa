#pragma once

#include "base/pipeline/DependentMixin.h"

namespace Vespra::Pipeline {

/// Adds the light of bloom and glare (upstream 1) to the picture (upstream 0), and offers the
/// beauty with that light as "Bloom and Glare Interactive". Without light it passes the
/// picture through.
class BlendBloomGlareOperator : public DependentMixin<2, IOperator> {
public:
    /// Upstream 0's elements and, as upstream 1 describes it, the pseudo-element last.
    Array<ElementInfo> getElements() const override;
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override;
};

} // namespace Vespra::Pipeline
