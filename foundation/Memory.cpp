#include "foundation/Memory.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>

namespace Vespra {

namespace {

std::atomic<std::int64_t> allocatedBytes{0};
std::atomic<std::int64_t> peakBytes{0};

// Each block starts with a header that remembers its size and the offset back to the
// start of the underlying allocation; the header fills one alignment unit.
struct BlockHeader {
    std::size_t size;
    std::size_t offset;
};

void notePeak(std::int64_t now) {
    std::int64_t peak = peakBytes.load(std::memory_order_relaxed);
    while (now > peak && !peakBytes.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
    }
}

} // namespace

void* vespraMalloc(std::size_t size, std::size_t alignment) {
    alignment = std::max(alignment, alignof(BlockHeader));
    const std::size_t headerSpace = std::max(alignment, sizeof(BlockHeader));
    void* raw = std::malloc(size + headerSpace + alignment);
    if (!raw) {
        throw std::bad_alloc();
    }
    const auto rawAddress = reinterpret_cast<std::uintptr_t>(raw);
    const std::uintptr_t aligned = (rawAddress + headerSpace + alignment - 1) & ~(alignment - 1);
    auto* header = reinterpret_cast<BlockHeader*>(aligned) - 1;
    header->size = size;
    header->offset = aligned - rawAddress;
    notePeak(allocatedBytes.fetch_add(std::int64_t(size), std::memory_order_relaxed) + std::int64_t(size));
    return reinterpret_cast<void*>(aligned);
}

void vespraFree(void* pointer) {
    if (!pointer) {
        return;
    }
    const auto* header = static_cast<BlockHeader*>(pointer) - 1;
    allocatedBytes.fetch_sub(std::int64_t(header->size), std::memory_order_relaxed);
    std::free(static_cast<char*>(pointer) - header->offset);
}

std::int64_t getAllocatedMemory() {
    return allocatedBytes.load(std::memory_order_relaxed);
}

std::int64_t getPeakAllocatedMemory() {
    return peakBytes.load(std::memory_order_relaxed);
}

void resetPeakAllocatedMemory() {
    peakBytes.store(allocatedBytes.load(std::memory_order_relaxed), std::memory_order_relaxed);
}

} // namespace Vespra
