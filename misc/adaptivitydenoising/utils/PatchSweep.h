#pragma once

#include <algorithm>
#include <cstddef>
#include <type_traits>

#include "foundation/Bitmap.h"
#include "foundation/Containers.h"
#include "misc/adaptivitydenoising/utils/PixelMath.h"
#include "misc/adaptivitydenoising/utils/RowFrame.h"
#include "misc/adaptivitydenoising/utils/SweepKernels.h"

namespace Vespra::Detail {

/// Columns of one tile: a band of rows is filtered tile by tile, so that the accumulators of
/// a tile stay in the cache while the search window is swept.
inline constexpr int TILE_WIDTH = 48;

/// Geometry of an NLM filter: a search window of radius `RADIUS`, patches of side `PATCH`, and
/// a second, smaller patch of side `SMALL_PATCH` (the three-way filter's first candidate).
template <int RADIUS_, int PATCH_, int SMALL_PATCH_ = PATCH_>
struct SweepShape {
    static constexpr int RADIUS = RADIUS_;
    static constexpr int PATCH = PATCH_;
    static constexpr int SMALL_PATCH = SMALL_PATCH_;
    static constexpr int HALF = PATCH / 2;
    static constexpr int SMALL_HALF = SMALL_PATCH / 2;
    /// Pixels closer than this to an edge see a window or a patch cut by it.
    static constexpr int MARGIN = RADIUS + HALF;
    static_assert(PATCH % 2 == 1 && SMALL_PATCH % 2 == 1 && SMALL_PATCH <= PATCH);
};

/// Buffers of one worker for the patch distances of a tile. `Dist` is `float` for filters that
/// weigh by the mean over colours, `Float4` for those that weigh each lane apart.
template <class Dist, class Shape>
struct SweepBuffers {
    static constexpr int HALF = Shape::HALF;
    static constexpr int REGION_ROWS = BAND_ROWS + 2 * HALF;
    static constexpr int STRIDE = TILE_WIDTH + 2 * HALF + 4;

    // All rows STRIDE apart, so that each box sum is one run over the whole region; the sums
    // near a row's end run on into the padding after it, and nobody reads them.
    Array<Dist> distances = Array<Dist>(std::size_t(REGION_ROWS) * STRIDE + 2 * HALF);
    Array<Dist> rowSums = Array<Dist>(std::size_t(REGION_ROWS) * STRIDE);
    Array<Dist> smallRowSums = Array<Dist>(std::size_t(REGION_ROWS) * STRIDE);
    Array<Dist> patchSums = Array<Dist>(std::size_t(BAND_ROWS) * STRIDE);
    Array<Dist> smallPatchSums = Array<Dist>(std::size_t(BAND_ROWS) * STRIDE);
    /// The lanes of one row of the distance image before they are summed over the colours.
    Array<float> laneDistances = Array<float>(std::size_t(4) * STRIDE);
    StaticArray<float, BAND_ROWS> rowFactors{};
    StaticArray<float, BAND_ROWS> smallRowFactors{};
    StaticArray<float, TILE_WIDTH> columnFactors{};
    StaticArray<float, TILE_WIDTH> smallColumnFactors{};
};

/// A rectangle of pixels [x0, x1) x [y0, y1) of an image of the given size.
struct Tile {
    int x0, x1, y0, y1;
    int width, height;

