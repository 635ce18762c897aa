#include "base/image/ImageMemoryLimit.h"

#include <algorithm>
#include <atomic>

#include <fmt/format.h>

#include "foundation/SystemInfo.h"

namespace Vespra {

namespace {

constexpr double BYTES_PER_SAMPLE = 4.0;
constexpr double MEBIBYTE = 1048576.0;

std::atomic<std::uint64_t> maxImageBytes = 0;

} // namespace

std::uint64_t getMaxImageBytes() {
    const std::uint64_t set = maxImageBytes.load(std::memory_order_relaxed);
    return set > 0 ? set : std::uint64_t(std::max<std::int64_t>(Utils::getPhysicalMemorySize(), 0));
}

void setMaxImageBytes(std::uint64_t bytes) {
    maxImageBytes.store(bytes, std::memory_order_relaxed);
}

Optional<String> imageMemoryExcess(std::uint64_t channels, std::int64_t width, std::int64_t height) {
    // In floating point: the product of a damaged file's numbers may not fit 64 bits.
    const double bytes = double(channels) * double(std::max<std::int64_t>(width, 0)) *
                         double(std::max<std::int64_t>(height, 0)) * BYTES_PER_SAMPLE;
    const double limit = double(getMaxImageBytes());
    if (bytes <= limit) {
        return std::nullopt;
    }
    return String::fromUtf8(
        fmt::format("Its {} channels of {} x {} pixels need {:.1f} MiB of memory, more than "
                    "the {:.1f} MiB an image may take.",
                    channels, width, height, bytes / MEBIBYTE, limit / MEBIBYTE));
}

} // namespace Vespra
