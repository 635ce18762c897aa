#pragma once

#include <cstdint>

#include "foundation/Optional.h"
#include "foundation/String.h"

namespace Vespra {

/// The most bytes that the planes of one image may take, 4 for each pixel of each channel: the
/// installed memory, unless set otherwise. Files and merges that would need more are refused
/// with a message instead of running the process out of memory.
std::uint64_t getMaxImageBytes();
/// Sets the limit for the whole process; 0 goes back to the installed memory.
void setMaxImageBytes(std::uint64_t bytes);

/// Nothing when `channels` planes of `width` x `height` pixels fit within the limit; otherwise
/// the sentence that says what they need: "Its 3 channels of 100 x 50 pixels need ... MiB of
/// memory, more than the ... MiB an image may take."
Optional<String> imageMemoryExcess(std::uint64_t channels, std::int64_t width, std::int64_t height);

} // namespace Vespra
