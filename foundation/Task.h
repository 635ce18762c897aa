#pragma once

#include <condition_variable>
#include <exception>
#include <mutex>

#include "foundation/Optional.h"
#include "foundation/Pointers.h"

namespace Vespra {

/// One piece of work for a `Scheduler`. It runs at most once: whoever claims it first - a
/// worker of the scheduler or a thread waiting for it - runs it; a cancelled task never runs.
class Task : public Polymorphic {
public:
    /// The work. What it throws is kept and thrown again to whoever waits.
    virtual void run() = 0;

    /// Returns when the task finished or was cancelled. A task nobody has started yet is run
    /// by the calling thread instead of waiting for a worker to come by.
    /// Throws what `run()` threw.
    void wait();

    /// Waits at most `milliseconds` without running the task here; answers whether it finished
    /// or was cancelled. Throws what `run()` threw.
    bool waitFor(int milliseconds);

    /// Answers true when the task had not started: then it never runs, and waiting returns.
    /// A running or finished task cannot be stopped, and answers false.
    bool cancel();

    /// Runs the task on the calling thread unless somebody claimed it already; answers
    /// whether this call ran it.
    bool runIfPending();

    /// The worker index of the thread that ran the task; empty when it has not run or ran on
    /// a thread outside any scheduler.
    Optional<int> getWorkerThreadIndex() const;

private:
    enum class State { PENDING, RUNNING, FINISHED, CANCELLED };

    bool isDone() const { return state == State::FINISHED || state == State::CANCELLED; }
    void rethrowError() const;

    mutable std::mutex mutex;
    std::condition_variable doneChanged;
    State state = State::PENDING;
    std::exception_ptr error;
    Optional<int> workerIndex;
};

/// A task running a function.
class FunctionTask : public Task {
public:
    explicit FunctionTask(Function<void()> function) : function(std::move(function)) {}

    void run() override { function(); }

private:
    Function<void()> function;
};

} // namespace Vespra
