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
/// weigh by the mean over colours, `Float4` for those that weigh each lane apart. Rows lie
/// `STRIDE_` distances apart, at least the tile's width and its patch border.
template <class Dist, class Shape, int STRIDE_ = TILE_WIDTH + 2 * Shape::HALF + 4>
struct SweepBuffers {
    using DistType = Dist;
    using ShapeType = Shape;
    static constexpr int HALF = Shape::HALF;
    static constexpr int REGION_ROWS = BAND_ROWS + 2 * HALF;
    static constexpr int STRIDE = STRIDE_;
    static_assert(STRIDE >= TILE_WIDTH + 2 * HALF);

    // All rows STRIDE apart, so that each box sum is one run over the whole region; the sums
    // near a row's end run on into the padding after it, and nobody reads them.
    Array<Dist> distances = Array<Dist>(std::size_t(REGION_ROWS) * STRIDE + 2 * HALF);
    Array<Dist> rowSums = Array<Dist>(std::size_t(REGION_ROWS) * STRIDE);
    Array<Dist> smallRowSums = Array<Dist>(std::size_t(REGION_ROWS) * STRIDE);
    Array<Dist> patchSums = Array<Dist>(std::size_t(BAND_ROWS) * STRIDE);
    Array<Dist> smallPatchSums = Array<Dist>(std::size_t(BAND_ROWS) * STRIDE);
    /// The lanes of one row of the distance image before they are summed over the colours.
    Array<float> laneDistances = Array<float>(std::size_t(4) * STRIDE);
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

/// One offset of the search window as a tile meets it: which pixels p of the tile have their
/// neighbour q = p + (dx, dy) inside the image.
struct TileOffset {
    int dx = 0;
    int dy = 0;
    /// Rows and columns of the image where p + o and p + offset + o both lie inside it.
    int validY0 = 0, validY1 = 0, validX0 = 0, validX1 = 0;
    /// The tile's columns [firstColumn, endColumn) and rows [firstRow, endRow), counted from the
    /// tile's corner, whose pixels have their neighbour inside the image.
    int firstColumn = 0, endColumn = 0, firstRow = 0, endRow = 0;

