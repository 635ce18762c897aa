#include <cstdio>

#include <gtest/gtest.h>
#include <wx/evtloop.h>

#include "foundation/Lib.h"
#include "gui/widgets/LibWx.h"

// The GUI tests run on the main thread with wxWidgets started once for the process. Listing the
// tests (as the build does to register them) needs no display, so the toolkit starts only for a
// real run.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests)) {
        return RUN_ALL_TESTS();
    }
    using namespace Vespra;
    if (!Lib::startup() || !Wx::LibWx::startup(Wx::LibWx::ApplicationType::STANDALONE, argc, argv)) {
        fprintf(stderr, "The GUI tests need an X display (run them under xvfb-run).\n");
        return 1;
    }
    int result;
    {
        // An active loop lets the tests yield to the toolkit and run modal dialogs.
        wxEventLoop loop;
        wxEventLoopActivator activate(&loop);
        result = RUN_ALL_TESTS();
    }
    Wx::LibWx::shutdown();
    Lib::shutdown();
    return result;
}
