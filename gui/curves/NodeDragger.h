#pragma once

#include <cstddef>

#include "foundation/Curve.h"
#include "foundation/Optional.h"
#include "gui/curves/CurveNodes.h"
#include "gui/curves/GraphView.h"

namespace Vespra::Wx {

/// How the mouse edits the nodes of a curve. A press on a node, or on the curve near enough,
/// starts a drag of that node (of a new one on the curve). The first and the last node follow
/// the mouse, staying MIN_GAP in x from their neighbour. An interior node follows it within the
/// band between its neighbours at the press, MIN_GAP in from each; dragged out of the band it is
/// removed, and from the next motion on a new node follows the mouse, with the band of its own
/// new neighbours. Positions are widget pixels, nodes curve coordinates.
class NodeDragger {
public:
    /// Widget pixels within which a node or the curve is hit.
    static constexpr float PICK_RADIUS = 12.f;
    /// The least distance in x between a dragged node and its neighbours.
    static constexpr float MIN_GAP = 0.01f;

    /// The node nearest to `widget` among those closer than PICK_RADIUS.
    static Optional<std::size_t> nodeAt(const CurveNodes& nodes, const GraphView& view, Vector2 widget);

    /// Left button down: starts a drag of the node hit, or of a node added on `curve` below or
    /// above `widget` when the curve passes within PICK_RADIUS of it. Answers whether a node was
    /// added.
    bool press(CurveNodes& nodes, const Curve& curve, const GraphView& view, Vector2 widget);

    /// Starts a drag of a node added at `point`; a node within MIN_GAP of its x is dragged
    /// instead, moved to `point`. Answers whether the nodes changed.
    bool startAt(CurveNodes& nodes, Vector2 point);

    /// The mouse moved to `widget` with the button held: moves, removes or adds the dragged node
    /// as described above. Answers whether the nodes changed; nothing changes when no drag runs.
    bool moveTo(CurveNodes& nodes, const GraphView& view, Vector2 widget);

    /// Moves the dragged node by `offset` widget pixels, by the same rules but without keeping it
    /// inside the graph: the pick drags nodes that may lie beyond it. Answers whether the nodes
    /// changed; nothing changes when no drag runs or the node was dragged out of its band.
    bool moveBy(CurveNodes& nodes, const GraphView& view, Vector2 offset);

    void release() { dragging = false; }
    bool isDragging() const { return dragging; }
    /// The node being dragged; empty after it was dragged out of its band.
    Optional<std::size_t> getDragNode() const { return dragNode; }

    /// Right button: removes the node hit unless it is the first or the last. Answers whether it
    /// removed one.
    static bool removeAt(CurveNodes& nodes, const GraphView& view, Vector2 widget);

private:
    /// Drags node `index` from now on, with the band between its neighbours when it has two.
    void take(const CurveNodes& nodes, std::size_t index);
    /// Puts `point` into the sorted nodes and drags it.
    void insertAndTake(CurveNodes& nodes, Vector2 point);
    /// Moves the dragged node to `point` as far as its neighbours allow, or removes it.
    void moveDragNode(CurveNodes& nodes, Vector2 point);

    bool dragging = false;
    Optional<std::size_t> dragNode;
    float limitLow = 0.f;
    float limitHigh = 1.f;
};

} // namespace Vespra::Wx
