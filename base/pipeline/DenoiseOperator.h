#pragma once

#include <atomic>

#include "base/image/ChannelImage.h"
#include "base/pipeline/AsyncMixin.h"
#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/ProgressMixin.h"
#include "base/pipeline/SettingsMixin.h"
#include "foundation/Locks.h"
#include "foundation/Logger.h"
#include "foundation/Scheduler.h"
#include "misc/adaptivitydenoising/IDenoiser.h"

namespace Vespra::Pipeline {

/// Runs a denoiser over the elements selected for denoising, on a worker of its own, and keeps
/// the results in a store. The store serves pulls for the finished elements while later ones
/// are still being filtered, and is dropped once the upstream image changes.
class DenoiseOperator : public DependentMixin<1, SettingsMixin<AsyncMixin<ProgressMixin<IOperator>>>> {
public:
    using DenoiserFactory =
        Function<AutoPtr<IDenoiser>(DenoisingMode, Scheduler&, SharedPtr<Abstract::Logger>, DenoisingData&&)>;
    using ElementTest = Function<bool(const ElementInfo&)>;

    DenoiseOperator();
    ~DenoiseOperator() override;

    /// Starts denoising the selected elements with the mode and settings of that moment.
    void start();
    /// Stops a running denoise; what was finished before stays in the store.
    void cancel();

    /// The selected or already denoised elements; those the store holds carry the
    /// has-denoised bit.
    Array<ElementInfo> getElements() const override;
    /// The stored denoised pixels of `name`, else the denoised element the image carries.
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override;

    /// Upstream colour elements that may be denoised and pass `extra` (when set).
    Array<ElementInfo> getDenoisableElements(const ElementTest& extra) const;
    /// Upstream colour elements that cannot be denoised and pass `extra` (when set).
    Array<ElementInfo> getNonDenoisableElements(const ElementTest& extra) const;
    /// The filtering modes the upstream image has the features for, the most advanced first.
    Stack<DenoisingMode> getAvailableModes() const;

    /// Whether the store holds the denoised version of `name` now.
    bool holdsElement(const String& name) const;

    /// Replaces `createDenoiser`, for tests.
    void setDenoiserFactory(DenoiserFactory factory) { denoiserFactory = std::move(factory); }

    void run() override;

private:
    void denoise();
    /// Empties the store once upstream has changed since it was started; needs `storeLock`.
    void dropStaleStore() const;
    void clearStore();
    void storeResult(const String& name, const ColorBitmap& pixels);
    DenoisingData loadData(DenoisingMode mode, const Bucket& region) const;
    Stack<FeatureType> featuresToLoad(DenoisingMode mode) const;

    mutable SimpleLock storeLock;
    mutable ChannelImage store;
    mutable Timestamp storeTimestamp = NO_TIMESTAMP;
    DenoiserFactory denoiserFactory;
    std::atomic<bool> abortRequested = false;
};

} // namespace Vespra::Pipeline
