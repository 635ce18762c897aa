#include "gui/widgets/ColorPickerButton.h"

#include <algorithm>
#include <cmath>

#include <wx/clrpicker.h>
#include <wx/colordlg.h>

#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

wxColour toWxColour(const Rgb& color) {
    const auto byte = [](float channel) {
        return static_cast<unsigned char>(std::isnan(channel) ? 0.f : std::round(std::clamp(channel, 0.f, 1.f) * 255.f));
    };
    return wxColour(byte(color.r), byte(color.g), byte(color.b));
}

Rgb fromWxColour(const wxColour& color) {
    return Rgb(color.Red() / 255.f, color.Green() / 255.f, color.Blue() / 255.f);
}

namespace {

/// The height of a swatch given only a width: that of a row of spinners.
constexpr int DEFAULT_HEIGHT = 20;

wxSize swatchSize(const wxSize& size) {
    return scaleByDpi(wxSize(size.x, size.y == wxDefaultCoord ? DEFAULT_HEIGHT : size.y));
}

} // namespace

ColorPickerButton::ColorPickerButton(wxWindow* parent, const wxString& title, const wxSize& size, bool skinned)
    : SkinnedControl(parent, wxID_ANY, activeSkin(), wxDefaultPosition, swatchSize(size)), title(title) {
    if (!skinned) {
        SetBackgroundColour(parent->GetBackgroundColour());
    }
    SetInitialSize(swatchSize(size));
    SetCursor(wxCursor(wxCURSOR_HAND));
}

void ColorPickerButton::setColor(const Rgb& newColor, bool notify) {
    const bool changed = !(newColor == color);
    color = newColor;
    Refresh();
    if (changed && notify) {
        if (onChange) {
            onChange(color);
        }
        wxColourPickerEvent event(this, GetId(), toWxColour(color));
        ProcessWindowEvent(event);
    }
}

void ColorPickerButton::chooseColor() {
    const Optional<Rgb> chosen = colorSource ? colorSource(color) : askSystemDialog();
    if (chosen) {
        setColor(*chosen, true);
    }
}

Optional<Rgb> ColorPickerButton::askSystemDialog() {
    wxColourData data;
    data.SetColour(toWxColour(color));
    data.SetChooseFull(true);
    wxColourDialog dialog(wxGetTopLevelParent(this), &data);
    dialog.SetTitle(title);
    if (dialog.ShowModal() != wxID_OK) {
        return {};
    }
    return fromWxColour(dialog.GetColourData().GetColour());
}

void ColorPickerButton::onClick(wxMouseEvent&) {
    chooseColor();
}

void ColorPickerButton::paint(wxDC& dc) {
    const GuiSkin& skin = getSkin();
    const wxSize size = GetClientSize();
    dc.SetPen(wxPen(!IsEnabled() ? skin.dimmed() : isHovered() ? skin.accent() : skin.foreground()));
    dc.SetBrush(*wxTRANSPARENT_BRUSH);
    dc.DrawRectangle(0, 0, size.x, size.y);
    const int inset = std::max(2, scaleByDpi(2));
    wxColour swatch = toWxColour(color);
    if (!IsEnabled()) {
        // A disabled swatch keeps its hue but fades into the background.
        swatch = wxColour((swatch.Red() + skin.background().Red()) / 2, (swatch.Green() + skin.background().Green()) / 2,
                          (swatch.Blue() + skin.background().Blue()) / 2);
    }
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(swatch));
    dc.DrawRectangle(inset, inset, size.x - 2 * inset, size.y - 2 * inset);
}

} // namespace Vespra::Wx
