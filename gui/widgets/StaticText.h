#pragma once

#include <wx/stattext.h>

namespace Vespra::Wx {

enum StaticTextFlag : int {
    TEXT_NORMAL = 0,
    /// In the skin's dimmed foreground.
    TEXT_DIMMED = 1,
    /// In bold, as the titles of sections.
    TEXT_BOLD = 2,
    /// In the skin's accent colour.
    TEXT_ACCENT = 4,
};

/// A label in the skin's colours; `Wrap` breaks it into lines of a width.
class StaticText : public wxStaticText {
public:
    StaticText(wxWindow* parent, wxWindowID id, const wxString& text, long style = 0, int flags = TEXT_NORMAL,
               const wxSize& size = wxDefaultSize);

    bool Enable(bool enable = true) override;

    /// Breaks the text into lines of at most `width` device-independent pixels, and keeps the
    /// label that narrow, so that a sizer does not stretch it back into one line.
    void wrapTo(int width);

private:
    wxColour normalColour;
};

} // namespace Vespra::Wx
