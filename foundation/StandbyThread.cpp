#include "foundation/StandbyThread.h"

#include "foundation/Exception.h"
#include "foundation/Utils.h"

namespace Vespra {

StandbyThread::~StandbyThread() {
    {
        std::lock_guard lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    thread.join();
}

void StandbyThread::configure(int newPriority, String newName, std::size_t newStackBytes) {
    std::lock_guard lock(mutex);
    priority = newPriority;
    name = std::move(newName);
    stackBytes = newStackBytes;
    configChanged = true;
}

void StandbyThread::invoke(Function<void()> function, bool wait) {
    std::unique_lock lock(mutex);
    VESPRA_ASSERT(!thread.isCurrent());
    if (!thread.isRunning()) {
        thread.start([this] { threadMain(); }, stackBytes);
    }
    changed.wait(lock, [this] { return started == finished; });
    job = std::move(function);
    const std::uint64_t ticket = ++started;
    changed.notify_all();
    if (wait) {
        changed.wait(lock, [&] { return finished >= ticket; });
    }
}

void StandbyThread::waitForThis() {
    std::unique_lock lock(mutex);
    const std::uint64_t ticket = started;
    changed.wait(lock, [&] { return finished >= ticket; });
}

bool StandbyThread::isRunning() const {
    std::lock_guard lock(mutex);
    return started != finished;
}

void StandbyThread::threadMain() {
    std::unique_lock lock(mutex);
    while (true) {
        changed.wait(lock, [this] { return stopping || started != finished; });
        if (started == finished) {
            return;
        }
        if (configChanged) {
            configChanged = false;
            Utils::setThreadName(name);
            Utils::lowerThreadPriority(priority);
        }
        Function<void()> function = std::move(job);
        lock.unlock();
        try {
            function();
        } catch (...) {
            // Dropped on purpose: see the class comment.
        }
        // The function's captures go before anybody learns it finished.
        function = nullptr;
        lock.lock();
        ++finished;
        changed.notify_all();
    }
}

} // namespace Vespra
