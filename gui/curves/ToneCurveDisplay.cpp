#include "gui/curves/ToneCurveDisplay.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include <wx/dcbuffer.h>
#include <wx/toplevel.h>

#include "foundation/io/AcvFile.h"
#include "gui/curves/CurveNodes.h"
#include "gui/curves/Equalize.h"
#include "gui/curves/ToneCurvePainter.h"
#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

namespace {

constexpr float ZOOM_IN_FACTOR = 1.5f;
constexpr float ZOOM_OUT_FACTOR = 0.6666667f;

Vector2 positionOf(const wxMouseEvent& event) {
    return {float(event.GetX()), float(event.GetY())};
}

} // namespace

ToneCurveDisplay::ToneCurveDisplay(wxWindow* parent, const GuiSkin& skin, const ColorCurve& initialCurves,
                                   SharedPtr<Abstract::CurveInterface> interface)
    : PassToMainThreadMixin<wxPanel>(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                                     wxBORDER_NONE | wxTAB_TRAVERSAL),
      interface(std::move(interface)), notifyTimer(this), background(skin.background()),
      histogramLoader([this](Function<void()> work) { passToMainThread(std::move(work)); }),
      equalizeLoader([this](Function<void()> work) { passToMainThread(std::move(work)); }) {
    for (int i = 0; i < ColorCurve::COUNT; ++i) {
        curves.set(i, editableCurve(initialCurves[i]));
    }
    SetBackgroundStyle(wxBG_STYLE_PAINT);
    const int side = scaleByDpi(GRAPH_SIDE) + 2 * int(GraphView::MARGIN);
    SetInitialSize(wxSize(side, side));
    view.widgetSize = {float(side), float(side)};
    bindEvents();
}

ToneCurveDisplay::~ToneCurveDisplay() {
    // Changes still waiting for their quiet time are not lost with the window.
    notifyTimer.Stop();
    notify();
}

void ToneCurveDisplay::bindEvents() {
    Bind(wxEVT_PAINT, &ToneCurveDisplay::onPaint, this);
    Bind(wxEVT_SIZE, &ToneCurveDisplay::onSize, this);
    Bind(wxEVT_LEFT_DOWN, &ToneCurveDisplay::onLeftDown, this);
    Bind(wxEVT_LEFT_UP, &ToneCurveDisplay::onLeftUp, this);
    Bind(wxEVT_RIGHT_UP, &ToneCurveDisplay::onRightUp, this);
    Bind(wxEVT_MOTION, &ToneCurveDisplay::onMotion, this);
    Bind(wxEVT_MOUSEWHEEL, &ToneCurveDisplay::onWheel, this);
    Bind(wxEVT_MIDDLE_DOWN, &ToneCurveDisplay::onMiddleDown, this);
    Bind(wxEVT_MIDDLE_UP, &ToneCurveDisplay::onMiddleUp, this);
    Bind(wxEVT_MIDDLE_DCLICK, &ToneCurveDisplay::onMiddleDoubleClick, this);
    Bind(wxEVT_LEAVE_WINDOW, &ToneCurveDisplay::onLeave, this);
    Bind(wxEVT_MOUSE_CAPTURE_LOST, &ToneCurveDisplay::onCaptureLost, this);
    Bind(
        wxEVT_TIMER, [this](wxTimerEvent&) { notify(); }, notifyTimer.GetId());
}

// Curves

void ToneCurveDisplay::setCurves(const ColorCurve& newCurves, HistogramType type) {
    dragger.release();
    // What comes from outside replaces edits that were still to be passed on.
    notifyTimer.Stop();
    changedIndices.clear();
    for (int i = 0; i < ColorCurve::COUNT; ++i) {
        curves.set(i, editableCurve(newCurves[i]));
    }
    Refresh();
    reloadHistogram(type);
}

void ToneCurveDisplay::setActiveChannel(int index) {
    if (index == activeChannel || index < 0 || index >= ColorCurve::COUNT) {
        return;
    }
    dragger.release();
    activeChannel = index;
    Refresh();
    reloadHistogram(HistogramType::KEEP);
}

void ToneCurveDisplay::setInterpolation(CurveInterpolation interpolation) {
    const Curve& active = curves[activeChannel];
    if (active.interpolation() != interpolation) {
        changeCurve(activeChannel, Curve(active.nodes(), interpolation));
    }
}

