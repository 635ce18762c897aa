#include "gui/curves/ToneCurveEditor.h"

#include <wx/panel.h>
#include <wx/sizer.h>

#include "foundation/io/Path.h"
#include "gui/LastDirectory.h"
#include "gui/widgets/ApplicationTexts.h"
#include "gui/widgets/Button.h"
#include "gui/widgets/ComboBox.h"
#include "gui/widgets/DropdownButton.h"
#include "gui/widgets/MessageDialog.h"
#include "gui/widgets/StaticText.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/widgets/WxText.h"

namespace Vespra::Wx {

namespace {

/// Sizes in device-independent pixels.
constexpr int BOX_WIDTH = 120;
const wxSize COMMAND_SIZE(73, 24);
const wxSize FILE_BUTTON_SIZE(60, 24);
constexpr int GRID_GAP = 2;
constexpr int BORDER = 6;

/// The name a save suggests.
constexpr char16_t SUGGESTED_NAME[] = u"curves.acv";
constexpr char16_t ACV_EXTENSION[] = u"acv";

std::vector<ComboBox::Item> itemsOf(std::initializer_list<const char*> texts) {
    std::vector<ComboBox::Item> items;
    int id = 0;
    for (const char* text : texts) {
        items.push_back({text, id++, 0});
    }
    return items;
}

std::vector<ComboBox::Item> interpolationItems() {
    std::vector<ComboBox::Item> items;
    for (const EnumTableRow<CurveInterpolation>& row : CURVE_INTERPOLATION_ROWS) {
        items.push_back({toWx(String(row.name)), int(row.value), 0});
    }
    return items;
}

} // namespace

ToneCurveEditor::ToneCurveEditor(wxWindow* parent, const wxString& title, const GuiSkin& skin,
                                 const ColorCurve& curves, SharedPtr<Abstract::CurveInterface> provider)
    : wxFrame(parent, wxID_ANY, title, wxDefaultPosition, wxDefaultSize,
              wxCAPTION | wxCLOSE_BOX | wxSYSTEM_MENU | wxFRAME_FLOAT_ON_PARENT | wxFRAME_TOOL_WINDOW),
      provider(std::move(provider)) {
    setVespraIcon(this);
    createControls(skin, curves);
    layoutControls();
    bindEvents();
    applySkinRecursive(this, skin);
}

bool ToneCurveEditor::isPicking() const {
    return pickButton->isToggled();
}

void ToneCurveEditor::createControls(const GuiSkin& skin, const ColorCurve& curves) {
    panel = new wxPanel(this);
    loadButton = new AutoSizedButton(panel, "Load", FILE_BUTTON_SIZE);
    saveButton = new AutoSizedButton(panel, "Save", FILE_BUTTON_SIZE);
    display = new ToneCurveDisplay(panel, skin, curves, provider);

    channelLabel = new StaticText(panel, wxID_ANY, "Channel:");
    channelBox = new ComboBox(panel, wxID_ANY, BOX_WIDTH, nullptr);
    channelBox->setData(itemsOf({"Brightness", "Red", "Green", "Blue"}));
    channelBox->selectIndex(0, false);
    resetButton = new DropdownButton(
        panel, skin, {{RESET, "Reset"}, {RESET_ALL, "Reset All"}},
        [this](int command) { display->resetCurve(command == RESET_ALL); }, COMMAND_SIZE);

    interpolationLabel = new StaticText(panel, wxID_ANY, "Interpolation:");
    interpolationBox = new ComboBox(panel, wxID_ANY, BOX_WIDTH, nullptr);
    interpolationBox->setData(interpolationItems());
    pickButton = new Button(panel, skin, wxID_ANY, "Pick", wxBitmapBundle(), wxBitmapBundle(), nullptr,
                            ButtonBehaviour::TOGGLE);
    pickButton->SetMinSize(scaleByDpi(COMMAND_SIZE));

    histogramLabel = new StaticText(panel, wxID_ANY, "Histogram:");
    histogramBox = new ComboBox(panel, wxID_ANY, BOX_WIDTH, nullptr);
    histogramBox->setData(itemsOf({"Linear", "Logarithmic", "Cumulative"}));
    histogramBox->selectIndex(int(display->getHistogramType()), false);
    equalizeButton = new AutoSizedButton(panel, "Equalize", COMMAND_SIZE);
    showActiveInterpolation();
}

void ToneCurveEditor::layoutControls() {
    auto* fileRow = new wxBoxSizer(wxHORIZONTAL);
    fileRow->Add(loadButton, 0, wxRIGHT, scaleByDpi(GRID_GAP));
    fileRow->Add(saveButton);

    const int gap = scaleByDpi(GRID_GAP);
    auto* grid = new wxFlexGridSizer(3, 3, gap, gap);
    grid->AddGrowableCol(1, 1);
    const auto addRow = [grid](wxWindow* label, wxWindow* box, wxWindow* command) {
        grid->Add(label, 0, wxALIGN_CENTER_VERTICAL);
        grid->Add(box, 0, wxALIGN_CENTER_VERTICAL | wxEXPAND);
        grid->Add(command, 0, wxALIGN_CENTER_VERTICAL);
    };
    addRow(channelLabel, channelBox, resetButton);
    addRow(interpolationLabel, interpolationBox, pickButton);
    addRow(histogramLabel, histogramBox, equalizeButton);

    const int border = scaleByDpi(BORDER);
    auto* column = new wxBoxSizer(wxVERTICAL);
    column->Add(fileRow, 0, wxLEFT | wxRIGHT | wxTOP, border);
    column->Add(display, 0, wxALL | wxALIGN_CENTER_HORIZONTAL, border);
    column->Add(grid, 0, wxLEFT | wxRIGHT | wxBOTTOM | wxEXPAND, border);
    panel->SetSizer(column);

    auto* frameSizer = new wxBoxSizer(wxVERTICAL);
    frameSizer->Add(panel, 1, wxEXPAND);
    SetSizerAndFit(frameSizer);
}

void ToneCurveEditor::bindEvents() {
    loadButton->onClick = [this] { loadWithDialog(); };
    saveButton->onClick = [this] { saveWithDialog(); };
    channelBox->setChangeCallback([this] {
        display->setActiveChannel(channelBox->getSelectedIndex());
        showActiveInterpolation();
    });
    interpolationBox->setChangeCallback(
        [this] { display->setInterpolation(CurveInterpolation(interpolationBox->getSelectedId())); });
    histogramBox->setChangeCallback(
        [this] { display->reloadHistogram(HistogramType(histogramBox->getSelectedIndex())); });
    equalizeButton->onClick = [this] { display->equalize(); };
    display->onHistogramTypeChanged = [this](HistogramType type) {
        histogramBox->selectIndex(int(type), false);
    };
    Bind(wxEVT_CLOSE_WINDOW, [this](wxCloseEvent& event) {
        // Closing hides the window; it goes with its frame.
        if (event.CanVeto() && event.GetEventObject() == this) {
            event.Veto();
            Hide();
        } else {
            event.Skip();
        }
    });
}

void ToneCurveEditor::showActiveInterpolation() {
    interpolationBox->selectId(int(display->getCurves()[display->getActiveChannel()].interpolation()), false);
}

void ToneCurveEditor::loadWithDialog() {
    const Io::Path path = fileDialogs.open(this, LOAD_TITLE, FILE_FILTER, lastDirectoryPath());
    if (path.isEmpty()) {
        return;
    }
    rememberLastDirectory(path);
    if (const Expected<void> loaded = display->loadAcv(path); !loaded) {
        showError(loaded.error());
    }
}

void ToneCurveEditor::saveWithDialog() {
    Io::Path path =
        fileDialogs.save(this, SAVE_TITLE, FILE_FILTER, lastDirectoryPath() / Io::Path(SUGGESTED_NAME));
    if (path.isEmpty()) {
        return;
    }
    if (path.extension().isEmpty()) {
        path = path + u"." + String(ACV_EXTENSION);
    }
    rememberLastDirectory(path);
    if (const Expected<void, Io::FileWriteError> saved = display->saveAcv(path); !saved) {
        showError(saved.error().message);
    }
}

void ToneCurveEditor::showError(const String& text) {
    showOkDialog(this, ApplicationTexts::TITLE, text, MessageDialogIcon::ERROR_ICON);
}

} // namespace Vespra::Wx
