#pragma once

#include <wx/collpane.h>
#include <wx/panel.h>

#include "foundation/Pointers.h"
#include "gui/widgets/GuiSkin.h"

namespace Vespra::Wx {

/// A section with a header that opens and closes it: an arrow, an optional control of the header
/// (a check box that switches the section's effect), and the title. A click on the header
/// (outside its control) or the space bar on it toggles the section and sends
/// `wxEVT_COLLAPSIBLEPANE_CHANGED`; the parent is laid out again.
class CollapsiblePanel : public wxPanel {
public:
    /// `makeContent` and `makeHeaderControl` build those windows as children of the window they
    /// get; the header control may be omitted (null function).
    CollapsiblePanel(wxWindow* parent, const GuiSkin& skin, const wxString& title,
                     const Function<wxWindow*(wxWindow* parent)>& makeContent,
                     const Function<wxWindow*(wxWindow* parent)>& makeHeaderControl = nullptr, bool collapsed = false);

    void setCollapsed(bool collapsed);
    bool isCollapsed() const { return collapsed; }

    wxWindow* getContent() const { return content; }
    wxWindow* getHeaderControl() const { return headerControl; }

    /// Clicks the header as the user would.
    void toggle();

    bool Enable(bool enable = true) override;

private:
    class Header;

    void relayout();

    const GuiSkin& skin;
    Header* header = nullptr;
    wxWindow* headerControl = nullptr;
    wxWindow* content = nullptr;
    bool collapsed;
};

} // namespace Vespra::Wx
