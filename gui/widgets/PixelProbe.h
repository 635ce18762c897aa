#pragma once

#include <wx/popupwin.h>

#include "foundation/Optional.h"
#include "foundation/Pixel.h"
#include "foundation/Pointers.h"
#include "foundation/Rgb.h"

class wxStaticText;

namespace Vespra::Wx {

/// A floating readout of one pixel's values beside the mouse.
class PixelProbe : public wxPopupWindow {
public:
    struct ProbedPixel {
        /// The element's value before the colour chain, and what is shown on the screen.
        Rgb raw;
        Rgb displayed;
        float alpha = 1.f;
        /// The image pixel.
        Pixel position;
    };

    /// `probe` answers the pixel under a screen point, or nothing outside the image.
    /// `nanMessage` is shown in place of the values when a value is not a number.
    PixelProbe(wxWindow* window, Function<Optional<ProbedPixel>(const wxPoint& screenPoint)> probe,
               const wxString& nanMessage);

    /// Reads the pixel under `screenPoint` and shows it beside that point; hides the probe
    /// outside the image.
    void updatePosition(const wxPoint& screenPoint);

    /// What the probe shows now.
    wxString getText() const;

private:
    static wxString describe(const ProbedPixel& pixel);

    Function<Optional<ProbedPixel>(const wxPoint&)> probe;
    wxString nanMessage;
    wxStaticText* label;
};

} // namespace Vespra::Wx
