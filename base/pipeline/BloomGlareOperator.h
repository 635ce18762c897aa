#pragma once

#include "base/image/ChannelImage.h"
#include "base/pipeline/AsyncMixin.h"
#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/ProgressMixin.h"
#include "base/pipeline/SettingsMixin.h"
#include "foundation/Locks.h"
#include "imaging/ImageOperatorsFlag.h"
#include "imaging/PostProcessData.h"

namespace Vespra::Pipeline {

/// Computes on its worker the light that bloom and glare add to one element, over the whole
/// picture, and keeps it as the beauty element of an image of its own. Pulls of that element
/// answer the kept light while it is as new as upstream; a stale one starts a new run, or,
/// for a synchronous pull, is computed on the calling thread.
class BloomGlareOperator
    : public DependentMixin<1, SettingsMixin<ImageInfoMixin<AsyncMixin<ProgressMixin<IOperator>>>>> {
public:
    /// Replaces a linear picture with the light the effect adds to it.
    using Effect =
        Function<void(Flags<ImageOperatorsFlag>, ColorBitmap&, const PostProcessData::BloomGlare&)>;

    explicit BloomGlareOperator(Effect effect) : effect(std::move(effect)) {}
    ~BloomGlareOperator() override { stopWorker(); }

    /// Makes `name` the element the next run works on, and starts that run.
    void setSourceElement(const String& name);

    /// When the light was last published.
    Timestamp getTimestamp() const override;
    /// Upstream's elements that can have the effect, then "Bloom and Glare Interactive".
    Array<ElementInfo> getElements() const override;
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override;

    void run() override;

private:
    /// `compute`, with its failure reported.
    void computeReporting(const String& name);
    void compute(const String& name);
    /// Settings of the effect for `element`, its threshold carried to the scale of the data.
    PostProcessData::BloomGlare effectParameters(const ElementInfo& element) const;
    void publish(ColorBitmap light, const String& name, Timestamp upstreamTimestamp);
    /// Drops the light, if any, and tells the display.
    void clear();
    /// Whether `name` is in this operator's list.
    bool offers(const String& name) const;

    mutable SimpleLock inputLock;
    String sourceElement;

    mutable RecursiveLock resultLock;
    ChannelImage result;
    String resultElement;
    Timestamp sourceTimestamp = NO_TIMESTAMP;
    Timestamp timestamp = NO_TIMESTAMP;
    Effect effect;
};

} // namespace Vespra::Pipeline
