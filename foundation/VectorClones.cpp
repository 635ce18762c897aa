#include "foundation/VectorClones.h"

#include <algorithm>
#include <atomic>

namespace Vespra::Detail {

namespace {

/// The register width of the clone the loader picks: it asks the same questions of the processor.
int processorVectorBytes() {
#ifdef VESPRA_NO_VECTOR_CLONES
    // Only the baseline kernel exists.
    return 16;
#else
    __builtin_cpu_init();
    if (__builtin_cpu_supports("x86-64-v4")) {
        return 64;
    }
    return __builtin_cpu_supports("x86-64-v3") ? 32 : 16;
#endif
}

std::atomic<int>& vectorBytesLimit() {
    static std::atomic<int> limit(64);
    return limit;
}

} // namespace

int cloneVectorBytes() {
    static const int processor = processorVectorBytes();
    return std::min(processor, vectorBytesLimit().load(std::memory_order_relaxed));
}

void limitCloneVectorBytes(int bytes) {
    vectorBytesLimit().store(bytes, std::memory_order_relaxed);
}

} // namespace Vespra::Detail
