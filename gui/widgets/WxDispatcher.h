#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "foundation/MainThreadDispatcher.h"

class wxTimer;

namespace Vespra::Wx {

/// Runs posted functions and timers on the wxWidgets main thread. Functions go into the
/// application object's event queue, so they run in the order they were posted, also when the
/// queue is drained by a modal dialog's loop or by `LibWx::processAllPendingEvents`.
class WxDispatcher : public Abstract::MainThreadDispatcher {
public:
    WxDispatcher();
    ~WxDispatcher() override;

    void post(Function<void()> function) override;
    bool isMainThread() const override;
    TimerId scheduleTimer(int milliseconds, Function<void()> function) override;
    void cancelTimer(TimerId id) override;

    /// Timers that have been scheduled and have neither fired nor been cancelled.
    std::size_t pendingTimerCount() const;

private:
    class OneShotTimer;

    /// On the main thread: starts the timer of `id` unless it was cancelled meanwhile.
    void startTimer(TimerId id, int milliseconds);
    /// On the main thread: the timer of `id` fired; runs its function once.
    void fire(TimerId id);

    struct PendingTimer {
        Function<void()> function;
        std::unique_ptr<OneShotTimer> timer;
    };

    mutable std::mutex mutex;
    std::map<TimerId, PendingTimer> timers;
    TimerId lastTimerId = 0;
    /// Guards the functions posted to the application against a dispatcher that has gone.
    std::shared_ptr<WxDispatcher*> self;
};

} // namespace Vespra::Wx
