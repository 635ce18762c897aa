#pragma once

#include "base/pipeline/OperatorGraph.h"
#include "gui/curves/CurveInterface.h"
#include "settings/Settings.h"

namespace Vespra::Wx {

class MainFrame;

/// The curve editor's world: the element the frame shows, pulled from the end of the operator
/// graph before the curves, and the curve properties of the settings.
class ContextProvider : public Abstract::CurveInterface {
public:
    ContextProvider(MainFrame& frame, Settings& settings, Pipeline::OperatorGraph& graph)
        : frame(frame), settings(settings), graph(graph) {}

    /// Pulls the whole element shown at scale 1 with the flag that leaves the curves out.
    Function<Histogram()> histogramJob(Range range, int channel, int binCount) override;
    Optional<BitmapImpl<Rgb, 0>> getPixels(const Bucket& region) override;
    /// Writes the nodes and then the interpolation of each changed curve.
    void setCurves(const ColorCurve& curves, ArrayView<const int> changed) override;

private:
    MainFrame& frame;
    Settings& settings;
    Pipeline::OperatorGraph& graph;
};

} // namespace Vespra::Wx
