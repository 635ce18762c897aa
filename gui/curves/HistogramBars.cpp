#include "gui/curves/HistogramBars.h"

#include <algorithm>
#include <cmath>

namespace Vespra::Wx {

HistogramBars::HistogramBars(Histogram counts, float height)
    : histogram(std::move(counts)), cumulativeBins(histogram.counts.size(), 0), height(height) {
    std::uint64_t total = 0;
    for (std::size_t i = 0; i < histogram.counts.size(); ++i) {
        total += histogram.counts[i];
        cumulativeBins[i] = total;
        largestBin = std::max(largestBin, histogram.counts[i]);
    }
    histogramScale = largestBin > 0 ? height / float(largestBin) : 0.f;
    cumulativeScale = total > 0 ? height / float(total) : 0.f;
}

float HistogramBars::barHeight(std::size_t bin, HistogramType type) const {
    switch (type) {
    case HistogramType::LOGARITHMIC:
        return largestBin > 0
                   ? float(std::log(double(histogram.counts[bin]) + 1.) / std::log(double(largestBin) + 1.)) *
                         height
                   : 0.f;
    case HistogramType::CUMULATIVE:
        return float(cumulativeBins[bin]) * cumulativeScale;
    default:
        return float(histogram.counts[bin]) * histogramScale;
    }
}

} // namespace Vespra::Wx
