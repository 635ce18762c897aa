#include "gui/widgets/CheckBox.h"

#include <wx/dcclient.h>

#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

namespace {

constexpr int BOX_SIDE = 14;
constexpr int LABEL_GAP = 6;

} // namespace

CheckBox::CheckBox(wxWindow* parent, wxWindowID id, const wxString& label, const wxPoint& position,
                   const wxSize& size, bool skinned)
    : SkinnedControl(parent, id, activeSkin(), position, size) {
    if (!skinned) {
        SetBackgroundColour(parent->GetBackgroundColour());
        SetForegroundColour(parent->GetForegroundColour());
    }
    setAcceptsFocus(true);
    wxControl::SetLabel(label);
    SetInitialSize(size);
    Bind(wxEVT_KEY_DOWN, [this](wxKeyEvent& event) {
        if (event.GetKeyCode() == WXK_SPACE && IsEnabled()) {
            setValue(!checked, true);
        } else {
            event.Skip();
        }
    });
    Bind(wxEVT_SET_FOCUS, [this](wxFocusEvent& event) {
        Refresh();
        event.Skip();
    });
    Bind(wxEVT_KILL_FOCUS, [this](wxFocusEvent& event) {
        Refresh();
        event.Skip();
    });
}

void CheckBox::setValue(bool value, bool notify) {
    if (value == checked) {
        return;
    }
    checked = value;
    Refresh();
    if (notify) {
        notifyChange();
    }
}

void CheckBox::SetLabel(const wxString& label) {
    wxControl::SetLabel(label);
    InvalidateBestSize();
    Refresh();
}

void CheckBox::onClick(wxMouseEvent&) {
    SetFocus();
    setValue(!checked, true);
}

void CheckBox::notifyChange() {
    if (onChange) {
        onChange(checked);
    }
    wxCommandEvent event(wxEVT_CHECKBOX, GetId());
    event.SetEventObject(this);
    event.SetInt(checked ? 1 : 0);
    ProcessWindowEvent(event);
}

int CheckBox::boxSide() const {
    return scaleByDpi(BOX_SIDE);
}

void CheckBox::paint(wxDC& dc) {
    const GuiSkin& skin = getSkin();
    const wxSize size = GetClientSize();
    const int side = boxSide();
    const wxRect box(0, (size.y - side) / 2, side, side);
    const wxColour frame = !IsEnabled() ? skin.dimmed() : (isHovered() || HasFocus()) ? skin.accent() : skin.foreground();
    dc.SetPen(wxPen(frame));
    dc.SetBrush(wxBrush(shade(GetBackgroundColour(), -0.3)));
    dc.DrawRectangle(box);
    if (checked) {
        const wxColour tick = IsEnabled() ? skin.accent() : skin.dimmed();
        dc.SetPen(wxPen(tick, std::max(2, scaleByDpi(2)), wxPENSTYLE_SOLID));
        const wxPoint tickPoints[] = {{box.x + side * 22 / 100, box.y + side * 52 / 100},
                                      {box.x + side * 42 / 100, box.y + side * 72 / 100},
                                      {box.x + side * 78 / 100, box.y + side * 28 / 100}};
        dc.DrawLines(3, tickPoints);
    }
    if (!GetLabel().empty()) {
        dc.SetFont(GetFont());
        dc.SetTextForeground(textColour());
        const wxSize extent = dc.GetTextExtent(GetLabel());
        dc.DrawText(GetLabel(), side + scaleByDpi(LABEL_GAP), (size.y - extent.y) / 2);
    }
}

wxSize CheckBox::DoGetBestSize() const {
    wxClientDC dc(const_cast<CheckBox*>(this));
    dc.SetFont(GetFont());
    const int side = boxSide();
    if (GetLabel().empty()) {
        return wxSize(side + 1, side + scaleByDpi(4));
    }
    const wxSize extent = dc.GetTextExtent(GetLabel());
    return wxSize(side + scaleByDpi(LABEL_GAP) + extent.x + 1, std::max(side, extent.y) + scaleByDpi(4));
}

} // namespace Vespra::Wx
