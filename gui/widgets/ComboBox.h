#pragma once

#include <cstdint>
#include <vector>

#include <wx/odcombo.h>

#include "foundation/Pointers.h"

namespace Vespra::Wx {

/// A read-only choice among items painted with the skin. The wheel over the closed box and the
/// Up and Down keys move the selection; each change by the user calls `onChange` and sends
/// `wxEVT_COMBOBOX`.
class ComboBox : public wxOwnerDrawnComboBox {
public:
    enum ItemFlag : std::uint32_t {
        /// A rule under the item sets it apart from those that follow.
        SEPARATOR_AFTER = 1,
        /// The item is drawn in the accent colour (an element computed interactively).
        HIGHLIGHTED = 2,
    };

    struct Item {
        wxString text;
        int id = 0;
        std::uint32_t flags = 0;
    };

    /// `width` in device-independent pixels. `onWindowEvent`, when set, sees every mouse event of
    /// the box before it is handled, and may stop it by not skipping it.
    ComboBox(wxWindow* parent, wxWindowID id, int width, Function<void()> onChange,
             Function<void(wxMouseEvent&)> onWindowEvent = nullptr, bool skinned = true);

    void setData(std::vector<Item> newItems);
    const std::vector<Item>& getData() const { return items; }

    /// Selects an item by index or id; an index or id that does not exist leaves the selection.
    /// With `notify` a change runs `onChange` and sends the event as a choice by the user does.
    void selectIndex(int index, bool notify);
    void selectId(int id, bool notify);

    /// The selected index or id; -1 with nothing selected.
    int getSelectedIndex() const;
    int getSelectedId() const;
    int getCount() const { return int(items.size()); }

    void setChangeCallback(Function<void()> callback) { onChange = std::move(callback); }

protected:
    void OnDrawItem(wxDC& dc, const wxRect& rect, int item, int flags) const override;
    void OnDrawBackground(wxDC& dc, const wxRect& rect, int item, int flags) const override;
    wxCoord OnMeasureItem(size_t item) const override;

private:
    void notifyChange();
    void onWheel(wxMouseEvent& event);

    std::vector<Item> items;
    Function<void()> onChange;
    Function<void(wxMouseEvent&)> onWindowEvent;
};

} // namespace Vespra::Wx
