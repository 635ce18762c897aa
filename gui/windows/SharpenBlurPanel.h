#pragma once

#include "gui/widgets/SettingsPanel.h"

namespace Vespra::Wx {

/// The sharpening and blurring section.
class SharpenBlurPanel : public GridSettingsPanel {
public:
    SharpenBlurPanel(wxWindow* parent, Settings& settings);

private:
    void updateEnabling();

    Stack<SpinnerRow<float>> rows;
};

} // namespace Vespra::Wx
