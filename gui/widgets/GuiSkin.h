#pragma once

#include <array>
#include <cstdint>

#include <wx/colour.h>

namespace Vespra::Wx {

/// The colours windows are painted with. The widgets read them by position, so the order is
/// part of the contract.
struct GuiSkin {
    struct Color {
        std::uint8_t r = 0;
        std::uint8_t g = 0;
        std::uint8_t b = 0;
    };

    enum Position : int {
        FOREGROUND = 0,
        DIMMED_FOREGROUND,
        BACKGROUND,
        IMAGE_BACKGROUND,
        BLACK,
        ACCENT,
        DARK_ACCENT,
        LIGHT_ACCENT,
        COUNT
    };

    std::array<Color, COUNT> colors;

    wxColour get(Position position) const {
        const Color& c = colors[std::size_t(position)];
        return wxColour(c.r, c.g, c.b);
    }

    wxColour foreground() const { return get(FOREGROUND); }
    wxColour dimmed() const { return get(DIMMED_FOREGROUND); }
    wxColour background() const { return get(BACKGROUND); }
    wxColour accent() const { return get(ACCENT); }
    /// The background of fields that take input: a shade darker than the panels.
    wxColour field() const;

    /// The editor's dark skin.
    static const GuiSkin& editor();
};

/// The skin of the running application: what widgets made without an explicit skin paint with.
const GuiSkin& activeSkin();
void setActiveSkin(const GuiSkin& skin);

/// `color` moved towards white by `amount` (0..1), or towards black for a negative amount:
/// the hover and pressed shades of a skin colour.
wxColour shade(const wxColour& color, double amount);

} // namespace Vespra::Wx
