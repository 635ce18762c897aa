#include "gui/curves/PropertyCurvesEditor.h"

#include <algorithm>

#include "foundation/DebugLog.h"
#include "gui/curves/ContextProvider.h"
#include "gui/curves/CurveNodes.h"
#include "gui/curves/CurveProperties.h"
#include "gui/widgets/GuiSkin.h"
#include "gui/windows/MainFrame.h"

namespace Vespra::Wx {

PropertyCurvesEditor::PropertyCurvesEditor(MainFrame& frame, Settings& settings,
                                           Pipeline::OperatorGraph& graph)
    : PassToMainThreadMixin<ToneCurveEditor>(&frame, TITLE, activeSkin(), readCurves(settings),
                                             makeShared<ContextProvider>(frame, settings, graph)),
      settings(settings), drawPanel(frame.getDrawPanel()) {
    listenToProperties();
    takeDrawPanelHooks();
    Bind(wxEVT_SHOW, [this](wxShowEvent& event) {
        if (event.IsShown()) {
            reloadCurvesAndHistogram();
        }
        event.Skip();
    });
}

PropertyCurvesEditor::~PropertyCurvesEditor() {
    // The display may have gone first when the frame is destroyed.
    if (DrawPanel* panel = drawPanel.get()) {
        panel->onLeftDown = std::move(previousHooks.leftDown);
        panel->onLeftDrag = std::move(previousHooks.leftDrag);
        panel->onLeftUp = std::move(previousHooks.leftUp);
        panel->cursorFor = std::move(previousHooks.cursor);
    }
}

void PropertyCurvesEditor::listenToProperties() {
    listener = wrapListener([this](std::int32_t, const Property&) { onPropertyChanged(); });
    for (const auto* ids : {&CURVE_NODES_IDS, &CURVE_INTERPOLATION_IDS}) {
        for (const std::int32_t id : *ids) {
            settings.addListener(id, listener);
        }
    }
}

void PropertyCurvesEditor::takeDrawPanelHooks() {
    DrawPanel* panel = drawPanel.get();
    previousHooks = {panel->onLeftDown, panel->onLeftDrag, panel->onLeftUp, panel->cursorFor};
    panel->onLeftDown = [this](const DrawPanel::MouseEvent& event) { onImageLeftDown(event); };
    panel->onLeftDrag = [this](const DrawPanel::MouseEvent& event) { onImageLeftDrag(event); };
    panel->onLeftUp = [this](const DrawPanel::MouseEvent& event) { onImageLeftUp(event); };
    panel->cursorFor = [this](const DrawPanel::MouseEvent& event) { return cursorFor(event); };
}

void PropertyCurvesEditor::onPropertyChanged() {
    // The display's own edits that wait for their quiet time, or a drag, are newer than what the
    // properties say; they are written soon and come back here equal.
    ToneCurveDisplay* display = getDisplay();
    if (!IsShown() || display->isNotificationPending() || display->isDragging()) {
        return;
    }
    if (const Optional<ColorCurve> curves = changedPropertyCurves()) {
        display->setCurves(*curves, HistogramType::KEEP);
        showActiveInterpolation();
    }
}

Optional<ColorCurve> PropertyCurvesEditor::changedPropertyCurves() const {
    const ColorCurve stored = readCurves(settings);
    ColorCurve shown;
    for (int i = 0; i < ColorCurve::COUNT; ++i) {
        shown.set(i, editableCurve(stored[i]));
    }
    if (shown == getDisplay()->getCurves()) {
        return std::nullopt;
    }
    return shown;
}

void PropertyCurvesEditor::reloadCurvesAndHistogram() {
    Detail::debugPrintImpl(u"reloadCurvesAndHistogram");
    if (!IsShown()) {
        return;
    }
    if (const Optional<ColorCurve> curves = changedPropertyCurves()) {
        getDisplay()->setCurves(*curves, HistogramType::KEEP);
        showActiveInterpolation();
    } else {
        getDisplay()->reloadHistogram(HistogramType::KEEP);
    }
}

void PropertyCurvesEditor::reloadHistogram() {
    if (IsShown()) {
        getDisplay()->reloadHistogram(HistogramType::KEEP);
    }
}

// Pick

void PropertyCurvesEditor::onImageLeftDown(const DrawPanel::MouseEvent& event) {
    if (!isPickActive()) {
        if (previousHooks.leftDown) {
            previousHooks.leftDown(event);
        }
        return;
    }
    const Pixel at = event.getImagePosition();
    const Optional<BitmapImpl<Rgb, 0>> pixels = provider->getPixels(Bucket{at.x, at.y, at.x + 1, at.y + 1});
    if (!pixels || pixels->isEmpty()) {
        return;
    }
    ToneCurveDisplay* display = getDisplay();
    const int channel = display->getActiveChannel();
    const Rgb pixel = (*pixels)(0, 0);
    const float value =
        std::max(0.f, channel == 0 ? (pixel.r + pixel.g + pixel.b) / 3.f : pixel[channel - 1]);
    display->startNodeAt({value, display->getCurves()[channel](value)});
    pickPosition = event.getDisplayPosition();
}

void PropertyCurvesEditor::onImageLeftDrag(const DrawPanel::MouseEvent& event) {
    if (!pickPosition) {
        if (previousHooks.leftDrag) {
            previousHooks.leftDrag(event);
        }
        return;
    }
    movePickedNode(event);
}

void PropertyCurvesEditor::movePickedNode(const DrawPanel::MouseEvent& event) {
    // Only the vertical part moves the node: a pick changes the output of the value picked.
    const int dy = event.getDisplayPosition().y - pickPosition->y;
    pickPosition = event.getDisplayPosition();
    if (dy != 0) {
        getDisplay()->moveDragNode({0.f, float(dy)});
    }
}

void PropertyCurvesEditor::onImageLeftUp(const DrawPanel::MouseEvent& event) {
    if (!pickPosition) {
        if (previousHooks.leftUp) {
            previousHooks.leftUp(event);
        }
        return;
    }
    // The toolkit may fold the last motion into the release.
    movePickedNode(event);
    pickPosition.reset();
    getDisplay()->endDrag();
}

wxStockCursor PropertyCurvesEditor::cursorFor(const DrawPanel::MouseEvent& event) const {
    if (isPickActive()) {
        return wxCURSOR_CROSS;
    }
    return previousHooks.cursor ? previousHooks.cursor(event) : wxCURSOR_ARROW;
}

} // namespace Vespra::Wx