void ToneCurveDisplay::resetCurve(bool all) {
    dragger.release();
    for (int i = 0; i < ColorCurve::COUNT; ++i) {
        if (all || i == activeChannel) {
            const Curve identity = identityCurve(curves[i].interpolation());
            if (!(curves[i] == identity)) {
                changeCurve(i, identity);
            }
        }
    }
}

void ToneCurveDisplay::equalize() {
    equalizeLoader.load(
        interface->histogramJob(EQUALIZE_RANGE, Abstract::CurveInterface::MEAN, EQUALIZE_BINS),
        [this](Histogram counts) { applyEqualization(counts); });
}

void ToneCurveDisplay::applyEqualization(const Histogram& counts) {
    const Optional<ColorCurve> equalized = equalizedCurves(counts, curves);
    if (!equalized) {
        return;
    }
    dragger.release();
    for (int i = 0; i < ColorCurve::COUNT; ++i) {
        if (!((*equalized)[i] == curves[i])) {
            changeCurve(i, (*equalized)[i]);
        }
    }
    reloadHistogram(HistogramType::CUMULATIVE);
    if (onHistogramTypeChanged) {
        onHistogramTypeChanged(HistogramType::CUMULATIVE);
    }
}

Expected<void> ToneCurveDisplay::loadAcv(const Io::Path& path) {
    const Expected<Io::AcvCurves> loaded = Io::loadAcv(path);
    if (!loaded) {
        return makeUnexpected(loaded.error());
    }
    dragger.release();
    for (std::size_t i = 0; i < loaded->size(); ++i) {
        const int index = int(i);
        changeCurve(index, Curve((*loaded)[i], curves[index].interpolation()));
    }
    return {};
}

Expected<void, Io::FileWriteError> ToneCurveDisplay::saveAcv(const Io::Path& path) const {
    Stack<Array<Vector2>> nodes;
    for (int i = 0; i < ColorCurve::COUNT; ++i) {
        nodes.push(Array<Vector2>(curves[i].nodes()));
    }
    return Io::saveAcv(path, nodes);
}

void ToneCurveDisplay::startNodeAt(Vector2 point) {
    editActive([&](CurveNodes& nodes) { return dragger.startAt(nodes, point); });
    Refresh();
}

void ToneCurveDisplay::moveDragNode(Vector2 offset) {
    editActive([&](CurveNodes& nodes) { return dragger.moveBy(nodes, view, offset); });
}

void ToneCurveDisplay::endDrag() {
    dragger.release();
    Refresh();
}

template <class Edit>
void ToneCurveDisplay::editActive(Edit&& edit) {
    CurveNodes nodes = editableNodes(curves[activeChannel]);
    if (edit(nodes)) {
        changeCurve(activeChannel, Curve(nodes, curves[activeChannel].interpolation()));
    }
}

void ToneCurveDisplay::changeCurve(int index, Curve curve) {
    curves.set(index, std::move(curve));
    scheduleNotification(index);
}

void ToneCurveDisplay::scheduleNotification(int index) {
    if (std::find(changedIndices.begin(), changedIndices.end(), index) == changedIndices.end()) {
        changedIndices.push_back(index);
    }
    Refresh();
    // Each change restarts the quiet time: a burst of changes is passed on once, after it.
    notifyTimer.StartOnce(NOTIFY_DELAY_MS);
}

void ToneCurveDisplay::notify() {
    if (changedIndices.empty()) {
        return;
    }
    const std::vector<int> changed = std::move(changedIndices);
    changedIndices.clear();
    // The histogram is that of the pixels before the curves, so it stays as it is.
    interface->setCurves(curves, changed);
}

// Histogram

void ToneCurveDisplay::reloadHistogram(HistogramType type) {
    if (type != HistogramType::KEEP) {
        histogramType = type;
    }
    Refresh();
    // A hidden window counts nothing; its editor reloads when it is shown.
    if (!wxGetTopLevelParent(this)->IsShown()) {
        return;
    }
    const int binCount = std::max(1, int(view.graphSize().x));
    histogramLoader.load(interface->histogramJob(view.visibleInputs(), activeChannel, binCount),
                         [this](Histogram counts) {
                             histogram = HistogramBars(std::move(counts), view.graphSize().y);
                             Refresh();
                         });
}

// Mouse