    int columns() const { return x1 - x0; }
    int rows() const { return y1 - y0; }
};

namespace Sweep {

/// `addRange` of the sweep's floats over distances of type `Dist`, `step` and `count` in distances.
template <class Dist>
inline void addDistances(Dist* out, const Dist* in, int step, int from, int to, int count, bool accumulate) {
    constexpr int LANES = int(sizeof(Dist) / sizeof(float));
    addRange(reinterpret_cast<float*>(out), reinterpret_cast<const float*>(in), std::ptrdiff_t(LANES) * step,
             from, to, LANES * count, accumulate);
}

/// Distances of one row of the region for `count` pixels; `lanes` holds 4 * count floats of scratch.
template <class Dist>
inline void distanceRow(Dist* out, const Rgb* a, const Rgb* b, const Rgb* va, const Rgb* vb, int count,
                        float alpha, float epsilon, float* lanes) {
    auto floats = [](const Rgb* pixels) { return reinterpret_cast<const float*>(pixels); };
    if constexpr (std::is_same_v<Dist, float>) {
        pairDistances(lanes, floats(a), floats(b), floats(va), floats(vb), 4 * count, alpha, epsilon);
        colourSums(out, lanes, count);
    } else {
        pairDistances(reinterpret_cast<float*>(out), floats(a), floats(b), floats(va), floats(vb), 4 * count,
                      alpha, epsilon);
    }
}

/// Number of the positions [at - half, at + half] inside [validFrom, validTo).
inline int coveredCount(int at, int half, int validFrom, int validTo) {
    return std::min(at + half + 1, validTo) - std::max(at - half, validFrom);
}

} // namespace Sweep

/// For every offset of the search window, in rows, the patch distance of every pixel p of
/// `tile` to p + offset is the mean of one distance image over the patch, where the image
/// holds zero and the mean leaves out the pixels at which p + o or p + offset + o falls off
/// the image. So the distances of one offset are box sums of one distance image, made once
/// per tile instead of once per pixel pair.
///
/// Calls `beginOffset(dx, dy)`, then for each row of the tile
/// `visitRow(rowIndex, firstColumn, endColumn, rowStart, offset, distances, smallDistances)`: the
/// pixels p = rowStart + c for c in [firstColumn, endColumn) have their neighbour q = p + offset
/// inside the image, and their patch distances at index c; tile index rowIndex + c. Distances of
/// `float` filters are means over the colours as well. `skipCentre` leaves out the offset (0, 0).
template <class Shape, class Dist, class BeginOffset, class VisitRow>
void sweepTile(const Tile& tile, SweepBuffers<Dist, Shape>& buffers, const Rgb* colour, const Rgb* variance,
               float alpha, float epsilon, bool skipCentre, BeginOffset&& beginOffset, VisitRow&& visitRow) {
    using Buffers = SweepBuffers<Dist, Shape>;
    constexpr int HALF = Shape::HALF;
    constexpr int SMALL_HALF = Shape::SMALL_HALF;
    constexpr bool HAS_SMALL = Shape::SMALL_PATCH != Shape::PATCH;
    constexpr float COLOUR_MEAN = std::is_same_v<Dist, float> ? 1.f / 3.f : 1.f;
    const int width = tile.width;
    const int height = tile.height;
    const int columns = tile.columns();
    const int rows = tile.rows();
    const int regionRows = rows + 2 * HALF;
    const int regionColumns = columns + 2 * HALF;

    for (int dy = -Shape::RADIUS; dy <= Shape::RADIUS; ++dy) {
        const int validY0 = std::max(0, -dy);
        const int validY1 = std::min(height, height - dy);
        for (int dx = -Shape::RADIUS; dx <= Shape::RADIUS; ++dx) {
            if (skipCentre && dx == 0 && dy == 0) {
                continue;
            }
            const int validX0 = std::max(0, -dx);
            const int validX1 = std::min(width, width - dx);
            const int pixelX0 = std::max(tile.x0, validX0);
            const int pixelX1 = std::min(tile.x1, validX1);
            if (pixelX0 >= pixelX1 || std::max(tile.y0, validY0) >= std::min(tile.y1, validY1)) {
                continue;
            }
            beginOffset(dx, dy);

            // The distance image over the tile and its patch border, zero where it is undefined.
            const int regionX0 = tile.x0 - HALF;
            const int computeX0 = std::max(regionX0, validX0);
            const int computeX1 = std::min(tile.x1 + HALF, validX1);
            for (int r = 0; r < regionRows; ++r) {
                Dist* out = buffers.distances.data() + std::size_t(r) * Buffers::STRIDE;
                const int y = tile.y0 - HALF + r;
                if (y < validY0 || y >= validY1 || computeX0 >= computeX1) {
                    std::fill(out, out + regionColumns, Dist());
                    continue;
                }
                std::fill(out, out + (computeX0 - regionX0), Dist());
                std::fill(out + (computeX1 - regionX0), out + regionColumns, Dist());
                const std::size_t a = std::size_t(y) * std::size_t(width) + std::size_t(computeX0);
                const std::size_t b = a + std::size_t(std::ptrdiff_t(dy) * width + dx);
                Sweep::distanceRow(out + (computeX0 - regionX0), colour + a, colour + b, variance + a,
                                   variance + b, computeX1 - computeX0, alpha, epsilon,
                                   buffers.laneDistances.data());
            }

            // Box sums: the small patch first, the large one adds its outer columns and rows.
            const int regionCount = regionRows * Buffers::STRIDE;
            const int tileCount = rows * Buffers::STRIDE;
            const Dist* in = buffers.distances.data();
            Dist* small = buffers.smallRowSums.data();
            Dist* large = buffers.rowSums.data();
            Sweep::addDistances(small, in, 1, HALF - SMALL_HALF, HALF + SMALL_HALF, regionCount, false);
            if constexpr (HAS_SMALL) {
                std::copy(small, small + regionCount, large);
                Sweep::addDistances(large, in, 1, 0, HALF - SMALL_HALF - 1, regionCount, true);
                Sweep::addDistances(large, in, 1, HALF + SMALL_HALF + 1, 2 * HALF, regionCount, true);
                Sweep::addDistances(buffers.smallPatchSums.data(), small, Buffers::STRIDE, HALF - SMALL_HALF,
                                    HALF + SMALL_HALF, tileCount, false);
            }
            Sweep::addDistances(buffers.patchSums.data(), HAS_SMALL ? large : small, Buffers::STRIDE, 0,
                                2 * HALF, tileCount, false);

            // Means over the pixels each patch really used.
            for (int r = 0; r < rows; ++r) {
                const int y = tile.y0 + r;
                buffers.rowFactors[std::size_t(r)] =
                    COLOUR_MEAN / float(Sweep::coveredCount(y, HALF, validY0, validY1));
                buffers.smallRowFactors[std::size_t(r)] =
                    COLOUR_MEAN / float(std::max(1, Sweep::coveredCount(y, SMALL_HALF, validY0, validY1)));
            }
            for (int x = pixelX0; x < pixelX1; ++x) {
                buffers.columnFactors[std::size_t(x - tile.x0)] =
                    1.f / float(Sweep::coveredCount(x, HALF, validX0, validX1));
                buffers.smallColumnFactors[std::size_t(x - tile.x0)] =
                    1.f / float(std::max(1, Sweep::coveredCount(x, SMALL_HALF, validX0, validX1)));
            }

            const std::ptrdiff_t offset = std::ptrdiff_t(dy) * width + dx;
            const int firstColumn = pixelX0 - tile.x0;
            const int endColumn = pixelX1 - tile.x0;
            for (int y = std::max(tile.y0, validY0); y < std::min(tile.y1, validY1); ++y) {
                const int r = y - tile.y0;
                Dist* distance = buffers.patchSums.data() + std::size_t(r) * Buffers::STRIDE;
                Dist* smallDistance = (HAS_SMALL ? buffers.smallPatchSums : buffers.patchSums).data() +
                                      std::size_t(r) * Buffers::STRIDE;
                const float rowFactor = buffers.rowFactors[std::size_t(r)];
                const float smallRowFactor = buffers.smallRowFactors[std::size_t(r)];
                for (int c = firstColumn; c < endColumn; ++c) {
                    distance[c] *= Dist(rowFactor * buffers.columnFactors[std::size_t(c)]);
                    if constexpr (HAS_SMALL) {
                        smallDistance[c] *= Dist(smallRowFactor * buffers.smallColumnFactors[std::size_t(c)]);
                    }
                }
                const std::size_t rowStart = std::size_t(y) * std::size_t(width) + std::size_t(tile.x0);
                visitRow(r * TILE_WIDTH, firstColumn, endColumn, rowStart, offset, distance, smallDistance);
            }
        }
    }
}

/// Adapts `visit(tileIndex, p, q, distance, smallDistance)` of one pixel to a row visitor of `sweepTile`.
template <class Visit>
auto eachPixel(Visit& visit) {
    return [&visit](int rowIndex, int firstColumn, int endColumn, std::size_t rowStart, std::ptrdiff_t offset,
                    const auto* distances, const auto* smallDistances) {
        for (int c = firstColumn; c < endColumn; ++c) {
            const std::size_t p = rowStart + std::size_t(c);
            visit(rowIndex + c, p, std::size_t(std::ptrdiff_t(p) + offset), distances[c], smallDistances[c]);
        }
    };
}

} // namespace Vespra::Detail