    /// q - p in pixels of the image.
    std::ptrdiff_t pixelOffset(int width) const { return std::ptrdiff_t(dy) * width + dx; }
};

/// Calls `body(offset)` for every offset of the search window of `Shape`, in rows, that has a
/// pixel of `tile` with its neighbour inside the image. `skipCentre` leaves out (0, 0).
template <class Shape, class Body>
void forEachOffset(const Tile& tile, bool skipCentre, Body&& body) {
    for (int dy = -Shape::RADIUS; dy <= Shape::RADIUS; ++dy) {
        const int validY0 = std::max(0, -dy);
        const int validY1 = std::min(tile.height, tile.height - dy);
        const int rowY0 = std::max(tile.y0, validY0);
        const int rowY1 = std::min(tile.y1, validY1);
        for (int dx = -Shape::RADIUS; dx <= Shape::RADIUS; ++dx) {
            if (skipCentre && dx == 0 && dy == 0) {
                continue;
            }
            const int validX0 = std::max(0, -dx);
            const int validX1 = std::min(tile.width, tile.width - dx);
            const int pixelX0 = std::max(tile.x0, validX0);
            const int pixelX1 = std::min(tile.x1, validX1);
            if (pixelX0 >= pixelX1 || rowY0 >= rowY1) {
                continue;
            }
            body(TileOffset{dx, dy, validY0, validY1, validX0, validX1, pixelX0 - tile.x0, pixelX1 - tile.x0,
                            rowY0 - tile.y0, rowY1 - tile.y0});
        }
    }
}

/// The box sums of the distance image of `buffers` over the patches of the tile's `rows` rows:
/// the small patch first, the large one adds its outer columns and rows; each patch sum times
/// its factor.
template <class Buffers>
void boxSums(Buffers& buffers, int rows, float smallFactor = 1.f, float factor = 1.f) {
    using Shape = typename Buffers::ShapeType;
    using Dist = typename Buffers::DistType;
    constexpr int HALF = Shape::HALF;
    constexpr int SMALL_HALF = Shape::SMALL_HALF;
    constexpr bool HAS_SMALL = Shape::SMALL_PATCH != Shape::PATCH;
    const int regionCount = (rows + 2 * HALF) * Buffers::STRIDE;
    const int tileCount = rows * Buffers::STRIDE;
    const Dist* in = buffers.distances.data();
    Dist* small = buffers.smallRowSums.data();
    Dist* large = buffers.rowSums.data();
    if constexpr (std::is_same_v<Dist, float>) {
        if (Sweep::fusedPatchSums(in, small, large, buffers.smallPatchSums.data(), buffers.patchSums.data(),
                                  HALF, SMALL_HALF, regionCount, tileCount, Buffers::STRIDE, smallFactor,
                                  factor)) {
            return;
        }
    }
    Sweep::addDistances(small, in, 1, HALF - SMALL_HALF, HALF + SMALL_HALF, regionCount, false);
    if constexpr (HAS_SMALL) {
        std::copy(small, small + regionCount, large);
        Sweep::addDistances(large, in, 1, 0, HALF - SMALL_HALF - 1, regionCount, true);
        Sweep::addDistances(large, in, 1, HALF + SMALL_HALF + 1, 2 * HALF, regionCount, true);
        Sweep::addDistances(buffers.smallPatchSums.data(), small, Buffers::STRIDE, HALF - SMALL_HALF,
                            HALF + SMALL_HALF, tileCount, false);
    }
    Sweep::addDistances(buffers.patchSums.data(), HAS_SMALL ? large : small, Buffers::STRIDE, 0, 2 * HALF,
                        tileCount, false);
    const Dist scale(factor);
    const Dist smallScale(smallFactor);
    if (factor != 1.f || smallFactor != 1.f) {
        for (int i = 0; i < tileCount; ++i) {
            buffers.patchSums[std::size_t(i)] *= scale;
            if constexpr (HAS_SMALL) {
                buffers.smallPatchSums[std::size_t(i)] *= smallScale;
            }
        }
    }
}

/// The patch distance of every pixel p of `tile` that has its neighbour at `offset` inside the
/// image, as the mean of one distance image over the patch, where the image holds zero and the
/// mean leaves out the pixels at which p + o or p + offset + o falls off the image. So the
/// distances of one offset are box sums of one distance image, made once per tile instead of
/// once per pixel pair. Row r of the tile has its distances from `buffers.patchSums` +
/// r * STRIDE and its small patch's from `smallPatchDistances`, at the tile's columns.
/// Distances of `float` filters are means over the colours as well.
///
/// `distanceRow(out, y, x0, x1)` writes the distances of the pixels [x0, x1) of image row y to
/// their neighbours at `offset` into `out`, of `float` filters summed over the colours.
template <class Buffers, class DistanceRow>
void patchDistancesOf(const Tile& tile, const TileOffset& offset, Buffers& buffers,
                      DistanceRow&& distanceRow) {
    using Shape = typename Buffers::ShapeType;
    using Dist = typename Buffers::DistType;
    constexpr int HALF = Shape::HALF;
    constexpr int SMALL_HALF = Shape::SMALL_HALF;
    constexpr bool HAS_SMALL = Shape::SMALL_PATCH != Shape::PATCH;
    constexpr float COLOUR_MEAN = std::is_same_v<Dist, float> ? 1.f / 3.f : 1.f;
    const int rows = tile.rows();
    const int regionRows = rows + 2 * HALF;
    const int regionColumns = tile.columns() + 2 * HALF;

    // The distance image over the tile and its patch border, zero where it is undefined.
    const int regionX0 = tile.x0 - HALF;
    const int computeX0 = std::max(regionX0, offset.validX0);
    const int computeX1 = std::min(tile.x1 + HALF, offset.validX1);
    for (int r = 0; r < regionRows; ++r) {
        Dist* out = buffers.distances.data() + std::size_t(r) * Buffers::STRIDE;
        const int y = tile.y0 - HALF + r;
        if (y < offset.validY0 || y >= offset.validY1 || computeX0 >= computeX1) {
            std::fill(out, out + regionColumns, Dist());
            continue;
        }
        std::fill(out, out + (computeX0 - regionX0), Dist());
        std::fill(out + (computeX1 - regionX0), out + regionColumns, Dist());
        distanceRow(out + (computeX0 - regionX0), y, computeX0, computeX1);
    }
    boxSums(buffers, rows);

    // Means over the pixels each patch really used.
    for (int c = offset.firstColumn; c < offset.endColumn; ++c) {
        const int x = tile.x0 + c;
        buffers.columnFactors[std::size_t(c)] =
            1.f / float(Sweep::coveredCount(x, HALF, offset.validX0, offset.validX1));
        buffers.smallColumnFactors[std::size_t(c)] =
            1.f / float(std::max(1, Sweep::coveredCount(x, SMALL_HALF, offset.validX0, offset.validX1)));
    }
    for (int r = offset.firstRow; r < offset.endRow; ++r) {
        const int y = tile.y0 + r;
        const float rowFactor =
            COLOUR_MEAN / float(Sweep::coveredCount(y, HALF, offset.validY0, offset.validY1));
        const float smallRowFactor =
            COLOUR_MEAN /
            float(std::max(1, Sweep::coveredCount(y, SMALL_HALF, offset.validY0, offset.validY1)));
        Dist* distance = buffers.patchSums.data() + std::size_t(r) * Buffers::STRIDE;
        Dist* smallDistance = buffers.smallPatchSums.data() + std::size_t(r) * Buffers::STRIDE;
        for (int c = offset.firstColumn; c < offset.endColumn; ++c) {
            distance[c] *= Dist(rowFactor * buffers.columnFactors[std::size_t(c)]);
            if constexpr (HAS_SMALL) {
                smallDistance[c] *= Dist(smallRowFactor * buffers.smallColumnFactors[std::size_t(c)]);
            }
        }
    }
}

/// Whether every pixel of `tile` has all its neighbours of the search window inside the image,
/// and so do their patches: then every offset meets the whole tile, and the patch distances of
/// an offset are plain runs over the tile (`interiorPatchDistances`).
template <class Shape>
bool isInteriorTile(const Tile& tile) {
    return tile.x0 >= Shape::MARGIN && tile.x1 + Shape::MARGIN <= tile.width && tile.y0 >= Shape::MARGIN &&
           tile.y1 + Shape::MARGIN <= tile.height;
}

/// `patchDistancesOf` for an interior tile (`isInteriorTile`), where no distance is undefined and
/// every patch is whole: `distanceRun(out, count)` writes the distance image over the region
/// rows as one run, STRIDE a row from the region's corner, and each patch sum takes one factor.
/// The same numbers at every pixel of the tile, for less work; the padding between rows holds
/// distances of no use.
template <class Buffers, class DistanceRun>
void interiorPatchDistances(const Tile& tile, Buffers& buffers, DistanceRun&& distanceRun) {
    using Shape = typename Buffers::ShapeType;
    using Dist = typename Buffers::DistType;
    constexpr bool HAS_SMALL = Shape::SMALL_PATCH != Shape::PATCH;
    constexpr float COLOUR_MEAN = std::is_same_v<Dist, float> ? 1.f / 3.f : 1.f;
    const int rows = tile.rows();
    distanceRun(buffers.distances.data(), (rows + 2 * Shape::HALF) * Buffers::STRIDE);
    const float factor = COLOUR_MEAN / float(Shape::PATCH) * (1.f / float(Shape::PATCH));
    const float smallFactor =
        HAS_SMALL ? COLOUR_MEAN / float(Shape::SMALL_PATCH) * (1.f / float(Shape::SMALL_PATCH)) : 1.f;
    boxSums(buffers, rows, smallFactor, factor);
}

/// `patchDistancesOf` with the distances of the pixels of `colour` and `variance`.
template <class Shape, class Dist>
void patchDistances(const Tile& tile, const TileOffset& offset, SweepBuffers<Dist, Shape>& buffers,
                    const Rgb* colour, const Rgb* variance, float alpha, float epsilon) {
    const std::ptrdiff_t pixelOffset = offset.pixelOffset(tile.width);
    patchDistancesOf(tile, offset, buffers, [&](Dist* out, int y, int x0, int x1) {
        const std::size_t a = std::size_t(y) * std::size_t(tile.width) + std::size_t(x0);
        const std::size_t b = std::size_t(std::ptrdiff_t(a) + pixelOffset);
        Sweep::distanceRow(out, colour + a, colour + b, variance + a, variance + b, x1 - x0, alpha, epsilon,
                           buffers.laneDistances.data());
    });
}

/// The distances of tile row `row` that `patchDistances` made, of the large and the small patch.
template <class Buffers>
const typename Buffers::DistType* rowDistances(const Buffers& buffers, int row) {
    return buffers.patchSums.data() + std::size_t(row) * Buffers::STRIDE;
}
template <class Buffers>
const typename Buffers::DistType* rowSmallDistances(const Buffers& buffers, int row) {
    constexpr bool HAS_SMALL = Buffers::ShapeType::SMALL_PATCH != Buffers::ShapeType::PATCH;
    return (HAS_SMALL ? buffers.smallPatchSums : buffers.patchSums).data() +
           std::size_t(row) * Buffers::STRIDE;
}

/// For every offset of the search window, in rows, the patch distances of the pixels of `tile`
/// (`patchDistances`). Calls `beginOffset(dx, dy)`, then for each row of the tile
/// `visitRow(rowIndex, firstColumn, endColumn, rowStart, offset, distances, smallDistances)`: the
/// pixels p = rowStart + c for c in [firstColumn, endColumn) have their neighbour q = p + offset
/// inside the image, and their patch distances at index c; tile index rowIndex + c.
/// `skipCentre` leaves out the offset (0, 0).
template <class Shape, class Dist, class BeginOffset, class VisitRow>
void sweepTile(const Tile& tile, SweepBuffers<Dist, Shape>& buffers, const Rgb* colour, const Rgb* variance,
               float alpha, float epsilon, bool skipCentre, BeginOffset&& beginOffset, VisitRow&& visitRow) {
    forEachOffset<Shape>(tile, skipCentre, [&](const TileOffset& offset) {
        beginOffset(offset.dx, offset.dy);
        patchDistances<Shape, Dist>(tile, offset, buffers, colour, variance, alpha, epsilon);
        const std::ptrdiff_t pixelOffset = offset.pixelOffset(tile.width);
        for (int r = offset.firstRow; r < offset.endRow; ++r) {
            const std::size_t rowStart =
                std::size_t(tile.y0 + r) * std::size_t(tile.width) + std::size_t(tile.x0);
            visitRow(r * TILE_WIDTH, offset.firstColumn, offset.endColumn, rowStart, pixelOffset,
                     rowDistances(buffers, r), rowSmallDistances(buffers, r));
        }
    });
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
