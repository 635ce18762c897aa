#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/pipeline/MergeWeight.h"
#include "foundation/Containers.h"
#include "foundation/Optional.h"
#include "settings/DenoisingMode.h"
#include "settings/Property.h"

namespace Vespra::Cmd {

/// What the command line asks for.
struct CommandLineOptions {
    std::vector<std::string> inputs;
    Stack<Pipeline::MergeWeight> weights;
    std::vector<std::string> confFiles;
    std::vector<std::string> properties;
    /// Run the denoise operator, in `denoiseMode` or, when that is empty, in the most advanced
    /// mode the image allows.
    bool denoise = false;
    Optional<DenoisingMode> denoiseMode;
    std::vector<std::string> elements;
    std::string output;
    bool listElements = false;
    bool json = false;
    bool printSettings = false;
    int threads = 0;
    bool quiet = false;
};

/// The result of reading the command line: options to run, or an exit status with the text to
/// print (the help text with status 0, a usage error with status 2).
struct ParsedCommandLine {
    Optional<CommandLineOptions> options;
    int exitStatus = 0;
    std::string message;
};

ParsedCommandLine parseCommandLine(int argc, const char* const* argv);

/// A weight as written on the command line: a number, or %NAME for a weight channel.
Expected<Pipeline::MergeWeight, String> parseWeight(const std::string& text);

/// A mode of `--denoise`: the name of a mode that filters, as .conf files write it.
Expected<DenoisingMode, String> parseDenoisingMode(const std::string& text);

/// A property and the value that `--property` gives it.
struct PropertyAssignment {
    std::int32_t id = 0;
    Property value;
};

/// The text of `--property`, KEY=VALUE with VALUE in the .conf value form of the key's type:
/// a valid value of a known property, or the message that says what is wrong.
Expected<PropertyAssignment, String> parsePropertyAssignment(const std::string& text);

} // namespace Vespra::Cmd
