#pragma once

#include "gui/widgets/FileDialogs.h"
#include "gui/widgets/SettingsPanel.h"

namespace Vespra::Wx {

class AutoSizedButton;
class BloomGlarePanel;
class CollapsiblePanel;
class ColorMapPanel;
class DenoisePanel;
class LutPanel;
class SharpenBlurPanel;

/// The "Post" page of the side panel: Save..., Load... and Reset of the post-processing
/// settings over a column of collapsible sections, one per effect.
class PostprocessPanel : public ScrolledSettingsPanel {
public:
    /// The sections, top to bottom.
    enum class Section : int { TONE_MAPPING, LUT, BLOOM_GLARE, SHARPEN_BLUR, DENOISING, COUNT };

    /// `fileDialogs` asks for look-up table files; it must outlive the panel.
    PostprocessPanel(wxWindow* parent, Settings& settings, const FileDialogs& fileDialogs);

    void setOnSave(Function<void()> action) { onSave = std::move(action); }
    void setOnLoad(Function<void()> action) { onLoad = std::move(action); }
    void setOnReset(Function<void()> action) { onReset = std::move(action); }

    /// Enables the buttons, the sections and their switches one by one; within the sections
    /// their own rules still hold.
    bool Enable(bool enable = true) override;

    DenoisePanel* getDenoisePanel() const { return denoisePanel; }
    ColorMapPanel* getColorMapPanel() const { return colorMapPanel; }
    LutPanel* getLutPanel() const { return lutPanel; }
    BloomGlarePanel* getBloomGlarePanel() const { return bloomGlarePanel; }
    SharpenBlurPanel* getSharpenBlurPanel() const { return sharpenBlurPanel; }
    CollapsiblePanel* getSection(Section section) const { return sections[std::size_t(section)]; }
    AutoSizedButton* getSaveButton() const { return saveButton; }
    AutoSizedButton* getLoadButton() const { return loadButton; }
    AutoSizedButton* getResetButton() const { return resetButton; }

private:
    wxSizer* createButtons();
    /// A section titled `title` holding what `makeContent` builds, with a check box of
    /// `switchId` in its header unless that is 0.
    void addSection(Section section, const wxString& title, std::int32_t switchId, const wxString& switchTooltip,
                    const Function<wxWindow*(wxWindow*)>& makeContent);

    wxBoxSizer* column = nullptr;
    AutoSizedButton* saveButton = nullptr;
    AutoSizedButton* loadButton = nullptr;
    AutoSizedButton* resetButton = nullptr;
    std::array<CollapsiblePanel*, std::size_t(Section::COUNT)> sections{};
    ColorMapPanel* colorMapPanel = nullptr;
    LutPanel* lutPanel = nullptr;
    BloomGlarePanel* bloomGlarePanel = nullptr;
    SharpenBlurPanel* sharpenBlurPanel = nullptr;
    DenoisePanel* denoisePanel = nullptr;
    Function<void()> onSave;
    Function<void()> onLoad;
    Function<void()> onReset;
};

} // namespace Vespra::Wx
