#pragma once

#include "base/pipeline/AsyncMixin.h"
#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/ProgressMixin.h"
#include "base/pipeline/SettingsMixin.h"

namespace Vespra::Pipeline {

/// Holds the denoised versions of the elements selected for denoising. Until the denoisers
/// are wired in it holds none: every pull answers empty, so the blend passes the original.
class DenoiseOperator : public DependentMixin<1, SettingsMixin<AsyncMixin<ProgressMixin<IOperator>>>> {
public:
    ~DenoiseOperator() override { stopWorker(); }

    Optional<ColorBitmap> getColorBitmap(const String&, const Bucket&, float, std::uint32_t) override {
        return std::nullopt;
    }
    Optional<MonoBitmap> getMonoBitmap(const String&, const Bucket&, float, std::uint32_t) override {
        return std::nullopt;
    }

    /// Whether the store holds the denoised version of `elementName` now.
    bool holdsElement(const String&) const { return false; }

    void run() override {}
};

} // namespace Vespra::Pipeline
