#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/Containers.h"
#include "foundation/Histogram.h"

namespace Vespra::Wx {

/// How the histogram behind the curves is drawn; KEEP, as an argument, keeps the current kind.
enum class HistogramType : int { LINEAR = 0, LOGARITHMIC = 1, CUMULATIVE = 2, KEEP = 3 };

/// The bars of a histogram drawn `height` pixels high: linear, the largest bin filling the
/// height; logarithmic, log(count + 1) against log(largest + 1); or cumulative, the running sum
/// against the total.
class HistogramBars {
public:
    HistogramBars() = default;
    HistogramBars(Histogram histogram, float height);

    /// The height of bar `bin`, in pixels.
    float barHeight(std::size_t bin, HistogramType type) const;

    std::size_t size() const { return histogram.counts.size(); }
    const Histogram& getHistogram() const { return histogram; }

private:
    Histogram histogram;
    Array<std::uint64_t> cumulativeBins;
    std::uint64_t largestBin = 0;
    float height = 0.f;
    float histogramScale = 0.f;
    float cumulativeScale = 0.f;
};

} // namespace Vespra::Wx
