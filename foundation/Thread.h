#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

#include <pthread.h>

#include "foundation/Pointers.h"

namespace Vespra {

/// A thread running one function, with a stack size of choice and a join that can give up.
/// An exception escaping the function ends the program, as with std::thread.
class Thread {
public:
    Thread() = default;
    /// Starts at once; see `start`.
    explicit Thread(Function<void()> body, std::size_t stackBytes = 0);
    /// Joins a started thread, waiting as long as it takes.
    ~Thread();

    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Runs `body` on a new thread with at least `stackBytes` of stack (0: the system's
    /// default). The previous thread of this object must have been joined.
    void start(Function<void()> body, std::size_t stackBytes = 0);

    /// Waits at most `timeoutMs` (< 0: without limit) for the function to return; answers
    /// whether it did, and then the thread is joined. A thread never started counts as joined.
    bool join(int timeoutMs = -1);

    /// True from `start` until the function returned.
    bool isRunning() const;

    /// True on the thread this object started, while it runs.
    bool isCurrent() const;

private:
    static void* threadMain(void* thread);

    Function<void()> body;
    mutable std::mutex mutex;
    std::condition_variable finishedChanged;
    bool started = false;
    bool finished = false;
    pthread_t handle{};
};

} // namespace Vespra
