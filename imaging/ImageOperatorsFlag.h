#pragma once

#include <cstdint>

#include "foundation/Flags.h"
#include "foundation/ParallelFor.h"

namespace Vespra {

enum class ImageOperatorsFlag : std::uint32_t {
    /// Loops run in parallel on `Scheduler::highPriorityInstance()`.
    PARALLEL = 1,
    /// The picture is a spherical panorama: rows wrap around and blur wider towards the poles.
    PANORAMA = 2,
};
VESPRA_FLAGS_OPERATORS(ImageOperatorsFlag)

/// Calls `body(index, scratch)` for every index of [0, count): in parallel chunks of `grain`
/// on the pixel pool when `flags` ask for it, else in order on the calling thread. Each thread
/// gets one scratch from `makeScratch()` for the whole loop.
template <class Scratch, class MakeScratch, class Body>
void forEachIndex(Flags<ImageOperatorsFlag> flags, int count, int grain, MakeScratch&& makeScratch,
                  Body&& body) {
    if (flags.has(ImageOperatorsFlag::PARALLEL)) {
        parallelForWithScratch<Scratch>(Scheduler::highPriorityInstance(), 0, count, grain, makeScratch,
                                        body);
        return;
    }
    Scratch scratch = makeScratch();
    for (int index = 0; index < count; ++index) {
        body(index, scratch);
    }
}

/// `forEachIndex` without scratch.
template <class Body>
void forEachIndex(Flags<ImageOperatorsFlag> flags, int count, int grain, Body&& body) {
    struct None {};
    forEachIndex<None>(
        flags, count, grain, [] { return None{}; }, [&](int index, None&) { body(index); });
}

} // namespace Vespra
