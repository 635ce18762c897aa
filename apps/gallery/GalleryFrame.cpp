#include "apps/gallery/GalleryFrame.h"

#include <cmath>

#include <wx/app.h>
#include <wx/scrolwin.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>
#include <wx/wrapsizer.h>

#include "gui/widgets/Button.h"
#include "gui/widgets/CheckBox.h"
#include "gui/widgets/CollapsiblePanel.h"
#include "gui/widgets/ColorPickerButton.h"
#include "gui/widgets/ComboBox.h"
#include "gui/widgets/DropdownButton.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/Icons.h"
#include "gui/widgets/ImageSaveSettingsDialog.h"
#include "gui/widgets/MessageDialog.h"
#include "gui/widgets/PixelProbe.h"
#include "gui/widgets/Spinner.h"
#include "gui/widgets/StaticLine.h"
#include "gui/widgets/StaticText.h"
#include "gui/widgets/TextButton.h"
#include "gui/widgets/TextControl.h"
#include "gui/widgets/Tooltip.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/widgets/WxText.h"
#include "gui/windows/ErrorWindow.h"

namespace Vespra::Wx {

namespace {

/// A titled column of the gallery.
wxSizer* section(wxWindow* parent, const wxString& title) {
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(new StaticText(parent, wxID_ANY, title, 0, TEXT_BOLD), 0, wxBOTTOM, scaleByDpi(4));
    sizer->Add(new StaticLine(parent), 0, wxEXPAND | wxBOTTOM, scaleByDpi(8));
    return sizer;
}

/// A label and a control side by side.
void addRow(wxFlexGridSizer* grid, wxWindow* parent, const wxString& label, wxWindow* control) {
    grid->Add(new StaticText(parent, wxID_ANY, label), 0, wxALIGN_CENTER_VERTICAL);
    grid->Add(control, 0, wxALIGN_CENTER_VERTICAL | wxALIGN_RIGHT);
}

wxFlexGridSizer* rowsGrid() {
    auto* grid = new wxFlexGridSizer(2, scaleByDpi(4), scaleByDpi(12));
    grid->AddGrowableCol(0, 1);
    return grid;
}

constexpr const char* TOOLBAR_ICONS[] = {"open", "merge", "save", "save-all", "zoom-in", "zoom-out", "zoom-reset",
                                         "side-panel-shown", "side-panel-hidden"};

} // namespace

GalleryFrame::GalleryFrame() : wxFrame(nullptr, wxID_ANY, "Vespra widget gallery") {
    SetBackgroundColour(activeSkin().background());
    SetForegroundColour(activeSkin().foreground());
    setVespraIcon(this);
    createControls();
}

GalleryFrame::~GalleryFrame() = default;

void GalleryFrame::createControls() {
    auto* panel = new wxPanel(this);
    panel->SetBackgroundColour(activeSkin().background());
    const int border = scaleByDpi(12);
    auto* columns = new wxBoxSizer(wxHORIZONTAL);
    columns->Add(createButtonsSection(panel), 0, wxALL, border);
    columns->Add(createInputsSection(panel), 0, wxALL, border);
    columns->Add(createTextsSection(panel), 1, wxALL | wxEXPAND, border);
    auto* rows = new wxBoxSizer(wxVERTICAL);
    rows->Add(columns, 1, wxEXPAND);
    auto* lower = new wxBoxSizer(wxHORIZONTAL);
    lower->Add(createIconsSection(panel), 0, wxALL, border);
    lower->Add(createDialogsSection(panel), 1, wxALL | wxEXPAND, border);
    rows->Add(lower, 0, wxEXPAND);
    panel->SetSizer(rows);
    auto* frameSizer = new wxBoxSizer(wxVERTICAL);
    frameSizer->Add(panel, 1, wxEXPAND);
    SetSizerAndFit(frameSizer);
}

wxWindow* GalleryFrame::createButtonsSection(wxWindow* parent) {
    auto* box = new wxPanel(parent);
    box->SetBackgroundColour(parent->GetBackgroundColour());
    wxSizer* sizer = section(box, "BUTTONS");
    const GuiSkin& skin = activeSkin();
    const wxSize iconSize(20, 20);
    auto* open = new Button(box, skin, wxID_ANY, "Open", getIcon("toolbar/open", iconSize),
                            getIcon("toolbar/open-pressed", iconSize), nullptr);
    auto* toggle = new Button(box, skin, wxID_ANY, wxEmptyString, getIcon("toolbar/side-panel-shown", iconSize),
                              getIcon("toolbar/side-panel-hidden", iconSize), nullptr, ButtonBehaviour::TOGGLE);
    toggle->setToggled(true);
    auto* disabled = new Button(box, skin, wxID_ANY, "Save all", getIcon("toolbar/save-all", iconSize),
                                getIcon("toolbar/save-all-pressed", iconSize), nullptr);
    disabled->Disable();
    auto* autoSized = new AutoSizedButton(box, "Custom denoise...", wxSize(75, 24));
    attachTooltip(autoSized, "Open a dialog allowing to select which denoisable elements shall be denoised and set "
                           "denoising parameters.");
    auto* dropdown = new DropdownButton(box, skin, {{1, "Reset"}, {2, "Reset All"}}, nullptr);
    auto* link = new TextButton(box, wxID_ANY, "Vespra Renderer Helpdesk.", nullptr);
    for (wxWindow* window : std::initializer_list<wxWindow*>{open, toggle, disabled, autoSized, dropdown, link}) {
        sizer->Add(window, 0, wxBOTTOM, scaleByDpi(8));
    }
    box->SetSizer(sizer);
    return box;
}

wxWindow* GalleryFrame::createInputsSection(wxWindow* parent) {
    auto* box = new wxPanel(parent);
    box->SetBackgroundColour(parent->GetBackgroundColour());
    wxSizer* sizer = section(box, "INPUTS");
    wxFlexGridSizer* grid = rowsGrid();
    auto* exposure = new Spinner(box, wxID_ANY, 60, -20, 20, 0, 3, 0);
    exposure->setValue(1.25, false);
    addRow(grid, box, "Exposure (EV):", exposure);
    auto* temperature = new Spinner(box, wxID_ANY, 60, 2000, 99999, 6500, 0, 1);
    addRow(grid, box, "White balance [K]:", temperature);
    auto* streaks = new Spinner(box, wxID_ANY, 60, 1, 8, 3, 0, 0.2);
    streaks->Disable();
    addRow(grid, box, "Streak count:", streaks);
    auto* tint = new ColorPickerButton(box, "Color tint", wxSize(75, 20));
    tint->setColor(Rgb(0.95f, 0.7f, 0.45f), false);
    addRow(grid, box, "Color tint:", tint);
    auto* curves = new CheckBox(box, wxID_ANY, "Curves:");
    curves->setValue(true, false);
    grid->Add(curves, 0, wxALIGN_CENTER_VERTICAL);
    grid->Add(new AutoSizedButton(box, "Editor...", wxSize(75, 24)), 0, wxALIGN_RIGHT);
    auto* off = new CheckBox(box, wxID_ANY, "Input LUT is in Log color space");
    grid->Add(off, 0, wxALIGN_CENTER_VERTICAL);
    grid->AddSpacer(0);
    sizer->Add(grid, 0, wxEXPAND | wxBOTTOM, scaleByDpi(8));

    auto* elements = new ComboBox(box, wxID_ANY, 200, nullptr);
    elements->setData({{"Bloom and Glare Interactive", 0, ComboBox::SEPARATOR_AFTER | ComboBox::HIGHLIGHTED},
                       {"LightMix Interactive", 1, ComboBox::HIGHLIGHTED},
                       {"BEAUTY", 2, 0},
                       {"Reflection [Denoised]", 3, 0}});
    elements->selectIndex(0, false);
    sizer->Add(elements, 0, wxBOTTOM, scaleByDpi(8));

    auto* collapsible = new CollapsiblePanel(
        box, activeSkin(), "BLOOM AND GLARE",
        [](wxWindow* pane) {
            auto* content = new wxPanel(pane);
            content->SetBackgroundColour(pane->GetBackgroundColour());
            wxFlexGridSizer* rows = rowsGrid();
            addRow(rows, content, "Size:", new Spinner(content, wxID_ANY, 60, 0, 100, 20, 3, 0));
            addRow(rows, content, "Bloom intensity:", new Spinner(content, wxID_ANY, 60, 0, 100000, 1, 3, 0));
            content->SetSizer(rows);
            return content;
        },
        [](wxWindow* header) {
            auto* enable = new CheckBox(header, wxID_ANY, wxEmptyString);
            enable->setValue(true, false);
            return enable;
        });
    sizer->Add(collapsible, 0, wxEXPAND | wxBOTTOM, scaleByDpi(4));
    sizer->Add(new CollapsiblePanel(
                   box, activeSkin(), "SHARPENING/BLURRING",
                   [](wxWindow* pane) { return new StaticText(pane, wxID_ANY, "(collapsed)"); },
                   [](wxWindow* header) { return new CheckBox(header, wxID_ANY, wxEmptyString); }, true),
               0, wxEXPAND);
    box->SetSizer(sizer);
    return box;
}

wxWindow* GalleryFrame::createTextsSection(wxWindow* parent) {
    auto* box = new wxPanel(parent);
    box->SetBackgroundColour(parent->GetBackgroundColour());
    wxSizer* sizer = section(box, "TEXTS");
    sizer->Add(new StaticText(box, wxID_ANY, "Normal label"), 0, wxBOTTOM, scaleByDpi(4));
    sizer->Add(new StaticText(box, wxID_ANY, "Dimmed label", 0, TEXT_DIMMED), 0, wxBOTTOM, scaleByDpi(4));
    sizer->Add(new StaticText(box, wxID_ANY, "Accent label", 0, TEXT_ACCENT), 0, wxBOTTOM, scaleByDpi(4));
    auto* wrapped = new StaticText(box, wxID_ANY,
                                   "Denoising is not possible because auxiliary denoising data are missing. Turn on "
                                   "gathering these data while rendering the image in Vespra Renderer (Render Setup / "
                                   "Scene / Denoising).");
    wrapped->Wrap(scaleByDpi(220));
    sizer->Add(wrapped, 0, wxBOTTOM, scaleByDpi(8));
    sizer->Add(new TextControl(box, wxID_ANY, "An editable text field"), 0, wxEXPAND | wxBOTTOM, scaleByDpi(8));
    sizer->Add(new StaticLine(box), 0, wxEXPAND | wxBOTTOM, scaleByDpi(8));

    probeArea = new wxPanel(box, wxID_ANY, wxDefaultPosition, scaleByDpi(wxSize(220, 60)));
    probeArea->SetBackgroundColour(activeSkin().get(GuiSkin::IMAGE_BACKGROUND));
    sizer->Add(new StaticText(box, wxID_ANY, "Right-click below for the pixel probe:", 0, TEXT_DIMMED), 0,
               wxBOTTOM, scaleByDpi(4));
    sizer->Add(probeArea, 0, wxEXPAND);
    probe = new PixelProbe(
        probeArea,
        [this](const wxPoint& screenPoint) -> Optional<PixelProbe::ProbedPixel> {
            const wxPoint point = probeArea->ScreenToClient(screenPoint);
            if (!probeArea->GetClientRect().Contains(point)) {
                return {};
            }
            const float x = float(point.x) / float(probeArea->GetClientSize().x);
            return PixelProbe::ProbedPixel{Rgb(4.f * x, 1.5f, 0.25f, 1.f), Rgb(std::min(x * 2.f, 1.f), 0.9f, 0.4f),
                                           1.f, Pixel{point.x, point.y}};
        },
        "ERROR: The pixel contains NaN (Not a Number) value.");
    probeArea->Bind(wxEVT_RIGHT_DOWN, [this](wxMouseEvent& event) {
        probe->updatePosition(probeArea->ClientToScreen(event.GetPosition()));
    });
    probeArea->Bind(wxEVT_RIGHT_UP, [this](wxMouseEvent&) { probe->Hide(); });
    box->SetSizer(sizer);
    return box;
}

wxWindow* GalleryFrame::createIconsSection(wxWindow* parent) {
    auto* box = new wxPanel(parent);
    box->SetBackgroundColour(parent->GetBackgroundColour());
    wxSizer* sizer = section(box, "ICONS");
    auto* grid = new wxGridSizer(int(std::size(TOOLBAR_ICONS)), scaleByDpi(6), scaleByDpi(10));
    for (const bool pressed : {false, true}) {
        for (const char* name : TOOLBAR_ICONS) {
            const std::string path = std::string("toolbar/") + name + (pressed ? "-pressed" : "");
            grid->Add(new wxStaticBitmap(box, wxID_ANY, getIcon(path, wxSize(24, 24))));
        }
    }
    sizer->Add(grid);
    auto* others = new wxBoxSizer(wxHORIZONTAL);
    for (const char* name : {"error", "warning", "information", "question", "copy", "clear"}) {
        others->Add(new wxStaticBitmap(box, wxID_ANY, getIcon(name, wxSize(24, 24))), 0, wxRIGHT | wxTOP,
                    scaleByDpi(10));
    }
    others->Add(new wxStaticBitmap(box, wxID_ANY, getIcon("vespra", wxSize(48, 48))), 0, wxLEFT | wxTOP,
                scaleByDpi(10));
    sizer->Add(others);
    box->SetSizer(sizer);
    return box;
}

wxWindow* GalleryFrame::createDialogsSection(wxWindow* parent) {
    auto* box = new wxPanel(parent);
    box->SetBackgroundColour(parent->GetBackgroundColour());
    wxSizer* sizer = section(box, "DIALOGS");
    auto* buttons = new wxWrapSizer(wxHORIZONTAL);
    const auto add = [&](const wxString& label, Function<void()> action) {
        auto* button = new AutoSizedButton(box, label, wxSize(75, 24));
        button->onClick = std::move(action);
        buttons->Add(button, 0, wxRIGHT | wxBOTTOM, scaleByDpi(6));
    };
    add("Prompt", [this] {
        const MessageDialogButton go(u"Discard current", {301});
        const MessageDialogButton stay(u"Keep current", {302});
        const MessageDialogControl* controls[] = {&MessageDialogControl::FRAME_ICON,
                                                  &MessageDialogControl::FRAME_CLOSE,
                                                  &MessageDialogControl::OUTSIDE_CLOSE, &go, &stay};
        Detail::showMessageDialogImpl(
            this, u"Vespra Image Editor",
            u"Do you want to open a new image?\nUnsaved changes to the current image will be lost.",
            MessageDialogIcon::QUESTION, controls);
    });
    add("Error message", [this] {
        showOkDialog(this, u"Vespra Image Editor", u"Image cannot be saved. The folder does not exist.",
                     MessageDialogIcon::ERROR_ICON);
    });
    for (const ImageFormat format : {ImageFormat::PNG, ImageFormat::JPEG, ImageFormat::TIFF, ImageFormat::EXR}) {
        add(toWx(getImageFormatExtension(format).toUpperCase()) + " settings...",
            [this, format] { ImageSaveSettingsDialog::requestSettingsFromUser(this, format, nullptr); });
    }
    add("Error window", [this] { showErrorWindowSample(); });
    sizer->Add(buttons, 1, wxEXPAND);
    box->SetSizer(sizer);
    return box;
}

SharedPtr<ErrorWindow> GalleryFrame::showErrorWindowSample() {
    if (!errorWindow) {
        errorWindow = ErrorWindow::create();
    }
    errorWindow->addMessage({u"The LUT file \"warm.cube\" could not be read: the table has 35936 entries, 35937 "
                             u"expected.",
                             IErrorWindow::WARNING_KIND, 12});
    errorWindow->addMessage({u"An internal error occurred: wxWidgets Assertion failure. Please report this problem "
                             u"to us.",
                             IErrorWindow::ERROR_KIND, 2010, u"More about it: ", u"Vespra Renderer Helpdesk",
                             ErrorWindow::getHelpdeskUrl(2010)});
    return errorWindow;
}

void GalleryFrame::showProbeSample() {
    probe->updatePosition(probeArea->ClientToScreen(wxPoint(probeArea->GetClientSize().x / 8, 4)));
}

} // namespace Vespra::Wx
