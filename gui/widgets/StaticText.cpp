#include "gui/widgets/StaticText.h"

#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

StaticText::StaticText(wxWindow* parent, wxWindowID id, const wxString& text, long style, int flags, const wxSize& size)
    : wxStaticText(parent, id, text, wxDefaultPosition, size, style) {
    const GuiSkin& skin = activeSkin();
    normalColour = (flags & TEXT_ACCENT) ? skin.accent() : (flags & TEXT_DIMMED) ? skin.dimmed() : skin.foreground();
    SetForegroundColour(normalColour);
    SetBackgroundColour(parent->GetBackgroundColour());
    if (flags & TEXT_BOLD) {
        SetFont(GetFont().Bold());
    }
}

bool StaticText::Enable(bool enable) {
    // GTK greys disabled labels with its theme's colour; the skin's dimmed colour matches the rest.
    SetForegroundColour(enable ? normalColour : activeSkin().dimmed());
    Refresh();
    return wxStaticText::Enable(enable);
}

void StaticText::wrapTo(int width) {
    const int pixels = scaleByDpi(width);
    SetMaxSize(wxSize(pixels, -1));
    Wrap(pixels);
}

} // namespace Vespra::Wx
