#include "gui/widgets/FileDialogs.h"

#include <wx/filedlg.h>

#include "gui/widgets/WxText.h"

namespace Vespra::Wx {

namespace {

Io::Path openOne(wxWindow* parent, const String& title, const String& filter, const Io::Path& startFolder) {
    wxFileDialog dialog(parent, toWx(title), toWx(startFolder.nativeStr()), wxEmptyString, toWx(filter),
                        wxFD_OPEN | wxFD_FILE_MUST_EXIST);
    return dialog.ShowModal() == wxID_OK ? Io::Path(fromWx(dialog.GetPath())) : Io::Path();
}

Stack<Io::Path> openSeveral(wxWindow* parent, const String& title, const String& filter, const Io::Path& startFolder) {
    wxFileDialog dialog(parent, toWx(title), toWx(startFolder.nativeStr()), wxEmptyString, toWx(filter),
                        wxFD_OPEN | wxFD_FILE_MUST_EXIST | wxFD_MULTIPLE);
    Stack<Io::Path> paths;
    if (dialog.ShowModal() == wxID_OK) {
        wxArrayString chosen;
        dialog.GetPaths(chosen);
        for (const wxString& path : chosen) {
            paths.push(Io::Path(fromWx(path)));
        }
    }
    return paths;
}

Io::Path saveOne(wxWindow* parent, const String& title, const String& filter, const Io::Path& suggested) {
    wxFileDialog dialog(parent, toWx(title), toWx(suggested.parentDirectory().nativeStr()),
                        toWx(suggested.fileName()), toWx(filter), wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    return dialog.ShowModal() == wxID_OK ? Io::Path(fromWx(dialog.GetPath())) : Io::Path();
}

} // namespace

FileDialogs FileDialogs::native() {
    return FileDialogs{openOne, openSeveral, saveOne};
}

} // namespace Vespra::Wx
