#include "gui/curves/CurveProperties.h"

namespace Vespra::Wx {

ColorCurve readCurves(const Abstract::Settings& settings) {
    ColorCurve curves;
    for (int i = 0; i < ColorCurve::COUNT; ++i) {
        const Property nodes = settings.get(CURVE_NODES_IDS[std::size_t(i)]);
        const Property interpolation = settings.get(CURVE_INTERPOLATION_IDS[std::size_t(i)]);
        curves.set(i, Curve(nodes.asVec2Array(), CurveInterpolation(interpolation.asInt())));
    }
    return curves;
}

void writeCurve(Abstract::Settings& settings, const ColorCurve& curves, int index) {
    const Curve& curve = curves[index];
    settings.set(CURVE_NODES_IDS[std::size_t(index)], Property(curve.nodes()));
    settings.set(CURVE_INTERPOLATION_IDS[std::size_t(index)], Property(std::int32_t(curve.interpolation())));
}

} // namespace Vespra::Wx
