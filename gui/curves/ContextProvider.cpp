#include "gui/curves/ContextProvider.h"

#include "foundation/DebugLog.h"
#include "gui/curves/CurveProperties.h"
#include "gui/curves/PixelHistogram.h"
#include "gui/windows/ElementComboBox.h"
#include "gui/windows/MainFrame.h"

namespace Vespra::Wx {

namespace {

/// What the editor reads: the element's pixels at full size, before the curves.
constexpr float FULL_SIZE = 1.f;
constexpr std::uint32_t BEFORE_CURVES = Pipeline::PullFlag::HISTOGRAM;

} // namespace

Function<Histogram()> ContextProvider::histogramJob(Range range, int channel, int binCount) {
    Detail::debugPrintImpl(u"getHistogram");
    // The element and the size are read here, on the GUI thread; the job itself only pulls.
    Pipeline::IOperator* source = &graph.zoom;
    const String element = frame.getElementComboBox()->currentName();
    const Bucket whole = graph.zoom.getDisplayWindow();
    return [source, element, whole, range, channel, binCount] {
        const Optional<Pipeline::ColorBitmap> pixels =
            whole.isEmpty() ? std::nullopt
                            : Pipeline::pullColorBitmap(source, element, whole, FULL_SIZE, BEFORE_CURVES);
        if (!pixels) {
            return Histogram{Array<std::uint64_t>(std::size_t(std::max(binCount, 0)), 0), range};
        }
        return countPixelHistogram(*pixels, range, channel, binCount);
    };
}

Optional<BitmapImpl<Rgb, 0>> ContextProvider::getPixels(const Bucket& region) {
    return Pipeline::pullColorBitmap(&graph.zoom, frame.getElementComboBox()->currentName(), region,
                                     FULL_SIZE, BEFORE_CURVES);
}

void ContextProvider::setCurves(const ColorCurve& curves, ArrayView<const int> changed) {
    for (const int index : changed) {
        writeCurve(settings, curves, index);
    }
}

} // namespace Vespra::Wx
