#pragma once

#include <string_view>

#include <wx/bmpbndl.h>
#include <wx/iconbndl.h>

namespace Vespra::Wx {

/// The embedded icon `icons/<name>.svg` drawn at `size` device-independent pixels, sharp at
/// every screen scale. An unknown name raises an internal stop: icon names are fixed in code.
wxBitmapBundle getIcon(std::string_view name, const wxSize& size);

/// The application icon at the sizes window managers and task bars ask for.
wxIconBundle getApplicationIcons();

} // namespace Vespra::Wx
