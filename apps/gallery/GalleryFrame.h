#pragma once

#include <wx/frame.h>

namespace Vespra::Wx {

/// A window with every widget of the editor, in the skin, and buttons that open its dialogs.
class GalleryFrame : public wxFrame {
public:
    GalleryFrame();
};

} // namespace Vespra::Wx
