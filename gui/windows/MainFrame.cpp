#include "gui/windows/MainFrame.h"

#include <cmath>

#include <fmt/format.h>
#include <wx/display.h>
#include <wx/dnd.h>
#include <wx/settings.h>
#include <wx/sizer.h>

#include "base/image/ElementNames.h"
#include "foundation/Exception.h"
#include "foundation/RegExp.h"
#include "foundation/SystemInfo.h"
#include "foundation/image/ImageFormat.h"
#include "foundation/io/Files.h"
#include "gui/LastDirectory.h"
#include "gui/curves/PropertyCurvesEditor.h"
#include "gui/widgets/ApplicationTexts.h"
#include "gui/widgets/AuiSkin.h"
#include "gui/widgets/Button.h"
#include "gui/widgets/CollapsiblePanel.h"
#include "gui/widgets/Icons.h"
#include "gui/widgets/LibWx.h"
#include "gui/widgets/MessageDialog.h"
#include "gui/widgets/Tooltip.h"
#include "gui/widgets/WindowUtils.h"
#include "gui/widgets/WxText.h"
#include "gui/windows/DrawPanel.h"
#include "gui/windows/ColorMapPanel.h"
#include "gui/windows/DenoisePanel.h"
#include "gui/windows/DenoiseSelectDialog.h"
#include "gui/windows/ElementComboBox.h"
#include "gui/windows/LightMixPanel.h"
#include "gui/windows/PostprocessPanel.h"
#include "gui/windows/ProgressDialog.h"
#include "settings/Conf.h"
#include "settings/PropertyCatalogue.h"
#include "settings/PropertyIds.h"
#include "settings/ValidatingSettings.h"

namespace Vespra::Wx {

namespace {

/// Bursts of state changes set the title once.
constexpr int TITLE_DELAY_MS = 333;
/// A drop is answered once the drag source has let go, so that no modal dialog runs inside it.
constexpr int DROP_DELAY_MS = 50;
constexpr int SIDE_PANEL_WIDTH = 235;
constexpr int ELEMENT_LIST_WIDTH = 200;
constexpr int TEXT_BUTTON_MIN_WIDTH = 65;
const wxSize TOOLBAR_ICON_SIZE(16, 16);
/// The notebook's style: tabs on top, which the user may reorder.
constexpr long NOTEBOOK_STYLE = wxAUI_NB_TOP | wxAUI_NB_TAB_MOVE;
constexpr int WHEEL_SCROLL_LINES = 4;
constexpr int KEY_SCROLL_UNITS = 10;

/// Where the progress of a denoise shows, from the image's top-left corner.
const wxPoint PROGRESS_OFFSET(15, 15);
/// How far above "Custom denoise..." its dialog starts.
constexpr int CUSTOM_DENOISE_RISE = 70;

/// Where the curves editor opens, from the top-left corner of "Editor...".
const wxPoint CURVES_EDITOR_OFFSET(90, -250);

/// Ids of the prompts' buttons: the index of the button, with the one that goes on second.
constexpr int STAY_BUTTON = 1;
constexpr int GO_ON_BUTTON = 2;

const String& openPromptText() {
    static const String text =
        u"Do you want to open a new image?\nUnsaved changes to the current image will be lost.";
    return text;
}

const String& mergePromptText() {
    static const String text =
        u"Do you want to merge multiple images?\nUnsaved changes to the current image will be lost.";
    return text;
}

const String& dropPromptText() {
    static const String text =
        u"Do you want to open the dropped image?\nUnsaved changes to the current image will be lost.";
    return text;
}

const String& resetPromptText() {
    static const String text = u"Are you sure you want to reset all Post settings to image defaults?";
    return text;
}

const String& closePromptText() {
    static const String text = u"Do you want to exit the editor?\nUnsaved changes to the image will be lost.";
    return text;
}

struct ButtonDescription {
    const char* label;
    const char* icon;
    const char* tooltip;
};

constexpr ButtonDescription BUTTON_DESCRIPTIONS[] = {
    {"Open", "toolbar/open", "Open a single image."},
    {"Merge", "toolbar/merge", "Merge multiple images produced by Distributed Rendering (DR) render nodes."},
    {"Save", "toolbar/save",
     "Save the currently displayed element. In the case of the Vespra EXR format, save the whole image and all "
     "its settings."},
    {"Save all", "toolbar/save-all", "Save all displayable elements into separate files."},
    {"", "toolbar/zoom-in", "Zoom in."},
    {"", "toolbar/zoom-out", "Zoom out."},
    {"", "toolbar/zoom-reset", "Reset zoom."},
    {"", "toolbar/side-panel-shown", "Toggle visibility of the side panel."},
};

wxBitmapBundle toolbarIcon(const String& name, bool pressed) {
    return getIcon((name + (pressed ? u"-pressed" : u"")).toUtf8(), TOOLBAR_ICON_SIZE);
}

/// The ids of the display chain: a change repaints.
Stack<std::int32_t> displayChainIds() {
    Stack<std::int32_t> ids;
    ids.pushAll(PropertyCatalogue::toneMappingIds());
    ids.pushAll(PropertyCatalogue::sharpeningBlurringIds());
    return ids;
}

bool isCurveId(std::int32_t id) {
    return id >= PropertyId::CURVES_ENABLE && id <= PropertyId::CURVES_BLUE_INTERPOLATION;
}

/// "1:1" at level 0, "4:1" at 2, "1:4" at -2.
std::string zoomText(int level) {
    return level >= 0 ? fmt::format("{}:1", 1 << level) : fmt::format("1:{}", 1 << -level);
}

} // namespace

/// Takes one dropped file and asks, once the drag is over, whether to open it.
class MainFrame::LoadDropTarget : public wxFileDropTarget {
public:
    explicit LoadDropTarget(MainFrame* frame) : frame(frame) { SetDefaultAction(wxDragCopy); }

