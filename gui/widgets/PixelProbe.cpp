#include "gui/widgets/PixelProbe.h"

#include <cmath>

#include <fmt/format.h>
#include <wx/sizer.h>
#include <wx/stattext.h>

#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

namespace {

bool hasNan(const Rgb& color) {
    return std::isnan(color.r) || std::isnan(color.g) || std::isnan(color.b);
}

} // namespace

PixelProbe::PixelProbe(wxWindow* window, Function<Optional<ProbedPixel>(const wxPoint&)> probe,
                       const wxString& nanMessage)
    : wxPopupWindow(window, wxBORDER_SIMPLE), probe(std::move(probe)), nanMessage(nanMessage) {
    const GuiSkin& skin = activeSkin();
    SetBackgroundColour(shade(skin.background(), -0.35));
    label = new wxStaticText(this, wxID_ANY, wxEmptyString);
    label->SetForegroundColour(skin.foreground());
    label->SetFont(wxFont(wxFontInfo(GetFont().GetPointSize()).Family(wxFONTFAMILY_TELETYPE)));
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(label, 0, wxALL, scaleByDpi(6));
    SetSizer(sizer);
}

wxString PixelProbe::describe(const ProbedPixel& pixel) {
    const Rgb& raw = pixel.raw;
    const Rgb& shown = pixel.displayed;
    const auto byte = [](float value) { return int(std::lround(std::clamp(value, 0.f, 1.f) * 255.f)); };
    return wxString::FromUTF8(fmt::format("Pixel      {}, {}\n"
                                          "Raw        R {:.4f}  G {:.4f}  B {:.4f}\n"
                                          "Alpha      {:.4f}\n"
                                          "Displayed  R {:.3f}  G {:.3f}  B {:.3f}  ({}, {}, {})",
                                          pixel.position.x, pixel.position.y, raw.r, raw.g, raw.b, pixel.alpha,
                                          shown.r, shown.g, shown.b, byte(shown.r), byte(shown.g), byte(shown.b)));
}

void PixelProbe::updatePosition(const wxPoint& screenPoint) {
    const Optional<ProbedPixel> pixel = probe ? probe(screenPoint) : Optional<ProbedPixel>();
    if (!pixel) {
        Hide();
        return;
    }
    const bool notANumber = hasNan(pixel->raw) || hasNan(pixel->displayed) || std::isnan(pixel->alpha);
    label->SetLabel(notANumber ? nanMessage : describe(*pixel));
    GetSizer()->Fit(this);
    smartPositionWindow(this, screenPoint + scaleByDpi(wxPoint(16, 16)));
    if (!IsShown()) {
        Show();
    }
}

wxString PixelProbe::getText() const {
    return label->GetLabel();
}

} // namespace Vespra::Wx
