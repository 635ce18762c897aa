#pragma once

#include <mutex>
#include <string>

#include "foundation/String.h"

namespace Vespra::Cmd {

/// Shows the progress of long work on stderr: a bar redrawn in place on a terminal, plain lines
/// at every tenth otherwise (logs, pipes), nothing when quiet.
class ProgressPrinter {
public:
    explicit ProgressPrinter(bool quiet);

    void started(const String& title);
    void progress(float fraction);
    /// Ends the current bar or line.
    void finished();
    /// A message on a line of its own, after any bar.
    void message(const std::string& prefix, const String& text);

private:
    void endBar();

    std::mutex lock;
    bool quiet;
    bool terminal;
    std::string title;
    int lastShown = -1;
    bool barOpen = false;
};

} // namespace Vespra::Cmd