    bool OnDropFiles(wxCoord, wxCoord, const wxArrayString& files) override {
        if (files.size() != 1 || files[0].empty()) {
            return false;
        }
        const Io::Path path(fromWx(files[0]));
        callback.cancel();
        callback = [frame = frame, path] { frame->askOpenDropped(path); };
        callback.scheduleDelayed(DROP_DELAY_MS);
        return true;
    }

private:
    MainFrame* frame;
    DelayedCallback callback;
};

MainFrame::MainFrame(wxWindow* parent, SharedPtr<Settings> settings, Pipeline::OperatorGraph& graph)
    : PassToMainThreadMixin<wxFrame>(parent, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize,
                                     wxDEFAULT_FRAME_STYLE),
      settings(std::move(settings)), graph(graph), auiManager(this, activeSkin()) {
    SetMinSize(scaleByDpi(wxSize(720, 405)));
    SetBackgroundColour(activeSkin().background());
    setVespraIcon(this);
    titleCallback = [this] { updateTitle(); };
    curvesCallback = [this] {
        if (curvesEditor) {
            curvesEditor->reloadHistogram();
        }
    };
    createToolbar();
    createPanes();
    bindEvents();
    bindWheelRedirect(this);
    registerOperatorCallbacks();
    registerSettingsListeners();
    SetDropTarget(new LoadDropTarget(this));
    progressDialog = new ProgressDialog(this);
    progressDialog->setOnCancel([this] { this->graph.denoise.cancel(); });
    fitSidePanel();
    fitMinimumSize();
    updateState();
    updateTitle();
}

MainFrame::~MainFrame() {
    // The operators outlive the frame: their callbacks must not reach it any more.
    for (auto* op : std::initializer_list<Pipeline::ProgressMixin<Pipeline::IOperator>*>{
             &graph.load, &graph.saveVxr, &graph.saveSeparate, &graph.denoise, &graph.bloomGlare}) {
        op->onStarted = nullptr;
        op->onProgress = nullptr;
        op->onFinished = nullptr;
        op->onWarning = nullptr;
        op->onError = nullptr;
    }
    auiManager.UnInit();
}

void MainFrame::createToolbar() {
    toolbar = new wxPanel(this);
    toolbar->SetBackgroundColour(activeSkin().background());
    auto* sizer = new wxBoxSizer(wxHORIZONTAL);
    const int border = wxSizerFlags::GetDefaultBorder();
    const Function<void()> actions[] = {
        [this] { askOpen(); },
        [this] { askMerge(); },
        [this] { save(SaveMode::CURRENT_ELEMENT); },
        [this] { save(SaveMode::ALL_ELEMENTS); },
        [this] { drawPanel->zoomIn(); },
        [this] { drawPanel->zoomOut(); },
        [this] { drawPanel->setZoom(0); },
        [this] { toggleSidePanel(); },
    };
    for (std::size_t i = 0; i < buttons.size(); ++i) {
        const ButtonDescription& description = BUTTON_DESCRIPTIONS[i];
        const bool labelled = *description.label != 0;
        auto* button = new AutoSizedButton(toolbar, description.label,
                                           wxSize(labelled ? TEXT_BUTTON_MIN_WIDTH : 0, 24));
        button->setBitmaps(toolbarIcon(String::fromUtf8(description.icon), false),
                           toolbarIcon(String::fromUtf8(description.icon), true));
        button->onClick = actions[i];
        attachTooltip(button, description.tooltip);
        buttons[i] = button;
    }
    elementComboBox = new ElementComboBox(toolbar, ELEMENT_LIST_WIDTH, [this] { onElementSelected(); });
    attachTooltip(elementComboBox, "Selects an element to be displayed.");

    const auto add = [sizer](wxWindow* window, int proportion, int flags, int borderWidth) {
        sizer->Add(window, proportion, flags | wxALIGN_CENTER_VERTICAL, borderWidth);
    };
    add(getButton(ToolbarButton::OPEN), 0, wxLEFT, border / 2);
    add(getButton(ToolbarButton::MERGE), 0, 0, 0);
    add(getButton(ToolbarButton::SAVE), 0, 0, 0);
    add(getButton(ToolbarButton::SAVE_ALL), 0, 0, 0);
    add(elementComboBox, 0, wxLEFT | wxRIGHT, 3 * border);
    sizer->Add(new wxPanel(toolbar), 1, wxEXPAND);
    add(getButton(ToolbarButton::ZOOM_IN), 0, 0, 0);
    add(getButton(ToolbarButton::ZOOM_OUT), 0, 0, 0);
    add(getButton(ToolbarButton::RESET_ZOOM), 0, wxRIGHT, border);
    add(getButton(ToolbarButton::SIDE_PANEL), 0, wxRIGHT, border / 2);
    sizer->SetMinSize(wxSize(-1, getButton(ToolbarButton::OPEN)->GetMinSize().y + border));
    toolbar->SetSizerAndFit(sizer);
}

void MainFrame::createPanes() {
    drawPanel = new DrawPanel(this);
    drawPanel->onZoomChanged = [this] { updateState(); };
    notebook = new AuiNotebook(this, activeSkin(), NOTEBOOK_STYLE);
    createSidePages();

    auiManager.AddPane(drawPanel, wxAuiPaneInfo().Name("image").CenterPane().CaptionVisible(false).PaneBorder(false));
    auiManager.AddPane(notebook, wxAuiPaneInfo()
                                     .Name("side")
                                     .Right()
                                     .TopDockable(false)
                                     .BottomDockable(false)
                                     .CaptionVisible(false)
                                     .PaneBorder(false)
                                     .DockFixed()
                                     .Resizable(false)
                                     .Gripper(false));
    auiManager.AddPane(toolbar, wxAuiPaneInfo()
                                    .Name("toolbar")
                                    .ToolbarPane()
                                    .Top()
                                    .Gripper(false)
                                    .CaptionVisible(false)
                                    .PaneBorder(false)
                                    .Movable(false)
                                    .Floatable(false)
                                    .BestSize(toolbar->GetBestSize()));
}

void MainFrame::createSidePages() {
    postPanel = new PostprocessPanel(notebook, *settings, fileDialogs);
    postPanel->setOnSave([this] { saveSettings(PropertyCatalogue::postProcessingIds(), u"Save Post settings as"); });
    postPanel->setOnLoad(
        [this] { loadSettings(PropertyCatalogue::postProcessingIds(), u"Select Post settings to load"); });
    postPanel->setOnReset([this] { askResetPost(); });
    postPanel->getColorMapPanel()->setOnCurvesEditor([this] { showCurvesEditor(); });
    postPanel->getDenoisePanel()->setOnDenoise([this] { denoise(); });
    postPanel->getDenoisePanel()->setOnCustomDenoise([this] { customDenoise(); });
    lightMixPanel = new LightMixPanel(notebook, *settings);
    lightMixPanel->setOnSave([this] { saveSettings(PropertyCatalogue::lightMixIds(), u"Save LightMix settings as"); });
    lightMixPanel->setOnLoad(
        [this] { loadSettings(PropertyCatalogue::lightMixIds(), u"Select LightMix settings to load"); });
    notebook->AddPage(postPanel, "Post");
    notebook->AddPage(lightMixPanel, "LightMix");
}

void MainFrame::fitSidePanel() {
    int height = 0;
    // Never narrower than the pages' columns, which the desktop's fonts may widen, with room for
    // a vertical scroll bar.
    int width = scaleByDpi(SIDE_PANEL_WIDTH);
    for (wxWindow* page : std::initializer_list<wxWindow*>{postPanel, lightMixPanel}) {
        page->Fit();
        height = std::max(height, page->GetVirtualSize().y);
        width = std::max(width, page->GetBestVirtualSize().x + wxSystemSettings::GetMetric(wxSYS_VSCROLL_X, page));
    }
    wxAuiPaneInfo& pane = auiManager.GetPane(notebook);
    pane.BestSize(width, height + notebook->GetTabCtrlHeight());
    auiManager.Update();
}

void MainFrame::bindEvents() {
    Bind(wxEVT_CLOSE_WINDOW, &MainFrame::onClose, this);
    Bind(wxEVT_CHAR_HOOK, &MainFrame::onCharHook, this);
    Bind(wxEVT_COLLAPSIBLEPANE_CHANGED, [this](wxCommandEvent& event) {
        event.Skip();
        fitSidePanel();
    });
    Bind(wxEVT_AUI_PANE_CLOSE, [this](wxAuiManagerEvent& event) {
        if (event.GetPane() && event.GetPane()->window == notebook) {
            event.Veto();
            toggleSidePanel();
        }
    });
    Bind(wxEVT_LEFT_DCLICK, [this](wxMouseEvent&) { fitToImage(); });
}

void MainFrame::bindWheelRedirect(wxWindow* window) {
    window->Bind(wxEVT_MOUSEWHEEL, &MainFrame::onWheel, this);
    window->Bind(wxEVT_MAGNIFY, &MainFrame::onWheel, this);
    for (wxWindow* child : window->GetChildren()) {
        if (!child->IsTopLevel()) {
            bindWheelRedirect(child);
        }
    }
}

void MainFrame::onWheel(wxMouseEvent& event) {
    // The redirected event comes back here through the handlers of the window it goes to.
    static bool redirecting = false;
    if (redirecting) {
        event.Skip();
        return;
    }
    redirecting = true;
    const wxPoint screenPoint = wxGetMousePosition();
    for (wxWindow* window = findWindowByPosition(this, screenPoint); window; window = window->GetParent()) {
        if (event.GetEventType() == wxEVT_MOUSEWHEEL && window->HasScrollbar(wxVERTICAL) &&
            window->GetScrollThumb(wxVERTICAL) < window->GetScrollRange(wxVERTICAL)) {
            window->ScrollLines(event.GetWheelRotation() > 0 ? -WHEEL_SCROLL_LINES : WHEEL_SCROLL_LINES);
            break;
        }
        wxMouseEvent redirected(event);
        redirected.SetEventObject(window);
        redirected.SetPosition(window->ScreenToClient(screenPoint));
        if (window->GetEventHandler()->ProcessEventLocally(redirected) || window == this) {
            break;
        }
    }
    redirecting = false;
}

void MainFrame::registerOperatorCallbacks() {
    graph.load.onStarted = wrap<const String&>([this](const String&) { onLoadStarted(); });
    graph.load.onWarning = wrap<const String&>([this](const String& text) { onLoadWarning(text); });
    graph.load.onFinished = wrap<const String&>([this](const String&) { onLoadFinished(); });
    graph.load.onError = wrap<const String&>([this](const String& text) { onLoadFailed(text); });
    for (auto* saver : std::initializer_list<Pipeline::ProgressMixin<Pipeline::IOperator>*>{&graph.saveVxr,
                                                                                          &graph.saveSeparate}) {
        saver->onStarted = wrap<const String&>([this](const String&) { onSaveStarted(); });
        saver->onFinished = wrap<const String&>([this](const String&) { onSaveFinished(); });
        saver->onError = wrap<const String&>([this](const String& text) { onSaveFailed(text); });
    }
    graph.denoise.onStarted = wrap<const String&>([this](const String& text) { onDenoiseStarted(text); });
    graph.denoise.onProgress = wrap<float>([this](float fraction) { progressDialog->setProgress(fraction); });
    graph.denoise.onFinished = wrap<const String&>([this](const String&) { onDenoiseFinished(); });
    graph.denoise.onError = wrap<const String&>([this](const String& text) { onDenoiseFailed(text); });
    // The light of bloom and glare is computed apart from the pulls: its end shows it.
    graph.bloomGlare.onFinished = wrap<const String&>([this](const String&) { drawPanel->repaint(); });
    graph.bloomGlare.onError = wrap<const String&>([this](const String& text) { showError(text); });
}

void MainFrame::listen(ArrayView<const std::int32_t> ids, Function<void(std::int32_t, const Property&)> action) {
    const SharedPtr<SettingsListener> listener = wrapListener(std::move(action));
    for (const std::int32_t id : ids) {
        settings->addListener(id, listener);
    }
    listeners.push(listener);
}

void MainFrame::registerSettingsListeners() {
    listen(PropertyCatalogue::allImageIds(), [this](std::int32_t, const Property&) { markModified(); });
    listen(displayChainIds().view(), [this](std::int32_t id, const Property&) {
        // The curves editor's histogram is of the picture before the curves: their own changes
        // leave it.
        if (isCurveId(id)) {
            drawPanel->repaint();
        } else {
            onPictureChanged();
        }
    });
    const std::int32_t curvesEnable[] = {PropertyId::CURVES_ENABLE};
    listen(curvesEnable, [this](std::int32_t, const Property& value) {
        if (!value.asBool() && curvesEditor) {
            curvesEditor->Hide();
        }
    });
    listen(PropertyCatalogue::bloomGlareIds(), [this](std::int32_t, const Property&) {
        restartBloomGlare();
        onPictureChanged();
    });
    listen(PropertyCatalogue::lightMixIds(), [this](std::int32_t, const Property&) { onLightMixChanged(); });
    const std::int32_t blendAmount[] = {PropertyId::DENOISE_BLEND_AMOUNT};
    listen(blendAmount, [this](std::int32_t, const Property&) { onPictureChanged(); });
}

void MainFrame::markModified() {
    if (hasFlag(IMAGE_OPEN) && !hasFlag(MODIFIED) && !hasFlag(LOADING)) {
        setFlag(MODIFIED, true);
    }
}

void MainFrame::onPictureChanged() {
    scheduleCurvesRefresh();
    drawPanel->repaint();
}

void MainFrame::scheduleCurvesRefresh() {
    if (curvesEditor && !curvesCallback.isPending()) {
        curvesCallback.scheduleDelayed(TITLE_DELAY_MS);
    }
}

void MainFrame::showCurvesEditor() {
    if (!curvesEditor) {
        curvesEditor = new PropertyCurvesEditor(*this, *settings, graph);
        curvesEditor->Bind(wxEVT_DESTROY, [this](wxWindowDestroyEvent& event) {
            if (event.GetEventObject() == curvesEditor) {
                curvesEditor = nullptr;
            }
            event.Skip();
        });
        const wxWindow* button = postPanel->getColorMapPanel()->getCurvesEditorButton();
        smartPositionWindow(curvesEditor, button->GetScreenPosition() + CURVES_EDITOR_OFFSET);
    }
    curvesEditor->Show();
    curvesEditor->Raise();
}

void MainFrame::restartBloomGlare() {
    if (hasFlag(IMAGE_OPEN)) {
        graph.bloomGlare.setSourceElement(selectedElementName());
    }
}

void MainFrame::onLightMixChanged() {
    // A load sets the mix of the image it reads; what it shows is chosen when it ends.
    if (!hasFlag(IMAGE_OPEN) || hasFlag(LOADING)) {
        return;
    }
    if (selectedElementName() == LIGHT_MIX_INTERACTIVE_NAME) {
        restartBloomGlare();
        onPictureChanged();
    } else {
        elementComboBox->selectName(LIGHT_MIX_INTERACTIVE_NAME, true);
    }
}

void MainFrame::onElementSelected() {
    graph.bloomGlare.setSourceElement(selectedElementName());
    onPictureChanged();
}

String MainFrame::selectedElementName() const {
    return elementComboBox->currentName();
}

Optional<ElementInfo> MainFrame::elementOrDefault(ArrayView<const ElementInfo> elements, const String& name) {
    for (const String& wanted : {name, String(BLOOM_GLARE_INTERACTIVE_NAME)}) {
        for (const ElementInfo& element : elements) {
            if (element.name == wanted) {
                return element;
            }
        }
    }
    return std::nullopt;
}

Optional<Pipeline::ColorBitmap> MainFrame::pullDisplayed(Pipeline::IOperator* source, const Bucket& region,
                                                         float scale, std::uint32_t flags) const {
    return Pipeline::pullColorBitmap(source, selectedElementName(), region, scale, flags);
}

// State and title

void MainFrame::setFlag(StateFlag flag, bool value) {
    state = value ? state | flag : state & ~std::uint32_t(flag);
    updateState();
}

void MainFrame::updateState() {
    const bool open = hasFlag(IMAGE_OPEN);
    for (wxWindow* window : std::initializer_list<wxWindow*>{
             postPanel, lightMixPanel, getButton(ToolbarButton::SAVE), getButton(ToolbarButton::SAVE_ALL),
             elementComboBox, getButton(ToolbarButton::ZOOM_IN), getButton(ToolbarButton::ZOOM_OUT),
             getButton(ToolbarButton::RESET_ZOOM)}) {
        window->Enable(open);
    }
    // A running denoise keeps its buttons off until it ends.
    if (progressDialog && progressDialog->IsShown()) {
        postPanel->getDenoisePanel()->Enable(false);
    }
    if (!titleCallback.isPending()) {
        titleCallback.scheduleDelayed(TITLE_DELAY_MS);
    }
}

void MainFrame::updateTitle() {
    Stack<std::string> status;
    if (hasFlag(LOADING)) {
        status.push("loading ...");
    }
    if (hasFlag(SAVING)) {
        status.push("saving ...");
    }
    if (hasFlag(IMAGE_OPEN) && !hasFlag(LOADING) && !hasFlag(SAVING)) {
        const std::string suffix = hasFlag(MODIFIED) ? " *" : "";
        const Array<Io::Path> paths = graph.load.getInputPaths();
        if (paths.size() == 1) {
            status.push(paths[0].nativeStr().toUtf8() + suffix);
        } else if (paths.size() > 1) {
            status.push(fmt::format("{} [and {} more]{}", paths[0].nativeStr().toUtf8(), paths.size() - 1, suffix));
        }
        const Pixel size = drawPanel->getImageSize();
        if (size.x >= 1 && size.y >= 1) {
            status.push(fmt::format("{}x{}px", size.x, size.y));
            status.push(zoomText(drawPanel->getZoomLevel()));
        }
    }
    std::string title = fmt::format("{} {}", ApplicationTexts::TITLE.toUtf8(), Utils::getLibVersion().toUtf8());
    if (!status.empty()) {
        title += fmt::format(" ({})", fmt::join(status, ", "));
    }
    SetTitle(wxString::FromUTF8(title));
}

// Prompts and dialogs

bool MainFrame::ask(const String& message, const String& goOn, const String& stay) {
    const MessageDialogButton goOnButton(goOn, {GO_ON_BUTTON});
    const MessageDialogButton stayButton(stay, {STAY_BUTTON, wxID_CANCEL});
    const MessageDialogControl* controls[] = {&MessageDialogControl::FRAME_ICON, &MessageDialogControl::FRAME_CLOSE,
                                              &MessageDialogControl::OUTSIDE_CLOSE, &goOnButton, &stayButton};
    MessageDialog dialog;
    dialog.create(this, ApplicationTexts::TITLE, message, MessageDialogIcon::QUESTION, controls);
    smartPositionWindow(&dialog, drawPanel->GetScreenRect().GetPosition() +
                                     wxPoint(drawPanel->GetSize().x / 2, drawPanel->GetSize().y / 2));
    busyDialog = &dialog;
    const int answer = dialog.ShowModal();
    busyDialog = nullptr;
    return answer == GO_ON_BUTTON;
}

void MainFrame::showBusy(const String& text) {
    if (busyDialog) {
        return;
    }
    const MessageDialogControl* controls[] = {&MessageDialogControl::OUTSIDE_CLOSE};
    MessageDialog dialog;
    dialog.create(this, String(), text, MessageDialogIcon::INFORMATION, controls);
    const wxRect panel = drawPanel->GetScreenRect();
    dialog.Move(panel.x + (panel.width - dialog.GetSize().x) / 2, panel.y + (panel.height - dialog.GetSize().y) / 2);
    busyDialog = &dialog;
    dialog.ShowModal();
    busyDialog = nullptr;
}

void MainFrame::closeBusy() {
    if (busyDialog && busyDialog->IsModal()) {
        busyDialog->EndModal(MessageDialogControl::OUTSIDE_CLOSE.getId());
    }
}

void MainFrame::showError(const String& text) {
    if (!text.isEmpty()) {
        showOkDialog(this, ApplicationTexts::TITLE, text, MessageDialogIcon::ERROR_ICON);
    }
}

void MainFrame::askOpen() {
    if (!hasFlag(MODIFIED) || ask(openPromptText(), u"Discard current", u"Keep current")) {
        openDialog();
    }
}

void MainFrame::askMerge() {
    if (!hasFlag(MODIFIED) || ask(mergePromptText(), u"Discard current", u"Keep current")) {
        mergeDialog();
    }
}

void MainFrame::askOpenDropped(const Io::Path& path) {
    if (!hasFlag(MODIFIED) || ask(dropPromptText(), u"Discard current", u"Keep current")) {
        openImages({path});
    }
}

void MainFrame::askResetPost() {
    if (!hasFlag(IMAGE_OPEN) || !ask(resetPromptText(), u"Reset settings", u"Keep settings")) {
        return;
    }
    const ArrayView<const std::int32_t> ids = PropertyCatalogue::postProcessingIds();
    if (ids.empty()) {
        return;
    }
    drawPanel->Freeze();
    graph.load.readSettingsFromImage(ids);
    LibWx::processAllPendingEvents();
    drawPanel->Thaw();
}

void MainFrame::onClose(wxCloseEvent& event) {
    // A load or a save runs its busy dialog on this frame: it ends first.
    if (event.CanVeto() && busyDialog) {
        event.Veto();
        return;
    }
    if (event.CanVeto() && hasFlag(MODIFIED) && !ask(closePromptText(), u"Exit without saving", u"Keep playing")) {
        event.Veto();
        return;
    }
    Destroy();
}

// Opening

void MainFrame::openDialog() {
    const Io::Path path = fileDialogs.open(this, u"Select a single image to open", ApplicationTexts::IMAGE_FILE_FILTER,
                                           lastDirectoryPath());
    if (!path.isEmpty()) {
        openImages({path});
    }
}

void MainFrame::mergeDialog() {
    Stack<Io::Path> paths = fileDialogs.openMany(this, u"Select multiple images to merge",
                                                 ApplicationTexts::IMAGE_FILE_FILTER, lastDirectoryPath());
    if (!paths.empty()) {
        openImages(Array<Io::Path>(std::move(paths)));
    }
}

void MainFrame::openImages(Array<Io::Path> paths) {
    if (paths.empty()) {
        return;
    }
    const Io::Path first = paths[0];
    graph.load.setInput({}, std::move(paths));
    rememberLastDirectory(first);
}

void MainFrame::onLoadStarted() {
    drawPanel->Freeze();
    setFlag(LOADING, true);
    loadProblems = String();
    showBusy(u"Loading image.");
}

void MainFrame::onLoadWarning(const String& text) {
    if (!loadProblems.isEmpty()) {
        loadProblems += u"\n\n";
    }
    loadProblems += text;
}

void MainFrame::onLoadFinished() {
    const Bucket window = graph.zoom.getDisplayWindow();
    drawPanel->setImage(
        window.size(),
        [this](const Bucket& region, float scale, std::uint32_t flags) {
            return pullDisplayed(&graph.blendBloomGlare, region, scale, flags);
        },
        [this](const Bucket& region, float scale, std::uint32_t flags) {
            return pullDisplayed(&graph.zoom, region, scale, flags);
        });
    refreshElements();
    LibWx::processAllPendingEvents();
    elementComboBox->selectName(BLOOM_GLARE_INTERACTIVE_NAME, true);
    if (!IsMaximized()) {
        fitToImage();
    }
    drawPanel->Thaw();
    closeBusy();
    if (!loadProblems.isEmpty()) {
        showOkDialog(this, ApplicationTexts::TITLE,
                     u"Following problems have been encountered during loading:\n\n" + loadProblems,
                     MessageDialogIcon::INFORMATION);
    }
    setFlag(LOADING, false);
    setFlag(MODIFIED, false);
    setFlag(IMAGE_OPEN, true);
}

void MainFrame::onLoadFailed(const String& text) {
    drawPanel->Thaw();
    closeBusy();
    setFlag(LOADING, false);
    showError(text);
}

void MainFrame::refreshElements() {
    const String selected = selectedElementName();
    drawPanel->Freeze();
    elementComboBox->setElements(Pipeline::filterElements(&graph.zoom, [](const ElementInfo& element) {
        return !(element.flags & ElementInfo::INTERNAL) && element.kind < ElementInfo::KIND_SINGLE_CHANNEL;
    }));
    elementComboBox->selectName(selected, false);
    postPanel->getDenoisePanel()->setDenoisingPossible(!graph.denoise.getDenoisableElements({}).empty());
    lightMixPanel->setElements(Pipeline::filterElements(&graph.lightMix, [](const ElementInfo& element) {
        return (element.flags & ElementInfo::LIGHT_MIX_LAYER) != 0;
    }));
    fitSidePanel();
    drawPanel->Thaw();
}

// Saving

void MainFrame::save(SaveMode mode) {
    if (!hasFlag(IMAGE_OPEN)) {
        showOkDialog(this, ApplicationTexts::TITLE, u"You have to open an image first.",
                     MessageDialogIcon::ERROR_ICON);
        return;
    }
    try {
        const bool current = mode == SaveMode::CURRENT_ELEMENT;
        const String title = current ? u"Save as" : u"Save all elements as";
        const String filter = getImageFormatsFileDialogFilter(current);
        Io::Path suggested;
        if (const Array<Io::Path> inputs = graph.load.getInputPaths(); !inputs.empty()) {
            suggested = inputs[0];
        }
        const Optional<RegExpMatch> firstExtension = RegExp(u"^[^*]*\\*\\.([A-Za-z0-9]+)").search(filter);
        if (firstExtension && firstExtension->groups.size() > 1 && !suggested.isEmpty()) {
            suggested = Io::changeExtension(suggested, firstExtension->groups[1].text);
        }
        const Io::Path path = fileDialogs.save(this, title, filter, suggested);
        if (path.isEmpty()) {
            return;
        }
        if (isVespraExrFileName(path)) {
            graph.saveVxr.setOutput(path);
        } else {
            const ImageFormat format = getImageFormatFromFileName(path);
            const Optional<ImageSaveSettings> saveSettings =
                ImageSaveSettingsDialog::requestSettingsFromUser(this, format, &saveDefaults);
            if (!saveSettings) {
                return;
            }
            Array<ElementInfo> elements;
            if (current) {
                const Array<ElementInfo> all = graph.zoom.getElements();
                if (const Optional<ElementInfo> element = elementOrDefault(all.view(), selectedElementName())) {
                    elements = Array<ElementInfo>({*element});
                }
            } else {
                elements = graph.saveSeparate.getElements();
            }
            graph.saveSeparate.setOutput(std::move(elements), path, format, *saveSettings);
        }
        rememberLastDirectory(path);
    } catch (const Exception& error) {
        showError(u"Image cannot be saved. " + error.getMessage());
    }
}

void MainFrame::onSaveStarted() {
    setFlag(SAVING, true);
    showBusy(u"Saving image.");
}

void MainFrame::onSaveFinished() {
    closeBusy();
    setFlag(SAVING, false);
    setFlag(MODIFIED, false);
}

void MainFrame::onSaveFailed(const String& text) {
    closeBusy();
    setFlag(SAVING, false);
    showError(text);
}

// Settings files

void MainFrame::saveSettings(ArrayView<const std::int32_t> propertyIds, const String& title) {
    const Io::Path path = fileDialogs.save(this, title, ApplicationTexts::SETTINGS_FILE_FILTER, lastDirectoryPath());
    if (path.isEmpty()) {
        return;
    }
    const Expected<bool, String> saved = Conf::save(*settings, path, Conf::filterOf(propertyIds));
    if (!saved) {
        showError(u"Settings cannot be saved. " + saved.error());
        return;
    }
    rememberLastDirectory(path);
}

void MainFrame::loadSettings(ArrayView<const std::int32_t> propertyIds, const String& title) {
    const Io::Path path = fileDialogs.open(this, title, ApplicationTexts::SETTINGS_FILE_FILTER, lastDirectoryPath());
    if (path.isEmpty()) {
        return;
    }
    const auto filter = Conf::filterOf(propertyIds);
    Settings loaded;
    // Through the checks of each value: a line of the wrong type fails here with its line
    // number, not later in a control that reads the property as its own type.
    ValidatingSettings checked(loaded);
    try {
        Conf::parse(path, {}, checked, nullptr, filter);
    } catch (const Exception& error) {
        showError(u"Settings cannot be loaded. " + error.getMessage());
        return;
    }
    rememberLastDirectory(path);
    drawPanel->Freeze();
    settings->copyFrom(loaded, filter);
    LibWx::processAllPendingEvents();
    drawPanel->Thaw();
}

// Denoising

void MainFrame::denoise() {
    const Array<ElementInfo> elements = graph.denoise.getDenoisableElements({});
    const Stack<DenoisingMode> modes = graph.denoise.getAvailableModes();
    graph.load.setElementFlag(ElementInfo::SELECTED_FOR_DENOISING, elements);
    if (!modes.empty()) {
        settings->set(PropertyId::DENOISE_FILTER_TYPE, std::int32_t(modes[0]));
    }
    graph.denoise.start();
}

void MainFrame::customDenoise() {
    DenoiseSelectDialog dialog(this);
    dialog.copySettingsFrom(*settings);
    dialog.setElements(graph.denoise.getDenoisableElements({}), graph.denoise.getNonDenoisableElements({}).empty());
    // After the copy of the settings: the dialog starts with the most advanced mode.
    dialog.setModes(graph.denoise.getAvailableModes());
    // Its right edge at the button's left edge, a little above it, once its size is known.
    const AutoSizedButton* button = postPanel->getDenoisePanel()->getCustomDenoiseButton();
    const wxPoint anchor = button->GetScreenPosition();
    smartPositionWindow(&dialog, wxPoint(anchor.x - dialog.GetSize().x, anchor.y - CUSTOM_DENOISE_RISE));
    if (dialog.ShowModal() != wxID_OK) {
        return;
    }
    graph.load.setElementFlag(ElementInfo::SELECTED_FOR_DENOISING, dialog.getSelectedElements());
    settings->copyFrom(dialog.getSettings(), Conf::filterOf(PropertyCatalogue::denoisingIds()));
    graph.denoise.start();
}

void MainFrame::onDenoiseStarted(const String& text) {
    progressDialog->setMessage(text);
    progressDialog->setProgress(0.f);
    progressDialog->Move(drawPanel->GetScreenPosition() + PROGRESS_OFFSET);
    progressDialog->Show();
    postPanel->getDenoisePanel()->Enable(false);
}

void MainFrame::onDenoiseFinished() {
    progressDialog->Hide();
    postPanel->getDenoisePanel()->Enable(true);
    refreshElements();
}

void MainFrame::onDenoiseFailed(const String& text) {
    onDenoiseFinished();
    showError(text);
}

// Keys

void MainFrame::onCharHook(wxKeyEvent& event) {
    if (event.GetModifiers() != wxMOD_CONTROL) {
        event.Skip();
        return;
    }
    const bool open = hasFlag(IMAGE_OPEN);
    const auto stepElement = [this](int step) {
        const int index = elementComboBox->getSelectedIndex() + step;
        if (elementComboBox->IsEnabled() && index >= 0 && index < elementComboBox->getCount()) {
            elementComboBox->selectIndex(index, true);
        }
    };
    switch (event.GetKeyCode()) {
    case WXK_LEFT:
    case WXK_NUMPAD_LEFT:
        drawPanel->scrollBy(-KEY_SCROLL_UNITS, 0);
        break;
    case WXK_UP:
    case WXK_NUMPAD_UP:
        drawPanel->scrollBy(0, -KEY_SCROLL_UNITS);
        break;
    case WXK_RIGHT:
    case WXK_NUMPAD_RIGHT:
        drawPanel->scrollBy(KEY_SCROLL_UNITS, 0);
        break;
    case WXK_DOWN:
    case WXK_NUMPAD_DOWN:
        drawPanel->scrollBy(0, KEY_SCROLL_UNITS);
        break;
    case WXK_NUMPAD0:
    case '0':
        if (open) {
            drawPanel->setZoom(0);
        }
        break;
    case WXK_PAGEUP:
    case WXK_NUMPAD_PAGEUP:
        stepElement(-1);
        break;
    case WXK_PAGEDOWN:
    case WXK_NUMPAD_PAGEDOWN:
        stepElement(1);
        break;
    // "1" zooms in too: on many layouts "+" needs Shift, and Ctrl+1 is the one key at hand.
    case WXK_NUMPAD_ADD:
    case '+':
    case '=':
    case '1':
        if (open) {
            drawPanel->zoomIn();
        }
        break;
    case WXK_NUMPAD_SUBTRACT:
    case '-':
    case '/':
        if (open) {
            drawPanel->zoomOut();
        }
        break;
    case 'O':
        openDialog();
        break;
    case 'S':
        save(SaveMode::CURRENT_ELEMENT);
        break;
    default:
        event.Skip();
    }
}

// Size

void MainFrame::fitToImage() {
    Freeze();
    const Pixel image = drawPanel->imageSizeOnScreen();
    const wxSize panel = drawPanel->GetSize();
    setSizeClamped(GetSize() + wxSize(image.x - panel.x, image.y - panel.y));
    fitMinimumSize();
    Thaw();
}

void MainFrame::setSizeClamped(wxSize size) {
    const int displayIndex = wxDisplay::GetFromWindow(this);
    const wxRect area = wxDisplay(displayIndex == wxNOT_FOUND ? 0u : unsigned(displayIndex)).GetClientArea();
    const wxPoint position = GetPosition();
    size.x = std::min(size.x, area.GetRight() + 1 - std::max(position.x, area.x));
    size.y = std::min(size.y, area.GetBottom() + 1 - std::max(position.y, area.y));
    size.IncTo(GetMinSize());
    size.DecToIfSpecified(GetMaxSize());
    if (size != GetSize()) {
        SetSize(size);
    }
}

void MainFrame::fitMinimumSize() {
    const wxSize minimum = GetMinSize();
    SetMinSize(wxDefaultSize);
    wxSize best = GetBestSize();
    SetMinSize(minimum);
    best.IncTo(GetSize());
    setSizeClamped(best);
}

// Side panel

void MainFrame::toggleSidePanel() {
    wxAuiPaneInfo& pane = auiManager.GetPane(notebook);
    const bool show = !pane.IsShown();
    pane.Show(show);
    const String icon = show ? u"toolbar/side-panel-shown" : u"toolbar/side-panel-hidden";
    getButton(ToolbarButton::SIDE_PANEL)->setBitmaps(toolbarIcon(icon, false), toolbarIcon(icon, true));
    auiManager.Update();
}

bool MainFrame::isSidePanelShown() const {
    return const_cast<AuiManager&>(auiManager).GetPane(notebook).IsShown();
}

} // namespace Vespra::Wx
