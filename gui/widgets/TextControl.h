#pragma once

#include <wx/textctrl.h>

namespace Vespra::Wx {

/// A text field in the skin's colours: a shade darker than the panel it sits on.
class TextControl : public wxTextCtrl {
public:
    TextControl(wxWindow* parent, wxWindowID id, const wxString& value = wxEmptyString,
                const wxPoint& position = wxDefaultPosition, const wxSize& size = wxDefaultSize, long style = 0);
};

} // namespace Vespra::Wx
