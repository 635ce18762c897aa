#include "gui/curves/Equalize.h"

#include <vector>

#include "gui/curves/CurveNodes.h"

namespace Vespra::Wx {

namespace {

/// The step of t between the nodes: just above 1/16, so that there are fifteen below 1.
constexpr double STEP = 0.062501;

} // namespace

Optional<ColorCurve> equalizedCurves(const Histogram& histogram, const ColorCurve& current) {
    std::vector<std::uint64_t> runningSum;
    std::uint64_t total = 0;
    for (const std::uint64_t count : histogram.counts) {
        total += count;
        runningSum.push_back(total);
    }
    if (total == 0) {
        return std::nullopt;
    }
    std::vector<Vector2> master{{0.f, 0.f}, {EQUALIZE_RANGE.max, 1.f}};
    const auto bins = std::size_t(histogram.counts.size());
    for (int k = 1; double(k) * STEP < 1.; ++k) {
        const double t = double(k) * STEP;
        const auto bin = std::min(std::size_t(t * double(bins)), bins - 1);
        master.push_back({float(2. * t), float(double(runningSum[bin]) / double(total))});
    }
    ColorCurve curves;
    curves.set(0, Curve(master, current[0].interpolation()));
    for (int i = 1; i < ColorCurve::COUNT; ++i) {
        curves.set(i, identityCurve(current[i].interpolation()));
    }
    return curves;
}

} // namespace Vespra::Wx
