#pragma once

#include <mutex>

#include "base/pipeline/AsyncMixin.h"
#include "base/pipeline/DependentMixin.h"
#include "base/pipeline/ProgressMixin.h"
#include "foundation/image/ImageFile.h"
#include "foundation/io/Path.h"

namespace Vespra::Pipeline {

/// Saves what the user sees: one file per selected element, pulled from the end of the chain
/// with all post-processing applied, in any common format.
class SaveSeparateOperator : public DependentMixin<1, AsyncMixin<ProgressMixin<IOperator>>> {
public:
    using Writer = Function<Expected<bool, String>(const Io::Path&, const Abstract::BitmapIterator&, bool,
                                                   ImageFormat, const ImageSaveSettings&)>;

    SaveSeparateOperator();
    ~SaveSeparateOperator() override { stopWorker(); }

    void setOutput(Array<ElementInfo> elements, Io::Path path, ImageFormat format, ImageSaveSettings settings);

    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override {
        return pullColorBitmap(upstream[0], name, region, zoom, flags);
    }

    /// Replaces the file writer, for tests.
    void setWriter(Writer newWriter) { writer = std::move(newWriter); }

    void run() override;

private:
    void saveElement(const ElementInfo& element, const Io::Path& fileName, ImageFormat format,
                     const ImageSaveSettings& settings);

    std::mutex inputLock;
    Array<ElementInfo> elements;
    Io::Path outputPath;
    ImageFormat format = ImageFormat::UNKNOWN;
    ImageSaveSettings saveSettings;
    Writer writer;
};

/// The file of `element` when several are saved to `path`: the beauty element keeps the path,
/// the others get "_" and their escaped name before the extension ("a.png" -> "a_ZDepth.png").
Io::Path separateFileName(const Io::Path& path, const ElementInfo& element);

} // namespace Vespra::Pipeline
