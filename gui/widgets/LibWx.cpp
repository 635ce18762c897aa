#include "gui/widgets/LibWx.h"

#include <dlfcn.h>

#include <wx/app.h>
#include <wx/evtloop.h>
#include <wx/image.h>
#include <wx/init.h>

#include "foundation/MainThreadDispatcher.h"
#include "gui/widgets/WxDispatcher.h"

namespace Vespra::Wx::LibWx {

namespace {

/// The application object of a program that did not bring its own.
class Application : public wxApp {
public:
    bool OnInit() override { return true; }
};

bool ownsApplication = false;

/// Asks GTK for the dark variant of its theme. GTK is loaded by wxWidgets already; its
/// functions are looked up at run time so that the build needs no GTK headers.
void preferDarkTheme() {
    using GetSettings = void* (*)();
    using SetProperty = void (*)(void*, const char*, ...);
    const auto getSettings = reinterpret_cast<GetSettings>(dlsym(RTLD_DEFAULT, "gtk_settings_get_default"));
    const auto setProperty = reinterpret_cast<SetProperty>(dlsym(RTLD_DEFAULT, "g_object_set"));
    if (getSettings == nullptr || setProperty == nullptr) {
        return;
    }
    if (void* settings = getSettings()) {
        setProperty(settings, "gtk-application-prefer-dark-theme", 1, nullptr);
    }
}

/// How many rounds `processAllPendingEvents` runs at most; each round drains every handler.
constexpr int MAX_DRAIN_ROUNDS = 1000;

} // namespace

bool startup(ApplicationType, int argc, char** argv) {
    if (wxTheApp == nullptr) {
        static char name[] = "vespra";
        static char* defaultArguments[] = {name, nullptr};
        if (argc == 0 || argv == nullptr) {
            argc = 1;
            argv = defaultArguments;
        }
        wxApp::SetInstance(new Application);
        if (!wxEntryStart(argc, argv)) {
            return false;
        }
        ownsApplication = true;
        if (!wxTheApp->CallOnInit()) {
            wxEntryCleanup();
            ownsApplication = false;
            return false;
        }
    }
    preferDarkTheme();
    wxInitAllImageHandlers();
    Utils::setMainThreadDispatcher(makeShared<WxDispatcher>());
    return true;
}

void shutdown() {
    Utils::setMainThreadDispatcher(nullptr);
    if (ownsApplication) {
        ownsApplication = false;
        wxEntryCleanup();
    }
}

int runEventLoop() {
    return wxTheApp->OnRun();
}

void processAllPendingEvents() {
    if (wxTheApp == nullptr) {
        return;
    }
    for (int round = 0; round < MAX_DRAIN_ROUNDS && wxTheApp->HasPendingEvents(); ++round) {
        wxTheApp->ProcessPendingEvents();
    }
}

} // namespace Vespra::Wx::LibWx
