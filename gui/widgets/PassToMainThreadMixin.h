#pragma once

#include <mutex>
#include <type_traits>
#include <utility>

#include <wx/event.h>

#include "foundation/Pointers.h"
#include "settings/Settings.h"

namespace Vespra::Wx {

/// A window that takes work from any thread and runs it on the GUI thread, in the order in
/// which it was passed, as a `wxThreadEvent` queued on the window itself. Work still queued
/// when the window goes is dropped with the window's pending events; work passed while the
/// window is being destroyed is not queued at all.
template <class Base>
class PassToMainThreadMixin : public Base {
public:
    template <class... Args>
    explicit PassToMainThreadMixin(Args&&... args) : Base(std::forward<Args>(args)...) {
        this->Bind(wxEVT_THREAD, &PassToMainThreadMixin::onThreadEvent, this, wxID_ANY);
    }

    ~PassToMainThreadMixin() override {
        std::lock_guard lock(alive->mutex);
        alive->window = nullptr;
    }

    /// Queues `function` to run on the GUI thread; callable from any thread.
    void passToMainThread(Function<void()> function) { queue(*alive, std::move(function)); }

    /// A settings listener that runs `listener` on the GUI thread with the id and value of
    /// the change. It stays safe to call after the window is gone.
    SharedPtr<SettingsListener> wrapListener(Function<void(std::int32_t, const Property&)> listener) {
        return makeShared<SettingsListener>(
            [alive = alive, listener = makeShared<decltype(listener)>(std::move(listener))](
                std::int32_t id, const Property& value) {
                queue(*alive, [listener, id, value] { (*listener)(id, value); });
            });
    }

    /// A function of any arguments that runs `function` with copies of them on the GUI thread;
    /// what an operator's callbacks are wrapped in.
    template <class... Args>
    Function<void(Args...)> wrap(std::type_identity_t<Function<void(Args...)>> function) {
        return [alive = alive, function = makeShared<decltype(function)>(std::move(function))](Args... args) {
            queue(*alive, [function, args...] { (*function)(args...); });
        };
    }

private:
    using Work = SharedPtr<Function<void()>>;

    struct Alive {
        std::mutex mutex;
        wxEvtHandler* window = nullptr;
    };

    static void queue(Alive& target, Function<void()> function) {
        auto* event = new wxThreadEvent(wxEVT_THREAD, wxID_ANY);
        event->SetPayload(makeShared<Function<void()>>(std::move(function)));
        std::lock_guard lock(target.mutex);
        if (target.window) {
            target.window->QueueEvent(event);
        } else {
            delete event;
        }
    }

    // Thread events do not travel to parents, so every one that arrives here was queued above.
    void onThreadEvent(wxThreadEvent& event) {
        const Work work = event.GetPayload<Work>();
        (*work)();
    }

    SharedPtr<Alive> alive = [this] {
        auto made = makeShared<Alive>();
        made->window = this;
        return made;
    }();
};

} // namespace Vespra::Wx
