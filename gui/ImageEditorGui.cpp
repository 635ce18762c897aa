#include "gui/ImageEditorGui.h"

#include <wx/app.h>

#include "base/pipeline/OperatorGraph.h"
#include "foundation/Exception.h"
#include "gui/Library.h"
#include "gui/windows/MainFrame.h"

namespace Vespra::Wx {

namespace {

/// The editor's arguments, without the program's name.
Stack<String> wrapInputArguments(int argc, char** argv) {
    Stack<String> arguments;
    for (int i = 1; i < argc; ++i) {
        arguments.push(String::fromUtf8(argv[i]));
    }
    return arguments;
}

void startLibraries() {
    try {
        Library::initLib(makeShared<ApplicationContext>(LibWx::ApplicationType::STANDALONE, Io::Path(u"."),
                                                        GuiSkin::editor()));
    } catch (const std::exception& error) {
        // Nothing can be shown yet: the logger may not stand.
        throw Exception(u"STOP@gui/ImageEditorGui.cpp(" + String::fromUtf8(std::to_string(__LINE__)) + u") " +
                        String::fromUtf8(error.what()));
    }
}

/// The frame on the graph until the last window closes. A lone argument is an image to
/// open, whatever it looks like: options are not read.
void runFrame(const SharedPtr<Settings>& settings, Pipeline::OperatorGraph& graph,
              ArrayView<const String> arguments) {
    auto* frame = new MainFrame(nullptr, settings, graph);
    wxTheApp->SetTopWindow(frame);
    frame->Show(true);
    if (arguments.size() == 1) {
        frame->openImages({Io::Path(arguments[0])});
    }
    LibWx::runEventLoop();
}

} // namespace

int runImageEditor(int argc, char** argv) {
    const Stack<String> arguments = wrapInputArguments(argc, argv);
    startLibraries();
    try {
        const SharedPtr<Settings> settings = makeShared<Settings>();
        auto graph = makeAuto<Pipeline::OperatorGraph>(*settings);
        runFrame(settings, *graph, arguments.view());
        graph.reset();
    } catch (...) {
        wxTheApp->OnUnhandledException();
    }
    Library::shutdownLib();
    return 0;
}

} // namespace Vespra::Wx
