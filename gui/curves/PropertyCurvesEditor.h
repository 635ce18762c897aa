#pragma once

// wx/weakref.h uses std::is_base_of without including its header.
#include <type_traits>

#include <wx/weakref.h>

#include "base/pipeline/OperatorGraph.h"
#include "gui/curves/ToneCurveEditor.h"
#include "gui/widgets/PassToMainThreadMixin.h"
#include "gui/windows/DrawPanel.h"
#include "settings/Settings.h"

namespace Vespra::Wx {

class MainFrame;

/// The curves editor of the frame: the tone curve window tied to the eight curve properties both
/// ways, to the element the frame shows (histogram, pick), and to the frame's image display.
/// While it exists it holds the display's left click, left drag and cursor hooks, through which
/// "Pick" makes nodes from the image; when not picking it passes them on to the hooks that were
/// set before, and on destruction gives those back. Create it on the GUI thread, hidden; the frame
/// shows it.
class PropertyCurvesEditor : public PassToMainThreadMixin<ToneCurveEditor> {
public:
    static constexpr char TITLE[] = "Curves Editor";

    PropertyCurvesEditor(MainFrame& frame, Settings& settings, Pipeline::OperatorGraph& graph);
    ~PropertyCurvesEditor() override;

    /// While shown: takes the curves from the properties when they differ from those shown, and
    /// counts the histogram again.
    void reloadCurvesAndHistogram();
    /// While shown: counts the histogram again, for pixels that changed.
    void reloadHistogram();

    /// The display's hooks.
    void onImageLeftDown(const DrawPanel::MouseEvent& event);
    void onImageLeftDrag(const DrawPanel::MouseEvent& event);
    void onImageLeftUp(const DrawPanel::MouseEvent& event);
    wxStockCursor cursorFor(const DrawPanel::MouseEvent& event) const;

    /// Whether a click on the image now makes a node: shown, with "Pick" pressed.
    bool isPickActive() const { return IsShown() && isPicking(); }

private:
    struct DrawPanelHooks {
        Function<void(const DrawPanel::MouseEvent&)> leftDown;
        Function<void(const DrawPanel::MouseEvent&)> leftDrag;
        Function<void(const DrawPanel::MouseEvent&)> leftUp;
        Function<wxStockCursor(const DrawPanel::MouseEvent&)> cursor;
    };

    void listenToProperties();
    void takeDrawPanelHooks();
    /// Moves the picked node by the vertical motion since the last pick event.
    void movePickedNode(const DrawPanel::MouseEvent& event);
    /// A curve property changed.
    void onPropertyChanged();
    /// The curves of the properties, as the display shows them, when they differ from its own.
    Optional<ColorCurve> changedPropertyCurves() const;

    Settings& settings;
    SharedPtr<SettingsListener> listener;
    wxWeakRef<DrawPanel> drawPanel;
    DrawPanelHooks previousHooks;
    /// The display position of the last pick event while a pick drags.
    Optional<wxPoint> pickPosition;
};

} // namespace Vespra::Wx
