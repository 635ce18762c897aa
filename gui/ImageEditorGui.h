#pragma once

namespace Vespra::Wx {

/// The editor process from start to end: brings the libraries up, builds the settings, the
/// operator graph and the main frame, loads the one image named by the arguments (anything
/// else opens nothing), runs the event loop, and takes it all down again in reverse order.
/// Raises `Exception` when the libraries cannot start.
int runImageEditor(int argc, char** argv);

} // namespace Vespra::Wx