void ToneCurveDisplay::onLeftDown(wxMouseEvent& event) {
    SetFocus();
    const Vector2 position = positionOf(event);
    lastDragPosition = position;
    editActive(
        [&](CurveNodes& nodes) { return dragger.press(nodes, curves[activeChannel], view, position); });
    if (dragger.isDragging() && !HasCapture()) {
        CaptureMouse();
    }
    Refresh();
}

void ToneCurveDisplay::onLeftUp(wxMouseEvent& event) {
    // The toolkit may fold the last motion into the release: the node ends where the button went up.
    const Vector2 position = positionOf(event);
    if (dragger.isDragging() && !(position == lastDragPosition)) {
        dragTo(position);
    }
    dragger.release();
    if (HasCapture() && !panning) {
        ReleaseMouse();
    }
    updateHover(position);
}

void ToneCurveDisplay::onRightUp(wxMouseEvent& event) {
    if (dragger.isDragging()) {
        return;
    }
    const Vector2 position = positionOf(event);
    editActive([&](CurveNodes& nodes) { return NodeDragger::removeAt(nodes, view, position); });
}

void ToneCurveDisplay::onMotion(wxMouseEvent& event) {
    const Vector2 position = positionOf(event);
    if (panning) {
        const Vector2 moved = (position - panAnchor) * (1.f / view.zoom);
        view.pan = {panAtAnchor.x - moved.x, panAtAnchor.y + moved.y};
        Refresh();
        return;
    }
    if (dragger.isDragging()) {
        dragTo(position);
        return;
    }
    updateHover(position);
}

void ToneCurveDisplay::dragTo(Vector2 position) {
    lastDragPosition = position;
    editActive([&](CurveNodes& nodes) { return dragger.moveTo(nodes, view, position); });
}

void ToneCurveDisplay::updateHover(Vector2 widget) {
    const Curve& active = curves[activeChannel];
    const float x = view.toCurve(widget).x;
    hoverPoint = {x, active(x)};
    hoverValid = true;
    const CurveNodes nodes(active.nodes().begin(), active.nodes().end());
    SetCursor(wxCursor(NodeDragger::nodeAt(nodes, view, widget) ? wxCURSOR_HAND : wxCURSOR_CROSS));
    Refresh();
}

void ToneCurveDisplay::onWheel(wxMouseEvent& event) {
    const int rotation = event.GetWheelRotation();
    if (rotation == 0) {
        return;
    }
    const float zoom = std::clamp(view.zoom * (rotation > 0 ? ZOOM_IN_FACTOR : ZOOM_OUT_FACTOR),
                                  GraphView::MIN_ZOOM, GraphView::MAX_ZOOM);
    if (zoom == view.zoom) {
        return;
    }
    view.zoom = zoom;
    reloadHistogram(HistogramType::KEEP);
}

void ToneCurveDisplay::onMiddleDown(wxMouseEvent& event) {
    panning = true;
    panAnchor = positionOf(event);
    panAtAnchor = view.pan;
    if (!HasCapture()) {
        CaptureMouse();
    }
}

void ToneCurveDisplay::onMiddleUp(wxMouseEvent&) {
    if (!panning) {
        return;
    }
    panning = false;
    if (HasCapture() && !dragger.isDragging()) {
        ReleaseMouse();
    }
    reloadHistogram(HistogramType::KEEP);
}

void ToneCurveDisplay::onMiddleDoubleClick(wxMouseEvent&) {
    view.zoom = 1.f;
    view.pan = {};
    reloadHistogram(HistogramType::KEEP);
}

void ToneCurveDisplay::onLeave(wxMouseEvent&) {
    hoverValid = false;
    Refresh();
}

void ToneCurveDisplay::onCaptureLost(wxMouseCaptureLostEvent&) {
    dragger.release();
    panning = false;
}

void ToneCurveDisplay::onSize(wxSizeEvent& event) {
    const wxSize size = GetClientSize();
    view.widgetSize = {float(size.x), float(size.y)};
    reloadHistogram(HistogramType::KEEP);
    event.Skip();
}

// Paint

void ToneCurveDisplay::onPaint(wxPaintEvent&) {
    wxAutoBufferedPaintDC dc(this);
    Optional<Vector2> hover;
    if (hoverValid && !dragger.isDragging()) {
        hover = hoverPoint;
    }
    paintToneCurveGraph(dc, {view, curves, activeChannel, histogram, histogramType, hover, background});
}

} // namespace Vespra::Wx
