#include "gui/curves/HistogramLoader.h"

#include "foundation/Scheduler.h"

namespace Vespra::Wx {

HistogramLoader::~HistogramLoader() {
    if (running && !running->cancel()) {
        try {
            running->wait();
        } catch (...) {
            // The job's failure has no one left to tell.
        }
    }
}

void HistogramLoader::load(Job job, Done done) {
    Request request{std::move(job), std::move(done)};
    if (running) {
        waiting = std::move(request);
        return;
    }
    start(std::move(request));
}

void HistogramLoader::start(Request request) {
    running = makeShared<FunctionTask>([this, request = std::move(request)] {
        Histogram histogram;
        try {
            histogram = request.job();
        } catch (...) {
            // A pull that fails counts nothing; the next reload tries again.
        }
        // `this` lives while the task may run (the destructor waits for it), and the GUI thread
        // runs the posted function only while the window that owns this loader exists.
        post([this, done = request.done, histogram = std::move(histogram)] { finish(done, histogram); });
    });
    Scheduler::highPriorityInstance().submit(running, TaskPriority::HIGH);
}

void HistogramLoader::finish(const Done& done, Histogram histogram) {
    running.reset();
    if (waiting) {
        // A newer request replaces this result.
        Request next = std::move(*waiting);
        waiting.reset();
        start(std::move(next));
        return;
    }
    done(std::move(histogram));
}

} // namespace Vespra::Wx
