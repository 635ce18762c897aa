#pragma once

#include <cstdint>

#include "foundation/MainThreadDispatcher.h"

namespace Vespra {

/// A function run on the main thread at a fixed interval until stopped. Use it from the main
/// thread; it needs an installed main-thread dispatcher.
class RepeatedCallback {
public:
    RepeatedCallback() = default;
    ~RepeatedCallback() { stop(); }

    RepeatedCallback(const RepeatedCallback&) = delete;
    RepeatedCallback& operator=(const RepeatedCallback&) = delete;

    void set(Function<void()> function);

    /// Calls the function every `milliseconds`, the first time `milliseconds` from now;
    /// restarts a running repetition. Answers false when no dispatcher is installed.
    bool start(int milliseconds);

    /// No further calls; may be called by the function itself.
    void stop();

    bool isRunning() const { return state->timer != 0; }

private:
    /// Shared with the pending timer, which must not call into a destroyed callback.
    struct State {
        Function<void()> function;
        WeakPtr<Abstract::MainThreadDispatcher> dispatcher;
        Abstract::MainThreadDispatcher::TimerId timer = 0;
        int periodMs = 0;
    };

    static void scheduleNext(const SharedPtr<State>& state);

    SharedPtr<State> state = makeShared<State>();
};

} // namespace Vespra
