#pragma once

#include "base/image/ChannelImage.h"

namespace Vespra {

/// Writes a `ChannelImage` as a ZIP-compressed scan-line OpenEXR file, straight from the planes
/// of its channels: float channels as FLOAT, unsigned ones as UINT, and every attribute as a
/// header attribute of the matching type.
class ExrSaver final : public ChannelImage::ISaver {
public:
    /// Whether OpenEXR compresses on a pool of threads.
    explicit ExrSaver(bool multithreaded) : multithreaded(multithreaded) {}

    /// True on success. Every failure is answered as a readable text that names the file. The file
    /// is written whole or not at all: until the new one is complete, an existing file at `path`
    /// keeps its old contents, and a failed save leaves it so (see `Io::writeFileAtomically`).
    Expected<bool, String> save(const ChannelImage& image, const Io::Path& path) override;

private:
    bool multithreaded;
};

} // namespace Vespra
