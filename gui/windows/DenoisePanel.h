#pragma once

#include "gui/widgets/SettingsPanel.h"

namespace Vespra::Wx {

class AutoSizedButton;

/// The denoising section: "Denoise", "Custom denoise..." and the blend amount, or a text that
/// says why the image cannot be denoised.
class DenoisePanel : public SettingsPanel {
public:
    DenoisePanel(wxWindow* parent, Settings& settings);

    void setOnDenoise(Function<void()> action) { onDenoise = std::move(action); }
    void setOnCustomDenoise(Function<void()> action) { onCustomDenoise = std::move(action); }

    /// Shows the controls when the image has an element that can be denoised, else the text.
    void setDenoisingPossible(bool possible);
    bool isDenoisingPossible() const;

    /// Enables the three controls, not the panel, so that the text never greys out.
    bool Enable(bool enable = true) override;

    AutoSizedButton* getDenoiseButton() const { return denoiseButton; }
    AutoSizedButton* getCustomDenoiseButton() const { return customDenoiseButton; }
    Spinner* getBlendAmountSpinner() const { return blendAmount.spinner; }

private:
    GridSettingsPanel* controls = nullptr;
    wxPanel* unavailable = nullptr;
    AutoSizedButton* denoiseButton = nullptr;
    AutoSizedButton* customDenoiseButton = nullptr;
    GridSettingsPanel::SpinnerRow<float> blendAmount{};
    Function<void()> onDenoise;
    Function<void()> onCustomDenoise;
};

} // namespace Vespra::Wx
