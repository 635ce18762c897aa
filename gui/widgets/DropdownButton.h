#pragma once

#include <vector>

#include "foundation/Pointers.h"
#include "gui/widgets/SkinnedControl.h"

namespace Vespra::Wx {

/// A button with a menu of commands: the main part runs the command shown on it, the arrow
/// at its right opens the menu of all of them. A command is named by an id.
class DropdownButton : public SkinnedControl {
public:
    struct Item {
        int id;
        wxString text;
    };

    /// The first item is the one shown. `onCommand` gets the id of the command chosen.
    DropdownButton(wxWindow* parent, const GuiSkin& skin, std::vector<Item> items, Function<void(int id)> onCommand,
                   const wxSize& size = wxDefaultSize);

    void setText(int id, const wxString& text);
    const std::vector<Item>& getItems() const { return items; }

    /// Runs the command `id` as a choice in the menu does.
    void runCommand(int id);

protected:
    void paint(wxDC& dc) override;
    void onClick(wxMouseEvent& event) override;
    wxSize DoGetBestSize() const override;

private:
    wxRect arrowRect() const;
    void showMenu();

    std::vector<Item> items;
    Function<void(int)> onCommand;
};

} // namespace Vespra::Wx
