#include <wx/app.h>

#include "apps/gallery/GalleryFrame.h"
#include "foundation/Lib.h"
#include "gui/widgets/LibWx.h"

// Shows every widget and dialog of the editor with its skin, for a look without the editor.
int main(int argc, char** argv) {
    using namespace Vespra;
    if (!Lib::startup() || !Wx::LibWx::startup(Wx::LibWx::ApplicationType::STANDALONE, argc, argv)) {
        return 1;
    }
    auto* frame = new Wx::GalleryFrame();
    wxTheApp->SetTopWindow(frame);
    frame->Show();
    const int code = Wx::LibWx::runEventLoop();
    Wx::LibWx::shutdown();
    Lib::shutdown();
    return code;
}
