#include "gui/widgets/TextButton.h"

#include <wx/dcclient.h>

namespace Vespra::Wx {

TextButton::TextButton(wxWindow* parent, wxWindowID id, const wxString& label, Function<void()> onClick,
                       const wxPoint& position, const wxSize& size)
    : SkinnedControl(parent, id, activeSkin(), position, size), clickCallback(std::move(onClick)),
      normalColour(activeSkin().foreground()), hoverColour(activeSkin().get(GuiSkin::LIGHT_ACCENT)) {
    SetBackgroundColour(parent->GetBackgroundColour());
    wxControl::SetLabel(label);
    SetInitialSize(size);
    SetCursor(wxCursor(wxCURSOR_HAND));
}

void TextButton::setColors(const wxColour& normal, const wxColour& hover) {
    normalColour = normal;
    hoverColour = hover;
    Refresh();
}

void TextButton::SetLabel(const wxString& label) {
    wxControl::SetLabel(label);
    InvalidateBestSize();
    SetInitialSize();
    Refresh();
}

void TextButton::click() {
    if (clickCallback) {
        clickCallback();
    }
    wxCommandEvent event(wxEVT_BUTTON, GetId());
    event.SetEventObject(this);
    ProcessWindowEvent(event);
}

void TextButton::onClick(wxMouseEvent&) {
    click();
}

void TextButton::paint(wxDC& dc) {
    wxFont font = GetFont();
    font.SetUnderlined(isHovered() && IsEnabled());
    dc.SetFont(font);
    dc.SetTextForeground(!IsEnabled() ? getSkin().dimmed() : isHovered() ? hoverColour : normalColour);
    const wxSize extent = dc.GetTextExtent(GetLabelText());
    dc.DrawText(GetLabelText(), 0, (GetClientSize().y - extent.y) / 2);
}

wxSize TextButton::DoGetBestSize() const {
    wxClientDC dc(const_cast<TextButton*>(this));
    dc.SetFont(GetFont());
    return dc.GetTextExtent(GetLabelText()) + wxSize(1, 1);
}

} // namespace Vespra::Wx
