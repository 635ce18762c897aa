#include "gui/widgets/Button.h"

#include <wx/dcclient.h>

#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

namespace {

/// Space between a bitmap and the label.
constexpr int BITMAP_GAP = 4;

} // namespace

Button::Button(wxWindow* parent, const GuiSkin& skin, wxWindowID id, const wxString& label, const wxBitmapBundle& bitmap,
               const wxBitmapBundle& pressedBitmap, Function<void()> onClick, ButtonBehaviour behaviour, bool skinned,
               BorderState borderState)
    : SkinnedControl(parent, id, skin), bitmap(bitmap), pressedBitmap(pressedBitmap), clickCallback(std::move(onClick)),
      behaviour(behaviour), borderState(borderState) {
    if (!skinned) {
        SetBackgroundColour(parent->GetBackgroundColour());
        SetForegroundColour(parent->GetForegroundColour());
    }
    setAcceptsFocus(true);
    wxControl::SetLabel(label);
    SetInitialSize();
    Bind(wxEVT_KEY_DOWN, [this](wxKeyEvent& event) {
        const int key = event.GetKeyCode();
        if ((key == WXK_SPACE || key == WXK_RETURN || key == WXK_NUMPAD_ENTER) && IsEnabled()) {
            click();
        } else {
            event.Skip();
        }
    });
}

void Button::setToggled(bool value) {
    toggled = value;
    Refresh();
}

void Button::setBitmaps(const wxBitmapBundle& newBitmap, const wxBitmapBundle& newPressedBitmap) {
    bitmap = newBitmap;
    pressedBitmap = newPressedBitmap;
    InvalidateBestSize();
    SetInitialSize();
    Refresh();
}

void Button::SetLabel(const wxString& label) {
    wxControl::SetLabel(label);
    InvalidateBestSize();
    SetInitialSize();
    Refresh();
}

void Button::click() {
    if (behaviour == ButtonBehaviour::TOGGLE) {
        toggled = !toggled;
        Refresh();
    }
    if (clickCallback) {
        clickCallback();
    }
    wxCommandEvent event(wxEVT_BUTTON, GetId());
    event.SetEventObject(this);
    event.SetInt(toggled ? 1 : 0);
    ProcessWindowEvent(event);
}

void Button::onClick(wxMouseEvent&) {
    click();
}

wxSize Button::bitmapSize() const {
    return bitmap.IsOk() ? bitmap.GetPreferredLogicalSizeFor(this) : wxSize(0, 0);
}

wxSize Button::labelSize() const {
    if (GetLabel().empty()) {
        return wxSize(0, 0);
    }
    wxClientDC dc(const_cast<Button*>(this));
    dc.SetFont(GetFont());
    return dc.GetTextExtent(GetLabelText());
}

int Button::margin() const {
    return scaleByDpi(borderState == BorderState::NONE ? 4 : 2);
}

wxSize Button::DoGetBestSize() const {
    const wxSize image = bitmapSize();
    const wxSize text = labelSize();
    const int gap = image.x > 0 && text.x > 0 ? scaleByDpi(BITMAP_GAP) : 0;
    const int padding = text.x > 0 ? scaleByDpi(10) : 0;
    return wxSize(image.x + gap + text.x + padding + 2 * margin(), std::max(image.y, text.y) + 2 * margin());
}

void Button::paint(wxDC& dc) {
    const GuiSkin& skin = getSkin();
    const wxSize size = GetClientSize();
    const bool down = (isPressed() && isHovered()) || toggled;

    wxColour fill = GetBackgroundColour();
    if (IsEnabled() && down) {
        fill = skin.get(GuiSkin::DARK_ACCENT);
    } else if (IsEnabled() && isHovered()) {
        fill = shade(fill, 0.08);
    }
    wxColour frame = skin.dimmed();
    if (borderState == BorderState::FULL) {
        frame = IsEnabled() ? skin.foreground() : skin.dimmed();
    }
    if (IsEnabled() && (isHovered() || HasFocus() || down)) {
        frame = skin.accent();
    }
    dc.SetBrush(wxBrush(fill));
    dc.SetPen(borderState == BorderState::NONE && !(IsEnabled() && (isHovered() || down)) ? *wxTRANSPARENT_PEN
                                                                                         : wxPen(frame));
    dc.DrawRectangle(0, 0, size.x, size.y);

    const wxSize image = bitmapSize();
    const wxSize text = labelSize();
    const int gap = image.x > 0 && text.x > 0 ? scaleByDpi(BITMAP_GAP) : 0;
    int x = (size.x - (image.x + gap + text.x)) / 2;
    if (image.x > 0) {
        const wxBitmapBundle& shown = down && pressedBitmap.IsOk() ? pressedBitmap : bitmap;
        wxBitmap picture = shown.GetBitmapFor(this);
        if (!IsEnabled()) {
            picture = picture.ConvertToDisabled();
        }
        dc.DrawBitmap(picture, x, (size.y - image.y) / 2, true);
        x += image.x + gap;
    }
    if (text.x > 0) {
        dc.SetFont(GetFont());
        dc.SetTextForeground(textColour());
        dc.DrawText(GetLabelText(), x, (size.y - text.y) / 2);
    }
}

AutoSizedButton::AutoSizedButton(wxWindow* parent, const wxString& label, const wxSize& minimumSize, wxWindowID id)
    : Button(parent, activeSkin(), id, label, wxBitmapBundle(), wxBitmapBundle(), nullptr, ButtonBehaviour::PUSH, true,
             BorderState::TRIM),
      minimumWidth(minimumSize.x), minimumHeight(minimumSize.y) {
    setClickCallback([this] {
        if (onClick) {
            onClick();
        }
    });
    InvalidateBestSize();
    SetInitialSize();
}

wxSize AutoSizedButton::DoGetBestSize() const {
    const wxSize image = bitmapSize();
    const wxSize text = labelSize();
    const int textWidth = text.x > 0 ? text.x + scaleByDpi(10) : 0;
    const int border = HasFlag(wxBORDER_NONE) ? 4 : 2;
    return wxSize(std::max(scaleByDpi(minimumWidth), textWidth + image.x + border),
                  std::max({scaleByDpi(minimumHeight), text.y + border, image.y + border}));
}

} // namespace Vespra::Wx
