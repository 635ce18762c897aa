#pragma once

#include "foundation/MainThreadDispatcher.h"

namespace Vespra {

/// A function run on the main thread a while after the last request: a burst of requests
/// (a slider dragged, a window resized) gives one call once it settles. Use it from the main
/// thread; it needs an installed main-thread dispatcher.
class DelayedCallback {
public:
    DelayedCallback() = default;
    /// Cancels a pending call.
    ~DelayedCallback() { cancel(); }

    DelayedCallback(const DelayedCallback&) = delete;
    DelayedCallback& operator=(const DelayedCallback&) = delete;

    /// Sets the function; a pending call will run the new one.
    DelayedCallback& operator=(Function<void()> function);

    /// Calls the function `milliseconds` from now, dropping a pending call; answers false
    /// when no dispatcher is installed.
    bool scheduleDelayed(int milliseconds);

    void cancel();

    bool isPending() const { return state->timer != 0; }

    /// Whether a function is set.
    explicit operator bool() const { return bool(state->function); }

private:
    /// Shared with the pending timer, which must not call into a destroyed callback.
    struct State {
        Function<void()> function;
        WeakPtr<Abstract::MainThreadDispatcher> dispatcher;
        Abstract::MainThreadDispatcher::TimerId timer = 0;
    };

    SharedPtr<State> state = makeShared<State>();
};

} // namespace Vespra
