// The command line of the batch tool: the bytes are its arguments, separated by zero bytes.
// Reading it touches no file and never ends the process: it answers options to run, or the
// exit status with the text to print. Options it accepts are taken as far as the tool takes
// them before it opens the first file: each --property is read too.

#include <vector>

#include "apps/cmd/BatchJob.h"
#include "apps/cmd/CommandLineOptions.h"
#include "fuzz/FuzzSupport.h"

using namespace Vespra;

namespace {

std::vector<std::string> argumentsOf(const std::string& bytes) {
    std::vector<std::string> arguments{"vespra-image-cmd"};
    std::size_t start = 0;
    while (start < bytes.size()) {
        const std::size_t end = std::min(bytes.find('\0', start), bytes.size());
        arguments.push_back(bytes.substr(start, end - start));
        start = end + 1;
    }
    return arguments;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::string> arguments = argumentsOf(Fuzz::bytesOf(data, size));
    std::vector<const char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    argv.push_back(nullptr);

    const Cmd::ParsedCommandLine parsed = Cmd::parseCommandLine(int(arguments.size()), argv.data());
    if (!parsed.options) {
        Fuzz::require(parsed.exitStatus == Cmd::EXIT_OK || parsed.exitStatus == Cmd::EXIT_USAGE,
                      "an exit status that is neither help nor a usage error");
        Fuzz::requireClearMessage(String::fromUtf8(parsed.message));
        return 0;
    }
    Fuzz::require(!parsed.options->inputs.empty(), "options to run without an input");
    for (const std::string& text : parsed.options->properties) {
        if (const auto assignment = Cmd::parsePropertyAssignment(text); !assignment) {
            Fuzz::requireClearMessage(assignment.error());
        }
    }
    return 0;
}
