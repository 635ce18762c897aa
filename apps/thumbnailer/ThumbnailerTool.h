#pragma once

#include <iosfwd>
#include <string>

#include "foundation/Optional.h"

namespace Vespra::Thumbnailer {

/// What the command line asks for: a thumbnail of `input` into `output`, its longer side at
/// most `size` pixels.
struct CommandLineOptions {
    std::string input;
    std::string output;
    int size = 0;
};

/// The result of reading the command line: options to run, or an exit status with the text to
/// print (the help text with status 0, a usage error with status 2).
struct ParsedCommandLine {
    Optional<CommandLineOptions> options;
    int exitStatus = 0;
    std::string message;
};

ParsedCommandLine parseCommandLine(int argc, const char* const* argv);

/// The whole program once the library has started: reads the command line, writes the
/// thumbnail, prints the help to `out` and every error to `err`. Answers the exit status.
int run(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

} // namespace Vespra::Thumbnailer
