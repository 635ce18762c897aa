#include "gui/windows/SharpenBlurPanel.h"

#include "settings/PropertyIds.h"

namespace Vespra::Wx {

SharpenBlurPanel::SharpenBlurPanel(wxWindow* parent, Settings& settings) : GridSettingsPanel(parent, settings) {
    rows.push(addSpinnerRow("Sharpen amount:", PropertyId::SHARPENING_AMOUNT, 3, 0.,
                            "Applies sharpening to the image. Increasing this amount leads to a sharper image, "
                            "while setting the amount to zero switches off this filter."));
    rows.push(addSpinnerRow("Sharpen radius:", PropertyId::SHARPENING_RADIUS, 3, 0.,
                            "Sets the pixel radius used during sharpening. Higher values lead to more extensive "
                            "sharpening."));
    rows.push(addSpinnerRow("Blur radius:", PropertyId::BLURRING_RADIUS, 3, 0.,
                            "Sets the pixel radius used during blurring. Higher values lead to a greater blurring "
                            "effect."));
    const std::int32_t enable[] = {PropertyId::SHARPENING_BLURRING_ENABLE};
    listen(enable, [this](std::int32_t, const Property&) { updateEnabling(); });
    updateEnabling();
}

void SharpenBlurPanel::updateEnabling() {
    const bool enabled = getSettings().get(PropertyId::SHARPENING_BLURRING_ENABLE);
    for (const SpinnerRow<float>& row : rows) {
        row.enable(enabled);
    }
}

} // namespace Vespra::Wx
