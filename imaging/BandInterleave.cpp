#include "imaging/BandInterleave.h"

#include "foundation/Float4.h"
#include "foundation/VectorClones.h"

namespace Vespra {

namespace {

/// Four pixels side by side.
using FourPixels = float __attribute__((vector_size(64), aligned(16)));
using LaneIndices = std::int32_t __attribute__((vector_size(64)));

constexpr int QUADS = BAND_ROWS / 4;

/// The four pixels from `pixels` as one vector.
const FourPixels& quadAt(const Rgb* pixels) {
    return *reinterpret_cast<const FourPixels*>(pixels);
}

FourPixels& quadAt(Rgb* pixels) {
    return *reinterpret_cast<FourPixels*>(pixels);
}

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

} // namespace

// Four pixels of four rows are read as four vectors, one per row, and turned into four vectors
// of one pixel of each row, which is how the band holds them; the pixels past the last whole
// group of four go one by one.
VESPRA_VECTOR_CLONES void interleaveBand(const std::array<const Rgb*, BAND_ROWS>& rows, RowSpan pixels,
                                         Rgb* band) {
    std::int32_t x = pixels.begin;
    for (; x + 4 <= pixels.end; x += 4) {
#pragma GCC unroll 4
        for (int q = 0; q < QUADS; ++q) {
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
        }
    }
    for (; x < pixels.end; ++x) {
        for (int k = 0; k < BAND_ROWS; ++k) {
            const Rgb* row = rows[std::size_t(k)];
            (row ? Float4(row[x]) : Float4()).store(&band[std::ptrdiff_t(x) * BAND_ROWS + k].r);
        }
    }
}

VESPRA_VECTOR_CLONES void deinterleaveBand(const Rgb* band, RowSpan pixels,
                                           const std::array<Rgb*, BAND_ROWS>& rows, bool add) {
    std::int32_t x = pixels.begin;
    for (; x + 4 <= pixels.end; x += 4) {
#pragma GCC unroll 4
        for (int q = 0; q < QUADS; ++q) {
            FourPixels quad[4];
#pragma GCC unroll 4
            for (int p = 0; p < 4; ++p) {
                quad[p] = quadAt(band + std::ptrdiff_t(x + p) * BAND_ROWS + 4 * q);
            }
            transposeQuads(quad);
#pragma GCC unroll 4
            for (int k = 0; k < 4; ++k) {
                Rgb* row = rows[std::size_t(4 * q + k)];
                if (row) {
                    quadAt(row + x) = add ? quad[k] + quadAt(row + x) : quad[k];
                }
            }
        }
    }
    for (; x < pixels.end; ++x) {
        for (int k = 0; k < BAND_ROWS; ++k) {
            if (Rgb* row = rows[std::size_t(k)]) {
                const Float4 value(band[std::ptrdiff_t(x) * BAND_ROWS + k]);
                (add ? value + Float4(row[x]) : value).store(&row[x].r);
            }
        }
    }
}

} // namespace Vespra
