#include "gui/windows/DenoisePanel.h"

#include <wx/sizer.h>

#include "gui/widgets/Button.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/WindowUtils.h"
#include "settings/PropertyIds.h"

namespace Vespra::Wx {

namespace {

constexpr int TEXT_WIDTH = 180;

} // namespace

DenoisePanel::DenoisePanel(wxWindow* parent, Settings& settings) : SettingsPanel(parent, settings) {
    controls = new GridSettingsPanel(this, settings);
    denoiseButton = makePanelButton(controls, "Denoise",
                                    "Immediately denoise all denoisable elements using the most advanced "
                                    "denoising mode that is available for the image.",
                                    runIfSet(onDenoise));
    customDenoiseButton = makePanelButton(controls, "Custom denoise...",
                                          "Open a dialog allowing to select which denoisable elements shall be "
                                          "denoised and set denoising parameters.",
                                          runIfSet(onCustomDenoise));
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    buttons->Add(denoiseButton, 1);
    buttons->Add(customDenoiseButton, 2, wxLEFT, wxSizerFlags::GetDefaultBorder());
    controls->addCell(buttons, 2, wxEXPAND | wxBOTTOM);
    blendAmount = controls->addSpinnerRow(
        "Denoise amount:", PropertyId::DENOISE_BLEND_AMOUNT, 3, 0.,
        "Mixing coefficient between the original (noisy) and processed (non-noisy) image. It allows fine-tuning "
        "the effect strength to find the sweetspot between preserving the finest details and removing excessive "
        "noise.");

    unavailable = new wxPanel(this);
    unavailable->SetBackgroundColour(activeSkin().background());
    auto* text = new StaticText(unavailable, wxID_ANY,
                                "Denoising is not possible because auxiliary denoising data are missing. Turn on "
                                "gathering these data while rendering the image in Vespra Renderer (Render Setup / "
                                "Scene / Denoising).");
    text->wrapTo(TEXT_WIDTH);
    auto* textSizer = new wxBoxSizer(wxVERTICAL);
    textSizer->Add(text, 0, wxALL, wxSizerFlags::GetDefaultBorder());
    unavailable->SetSizer(textSizer);

    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(controls, 0, wxEXPAND);
    sizer->Add(unavailable, 0, wxEXPAND);
    SetSizer(sizer);
    setDenoisingPossible(false);
}

void DenoisePanel::setDenoisingPossible(bool possible) {
    controls->Show(possible);
    unavailable->Show(!possible);
    Layout();
}

bool DenoisePanel::isDenoisingPossible() const {
    return controls->IsShown();
}

bool DenoisePanel::Enable(bool enable) {
    denoiseButton->Enable(enable);
    customDenoiseButton->Enable(enable);
    blendAmount.enable(enable);
    return true;
}

} // namespace Vespra::Wx
