#include "foundation/MainThreadDispatcher.h"

#include <algorithm>
#include <future>

namespace Vespra {

namespace {

/// How often `runUntil` looks at a condition that another thread may change silently.
constexpr std::chrono::milliseconds POLL_INTERVAL(10);

} // namespace

void LoopDispatcher::post(Function<void()> function) {
    {
        std::lock_guard lock(mutex);
        queue.push_back(std::move(function));
    }
    posted.notify_all();
}

LoopDispatcher::TimerId LoopDispatcher::scheduleTimer(int milliseconds, Function<void()> function) {
    TimerId id;
    {
        std::lock_guard lock(mutex);
        id = ++lastTimerId;
        timers.emplace(
            id, PendingTimer{Clock::now() + std::chrono::milliseconds(milliseconds), std::move(function)});
    }
    posted.notify_all();
    return id;
}

void LoopDispatcher::cancelTimer(TimerId id) {
    std::lock_guard lock(mutex);
    timers.erase(id);
}

int LoopDispatcher::runPending() {
    // At most what waited at the start, so functions that keep posting cannot hold it forever.
    std::size_t count;
    {
        std::lock_guard lock(mutex);
        count = queue.size() + timers.size();
    }
    int ran = 0;
    for (; std::size_t(ran) < count; ++ran) {
        Function<void()> function = takeNext();
        if (!function) {
            break;
        }
        function();
    }
    return ran;
}

bool LoopDispatcher::runUntil(const Function<bool()>& done, int timeoutMs) {
    const auto deadline =
        timeoutMs < 0 ? Clock::time_point::max() : Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!done()) {
        if (runPending() > 0) {
            continue;
        }
        if (Clock::now() >= deadline) {
            return done();
        }
        std::unique_lock lock(mutex);
        auto wakeUp = std::min(deadline, Clock::now() + POLL_INTERVAL);
        for (const auto& [id, timer] : timers) {
            wakeUp = std::min(wakeUp, timer.due);
        }
        posted.wait_until(lock, wakeUp,
                          [this, count = timers.size()] { return !queue.empty() || timers.size() != count; });
    }
    return true;
}

Function<void()> LoopDispatcher::takeNext() {
    std::lock_guard lock(mutex);
    if (!queue.empty()) {
        Function<void()> function = std::move(queue.front());
        queue.pop_front();
        return function;
    }
    const auto now = Clock::now();
    const auto due = std::min_element(timers.begin(), timers.end(), [](const auto& a, const auto& b) {
        return a.second.due < b.second.due;
    });
    if (due == timers.end() || due->second.due > now) {
        return nullptr;
    }
    Function<void()> function = std::move(due->second.function);
    timers.erase(due);
    return function;
}

namespace Utils {

namespace {

std::mutex dispatcherMutex;
SharedPtr<Abstract::MainThreadDispatcher> installedDispatcher;

} // namespace

void setMainThreadDispatcher(SharedPtr<Abstract::MainThreadDispatcher> dispatcher) {
    std::lock_guard lock(dispatcherMutex);
    installedDispatcher = std::move(dispatcher);
}

SharedPtr<Abstract::MainThreadDispatcher> getMainThreadDispatcher() {
    std::lock_guard lock(dispatcherMutex);
    return installedDispatcher;
}

bool executeInMainThread(Function<void()> function, Flags<ExecuteFlag> flags) {
    const SharedPtr<Abstract::MainThreadDispatcher> dispatcher = getMainThreadDispatcher();
    if (!dispatcher) {
        return false;
    }
    if (dispatcher->isMainThread()) {
        function();
        return true;
    }
    if (!flags.has(ExecuteFlag::WAIT)) {
        dispatcher->post(std::move(function));
        return true;
    }
    auto task = makeShared<std::packaged_task<void()>>(std::move(function));
    std::future<void> ran = task->get_future();
    dispatcher->post([task] { (*task)(); });
    ran.get();
    return true;
}

} // namespace Utils

} // namespace Vespra
