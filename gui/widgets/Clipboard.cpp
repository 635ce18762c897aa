#include "gui/widgets/Clipboard.h"

#include <wx/clipbrd.h>

#include "gui/widgets/WxText.h"

namespace Vespra::Wx {

namespace {

bool setData(wxDataObject* data) {
    wxClipboardLocker locker;
    if (!locker) {
        delete data;
        return false;
    }
    // The clipboard owns the data from here on, also when it refuses it.
    return wxTheClipboard->SetData(data);
}

} // namespace

bool setClipboardData(const String& text) {
    return setData(new wxTextDataObject(toWx(text)));
}

bool setClipboardData(const wxBitmap& bitmap) {
    return setData(new wxBitmapDataObject(bitmap));
}

Optional<String> getClipboardText() {
    wxClipboardLocker locker;
    if (!locker || !wxTheClipboard->IsSupported(wxDF_UNICODETEXT)) {
        return {};
    }
    wxTextDataObject data;
    if (!wxTheClipboard->GetData(data)) {
        return {};
    }
    return fromWx(data.GetText());
}

} // namespace Vespra::Wx
