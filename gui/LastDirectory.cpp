#include "gui/LastDirectory.h"

#include <cstdlib>

#include <wx/fileconf.h>

#include "gui/widgets/ApplicationTexts.h"
#include "gui/widgets/WxText.h"

namespace Vespra::Wx {

namespace {

constexpr const char* APPLICATION = "VespraRenderer";
constexpr const char* GROUP = "/ImageEditor/";

/// The preferences live in one file under the user's configuration folder, as the desktop's
/// conventions ask: $XDG_CONFIG_HOME/VespraRenderer.conf, or ~/.config when that is unset.
wxString preferencesFile() {
    const char* configHome = std::getenv("XDG_CONFIG_HOME");
    wxString folder;
    if (configHome && *configHome) {
        folder = wxString::FromUTF8(configHome);
    } else {
        const char* home = std::getenv("HOME");
        folder = wxString::FromUTF8(home ? home : ".") + "/.config";
    }
    return folder + "/" + APPLICATION + ".conf";
}

wxFileConfig openPreferences() {
    return wxFileConfig(APPLICATION, wxEmptyString, preferencesFile(), wxEmptyString, wxCONFIG_USE_LOCAL_FILE);
}

wxString lastDirectoryKey() {
    return GROUP + toWx(ApplicationTexts::LAST_DIRECTORY);
}

} // namespace

Io::Path lastDirectoryPath() {
    wxString folder = ".";
    openPreferences().Read(lastDirectoryKey(), &folder);
    if (folder.empty()) {
        folder = ".";
    }
    return Io::Path(fromWx(folder.EndsWith("/") ? folder : folder + "/"));
}

void rememberLastDirectory(const Io::Path& path) {
    const String folder = path.parentDirectory().nativeStr();
    if (folder.isEmpty()) {
        return;
    }
    wxFileConfig preferences = openPreferences();
    preferences.Write(lastDirectoryKey(), toWx(folder));
    preferences.Flush();
}

} // namespace Vespra::Wx
