#pragma once

#include <vector>

#include <wx/panel.h>
#include <wx/timer.h>

#include "foundation/Curve.h"
#include "foundation/Histogram.h"
#include "foundation/io/AtomicFile.h"
#include "foundation/io/Path.h"
#include "gui/curves/CurveInterface.h"
#include "gui/curves/GraphView.h"
#include "gui/curves/HistogramBars.h"
#include "gui/curves/HistogramLoader.h"
#include "gui/curves/NodeDragger.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/widgets/PassToMainThreadMixin.h"

namespace Vespra::Wx {

/// The graph of the four tone curves (master, red, green, blue) over the histogram of the image
/// shown, in which the user drags the nodes of the active curve. Changes reach the interface
/// through `setCurves` 100 ms after the last of a burst, so that a drag costs one write.
class ToneCurveDisplay : public PassToMainThreadMixin<wxPanel> {
public:
    /// The quiet time after a change before the interface is told.
    static constexpr int NOTIFY_DELAY_MS = 100;
    /// The side of the unit square at zoom 1, in device-independent pixels.
    static constexpr int GRAPH_SIDE = 256;

    ToneCurveDisplay(wxWindow* parent, const GuiSkin& skin, const ColorCurve& curves,
                     SharedPtr<Abstract::CurveInterface> interface);
    ~ToneCurveDisplay() override;

    /// Shows `curves` without telling the interface (a change from outside), and reloads the
    /// histogram of kind `type`. A drag in progress ends.
    void setCurves(const ColorCurve& curves, HistogramType type);
    const ColorCurve& getCurves() const { return curves; }

    void setActiveChannel(int index);
    int getActiveChannel() const { return activeChannel; }
    /// Sets the interpolation of the active curve.
    void setInterpolation(CurveInterpolation interpolation);

    /// The active curve (all four with `all`, each keeping its interpolation) back to the
    /// identity line.
    void resetCurve(bool all);
    /// Asks for the histogram of the whole range 0 to 2 and, when it comes, makes the curves
    /// that spread the image's values evenly (see equalizedCurves), then shows the cumulative
    /// histogram.
    void equalize();

    /// Takes the curves of an `.acv` file, each keeping its interpolation; on failure nothing
    /// changes and the answer says why.
    Expected<void> loadAcv(const Io::Path& path);
    Expected<void, Io::FileWriteError> saveAcv(const Io::Path& path) const;

    /// Starts a drag of a node of the active curve at `point` (curve coordinates), as the pick
    /// from the image does; `moveDragNode` moves it by widget pixels, `endDrag` ends the drag.
    void startNodeAt(Vector2 point);
    void moveDragNode(Vector2 offset);
    void endDrag();
    bool isDragging() const { return dragger.isDragging(); }

    /// Counts the histogram again for the range shown, in the background.
    void reloadHistogram(HistogramType type);
    HistogramType getHistogramType() const { return histogramType; }
    const Histogram& getHistogram() const { return histogram.getHistogram(); }
    bool isHistogramLoading() const { return histogramLoader.isBusy() || equalizeLoader.isBusy(); }

    /// Changes not yet passed to the interface.
    bool isNotificationPending() const { return notifyTimer.IsRunning(); }
    const GraphView& getView() const { return view; }

    /// Called when the display changes the histogram type on its own (Equalize).
    Function<void(HistogramType)> onHistogramTypeChanged;

private:
    void bindEvents();

    /// Replaces curve `index` and schedules the notification.
    void changeCurve(int index, Curve curve);
    void scheduleNotification(int index);
    void notify();
    /// Runs `edit` on the active curve's nodes and takes them back when it answers true.
    template <class Edit>
    void editActive(Edit&& edit);
    void applyEqualization(const Histogram& counts);

    void onPaint(wxPaintEvent& event);
    void onSize(wxSizeEvent& event);
    void onLeftDown(wxMouseEvent& event);
    void onLeftUp(wxMouseEvent& event);
    void onRightUp(wxMouseEvent& event);
    void onMotion(wxMouseEvent& event);
    void onWheel(wxMouseEvent& event);
    void onMiddleDown(wxMouseEvent& event);
    void onMiddleUp(wxMouseEvent& event);
    void onMiddleDoubleClick(wxMouseEvent& event);
    void onLeave(wxMouseEvent& event);
    void onCaptureLost(wxMouseCaptureLostEvent& event);
    /// A motion of the drag to `position`.
    void dragTo(Vector2 position);
    void updateHover(Vector2 widget);

    ColorCurve curves;
    std::vector<int> changedIndices;
    int activeChannel = 0;
    Vector2 hoverPoint;
    bool hoverValid = false;
    SharedPtr<Abstract::CurveInterface> interface;
    NodeDragger dragger;
    /// Where the drag's press or last motion was.
    Vector2 lastDragPosition;
    wxTimer notifyTimer;
    wxColour background;

    HistogramBars histogram;
    HistogramType histogramType = HistogramType::LINEAR;
    HistogramLoader histogramLoader;
    HistogramLoader equalizeLoader;

    GraphView view;
    /// Where the middle button went down, and the pan then.
    Vector2 panAnchor;
    Vector2 panAtAnchor;
    bool panning = false;
};

} // namespace Vespra::Wx
