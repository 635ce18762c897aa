#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "apps/cmd/BatchJob.h"

namespace Vespra::Cmd::Testing {

/// What one run of the tool's command line gave: its exit status, what it printed on its
/// output, and the usage text or message of a command line that did not parse.
struct CommandResult {
    int status = -1;
    std::string out;
    std::string message;
};

/// Runs the tool's command line in this process, as `main` does, without progress.
inline CommandResult runBatchToolCapturing(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "vespra-image-cmd");
    std::vector<const char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    ParsedCommandLine parsed = parseCommandLine(int(argv.size()), argv.data());
    CommandResult result;
    if (!parsed.options) {
        result.status = parsed.exitStatus;
        result.message = parsed.message;
        return result;
    }
    std::ostringstream out;
    parsed.options->quiet = true;
    result.status = BatchJob(std::move(*parsed.options), out).run();
    result.out = out.str();
    return result;
}

/// The exit status of `runBatchToolCapturing`.
inline int runBatchTool(std::vector<std::string> arguments) {
    return runBatchToolCapturing(std::move(arguments)).status;
}

} // namespace Vespra::Cmd::Testing
