#pragma once

#include <wx/frame.h>

#include "foundation/Pointers.h"

namespace Vespra {
class ErrorWindow;
}

namespace Vespra::Wx {

class PixelProbe;
class TooltipWindow;

/// A window with every widget of the editor in its skin, and buttons that open its dialogs and
/// the error window, so that their look can be reviewed without the editor.
class GalleryFrame : public wxFrame {
public:
    GalleryFrame();
    ~GalleryFrame() override;

    /// Opens the error window with a warning, an error with a link, and a long message.
    SharedPtr<ErrorWindow> showErrorWindowSample();
    /// Shows the pixel probe beside the probe area, as a right click there does.
    void showProbeSample();

private:
    void createControls();
    wxWindow* createButtonsSection(wxWindow* parent);
    wxWindow* createInputsSection(wxWindow* parent);
    wxWindow* createTextsSection(wxWindow* parent);
    wxWindow* createDialogsSection(wxWindow* parent);
    wxWindow* createIconsSection(wxWindow* parent);

    wxWindow* probeArea = nullptr;
    PixelProbe* probe = nullptr;
    SharedPtr<ErrorWindow> errorWindow;
};

} // namespace Vespra::Wx
