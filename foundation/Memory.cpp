#include "foundation/Memory.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace Vespra {

namespace {

std::atomic<std::int64_t> allocatedBytes{0};
std::atomic<std::int64_t> peakBytes{0};

// Each block starts with a header that remembers its size, the offset back to the start of
// the underlying allocation and that allocation's size; the header ends where the block
// starts.
struct BlockHeader {
    std::size_t size;
    std::size_t offset;
    std::size_t rawSize;
};

void notePeak(std::int64_t now) {
    std::int64_t peak = peakBytes.load(std::memory_order_relaxed);
    while (now > peak && !peakBytes.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
    }
}

/// Freed allocations of whole frames, kept for the next ones. The C library maps blocks
/// above 32 MB afresh for every allocation and unmaps them when freed, so without this
/// every pull of a large image would pay a page fault and a page clearing per 4 KB.
class LargeBlockCache {
public:
    /// Smaller allocations are served well by the C library's own free lists.
    static constexpr std::size_t MIN_BYTES = std::size_t(16) << 20;

    /// A kept allocation of `rawSize` bytes up to a quarter more, or null.
    void* take(std::size_t rawSize, std::size_t& takenSize) {
        std::lock_guard guard(lock);
        for (std::size_t i = 0; i < count; ++i) {
            if (entries[i].size >= rawSize && entries[i].size - rawSize <= rawSize / 4) {
                const Entry found = entries[i];
                std::copy(entries.begin() + std::ptrdiff_t(i) + 1, entries.begin() + std::ptrdiff_t(count),
                          entries.begin() + std::ptrdiff_t(i));
                --count;
                keptBytes -= found.size;
                takenSize = found.size;
                return found.raw;
            }
        }
        return nullptr;
    }

    /// Keeps the allocation, giving the oldest kept ones back to the C library while there
    /// are too many or they are too large together.
    void keep(void* raw, std::size_t rawSize) {
        if (rawSize > CAPACITY_BYTES) {
            std::free(raw);
            return;
        }
        std::lock_guard guard(lock);
        while (count == entries.size() || keptBytes + rawSize > CAPACITY_BYTES) {
            std::free(entries[0].raw);
            keptBytes -= entries[0].size;
            std::copy(entries.begin() + 1, entries.begin() + std::ptrdiff_t(count), entries.begin());
            --count;
        }
        entries[count++] = {raw, rawSize};
        keptBytes += rawSize;
    }

private:
    static constexpr std::size_t CAPACITY_BYTES = std::size_t(512) << 20;

    struct Entry {
        void* raw;
        std::size_t size;
    };

    std::mutex lock;
    /// Oldest first.
    std::array<Entry, 8> entries{};
    std::size_t count = 0;
    std::size_t keptBytes = 0;
};

/// Never destroyed: containers in static objects give their blocks back after the end of
/// main. The kept blocks stay reachable from here.
LargeBlockCache& largeBlocks() {
    static LargeBlockCache& cache = *new LargeBlockCache;
    return cache;
}

void* allocateRaw(std::size_t rawSize, std::size_t& allocatedSize) {
    allocatedSize = rawSize;
    if (rawSize >= LargeBlockCache::MIN_BYTES) {
        if (void* kept = largeBlocks().take(rawSize, allocatedSize)) {
            return kept;
        }
    }
    void* raw = std::malloc(rawSize);
    if (!raw) {
        throw std::bad_alloc();
    }
    return raw;
}

} // namespace

void* vespraMalloc(std::size_t size, std::size_t alignment) {
    alignment = std::max(alignment, alignof(BlockHeader));
    const std::size_t headerSpace = std::max(alignment, sizeof(BlockHeader));
    std::size_t rawSize;
    void* raw = allocateRaw(size + headerSpace + alignment, rawSize);
    const auto rawAddress = reinterpret_cast<std::uintptr_t>(raw);
    const std::uintptr_t aligned = (rawAddress + headerSpace + alignment - 1) & ~(alignment - 1);
    auto* header = reinterpret_cast<BlockHeader*>(aligned) - 1;
    header->size = size;
    header->offset = aligned - rawAddress;
    header->rawSize = rawSize;
    notePeak(allocatedBytes.fetch_add(std::int64_t(size), std::memory_order_relaxed) + std::int64_t(size));
    return reinterpret_cast<void*>(aligned);
}

void vespraFree(void* pointer) {
    if (!pointer) {
        return;
    }
    const auto* header = static_cast<BlockHeader*>(pointer) - 1;
    allocatedBytes.fetch_sub(std::int64_t(header->size), std::memory_order_relaxed);
    void* raw = static_cast<char*>(pointer) - header->offset;
    if (header->rawSize >= LargeBlockCache::MIN_BYTES) {
        largeBlocks().keep(raw, header->rawSize);
    } else {
        std::free(raw);
    }
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
