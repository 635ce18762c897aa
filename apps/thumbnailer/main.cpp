#include <iostream>

#include "apps/thumbnailer/Thumbnail.h"
#include "apps/thumbnailer/ThumbnailerTool.h"
#include "foundation/Lib.h"

int main(int argc, char** argv) {
    using namespace Vespra;
    if (!Lib::startup()) {
        std::cerr << "Error: this processor lacks the SSE4.1 instructions the thumbnailer needs.\n";
        return Thumbnailer::EXIT_FAILED;
    }
    const int status = Thumbnailer::run(argc, argv, std::cout, std::cerr);
    Lib::shutdown();
    return status;
}
