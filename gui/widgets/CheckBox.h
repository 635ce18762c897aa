#pragma once

#include "foundation/Pointers.h"
#include "gui/widgets/SkinnedControl.h"

namespace Vespra::Wx {

/// A check box painted with the skin: a box with the accent tick and a label to its right. A
/// click or the space bar toggles it; each change by the user calls the change callback and
/// sends `wxEVT_CHECKBOX`.
class CheckBox : public SkinnedControl {
public:
    /// `skinned` false paints the box with the parent's colours instead of the application skin's.
    CheckBox(wxWindow* parent, wxWindowID id, const wxString& label, const wxPoint& position = wxDefaultPosition,
             const wxSize& size = wxDefaultSize, bool skinned = true);

    bool getValue() const { return checked; }
    bool IsChecked() const { return checked; }

    /// Shows `value`; with `notify` a change runs the callback and sends the event as a click would.
    void setValue(bool value, bool notify);

    void setChangeCallback(Function<void(bool)> callback) { onChange = std::move(callback); }

    void SetLabel(const wxString& label) override;

protected:
    void paint(wxDC& dc) override;
    void onClick(wxMouseEvent& event) override;
    wxSize DoGetBestSize() const override;

private:
    void notifyChange();
    int boxSide() const;

    bool checked = false;
    Function<void(bool)> onChange;
};

} // namespace Vespra::Wx
