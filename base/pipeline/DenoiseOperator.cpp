#include "base/pipeline/DenoiseOperator.h"

#include <algorithm>

#include "base/image/ElementNames.h"
#include "base/pipeline/ErrorLogger.h"
#include "imaging/CreateDenoiser.h"
#include "imaging/GpuLibraries.h"
#include "settings/PropertyIds.h"

namespace Vespra::Pipeline {

namespace {

/// The modes `getAvailableModes` tries, the most advanced first.
constexpr DenoisingMode FILTERING_MODES[] = {DenoisingMode::FULL, DenoisingMode::FIREFLIES,
                                             DenoisingMode::NVIDIA_AI};

constexpr float MIN_PASSES = 2.f;

[[noreturn]] void throwMissing(const String& name) {
    throw Exception(u"The image is missing \"" + name + u"\" render element.");
}

ColorBitmap pullColor(IOperator* source, const String& name, const Bucket& region) {
    Optional<ColorBitmap> pixels = pullColorBitmap(source, name, region, 1.f, 0);
    if (!pixels) {
        throwMissing(name);
    }
    return std::move(*pixels);
}

bool gathers(DenoisingMode mode) {
    return getDenoisingModeFlags(mode).has(DenoisingFlags::DENOISING_GATHERS);
}

/// Whether `elements` carry `feature`, and its squared element too for a gathering mode.
bool hasFeature(ArrayView<const ElementInfo> elements, FeatureType feature, bool withSquared) {
    const auto has = [&](const String& name) {
        return std::ranges::any_of(elements, [&](const ElementInfo& e) { return e.name == name; });
    };
    const String name = getFeatureElementName(feature);
    return has(name) && (!withSquared || has(squaredName(name)));
}

Array<ElementInfo> colourElements(const IOperator* source, bool denoisable,
                                  const DenoiseOperator::ElementTest& extra) {
    return filterElements(source, [&](const ElementInfo& e) {
        return e.kind <= ElementInfo::KIND_COLOR_ALPHA &&
               bool(e.flags & ElementInfo::DENOISABLE) == denoisable && !(e.flags & ElementInfo::INTERNAL) &&
               (!extra || extra(e));
    });
}

void removeElement(ChannelImage& image, const String& name) {
    for (const char16_t* component : {COMPONENT_R, COMPONENT_G, COMPONENT_B, COMPONENT_A}) {
        image.channels.erase(joinChannelName(name, component));
    }
}

} // namespace

DenoiseOperator::DenoiseOperator()
    : denoiserFactory([](DenoisingMode mode, Scheduler& scheduler, SharedPtr<Abstract::Logger> logger,
                         DenoisingData&& data) {
          return createDenoiser(mode, scheduler, std::move(logger), std::move(data));
      }) {}

DenoiseOperator::~DenoiseOperator() {
    abortRequested = true;
    stopWorker();
}

void DenoiseOperator::start() {
    abortRequested = false;
    startWorker(u"Pipeline_DenoiseOperator");
}

void DenoiseOperator::cancel() {
    abortRequested = true;
}

Array<ElementInfo> DenoiseOperator::getDenoisableElements(const ElementTest& extra) const {
    return colourElements(upstream[0], true, extra);
}

Array<ElementInfo> DenoiseOperator::getNonDenoisableElements(const ElementTest& extra) const {
    return colourElements(upstream[0], false, extra);
}

Stack<DenoisingMode> DenoiseOperator::getAvailableModes() const {
    const Array<ElementInfo> elements = upstream[0]->getElements();
    Stack<DenoisingMode> modes;
    for (const DenoisingMode mode : FILTERING_MODES) {
        const Stack<FeatureType> features = getDenoisingFeatures(mode);
        const bool complete = std::ranges::all_of(features, [&](FeatureType feature) {
            return feature == FeatureType::HAIR_IDS || hasFeature(elements, feature, gathers(mode));
        });
        // The GPU runtime is looked for only when the image could use it.
        if (complete && (mode != DenoisingMode::NVIDIA_AI || isGpuDenoiserAvailable())) {
            modes.push(mode);
        }
    }
    return modes;
}

Array<ElementInfo> DenoiseOperator::getElements() const {
    Array<ElementInfo> elements = getDenoisableElements([](const ElementInfo& e) {
        return bool(e.flags & (ElementInfo::SELECTED_FOR_DENOISING | ElementInfo::HAS_DENOISED));
    });
    std::lock_guard lock(storeLock);
    dropStaleStore();
    for (ElementInfo& element : elements) {
        if (store.hasRgbElement(element.name)) {
            element.flags |= ElementInfo::HAS_DENOISED;
        }
    }
    return elements;
}

Optional<ColorBitmap> DenoiseOperator::getColorBitmap(const String& name, const Bucket& region, float zoom,
                                                      std::uint32_t flags) {
    std::lock_guard lock(storeLock);
    dropStaleStore();
    if (isDenoisedName(name)) {
        return std::nullopt;
    }
    if (store.hasRgbaElement(name)) {
        return store.getRgbaBitmap(name, region, zoom);
    }
    if (store.hasRgbElement(name)) {
        return store.getRgbBitmap(name, region, zoom);
    }
    // An image file may carry denoised elements of its own.
    return pullColorBitmap(upstream[0], denoisedName(name), region, zoom, flags);
}

bool DenoiseOperator::holdsElement(const String& name) const {
    std::lock_guard lock(storeLock);
    dropStaleStore();
    return store.hasRgbElement(name);
}

void DenoiseOperator::dropStaleStore() const {
    if (!store.isEmpty() && upstream[0]->getTimestamp() > storeTimestamp) {
        store = ChannelImage();
        storeTimestamp = NO_TIMESTAMP;
    }
}

void DenoiseOperator::clearStore() {
    std::lock_guard lock(storeLock);
    store = ChannelImage();
    storeTimestamp = NO_TIMESTAMP;
}

void DenoiseOperator::storeResult(const String& name, const ColorBitmap& pixels) {
    std::lock_guard lock(storeLock);
    if (store.isEmpty()) {
        store = ChannelImage(upstream[0]->getDisplayWindow(), upstream[0]->getDataWindow(), 1.f);
        storeTimestamp = upstream[0]->getTimestamp();
    }
    removeElement(store, name);
    const ElementInfo element{name, ElementInfo::KIND_COLOR, 0};
    store.addElementChannels(element);
    store.setElementPixels(element, pixels);
}

void DenoiseOperator::run() {
    try {
        denoise();
    } catch (const Exception& error) {
        notify(onError, u"Denoising has failed. " + error.getMessage());
    }
}

void DenoiseOperator::denoise() {
    clearStore();
    notify(onStarted, u"Denoising progress");
    notify(onProgress, 0.f);
    const auto mode = DenoisingMode(getProperty(PropertyId::DENOISE_FILTER_TYPE, PropertyType::INT).asInt());
    if (!getDenoisingModeFlags(mode).has(DenoisingFlags::DENOISING_FILTERS)) {
        throw Exception(u"Denoising is not enabled. You have to select the denoise mode first.");
    }
    const Array<ElementInfo> elements = getDenoisableElements(
        [](const ElementInfo& e) { return bool(e.flags & ElementInfo::SELECTED_FOR_DENOISING); });
    if (elements.empty()) {
        throw Exception(
            u"There are not selected any denoisable render elements to be denoised. You need to select "
            u"some first.");
    }
    const Bucket window = upstream[0]->getDataWindow();
    const Bucket region = Bucket::fromSize(window.width(), window.height());
    const auto errors =
        makeShared<Function<void(const String&)>>([this](const String& text) { notify(onError, text); });
    const AutoPtr<IDenoiser> denoiser = denoiserFactory(
        mode, Scheduler::highPriorityInstance(), makeShared<ErrorLogger>(errors), loadData(mode, region));
    VESPRA_ASSERT(denoiser);
    // Each element and its squared element are pulled when the denoiser is ready for them; it
    // may filter several at once, and hands each back as soon as it is finished.
    Stack<DenoiseElement> jobs;
    for (const ElementInfo& element : elements) {
        jobs.push({[this, name = element.name, region](ColorBitmap& colour, ColorBitmap& squared) {
                       squared = pullColor(upstream[0], squaredName(name), region);
                       colour = pullColor(upstream[0], name, region);
                   },
                   ElementType{}});
    }
    denoiser->filterElements(
        ArrayView<const DenoiseElement>(jobs.data(), jobs.size()),
        [this](float done) {
            notify(onProgress, done);
            return abortRequested.load();
        },
        [&](std::size_t index, ColorBitmap&& result) { storeResult(elements[index].name, result); });
    notify(onProgress, 1.f);
    notify(onFinished, String());
}

DenoisingData DenoiseOperator::loadData(DenoisingMode mode, const Bucket& region) const {
    DenoisingData data;
    Optional<MonoBitmap> passes = pullMonoBitmap(upstream[0], FB_WEIGHTS_NAME, region, 1.f, 0);
    if (!passes) {
        throwMissing(FB_WEIGHTS_NAME);
    }
    // Every mode needs this, also those that use no statistics: it tells a render from a
    // single-pass preview.
    if (std::ranges::none_of(passes->view(), [](float count) { return !(count < MIN_PASSES); })) {
        throw Exception(u"No part of the image has been rendered with at least 2 passes.");
    }
    data.passes = std::move(*passes);
    data.sensitivity = getProperty(PropertyId::DENOISE_SENSITIVITY, PropertyType::FLOAT).asFloat();
    data.textureBlur = getProperty(PropertyId::DENOISE_TEXTURE_BLUR, PropertyType::FLOAT).asFloat();
    for (const FeatureType feature : featuresToLoad(mode)) {
        const String name = getFeatureElementName(feature);
        FeatureBuffers buffers;
        buffers.mean = pullColor(upstream[0], name, region);
        if (gathers(mode)) {
            buffers.squared = pullColor(upstream[0], squaredName(name), region);
        }
        data.setFeature(feature, std::move(buffers));
    }
    return data;
}

Stack<FeatureType> DenoiseOperator::featuresToLoad(DenoisingMode mode) const {
    Stack<FeatureType> features = getDenoisingFeatures(mode);
    if (!gathers(mode) || hasFeature(upstream[0]->getElements(), FeatureType::HAIR_IDS, true)) {
        return features;
    }
    for (std::size_t i = features.size(); i-- > 0;) {
        if (features[i] == FeatureType::HAIR_IDS) {
            features.remove(i);
        }
    }
    return features;
}

} // namespace Vespra::Pipeline
