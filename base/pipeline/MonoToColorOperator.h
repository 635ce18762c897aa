#pragma once

#include "base/pipeline/DependentMixin.h"

namespace Vespra::Pipeline {

/// Delivers single-channel elements as grey colour, so that the display and the savers see
/// only colour elements.
class MonoToColorOperator : public DependentMixin<1, IOperator> {
public:
    /// Upstream's list with every single-channel element turned into a colour element.
    Array<ElementInfo> getElements() const override;

    /// Upstream's colour pixels, or else its mono pixels with each value in all four lanes.
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override;
};

} // namespace Vespra::Pipeline
