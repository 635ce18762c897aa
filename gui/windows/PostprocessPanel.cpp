#include "gui/windows/PostprocessPanel.h"

#include <wx/sizer.h>

#include "gui/widgets/Button.h"
#include "gui/widgets/CollapsiblePanel.h"
#include "gui/widgets/PropertyCheckBox.h"
#include "gui/windows/BloomGlarePanel.h"
#include "gui/windows/ColorMapPanel.h"
#include "gui/windows/DenoisePanel.h"
#include "gui/windows/LutPanel.h"
#include "gui/windows/SharpenBlurPanel.h"
#include "settings/PropertyIds.h"

namespace Vespra::Wx {

PostprocessPanel::PostprocessPanel(wxWindow* parent, Settings& settings, const FileDialogs& fileDialogs)
    : ScrolledSettingsPanel(parent, settings) {
    column = new wxBoxSizer(wxVERTICAL);
    const int border = 2 * wxSizerFlags::GetDefaultBorder();
    column->Add(createButtons(), 0, wxEXPAND | wxLEFT | wxRIGHT | wxTOP, border);
    addSection(Section::TONE_MAPPING, "TONE MAPPING", PropertyId::COLOR_MAP_ENABLED,
               "Enable applying all the tone mapping (except for the exposure settings, which are always applied).",
               [this](wxWindow* parent) { return colorMapPanel = new ColorMapPanel(parent, getSettings()); });
    addSection(Section::LUT, "LUT", PropertyId::LUT_ENABLE,
               "Enable the Look-up Table (LUT) color transform. This allows quickly changing the overall look of "
               "the image by applying one of many ready-made LUT files provided by Vespra Renderer.",
               [this, &fileDialogs](wxWindow* parent) {
                   return lutPanel = new LutPanel(parent, getSettings(), fileDialogs);
               });
    addSection(Section::BLOOM_GLARE, "BLOOM AND GLARE", PropertyId::BLOOM_GLARE_ENABLED,
               "Enable adding the bloom and glare effect to the image.",
               [this](wxWindow* parent) { return bloomGlarePanel = new BloomGlarePanel(parent, getSettings()); });
    addSection(Section::SHARPEN_BLUR, "SHARPENING/BLURRING", PropertyId::SHARPENING_BLURRING_ENABLE,
               "Enable sharpening and/or blurring of the image.",
               [this](wxWindow* parent) { return sharpenBlurPanel = new SharpenBlurPanel(parent, getSettings()); });
    addSection(Section::DENOISING, "DENOISING", 0, wxEmptyString,
               [this](wxWindow* parent) { return denoisePanel = new DenoisePanel(parent, getSettings()); });
    SetSizer(column);
    FitInside();
}

wxSizer* PostprocessPanel::createButtons() {
    saveButton = makePanelButton(this, "Save...", "Save all the post-processing settings into a configuration file.",
                                 runIfSet(onSave));
    loadButton = makePanelButton(this, "Load...", "Load all the post-processing settings from a configuration file.",
                                 runIfSet(onLoad));
    resetButton = makePanelButton(this, "Reset", "Reset all the post-processing settings to image defaults.",
                                  runIfSet(onReset));
    auto* row = new wxBoxSizer(wxHORIZONTAL);
    row->Add(saveButton, 1);
    row->Add(loadButton, 1, wxLEFT, wxSizerFlags::GetDefaultBorder());
    row->Add(resetButton, 1, wxLEFT, wxSizerFlags::GetDefaultBorder());
    return row;
}

void PostprocessPanel::addSection(Section section, const wxString& title, std::int32_t switchId,
                                  const wxString& switchTooltip, const Function<wxWindow*(wxWindow*)>& makeContent) {
    Function<wxWindow*(wxWindow*)> makeSwitch;
    if (switchId != 0) {
        makeSwitch = [this, switchId, switchTooltip](wxWindow* parent) {
            auto* box = new PropertyCheckBox(parent, getSettings(), switchId, wxEmptyString);
            box->setTooltip(switchTooltip);
            return box;
        };
    }
    // Tone mapping is what most users come for; the others open on demand.
    const bool collapsed = section != Section::TONE_MAPPING;
    auto* panel = new CollapsiblePanel(this, activeSkin(), title, makeContent, makeSwitch, collapsed);
    sections[std::size_t(section)] = panel;
    column->Add(panel, 0, wxEXPAND | wxLEFT | wxRIGHT | wxTOP, 2 * wxSizerFlags::GetDefaultBorder());
}

bool PostprocessPanel::Enable(bool enable) {
    for (AutoSizedButton* button : {saveButton, loadButton, resetButton}) {
        button->Enable(enable);
    }
    for (CollapsiblePanel* section : sections) {
        section->Enable(enable);
    }
    return true;
}

} // namespace Vespra::Wx
