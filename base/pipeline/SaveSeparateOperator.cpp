#include "base/pipeline/SaveSeparateOperator.h"

#include "base/image/ElementNames.h"
#include "foundation/Str.h"

namespace Vespra::Pipeline {

Io::Path separateFileName(const Io::Path& path, const ElementInfo& element) {
    if (element.name.isEmpty()) {
        return path;
    }
    const auto [stem, extension] = Str::splitAtLastFullStop(path.nativeStr());
    return Io::Path(stem + u"_" + Str::escapeFilename(elementToChannelName(element.name)) + u"." + extension);
}

SaveSeparateOperator::SaveSeparateOperator() : writer(saveImage) {}

void SaveSeparateOperator::setOutput(Array<ElementInfo> newElements, Io::Path path, ImageFormat newFormat,
                                     ImageSaveSettings settings) {
    {
        std::lock_guard lock(inputLock);
        elements = std::move(newElements);
        outputPath = std::move(path);
        format = newFormat;
        saveSettings = std::move(settings);
    }
    startWorker(u"Pipeline_SaveSeparateOperator");
}

void SaveSeparateOperator::run() {
    try {
        Array<ElementInfo> toSave;
        Io::Path path;
        ImageFormat fileFormat;
        ImageSaveSettings settings;
        {
            std::lock_guard lock(inputLock);
            toSave = elements;
            path = outputPath;
            fileFormat = format;
            settings = saveSettings;
        }
        notify(onStarted, u"Saving progress");
        notify(onProgress, 0.f);
        if (path.extension().isEmpty()) {
            throw Exception(u"Well-formed output image path having a file extension is expected.");
        }
        if (toSave.empty()) {
            throw Exception(u"There are not selected any render elements that can be saved. You need to "
                            u"select at least one.");
        }
        for (std::size_t index = 0; index < toSave.size(); ++index) {
            const Io::Path fileName = toSave.size() == 1 ? path : separateFileName(path, toSave[index]);
            saveElement(toSave[index], fileName, fileFormat, settings);
            notify(onProgress, float(index + 1) / float(toSave.size()));
        }
        notify(onFinished, u"Image \"" + path.nativeStr() + u"\" has been successfully saved.");
    } catch (const Exception& error) {
        notify(onError, error.getMessage());
    }
}

void SaveSeparateOperator::saveElement(const ElementInfo& element, const Io::Path& fileName,
                                       ImageFormat fileFormat, const ImageSaveSettings& settings) {
    const Bucket window = upstream[0]->getDataWindow();
    const Optional<ColorBitmap> pixels =
        pullColorBitmap(upstream[0], element.name, Bucket::fromSize(window.width(), window.height()), 1.f,
                        PullFlag::SYNCHRONOUS);
    if (!pixels) {
        throw Exception(u"Unable to retrieve output image data of the \"" + element.name +
                        u"\" render element.");
    }
    const RgbBitmapIterator iterator(*pixels, element.kind == ElementInfo::KIND_COLOR_ALPHA);
    const bool raw = element.flags & ElementInfo::NOT_COLOR_MAPPED;
    const Expected<bool, String> written = writer(fileName, iterator, raw, fileFormat, settings);
    if (!written) {
        throw Exception(written.error());
    }
}

} // namespace Vespra::Pipeline
