#pragma once

#include <array>

#include "base/pipeline/Operator.h"

namespace Vespra::Pipeline {

/// An operator with `N` upstream operators, set once at assembly. What it does not compute
/// itself it forwards to upstream number 0; upstream 1 is for the derived class alone.
template <int N, class Base>
class DependentMixin : public Base {
    static_assert(N == 1 || N == 2);

public:
    std::array<IOperator*, N> upstream{};

    Timestamp getTimestamp() const override { return upstream[0]->getTimestamp(); }
    Array<ElementInfo> getElements() const override { return upstream[0]->getElements(); }
    Bucket getDisplayWindow() const override { return upstream[0]->getDisplayWindow(); }
    Bucket getDataWindow() const override { return upstream[0]->getDataWindow(); }
    Optional<MonoBitmap> getMonoBitmap(const String& elementName, const Bucket& region, float zoom,
                                       std::uint32_t flags) override {
        return pullMonoBitmap(upstream[0], elementName, region, zoom, flags);
    }
};

} // namespace Vespra::Pipeline
