#pragma once

#include "base/image/ChannelImage.h"

namespace Vespra {

/// Reads an image file of this system's format, or any plain scan-line or tiled OpenEXR file,
/// straight into the planes of a `ChannelImage`: FLOAT and HALF channels become float channels,
/// UINT channels unsigned ones, and the header attributes of the known types become attributes.
class ExrLoader final : public ChannelImage::ILoader {
public:
    /// Answers whether to read the channel of that name from the file.
    using ChannelFilter = Function<bool(const String& channelName)>;

    /// Whether OpenEXR decodes on a pool of threads.
    explicit ExrLoader(bool multithreaded) : multithreaded(multithreaded) {}
    /// Reads only the channels that `filter` accepts; the others are not in the image at all.
    /// The attributes are read whole. The beauty's channels must pass, as every image has them.
    ExrLoader(bool multithreaded, ChannelFilter filter)
        : multithreaded(multithreaded), filter(std::move(filter)) {}

    /// Every failure, OpenEXR's included, is answered as a readable text that names the file.
    Expected<ChannelImage, String> load(const Io::Path& path) override;

private:
    bool multithreaded;
    ChannelFilter filter;
};

} // namespace Vespra
