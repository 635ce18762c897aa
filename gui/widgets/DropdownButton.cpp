#include "gui/widgets/DropdownButton.h"

#include <wx/dcclient.h>
#include <wx/menu.h>

#include "foundation/Exception.h"
#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

namespace {

constexpr int ARROW_WIDTH = 16;

} // namespace

DropdownButton::DropdownButton(wxWindow* parent, const GuiSkin& skin, std::vector<Item> items,
                               Function<void(int)> onCommand, const wxSize& size)
    : SkinnedControl(parent, wxID_ANY, skin), items(std::move(items)), onCommand(std::move(onCommand)) {
    VESPRA_ASSERT(!this->items.empty());
    setAcceptsFocus(true);
    SetInitialSize(size.IsFullySpecified() ? scaleByDpi(size) : size);
    Bind(wxEVT_KEY_DOWN, [this](wxKeyEvent& event) {
        if (event.GetKeyCode() == WXK_DOWN || (event.GetKeyCode() == WXK_RETURN && event.AltDown())) {
            showMenu();
        } else if (event.GetKeyCode() == WXK_SPACE || event.GetKeyCode() == WXK_RETURN) {
            runCommand(this->items.front().id);
        } else {
            event.Skip();
        }
    });
}

void DropdownButton::setText(int id, const wxString& text) {
    for (Item& item : items) {
        if (item.id == id) {
            item.text = text;
        }
    }
    InvalidateBestSize();
    Refresh();
}

void DropdownButton::runCommand(int id) {
    if (onCommand) {
        onCommand(id);
    }
}

wxRect DropdownButton::arrowRect() const {
    const wxSize size = GetClientSize();
    const int width = scaleByDpi(ARROW_WIDTH);
    return wxRect(size.x - width, 0, width, size.y);
}

void DropdownButton::onClick(wxMouseEvent& event) {
    if (arrowRect().Contains(event.GetPosition())) {
        showMenu();
    } else {
        runCommand(items.front().id);
    }
}

void DropdownButton::showMenu() {
    wxMenu menu;
    for (const Item& item : items) {
        menu.Append(item.id, item.text);
    }
    const int chosen = GetPopupMenuSelectionFromUser(menu, wxPoint(0, GetClientSize().y));
    if (chosen != wxID_NONE) {
        runCommand(chosen);
    }
}

void DropdownButton::paint(wxDC& dc) {
    const GuiSkin& skin = getSkin();
    const wxSize size = GetClientSize();
    const bool active = IsEnabled() && (isHovered() || HasFocus());
    dc.SetBrush(wxBrush(IsEnabled() && isPressed() && isHovered() ? skin.get(GuiSkin::DARK_ACCENT) : GetBackgroundColour()));
    dc.SetPen(wxPen(active ? skin.accent() : skin.dimmed()));
    dc.DrawRectangle(0, 0, size.x, size.y);

    const wxRect arrow = arrowRect();
    dc.DrawLine(arrow.x, scaleByDpi(3), arrow.x, size.y - scaleByDpi(3));
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(textColour()));
    const int centreX = arrow.x + arrow.width / 2;
    const int centreY = size.y / 2;
    const int half = scaleByDpi(3);
    const wxPoint triangle[] = {{centreX - half, centreY - half / 2}, {centreX + half, centreY - half / 2},
                                {centreX, centreY + half}};
    dc.DrawPolygon(3, triangle);

    dc.SetFont(GetFont());
    dc.SetTextForeground(textColour());
    const wxString& label = items.front().text;
    const wxSize extent = dc.GetTextExtent(label);
    dc.DrawText(label, (arrow.x - extent.x) / 2, (size.y - extent.y) / 2);
}

wxSize DropdownButton::DoGetBestSize() const {
    wxClientDC dc(const_cast<DropdownButton*>(this));
    dc.SetFont(GetFont());
    int width = 0;
    int height = 0;
    for (const Item& item : items) {
        const wxSize extent = dc.GetTextExtent(item.text);
        width = std::max(width, extent.x);
        height = std::max(height, extent.y);
    }
    return wxSize(width + scaleByDpi(ARROW_WIDTH + 16), height + scaleByDpi(8));
}

} // namespace Vespra::Wx
