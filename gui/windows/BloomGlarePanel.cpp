#include "gui/windows/BloomGlarePanel.h"

#include <cmath>

#include "settings/PropertyIds.h"

namespace Vespra::Wx {

namespace {

/// Below this the colour intensity counts as none, and the colour shift has nothing to shift.
constexpr float COLOR_INTENSITY_EPSILON = 0.0001f;

/// The step of a click on the streak count and the rotation.
constexpr double FINE_STEP = 0.2;

} // namespace

BloomGlarePanel::BloomGlarePanel(wxWindow* parent, Settings& settings) : GridSettingsPanel(parent, settings) {
    rows.push(addSpinnerRow("Bloom intensity:", PropertyId::BLOOM_INTENSITY, 3, 0.,
                            "Linear scaling of the bloom effect (large, soft glow around bright areas). Values "
                            "greater than 0.0 enable the effect."));
    rows.push(addSpinnerRow("Glare intensity:", PropertyId::GLARE_INTENSITY, 3, 0.,
                            "Linear scaling of the glare effect (more focused glow with streaks). Values greater "
                            "than 0.0 enable the effect."));
    rows.push(addSpinnerRow("Threshold:", PropertyId::BLOOM_GLARE_THRESHOLD, 3, 0.,
                            "Only pixels brighter than this threshold are affected by bloom and glare. Increase "
                            "this value to make the effect more localized around only the brightest light "
                            "sources."));
    rows.push(addSpinnerRow("Color intensity:", PropertyId::BLOOM_GLARE_COLOR_INTENSITY, 3, 0.,
                            "Adds color variation to the glare effect for additional artistic control."));
    colorShift = addSpinnerRow("Color shift:", PropertyId::BLOOM_GLARE_COLOR_SHIFT, 3, 0.,
                               "Alternates the colors created by the Color intensity option.");
    streakCount = addSpinnerRow<std::int32_t>("Streak count:", PropertyId::GLARE_STREAK_COUNT, 0, FINE_STEP,
                                              "Sets the number of streaks in the glare effect.");
    rows.push(addSpinnerRow(wxString(L"Rotation [\u00B0]:"), PropertyId::GLARE_ROTATION, 3, FINE_STEP,
                            "Alters the rotation of the glare effect."));
    rows.push(addSpinnerRow("Streak blur:", PropertyId::GLARE_STREAK_BLUR, 3, 0.,
                            "Controls blurring of all streaks in the glare effect. A value equal to 0.0 results in "
                            "very sharp streaks, while a value equal to 1.0 leads to over-blurred streaks."));
    const std::int32_t switches[] = {PropertyId::BLOOM_GLARE_ENABLED, PropertyId::BLOOM_GLARE_COLOR_INTENSITY};
    listen(switches, [this](std::int32_t, const Property&) { updateEnabling(); });
    updateEnabling();
}

void BloomGlarePanel::updateEnabling() {
    const bool enabled = getSettings().get(PropertyId::BLOOM_GLARE_ENABLED);
    for (const SpinnerRow<float>& row : rows) {
        row.enable(enabled);
    }
    streakCount.enable(enabled);
    const float colorIntensity = getSettings().get(PropertyId::BLOOM_GLARE_COLOR_INTENSITY);
    colorShift.enable(enabled && std::abs(colorIntensity) > COLOR_INTENSITY_EPSILON);
}

} // namespace Vespra::Wx
