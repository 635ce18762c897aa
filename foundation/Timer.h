#pragma once

#include <chrono>
#include <cstdint>

#include "foundation/Flags.h"

namespace Vespra {

enum class TimerFlag {
    /// The first `check()` answers true at once, so a periodic action also happens at the start.
    START_EXPIRED = 1,
};

/// Measures wall time on the monotonic clock and tells when a period has passed.
class Timer {
public:
    explicit Timer(int periodMs = 0, Flags<TimerFlag> flags = {});

    /// Milliseconds since the last reset, less what was subtracted.
    std::int64_t getElapsed() const;

    /// True when the period has elapsed; then starts the next period from now.
    bool check();

    void reset();

    /// Takes `milliseconds` off the elapsed time, so a periodic caller can keep its rhythm
    /// instead of drifting by the time it took to notice.
    void subtract(std::int64_t milliseconds);

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point started;
    std::int64_t periodMs;
};

} // namespace Vespra
