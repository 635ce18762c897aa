#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "foundation/Bitmap.h"
#include "foundation/Bucket.h"
#include "foundation/ParallelFor.h"

namespace Vespra {

/// The size of `region` shown at `zoom`: each side times 1 / zoom, rounded up.
Pixel resampledSize(const Bucket& region, float zoom);

namespace Detail {
/// Output rows per chunk of the parallel loops: enough to keep the scheduler's overhead small
/// next to the copying.
inline constexpr int RESAMPLE_ROW_GRAIN = 8;
} // namespace Detail

/// The pixels of `region` at `zoom`, where `read(x, y)` answers the source pixel at (x, y).
/// Below zoom 1 every source pixel fills a square block of round(1 / zoom) output pixels,
/// clipped to the output, so the picture never gets gaps or blurred edges; above it the nearest
/// source pixel is taken by truncation; at zoom 1 the region is copied. Rows are filled in
/// parallel on the high-priority scheduler, so `read` is called from several threads at once.
template <class T, class Read>
BitmapImpl<T> resample(const Bucket& region, float zoom, Read&& read) {
    const Pixel size = resampledSize(region, zoom);
    BitmapImpl<T> out(size.x, size.y);
    Scheduler& scheduler = Scheduler::highPriorityInstance();
    if (zoom == 1.f) {
        parallelFor(scheduler, 0, size.y, Detail::RESAMPLE_ROW_GRAIN, [&](std::int32_t y) {
            T* target = out.row(y);
            for (std::int32_t x = 0; x < size.x; ++x) {
                target[x] = read(region.x0 + x, region.y0 + y);
            }
        });
    } else if (zoom < 1.f) {
        const auto factor = std::int32_t(std::lround(1.f / zoom));
        // Each source row fills its own block of output rows.
        parallelFor(scheduler, region.y0, region.y1, 1, [&](std::int32_t y) {
            const std::int32_t top = (y - region.y0) * factor;
            const std::int32_t bottom = std::min(top + factor, size.y);
            for (std::int32_t x = region.x0; x < region.x1; ++x) {
                const T value = read(x, y);
                const std::int32_t left = (x - region.x0) * factor;
                const std::int32_t right = std::min(left + factor, size.x);
                for (std::int32_t j = top; j < bottom; ++j) {
                    std::fill(out.row(j) + left, out.row(j) + std::max(left, right), value);
                }
            }
        });
    } else {
        const auto source = [&](std::int32_t index, std::int32_t origin, std::int32_t end) {
            return std::min(origin + std::int32_t(float(index) * zoom), end - 1);
        };
        parallelFor(scheduler, 0, size.y, Detail::RESAMPLE_ROW_GRAIN, [&](std::int32_t j) {
            const std::int32_t y = source(j, region.y0, region.y1);
            T* target = out.row(j);
            for (std::int32_t i = 0; i < size.x; ++i) {
                target[i] = read(source(i, region.x0, region.x1), y);
            }
        });
    }
    return out;
}

} // namespace Vespra
