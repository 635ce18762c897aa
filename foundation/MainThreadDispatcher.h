#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

#include "foundation/Flags.h"
#include "foundation/Pointers.h"

namespace Vespra {

namespace Abstract {

/// Runs functions on the main thread of the program, the one that owns the user interface.
/// The editor installs one over its GUI toolkit, the command-line tool a `LoopDispatcher`.
class MainThreadDispatcher : public Polymorphic {
public:
    /// Names a timer; 0 names none.
    using TimerId = std::uint64_t;

    /// Queues `function` to run on the main thread. Callable from any thread.
    virtual void post(Function<void()> function) = 0;

    virtual bool isMainThread() const = 0;

    /// Runs `function` once on the main thread after `milliseconds`; answers the id that
    /// cancels it. Callable from any thread.
    virtual TimerId scheduleTimer(int milliseconds, Function<void()> function) = 0;

    /// Stops a timer from firing; an id of a fired or cancelled timer is ignored.
    virtual void cancelTimer(TimerId id) = 0;
};

} // namespace Abstract

/// The main-thread dispatcher of a program without a GUI toolkit: the thread that creates it
/// is the main thread, and posted functions and timers run when it calls `runPending` or
/// `runUntil`.
class LoopDispatcher : public Abstract::MainThreadDispatcher {
public:
    LoopDispatcher() : mainThread(std::this_thread::get_id()) {}

    void post(Function<void()> function) override;
    bool isMainThread() const override { return std::this_thread::get_id() == mainThread; }
    TimerId scheduleTimer(int milliseconds, Function<void()> function) override;
    void cancelTimer(TimerId id) override;

    /// Runs the functions posted so far and the timers due; answers how many ran.
    int runPending();

    /// Runs posted functions and timers as they come until `done()` holds, or at most
    /// `timeoutMs` (< 0: without limit); answers `done()`. `done()` is asked after every
    /// function and every 10 ms.
    bool runUntil(const Function<bool()>& done, int timeoutMs = -1);

private:
    using Clock = std::chrono::steady_clock;

    struct PendingTimer {
        Clock::time_point due;
        Function<void()> function;
    };

    /// Takes the next function to run now, or null.
    Function<void()> takeNext();

    const std::thread::id mainThread;
    std::mutex mutex;
    std::condition_variable posted;
    std::deque<Function<void()>> queue;
    /// By id, which grows with every timer, so equal due times fire in scheduling order.
    std::map<TimerId, PendingTimer> timers;
    TimerId lastTimerId = 0;
};

namespace Utils {

/// Installs the dispatcher for the whole program; null removes it.
void setMainThreadDispatcher(SharedPtr<Abstract::MainThreadDispatcher> dispatcher);
SharedPtr<Abstract::MainThreadDispatcher> getMainThreadDispatcher();

enum class ExecuteFlag {
    /// Returns only after the function ran; what it throws is thrown to the caller.
    WAIT = 1,
};

/// Runs `function` on the main thread: at once when called there, otherwise posted. Answers
/// whether it ran or, without `WAIT`, was queued; false when no dispatcher is installed.
/// Waiting blocks until the main thread handles its queue.
bool executeInMainThread(Function<void()> function, Flags<ExecuteFlag> flags = {});

} // namespace Utils

} // namespace Vespra
