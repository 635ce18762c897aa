#include "base/pipeline/BloomGlareOperator.h"

#include <algorithm>
#include <mutex>

#include "base/image/ElementNames.h"
#include "imaging/ColorMapping.h"
#include "settings/PropertyIds.h"

namespace Vespra::Pipeline {

namespace {

constexpr char16_t THREAD_NAME[] = u"Pipeline_BloomGlare";
constexpr char16_t PROGRESS_TITLE[] = u"Bloom and Glare progress";
/// One third, as the average of the three channels is taken.
constexpr float CHANNEL_SHARE = 0.33333334f;

/// The flags of the pseudo-element from the render information of the image.
std::uint32_t effectFlags(const IImageInfoProvider* imageInfo, const ElementInfo& element) {
    if (imageInfo == nullptr) {
        return 0;
    }
    const Optional<RenderElementInfo> info = imageInfo->getRenderElementInfo(element);
    if (!info) {
        return 0;
    }
    return (info->flags.has(RenderElementFlag::BLOOM_EFFECT) ? 0 : ElementInfo::NO_BLOOM) |
           (info->flags.has(RenderElementFlag::GLARE_EFFECT) ? 0 : ElementInfo::NO_GLARE);
}

} // namespace

void BloomGlareOperator::setSourceElement(const String& name) {
    {
        std::lock_guard guard(inputLock);
        sourceElement = name;
    }
    startWorker(THREAD_NAME);
}

Timestamp BloomGlareOperator::getTimestamp() const {
    std::lock_guard guard(resultLock);
    return timestamp;
}

Array<ElementInfo> BloomGlareOperator::getElements() const {
    Stack<ElementInfo> elements;
    for (const ElementInfo& element : upstream[0]->getElements()) {
        if (bloomApplies(element)) {
            elements.push(element);
        }
    }
    if (elements.empty()) {
        return elements;
    }
    ElementInfo own{BLOOM_GLARE_INTERACTIVE_NAME, ElementInfo::KIND_COLOR, ElementInfo::INTERACTIVE};
    own.flags |= effectFlags(imageInfo, own);
    elements.push(own);
    return elements;
}

bool BloomGlareOperator::offers(const String& name) const {
    const Array<ElementInfo> elements = getElements();
    return std::ranges::any_of(elements, [&](const ElementInfo& element) { return element.name == name; });
}

Optional<ColorBitmap> BloomGlareOperator::getColorBitmap(const String& name, const Bucket& region, float zoom,
                                                         std::uint32_t flags) {
    {
        std::lock_guard guard(resultLock);
        const auto holds = [&] {
            return sourceTimestamp != NO_TIMESTAMP && resultElement == name &&
                   sourceTimestamp >= upstream[0]->getTimestamp();
        };
        if ((flags & PullFlag::SYNCHRONOUS) != 0 && !holds() && offers(name)) {
            silent = true;
            computeReporting(name);
            silent = false;
            return holds() ? Optional<ColorBitmap>(result.getRgbBitmap(u"", region, zoom)) : std::nullopt;
        }
        if (holds()) {
            return result.getRgbBitmap(u"", region, zoom);
        }
    }
    if (offers(name)) {
        {
            std::lock_guard guard(inputLock);
            // The run works on what is asked for now, or it would never make the cache fresh.
            sourceElement = name;
        }
        startWorker(THREAD_NAME);
    }
    return std::nullopt;
}

void BloomGlareOperator::run() {
    String name;
    {
        std::lock_guard guard(inputLock);
        name = sourceElement;
    }
    computeReporting(name);
}

void BloomGlareOperator::computeReporting(const String& name) {
    try {
        compute(name);
    } catch (const Exception& error) {
        notify(onError, error.getMessage());
    }
}

void BloomGlareOperator::compute(const String& name) {
    const bool enabled = getProperty(PropertyId::BLOOM_GLARE_ENABLED, PropertyType::BOOL).asBool();
    const float bloom = getProperty(PropertyId::BLOOM_INTENSITY, PropertyType::FLOAT).asFloat();
    const float glare = getProperty(PropertyId::GLARE_INTENSITY, PropertyType::FLOAT).asFloat();
    const Optional<ElementInfo> element = findElement(this, name);
    if (!enabled || (bloom <= 0.f && glare <= 0.f) || !element || !bloomApplies(*element)) {
        clear();
        return;
    }
    const String source = name == BLOOM_GLARE_INTERACTIVE_NAME ? String() : name;
    const Timestamp upstreamTimestamp = upstream[0]->getTimestamp();
    const Bucket window = upstream[0]->getDataWindow();
    Optional<ColorBitmap> picture =
        pullColorBitmap(upstream[0], source, Bucket::fromSize(window.width(), window.height()), 1.f, 0);
    if (!picture || picture->isEmpty()) {
        clear();
        return;
    }
    notify(onStarted, PROGRESS_TITLE);
    notify(onProgress, 0.f);
    effect(ImageOperatorsFlag::PARALLEL, *picture, effectParameters(*element));
    publish(std::move(*picture), name, upstreamTimestamp);
    notify(onProgress, 1.f);
    notify(onFinished, String());
}

PostProcessData::BloomGlare BloomGlareOperator::effectParameters(const ElementInfo& element) const {
    // The record reads the settings through a shared pointer that must not own them.
    PostProcessData data(SharedPtr<Abstract::Settings>(SharedPtr<Abstract::Settings>(), settings));
    if ((element.flags & ElementInfo::NO_BLOOM) != 0) {
        data.bloomGlare.bloomIntensity = 0.f;
    }
    if ((element.flags & ElementInfo::NO_GLARE) != 0) {
        data.bloomGlare.glareIntensity = 0.f;
    }
    // The threshold is meant for the picture as shown, so it is divided by the average gain
    // of the colour mapping's linear stage.
    const ColorMapping mapping(data);
    const Rgb gain = mapping.getTintLinear() * mapping.getWhiteBalance() * mapping.getExposure();
    const float scale = gain.r * CHANNEL_SHARE + gain.g * CHANNEL_SHARE + gain.b * CHANNEL_SHARE;
    PostProcessData::BloomGlare params = data.bloomGlare;
    params.threshold = std::max(0.f, params.threshold / scale);
    // The setting turns counterclockwise on screen, the effect's angles clockwise.
    params.rotation = -params.rotation;
    return params;
}

void BloomGlareOperator::publish(ColorBitmap light, const String& name, Timestamp upstreamTimestamp) {
    const Bucket displayWindow = upstream[0]->getDisplayWindow();
    const Bucket dataWindow = upstream[0]->getDataWindow();
    ChannelImage image(displayWindow, dataWindow, 1.f);
    const ElementInfo beauty{String(), ElementInfo::KIND_COLOR, 0};
    image.addElementChannels(beauty);
    image.setElementPixels(beauty, light);
    std::lock_guard guard(resultLock);
    result = std::move(image);
    resultElement = name;
    sourceTimestamp = upstreamTimestamp;
    timestamp = currentTimestamp();
}

void BloomGlareOperator::clear() {
    {
        std::lock_guard guard(resultLock);
        if (sourceTimestamp == NO_TIMESTAMP) {
            return;
        }
        result = ChannelImage();
        resultElement = String();
        sourceTimestamp = NO_TIMESTAMP;
        timestamp = currentTimestamp();
    }
    notify(onFinished, String());
}

} // namespace Vespra::Pipeline
