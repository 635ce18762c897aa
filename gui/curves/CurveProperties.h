#pragma once

#include <array>
#include <cstdint>

#include "foundation/Curve.h"
#include "settings/PropertyIds.h"
#include "settings/Settings.h"

namespace Vespra::Wx {

/// The properties of the curves, by curve index (master, red, green, blue).
inline constexpr std::array<std::int32_t, ColorCurve::COUNT> CURVE_NODES_IDS{
    PropertyId::CURVES_MASTER_NODES, PropertyId::CURVES_RED_NODES, PropertyId::CURVES_GREEN_NODES,
    PropertyId::CURVES_BLUE_NODES};
inline constexpr std::array<std::int32_t, ColorCurve::COUNT> CURVE_INTERPOLATION_IDS{
    PropertyId::CURVES_MASTER_INTERPOLATION, PropertyId::CURVES_RED_INTERPOLATION,
    PropertyId::CURVES_GREEN_INTERPOLATION, PropertyId::CURVES_BLUE_INTERPOLATION};

/// The four curves as the properties hold them.
ColorCurve readCurves(const Abstract::Settings& settings);

/// Writes curve `index` of `curves`: its nodes, then its interpolation.
void writeCurve(Abstract::Settings& settings, const ColorCurve& curves, int index);

} // namespace Vespra::Wx
