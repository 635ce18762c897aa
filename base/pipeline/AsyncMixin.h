#pragma once

#include <condition_variable>
#include <mutex>

#include "base/pipeline/Operator.h"
#include "foundation/Locks.h"
#include "foundation/StandbyThread.h"
#include "foundation/Utils.h"

namespace Vespra::Pipeline {

/// Runs an operator's `run()` on a worker of its own. Requests that arrive before the worker
/// wakes fold into one run; the worker stays parked between runs until the operator is
/// destroyed. The most-derived class calls `stopWorker()` in its destructor, since `run()`
/// is virtual.
template <class Base>
class AsyncMixin : public Base, public IAsync {
public:
    /// The operator's asynchronous work, on its worker thread.
    virtual void run() = 0;

    bool waitUntilIdle() override {
        std::unique_lock lock(*wakeMutex);
        wake.wait(lock, [this] { return !pending || stopping; });
        return !pending;
    }

protected:
    ~AsyncMixin() override { stopWorker(); }

    /// Requests a run; the worker thread is named "_VESPRA_" + `name`.
    void startWorker(const String& name) {
        std::lock_guard lock(*wakeMutex);
        if (!thread.isRunning()) {
            stopping = false;
            thread.invoke([this, name] { workerLoop(name); }, false);
        }
        pending = true;
        wake.notify_all();
    }

    /// Tells the worker to leave, even with a run queued, and waits until it has.
    void stopWorker() {
        {
            std::lock_guard lock(*wakeMutex);
            stopping = true;
            wake.notify_all();
        }
        thread.waitForThis();
    }

private:
    void workerLoop(const String& name) {
        Utils::setThreadName(u"_VESPRA_" + name);
        for (;;) {
            {
                std::unique_lock lock(*wakeMutex);
                wake.wait(lock, [this] { return pending || stopping; });
                if (stopping) {
                    return;
                }
                pending = false;
                // Whoever waits for the request to be picked up may go on now.
                wake.notify_all();
            }
            run();
            std::lock_guard lock(*wakeMutex);
            wake.notify_all();
        }
    }

    StandbyThread thread;
    // One mutex guards `pending` and `stopping` and serves the condition variable, so that no
    // wake-up can be lost between testing the state and waiting.
    SharedPtr<std::mutex> wakeMutex = makeShared<std::mutex>();
    std::condition_variable wake;
    bool pending = false;
    bool stopping = true;
};

} // namespace Vespra::Pipeline
