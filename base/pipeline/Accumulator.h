#pragma once

#include <set>

#include "base/image/ChannelImage.h"
#include "base/pipeline/MergeWeight.h"
#include "foundation/Pointers.h"

namespace Vespra::Pipeline {

/// Merges the images of several render nodes into their weighted mean: sums of weighted
/// pixels and of weights first, divided at the end.
class Accumulator {
public:
    explicit Accumulator(Function<void(const String&)> warn);

    /// Whether `candidate` can be added: its windows lie within the merged image's and its
    /// gamma is the same. The first image always fits.
    bool fits(const ChannelImage& candidate) const;
    /// The first image sets the merged image's window, the union of its display and data
    /// windows; raises `Exception` when its planes would exceed `getMaxImageBytes()`.
    void add(const ChannelImage& source, const MergeWeight& weight);
    /// Divides the sums by the weights and answers the merged image.
    ChannelImage finish();

private:
    void initialise(const ChannelImage& source, const MergeWeight& weight);
    /// The float channels both hold, less the weight channels.
    Stack<String> commonChannels(const ChannelImage& source, const String& sourceWeightName) const;
    void addStatistics(const ChannelImage& source);
    void compareMetadata(const ChannelImage& source);
    /// Whether the attribute `name` is the same in both; one missing here is copied over.
    bool attributeAgrees(const ChannelImage& source, const String& name);
    void warnOnce(const String& text);

    ChannelImage image;
    String weightChannelName = DEFAULT_WEIGHT_CHANNEL;
    Function<void(const String&)> warn;
    std::set<String> issuedWarnings;
    std::int32_t count = -1;
};

} // namespace Vespra::Pipeline
