#include "gui/widgets/WxDispatcher.h"

#include <wx/app.h>
#include <wx/thread.h>
#include <wx/timer.h>

namespace Vespra::Wx {

class WxDispatcher::OneShotTimer : public wxTimer {
public:
    OneShotTimer(WxDispatcher& owner, TimerId id) : owner(owner), id(id) {}

    void Notify() override { owner.fire(id); }

private:
    WxDispatcher& owner;
    TimerId id;
};

WxDispatcher::WxDispatcher() : self(std::make_shared<WxDispatcher*>(this)) {}

WxDispatcher::~WxDispatcher() {
    *self = nullptr;
    std::lock_guard lock(mutex);
    timers.clear();
}

void WxDispatcher::post(Function<void()> function) {
    if (wxTheApp == nullptr) {
        return;
    }
    // CallAfter queues a thread-safe event on the application object; events of one handler
    // are processed in the order they were queued.
    wxTheApp->CallAfter([function = std::move(function)] { function(); });
}

bool WxDispatcher::isMainThread() const {
    return wxIsMainThread();
}

WxDispatcher::TimerId WxDispatcher::scheduleTimer(int milliseconds, Function<void()> function) {
    TimerId id;
    {
        std::lock_guard lock(mutex);
        id = ++lastTimerId;
        timers.emplace(id, PendingTimer{std::move(function), nullptr});
    }
    if (isMainThread()) {
        startTimer(id, milliseconds);
    } else if (wxTheApp != nullptr) {
        // wxTimer belongs to the main thread: start it there.
        wxTheApp->CallAfter([weakSelf = std::weak_ptr<WxDispatcher*>(self), id, milliseconds] {
            if (const auto self = weakSelf.lock(); self && *self) {
                (*self)->startTimer(id, milliseconds);
            }
        });
    }
    return id;
}

void WxDispatcher::startTimer(TimerId id, int milliseconds) {
    std::lock_guard lock(mutex);
    const auto found = timers.find(id);
    if (found == timers.end()) {
        return;
    }
    found->second.timer = std::make_unique<OneShotTimer>(*this, id);
    found->second.timer->StartOnce(std::max(milliseconds, 1));
}

void WxDispatcher::cancelTimer(TimerId id) {
    std::unique_ptr<OneShotTimer> timer;
    {
        std::lock_guard lock(mutex);
        const auto found = timers.find(id);
        if (found == timers.end()) {
            return;
        }
        timer = std::move(found->second.timer);
        timers.erase(found);
    }
    if (timer && !isMainThread()) {
        // A wxTimer must be stopped and deleted on the main thread.
        wxTheApp->CallAfter([timer = std::shared_ptr<OneShotTimer>(std::move(timer))] { timer->Stop(); });
    }
}

void WxDispatcher::fire(TimerId id) {
    Function<void()> function;
    std::unique_ptr<OneShotTimer> timer;
    {
        std::lock_guard lock(mutex);
        const auto found = timers.find(id);
        if (found == timers.end()) {
            return;
        }
        function = std::move(found->second.function);
        timer = std::move(found->second.timer);
        timers.erase(found);
    }
    // The timer object is in its own Notify: delete it once that has returned.
    if (timer && wxTheApp != nullptr) {
        wxTheApp->CallAfter([timer = std::shared_ptr<OneShotTimer>(std::move(timer))] {});
    }
    if (function) {
        function();
    }
}

std::size_t WxDispatcher::pendingTimerCount() const {
    std::lock_guard lock(mutex);
    return timers.size();
}

} // namespace Vespra::Wx
