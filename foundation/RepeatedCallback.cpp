#include "foundation/RepeatedCallback.h"

namespace Vespra {

void RepeatedCallback::set(Function<void()> function) {
    state->function = std::move(function);
}

bool RepeatedCallback::start(int milliseconds) {
    stop();
    const SharedPtr<Abstract::MainThreadDispatcher> dispatcher = Utils::getMainThreadDispatcher();
    if (!dispatcher) {
        return false;
    }
    state->dispatcher = dispatcher;
    state->periodMs = milliseconds;
    scheduleNext(state);
    return true;
}

void RepeatedCallback::stop() {
    if (state->timer == 0) {
        return;
    }
    if (const SharedPtr<Abstract::MainThreadDispatcher> dispatcher = state->dispatcher.lock()) {
        dispatcher->cancelTimer(state->timer);
    }
    state->timer = 0;
}

void RepeatedCallback::scheduleNext(const SharedPtr<State>& state) {
    const SharedPtr<Abstract::MainThreadDispatcher> dispatcher = state->dispatcher.lock();
    if (!dispatcher) {
        state->timer = 0;
        return;
    }
    state->timer = dispatcher->scheduleTimer(state->periodMs, [weakState = WeakPtr<State>(state)] {
        const SharedPtr<State> state = weakState.lock();
        if (!state) {
            return;
        }
        const auto firing = state->timer;
        if (const Function<void()> function = state->function) {
            function();
        }
        // Unless the function stopped or restarted the repetition.
        if (state->timer == firing) {
            scheduleNext(state);
        }
    });
}

} // namespace Vespra
