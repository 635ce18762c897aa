#pragma once

#include <atomic>
#include <deque>
#include <mutex>

#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>

#include "foundation/Containers.h"
#include "foundation/Optional.h"
#include "foundation/Pointers.h"
#include "foundation/Task.h"

namespace Vespra {

/// Order in which queued tasks of one scheduler start: a free worker always takes the most
/// urgent one, and tasks of equal priority start in the order they were submitted.
enum class TaskPriority { LOWEST = 0, LOW = 1, NORMAL = 2, HIGH = 3, HIGHEST = 4 };

/// A pool of worker threads: a oneTBB arena of its own concurrency. Parallel loops
/// (ParallelFor.h) run in it, the calling thread joining in, and tasks queue to it.
///
/// Each thread inside the arena - the pool's workers and a caller joining a loop - has a
/// worker index below `maxParallelWorkerThreadsCount()`, distinct from every other thread
/// in the arena at the same time, so per-worker scratch memory can be indexed by it.
class Scheduler {
public:
    /// `priority` > 0 lets this pool take oneTBB's threads before pools of normal priority,
    /// < 0 after them; a negative priority also lowers the threads' own priority (see
    /// `setWorkerThreadsPriority`).
    Scheduler(String name, int priority);
    /// Cancels queued tasks and waits for the running ones.
    ~Scheduler();

    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    /// The pool all pixel work uses.
    static Scheduler& highPriorityInstance();
    /// Destroys the pool of `highPriorityInstance()`, which a later call creates again.
    /// Nothing may hold a reference to it then.
    static void releaseHighPriorityInstance();

    /// Threads entering the pool lower their own priority to `priority` (the nice value is
    /// -priority, clamped to 0..19). oneTBB shares its threads among all pools of the process,
    /// and as raising the priority back would need privileges, a thread keeps the lowest
    /// priority of the pools it served.
    void setWorkerThreadsPriority(int priority);

    /// How many threads truly work at once: the arena's concurrency, limited by the threads
    /// oneTBB allows the whole process.
    int parallelWorkerThreadsCount() const;
    /// The arena's concurrency: every worker index is below it.
    int maxParallelWorkerThreadsCount() const { return concurrency; }
    /// Waits for the queued tasks and rebuilds the pool with `count` threads; `count` <= 0
    /// means one per logical processor. No parallel loop may run in the pool meanwhile.
    void setParallelWorkerThreadsCount(int count);

    /// Queues `task` to run on a worker.
    void submit(SharedPtr<Task> task, TaskPriority priority = TaskPriority::NORMAL);
    /// Returns when every submitted task has finished or was cancelled. Not from a worker.
    void waitForAll();

    /// Runs `function` inside the pool's arena on the calling thread, which takes a worker
    /// index for the time; answers what it answers.
    template <class F>
    decltype(auto) execute(F&& function) {
        return arena->execute(std::forward<F>(function));
    }

    const String& getName() const { return name; }

    /// The worker index of the calling thread inside the arena of a scheduler; empty outside.
    static Optional<int> getWorkerThreadIndex();
    /// The scheduler whose arena the calling thread is in, or null.
    static Scheduler* getWorkerThreadScheduler();
    static bool isWorkerThread() { return getWorkerThreadScheduler() != nullptr; }

private:
    class Observer;
    static constexpr int PRIORITY_COUNT = int(TaskPriority::HIGHEST) + 1;

    void createArena(int count);
    void destroyArena();
    /// Runs the most urgent queued task, if any; every submit spawns one such call.
    void runNext();

    String name;
    tbb::task_arena::priority arenaPriority;
    std::atomic<int> threadsPriority;
    int concurrency = 0;
    AutoPtr<tbb::task_arena> arena;
    AutoPtr<Observer> observer;
    AutoPtr<tbb::task_group> taskGroup;

    std::mutex queueMutex;
    StaticArray<std::deque<SharedPtr<Task>>, PRIORITY_COUNT> queues;
};

} // namespace Vespra
