#include "apps/cmd/ProgressPrinter.h"

#include <cmath>
#include <cstdio>

#include <fmt/format.h>
#include <unistd.h>

namespace Vespra::Cmd {

namespace {
constexpr int BAR_WIDTH = 40;
}

ProgressPrinter::ProgressPrinter(bool quiet) : quiet(quiet), terminal(::isatty(STDERR_FILENO) != 0) {}

void ProgressPrinter::started(const String& newTitle) {
    std::lock_guard guard(lock);
    endBar();
    title = newTitle.toUtf8();
    lastShown = -1;
}

void ProgressPrinter::progress(float fraction) {
    std::lock_guard guard(lock);
    if (quiet || !(fraction >= 0.f)) {
        return;
    }
    const int percent = std::min(int(std::lround(fraction * 100.f)), 100);
    // A terminal is redrawn at every percent; a log gets a line at every tenth.
    const int step = terminal ? percent : percent / 10 * 10;
    if (step == lastShown) {
        return;
    }
    lastShown = step;
    if (terminal) {
        const int filled = percent * BAR_WIDTH / 100;
        fmt::print(stderr, "\r{} [{}{}] {:3}%", title, std::string(std::size_t(filled), '#'),
                   std::string(std::size_t(BAR_WIDTH - filled), ' '), percent);
        barOpen = true;
    } else {
        fmt::print(stderr, "{}: {}%\n", title, step);
    }
    std::fflush(stderr);
}

void ProgressPrinter::finished() {
    std::lock_guard guard(lock);
    endBar();
}

void ProgressPrinter::message(const std::string& prefix, const String& text) {
    std::lock_guard guard(lock);
    endBar();
    fmt::print(stderr, "{}{}\n", prefix, text);
}

void ProgressPrinter::endBar() {
    if (barOpen) {
        fmt::print(stderr, "\n");
        barOpen = false;
    }
}

} // namespace Vespra::Cmd
