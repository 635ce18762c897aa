#pragma once

#include "gui/widgets/SettingsPanel.h"

namespace Vespra::Wx {

/// The bloom and glare section: intensities, threshold, colour and the streaks of the glare.
class BloomGlarePanel : public GridSettingsPanel {
public:
    BloomGlarePanel(wxWindow* parent, Settings& settings);

private:
    /// Every row follows the bloom and glare switch; the colour shift also needs a colour
    /// intensity to act on.
    void updateEnabling();

    Stack<SpinnerRow<float>> rows;
    SpinnerRow<std::int32_t> streakCount{};
    SpinnerRow<float> colorShift{};
};

} // namespace Vespra::Wx
