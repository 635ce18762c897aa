#include "misc/adaptivitydenoising/utils/ImageOps.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <mutex>

#include "foundation/ParallelFor.h"
#include "foundation/VectorClones.h"
#include "misc/adaptivitydenoising/utils/PixelMath.h"
#include "misc/adaptivitydenoising/utils/RowFrame.h"

namespace Vespra::Utils {

using Detail::loadPixel;
using Detail::storePixel;

namespace {

constexpr int ROW_GRAIN = 20;

Float4 sampleVariance(Float4 squared, Float4 mean, float passes) {
    if (!(passes >= 2.f)) {
        return Float4();
    }
    return max(Float4(0.f), squared - mean * mean) / Float4(passes - 1.f);
}

Float4 clampVariance(Float4 v) {
    const Float4 tiny(1e-12f);
    const int small = _mm_movemask_ps((v <= tiny).v) & 7;
    if (small == 7) {
        return tiny;
    }
    if (small == 0) {
        return v;
    }
    const Float4 largest = max(broadcast<0>(v), max(broadcast<1>(v), broadcast<2>(v)));
    return select(v <= tiny, largest, v);
}

int mirror(int index, int size) {
    if (index < 0) {
        return std::min(-index, size - 1);
    }
    if (index >= size) {
        return std::max(2 * size - 2 - index, 0);
    }
    return index;
}

} // namespace

void squaredToVariance(Scheduler& scheduler, BitmapImpl<Rgb>& squared, const BitmapImpl<Rgb>& mean,
                       const BitmapImpl<float>& passes) {
    VESPRA_ASSERT(squared.size() == mean.size() && passes.size() == mean.size());
    parallelFor(scheduler, 0, squared.height(), ROW_GRAIN, [&](int y) {
        Rgb* row = squared.row(y);
        for (int x = 0; x < squared.width(); ++x) {
            storePixel(row, std::size_t(x),
                       sampleVariance(loadPixel(row, std::size_t(x)), loadPixel(mean.row(y), std::size_t(x)),
                                      passes.row(y)[x]));
        }
    });
}

Float4 squaredToClampedVariance(Scheduler& scheduler, BitmapImpl<Rgb>& squared, const BitmapImpl<Rgb>& mean,
                                const BitmapImpl<float>& passes) {
    VESPRA_ASSERT(squared.size() == mean.size() && passes.size() == mean.size());
    std::mutex mutex;
    Float4 total;
    parallelForRange(scheduler, 0, squared.height(), ROW_GRAIN, [&](int first, int end) {
        Float4 sum;
        for (int y = first; y < end; ++y) {
            Rgb* row = squared.row(y);
            for (int x = 0; x < squared.width(); ++x) {
                const Float4 v =
                    clampVariance(sampleVariance(loadPixel(row, std::size_t(x)),
                                                 loadPixel(mean.row(y), std::size_t(x)), passes.row(y)[x]));
                storePixel(row, std::size_t(x), v);
                sum += v;
            }
        }
        std::lock_guard lock(mutex);
        total += sum;
    });
    const float count = float(std::max<std::int64_t>(1, std::int64_t(squared.width()) * squared.height()));
    return total / Float4(count);
}

BitmapImpl<Rgb> blur3(Scheduler& scheduler, const BitmapImpl<Rgb>& image, float side, float centre) {
    const int width = image.width();
    const int height = image.height();
    const Float4 sideTap(side);
    const Float4 centreTap(centre);
    BitmapImpl<Rgb> rows(width, height);
    parallelFor(scheduler, 0, height, 1, [&](int y) {
        const Rgb* in = image.row(y);
        for (int x = 0; x < width; ++x) {
            storePixel(rows.row(y), std::size_t(x),
                       sideTap * (loadPixel(in, std::size_t(mirror(x - 1, width))) +
                                  loadPixel(in, std::size_t(mirror(x + 1, width)))) +
                           centreTap * loadPixel(in, std::size_t(x)));
        }
    });
    BitmapImpl<Rgb> result(width, height);
    parallelFor(scheduler, 0, height, 1, [&](int y) {
        const Rgb* up = rows.row(mirror(y - 1, height));
        const Rgb* down = rows.row(mirror(y + 1, height));
        const Rgb* middle = rows.row(y);
        for (int x = 0; x < width; ++x) {
            const std::size_t i = std::size_t(x);
            storePixel(result.row(y), i,
                       sideTap * (loadPixel(up, i) + loadPixel(down, i)) + centreTap * loadPixel(middle, i));
        }
    });
    return result;
}

BitmapImpl<Rgb> downscale(Scheduler& scheduler, const BitmapImpl<Rgb>& image, bool forVariance) {
    const int width = image.width();
    const int height = image.height();
    const float side = 0.27407f;
    const float centre = 0.45186f;
    const Float4 sideTap(forVariance ? side * side : side);
    const Float4 centreTap(forVariance ? centre * centre : centre);
    BitmapImpl<Rgb> result(width / 2, height / 2);
    // Rows first over the kept rows' neighbourhoods, then columns at the kept columns.
    parallelFor(scheduler, 0, result.height(), 1, [&](int j) {
        const int y = 2 * j;
        const Rgb* up = image.row(mirror(y - 1, height));
        const Rgb* middle = image.row(y);
        const Rgb* down = image.row(mirror(y + 1, height));
        auto column = [&](int x) {
            const std::size_t i = std::size_t(x);
            return sideTap * (loadPixel(up, i) + loadPixel(down, i)) + centreTap * loadPixel(middle, i);
        };
        for (int i = 0; i < result.width(); ++i) {
            const int x = 2 * i;
            storePixel(result.row(j), std::size_t(i),
                       sideTap * (column(mirror(x - 1, width)) + column(mirror(x + 1, width))) +
                           centreTap * column(x));
        }
    });
    return result;
}

BitmapImpl<Rgb> upscale(Scheduler& scheduler, const BitmapImpl<Rgb>& image, int width, int height) {
    const int sourceWidth = image.width();
    const int sourceHeight = image.height();
    BitmapImpl<Rgb> result(width, height);
    if (sourceWidth == 0 || sourceHeight == 0) {
        return result;
    }
    parallelFor(scheduler, 0, height, 1, [&](int j) {
        const float fy = float(j) * float(sourceHeight) / float(height);
        const int y0 = int(fy);
        const int y1 = std::min(y0 + 1, sourceHeight - 1);
        const Float4 ty(fy - float(y0));
        for (int i = 0; i < width; ++i) {
            const float fx = float(i) * float(sourceWidth) / float(width);
            const int x0 = int(fx);
            const int x1 = std::min(x0 + 1, sourceWidth - 1);
            const Float4 tx(fx - float(x0));
            const Float4 top = loadPixel(image.row(y0), std::size_t(x0)) * (Float4(1.f) - tx) +
                               loadPixel(image.row(y0), std::size_t(x1)) * tx;
            const Float4 bottom = loadPixel(image.row(y1), std::size_t(x0)) * (Float4(1.f) - tx) +
                                  loadPixel(image.row(y1), std::size_t(x1)) * tx;
            storePixel(result.row(j), std::size_t(i), top * (Float4(1.f) - ty) + bottom * ty);
        }
    });
    return result;
}

bool gradient(DenoiseContext& context, const BitmapImpl<Rgb>& image, BitmapImpl<Rgb>& output) {
    const int width = image.width();
    const int height = image.height();
    output.resize(width, height);
    if (width < 3 || height < 3) {
        output.fill(Rgb(0.f, 0.f, 0.f, 0.f));
        return true;
    }
    return Detail::runBandsOutOfPlace<int>(
        context, height, [] { return 0; },
        [&](int first, int end, int&) {
            for (int y = first; y < end; ++y) {
                const int cy = std::clamp(y, 1, height - 2);
                for (int x = 0; x < width; ++x) {
                    const int cx = std::clamp(x, 1, width - 2);
                    const Float4 centre = loadPixel(image.row(cy), std::size_t(cx));
                    const Float4 right = loadPixel(image.row(cy), std::size_t(cx + 1)) - centre;
                    const Float4 left = loadPixel(image.row(cy), std::size_t(cx - 1)) - centre;
                    const Float4 down = loadPixel(image.row(cy + 1), std::size_t(cx)) - centre;
                    const Float4 up = loadPixel(image.row(cy - 1), std::size_t(cx)) - centre;
                    storePixel(output.row(y), std::size_t(x),
                               min(right * right, left * left) + min(down * down, up * up));
                }
            }
        });
}

namespace {

/// The median test of one pixel whose neighbourhood (`count` pixels) is sorted by brightness.
Float4 outlierOfSorted(const Float4* sorted, int count, Float4 pixel, float gamma, bool markOnly) {
    const Float4 median = sorted[std::size_t(std::min(count - 1, count / 2 + 1))];
    const int k = std::max(count - 2, 2);
    Float4 spread;
    for (int i = 0; i < std::min(k, count); ++i) {
        spread += (sorted[std::size_t(i)] - median) * (sorted[std::size_t(i)] - median);
    }
    spread /= Float4(float(k));
    const Float4 kept = pixel - median < Float4(0.001f) + Float4(gamma) * spread;
    if ((_mm_movemask_ps(kept.v) & 7) == 7) {
        return pixel;
    }
    return markOnly ? Float4(100000000.f, 0.f, 0.f, 0.f) : median;
}

/// `sortByBrightness` of the neighbourhood of (x, y), with the sort keys (the sums over the
/// colours) made once per pixel in `keys` rather than at each comparison: the same comparisons
/// in the same order, so the same order of the pixels.
Float4 medianOutlier(const BitmapImpl<Rgb>& image, const float* keys, int x, int y, float gamma,
                     bool markOnly) {
    StaticArray<Float4, 9> sorted;
    StaticArray<float, 9> sortedKeys;
    int count = 0;
    const int width = image.width();
    for (int ny = std::max(0, y - 1); ny <= std::min(image.height() - 1, y + 1); ++ny) {
        for (int nx = std::max(0, x - 1); nx <= std::min(width - 1, x + 1); ++nx) {
            const std::size_t at = std::size_t(ny) * std::size_t(width) + std::size_t(nx);
            const Float4 item = loadPixel(image.data(), at);
            const float key = keys[at];
            int j = count++;
            for (; j > 0 && key < sortedKeys[std::size_t(j - 1)]; --j) {
                sorted[std::size_t(j)] = sorted[std::size_t(j - 1)];
                sortedKeys[std::size_t(j)] = sortedKeys[std::size_t(j - 1)];
            }
            sorted[std::size_t(j)] = item;
            sortedKeys[std::size_t(j)] = key;
        }
    }
    return outlierOfSorted(sorted.data(), count, loadPixel(image.row(y), std::size_t(x)), gamma, markOnly);
}

/// Pixels of a row whose whole neighbourhoods `sortNeighbourhoods` sorts at once.
constexpr int RUN = 16;

/// A sorting network of nine (25 comparators).
constexpr int NETWORK[25][2] = {{0, 3}, {1, 7}, {2, 5}, {4, 8}, {0, 7}, {2, 4}, {3, 8}, {5, 6}, {0, 2},
                                {1, 3}, {4, 5}, {7, 8}, {1, 4}, {3, 6}, {5, 7}, {0, 1}, {2, 4}, {3, 5},
                                {6, 8}, {2, 3}, {4, 5}, {6, 7}, {1, 2}, {3, 4}, {5, 6}};

/// Sorts the nine keys of each of RUN neighbourhoods (`keys[place * RUN + pixel]`), carrying the
/// places in the window (`order`, the same layout) along. A key that ties is ordered by its
/// place, so the order is that of the stable insertion of `sortByBrightness`, which meets the
/// pixels of a window in the order of their places; keys must be numbers.
VESPRA_VECTOR_CLONES
void sortNeighbourhoods(float* __restrict keys, std::int32_t* __restrict order) {
    for (const auto& comparator : NETWORK) {
        float* __restrict keyA = keys + comparator[0] * RUN;
        float* __restrict keyB = keys + comparator[1] * RUN;
        std::int32_t* __restrict orderA = order + comparator[0] * RUN;
        std::int32_t* __restrict orderB = order + comparator[1] * RUN;
        for (int i = 0; i < RUN; ++i) {
            const float a = keyA[i];
            const float b = keyB[i];
            const std::int32_t placeA = orderA[i];
            const std::int32_t placeB = orderB[i];
            const bool swap = a > b || (a == b && placeA > placeB);
            keyA[i] = Detail::laneSelect(swap, b, a);
            keyB[i] = Detail::laneSelect(swap, a, b);
            orderA[i] = swap ? placeB : placeA;
            orderB[i] = swap ? placeA : placeB;
        }
    }
}

/// `medianOutlier` of the RUN pixels from (x, y) on, none at an edge of the image: their
/// neighbourhoods sorted by one network; false when a key is not a number.
bool medianOutliers(const BitmapImpl<Rgb>& image, const float* keys, int x, int y, float gamma, bool markOnly,
                    Rgb* target) {
    alignas(64) float sortedKeys[9 * RUN];
    alignas(64) std::int32_t order[9 * RUN];
    const std::size_t width = std::size_t(image.width());
    bool numbers = true;
    for (int place = 0; place < 9; ++place) {
        const float* row = keys + std::size_t(y + place / 3 - 1) * width + std::size_t(x + place % 3 - 1);
        for (int i = 0; i < RUN; ++i) {
            sortedKeys[place * RUN + i] = row[i];
            order[place * RUN + i] = place;
            numbers &= row[i] == row[i];
        }
    }
    if (!numbers) {
        return false;
    }
    sortNeighbourhoods(sortedKeys, order);
    for (int i = 0; i < RUN; ++i) {
        StaticArray<Float4, 9> sorted;
        for (int rank = 0; rank < 9; ++rank) {
            const int place = order[rank * RUN + i];
            sorted[std::size_t(rank)] =
                loadPixel(image.row(y + place / 3 - 1), std::size_t(x + i + place % 3 - 1));
        }
        storePixel(
            target, std::size_t(x + i),
            outlierOfSorted(sorted.data(), 9, loadPixel(image.row(y), std::size_t(x + i)), gamma, markOnly));
    }
    return true;
}

} // namespace

bool outlierRemoval(DenoiseContext& context, BitmapImpl<Rgb>& image, BitmapImpl<Rgb>& output, float gamma,
                    bool markOnly) {
    // The brightness of each pixel, by which its neighbourhoods are sorted.
    BitmapImpl<float> keys(image.width(), image.height(), UNINITIALIZED);
    parallelFor(context.scheduler, 0, image.height(), ROW_GRAIN, [&](int y) {
        const Rgb* row = image.row(y);
        float* keyRow = keys.row(y);
        for (int x = 0; x < image.width(); ++x) {
            keyRow[x] = Detail::sumOfColours(loadPixel(row, std::size_t(x))).x();
        }
    });
    const int width = image.width();
    const int height = image.height();
    auto filterRows = [&](int first, int end, auto&& targetRow) {
        for (int y = first; y < end; ++y) {
            Rgb* target = targetRow(y);
            int x = 0;
            if (y > 0 && y < height - 1) {
                // Whole neighbourhoods: runs of pixels sorted together.
                x = 1;
                storePixel(target, 0, medianOutlier(image, keys.data(), 0, y, gamma, markOnly));
                for (; x + RUN <= width - 1; x += RUN) {
                    if (!medianOutliers(image, keys.data(), x, y, gamma, markOnly, target)) {
                        for (int i = x; i < x + RUN; ++i) {
                            storePixel(target, std::size_t(i),
                                       medianOutlier(image, keys.data(), i, y, gamma, markOnly));
                        }
                    }
                }
            }
            for (; x < width; ++x) {
                storePixel(target, std::size_t(x), medianOutlier(image, keys.data(), x, y, gamma, markOnly));
            }
        }
    };
    if (&output == &image) {
        return Detail::runBandsInPlace<int>(
            context, image, 1, [] { return 0; },
            [&](int first, int end, int&, auto& targetRow) { filterRows(first, end, targetRow); });
    }
    output.resize(image.width(), image.height());
    return Detail::runBandsOutOfPlace<int>(
        context, image.height(), [] { return 0; },
        [&](int first, int end, int&) { filterRows(first, end, [&](int y) { return output.row(y); }); });
}

void minMax(Scheduler& scheduler, const BitmapImpl<Rgb>& image, Float4& minimum, Float4& maximum) {
    std::mutex mutex;
    minimum = Float4(std::numeric_limits<float>::infinity());
    maximum = Float4(-std::numeric_limits<float>::infinity());
    parallelForRange(scheduler, 0, image.height(), ROW_GRAIN, [&](int first, int end) {
        Float4 low(std::numeric_limits<float>::infinity());
        Float4 high(-std::numeric_limits<float>::infinity());
        for (int y = first; y < end; ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const Float4 pixel = loadPixel(image.row(y), std::size_t(x));
                low = min(low, pixel);
                high = max(high, pixel);
            }
        }
        std::lock_guard lock(mutex);
        minimum = min(minimum, low);
        maximum = max(maximum, high);
    });
}

} // namespace Vespra::Utils
