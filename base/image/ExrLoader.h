#pragma once

#include "base/image/ChannelImage.h"

namespace Vespra {

/// Reads an image file of this system's format, or any plain scan-line or tiled OpenEXR file,
/// straight into the planes of a `ChannelImage`: FLOAT and HALF channels become float channels,
/// UINT channels unsigned ones, and the header attributes of the known types become attributes.
class ExrLoader final : public ChannelImage::ILoader {
public:
    /// Whether OpenEXR decodes on a pool of threads.
    explicit ExrLoader(bool multithreaded) : multithreaded(multithreaded) {}

    /// Every failure, OpenEXR's included, is answered as a readable text that names the file.
    Expected<ChannelImage, String> load(const Io::Path& path) override;

private:
    bool multithreaded;
};

} // namespace Vespra
