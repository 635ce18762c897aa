#include <iostream>

#include "apps/cmd/BatchJob.h"
#include "foundation/Lib.h"

int main(int argc, char** argv) {
    using namespace Vespra;
    Cmd::ParsedCommandLine parsed = Cmd::parseCommandLine(argc, argv);
    if (!parsed.options) {
        (parsed.exitStatus == Cmd::EXIT_OK ? std::cout : std::cerr) << parsed.message;
        return parsed.exitStatus;
    }
    if (!Lib::startup()) {
        std::cerr << "Error: this processor lacks the SSE4.1 instructions the tool needs.\n";
        return Cmd::EXIT_FAILED;
    }
    int status = Cmd::EXIT_FAILED;
    {
        Cmd::BatchJob job(std::move(*parsed.options), std::cout);
        status = job.run();
    }
    Lib::shutdown();
    return status;
}
