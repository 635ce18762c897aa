#pragma once

#include <algorithm>

#include "foundation/Histogram.h"
#include "foundation/Vector2.h"

namespace Vespra::Wx {

/// Where the curve graph shows curve coordinates in its widget: the unit square fills the
/// widget less a margin on each side, scaled by `zoom` about its bottom-left corner and moved by
/// `pan` (pixels of the unzoomed graph). Widget y grows downwards, curve y upwards.
struct GraphView {
    static constexpr float MARGIN = 5.f;
    static constexpr float MIN_ZOOM = 0.1316872f; ///< 1.5^-5
    static constexpr float MAX_ZOOM = 7.59375f;   ///< 1.5^5

    /// The widget's size in pixels.
    Vector2 widgetSize{266.f, 266.f};
    float zoom = 1.f;
    Vector2 pan;

    /// The size of the unit square at zoom 1: the widget less the margins.
    Vector2 graphSize() const { return {widgetSize.x - 2.f * MARGIN, widgetSize.y - 2.f * MARGIN}; }

    Vector2 toWidget(Vector2 point) const {
        const Vector2 graph = graphSize();
        return {(point.x * graph.x - pan.x) * zoom + MARGIN,
                widgetSize.y - (point.y * graph.y - pan.y) * zoom - MARGIN};
    }

    Vector2 toCurve(Vector2 widget) const {
        const Vector2 graph = graphSize();
        return {((widget.x - MARGIN) / zoom + pan.x) / graph.x,
                ((widgetSize.y - MARGIN - widget.y) / zoom + pan.y) / graph.y};
    }

    /// `widget` moved into the graph's area, the margins left out.
    Vector2 clampToGraph(Vector2 widget) const {
        return {std::clamp(widget.x, MARGIN, widgetSize.x - MARGIN),
                std::clamp(widget.y, MARGIN, widgetSize.y - MARGIN)};
    }

    /// The curve x of the graph's left and right edges.
    Range visibleInputs() const {
        return {toCurve({MARGIN, 0.f}).x, toCurve({widgetSize.x - MARGIN, 0.f}).x};
    }
};

} // namespace Vespra::Wx
