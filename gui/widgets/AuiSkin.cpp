#include "gui/widgets/AuiSkin.h"

#include <wx/aui/dockart.h>
#include <wx/aui/tabart.h>

namespace Vespra::Wx {

AuiManager::AuiManager(wxWindow* managedWindow, const GuiSkin& skin)
    : wxAuiManager(managedWindow, wxAUI_MGR_DEFAULT) {
    auto* art = new wxAuiDefaultDockArt();
    for (const int colour : {wxAUI_DOCKART_BACKGROUND_COLOUR, wxAUI_DOCKART_SASH_COLOUR,
                             wxAUI_DOCKART_INACTIVE_CAPTION_COLOUR, wxAUI_DOCKART_INACTIVE_CAPTION_GRADIENT_COLOUR,
                             wxAUI_DOCKART_GRIPPER_COLOUR}) {
        art->SetColour(colour, skin.background());
    }
    art->SetColour(wxAUI_DOCKART_BORDER_COLOUR, skin.get(GuiSkin::IMAGE_BACKGROUND));
    art->SetColour(wxAUI_DOCKART_INACTIVE_CAPTION_TEXT_COLOUR, skin.foreground());
    art->SetMetric(wxAUI_DOCKART_PANE_BORDER_SIZE, 0);
    art->SetMetric(wxAUI_DOCKART_SASH_SIZE, 2);
    SetArtProvider(art);
}

AuiNotebook::AuiNotebook(wxWindow* parent, const GuiSkin& skin, long style)
    : wxAuiNotebook(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, style) {
    auto* art = new wxAuiGenericTabArt();
    art->SetColour(shade(skin.background(), -0.25));
    art->SetActiveColour(skin.background());
    SetArtProvider(art);
    SetBackgroundColour(skin.background());
    SetForegroundColour(skin.foreground());
}

} // namespace Vespra::Wx
