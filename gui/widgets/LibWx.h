#pragma once

namespace Vespra::Wx::LibWx {

/// What kind of program starts the toolkit.
enum class ApplicationType : int {
    /// A program of its own whose windows are the whole application, as the editor is.
    STANDALONE = 1,
};

/// Starts wxWidgets on GTK unless an application object exists already: creates one, asks
/// GTK for its dark variant so that native dialogs match the skin, registers the image
/// handlers, and installs the main-thread dispatcher over the toolkit's event queue. Answers
/// whether the toolkit is usable (false without a display).
bool startup(ApplicationType type, int argc = 0, char** argv = nullptr);

/// Removes the dispatcher and stops what `startup` started.
void shutdown();

/// Runs the main loop until the last top-level window is gone; answers the loop's exit code.
int runEventLoop();

/// Runs, on the main thread, every event queued so far (posted functions and events queued by
/// other threads included), and those that they queue in turn, up to a bound that keeps a
/// handler that re-posts itself from running forever. The barrier by which the main thread
/// waits for what it posted to itself.
void processAllPendingEvents();

} // namespace Vespra::Wx::LibWx
