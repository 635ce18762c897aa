#pragma once

#include "foundation/Histogram.h"
#include "foundation/Optional.h"
#include "foundation/Pointers.h"
#include "foundation/Task.h"

namespace Vespra::Wx {

/// Counts histograms off the GUI thread, one at a time: the GUI stays responsive while the image
/// is pulled and counted. Used from the GUI thread only.
class HistogramLoader {
public:
    using Job = Function<Histogram()>;
    using Done = Function<void(Histogram histogram)>;
    /// Runs a function on the GUI thread later, or drops it when its window has gone.
    using Post = Function<void(Function<void()>)>;

    explicit HistogramLoader(Post post) : post(std::move(post)) {}
    /// Drops the waiting job and waits for the running one, whose result is then dropped.
    ~HistogramLoader();

    HistogramLoader(const HistogramLoader&) = delete;
    HistogramLoader& operator=(const HistogramLoader&) = delete;

    /// Runs `job` on the high-priority scheduler and then `done` with its result on the GUI
    /// thread. A job asked for while another runs waits for that one and replaces any job that
    /// was waiting; the running job's result is then dropped, so that only the latest request
    /// of a burst reaches its `done`.
    void load(Job job, Done done);

    /// Whether a job runs or waits.
    bool isBusy() const { return running != nullptr; }

private:
    struct Request {
        Job job;
        Done done;
    };

    void start(Request request);
    void finish(const Done& done, Histogram histogram);

    Post post;
    SharedPtr<Task> running;
    Optional<Request> waiting;
};

} // namespace Vespra::Wx
