#include <algorithm>

#include "foundation/FastMath.h"
#include "foundation/ParallelFor.h"
#include "imaging/KdTree.h"
#include "imaging/LutTables.h"

namespace Vespra {

namespace {

constexpr int INVERSE_3D_NEIGHBOURS = 16;
constexpr int INVERSE_3D_ROW_GRAIN = 10;
/// Halvings enough for any pair of finite floats; guards against tables holding infinities.
constexpr int MAX_BISECTION_STEPS = 300;

/// Runs `body(index)` for [0, count), in parallel when asked and when there is more than one
/// chunk of `grain` to share.
template <class Body>
void forEachIndex(bool parallel, int count, int grain, Body&& body) {
    if (parallel && count > grain) {
        parallelFor(Scheduler::highPriorityInstance(), 0, count, grain, body);
    } else {
        for (int i = 0; i < count; ++i) {
            body(i);
        }
    }
}

float maxColorLane(Float4 a) {
    return std::max({a[0], a[1], a[2]});
}

} // namespace

InverseLut1D::InverseLut1D(const Lut1D& forward, bool parallel) : Lut1D(forward.size) {
    const int n = size;
    const float tolerance = 1.f / float(n);
    const Float4 first(forward.table.front());
    const Float4 last(forward.table.back());
    forEachIndex(parallel, n, std::max(n / 100, 1), [&](int i) {
        const Float4 target(float(i) / float(n - 1));
        Float4 low = first;
        Float4 high = last;
        for (int step = 0; step < MAX_BISECTION_STEPS && maxColorLane(abs(low - high)) > tolerance; ++step) {
            const Float4 middle = (low + high) * Float4(0.5f);
            const Float4 above = target < forward.evaluate(middle);
            high = select(above, middle, high);
            low = select(above, low, middle);
        }
        Rgb entry = ((low + high) * Float4(0.5f)).toRgb();
        entry.a = 0.f;
        table[std::size_t(i)] = entry;
    });
}

InverseLut3D::InverseLut3D(const Lut3D& forward, bool parallel) : Lut3D(forward.size) {
    const int n = size;
    const KdTree tree(forward.table.view());
    const float scale = 1.f / float(n - 1);
    const float radius = 2.f / float(n);
    const auto gridPosition = [&](int index) {
        return Rgb(float(index % n) * scale, float(index / n % n) * scale, float(index / (n * n)) * scale,
                   0.f);
    };
    const int rowCount = n * n;
    forEachIndex(parallel, rowCount, INVERSE_3D_ROW_GRAIN, [&](int row) {
        const int g = row % n;
        const int b = row / n;
        StaticArray<KdTree::Neighbour, INVERSE_3D_NEIGHBOURS> found;
        for (int r = 0; r < n; ++r) {
            const Rgb point(float(r) * scale, float(g) * scale, float(b) * scale, 0.f);
            const int count = tree.findWithin(point, radius, found);
            Rgb sum(0.f, 0.f, 0.f, 0.f);
            float weightSum = 0.f;
            for (int k = 0; k < count; ++k) {
                const float weight = exp2Approx(-float(n * n) * found[std::size_t(k)].distanceSq);
                sum += gridPosition(found[std::size_t(k)].index) * weight;
                weightSum += weight;
            }
            table[index(r, g, b)] = weightSum > 0.f ? sum / weightSum : gridPosition(tree.findNearest(point));
        }
    });
}

} // namespace Vespra
