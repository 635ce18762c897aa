#pragma once

#include "foundation/Containers.h"
#include "foundation/Rgb.h"

namespace Vespra {

/// Nearest-neighbour queries over a fixed set of colours, by their red, green and blue.
class KdTree {
public:
    struct Neighbour {
        int index = -1;
        float distanceSq = 0.f;
    };

    /// Splits at the median of the widest side of each box until at most `leafSize` points
    /// remain. `points` must outlive the tree.
    explicit KdTree(ArrayView<const Rgb> points, int leafSize = 20);

    /// Up to `found.size()` points nearest to `query` within `radius`, nearest first, with
    /// their squared distances; answers how many.
    int findWithin(const Rgb& query, float radius, ArrayView<Neighbour> found) const;
    /// The nearest point of all; -1 for an empty tree.
    int findNearest(const Rgb& query) const;

private:
    struct Node {
        /// -1 for a leaf.
        int axis = -1;
        float split = 0.f;
        /// Of a leaf: its points in `order`; of an inner node: its two children.
        int first = 0;
        int second = 0;
    };
    class Search;

    int build(int begin, int end);

    ArrayView<const Rgb> points;
    int leafSize;
    /// Point indices, each leaf's points together.
    Array<int> order;
    Stack<Node> nodes;
};

} // namespace Vespra
