#pragma once

#include <cstdint>

#include "foundation/io/Streams.h"

namespace Vespra::Detail {

/// Walks the headers of the OpenEXR file that `file` reads from its start, `fileSize` bytes in
/// all, before OpenEXR reads them. OpenEXR allocates what a header claims before it reads it, so
/// a damaged file of a few bytes could claim gigabytes. Raises `Exception` with the reason when
/// an attribute claims more bytes than the file holds, when the table of the pixel data's chunks
/// cannot fit into the file, or when the planes of the image would exceed `getMaxImageBytes()`
/// (ImageMemoryLimit.h).
/// Leaves to OpenEXR what it checks well itself: the magic number, the version and the meaning of
/// the attributes. Reads from the current position on, which it leaves anywhere.
void checkExrHeaders(Io::BinaryInputStream& file, std::uint64_t fileSize);

} // namespace Vespra::Detail
