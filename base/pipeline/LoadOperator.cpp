#include "base/pipeline/LoadOperator.h"

#include "base/image/ElementNames.h"
#include "base/image/ExrLoader.h"
#include "base/image/VxrMetadata.h"
#include "base/pipeline/Accumulator.h"
#include "base/pipeline/ImageSettings.h"
#include "foundation/Str.h"
#include "settings/PropertyCatalogue.h"

namespace Vespra::Pipeline {

namespace {

String quoted(const Io::Path& path) {
    return u"\"" + path.nativeStr() + u"\"";
}

} // namespace

Io::Path deriveDefaultOutputPath(const Io::Path& input) {
    auto [stem, extension] = Str::splitAtLastFullStop(input.nativeStr());
    if (extension.isEmpty()) {
        extension = u"vxr";
    }
    return stem.isEmpty() ? Io::Path() : Io::Path(stem + u"_Post." + extension);
}

LoadOperator::LoadOperator()
    : loader(makeShared<Loader>([](const Io::Path& path) { return ExrLoader(true).load(path); })) {}

LoadOperator::~LoadOperator() {
    stopWorker();
}

void LoadOperator::setInput(Array<MergeWeight> weights, Array<Io::Path> paths) {
    {
        std::lock_guard lock(inputLock);
        std::swap(inputWeights, weights);
        std::swap(inputPaths, paths);
    }
    startWorker(u"Pipeline_LoadOperator");
}

void LoadOperator::run() {
    try {
        notify(onStarted, u"Loading progress");
        notify(onProgress, 0.f);
        Array<MergeWeight> weightsToUse;
        Array<Io::Path> pathsToLoad;
        {
            std::lock_guard lock(inputLock);
            weightsToUse = inputWeights;
            pathsToLoad = inputPaths;
        }
        if (pathsToLoad.empty()) {
            throw Exception(u"At least one input image path is expected.");
        }
        if (weightsToUse.empty()) {
            weightsToUse = Array<MergeWeight>{MergeWeight(String(DEFAULT_WEIGHT_CHANNEL))};
        }
        if (weightsToUse.size() == 1 && pathsToLoad.size() > 1) {
            weightsToUse = Array<MergeWeight>(pathsToLoad.size(), weightsToUse[0]);
        }
        if (weightsToUse.size() != pathsToLoad.size()) {
            throw Exception(
                u"Number of specified weights is mismatched with number of input images.\n\nYou can either "
                u"set no weight at all which will lead to a default (%" +
                String(DEFAULT_WEIGHT_CHANNEL) +
                u") for all input images, or set only one weight to actually change the default, or set "
                u"same number of weights as the number of input images.");
        }
        if (pathsToLoad.size() == 1) {
            ChannelImage loaded = loadFile(pathsToLoad[0]);
            Io::Path outputPath = deriveDefaultOutputPath(pathsToLoad[0]);
            publish(std::move(loaded), {}, std::move(pathsToLoad), std::move(outputPath));
        } else {
            ChannelImage merged = merge(weightsToUse, pathsToLoad);
            publish(std::move(merged), std::move(weightsToUse), std::move(pathsToLoad), Io::Path());
        }
        readSettingsFromImage(PropertyCatalogue::allImageIds());
        notify(onProgress, 1.f);
        notify(onFinished, String());
    } catch (const Exception& error) {
        notify(onError, error.getMessage());
    }
}

ChannelImage LoadOperator::loadFile(const Io::Path& path) const {
    const SharedPtr<Loader> read = loader;
    Expected<ChannelImage, String> loaded = (*read)(path);
    if (!loaded) {
        throw Exception(loaded.error());
    }
    return std::move(*loaded);
}

ChannelImage LoadOperator::merge(ArrayView<const MergeWeight> mergeWeights,
                                 ArrayView<const Io::Path> mergePaths) {
    Accumulator accumulator([this](const String& text) { notify(onWarning, text); });
    for (std::size_t index = 0; index < mergePaths.size(); ++index) {
        const Io::Path& path = mergePaths[index];
        const ChannelImage part = loadFile(path);
        if (!accumulator.fits(part)) {
            throw Exception(
                u"Image " + quoted(path) +
                u" does not fit within the merged output image.\n\nThe first image loaded for merging "
                u"defines the dimensions of the output image. All other images to be merged have to fit "
                u"within those dimensions, otherwise they are not compatible for the merging.");
        }
        const String* channel = std::get_if<String>(&mergeWeights[index]);
        if (channel && !part.findChannel<float>(*channel)) {
            throw Exception(missingWeightText(path, *channel));
        }
        accumulator.add(part, mergeWeights[index]);
        notify(onProgress, float(index + 1) / float(mergePaths.size()));
    }
    return accumulator.finish();
}

String LoadOperator::missingWeightText(const Io::Path& path, const String& channel) const {
    String text =
        u"Image " + quoted(path) + u" is missing channel \"" + channel +
        u"\", expected to contain pixel weights.\n\nFor each pixel to be merged its weight is required. For "
        u"this purpose mergeable images store a special weight channel defining a weight of each pixel of "
        u"the image. By default Vespra Renderer names this channel \"" +
        String(DEFAULT_WEIGHT_CHANNEL) + u"\".";
    if (!commandLineName.isEmpty()) {
        text +=
            u"\n\nIf the weight channel exists but with a different name than the expected default, please "
            u"explicitly specify the channel name - see help (" +
            commandLineName +
            u" -h) for how to do this. The other available option is to specify a constant weight for all "
            u"pixels.";
    }
    return text;
}

void LoadOperator::publish(ChannelImage loaded, Array<MergeWeight> mergeWeights, Array<Io::Path> loadedPaths,
                           Io::Path outputPath) {
    loaded.sanitizeChannels();
    Stack<ElementInfo> list = loaded.getElements();
    Stack<RenderElementInfo> infos = loaded.getRenderElementInfos();
    for (const char16_t* virtualName : {LIGHT_MIX_INTERACTIVE_NAME, BLOOM_GLARE_INTERACTIVE_NAME}) {
        if (std::ranges::any_of(list, [&](const ElementInfo& e) { return e.name == virtualName; })) {
            throw Exception(
                u"Render element \"" + String(virtualName) +
                u"\" is expected to be virtual and computed in real time. It shall not be physically "
                u"stored.");
        }
    }
    notify(onBeforeUpdate, 0);
    std::lock_guard lock(dataLock);
    image = std::move(loaded);
    elements = std::move(list);
    renderElementInfos = std::move(infos);
    timestamp = currentTimestamp();
    weights = std::move(mergeWeights);
    paths = std::move(loadedPaths);
    defaultOutputPath = std::move(outputPath);
}

Array<Io::Path> LoadOperator::getInputPaths() const {
    std::lock_guard lock(dataLock);
    return paths;
}

Io::Path LoadOperator::getDefaultOutputPath() const {
    std::lock_guard lock(dataLock);
    return defaultOutputPath;
}

Timestamp LoadOperator::getTimestamp() const {
    std::lock_guard lock(dataLock);
    return timestamp;
}

Array<ElementInfo> LoadOperator::getElements() const {
    std::lock_guard lock(dataLock);
    return elements;
}

Bucket LoadOperator::getDisplayWindow() const {
    std::lock_guard lock(dataLock);
    return image.getDisplayWindow();
}

Bucket LoadOperator::getDataWindow() const {
    std::lock_guard lock(dataLock);
    return image.getDataWindow();
}

Optional<ColorBitmap> LoadOperator::getColorBitmap(const String& name, const Bucket& region, float zoom,
                                                   std::uint32_t) {
    std::lock_guard lock(dataLock);
    if (image.hasRgbaElement(name)) {
        return image.getRgbaBitmap(name, region, zoom);
    }
    if (image.hasRgbElement(name)) {
        return image.getRgbBitmap(name, region, zoom);
    }
    return std::nullopt;
}

Optional<MonoBitmap> LoadOperator::getMonoBitmap(const String& name, const Bucket& region, float zoom,
                                                 std::uint32_t) {
    std::lock_guard lock(dataLock);
    if (image.hasMonoElement(name)) {
        return image.getMonoBitmap(name, region, zoom);
    }
    return std::nullopt;
}

Optional<RenderElementInfo> LoadOperator::getRenderElementInfo(const ElementInfo& element) const {
    std::lock_guard lock(dataLock);
    return findRenderElementInfo(renderElementInfos, element);
}

void LoadOperator::setElementFlag(std::uint32_t mask, ArrayView<const ElementInfo> selection) {
    std::lock_guard lock(dataLock);
    for (ElementInfo& element : elements) {
        const bool selected = std::ranges::any_of(
            selection, [&](const ElementInfo& chosen) { return chosen.name == element.name; });
        element.flags = selected ? (element.flags | mask) : (element.flags & ~mask);
    }
    timestamp = currentTimestamp();
}

void LoadOperator::readSettingsFromImage(ArrayView<const std::int32_t> propertyIds) {
    std::lock_guard lock(dataLock);
    for (const std::int32_t id : propertyIds) {
        const PropertyDescriptor* row = PropertyDescriptor::get(id);
        VESPRA_ASSERT(row != nullptr);
        const Optional<Property> stored = readPropertyAttribute(image, *row);
        settings->set(id, stored ? *stored : row->defaultValue);
    }
}

} // namespace Vespra::Pipeline
