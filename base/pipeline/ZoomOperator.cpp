#include "base/pipeline/ZoomOperator.h"

#include <algorithm>

namespace Vespra::Pipeline {

namespace {

/// Each pixel of `source` as a block of `factor` by `factor` pixels.
template <class T>
BitmapImpl<T> magnify(const BitmapImpl<T>& source, std::int32_t factor) {
    BitmapImpl<T> out(source.width() * factor, source.height() * factor);
    for (std::int32_t y = 0; y < out.height(); ++y) {
        const T* in = source.row(y / factor);
        T* row = out.row(y);
        for (std::int32_t x = 0; x < source.width(); ++x) {
            std::fill_n(row + x * factor, factor, in[x]);
        }
    }
    return out;
}

template <class T, class Pull>
Optional<BitmapImpl<T>> zoomed(const Bucket& region, float zoom, Pull pull) {
    if (zoom >= 1.f) {
        return pull(region, zoom);
    }
    Optional<BitmapImpl<T>> source = pull(region, 1.f);
    if (!source) {
        return std::nullopt;
    }
    return magnify(*source, std::max(std::int32_t(1.f / zoom), 1));
}

} // namespace

Optional<ColorBitmap> ZoomOperator::getColorBitmap(const String& name, const Bucket& region, float zoom,
                                                   std::uint32_t flags) {
    return zoomed<Rgb>(region, zoom, [&](const Bucket& pulled, float pulledZoom) {
        return pullColorBitmap(upstream[0], name, pulled, pulledZoom, flags);
    });
}

Optional<MonoBitmap> ZoomOperator::getMonoBitmap(const String& name, const Bucket& region, float zoom,
                                                 std::uint32_t flags) {
    return zoomed<float>(region, zoom, [&](const Bucket& pulled, float pulledZoom) {
        return pullMonoBitmap(upstream[0], name, pulled, pulledZoom, flags);
    });
}

} // namespace Vespra::Pipeline
