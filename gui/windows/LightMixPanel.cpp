#include "gui/windows/LightMixPanel.h"

#include <wx/spinctrl.h>

#include "base/image/ElementNames.h"
#include "gui/widgets/Button.h"
#include "gui/widgets/ColorPickerButton.h"
#include "gui/widgets/FaderCheckBox.h"
#include "gui/widgets/Spinner.h"
#include "gui/widgets/StaticText.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/widgets/WxText.h"
#include "settings/PropertyIds.h"

namespace Vespra::Wx {

namespace {

const wxSize COLOR_SIZE(35, 18);
/// Wide enough for "1.000" in the desktop's usual interface fonts.
constexpr int SPINNER_WIDTH = 52;
constexpr double MAX_INTENSITY = 100000.;
constexpr int NAME_WIDTH = 100;
constexpr int UNAVAILABLE_WIDTH = 210;

/// `value`, or what the property holds now when the listener gave none; held by value, since
/// the stored property may change meanwhile.
Property valueOf(const Settings& settings, std::int32_t id, const Optional<Property>& given) {
    return given ? *given : settings.get(id);
}

} // namespace

LightMixPanel::LightMixPanel(wxWindow* parent, Settings& settings) : ScrolledSettingsPanel(parent, settings) {
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    contentSizer = new wxBoxSizer(wxVERTICAL);
    unavailableSizer = new wxBoxSizer(wxVERTICAL);
    const int border = wxSizerFlags::GetDefaultBorder();
    sizer->Add(contentSizer, 0, wxEXPAND | wxALL, border);
    sizer->Add(unavailableSizer, 0, wxEXPAND | wxALL, border);
    createContent();
    createUnavailable();
    SetSizer(sizer);

    const std::int32_t enabled[] = {PropertyId::LIGHTMIX_ENABLED_LAYERS};
    listen(enabled, [this](std::int32_t, const Property& value) { readEnabled(value); });
    const std::int32_t intensities[] = {PropertyId::LIGHTMIX_INTENSITIES};
    listen(intensities, [this](std::int32_t, const Property& value) { readIntensities(value); });
    const std::int32_t colors[] = {PropertyId::LIGHTMIX_COLORS};
    listen(colors, [this](std::int32_t, const Property& value) { readColors(value); });
    setElements({});
}

void LightMixPanel::createContent() {
    const int border = wxSizerFlags::GetDefaultBorder();
    rowsSizer = new wxFlexGridSizer(4, border, border);
    rowsSizer->AddGrowableCol(1, 1);

    saveButton = makePanelButton(this, "Save...", "Save all the LightMix settings into a configuration file.",
                                 runIfSet(onSave));
    loadButton = makePanelButton(this, "Load...", "Load all the LightMix settings from a configuration file.",
                                 runIfSet(onLoad));
    toggleAllButton = makePanelButton(this, "Toggle all", "Enable/disable all LightMix elements.", [this] { toggleAll(); });
    // Each of these buttons stores its array once, not once per row: every store remixes the layers.
    allOneButton = makePanelButton(this, "All 1.0", "Set all LightMix intensities to 1.0.", [this] {
        for (const Row& row : rows) {
            row.intensity->setValue(1., false);
        }
        writeIntensities();
    });
    allWhiteButton = makePanelButton(this, "All white", "Set all LightMix colors to white color.", [this] {
        for (const Row& row : rows) {
            row.color->setColor(Rgb::white(), false);
        }
        writeColors();
    });

    auto* files = new wxBoxSizer(wxHORIZONTAL);
    files->Add(saveButton, 1);
    files->Add(loadButton, 1, wxLEFT, border);
    auto* all = new wxBoxSizer(wxHORIZONTAL);
    all->Add(toggleAllButton, 1);
    all->Add(allOneButton, 1, wxLEFT, border);
    all->Add(allWhiteButton, 1, wxLEFT, border);
    auto* gap = new wxPanel(this, wxID_ANY, wxDefaultPosition, wxSize(-1, border));
    gap->SetBackgroundColour(GetBackgroundColour());

    const int flags = wxEXPAND | wxLEFT | wxRIGHT | wxTOP;
    contentSizer->Add(rowsSizer, 0, flags, border);
    contentSizer->Add(gap, 0, flags, border);
    contentSizer->Add(files, 0, flags, border);
    contentSizer->Add(all, 0, flags, border);
}

void LightMixPanel::createUnavailable() {
    auto* text = new StaticText(this, wxID_ANY,
                                "LightMix is not available. You need to add at least one LightSelect and one LightMix "
                                "render element while rendering the image in Vespra Renderer (Render Setup / Render "
                                "Elements).\n\nYou need Vespra Renderer version 1.6 or later for that.");
    text->wrapTo(UNAVAILABLE_WIDTH);
    unavailableSizer->Add(text, 0, wxEXPAND);
}

bool LightMixPanel::hasLayers() const {
    return !rows.empty();
}

void LightMixPanel::setElements(ArrayView<const ElementInfo> layers) {
    rowsSizer->Clear(true);
    rows.clear();
    for (std::size_t i = 0; i < layers.size(); ++i) {
        addRow(layers[i], i);
    }
    wxSizer* sizer = GetSizer();
    sizer->Show(contentSizer, !rows.empty(), true);
    sizer->Show(unavailableSizer, rows.empty(), true);
    FitInside();
    Layout();
    // Writing right after reading leaves every stored array with one entry per row, which the
    // writes of single rows rely on.
    readEnabled();
    writeEnabled();
    readIntensities();
    writeIntensities();
    readColors();
    writeColors();
}

void LightMixPanel::addRow(const ElementInfo& layer, std::size_t index) {
    const wxString name = toWx(elementToChannelName(layer.name));
    Row row{};
    row.enabled = new FaderCheckBox(this);
    row.name = new StaticText(this, wxID_ANY, name);
    row.name->wrapTo(NAME_WIDTH);
    row.intensity = new Spinner(this, wxID_ANY, SPINNER_WIDTH, 0., MAX_INTENSITY, 1., 3, 0.);
    row.color = new ColorPickerButton(this, name + " light color", COLOR_SIZE, true);
    row.enabled->setValue(true, false);
    row.color->setColor(Rgb::white(), false);
    for (wxWindow* window : std::initializer_list<wxWindow*>{row.enabled, row.name, row.intensity, row.color}) {
        rowsSizer->Add(window, 0, wxALIGN_CENTER_VERTICAL);
    }
    row.enabled->setChangeCallback([this, index](bool value) { onEnabledChanged(index, value); });
    row.intensity->Bind(wxEVT_SPINCTRLDOUBLE, [this, index](wxSpinDoubleEvent& event) {
        rows[index].intensity->Refresh();
        rows[index].intensity->Update();
        writeIntensities(std::ptrdiff_t(index), float(event.GetValue()));
    });
    row.color->setChangeCallback([this, index](const Rgb& color) { writeColors(std::ptrdiff_t(index), color); });
    rows.push(row);
}

void LightMixPanel::readEnabled(const Optional<Property>& given) {
    const Property value = valueOf(getSettings(), PropertyId::LIGHTMIX_ENABLED_LAYERS, given);
    const ArrayView<const bool> stored = value;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const bool enabled = i < stored.size() ? stored[i] : true;
        rows[i].enabled->setValue(enabled, false);
        enableEdits(rows[i], enabled);
    }
}

