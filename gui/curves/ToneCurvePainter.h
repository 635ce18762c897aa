#pragma once

#include <wx/colour.h>

#include "foundation/Curve.h"
#include "foundation/Optional.h"
#include "gui/curves/GraphView.h"
#include "gui/curves/HistogramBars.h"

class wxDC;

namespace Vespra::Wx {

/// What the curve graph shows.
struct ToneCurveScene {
    const GraphView& view;
    const ColorCurve& curves;
    int activeChannel = 0;
    const HistogramBars& histogram;
    HistogramType histogramType = HistogramType::LINEAR;
    /// The point of the active curve under the mouse, marked when set.
    Optional<Vector2> hoverPoint;
    wxColour background;
};

/// Paints the graph over the whole of `dc` (the widget's size is the view's): the background,
/// the histogram in the active channel's colour, the grid, a dashed diagonal, the curves (the
/// active one on top and wider; inactive identity lines left out), the active curve's nodes and
/// the hover mark. Curves go through a graphics context, so that they are smooth at any scale.
void paintToneCurveGraph(wxDC& dc, const ToneCurveScene& scene);

} // namespace Vespra::Wx
