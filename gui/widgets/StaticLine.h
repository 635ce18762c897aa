#pragma once

#include <wx/window.h>

namespace Vespra::Wx {

/// A one-pixel rule in the skin's dimmed colour, horizontal (wxHORIZONTAL) or vertical.
class StaticLine : public wxWindow {
public:
    StaticLine(wxWindow* parent, int orientation = wxHORIZONTAL);

    bool AcceptsFocus() const override { return false; }
};

} // namespace Vespra::Wx
