#include "gui/widgets/CollapsiblePanel.h"

#include <wx/sizer.h>

#include "gui/widgets/Icons.h"
#include "gui/widgets/SkinnedControl.h"
#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

/// The clickable bar with the arrow and the title; the header control sits on it.
class CollapsiblePanel::Header : public SkinnedControl {
public:
    Header(CollapsiblePanel& owner, const wxString& title)
        : SkinnedControl(&owner, wxID_ANY, owner.skin), owner(owner),
          expandedIcon(getIcon("expanded", wxSize(16, 16))), collapsedIcon(getIcon("collapsed", wxSize(16, 16))) {
        SetBackgroundColour(shade(owner.skin.background(), -0.15));
        wxControl::SetLabel(title);
        SetFont(GetFont().Bold());
        setAcceptsFocus(true);
        Bind(wxEVT_KEY_DOWN, [this](wxKeyEvent& event) {
            if (event.GetKeyCode() == WXK_SPACE || event.GetKeyCode() == WXK_RETURN) {
                this->owner.toggle();
            } else {
                event.Skip();
            }
        });
    }

    /// Where the title starts: after the arrow and the header control.
    int titleX() const {
        const int afterArrow = scaleByDpi(22);
        if (owner.headerControl == nullptr) {
            return afterArrow;
        }
        return afterArrow + owner.headerControl->GetSize().x + scaleByDpi(4);
    }

protected:
    void paint(wxDC& dc) override {
        const wxSize size = GetClientSize();
        const wxBitmap arrow = (owner.collapsed ? collapsedIcon : expandedIcon).GetBitmapFor(this);
        dc.DrawBitmap(IsEnabled() ? arrow : arrow.ConvertToDisabled(), scaleByDpi(3),
                      (size.y - arrow.GetLogicalHeight()) / 2, true);
        dc.SetFont(GetFont());
        dc.SetTextForeground(!IsEnabled() ? owner.skin.dimmed() : isHovered() ? owner.skin.get(GuiSkin::LIGHT_ACCENT)
                                                                            : GetForegroundColour());
        const wxSize extent = dc.GetTextExtent(GetLabel());
        dc.DrawText(GetLabel(), titleX(), (size.y - extent.y) / 2);
        if (HasFocus()) {
            dc.SetPen(wxPen(owner.skin.accent()));
            dc.SetBrush(*wxTRANSPARENT_BRUSH);
            dc.DrawRectangle(0, 0, size.x, size.y);
        }
    }

    void onClick(wxMouseEvent&) override { owner.toggle(); }

    wxSize DoGetBestSize() const override {
        const wxSize extent = GetTextExtent(GetLabel());
        const int controlHeight = owner.headerControl == nullptr ? 0 : owner.headerControl->GetBestSize().y;
        return wxSize(titleX() + extent.x + scaleByDpi(6), std::max(extent.y, controlHeight) + scaleByDpi(8));
    }

private:
    CollapsiblePanel& owner;
    wxBitmapBundle expandedIcon;
    wxBitmapBundle collapsedIcon;
};

CollapsiblePanel::CollapsiblePanel(wxWindow* parent, const GuiSkin& skin, const wxString& title,
                                   const Function<wxWindow*(wxWindow*)>& makeContent,
                                   const Function<wxWindow*(wxWindow*)>& makeHeaderControl, bool collapsed)
    : wxPanel(parent, wxID_ANY), skin(skin), collapsed(collapsed) {
    SetBackgroundColour(skin.background());
    SetForegroundColour(skin.foreground());
    header = new Header(*this, title);
    if (makeHeaderControl) {
        headerControl = makeHeaderControl(header);
        headerControl->SetBackgroundColour(header->GetBackgroundColour());
    }
    content = makeContent(this);

    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(header, 0, wxEXPAND);
    sizer->Add(content, 1, wxEXPAND | wxTOP, scaleByDpi(4));
    SetSizer(sizer);
    header->SetInitialSize();
    header->Bind(wxEVT_SIZE, [this](wxSizeEvent& event) {
        if (headerControl != nullptr) {
            const wxSize best = headerControl->GetBestSize();
            headerControl->SetSize(scaleByDpi(22), (event.GetSize().y - best.y) / 2, best.x, best.y);
        }
        event.Skip();
    });
    content->Show(!collapsed);
}

void CollapsiblePanel::setCollapsed(bool value) {
    if (value == collapsed) {
        return;
    }
    collapsed = value;
    content->Show(!collapsed);
    header->Refresh();
    relayout();
}

void CollapsiblePanel::toggle() {
    setCollapsed(!collapsed);
    wxCollapsiblePaneEvent event(this, GetId(), collapsed);
    ProcessWindowEvent(event);
}

void CollapsiblePanel::relayout() {
    InvalidateBestSize();
    Layout();
    for (wxWindow* window = GetParent(); window != nullptr; window = window->GetParent()) {
        window->InvalidateBestSize();
        window->Layout();
        if (window->IsTopLevel()) {
            break;
        }
    }
}

bool CollapsiblePanel::Enable(bool enable) {
    header->Enable(enable);
    if (headerControl != nullptr) {
        headerControl->Enable(enable);
    }
    content->Enable(enable);
    return wxPanel::Enable(enable);
}

} // namespace Vespra::Wx
