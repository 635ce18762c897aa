#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <type_traits>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>

#include "foundation/Scheduler.h"
#include "foundation/ThreadHandover.h"

namespace Vespra {

// Parallel loops over [begin, end) in the arena of a scheduler. The calling thread works on
// the loop too and returns when every index is done; what a body throws reaches the caller.
// Chunks have `grain` indices (the last one fewer); a grain <= 0 counts as 1.
//
// A loop waits in isolation: a thread waiting for a loop nested inside another loop's body
// only takes chunks of the inner loop, so an outer body never starts again on a thread whose
// earlier outer body is still unfinished further up its stack.

namespace Detail {

/// What oneTBB runs for each chunk of a loop of `parallelForRange`. oneTBB copies it into its
/// task objects and hands those to its threads out of the sanitizer's sight, so this reads its
/// own fields and the chunk unchecked; the body runs checked, after the handover of the loop's
/// start and before that of its end (see ThreadHandover.h).
template <class Body>
struct LoopChunk {
    Body* body;
    const void* loopStart;
    const void* loopEnd;

    VESPRA_UNCHECKED_BY_THREAD_SANITIZER void operator()(const tbb::blocked_range<int>& chunk) const {
        acceptHandover(loopStart);
        const HandoverOnExit chunkEnd(loopEnd);
        (*body)(chunk.begin(), chunk.end());
    }
};

} // namespace Detail

/// Calls `body(rangeBegin, rangeEnd)` for chunks that together cover [begin, end) once.
template <class Body>
void parallelForRange(Scheduler& scheduler, int begin, int end, int grain, Body&& body) {
    if (begin >= end) {
        return;
    }
    const tbb::blocked_range<int> range(begin, end, std::size_t(std::max(grain, 1)));
    // The caller's work before the loop precedes every chunk, and every chunk precedes the
    // caller's work after it; the two locals are the keys.
    const Detail::AcceptOnExit loopEnd(&body);
    Detail::announceHandover(&range);
    const Detail::LoopChunk<std::remove_reference_t<Body>> chunk{&body, &range, &body};
    scheduler.execute([&] {
        tbb::this_task_arena::isolate([&] { tbb::parallel_for(range, chunk, tbb::simple_partitioner()); });
    });
}

/// Calls `body(index)` once for every index of [begin, end).
template <class Body>
void parallelFor(Scheduler& scheduler, int begin, int end, int grain, Body&& body) {
    parallelForRange(scheduler, begin, end, grain, [&](int rangeBegin, int rangeEnd) {
        for (int index = rangeBegin; index < rangeEnd; ++index) {
            body(index);
        }
    });
}

namespace Detail {

/// The size that keeps two threads' scratch objects off one cache line.
inline constexpr std::size_t CACHE_LINE_SIZE = 64;

/// One lazily made object for each worker index of a scheduler, and one more for a thread
/// without an index. A slot is only ever used by the one thread holding that index.
template <class Scratch>
class WorkerScratch {
public:
    explicit WorkerScratch(int workerCount)
        : slotCount(workerCount + 1), slots(std::make_unique<Slot[]>(std::size_t(slotCount))) {}

    template <class MakeScratch>
    Scratch& get(MakeScratch& makeScratch) {
        const int index = tbb::this_task_arena::current_thread_index();
        Slot& slot = slots[std::size_t(index >= 0 && index < slotCount - 1 ? index : slotCount - 1)];
        if (!slot.scratch) {
            slot.scratch.emplace(makeScratch());
        }
        return *slot.scratch;
    }

private:
    struct alignas(CACHE_LINE_SIZE) Slot {
        std::optional<Scratch> scratch;
    };

    int slotCount;
    std::unique_ptr<Slot[]> slots;
};

} // namespace Detail

/// Calls `body(index, scratch)` once for every index of [begin, end), where `scratch` belongs
/// to the calling worker for the whole loop: no two threads use one scratch at once. Each
/// worker taking part gets its scratch from `makeScratch()` at its first chunk.
template <class Scratch, class MakeScratch, class Body>
void parallelForWithScratch(Scheduler& scheduler, int begin, int end, int grain, MakeScratch&& makeScratch,
                            Body&& body) {
    Detail::WorkerScratch<Scratch> scratches(scheduler.maxParallelWorkerThreadsCount());
    parallelForRange(scheduler, begin, end, grain, [&](int rangeBegin, int rangeEnd) {
        Scratch& scratch = scratches.get(makeScratch);
        for (int index = rangeBegin; index < rangeEnd; ++index) {
            body(index, scratch);
        }
    });
}

} // namespace Vespra
