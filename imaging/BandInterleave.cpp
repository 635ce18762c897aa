#include "imaging/BandInterleave.h"

#include <algorithm>

#include "foundation/Float4.h"
#include "foundation/VectorClones.h"

namespace Vespra {

namespace {

/// Exchanges rows and columns of the `PIXELS` x `PIXELS` pixels in `block`: pixel p of vector k
/// becomes pixel k of vector p. Done twice it gives the pixels back.
template <int PIXELS>
[[gnu::always_inline]] inline void transposeBlock(PixelVector<PIXELS> (&block)[PIXELS]) {
    if constexpr (PIXELS == 4) {
        // Pixels 0 and 2 of a pair of vectors, then pixels 1 and 3; then the same with pairs of
        // pixels.
        const LaneIndices<4> evenPixels{0, 1, 2, 3, 16, 17, 18, 19, 8, 9, 10, 11, 24, 25, 26, 27};
        const LaneIndices<4> oddPixels = evenPixels + 4;
        const LaneIndices<4> lowPairs{0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 18, 19, 20, 21, 22, 23};
        const LaneIndices<4> highPairs = lowPairs + 8;
        const PixelVector<4> a = __builtin_shuffle(block[0], block[1], evenPixels);
        const PixelVector<4> b = __builtin_shuffle(block[0], block[1], oddPixels);
        const PixelVector<4> c = __builtin_shuffle(block[2], block[3], evenPixels);
        const PixelVector<4> d = __builtin_shuffle(block[2], block[3], oddPixels);
        block[0] = __builtin_shuffle(a, c, lowPairs);
        block[1] = __builtin_shuffle(b, d, lowPairs);
        block[2] = __builtin_shuffle(a, c, highPairs);
        block[3] = __builtin_shuffle(b, d, highPairs);
    } else if constexpr (PIXELS == 2) {
        const LaneIndices<2> firstPixels{0, 1, 2, 3, 8, 9, 10, 11};
        const PixelVector<2> first = __builtin_shuffle(block[0], block[1], firstPixels);
        block[1] = __builtin_shuffle(block[0], block[1], firstPixels + 4);
        block[0] = first;
    }
}

/// Calls `body(x, g)` for each whole group of `PIXELS` pixels from x in `pixels` and each group g
/// of `PIXELS` of a band's rows; answers where the pixels past the last whole group start.
template <int PIXELS, class Body>
[[gnu::always_inline]] inline std::int32_t forEachBlock(RowSpan pixels, Body body) {
    std::int32_t x = pixels.begin;
    for (; x + PIXELS <= pixels.end; x += PIXELS) {
#pragma GCC unroll 16
        for (int g = 0; g < BAND_ROWS / PIXELS; ++g) {
            body(x, g);
        }
    }
    return x;
}

// `PIXELS` pixels of as many rows are read as one vector per row, and turned into vectors of one
// pixel of each row, which is how the band holds them; the pixels past the last whole group go
// one by one.
template <int PIXELS>
[[gnu::always_inline]] inline void interleaveBandAs(const std::array<const Rgb*, BAND_ROWS>& rows,
                                                    RowSpan pixels, Rgb* band) {
    const std::int32_t tail = forEachBlock<PIXELS>(pixels, [&](std::int32_t x, int g) [[gnu::always_inline]] {
        PixelVector<PIXELS> block[PIXELS];
#pragma GCC unroll 4
        for (int k = 0; k < PIXELS; ++k) {
            const Rgb* row = rows[std::size_t(PIXELS * g + k)];
            block[k] = row ? pixelsAt<PIXELS>(row + x) : PixelVector<PIXELS>{};
        }
        transposeBlock<PIXELS>(block);
#pragma GCC unroll 4
        for (int p = 0; p < PIXELS; ++p) {
            pixelsAt<PIXELS>(band + std::ptrdiff_t(x + p) * BAND_ROWS + PIXELS * g) = block[p];
        }
    });
    for (std::int32_t x = tail; x < pixels.end; ++x) {
        for (int k = 0; k < BAND_ROWS; ++k) {
            const Rgb* row = rows[std::size_t(k)];
            (row ? Float4(row[x]) : Float4()).store(&band[std::ptrdiff_t(x) * BAND_ROWS + k].r);
        }
    }
}

/// Hands `put` the pixels `pixels` of each row of an interleaved band, `PIXELS` at a time, with
/// the place in the row where they go; the last few pixels go through a piece of scratch.
template <int PIXELS, class Put>
[[gnu::always_inline]] inline void forEachRowBlock(const Rgb* band, RowSpan pixels,
                                                   const std::array<Rgb*, BAND_ROWS>& rows, Put put) {
    const std::int32_t x = forEachBlock<PIXELS>(pixels, [&](std::int32_t x, int g) [[gnu::always_inline]] {
        PixelVector<PIXELS> block[PIXELS];
#pragma GCC unroll 4
        for (int p = 0; p < PIXELS; ++p) {
            block[p] = pixelsAt<PIXELS>(band + std::ptrdiff_t(x + p) * BAND_ROWS + PIXELS * g);
        }
        transposeBlock<PIXELS>(block);
#pragma GCC unroll 4
        for (int k = 0; k < PIXELS; ++k) {
            if (Rgb* row = rows[std::size_t(PIXELS * g + k)]) {
                put(block[k], row + x);
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
        alignas(64) Rgb block[PIXELS] = {};
        alignas(64) Rgb target[PIXELS] = {};
        for (std::int32_t p = 0; p < left; ++p) {
            block[p] = band[std::ptrdiff_t(x + p) * BAND_ROWS + k];
            target[p] = row[x + p];
        }
        put(pixelsAt<PIXELS>(block), target);
        std::copy_n(target, left, row + x);
    }
}

} // namespace

VESPRA_VECTOR_CLONES [[gnu::flatten]] void interleaveBand(const std::array<const Rgb*, BAND_ROWS>& rows,
                                                          RowSpan pixels, Rgb* band) {
    withRegisterPixels([&](auto lanes) [[gnu::always_inline]] {
        interleaveBandAs<decltype(lanes)::value>(rows, pixels, band);
    });
}

VESPRA_VECTOR_CLONES [[gnu::flatten]] void
deinterleaveBand(const Rgb* band, RowSpan pixels, const std::array<Rgb*, BAND_ROWS>& rows, bool add) {
    withRegisterPixels([&](auto lanes) [[gnu::always_inline]] {
        constexpr int PIXELS = decltype(lanes)::value;
        forEachRowBlock<PIXELS>(band, pixels, rows,
                                [add](const PixelVector<PIXELS>& value, Rgb* target) [[gnu::always_inline]] {
                                    pixelsAt<PIXELS>(target) = add ? value + pixelsAt<PIXELS>(target) : value;
                                });
    });
}

VESPRA_VECTOR_CLONES [[gnu::flatten]] void deinterleaveLight(const Rgb* band, RowSpan pixels,
                                                             const std::array<Rgb*, BAND_ROWS>& rows,
                                                             const PixelLight& light, bool add) {
    withRegisterPixels([&](auto lanes) [[gnu::always_inline]] {
        constexpr int PIXELS = decltype(lanes)::value;
        const PixelLight::Lanes<PIXELS> perPixel = light.lanes<PIXELS>();
        forEachRowBlock<PIXELS>(
            band, pixels, rows,
            [&perPixel, add](const PixelVector<PIXELS>& value, Rgb* target)
                [[gnu::always_inline]] { perPixel.put(value, pixelsAt<PIXELS>(target), add); });
    });
}

} // namespace Vespra
