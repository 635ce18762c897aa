#pragma once

#include <cstdint>

#include <array>

#include <wx/frame.h>
#include <wx/panel.h>

#include "base/pipeline/OperatorGraph.h"
#include "foundation/DelayedCallback.h"
#include "gui/widgets/AuiSkin.h"
#include "gui/widgets/FileDialogs.h"
#include "gui/widgets/ImageSaveSettingsDialog.h"
#include "gui/widgets/PassToMainThreadMixin.h"
#include "settings/Settings.h"

namespace Vespra::Wx {

class AutoSizedButton;
class DrawPanel;
class ElementComboBox;
class LightMixPanel;
class MessageDialog;
class PostprocessPanel;
class PropertyCurvesEditor;
class ProgressDialog;

/// The editor's one top-level window: the toolbar, the image display and the side panel. It
/// turns every command into a call on the operator graph or on the settings, listens to the
/// operators, and keeps the few state flags from which enabling and the title follow.
class MainFrame : public PassToMainThreadMixin<wxFrame> {
public:
    /// Bits of `getState()`.
    enum StateFlag : std::uint32_t {
        /// An image is loaded; every image command is enabled.
        IMAGE_OPEN = 1,
        /// A setting of the image changed since it was loaded or saved; the title shows " *".
        MODIFIED = 2,
        LOADING = 4,
        SAVING = 8,
    };

    /// What `save` writes.
    enum class SaveMode : int { CURRENT_ELEMENT = 0, ALL_ELEMENTS = 1 };

    /// The toolbar's buttons, in their order.
    enum class ToolbarButton : int { OPEN, MERGE, SAVE, SAVE_ALL, ZOOM_IN, ZOOM_OUT, RESET_ZOOM, SIDE_PANEL, COUNT };

    MainFrame(wxWindow* parent, SharedPtr<Settings> settings, Pipeline::OperatorGraph& graph);
    ~MainFrame() override;

    /// Enables what the state allows and schedules the title.
    void updateState();
    void updateTitle();

    /// The one road into the load operator: loads one image or merges several.
    void openImages(Array<Io::Path> paths);

    /// The commands, each asking first when unsaved changes would be lost.
    void askOpen();
    void askMerge();
    void askOpenDropped(const Io::Path& path);
    void askResetPost();

    void openDialog();
    void mergeDialog();
    void save(SaveMode mode);

    /// Save... and Load... of a set of settings through a file dialog titled `title`.
    void saveSettings(ArrayView<const std::int32_t> propertyIds, const String& title);
    void loadSettings(ArrayView<const std::int32_t> propertyIds, const String& title);

    /// Re-reads the elements into the element list, keeping the selected one by name.
    void refreshElements();

    /// "Denoise": every denoisable element in the most advanced mode the image allows.
    void denoise();
    /// "Custom denoise...": the elements, mode and radius from a dialog, then the denoise.
    void customDenoise();

    /// "Editor...": the curves editor, made on first use, shown and raised.
    void showCurvesEditor();
    /// The curves editor once "Editor..." made it, else null.
    PropertyCurvesEditor* getCurvesEditor() const { return curvesEditor; }

    /// Sizes the frame so that the image at its zoom fits, within the screen.
    void fitToImage();
    void fitMinimumSize();
    void setSizeClamped(wxSize size);

    void toggleSidePanel();
    bool isSidePanelShown() const;

    std::uint32_t getState() const { return state; }
    DrawPanel* getDrawPanel() const { return drawPanel; }
    ElementComboBox* getElementComboBox() const { return elementComboBox; }
    AutoSizedButton* getButton(ToolbarButton button) const { return buttons[std::size_t(button)]; }
    /// The modal dialog now running (busy or prompt), else null.
    MessageDialog* getBusyDialog() const { return busyDialog; }
    ProgressDialog* getProgressDialog() const { return progressDialog; }
    PostprocessPanel* getPostprocessPanel() const { return postPanel; }
    LightMixPanel* getLightMixPanel() const { return lightMixPanel; }

    /// How the frame asks for paths; tests replace the system's dialogs.
    FileDialogs fileDialogs = FileDialogs::native();

private:
    class LoadDropTarget;

    void createToolbar();
    void createPanes();
    void createSidePages();
    void fitSidePanel();
    void bindEvents();
    void bindWheelRedirect(wxWindow* window);
    void registerOperatorCallbacks();
    void registerSettingsListeners();
    void listen(ArrayView<const std::int32_t> ids, Function<void(std::int32_t, const Property&)> action);

    void setFlag(StateFlag flag, bool value);
    bool hasFlag(StateFlag flag) const { return (state & flag) != 0; }

    /// A modal question with a button that goes on and one that stays; answers whether the
    /// user chose to go on.
    bool ask(const String& message, const String& goOn, const String& stay);
    void showBusy(const String& text);
    void closeBusy();
    void showError(const String& text);

    void onLoadStarted();
    void onLoadWarning(const String& text);
    void onLoadFinished();
    void onLoadFailed(const String& text);
    void onSaveStarted();
    void onSaveFinished();
    void onSaveFailed(const String& text);
    void onDenoiseStarted(const String& text);
    void onDenoiseFinished();
    void onDenoiseFailed(const String& text);

    void onElementSelected();
    /// The picture before the curves changed: a repaint, and the curves histogram follows.
    void onPictureChanged();
    /// The curves editor's histogram follows the shown picture, at most every third of a second.
    void scheduleCurvesRefresh();
    void restartBloomGlare();
    void onLightMixChanged();
    void markModified();

    void onClose(wxCloseEvent& event);
    void onCharHook(wxKeyEvent& event);
    void onWheel(wxMouseEvent& event);

    /// The element the list shows, as the operators name it.
    String selectedElementName() const;
    /// `name` among `elements`, else the list's entry for the bloom and glare element.
    static Optional<ElementInfo> elementOrDefault(ArrayView<const ElementInfo> elements, const String& name);
    Optional<Pipeline::ColorBitmap> pullDisplayed(Pipeline::IOperator* source, const Bucket& region, float scale,
                                                  std::uint32_t flags) const;

    SharedPtr<Settings> settings;
    SimpleSaveSettingsDefaultsProvider saveDefaults;
    Pipeline::OperatorGraph& graph;
    std::uint32_t state = 0;
    String loadProblems;

    AuiManager auiManager;
    DrawPanel* drawPanel = nullptr;
    wxPanel* toolbar = nullptr;
    AuiNotebook* notebook = nullptr;
    PostprocessPanel* postPanel = nullptr;
    LightMixPanel* lightMixPanel = nullptr;
    std::array<AutoSizedButton*, std::size_t(ToolbarButton::COUNT)> buttons{};
    ElementComboBox* elementComboBox = nullptr;

    MessageDialog* busyDialog = nullptr;
    ProgressDialog* progressDialog = nullptr;
    PropertyCurvesEditor* curvesEditor = nullptr;
    Stack<SharedPtr<SettingsListener>> listeners;
    DelayedCallback titleCallback;
    DelayedCallback curvesCallback;
};

} // namespace Vespra::Wx
