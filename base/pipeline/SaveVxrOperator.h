#pragma once

#include <mutex>

#include "base/image/ChannelImage.h"
#include "base/pipeline/AsyncMixin.h"
#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/ProgressMixin.h"
#include "base/pipeline/SettingsMixin.h"
#include "foundation/io/Path.h"

namespace Vespra::Pipeline {

/// What the savers of the multi-channel format share: they tap the graph at its head
/// (upstream 0 the loaded image, upstream 1 the denoised one) and store the unprocessed
/// elements with the current post-processing settings as metadata.
class SaveVxrOperatorBase
    : public DependentMixin<2, SettingsMixin<ImageInfoMixin<AsyncMixin<ProgressMixin<IOperator>>>>> {
public:
    using Saver = Function<Expected<bool, String>(const ChannelImage&, const Io::Path&)>;

    SaveVxrOperatorBase();

    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override {
        return pullColorBitmap(upstream[0], name, region, zoom, flags);
    }

    /// Replaces the file writer, for tests.
    void setSaver(SharedPtr<Saver> newSaver) { saver = std::move(newSaver); }

protected:
    /// An empty image of upstream's windows.
    ChannelImage createImage() const;
    /// Pulls the whole element from `source` and stores it under `newName`, with its render
    /// information renamed to match.
    void copyElement(ChannelImage& image, IOperator* source, const ElementInfo& element, const String& newName) const;
    /// The original elements: not denoised, not interactive, not alpha.
    void copyOriginalElements(ChannelImage& image) const;
    /// The denoised elements that the denoise store holds, under their "Denoised" names.
    void copyDenoisedElements(ChannelImage& image) const;
    /// The descriptions of the interactive elements, so that their settings survive the file.
    void appendInteractiveElementInfos(ChannelImage& image) const;
    void writeSettings(ChannelImage& image) const;
    void saveFile(const ChannelImage& image, const Io::Path& path) const;
    /// The run of a saver: the progress reports and the error handling around `body`.
    template <class Body>
    void runReported(Body&& body);

    mutable std::mutex inputLock;
    Io::Path outputPath;

private:
    SharedPtr<Saver> saver;
};

/// Saves the whole image with its settings, as the editor does.
class SaveVxrOperator : public SaveVxrOperatorBase {
public:
    ~SaveVxrOperator() override { stopWorker(); }

    void setOutput(Io::Path path);
    void run() override;
};

/// Saves from the command line: all elements ("*"), or one element in the place of the beauty
/// element, with the internal elements the denoisers need.
class SaveVxrOperatorCli : public SaveVxrOperatorBase {
public:
    ~SaveVxrOperatorCli() override { stopWorker(); }

    void setOutput(Io::Path path, String element);
    void run() override;

private:
    /// The elements `element` selects; fails with a readable text when there are none.
    Array<ElementInfo> candidates(const String& requested) const;
    void copySingleElement(ChannelImage& image, const ElementInfo& element) const;

    String element;
};

template <class Body>
void SaveVxrOperatorBase::runReported(Body&& body) {
    try {
        Io::Path path;
        {
            std::lock_guard lock(inputLock);
            path = outputPath;
        }
        notify(onStarted, u"Saving progress");
        notify(onProgress, 0.f);
        if (path.fileName().isEmpty()) {
            throw Exception(u"Well-formed output image path is expected.");
        }
        body(path);
        notify(onProgress, 1.f);
        notify(onFinished, u"Image \"" + path.nativeStr() + u"\" has been successfully saved.");
    } catch (const Exception& error) {
        notify(onError, error.getMessage());
    }
}

} // namespace Vespra::Pipeline
