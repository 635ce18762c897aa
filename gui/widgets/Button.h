#pragma once

#include <wx/bmpbndl.h>

#include "foundation/Pointers.h"
#include "gui/widgets/SkinnedControl.h"

namespace Vespra::Wx {

enum class ButtonBehaviour : int {
    PUSH = 0,
    /// Each click flips the toggled state; a toggled button shows its pressed look and bitmap.
    TOGGLE = 1,
};

/// How a button's frame is drawn.
enum class BorderState : int {
    /// A frame in the foreground colour.
    FULL = 0,
    /// No frame at all, only the hover and pressed fills.
    NONE = 1,
    /// A thin, dim frame that lights up under the mouse: what the editor uses throughout.
    TRIM = 4,
};

/// A push or toggle button with a label and two bitmaps (normal, pressed), painted with the skin.
/// A click calls `onClick` and sends `wxEVT_BUTTON`; the space and Enter keys click it too.
class Button : public SkinnedControl {
public:
    Button(wxWindow* parent, const GuiSkin& skin, wxWindowID id, const wxString& label, const wxBitmapBundle& bitmap,
           const wxBitmapBundle& pressedBitmap, Function<void()> onClick, ButtonBehaviour behaviour = ButtonBehaviour::PUSH,
           bool skinned = true, BorderState borderState = BorderState::TRIM);

    void setToggled(bool value);
    bool isToggled() const { return toggled; }

    void setBitmaps(const wxBitmapBundle& bitmap, const wxBitmapBundle& pressedBitmap);
    void setClickCallback(Function<void()> callback) { clickCallback = std::move(callback); }

    void SetLabel(const wxString& label) override;

    /// Clicks the button as the user would.
    void click();

protected:
    void paint(wxDC& dc) override;
    void onClick(wxMouseEvent& event) override;
    wxSize DoGetBestSize() const override;

    /// The size of the bitmaps as shown, zero without bitmaps.
    wxSize bitmapSize() const;
    /// The size of the label in the button's font, zero without a label.
    wxSize labelSize() const;
    /// The gap between the frame and the content.
    int margin() const;

private:
    wxBitmapBundle bitmap;
    wxBitmapBundle pressedBitmap;
    Function<void()> clickCallback;
    ButtonBehaviour behaviour;
    BorderState borderState;
    bool toggled = false;
};

/// A button that sizes itself to its text and bitmaps, never below its minimum size.
class AutoSizedButton : public Button {
public:
    /// `minimumSize` in device-independent pixels.
    AutoSizedButton(wxWindow* parent, const wxString& label, const wxSize& minimumSize = wxSize(0, 24),
                    wxWindowID id = wxID_ANY);

    /// The function a click runs.
    Function<void()> onClick;

protected:
    wxSize DoGetBestSize() const override;

private:
    int minimumWidth;
    int minimumHeight;
};

} // namespace Vespra::Wx
