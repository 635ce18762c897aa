#include "foundation/Scheduler.h"

#include <algorithm>
#include <vector>

#include <xmmintrin.h>

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_scheduler_observer.h>

#include "foundation/ThreadHandover.h"
#include "foundation/Utils.h"

namespace Vespra {

namespace {

/// An arena the calling thread is in, and the float mode it had before entering.
struct EnteredArena {
    Scheduler* scheduler;
    unsigned floatMode;
};

/// The arenas the calling thread is in, innermost last. A thread entering another arena from
/// inside one is not told it left the outer, so this is a stack. A plain vector: its memory
/// lives as long as the thread and is no container memory to account.
thread_local std::vector<EnteredArena> enteredArenas;

tbb::task_arena::priority toArenaPriority(int priority) {
    if (priority > 0) {
        return tbb::task_arena::priority::high;
    }
    return priority < 0 ? tbb::task_arena::priority::low : tbb::task_arena::priority::normal;
}

bool hasEntered(const Scheduler* scheduler) {
    return std::any_of(enteredArenas.begin(), enteredArenas.end(),
                       [scheduler](const EnteredArena& entered) { return entered.scheduler == scheduler; });
}

std::mutex highPriorityMutex;
std::atomic<Scheduler*> highPriorityScheduler = nullptr;

} // namespace

/// Tracks the threads in the arena and prepares each one entering it.
class Scheduler::Observer : public tbb::task_scheduler_observer {
public:
    Observer(tbb::task_arena& arena, Scheduler& scheduler)
        : tbb::task_scheduler_observer(arena), scheduler(scheduler) {
        // oneTBB calls the observer on its threads from inside its library.
        Detail::announceHandover(this);
        observe(true);
    }

    ~Observer() override {
        // Deactivating while threads are inside would leave them in `enteredArenas`. The
        // arena is idle now, and idle threads leave it at once.
        for (int count = threadsInside.load(); count != 0; count = threadsInside.load()) {
            threadsInside.wait(count);
        }
        observe(false);
        // oneTBB returns from `observe(false)` once the callbacks still running have ended, but
        // waits for them inside its library: the sanitizer learns of it from the callbacks.
        Detail::acceptHandover(this);
    }

    void on_scheduler_entry(bool isWorker) override {
        Detail::acceptHandover(this);
        const Detail::HandoverOnExit done(this);
        ++threadsInside;
        // Every thread computing pixels must round alike, a caller joining a loop too; the
        // caller gets its own float mode back when it leaves.
        enteredArenas.push_back({&scheduler, _mm_getcsr()});
        Utils::threadSetupFloats();
        // A caller joining a loop is somebody else's thread: it keeps its name and priority.
        if (isWorker) {
            Utils::setThreadName(scheduler.name);
            Utils::lowerThreadPriority(scheduler.threadsPriority.load());
        }
    }

    void on_scheduler_exit(bool) override {
        const Detail::HandoverOnExit done(this);
        _mm_setcsr(enteredArenas.back().floatMode);
        enteredArenas.pop_back();
        --threadsInside;
        threadsInside.notify_all();
    }

private:
    Scheduler& scheduler;
    std::atomic<int> threadsInside = 0;
};

Scheduler::Scheduler(String name, int priority)
    : name(std::move(name)), arenaPriority(toArenaPriority(priority)), threadsPriority(priority) {
    createArena(0);
}

Scheduler::~Scheduler() {
    {
        std::lock_guard lock(queueMutex);
        for (auto& queue : queues) {
            for (const SharedPtr<Task>& task : queue) {
                task->cancel();
            }
            queue.clear();
        }
    }
    destroyArena();
}

Scheduler& Scheduler::highPriorityInstance() {
    if (Scheduler* scheduler = highPriorityScheduler.load(std::memory_order_acquire)) {
        return *scheduler;
    }
    std::lock_guard lock(highPriorityMutex);
    if (highPriorityScheduler.load() == nullptr) {
        highPriorityScheduler.store(new Scheduler(u"Vespra pixels", 1), std::memory_order_release);
    }
    return *highPriorityScheduler.load();
}

void Scheduler::releaseHighPriorityInstance() {
    std::lock_guard lock(highPriorityMutex);
    delete highPriorityScheduler.exchange(nullptr);
}

void Scheduler::setWorkerThreadsPriority(int priority) {
    threadsPriority = priority;
}

int Scheduler::parallelWorkerThreadsCount() const {
    const auto allowed = tbb::global_control::active_value(tbb::global_control::max_allowed_parallelism);
    return int(std::min(std::size_t(concurrency), allowed));
}

void Scheduler::setParallelWorkerThreadsCount(int count) {
    destroyArena();
    createArena(count);
}

void Scheduler::submit(SharedPtr<Task> task, TaskPriority priority) {
    {
        std::lock_guard lock(queueMutex);
        queues[std::size_t(priority)].push_back(std::move(task));
    }
    // The group runs the call on a worker and reports it done from inside oneTBB's library; the
    // call reads its capture before it can accept the handover.
    Detail::announceHandover(this);
    arena->execute([this] {
        taskGroup->run([this]() VESPRA_UNCHECKED_BY_THREAD_SANITIZER {
            Detail::acceptHandover(this);
            const Detail::HandoverOnExit done(&queues);
            runNext();
        });
    });
}

void Scheduler::waitForAll() {
    VESPRA_ASSERT(!hasEntered(this));
    const Detail::AcceptOnExit allDone(&queues);
    arena->execute([this] { taskGroup->wait(); });
}

Optional<int> Scheduler::getWorkerThreadIndex() {
    const Scheduler* scheduler = getWorkerThreadScheduler();
    if (scheduler == nullptr) {
        return {};
    }
    const int index = tbb::this_task_arena::current_thread_index();
    if (index < 0 || index >= scheduler->concurrency) {
        return {};
    }
    return index;
}

Scheduler* Scheduler::getWorkerThreadScheduler() {
    return enteredArenas.empty() ? nullptr : enteredArenas.back().scheduler;
}

void Scheduler::createArena(int count) {
    const int processors = Utils::getLogicalProcessorCount();
    concurrency = count <= 0 ? processors : std::min(count, processors);
    // With one slot the caller of a loop could not join, but a worker must stay free to
    // start submitted tasks.
    const unsigned reservedForCallers = concurrency > 1 ? 1 : 0;
    arena = makeAuto<tbb::task_arena>(concurrency, reservedForCallers, arenaPriority);
    // Tasks run in the float mode of the thread that initialised the arena.
    const unsigned floatMode = _mm_getcsr();
    Utils::threadSetupFloats();
    arena->initialize();
    _mm_setcsr(floatMode);
    observer = makeAuto<Observer>(*arena, *this);
    taskGroup = makeAuto<tbb::task_group>();
}

void Scheduler::destroyArena() {
    waitForAll();
    // The group's context refers to the arena's, so it goes first.
    taskGroup.reset();
    observer.reset();
    arena.reset();
}

void Scheduler::runNext() {
    SharedPtr<Task> task;
    {
        std::lock_guard lock(queueMutex);
        auto queue = std::find_if(queues.rbegin(), queues.rend(), [](auto& q) { return !q.empty(); });
        if (queue == queues.rend()) {
            return;
        }
        task = std::move(queue->front());
        queue->pop_front();
    }
    task->runIfPending();
}

} // namespace Vespra
