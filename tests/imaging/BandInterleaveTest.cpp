#include <gtest/gtest.h>

#include "foundation/Containers.h"
#include "imaging/BandInterleave.h"

namespace Vespra {
namespace {

Rgb pixelOf(int k, int x) {
    return Rgb(float(k * 1000 + x), float(-k), float(x) * 0.5f, float(k + x));
}

// Spans that start and end off the groups of four pixels, and a band cut short by the picture's
// bottom: every pixel lands where the band's layout puts it, black for the missing rows, and
// the way back restores, or adds to, exactly the pixels of the span.
TEST(BandInterleaveTest, PixelsGoToTheirPlaceInTheBandAndBack) {
    constexpr int WIDTH = 23;
    constexpr int PRESENT = 11;
    Array<Array<Rgb>> rows(PRESENT, Array<Rgb>(WIDTH));
    std::array<const Rgb*, BAND_ROWS> sources{};
    for (int k = 0; k < PRESENT; ++k) {
        for (int x = 0; x < WIDTH; ++x) {
            rows[std::size_t(k)][std::size_t(x)] = pixelOf(k, x);
        }
        sources[std::size_t(k)] = rows[std::size_t(k)].data();
    }
    const RowSpan span{3, 22};
    const Rgb marker(-7.f, -7.f, -7.f, -7.f);
    Array<Rgb> band(std::size_t(WIDTH) * BAND_ROWS, marker);
    interleaveBand(sources, span, band.data());
    for (int x = 0; x < WIDTH; ++x) {
        for (int k = 0; k < BAND_ROWS; ++k) {
            const Rgb expected = x < span.begin || x >= span.end ? marker
                                 : k < PRESENT                   ? pixelOf(k, x)
                                                                 : Rgb(0.f, 0.f, 0.f, 0.f);
            const Rgb& actual = band[std::size_t(x * BAND_ROWS + k)];
            EXPECT_EQ(actual.r, expected.r) << x << ", " << k;
            EXPECT_EQ(actual.a, expected.a) << x << ", " << k;
        }
    }

    Array<Array<Rgb>> copies(PRESENT, Array<Rgb>(WIDTH, marker));
    Array<Array<Rgb>> sums = rows;
    std::array<Rgb*, BAND_ROWS> copyTargets{};
    std::array<Rgb*, BAND_ROWS> sumTargets{};
    for (int k = 0; k < PRESENT; ++k) {
        copyTargets[std::size_t(k)] = copies[std::size_t(k)].data();
        sumTargets[std::size_t(k)] = sums[std::size_t(k)].data();
    }
    deinterleaveBand(band.data(), span, copyTargets, false);
    deinterleaveBand(band.data(), span, sumTargets, true);
    for (int k = 0; k < PRESENT; ++k) {
        for (int x = 0; x < WIDTH; ++x) {
            const bool inside = x >= span.begin && x < span.end;
            const Rgb original = pixelOf(k, x);
            EXPECT_EQ(copies[std::size_t(k)][std::size_t(x)].b, inside ? original.b : marker.b)
                << k << ", " << x;
            EXPECT_EQ(sums[std::size_t(k)][std::size_t(x)].r, inside ? 2.f * original.r : original.r)
                << k << ", " << x;
        }
    }
}

} // namespace
} // namespace Vespra
