#pragma once

#include "base/pipeline/DependentMixin.h"

namespace Vespra::Pipeline {

/// The end of the chain. At zoom 1 and above it forwards, since the sources reduce; below 1
/// it magnifies by whole factors, each source pixel a square block, with no interpolation so
/// that magnified pixels stay visible as squares.
class ZoomOperator : public DependentMixin<1, IOperator> {
public:
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override;
    Optional<MonoBitmap> getMonoBitmap(const String& name, const Bucket& region, float zoom,
                                       std::uint32_t flags) override;
};

} // namespace Vespra::Pipeline
