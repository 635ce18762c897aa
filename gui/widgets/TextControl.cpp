#include "gui/widgets/TextControl.h"

#include "gui/widgets/GuiSkin.h"

namespace Vespra::Wx {

TextControl::TextControl(wxWindow* parent, wxWindowID id, const wxString& value, const wxPoint& position,
                         const wxSize& size, long style)
    : wxTextCtrl(parent, id, value, position, size, style) {
    SetBackgroundColour(activeSkin().field());
    SetForegroundColour(activeSkin().foreground());
}

} // namespace Vespra::Wx
