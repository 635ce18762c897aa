#include "foundation/Timer.h"

namespace Vespra {

Timer::Timer(int periodMs, Flags<TimerFlag> flags) : started(Clock::now()), periodMs(periodMs) {
    if (flags.has(TimerFlag::START_EXPIRED)) {
        started -= std::chrono::milliseconds(periodMs);
    }
}

std::int64_t Timer::getElapsed() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - started).count();
}

bool Timer::check() {
    if (getElapsed() < periodMs) {
        return false;
    }
    reset();
    return true;
}

void Timer::reset() {
    started = Clock::now();
}

void Timer::subtract(std::int64_t milliseconds) {
    started += std::chrono::milliseconds(milliseconds);
}

} // namespace Vespra