void LightMixPanel::readIntensities(const Optional<Property>& given) {
    const Property value = valueOf(getSettings(), PropertyId::LIGHTMIX_INTENSITIES, given);
    const ArrayView<const float> stored = value;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rows[i].intensity->setValue(i < stored.size() ? stored[i] : 1.f, false);
    }
}

void LightMixPanel::readColors(const Optional<Property>& given) {
    const Property value = valueOf(getSettings(), PropertyId::LIGHTMIX_COLORS, given);
    const ArrayView<const Vec3Value> stored = value;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rows[i].color->setColor(i < stored.size() ? stored[i].toRgb() : Rgb::white(), false);
    }
}

void LightMixPanel::writeEnabled(std::ptrdiff_t cause, bool value) {
    // A plain array, since the property keeps booleans one per byte.
    std::unique_ptr<bool[]> enabled(new bool[rows.size()]);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        enabled[i] = std::ptrdiff_t(i) == cause ? value : rows[i].enabled->getValue();
    }
    getSettings().set(PropertyId::LIGHTMIX_ENABLED_LAYERS,
                      Property(ArrayView<const bool>(enabled.get(), rows.size())));
}

void LightMixPanel::writeIntensities(std::ptrdiff_t cause, float value) {
    Array<float> intensities(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        intensities[i] = std::ptrdiff_t(i) == cause ? value : float(rows[i].intensity->getValue());
    }
    getSettings().set(PropertyId::LIGHTMIX_INTENSITIES, Property(intensities.view()));
}

void LightMixPanel::writeColors(std::ptrdiff_t cause, const Rgb& value) {
    Array<Rgb> colors(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        colors[i] = std::ptrdiff_t(i) == cause ? value : rows[i].color->getColor();
    }
    getSettings().set(PropertyId::LIGHTMIX_COLORS, Property(colors.view()));
}

void LightMixPanel::enableEdits(const Row& row, bool enabled) {
    // A switched-off layer keeps its settings, but they can't be edited.
    row.intensity->Enable(enabled);
    row.color->Enable(enabled);
}

void LightMixPanel::onEnabledChanged(std::size_t row, bool value) {
    enableEdits(rows[row], value);
    rows[row].color->Refresh();
    rows[row].color->Update();
    writeEnabled(std::ptrdiff_t(row), value);
}

void LightMixPanel::toggleAll() {
    const bool anyOff = std::any_of(rows.begin(), rows.end(), [](const Row& row) { return !row.enabled->getValue(); });
    for (const Row& row : rows) {
        row.enabled->setValue(anyOff, false);
        enableEdits(row, anyOff);
    }
    writeEnabled();
}

} // namespace Vespra::Wx
