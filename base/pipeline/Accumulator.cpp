#include "base/pipeline/Accumulator.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "base/image/ImageMemoryLimit.h"
#include "base/image/VxrMetadata.h"
#include "foundation/Exception.h"
#include "foundation/ParallelFor.h"
#include "settings/PropertyCatalogue.h"
#include "settings/PropertyDescriptor.h"

namespace Vespra::Pipeline {

namespace {

/// The names of the float channels of `image`, sorted, without `excluded`.
Stack<String> floatChannelNames(const ChannelImage& image, const String& excluded) {
    Stack<String> names;
    for (const auto& [name, channel] : image.channels) {
        if (channel->as<Channel<float>>() && name != excluded) {
            names.push(name);
        }
    }
    return names;
}

Bucket unite(const Bucket& a, const Bucket& b) {
    if (a.isEmpty()) {
        return b;
    }
    if (b.isEmpty()) {
        return a;
    }
    return {std::min(a.x0, b.x0), std::min(a.y0, b.y0), std::max(a.x1, b.x1), std::max(a.y1, b.y1)};
}

float gammaOf(const ChannelImage& image) {
    const auto* gamma = image.findAttribute<float>(VxrAttribute::GAMMA);
    return gamma ? gamma->value : 1.f;
}

const String* channelWeightName(const MergeWeight& weight) {
    return std::get_if<String>(&weight);
}

template <class T>
void addAttributeValue(ChannelImage& target, const ChannelImage& source, const char16_t* name) {
    auto* sum = target.findAttribute<T>(name);
    const auto* part = source.findAttribute<T>(name);
    if (sum && part) {
        sum->value += part->value;
    }
}

} // namespace

Accumulator::Accumulator(Function<void(const String&)> warn) : warn(std::move(warn)) {}

bool Accumulator::fits(const ChannelImage& candidate) const {
    if (count < 0) {
        return true;
    }
    return image.getDisplayWindow().contains(candidate.getDisplayWindow()) &&
           image.getDataWindow().contains(candidate.getDataWindow()) &&
           std::abs(gammaOf(image) - gammaOf(candidate)) <= 0.0001f;
}

void Accumulator::initialise(const ChannelImage& source, const MergeWeight& weight) {
    const String* weightName = channelWeightName(weight);
    Stack<String> names = floatChannelNames(source, weightName ? *weightName : String());
    if (std::ranges::find(names, weightChannelName) == names.end()) {
        names.push(weightChannelName);
    }
    const Bucket window = unite(source.getDisplayWindow(), source.getDataWindow());
    // The sums cover the display window too, which a file may declare far larger than its pixels.
    if (const Optional<String> excess = imageMemoryExcess(names.size(), window.width(), window.height())) {
        throw Exception(u"The merged image is too large.\n\n" + *excess);
    }
    image = ChannelImage(window, window, gammaOf(source));
    for (const String& name : names) {
        Channel<float>& channel = image.addChannel<float>(name);
        channel.resize(std::uint32_t(window.width()), std::uint32_t(window.height()));
        std::fill(channel.data.begin(), channel.data.end(), 0.f);
    }
    if (source.isVxrImage()) {
        image.setAttribute<std::int32_t>(VxrAttribute::IS_VESPRA_EXR, 1);
        image.setAttribute<std::int32_t>(VxrAttribute::STATS_PASSES, 0);
        image.setAttribute<std::int32_t>(VxrAttribute::STATS_TIME, 0);
        image.setAttribute<std::int32_t>(VxrAttribute::STATS_RAYS_PER_SECOND, 0);
        image.setAttribute<float>(VxrAttribute::STATS_RAYS_PER_SAMPLE, 0.f);
    }
    count = 0;
}

void Accumulator::add(const ChannelImage& source, const MergeWeight& weight) {
    if (count < 0) {
        initialise(source, weight);
    }
    const String* weightName = channelWeightName(weight);
    if (!weightName && !std::holds_alternative<float>(weight)) {
        VESPRA_STOP();
    }
    const Bucket sourceWindow = source.getDataWindow();
    const Bucket targetWindow = image.getDataWindow();
    const Pixel offset{sourceWindow.x0 - targetWindow.x0, sourceWindow.y0 - targetWindow.y0};
    Channel<float>& weightSums = *image.findChannel<float>(weightChannelName);
    const Channel<float>* weights = weightName ? source.findChannel<float>(*weightName) : nullptr;
    const float constant = weightName ? 0.f : std::get<float>(weight);

    struct Plane {
        const Channel<float>* in;
        Channel<float>* out;
    };
    Stack<Plane> planes;
    for (const String& name : commonChannels(source, weightName ? *weightName : String())) {
        planes.push({source.findChannel<float>(name), image.findChannel<float>(name)});
    }

    const std::int32_t width = sourceWindow.width();
    parallelFor(Scheduler::highPriorityInstance(), 0, sourceWindow.height(), 8, [&](std::int32_t y) {
        const auto targetRow = std::uint32_t(y + offset.y);
        const float* w = weights ? weights->row(std::uint32_t(y)) : nullptr;
        for (const Plane& plane : planes) {
            const float* in = plane.in->row(std::uint32_t(y));
            float* out = plane.out->row(targetRow) + offset.x;
            for (std::int32_t x = 0; x < width; ++x) {
                out[x] += in[x] * (w ? w[x] : constant);
            }
        }
        if (w) {
            float* sums = weightSums.row(targetRow) + offset.x;
            for (std::int32_t x = 0; x < width; ++x) {
                sums[x] += w[x];
            }
        }
    });
    if (!weights) {
        // A constant weight counts for the whole frame, also where this image has no pixels.
        for (float& sum : weightSums.data) {
            sum += constant;
        }
    }
    addStatistics(source);
    ++count;
}

Stack<String> Accumulator::commonChannels(const ChannelImage& source, const String& sourceWeightName) const {
    const Stack<String> sourceNames = floatChannelNames(source, sourceWeightName);
    const Stack<String> ownNames = floatChannelNames(image, weightChannelName);
    Stack<String> common;
    std::ranges::set_intersection(sourceNames, ownNames, std::back_inserter(common));
    return common;
}

void Accumulator::addStatistics(const ChannelImage& source) {
    if (!image.isVxrImage()) {
        return;
    }
    if (!source.isVxrImage()) {
        warnOnce(u"One or more of the merged images have not been recognized as VXR images. The resulting "
                 u"postprocessing properties and/or render statistics of the merged image may be incorrect.");
        return;
    }
    compareMetadata(source);
    addAttributeValue<std::int32_t>(image, source, VxrAttribute::STATS_PASSES);
    addAttributeValue<std::int32_t>(image, source, VxrAttribute::STATS_TIME);
    addAttributeValue<std::int32_t>(image, source, VxrAttribute::STATS_RAYS_PER_SECOND);
    addAttributeValue<float>(image, source, VxrAttribute::STATS_RAYS_PER_SAMPLE);
}

void Accumulator::compareMetadata(const ChannelImage& source) {
    bool propertiesAgree = true;
    for (const std::int32_t id : PropertyCatalogue::allImageIds()) {
        // Every attribute is compared, so that each missing one is copied over.
        propertiesAgree &= attributeAgrees(source, getPropertyExrName(*PropertyDescriptor::get(id)));
    }
    if (!propertiesAgree) {
        warnOnce(u"One or more postprocessing properties differed among the merged images. Using properties from "
                 u"the first image.");
    }
    // Both are compared, so that either one, when missing, is copied over.
    const bool elementsAgree = attributeAgrees(source, VxrAttribute::ELEMENTS);
    const bool lightMixElementsAgree = attributeAgrees(source, VxrAttribute::LIGHT_MIX_ELEMENTS);
    if (!elementsAgree || !lightMixElementsAgree) {
        warnOnce(u"Element metadata differed among the merged images. Using element metadata from the first image.");
    }
}

bool Accumulator::attributeAgrees(const ChannelImage& source, const String& name) {
    const auto theirs = source.attributes.find(name);
    if (theirs == source.attributes.end()) {
        return true;
    }
    const auto ours = image.attributes.find(name);
    if (ours == image.attributes.end()) {
        image.attributes.emplace(name, theirs->second->clone());
        return true;
    }
    return ours->second->equals(*theirs->second);
}

void Accumulator::warnOnce(const String& text) {
    if (issuedWarnings.insert(text).second && warn) {
        warn(text);
    }
}

ChannelImage Accumulator::finish() {
    const Channel<float>& weightSums = *image.findChannel<float>(weightChannelName);
    for (const String& name : floatChannelNames(image, weightChannelName)) {
        Channel<float>& channel = *image.findChannel<float>(name);
        for (std::size_t i = 0; i < channel.data.size(); ++i) {
            const float weight = weightSums.data[i];
            channel.data[i] = weight == 0.f ? 0.f : channel.data[i] / weight;
        }
    }
    if (image.isVxrImage()) {
        image.findAttribute<float>(VxrAttribute::STATS_RAYS_PER_SAMPLE)->value /= float(std::max(count, 1));
    }
    return std::move(image);
}

} // namespace Vespra::Pipeline
