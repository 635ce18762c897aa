#pragma once

#include "foundation/Optional.h"
#include "foundation/Pointers.h"
#include "foundation/Rgb.h"
#include "gui/widgets/SkinnedControl.h"

namespace Vespra::Wx {

/// A swatch of a colour; a click opens the system's colour dialog. Colours are kept as floats in
/// 0..1 and shown 1:1 as 8-bit values; a value above 1 shows as full.
class ColorPickerButton : public SkinnedControl {
public:
    /// `title` is the colour dialog's title; `size` in device-independent pixels.
    ColorPickerButton(wxWindow* parent, const wxString& title, const wxSize& size, bool skinned = true);

    Rgb getColor() const { return color; }

    /// Shows `newColor`; with `notify` a change runs the callback and sends
    /// `wxEVT_COLOURPICKER_CHANGED`, as a choice in the dialog does.
    void setColor(const Rgb& newColor, bool notify);

    void setChangeCallback(Function<void(const Rgb&)> callback) { onChange = std::move(callback); }

    /// Replaces the dialog by `ask` (which gets the present colour and answers the chosen one or
    /// nothing), for scripted use; null restores the system dialog.
    void setColorSource(Function<Optional<Rgb>(const Rgb&)> ask) { colorSource = std::move(ask); }

    /// What a click does: asks for a colour and takes it with notification.
    void chooseColor();

protected:
    void paint(wxDC& dc) override;
    void onClick(wxMouseEvent& event) override;

private:
    Optional<Rgb> askSystemDialog();

    wxString title;
    Rgb color = Rgb::white();
    Function<void(const Rgb&)> onChange;
    Function<Optional<Rgb>(const Rgb&)> colorSource;
};

/// The 8-bit colour a float colour shows as: clamped to 0..1 and rounded.
wxColour toWxColour(const Rgb& color);
Rgb fromWxColour(const wxColour& color);

} // namespace Vespra::Wx
