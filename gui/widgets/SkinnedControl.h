#pragma once

#include <wx/control.h>
#include <wx/dcbuffer.h>

#include "gui/widgets/GuiSkin.h"

namespace Vespra::Wx {

/// The base of the widgets that paint themselves with a skin: double-buffered painting, the
/// hover and pressed state of the mouse, and colours for the enabled and disabled look.
class SkinnedControl : public wxControl {
public:
    SkinnedControl(wxWindow* parent, wxWindowID id, const GuiSkin& skin, const wxPoint& position = wxDefaultPosition,
                   const wxSize& size = wxDefaultSize, long style = wxBORDER_NONE);

    const GuiSkin& getSkin() const { return skin; }

    bool isHovered() const { return hovered; }
    bool isPressed() const { return pressed; }

    /// Never takes the keyboard focus from the mouse unless a subclass says so.
    bool AcceptsFocusFromKeyboard() const override { return acceptsFocus; }

protected:
    /// Paints the whole control; the context is buffered and not yet cleared.
    virtual void paint(wxDC& dc) = 0;

    /// The text colour: the skin's foreground, dimmed when disabled.
    wxColour textColour() const;

    void setAcceptsFocus(bool value) { acceptsFocus = value; }

    /// A press that ended on the control; `event` is the button-up.
    virtual void onClick(wxMouseEvent& event) { (void)event; }

private:
    void onPaint(wxPaintEvent&);
    void onMouse(wxMouseEvent& event);

    const GuiSkin& skin;
    bool hovered = false;
    bool pressed = false;
    bool acceptsFocus = false;
};

} // namespace Vespra::Wx
