#include "gui/widgets/Icons.h"

#include <string>

#include "foundation/Exception.h"
#include "resources/Resources.h"

namespace Vespra::Wx {

wxBitmapBundle getIcon(std::string_view name, const wxSize& size) {
    const std::string path = "icons/" + std::string(name) + ".svg";
    const auto data = Resources::find(path);
    VESPRA_ASSERT(data.has_value());
    return wxBitmapBundle::FromSVG(data->data(), data->size(), size);
}

wxIconBundle getApplicationIcons() {
    const wxBitmapBundle bundle = getIcon("vespra", wxSize(256, 256));
    wxIconBundle icons;
    for (const int side : {16, 24, 32, 48, 64, 128, 256}) {
        wxIcon icon;
        icon.CopyFromBitmap(bundle.GetBitmap(wxSize(side, side)));
        icons.AddIcon(icon);
    }
    return icons;
}

} // namespace Vespra::Wx
