#pragma once

#include <wx/sizer.h>

#include "base/image/ElementInfo.h"
#include "foundation/Rgb.h"
#include "gui/widgets/SettingsPanel.h"

namespace Vespra::Wx {

class AutoSizedButton;
class ColorPickerButton;
class FaderCheckBox;
class Spinner;
class StaticText;

/// The "LightMix" page: a row per light layer of the image with its switch, intensity and
/// colour. The three properties are arrays with an entry per layer, shared by all rows, so the
/// panel reads and writes each of them whole.
class LightMixPanel : public ScrolledSettingsPanel {
public:
    struct Row {
        FaderCheckBox* enabled;
        StaticText* name;
        Spinner* intensity;
        ColorPickerButton* color;
    };

    LightMixPanel(wxWindow* parent, Settings& settings);

    /// Rebuilds the rows, one per layer, and brings the stored arrays to one entry per row.
    void setElements(ArrayView<const ElementInfo> layers);

    void setOnSave(Function<void()> action) { onSave = std::move(action); }
    void setOnLoad(Function<void()> action) { onLoad = std::move(action); }

    ArrayView<const Row> getRows() const { return rows; }
    /// Whether the rows show, rather than the text that the image has no layers.
    bool hasLayers() const;
    AutoSizedButton* getSaveButton() const { return saveButton; }
    AutoSizedButton* getLoadButton() const { return loadButton; }
    AutoSizedButton* getToggleAllButton() const { return toggleAllButton; }
    AutoSizedButton* getAllOneButton() const { return allOneButton; }
    AutoSizedButton* getAllWhiteButton() const { return allWhiteButton; }

private:
    void createContent();
    void createUnavailable();
    void addRow(const ElementInfo& layer, std::size_t index);

    /// Put the stored arrays (or `given`, a value a listener got) on the rows, silently.
    void readEnabled(const Optional<Property>& given = {});
    void readIntensities(const Optional<Property>& given = {});
    void readColors(const Optional<Property>& given = {});
    /// Store what the rows show, with `value` in the row `cause` (-1 for none).
    void writeEnabled(std::ptrdiff_t cause = -1, bool value = true);
    void writeIntensities(std::ptrdiff_t cause = -1, float value = 1.f);
    void writeColors(std::ptrdiff_t cause = -1, const Rgb& value = Rgb::white());
    static void enableEdits(const Row& row, bool enabled);

    void onEnabledChanged(std::size_t row, bool value);
    void toggleAll();

    wxBoxSizer* contentSizer = nullptr;
    wxBoxSizer* unavailableSizer = nullptr;
    wxFlexGridSizer* rowsSizer = nullptr;
    AutoSizedButton* saveButton = nullptr;
    AutoSizedButton* loadButton = nullptr;
    AutoSizedButton* toggleAllButton = nullptr;
    AutoSizedButton* allOneButton = nullptr;
    AutoSizedButton* allWhiteButton = nullptr;
    Stack<Row> rows;
    Function<void()> onSave;
    Function<void()> onLoad;
};

} // namespace Vespra::Wx
