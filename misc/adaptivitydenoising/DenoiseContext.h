#pragma once

#include <algorithm>

#include "foundation/Pointers.h"
#include "foundation/Scheduler.h"

namespace Vespra {

/// The share of one `filter` call that the running step covers, and how much of it is done.
struct ProgressRange {
    float start = 0.f;
    float current = 0.f;
    float end = 0.f;

    void beginStep(float step) {
        start = end;
        end = end + step;
    }
    /// Moves on by the fraction `t` of the current step, never past 1.
    void advance(float t) { current = std::min(1.f, current + (end - start) * t); }
    void reset() { start = current = end = 0.f; }
};

/// What travels from a denoiser down into its filters.
struct DenoiseContext {
    explicit DenoiseContext(Scheduler& scheduler) : scheduler(scheduler) {}

    Scheduler& scheduler;
    /// Called with the fraction done; true asks to stop.
    Function<bool(float)> progress = [](float) { return false; };
    ProgressRange range;

    /// Reports `range.current`; answers whether the caller asks to stop.
    bool report() const { return progress(range.current); }
};

} // namespace Vespra
