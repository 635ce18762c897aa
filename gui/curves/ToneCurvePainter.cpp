#include "gui/curves/ToneCurvePainter.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include <wx/dc.h>
#include <wx/graphics.h>

#include "gui/curves/CurveNodes.h"
#include "gui/widgets/WindowUtils.h"

namespace Vespra::Wx {

namespace {

const wxColour GRAPH_BACKGROUND(60, 60, 60);
const wxColour GRID_COLOUR(120, 120, 120);
/// The histogram's colour by active channel: master, red, green, blue.
const wxColour HISTOGRAM_COLOURS[] = {wxColour(170, 170, 170), wxColour(220, 100, 100),
                                      wxColour(100, 220, 100), wxColour(100, 100, 220)};
/// The curves' colours by index: the stock black, red, green and blue.
const wxColour CURVE_COLOURS[] = {*wxBLACK, *wxRED, *wxGREEN, *wxBLUE};

constexpr int GRID_DIVISIONS = 8;
constexpr int NODE_RADIUS = 4;
/// The reference diagonal runs this many graph sizes each way from the origin.
constexpr float DIAGONAL_EXTENT = 100.f;

int pixel(float coordinate) {
    return int(std::lround(coordinate));
}

wxPoint2DDouble toPoint(Vector2 point) {
    return {double(point.x), double(point.y)};
}

/// The unit square at zoom 1, where the graph is drawn.
wxRect graphRectangle(const GraphView& view) {
    const Vector2 graph = view.graphSize();
    const int margin = int(GraphView::MARGIN);
    return {margin, margin, std::max(0, int(graph.x)), std::max(0, int(graph.y))};
}

// One bar per pixel column, from the bottom row up.
void paintHistogram(wxDC& dc, const ToneCurveScene& scene) {
    const wxRect graph = graphRectangle(scene.view);
    const int bottom = graph.GetBottom();
    dc.SetPen(wxPen(HISTOGRAM_COLOURS[scene.activeChannel]));
    const std::size_t columns = std::min(scene.histogram.size(), std::size_t(graph.width));
    for (std::size_t i = 0; i < columns; ++i) {
        const int height = pixel(scene.histogram.barHeight(i, scene.histogramType));
        if (height > 0) {
            const int x = graph.x + int(i);
            // The end point is left out: `height` pixels from the bottom row up.
            dc.DrawLine(x, bottom, x, bottom - height);
        }
    }
}

// Eight divisions of the unit square each way, its edges wider.
void paintGrid(wxDC& dc, const GraphView& view) {
    const Vector2 low = view.toWidget({0.f, 0.f});
    const Vector2 high = view.toWidget({1.f, 1.f});
    for (int k = 0; k <= GRID_DIVISIONS; ++k) {
        const float fraction = float(k) / GRID_DIVISIONS;
        const bool edge = k == 0 || k == GRID_DIVISIONS;
        dc.SetPen(wxPen(GRID_COLOUR, edge ? 3 : 1));
        const Vector2 at = view.toWidget({fraction, fraction});
        dc.DrawLine(pixel(at.x), pixel(low.y), pixel(at.x), pixel(high.y));
        dc.DrawLine(pixel(low.x), pixel(at.y), pixel(high.x), pixel(at.y));
    }
}

// The identity, for reference.
void paintDiagonal(wxDC& dc, const GraphView& view) {
    dc.SetPen(wxPen(GRID_COLOUR, 1, wxPENSTYLE_SHORT_DASH));
    const Vector2 from = view.toWidget({-DIAGONAL_EXTENT, -DIAGONAL_EXTENT});
    const Vector2 to = view.toWidget({DIAGONAL_EXTENT, DIAGONAL_EXTENT});
    dc.DrawLine(pixel(from.x), pixel(from.y), pixel(to.x), pixel(to.y));
}

// One point per pixel column, never below 0.
void paintCurve(wxGraphicsContext& context, const ToneCurveScene& scene, int index) {
    const Curve& curve = scene.curves[index];
    const bool active = index == scene.activeChannel;
    if (!active && isIdentityLine(curve)) {
        return;
    }
    const wxRect graph = graphRectangle(scene.view);
    wxGraphicsPath path = context.CreatePath();
    for (int column = graph.x; column <= graph.GetRight() + 1; ++column) {
        const float x = scene.view.toCurve({float(column), 0.f}).x;
        const wxPoint2DDouble point = toPoint(scene.view.toWidget({x, std::max(0.f, curve(x))}));
        if (column == graph.x) {
            path.MoveToPoint(point);
        } else {
            path.AddLineToPoint(point);
        }
    }
    context.SetPen(wxPen(CURVE_COLOURS[index], active ? 2 : 1));
    context.StrokePath(path);
}

void paintNodes(wxGraphicsContext& context, const ToneCurveScene& scene) {
    const Vector2 size = scene.view.widgetSize;
    const double diameter = 2. * NODE_RADIUS;
    context.SetPen(wxPen(*wxBLACK, 1));
    context.SetBrush(*wxWHITE_BRUSH);
    for (const Vector2& node : scene.curves[scene.activeChannel].nodes()) {
        const Vector2 at = scene.view.toWidget(node);
        if (at.x >= NODE_RADIUS && at.x <= size.x - NODE_RADIUS && at.y >= NODE_RADIUS &&
            at.y <= size.y - NODE_RADIUS) {
            context.DrawEllipse(at.x - NODE_RADIUS, at.y - NODE_RADIUS, diameter, diameter);
        }
    }
    if (scene.hoverPoint) {
        const Vector2 at = scene.view.toWidget(*scene.hoverPoint);
        context.SetPen(wxPen(*wxWHITE, 1));
        context.SetBrush(*wxTRANSPARENT_BRUSH);
        context.DrawEllipse(at.x - NODE_RADIUS, at.y - NODE_RADIUS, diameter, diameter);
    }
}

} // namespace

void paintToneCurveGraph(wxDC& dc, const ToneCurveScene& scene) {
    dc.SetBackground(wxBrush(scene.background));
    dc.Clear();
    const wxRect graph = graphRectangle(scene.view);
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(GRAPH_BACKGROUND));
    dc.DrawRectangle(graph);
    {
        const ScopedClippingRegion clip(dc, graph);
        paintHistogram(dc, scene);
        paintGrid(dc, scene.view);
        paintDiagonal(dc, scene.view);
    }
    const std::unique_ptr<wxGraphicsContext> context(wxGraphicsContext::CreateFromUnknownDC(dc));
    if (!context) {
        return;
    }
    context->Clip(graph.x, graph.y, graph.width, graph.height);
    for (int i = 0; i < ColorCurve::COUNT; ++i) {
        if (i != scene.activeChannel) {
            paintCurve(*context, scene, i);
        }
    }
    paintCurve(*context, scene, scene.activeChannel);
    context->ResetClip();
    paintNodes(*context, scene);
}

} // namespace Vespra::Wx
