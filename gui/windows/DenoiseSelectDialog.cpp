#include "gui/windows/DenoiseSelectDialog.h"

#include <algorithm>

#include <wx/panel.h>
#include <wx/sizer.h>
#include <wx/textctrl.h>

#include "base/image/ElementNames.h"
#include "foundation/Exception.h"
#include "gui/widgets/Button.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/PropertyComboBox.h"
#include "gui/widgets/PropertySpinner.h"
#include "gui/widgets/StaticLine.h"
#include "gui/widgets/StaticText.h"
#include "gui/widgets/Tooltip.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/widgets/WxText.h"
#include "settings/Conf.h"
#include "settings/PropertyCatalogue.h"
#include "settings/PropertyIds.h"

namespace Vespra::Wx {

namespace {

/// Sizes in device-independent pixels.
constexpr int MODE_WIDTH = 105;
/// What the mode list takes from its width beside a label, with a little to spare.
constexpr int MODE_LABEL_MARGIN = 40;
constexpr int SENSITIVITY_WIDTH = 40;
constexpr int SENSITIVITY_PRECISION = 3;
constexpr char SENSITIVITY_WIDEST_TEXT[] = "10.000";
/// The spinner picks its own step.
constexpr double AUTOMATIC_STEP = 0.;
const wxSize BUTTON_SIZE(75, 24);
constexpr int BUTTON_ROW_FILL = 60;
/// The explanations break into lines as wide as the settings above them, and no narrower.
constexpr int MIN_TEXT_WIDTH = 240;

constexpr char TITLE[] = "Custom denoise settings";

constexpr char OTHER_ELEMENTS_TEXT[] =
    "The image contains also some other elements that cannot be denoised. These are not listed here.";

constexpr char MISSING_DATA_TEXT[] =
    "The \"High quality\" denoising mode is not available because auxiliary denoising data are "
    "missing. Turn on gathering these data while rendering the image in Vespra Renderer (Render "
    "Setup / Scene / Denoising).";

constexpr char MODE_TOOLTIP[] =
    "There are 2 denoising options available. You can later use the \"Denoise amount\" option to "
    "interactively control strength of their effect.\n\nFireflies only: fast filter that just "
    "removes very bright pixels from the image (created by any source - noise, caustics, sun "
    "reflections, ...).\n\nFull: a more memory and CPU intensive filter that removes all random "
    "noise from the image, creating a noise-free image considerably faster than waiting for the "
    "rendering to converge.";

constexpr char SENSITIVITY_TOOLTIP[] =
    "Controls the blurring radius of the \"High quality\" denoising mode. Increasing the value can "
    "prevent splotches when denoising extremely noisy images, and lowering it can prevent loss of "
    "details, but the default value usually works best.";

/// Widens `window` to at least `width` pixels; the widths above are those of a smaller font
/// than some desktops use.
void widenTo(wxWindow* window, int width) {
    const wxSize size = window->GetSize();
    if (width > size.x) {
        window->SetMinSize(wxSize(width, size.y));
        window->SetSize(wxSize(width, size.y));
    }
}

/// The width at which the mode list shows the longest label whole.
int modeWidthFor(const wxWindow& modeList) {
    int widest = 0;
    for (const DenoisingMode mode :
         {DenoisingMode::FIREFLIES, DenoisingMode::FULL, DenoisingMode::NVIDIA_AI}) {
        widest = std::max(widest, modeList.GetTextExtent(toWx(DenoiseSelectDialog::getModeLabel(mode))).x);
    }
    // The box keeps this much beside its label for the arrow and the margins.
    return widest + scaleByDpi(MODE_LABEL_MARGIN);
}

/// The width at which the radius field shows its largest value whole.
int sensitivityWidthFor(const Spinner& spinner) {
    wxTextCtrl* field = spinner.getTextControl();
    const int needed = field->GetSizeFromTextSize(field->GetTextExtent(SENSITIVITY_WIDEST_TEXT)).x;
    return spinner.GetSize().x + std::max(0, needed - field->GetSize().x);
}

} // namespace

String DenoiseSelectDialog::getModeLabel(DenoisingMode mode) {
    switch (mode) {
    case DenoisingMode::FIREFLIES:
        return u"Firefly removal only";
    case DenoisingMode::FULL:
        return u"High quality";
    case DenoisingMode::NVIDIA_AI:
        return u"Fast preview (NVIDIA)";
    default:
        VESPRA_STOP();
    }
}

DenoiseSelectDialog::DenoiseSelectDialog(wxWindow* parent, const wxPoint& position)
    : ModalDialog(parent, wxID_ANY, TITLE, position, wxDefaultSize, wxCAPTION | wxSYSTEM_MENU | wxCLOSE_BOX) {
    // The skin before the controls, which take their colours from their parents.
    applySkinRecursive(this, activeSkin());
    setVespraIcon(this);
    createControls();
    layoutControls();
    bindEvents();
    updateDenoiseButton();
}

void DenoiseSelectDialog::createControls() {
    elementList = new ItemSelectPanel<ElementInfo>(
        this, [](const ElementInfo& element) { return elementToChannelName(element.name); });
    otherElementsText = new StaticText(this, wxID_ANY, OTHER_ELEMENTS_TEXT);

    modeComboBox = new PropertyComboBox(
        this, settings, PropertyId::DENOISE_FILTER_TYPE, MODE_WIDTH,
        [](const Property& value) { return getModeLabel(DenoisingMode(value.asInt())); });
    modeComboBox->setTooltip(MODE_TOOLTIP);
    widenTo(modeComboBox, modeWidthFor(*modeComboBox));
    sensitivitySpinner = new PropertySpinner<float>(this, settings, PropertyId::DENOISE_SENSITIVITY,
                                                    SENSITIVITY_PRECISION, AUTOMATIC_STEP, SENSITIVITY_WIDTH);
    attachTooltip(sensitivitySpinner, SENSITIVITY_TOOLTIP);
    widenTo(sensitivitySpinner, sensitivityWidthFor(*sensitivitySpinner));
    missingDataText = new StaticText(this, wxID_ANY, MISSING_DATA_TEXT);

    denoiseButton = new AutoSizedButton(this, "Denoise", BUTTON_SIZE, wxID_OK);
    cancelButton = new AutoSizedButton(this, "Cancel", BUTTON_SIZE, wxID_CANCEL);
}

void DenoiseSelectDialog::layoutControls() {
    const int border = wxSizerFlags::GetDefaultBorder();

    auto* grid = new wxFlexGridSizer(2, border, 2 * border);
    grid->AddGrowableCol(0);
    grid->Add(new StaticText(this, wxID_ANY, "Denoise mode:"), 0, wxALIGN_CENTER_VERTICAL);
    grid->Add(modeComboBox, 0, wxALIGN_RIGHT | wxALIGN_CENTER_VERTICAL);
    grid->Add(new StaticText(this, wxID_ANY, "Denoise radius:"), 0, wxALIGN_CENTER_VERTICAL);
    grid->Add(sensitivitySpinner, 0, wxALIGN_RIGHT | wxALIGN_CENTER_VERTICAL);
    const int textWidth = std::max(grid->CalcMin().x, scaleByDpi(MIN_TEXT_WIDTH));
    otherElementsText->Wrap(textWidth);
    missingDataText->Wrap(textWidth);

    auto* gap = new wxPanel(this, wxID_ANY, wxDefaultPosition, wxSize(-1, border));
    gap->SetBackgroundColour(GetBackgroundColour());
    auto* fill = new wxPanel(this, wxID_ANY, wxDefaultPosition, wxSize(scaleByDpi(BUTTON_ROW_FILL), -1));
    fill->SetBackgroundColour(GetBackgroundColour());
    auto* buttonRow = new wxBoxSizer(wxHORIZONTAL);
    buttonRow->Add(fill, 1);
    buttonRow->Add(denoiseButton);
    buttonRow->Add(cancelButton, 0, wxLEFT, border);

    auto* column = new wxBoxSizer(wxVERTICAL);
    column->Add(elementList, 1, wxEXPAND);
    column->Add(otherElementsText, 0, wxEXPAND | wxTOP, border);
    column->Add(new StaticLine(this, wxHORIZONTAL), 0, wxEXPAND | wxTOP | wxBOTTOM, border);
    column->Add(grid, 0, wxEXPAND);
    column->Add(missingDataText, 0, wxEXPAND | wxTOP, border);
    column->Add(gap, 0, wxEXPAND);
    column->Add(buttonRow, 0, wxEXPAND);

    auto* outer = new wxBoxSizer(wxVERTICAL);
    outer->Add(column, 1, wxEXPAND | wxALL, border);
    SetSizerAndFit(outer);
}

void DenoiseSelectDialog::bindEvents() {
    // The buttons carry the standard ids: the dialog's own handling ends it with them.
    elementList->onChange = [this] { updateDenoiseButton(); };
    // The toolkit maps Escape only to its native buttons.
    Bind(wxEVT_CHAR_HOOK, [this](wxKeyEvent& event) {
        if (event.GetKeyCode() == WXK_ESCAPE && !modeComboBox->IsPopupShown()) {
            EndDialog(wxID_CANCEL);
        } else {
            event.Skip();
        }
    });
}

void DenoiseSelectDialog::setElements(Array<ElementInfo> elements, bool allDenoisable) {
    elementList->setItems(std::move(elements), [](const ElementInfo& element) {
        return (element.flags & ElementInfo::SELECTED_FOR_DENOISING) != 0;
    });
    updateDenoiseButton();
    otherElementsText->Show(!allDenoisable);
    refit();
}

void DenoiseSelectDialog::setModes(ArrayView<const DenoisingMode> modes) {
    Array<Property> values(modes.size());
    std::ranges::transform(modes, values.begin(),
                           [](DenoisingMode mode) { return Property(std::int32_t(mode)); });
    modeComboBox->setValues(std::move(values));
    // With notification, so that the dialog's settings hold the mode shown.
    modeComboBox->selectIndex(0, true);
    modeComboBox->Enable(modes.size() >= 2);
    missingDataText->Show(std::ranges::find(modes, DenoisingMode::FULL) == modes.end());
    refit();
}

void DenoiseSelectDialog::copySettingsFrom(const Settings& source) {
    settings.copyFrom(source, Conf::filterOf(PropertyCatalogue::denoisingIds()));
}

Array<ElementInfo> DenoiseSelectDialog::getSelectedElements() const {
    return elementList->getSelected();
}

bool DenoiseSelectDialog::TransferDataFromWindow() {
    // The spinner takes its text as the value on Enter; the event does the same here, as a
    // click on a button leaves the field's focus where it was.
    wxTextCtrl* field = sensitivitySpinner->getTextControl();
    wxCommandEvent enter(wxEVT_TEXT_ENTER, field->GetId());
    enter.SetEventObject(field);
    field->GetEventHandler()->ProcessEvent(enter);
    return wxDialog::TransferDataFromWindow();
}

void DenoiseSelectDialog::updateDenoiseButton() {
    denoiseButton->Enable(elementList->selectedCount() > 0);
}

void DenoiseSelectDialog::refit() {
    // The minimum size too, which the first fit fixed with every text shown.
    GetSizer()->SetSizeHints(this);
    Layout();
}

} // namespace Vespra::Wx
