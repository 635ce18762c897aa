#include "foundation/Task.h"

#include "foundation/Scheduler.h"

namespace Vespra {

void Task::wait() {
    if (runIfPending()) {
        rethrowError();
        return;
    }
    std::unique_lock lock(mutex);
    doneChanged.wait(lock, [this] { return isDone(); });
    rethrowError();
}

bool Task::waitFor(int milliseconds) {
    std::unique_lock lock(mutex);
    if (!doneChanged.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return isDone(); })) {
        return false;
    }
    rethrowError();
    return true;
}

bool Task::cancel() {
    {
        std::lock_guard lock(mutex);
        if (state != State::PENDING) {
            return false;
        }
        state = State::CANCELLED;
    }
    doneChanged.notify_all();
    return true;
}

bool Task::runIfPending() {
    {
        std::lock_guard lock(mutex);
        if (state != State::PENDING) {
            return false;
        }
        state = State::RUNNING;
        workerIndex = Scheduler::getWorkerThreadIndex();
    }
    std::exception_ptr caught;
    try {
        run();
    } catch (...) {
        caught = std::current_exception();
    }
    {
        std::lock_guard lock(mutex);
        error = caught;
        state = State::FINISHED;
    }
    doneChanged.notify_all();
    return true;
}

Optional<int> Task::getWorkerThreadIndex() const {
    std::lock_guard lock(mutex);
    return workerIndex;
}

void Task::rethrowError() const {
    // Only read once the task is done, when nothing writes `error` any more.
    if (error) {
        std::rethrow_exception(error);
    }
}

} // namespace Vespra
