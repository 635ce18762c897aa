#include "gui/windows/ColorMapPanel.h"

#include <wx/sizer.h>

#include "gui/widgets/Button.h"
#include "gui/widgets/PropertyCheckBox.h"
#include "gui/widgets/PropertyColorPicker.h"
#include "gui/widgets/PropertyRadioButton.h"
#include "settings/PropertyIds.h"

namespace Vespra::Wx {

namespace {

constexpr int TINT_WIDTH = 75;
const wxSize EDITOR_BUTTON_SIZE(75, 24);

const char* const NONLINEAR_NOTE_ONE =
    "\n\nBeware that values other than default result in NONLINEAR output. So when composing render elements "
    "together, this value must be 1.0 to get correct results.";
const char* const NONLINEAR_NOTE_ZERO =
    "\n\nBeware that values other than default result in NONLINEAR output. So when composing render elements "
    "together, this value must be 0.0 to get correct results.";

struct ToneRow {
    const char* label;
    std::int32_t id;
    int precision;
    double step;
    wxString tooltip;
};

} // namespace

ColorMapPanel::ColorMapPanel(wxWindow* parent, Settings& settings) : GridSettingsPanel(parent, settings) {
    createExposureRows();
    createToneRows();
    createTintAndCurvesRows();
    const std::int32_t switches[] = {PropertyId::USE_PHOTOGRAPHIC, PropertyId::COLOR_MAP_ENABLED,
                                     PropertyId::CURVES_ENABLE};
    listen(switches, [this](std::int32_t, const Property&) { updateEnabling(); });
    updateEnabling();
}

void ColorMapPanel::createExposureRows() {
    // The radio of "ISO:" is made first, as it opens the group, though its row comes second.
    isoRadio = new PropertyRadioButton(this, getSettings(), PropertyId::USE_PHOTOGRAPHIC, wxEmptyString, true, true);
    exposureRadio =
        new PropertyRadioButton(this, getSettings(), PropertyId::USE_PHOTOGRAPHIC, wxEmptyString, false, false);
    attachTooltip(isoRadio, "When using photographic exposure mode, the image brightness will be computed from "
                            "ISO, just like in a real camera.");
    attachTooltip(exposureRadio, "When using simple exposure mode, only the EV exposure parameter will be used to "
                                 "determine the image brightness.");

    const auto addExposureRow = [this](const wxString& label, PropertyRadioButton* radio, std::int32_t id,
                                       const wxString& tooltip) {
        auto* text = new StaticText(this, wxID_ANY, label);
        auto* labelSizer = new wxBoxSizer(wxHORIZONTAL);
        labelSizer->Add(text, 0, wxALIGN_CENTER_VERTICAL);
        labelSizer->Add(radio, 0, wxALIGN_CENTER_VERTICAL | wxLEFT, wxSizerFlags::GetDefaultBorder());
        addCell(labelSizer);
        auto* spinner = new PropertySpinner<float>(this, getSettings(), id, 3, 0., SPINNER_WIDTH);
        attachTooltip(spinner, tooltip);
        addCell(spinner);
        return SpinnerRow<float>{text, spinner};
    };
    exposure = addExposureRow("Exposure (EV):", exposureRadio, PropertyId::SIMPLE_EXPOSURE,
                              "Used only with the simple exposure mode. Positive values increase exposure, negative "
                              "values decrease it.");
    iso = addExposureRow("ISO:", isoRadio, PropertyId::ISO,
                         "Used only with the photographic exposure mode. Increasing this value increases exposure "
                         "and vice versa.\n\nStandard values used in photography are: 50, 100, 200, 400, 800, 1600, "
                         "3200.");
}

void ColorMapPanel::createToneRows() {
    const ToneRow rows[] = {
        {"Highlight compress:", PropertyId::HIGHLIGHT_COMPRESSION, 3, 0.,
         wxString("Compresses highlights in the image to reduce/remove burned-out areas. Increasing the value "
                  "removes burned-out areas, decreasing it amplifies highlights.") +
             NONLINEAR_NOTE_ONE},
        {"White balance [K]:", PropertyId::COLOR_TEMP, 0, 1.,
         "Sets the white balance point using Kelvin temperature, often used in photography."},
        {"Contrast:", PropertyId::CONTRAST, 3, 0.,
         wxString("Values greater than 1.0 increase the image contrast, values below 1.0 decrease it.") +
             NONLINEAR_NOTE_ONE},
        {"Saturation:", PropertyId::SATURATION, 3, 0.,
         wxString("Positive values increase image saturation, negative values decrease it.") + NONLINEAR_NOTE_ZERO},
        {"Filmic highlights:", PropertyId::FILMIC_HIGHLIGHT_COMPRESSION, 3, 0.,
         wxString("Applies filmic tone mapping to bright regions of the image, resulting in subtle highlight "
                  "compression without loss of color saturation.") +
             NONLINEAR_NOTE_ZERO},
        {"Filmic shadows:", PropertyId::FILMIC_RICH_SHADOWS, 3, 0.,
         wxString("Applies filmic tone mapping to dark regions of the image, resulting in increased "
                  "richness/saturation of shadows.") +
             NONLINEAR_NOTE_ZERO},
        {"Vignette intensity:", PropertyId::VIGNETTE_INTENSITY, 3, 0.,
         "Simulates real world camera vignette by darkening the edges of the image. Values greater than 0.0 "
         "increase the area affected by the vignette."},
    };
    for (const ToneRow& row : rows) {
        toneRows.push(addSpinnerRow(row.label, row.id, row.precision, row.step, row.tooltip));
    }
}

void ColorMapPanel::createTintAndCurvesRows() {
    tintLabel = addLabel("Color tint:");
    tint = new PropertyColorPicker(this, getSettings(), PropertyId::TINT, "Color tint", TINT_WIDTH);
    tint->setTooltip("Sets the overall color tint of the scene. The entire image is multiplied by this color.");
    addCell(tint);

    curvesCheckBox = new PropertyCheckBox(this, getSettings(), PropertyId::CURVES_ENABLE, "Curves:");
    curvesCheckBox->setTooltip("Enable curve color mapping controls.");
    curvesEditorButton = new AutoSizedButton(this, "Editor...", EDITOR_BUTTON_SIZE);
    attachTooltip(curvesEditorButton, "Open an editor for manipulating curve color mapping controls.");
    curvesEditorButton->onClick = runIfSet(onCurvesEditor);
    addCell(curvesCheckBox);
    addCell(curvesEditorButton);
}

void ColorMapPanel::updateEnabling() {
    const Settings& settings = getSettings();
    const bool photographic = settings.get(PropertyId::USE_PHOTOGRAPHIC);
    // Exposure always applies, whether tone mapping is on or not.
    exposure.enable(!photographic);
    iso.enable(photographic);
    const bool toneMapping = settings.get(PropertyId::COLOR_MAP_ENABLED);
    for (const SpinnerRow<float>& row : toneRows) {
        row.enable(toneMapping);
    }
    tintLabel->Enable(toneMapping);
    tint->Enable(toneMapping);
    curvesCheckBox->Enable(toneMapping);
    curvesEditorButton->Enable(toneMapping && bool(settings.get(PropertyId::CURVES_ENABLE)));
}

} // namespace Vespra::Wx
