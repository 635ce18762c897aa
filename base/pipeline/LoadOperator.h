#pragma once

#include <mutex>

#include "base/image/ChannelImage.h"
#include "base/pipeline/AsyncMixin.h"
#include "base/pipeline/MergeWeight.h"
#include "base/pipeline/ProgressMixin.h"
#include "base/pipeline/SettingsMixin.h"
#include "foundation/io/Path.h"

namespace Vespra::Pipeline {

/// The source of the graph: reads one image, or merges the images of several render nodes
/// into their weighted mean, and publishes it with its element list. Loading an image also
/// restores the post-processing settings it carries.
class LoadOperator : public SettingsMixin<AsyncMixin<ProgressMixin<IOperator>>>, public IImageInfoProvider {
public:
    using Loader = Function<Expected<ChannelImage, String>(const Io::Path&)>;

    LoadOperator();
    ~LoadOperator() override;

    /// Starts loading `paths` (merging when there are several) with `weights`: none means
    /// the default weight channel for all, one applies to all, else one per path.
    void setInput(Array<MergeWeight> weights, Array<Io::Path> paths);

    Array<Io::Path> getInputPaths() const;
    /// Where the edited image is suggested to go: "a/b.exr" gives "a/b_Post.exr"; empty after
    /// a merge.
    Io::Path getDefaultOutputPath() const;

    Timestamp getTimestamp() const override;
    Array<ElementInfo> getElements() const override;
    Bucket getDisplayWindow() const override;
    Bucket getDataWindow() const override;
    Optional<ColorBitmap> getColorBitmap(const String& name, const Bucket& region, float zoom,
                                         std::uint32_t flags) override;
    Optional<MonoBitmap> getMonoBitmap(const String& name, const Bucket& region, float zoom,
                                       std::uint32_t flags) override;
    Optional<RenderElementInfo> getRenderElementInfo(const ElementInfo& element) const override;

    /// Sets the bits of `mask` in the published elements named in `selection` and clears them
    /// in all others.
    void setElementFlag(std::uint32_t mask, ArrayView<const ElementInfo> selection);
    /// Writes the values the image carries for `propertyIds` to the settings, and the table's
    /// defaults for those it does not carry.
    void readSettingsFromImage(ArrayView<const std::int32_t> propertyIds);

    /// Replaces the file reader, for tests.
    void setLoader(SharedPtr<Loader> newLoader) { loader = std::move(newLoader); }

    /// The executable named in the missing-weight message of the command-line build; empty
    /// in the editor, whose message does not point to a help text.
    String commandLineName;

    void run() override;

private:
    ChannelImage merge(ArrayView<const MergeWeight> weights, ArrayView<const Io::Path> paths);
    ChannelImage loadFile(const Io::Path& path) const;
    void publish(ChannelImage image, Array<MergeWeight> weights, Array<Io::Path> paths, Io::Path outputPath);
    String missingWeightText(const Io::Path& path, const String& channel) const;

    mutable std::mutex inputLock;
    Array<MergeWeight> inputWeights;
    Array<Io::Path> inputPaths;

    mutable std::mutex dataLock;
    ChannelImage image;
    Array<ElementInfo> elements;
    /// The image's description of its elements, read once: every pull asks for it.
    Array<RenderElementInfo> renderElementInfos;
    Timestamp timestamp = NO_TIMESTAMP;
    Array<MergeWeight> weights;
    Array<Io::Path> paths;
    Io::Path defaultOutputPath;
    SharedPtr<Loader> loader;
};

/// "a/b.exr" gives "a/b_Post.exr", "a/b" gives "a/b_Post.vxr", an empty stem an empty path.
Io::Path deriveDefaultOutputPath(const Io::Path& input);

} // namespace Vespra::Pipeline
