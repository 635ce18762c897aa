#include "gui/widgets/StaticLine.h"

#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

StaticLine::StaticLine(wxWindow* parent, int orientation)
    : wxWindow(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxBORDER_NONE) {
    const int thickness = std::max(1, scaleByDpi(1));
    SetMinSize(orientation == wxHORIZONTAL ? wxSize(-1, thickness) : wxSize(thickness, -1));
    SetBackgroundColour(activeSkin().dimmed());
}

} // namespace Vespra::Wx
