#include "gui/widgets/SkinnedControl.h"

namespace Vespra::Wx {

SkinnedControl::SkinnedControl(wxWindow* parent, wxWindowID id, const GuiSkin& skin, const wxPoint& position,
                               const wxSize& size, long style)
    : wxControl(parent, id, position, size, style), skin(skin) {
    SetBackgroundStyle(wxBG_STYLE_PAINT);
    SetBackgroundColour(skin.background());
    SetForegroundColour(skin.foreground());
    Bind(wxEVT_PAINT, &SkinnedControl::onPaint, this);
    for (const auto type : {wxEVT_ENTER_WINDOW, wxEVT_LEAVE_WINDOW, wxEVT_LEFT_DOWN, wxEVT_LEFT_DCLICK, wxEVT_LEFT_UP}) {
        Bind(type, [this](wxMouseEvent& event) { onMouse(event); });
    }
    Bind(wxEVT_MOUSE_CAPTURE_LOST, [this](wxMouseCaptureLostEvent&) {
        pressed = false;
        Refresh();
    });
}

wxColour SkinnedControl::textColour() const {
    return IsEnabled() ? GetForegroundColour() : skin.dimmed();
}

void SkinnedControl::onPaint(wxPaintEvent&) {
    wxAutoBufferedPaintDC dc(this);
    dc.SetBackground(wxBrush(GetBackgroundColour()));
    dc.Clear();
    paint(dc);
}

void SkinnedControl::onMouse(wxMouseEvent& event) {
    const wxEventType type = event.GetEventType();
    if (type == wxEVT_ENTER_WINDOW) {
        hovered = true;
    } else if (type == wxEVT_LEAVE_WINDOW) {
        hovered = false;
    } else if ((type == wxEVT_LEFT_DOWN || type == wxEVT_LEFT_DCLICK) && IsEnabled()) {
        pressed = true;
        if (!HasCapture()) {
            CaptureMouse();
        }
    } else if (type == wxEVT_LEFT_UP) {
        const bool wasPressed = pressed;
        pressed = false;
        if (HasCapture()) {
            ReleaseMouse();
        }
        hovered = GetClientRect().Contains(event.GetPosition());
        Refresh();
        if (wasPressed && hovered && IsEnabled()) {
            onClick(event);
        }
        event.Skip();
        return;
    }
    Refresh();
    event.Skip();
}

} // namespace Vespra::Wx
