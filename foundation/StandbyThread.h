#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "foundation/Pointers.h"
#include "foundation/String.h"
#include "foundation/Thread.h"

namespace Vespra {

/// A thread parked between jobs, running one function at a time: saves starting a thread for
/// every job of a recurring kind (one preview update after another).
///
/// What a function throws is caught and dropped, so that one failed job does not end the
/// thread; functions report their own errors.
class StandbyThread {
public:
    StandbyThread() = default;
    /// Waits for the running function, then ends the thread.
    ~StandbyThread();

    StandbyThread(const StandbyThread&) = delete;
    StandbyThread& operator=(const StandbyThread&) = delete;

    /// `priority` < 0 lowers the thread's priority (see `Utils::lowerThreadPriority`),
    /// `name` names it, both from the next function on. `stackBytes` is the least stack size
    /// (0: the system's default) of the thread, which starts with the first `invoke`.
    void configure(int priority, String name, std::size_t stackBytes = 0);

    /// Waits until the function running now has returned, then starts `function`; with
    /// `wait`, returns after `function` returned. Never from the function itself.
    void invoke(Function<void()> function, bool wait);

    /// Waits for the function running now, if any.
    void waitForThis();

    /// True while a function runs.
    bool isRunning() const;

private:
    void threadMain();

    mutable std::mutex mutex;
    std::condition_variable changed;
    Function<void()> job;
    /// Jobs handed to the thread and jobs finished; a job is running while they differ.
    std::uint64_t started = 0;
    std::uint64_t finished = 0;
    bool stopping = false;
    bool configChanged = false;
    int priority = 0;
    String name;
    std::size_t stackBytes = 0;
    Thread thread;
};

} // namespace Vespra
