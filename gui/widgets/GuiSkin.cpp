#include "gui/widgets/GuiSkin.h"

#include <algorithm>

namespace Vespra::Wx {

const GuiSkin& GuiSkin::editor() {
    static const GuiSkin skin{{{
        {200, 200, 200}, // foreground
        {110, 110, 110}, // dimmed foreground
        {68, 68, 68},    // background of windows and panels
        {37, 37, 37},    // background of the image display
        {0, 0, 0},       // black
        {39, 147, 255},  // accent
        {0, 73, 112},    // dark accent
        {81, 167, 241},  // light accent
    }}};
    return skin;
}

wxColour GuiSkin::field() const {
    return shade(background(), -0.25);
}

namespace {

GuiSkin& activeSkinSlot() {
    static GuiSkin skin = GuiSkin::editor();
    return skin;
}

} // namespace

const GuiSkin& activeSkin() {
    return activeSkinSlot();
}

void setActiveSkin(const GuiSkin& skin) {
    activeSkinSlot() = skin;
}

wxColour shade(const wxColour& color, double amount) {
    const auto channel = [amount](unsigned char value) {
        const double target = amount >= 0. ? 255. : 0.;
        const double mixed = value + (target - value) * std::min(std::abs(amount), 1.);
        return static_cast<unsigned char>(std::clamp(mixed + 0.5, 0., 255.));
    };
    return wxColour(channel(color.Red()), channel(color.Green()), channel(color.Blue()), color.Alpha());
}

} // namespace Vespra::Wx
