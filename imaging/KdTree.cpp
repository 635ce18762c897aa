#include "imaging/KdTree.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace Vespra {

namespace {

float distanceSq(const Rgb& a, const Rgb& b) {
    const float dr = a.r - b.r;
    const float dg = a.g - b.g;
    const float db = a.b - b.b;
    return dr * dr + dg * dg + db * db;
}

} // namespace

/// One query: keeps the best points found so far, sorted, and prunes by the worst of them
/// once the list is full.
class KdTree::Search {
public:
    Search(const KdTree& tree, const Rgb& query, float radiusSq, ArrayView<Neighbour> found)
        : tree(tree), query(query), radiusSq(radiusSq), found(found) {}

    int run() {
        if (!tree.nodes.empty()) {
            visit(0);
        }
        return count;
    }

private:
    float bound() const {
        return count == int(found.size()) ? std::min(radiusSq, found[std::size_t(count - 1)].distanceSq)
                                          : radiusSq;
    }

    void visit(int nodeIndex) {
        const Node& node = tree.nodes[std::size_t(nodeIndex)];
        if (node.axis < 0) {
            for (int i = node.first; i < node.second; ++i) {
                const int point = tree.order[std::size_t(i)];
                offer(point, distanceSq(query, tree.points[std::size_t(point)]));
            }
            return;
        }
        const float offset = query[node.axis] - node.split;
        const int nearChild = offset < 0.f ? node.first : node.second;
        const int farChild = offset < 0.f ? node.second : node.first;
        visit(nearChild);
        if (offset * offset <= bound()) {
            visit(farChild);
        }
    }

    void offer(int point, float d) {
        if (d > bound() || found.empty()) {
            return;
        }
        int slot = std::min(count, int(found.size()) - 1);
        while (slot > 0 && found[std::size_t(slot - 1)].distanceSq > d) {
            found[std::size_t(slot)] = found[std::size_t(slot - 1)];
            --slot;
        }
        found[std::size_t(slot)] = {point, d};
        count = std::min(count + 1, int(found.size()));
    }

    const KdTree& tree;
    Rgb query;
    float radiusSq;
    ArrayView<Neighbour> found;
    int count = 0;
};

KdTree::KdTree(ArrayView<const Rgb> points, int leafSize)
    : points(points), leafSize(std::max(leafSize, 1)), order(points.size()) {
    std::iota(order.begin(), order.end(), 0);
    if (!points.empty()) {
        build(0, int(points.size()));
    }
}

int KdTree::build(int begin, int end) {
    const int nodeIndex = int(nodes.size());
    nodes.push(Node{});
    if (end - begin <= leafSize) {
        nodes[std::size_t(nodeIndex)] = Node{-1, 0.f, begin, end};
        return nodeIndex;
    }
    Rgb low(std::numeric_limits<float>::max());
    Rgb high(std::numeric_limits<float>::lowest());
    for (int i = begin; i < end; ++i) {
        const Rgb& p = points[std::size_t(order[std::size_t(i)])];
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], p[axis]);
            high[axis] = std::max(high[axis], p[axis]);
        }
    }
    const Rgb extent = high - low;
    const int axis = extent.r >= extent.g ? (extent.r >= extent.b ? 0 : 2) : (extent.g >= extent.b ? 1 : 2);
    const int middle = begin + (end - begin) / 2;
    std::nth_element(order.begin() + begin, order.begin() + middle, order.begin() + end, [&](int a, int b) {
        return points[std::size_t(a)][axis] < points[std::size_t(b)][axis];
    });
    const float split = points[std::size_t(order[std::size_t(middle)])][axis];
    const int left = build(begin, middle);
    const int right = build(middle, end);
    nodes[std::size_t(nodeIndex)] = Node{axis, split, left, right};
    return nodeIndex;
}

int KdTree::findWithin(const Rgb& query, float radius, ArrayView<Neighbour> found) const {
    return Search(*this, query, radius * radius, found).run();
}

int KdTree::findNearest(const Rgb& query) const {
    Neighbour nearest;
    Search(*this, query, std::numeric_limits<float>::infinity(), ArrayView<Neighbour>(&nearest, 1)).run();
    return nearest.index;
}

} // namespace Vespra
