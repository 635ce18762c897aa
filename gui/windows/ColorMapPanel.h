#pragma once

#include "gui/widgets/SettingsPanel.h"

namespace Vespra::Wx {

class AutoSizedButton;
class PropertyCheckBox;
class PropertyColorPicker;
class PropertyRadioButton;

/// The tone mapping section: exposure (simple or photographic), the tone curve parameters,
/// vignette, tint, and the switch and editor of the curves.
class ColorMapPanel : public GridSettingsPanel {
public:
    ColorMapPanel(wxWindow* parent, Settings& settings);

    /// What "Editor..." does.
    void setOnCurvesEditor(Function<void()> action) { onCurvesEditor = std::move(action); }

    AutoSizedButton* getCurvesEditorButton() const { return curvesEditorButton; }
    Spinner* getExposureSpinner() const { return exposure.spinner; }

private:
    void createExposureRows();
    void createToneRows();
    void createTintAndCurvesRows();
    /// Enables what the exposure mode and the tone mapping and curves switches allow.
    void updateEnabling();

    SpinnerRow<float> exposure{};
    SpinnerRow<float> iso{};
    PropertyRadioButton* exposureRadio = nullptr;
    PropertyRadioButton* isoRadio = nullptr;
    /// The rows that follow the tone mapping switch, from highlight compression to the tint.
    Stack<SpinnerRow<float>> toneRows;
    StaticText* tintLabel = nullptr;
    PropertyColorPicker* tint = nullptr;
    PropertyCheckBox* curvesCheckBox = nullptr;
    AutoSizedButton* curvesEditorButton = nullptr;
    Function<void()> onCurvesEditor;
};

} // namespace Vespra::Wx
