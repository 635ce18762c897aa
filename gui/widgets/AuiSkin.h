#pragma once

#include <wx/aui/auibook.h>
#include <wx/aui/framemanager.h>

#include "gui/widgets/GuiSkin.h"

namespace Vespra::Wx {

/// The docking manager of a frame, its sashes, borders and captions painted with the skin.
class AuiManager : public wxAuiManager {
public:
    AuiManager(wxWindow* managedWindow, const GuiSkin& skin);
};

/// A notebook whose tabs are painted with the skin; the active tab in the panels' colour, the
/// others a shade darker.
class AuiNotebook : public wxAuiNotebook {
public:
    AuiNotebook(wxWindow* parent, const GuiSkin& skin, long style);
};

} // namespace Vespra::Wx
