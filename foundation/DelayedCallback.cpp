#include "foundation/DelayedCallback.h"

namespace Vespra {

DelayedCallback& DelayedCallback::operator=(Function<void()> function) {
    state->function = std::move(function);
    return *this;
}

bool DelayedCallback::scheduleDelayed(int milliseconds) {
    cancel();
    const SharedPtr<Abstract::MainThreadDispatcher> dispatcher = Utils::getMainThreadDispatcher();
    if (!dispatcher) {
        return false;
    }
    state->dispatcher = dispatcher;
    state->timer = dispatcher->scheduleTimer(milliseconds, [weakState = WeakPtr<State>(state)] {
        if (const SharedPtr<State> state = weakState.lock()) {
            state->timer = 0;
            // A copy: the function may set another one.
            if (const Function<void()> function = state->function) {
                function();
            }
        }
    });
    return true;
}

void DelayedCallback::cancel() {
    if (state->timer == 0) {
        return;
    }
    if (const SharedPtr<Abstract::MainThreadDispatcher> dispatcher = state->dispatcher.lock()) {
        dispatcher->cancelTimer(state->timer);
    }
    state->timer = 0;
}

} // namespace Vespra
