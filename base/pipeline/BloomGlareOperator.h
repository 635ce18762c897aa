#pragma once

#include "base/pipeline/AsyncMixin.h"
#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/ProgressMixin.h"
#include "base/pipeline/SettingsMixin.h"

namespace Vespra::Pipeline {

/// Computes the bloom and glare light of the shown element. Until the effect is wired in it
/// has no light to give: every pull answers empty and the blend adds nothing.
class BloomGlareOperator
    : public DependentMixin<1, SettingsMixin<ImageInfoMixin<AsyncMixin<ProgressMixin<IOperator>>>>> {
public:
    ~BloomGlareOperator() override { stopWorker(); }

    Optional<ColorBitmap> getColorBitmap(const String&, const Bucket&, float, std::uint32_t) override {
        return std::nullopt;
    }

    void run() override {}
};

} // namespace Vespra::Pipeline
