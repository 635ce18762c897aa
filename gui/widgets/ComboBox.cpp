#include "gui/widgets/ComboBox.h"

#include <algorithm>

#include <wx/arrstr.h>

#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

ComboBox::ComboBox(wxWindow* parent, wxWindowID id, int width, Function<void()> onChange,
                   Function<void(wxMouseEvent&)> onWindowEvent, bool skinned)
    : wxOwnerDrawnComboBox(parent, id, wxEmptyString, wxDefaultPosition, wxSize(scaleByDpi(width), -1),
                           wxArrayString(), wxCB_READONLY),
      onChange(std::move(onChange)), onWindowEvent(std::move(onWindowEvent)) {
    const GuiSkin& skin = activeSkin();
    SetBackgroundColour(skinned ? skin.field() : parent->GetBackgroundColour());
    SetForegroundColour(skin.foreground());
    Bind(wxEVT_COMBOBOX, [this](wxCommandEvent& event) {
        // A choice in the popup or by a key: the control has selected already.
        if (event.GetEventObject() == this && !event.GetClientData()) {
            if (this->onChange) {
                this->onChange();
            }
        }
        event.Skip();
    });
    Bind(wxEVT_MOUSEWHEEL, &ComboBox::onWheel, this);
    if (this->onWindowEvent) {
        for (const auto type : {wxEVT_LEFT_DOWN, wxEVT_LEFT_UP, wxEVT_MOTION, wxEVT_ENTER_WINDOW, wxEVT_LEAVE_WINDOW,
                                wxEVT_RIGHT_DOWN, wxEVT_RIGHT_UP}) {
            Bind(type, [this](wxMouseEvent& event) {
                event.Skip();
                this->onWindowEvent(event);
            });
        }
    }
}

void ComboBox::setData(std::vector<Item> newItems) {
    items = std::move(newItems);
    wxArrayString texts;
    for (const Item& item : items) {
        texts.Add(item.text);
    }
    Set(texts); // clears the selection
    Refresh();
}

void ComboBox::selectIndex(int index, bool notify) {
    if (index < 0 || index >= int(items.size())) {
        return;
    }
    const bool changed = index != GetSelection();
    SetSelection(index);
    if (changed && notify) {
        notifyChange();
    }
}

void ComboBox::selectId(int id, bool notify) {
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i].id == id) {
            selectIndex(int(i), notify);
            return;
        }
    }
}

int ComboBox::getSelectedIndex() const {
    const int selection = GetSelection();
    return selection == wxNOT_FOUND ? -1 : selection;
}

int ComboBox::getSelectedId() const {
    const int index = getSelectedIndex();
    return index < 0 ? -1 : items[std::size_t(index)].id;
}

void ComboBox::notifyChange() {
    // The event carries a marker so that the handler bound above does not call onChange again.
    wxCommandEvent event(wxEVT_COMBOBOX, GetId());
    event.SetEventObject(this);
    event.SetInt(GetSelection());
    event.SetString(GetValue());
    event.SetClientData(this);
    if (onChange) {
        onChange();
    }
    ProcessWindowEvent(event);
}

void ComboBox::onWheel(wxMouseEvent& event) {
    if (onWindowEvent) {
        onWindowEvent(event);
    }
    if (!IsEnabled() || IsPopupShown() || items.empty() || event.GetWheelAxis() != wxMOUSE_WHEEL_VERTICAL) {
        event.Skip();
        return;
    }
    const int direction = event.GetWheelRotation() > 0 ? -1 : 1;
    const int next = std::clamp(getSelectedIndex() + direction, 0, int(items.size()) - 1);
    selectIndex(next, true);
}

void ComboBox::OnDrawBackground(wxDC& dc, const wxRect& rect, int item, int flags) const {
    const GuiSkin& skin = activeSkin();
    const bool selected = (flags & wxODCB_PAINTING_SELECTED) && !(flags & wxODCB_PAINTING_CONTROL);
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(selected ? skin.get(GuiSkin::DARK_ACCENT) : GetBackgroundColour()));
    dc.DrawRectangle(rect);
    (void)item;
}

void ComboBox::OnDrawItem(wxDC& dc, const wxRect& rect, int item, int flags) const {
    if (item < 0 || item >= int(items.size())) {
        return;
    }
    const GuiSkin& skin = activeSkin();
    const Item& entry = items[std::size_t(item)];
    wxColour colour = (entry.flags & HIGHLIGHTED) ? skin.get(GuiSkin::LIGHT_ACCENT) : skin.foreground();
    if (!IsEnabled()) {
        colour = skin.dimmed();
    }
    dc.SetTextForeground(colour);
    dc.SetFont(GetFont());
    const wxSize extent = dc.GetTextExtent(entry.text);
    dc.DrawText(entry.text, rect.x + scaleByDpi(4), rect.y + (rect.height - extent.y) / 2);
    if ((entry.flags & SEPARATOR_AFTER) && !(flags & wxODCB_PAINTING_CONTROL)) {
        dc.SetPen(wxPen(skin.dimmed()));
        dc.DrawLine(rect.x, rect.GetBottom(), rect.GetRight() + 1, rect.GetBottom());
    }
}

wxCoord ComboBox::OnMeasureItem(size_t) const {
    return GetCharHeight() + scaleByDpi(8);
}

} // namespace Vespra::Wx
