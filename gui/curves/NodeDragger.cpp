#include "gui/curves/NodeDragger.h"

#include <algorithm>
#include <cmath>

namespace Vespra::Wx {

namespace {

constexpr float PICK_RADIUS_SQUARED = NodeDragger::PICK_RADIUS * NodeDragger::PICK_RADIUS;

float squaredDistance(Vector2 a, Vector2 b) {
    const Vector2 d = a - b;
    return d.x * d.x + d.y * d.y;
}

} // namespace

Optional<std::size_t> NodeDragger::nodeAt(const CurveNodes& nodes, const GraphView& view, Vector2 widget) {
    Optional<std::size_t> nearest;
    float nearestDistance = PICK_RADIUS_SQUARED;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const float distance = squaredDistance(view.toWidget(nodes[i]), widget);
        if (distance < nearestDistance) {
            nearest = i;
            nearestDistance = distance;
        }
    }
    return nearest;
}

bool NodeDragger::press(CurveNodes& nodes, const Curve& curve, const GraphView& view, Vector2 widget) {
    if (const Optional<std::size_t> hit = nodeAt(nodes, view, widget)) {
        take(nodes, *hit);
        dragging = true;
        return false;
    }
    const float x = view.toCurve(view.clampToGraph(widget)).x;
    const Vector2 onCurve{x, curve(x)};
    const float offset = view.toWidget(onCurve).y - widget.y;
    if (!(offset * offset <= PICK_RADIUS_SQUARED)) {
        return false;
    }
    insertAndTake(nodes, onCurve);
    dragging = true;
    return true;
}

bool NodeDragger::startAt(CurveNodes& nodes, Vector2 point) {
    dragging = true;
    const auto close = std::find_if(nodes.begin(), nodes.end(),
                                    [&](Vector2 node) { return std::abs(node.x - point.x) < MIN_GAP; });
    if (close == nodes.end()) {
        insertAndTake(nodes, point);
        return true;
    }
    // A second node this close would make the curve vertical there; the one present moves.
    take(nodes, std::size_t(close - nodes.begin()));
    const bool changed = close->y != point.y;
    close->y = point.y;
    return changed;
}

bool NodeDragger::moveTo(CurveNodes& nodes, const GraphView& view, Vector2 widget) {
    if (!dragging) {
        return false;
    }
    const Vector2 point = view.toCurve(view.clampToGraph(widget));
    if (!dragNode) {
        insertAndTake(nodes, point);
    } else {
        moveDragNode(nodes, point);
    }
    return true;
}

bool NodeDragger::moveBy(CurveNodes& nodes, const GraphView& view, Vector2 offset) {
    if (!dragging || !dragNode) {
        return false;
    }
    const Vector2 scale = view.graphSize() * view.zoom;
    const Vector2 node = nodes[*dragNode];
    moveDragNode(nodes, {node.x + offset.x / scale.x, node.y - offset.y / scale.y});
    return true;
}

void NodeDragger::moveDragNode(CurveNodes& nodes, Vector2 point) {
    const std::size_t index = *dragNode;
    const std::size_t last = nodes.size() - 1;
    if (index == 0 && last > 0) {
        point.x = std::min(point.x, nodes[1].x - MIN_GAP);
    } else if (index == last && last > 0) {
        point.x = std::max(point.x, nodes[last - 1].x + MIN_GAP);
    } else if (last > 0 && !(point.x >= limitLow && point.x <= limitHigh)) {
        nodes.erase(nodes.begin() + std::ptrdiff_t(index));
        dragNode.reset();
        return;
    }
    nodes[index] = point;
}

bool NodeDragger::removeAt(CurveNodes& nodes, const GraphView& view, Vector2 widget) {
    const Optional<std::size_t> hit = nodeAt(nodes, view, widget);
    if (!hit || *hit == 0 || *hit + 1 >= nodes.size()) {
        return false;
    }
    nodes.erase(nodes.begin() + std::ptrdiff_t(*hit));
    return true;
}

void NodeDragger::take(const CurveNodes& nodes, std::size_t index) {
    dragNode = index;
    if (index > 0 && index + 1 < nodes.size()) {
        limitLow = nodes[index - 1].x + MIN_GAP;
        limitHigh = nodes[index + 1].x - MIN_GAP;
    }
}

void NodeDragger::insertAndTake(CurveNodes& nodes, Vector2 point) {
    const auto position = std::upper_bound(nodes.begin(), nodes.end(), point.x,
                                           [](float x, Vector2 node) { return x < node.x; });
    const auto inserted = nodes.insert(position, point);
    take(nodes, std::size_t(inserted - nodes.begin()));
}

} // namespace Vespra::Wx
