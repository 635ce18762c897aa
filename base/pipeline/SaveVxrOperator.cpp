#include "base/pipeline/SaveVxrOperator.h"

#include "base/image/ElementNames.h"
#include "base/image/ExrSaver.h"
#include "base/pipeline/DenoiseOperator.h"
#include "base/pipeline/ImageSettings.h"
#include "settings/PropertyCatalogue.h"

namespace Vespra::Pipeline {

namespace {

/// The internal elements a single-element file keeps, so that it can still be denoised.
constexpr const char16_t* DENOISING_FEATURES[] = {VISIBLE_NORMALS_NAME, VISIBLE_DIFFUSE_NAME, HYBRID_NAME,
                                                  HAIR_IDS_NAME};

[[noreturn]] void throwNoData(const String& name) {
    throw Exception(u"Unable to retrieve output image data of the \"" + name + u"\" render element.");
}

} // namespace

SaveVxrOperatorBase::SaveVxrOperatorBase()
    : saver(makeShared<Saver>(
          [](const ChannelImage& image, const Io::Path& path) { return ExrSaver(true).save(image, path); })) {}

ChannelImage SaveVxrOperatorBase::createImage() const {
    return ChannelImage(upstream[0]->getDisplayWindow(), upstream[0]->getDataWindow(), 1.f);
}

void SaveVxrOperatorBase::copyElement(ChannelImage& image, IOperator* source, const ElementInfo& element,
                                      const String& newName) const {
    ElementInfo copy = element;
    copy.name = newName;
    image.addElementChannels(copy);
    const Bucket window = upstream[0]->getDataWindow();
    const Bucket region = Bucket::fromSize(window.width(), window.height());
    if (copy.kind == ElementInfo::KIND_COLOR || copy.kind == ElementInfo::KIND_COLOR_ALPHA) {
        const Optional<ColorBitmap> pixels = pullColorBitmap(source, element.name, region, 1.f, PullFlag::SYNCHRONOUS);
        if (!pixels) {
            throwNoData(element.name);
        }
        image.setElementPixels(copy, *pixels);
    } else if (copy.kind == ElementInfo::KIND_SINGLE_CHANNEL) {
        const Optional<MonoBitmap> pixels = pullMonoBitmap(source, element.name, region, 1.f, PullFlag::SYNCHRONOUS);
        if (!pixels) {
            throwNoData(element.name);
        }
        image.setElementPixels(copy, *pixels);
    } else {
        VESPRA_STOP();
    }
    if (Optional<RenderElementInfo> info = imageInfo->getRenderElementInfo(element)) {
        if (newName != element.name) {
            info->name = elementToChannelName(newName);
            info->type = RenderElementTypeVariant();
        }
        image.appendRenderElementInfo(*info);
    }
}

void SaveVxrOperatorBase::copyOriginalElements(ChannelImage& image) const {
    for (const ElementInfo& element : upstream[0]->getElements()) {
        // Channel groups that form no element (kind none) have nothing that could be copied.
        const bool copyable = element.kind != ElementInfo::KIND_NONE && element.name != u"A";
        if (copyable && !isDenoisedName(element.name) && !(element.flags & ElementInfo::INTERACTIVE)) {
            copyElement(image, upstream[0], element, element.name);
        }
    }
}

void SaveVxrOperatorBase::copyDenoisedElements(ChannelImage& image) const {
    const auto* store = dynamic_cast<const DenoiseOperator*>(upstream[1]);
    for (const ElementInfo& element : upstream[1]->getElements()) {
        // A denoised version that was never computed is left out, not computed now.
        if ((element.flags & ElementInfo::HAS_DENOISED) && store && store->holdsElement(element.name)) {
            copyElement(image, upstream[1], element, denoisedName(element.name));
        }
    }
}

void SaveVxrOperatorBase::appendInteractiveElementInfos(ChannelImage& image) const {
    for (const char16_t* name : {LIGHT_MIX_INTERACTIVE_NAME, BLOOM_GLARE_INTERACTIVE_NAME}) {
        ElementInfo element;
        element.name = name;
        if (Optional<RenderElementInfo> info = imageInfo->getRenderElementInfo(element)) {
            image.appendRenderElementInfo(*info);
        }
    }
}

void SaveVxrOperatorBase::writeSettings(ChannelImage& image) const {
    for (const std::int32_t id : PropertyCatalogue::allImageIds()) {
        writePropertyAttribute(image, *PropertyDescriptor::get(id), settings->get(id));
    }
}

void SaveVxrOperatorBase::saveFile(const ChannelImage& image, const Io::Path& path) const {
    const SharedPtr<Saver> write = saver;
    const Expected<bool, String> saved = (*write)(image, path);
    if (!saved) {
        throw Exception(saved.error());
    }
}

void SaveVxrOperator::setOutput(Io::Path path) {
    {
        std::lock_guard lock(inputLock);
        std::swap(outputPath, path);
    }
    startWorker(u"Pipeline_SaveVxrOperator");
}

void SaveVxrOperator::run() {
    runReported([this](const Io::Path& path) {
        ChannelImage image = createImage();
        copyOriginalElements(image);
        copyDenoisedElements(image);
        appendInteractiveElementInfos(image);
        writeSettings(image);
        saveFile(image, path);
    });
}

void SaveVxrOperatorCli::setOutput(Io::Path path, String requested) {
    {
        std::lock_guard lock(inputLock);
        std::swap(outputPath, path);
        std::swap(element, requested);
    }
    startWorker(u"Pipeline_SaveVxrOperator");
}

Array<ElementInfo> SaveVxrOperatorCli::candidates(const String& requested) const {
    const bool all = requested == u"*";
    const String name = channelToElementName(requested);
    Array<ElementInfo> selected = filterElements(upstream[0], [&](const ElementInfo& e) {
        return all ? !(e.flags & ElementInfo::INTERNAL) && e.kind < ElementInfo::KIND_SINGLE_CHANNEL : e.name == name;
    });
    if (selected.empty()) {
        throw Exception(all ? String(u"There are no render elements that can be saved to Vespra EXR.")
                            : u"Render element \"" + requested +
                                  u"\" cannot be saved to Vespra EXR.\nThe element either does not exist, or saving "
                                  u"such element alone is not supported.");
    }
    return selected;
}

void SaveVxrOperatorCli::copySingleElement(ChannelImage& image, const ElementInfo& chosen) const {
    const auto copyIfPresent = [&](const String& name, const String& newName) {
        if (const Optional<ElementInfo> found = findElement(upstream[0], name)) {
            copyElement(image, upstream[0], *found, newName);
        }
    };
    copyIfPresent(FB_WEIGHTS_NAME, FB_WEIGHTS_NAME);
    for (const char16_t* feature : DENOISING_FEATURES) {
        copyIfPresent(feature, feature);
        copyIfPresent(squaredName(feature), squaredName(feature));
    }
    copyElement(image, upstream[0], chosen, String());
    copyIfPresent(squaredName(chosen.name), squaredName(String()));
    if (chosen.flags & ElementInfo::HAS_DENOISED) {
        copyElement(image, upstream[1], chosen, denoisedName(String()));
    }
}

void SaveVxrOperatorCli::run() {
    String requested;
    {
        std::lock_guard lock(inputLock);
        requested = element;
    }
    runReported([&](const Io::Path& path) {
        const Array<ElementInfo> selected = candidates(requested);
        ChannelImage image = createImage();
        if (requested == u"*") {
            copyOriginalElements(image);
            copyDenoisedElements(image);
            appendInteractiveElementInfos(image);
        } else {
            copySingleElement(image, selected[0]);
        }
        writeSettings(image);
        saveFile(image, path);
    });
}

} // namespace Vespra::Pipeline
