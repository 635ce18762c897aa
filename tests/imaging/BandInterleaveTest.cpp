#include <algorithm>

#include <gtest/gtest.h>

#include "foundation/Containers.h"
#include "imaging/BandInterleave.h"
#include "tests/imaging/RegisterWidths.h"

namespace Vespra {
namespace {

Rgb pixelOf(int k, int x) {
    return Rgb(float(k * 1000 + x), float(-k), float(x) * 0.5f, float(k + x));
}

/// The rows of a band held in `rows`, null past the last.
std::array<Rgb*, BAND_ROWS> rowsOf(Array<Array<Rgb>>& rows) {
    std::array<Rgb*, BAND_ROWS> pointers{};
    for (std::size_t k = 0; k < rows.size(); ++k) {
        pointers[k] = rows[k].data();
    }
    return pointers;
}

// Spans that start and end off the groups of four pixels, and a band cut short by the picture's
// bottom: every pixel lands where the band's layout puts it, black for the missing rows, and
// the way back restores, or adds to, exactly the pixels of the span.
void checkPixelsGoToTheirPlaceInTheBandAndBack() {
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
    const std::array<Rgb*, BAND_ROWS> copyTargets = rowsOf(copies);
    const std::array<Rgb*, BAND_ROWS> sumTargets = rowsOf(sums);
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

// The light of a band's pixels reaches the rows by the formula, the last pixels of a span that
// does not end on a group of four included, and is added to them or replaces them.
void checkLightOfTheBandGoesToTheRows() {
    constexpr int WIDTH = 11;
    Array<Rgb> band(std::size_t(WIDTH) * BAND_ROWS);
    for (int x = 0; x < WIDTH; ++x) {
        for (int k = 0; k < BAND_ROWS; ++k) {
            band[std::size_t(x * BAND_ROWS + k)] = pixelOf(k, x);
        }
    }
    const PixelLight light{0.5f, Rgb(0.25f, 2.f, -1.f, 9.f)};
    Array<Array<Rgb>> rows(BAND_ROWS, Array<Rgb>(WIDTH, Rgb(1.f, 1.f, 1.f, 1.f)));
    Array<Array<Rgb>> sums = rows;
    const std::array<Rgb*, BAND_ROWS> targets = rowsOf(rows);
    const std::array<Rgb*, BAND_ROWS> sumTargets = rowsOf(sums);
    const RowSpan span{1, 10};
    deinterleaveLight(band.data(), span, targets, light, false);
    deinterleaveLight(band.data(), span, sumTargets, light, true);
    for (int k = 0; k < BAND_ROWS; ++k) {
        for (int x = 0; x < WIDTH; ++x) {
            const Rgb t = pixelOf(k, x);
            const float brightest = std::max({t.r, t.g, t.b});
            const bool inside = x >= span.begin && x < span.end;
            const float red = 0.5f * t.r + brightest * 0.25f;
            const float blue = 0.5f * t.b - brightest;
            EXPECT_EQ(rows[std::size_t(k)][std::size_t(x)].r, inside ? red : 1.f) << k << ", " << x;
            EXPECT_EQ(rows[std::size_t(k)][std::size_t(x)].b, inside ? blue : 1.f) << k << ", " << x;
            EXPECT_EQ(rows[std::size_t(k)][std::size_t(x)].a, inside ? 0.5f * t.a : 1.f) << k << ", " << x;
            EXPECT_EQ(sums[std::size_t(k)][std::size_t(x)].r, inside ? 1.f + red : 1.f) << k << ", " << x;
        }
    }
}

// Each at every register width the processor runs.
TEST(BandInterleaveTest, PixelsGoToTheirPlaceInTheBandAndBack) {
    forEveryRegisterWidth([](int) { checkPixelsGoToTheirPlaceInTheBandAndBack(); });
}

TEST(BandInterleaveTest, LightOfTheBandGoesToTheRows) {
    forEveryRegisterWidth([](int) { checkLightOfTheBandGoesToTheRows(); });
}

} // namespace
} // namespace Vespra
