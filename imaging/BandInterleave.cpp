#include "imaging/BandInterleave.h"

#include <algorithm>

#include "foundation/Float4.h"
#include "foundation/VectorClones.h"

namespace Vespra {

namespace {

constexpr int QUADS = BAND_ROWS / 4;

/// Exchanges rows and columns of the 4 x 4 pixels in `quad`: pixel p of vector k becomes pixel k
/// of vector p. Done twice it gives the pixels back.
[[gnu::always_inline]] inline void transposeQuads(FourPixels (&quad)[4]) {
    // Pixels 0 and 2 of a pair of vectors, then pixels 1 and 3; then the same with pairs of pixels.
    const LaneIndices evenPixels{0, 1, 2, 3, 16, 17, 18, 19, 8, 9, 10, 11, 24, 25, 26, 27};
    const LaneIndices oddPixels = evenPixels + 4;
    const LaneIndices lowPairs{0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 18, 19, 20, 21, 22, 23};
    const LaneIndices highPairs = lowPairs + 8;
    const FourPixels a = __builtin_shuffle(quad[0], quad[1], evenPixels);
    const FourPixels b = __builtin_shuffle(quad[0], quad[1], oddPixels);
    const FourPixels c = __builtin_shuffle(quad[2], quad[3], evenPixels);
    const FourPixels d = __builtin_shuffle(quad[2], quad[3], oddPixels);
    quad[0] = __builtin_shuffle(a, c, lowPairs);
    quad[1] = __builtin_shuffle(b, d, lowPairs);
    quad[2] = __builtin_shuffle(a, c, highPairs);
    quad[3] = __builtin_shuffle(b, d, highPairs);
}

/// Calls `body(x, q)` for each whole group of four pixels from x in `pixels` and each quarter q
/// of a band's rows; answers where the pixels past the last whole group start.
template <class Body>
[[gnu::always_inline]] inline std::int32_t forEachQuadBlock(RowSpan pixels, Body body) {
    std::int32_t x = pixels.begin;
    for (; x + 4 <= pixels.end; x += 4) {
#pragma GCC unroll 4
        for (int q = 0; q < QUADS; ++q) {
            body(x, q);
        }
    }
    return x;
}

} // namespace

// Four pixels of four rows are read as four vectors, one per row, and turned into four vectors
// of one pixel of each row, which is how the band holds them; the pixels past the last whole
// group of four go one by one.
VESPRA_VECTOR_CLONES [[gnu::flatten]] void interleaveBand(const std::array<const Rgb*, BAND_ROWS>& rows,
                                                          RowSpan pixels, Rgb* band) {
    const std::int32_t tail = forEachQuadBlock(pixels, [&](std::int32_t x, int q) {
        FourPixels quad[4];
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            const Rgb* row = rows[std::size_t(4 * q + k)];
            quad[k] = row ? quadAt(row + x) : FourPixels{};
        }
        transposeQuads(quad);
#pragma GCC unroll 4
        for (int p = 0; p < 4; ++p) {
            quadAt(band + std::ptrdiff_t(x + p) * BAND_ROWS + 4 * q) = quad[p];
        }
    });
    for (std::int32_t x = tail; x < pixels.end; ++x) {
        for (int k = 0; k < BAND_ROWS; ++k) {
            const Rgb* row = rows[std::size_t(k)];
            (row ? Float4(row[x]) : Float4()).store(&band[std::ptrdiff_t(x) * BAND_ROWS + k].r);
        }
    }
}

namespace {

/// Hands `put` the pixels `pixels` of each row of an interleaved band, four at a time, with the
/// place in the row where they go; the last few pixels go through a piece of scratch.
template <class Put>
[[gnu::always_inline]] inline void forEachRowQuad(const Rgb* band, RowSpan pixels,
                                                  const std::array<Rgb*, BAND_ROWS>& rows, Put put) {
    const std::int32_t x = forEachQuadBlock(pixels, [&](std::int32_t x, int q) {
        FourPixels quad[4];
#pragma GCC unroll 4
        for (int p = 0; p < 4; ++p) {
            quad[p] = quadAt(band + std::ptrdiff_t(x + p) * BAND_ROWS + 4 * q);
        }
        transposeQuads(quad);
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k) {
            if (Rgb* row = rows[std::size_t(4 * q + k)]) {
                put(quad[k], row + x);
            }
        }
    });
    const std::int32_t left = pixels.end - x;
    if (left <= 0) {
        return;
    }
    for (int k = 0; k < BAND_ROWS; ++k) {
        Rgb* row = rows[std::size_t(k)];
        if (!row) {
            continue;
        }
        alignas(64) Rgb quad[4] = {};
        alignas(64) Rgb target[4] = {};
        for (std::int32_t p = 0; p < left; ++p) {
            quad[p] = band[std::ptrdiff_t(x + p) * BAND_ROWS + k];
            target[p] = row[x + p];
        }
        put(quadAt(quad), target);
        std::copy_n(target, left, row + x);
    }
}

} // namespace

VESPRA_VECTOR_CLONES [[gnu::flatten]] void
deinterleaveBand(const Rgb* band, RowSpan pixels, const std::array<Rgb*, BAND_ROWS>& rows, bool add) {
    forEachRowQuad(band, pixels, rows, [add](const FourPixels& value, Rgb* target) {
        quadAt(target) = add ? value + quadAt(target) : value;
    });
}

VESPRA_VECTOR_CLONES [[gnu::flatten]] void deinterleaveLight(const Rgb* band, RowSpan pixels,
                                                             const std::array<Rgb*, BAND_ROWS>& rows,
                                                             const QuadLight& light, bool add) {
    forEachRowQuad(band, pixels, rows, [&light, add](const FourPixels& value, Rgb* target) {
        light.put(value, quadAt(target), add);
    });
}

} // namespace Vespra
