#pragma once

#include "foundation/Pointers.h"
#include "gui/widgets/SkinnedControl.h"

namespace Vespra::Wx {

/// A text that acts as a button, like a link: it is underlined and takes its hover colour under
/// the mouse, and a click calls the click callback and sends `wxEVT_BUTTON`.
class TextButton : public SkinnedControl {
public:
    TextButton(wxWindow* parent, wxWindowID id, const wxString& label, Function<void()> onClick,
               const wxPoint& position = wxDefaultPosition, const wxSize& size = wxDefaultSize);

    void setClickCallback(Function<void()> callback) { clickCallback = std::move(callback); }
    void setColors(const wxColour& normal, const wxColour& hover);

    void SetLabel(const wxString& label) override;

    /// Clicks it as the user would.
    void click();

protected:
    void paint(wxDC& dc) override;
    void onClick(wxMouseEvent& event) override;
    wxSize DoGetBestSize() const override;

private:
    Function<void()> clickCallback;
    wxColour normalColour;
    wxColour hoverColour;
};

} // namespace Vespra::Wx
