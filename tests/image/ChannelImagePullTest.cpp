// The colour pixels of a region at zoom 1 come four at a time from the planes; widths that are
// not a multiple of four, offsets and the missing alpha plane must come out as from one pixel.

#include <cmath>

#include <gtest/gtest.h>

#include "base/image/ChannelImage.h"

using namespace Vespra;

TEST(ChannelImagePull, WholeQuadsTailsAndAlphaAtZoomOne) {
    const Bucket window{0, 0, 13, 6};
    ChannelImage image(window, window, 1.f);
    const ElementInfo color{u"Diffuse", ElementInfo::KIND_COLOR_ALPHA, 0};
    image.addElementChannels(color);
    BitmapImpl<Rgb> pixels(13, 6);
    const auto value = [](int x, int y, int lane) { return float(1000 * lane + 20 * y + x); };
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 13; ++x) {
            pixels(x, y) = Rgb(value(x, y, 0), value(x, y, 1), value(x, y, 2), value(x, y, 3));
        }
    }
    image.setElementPixels(color, pixels);

    // Nine columns: two transposed quads and one pixel after them, from an odd offset.
    const Bucket region{3, 1, 12, 5};
    const BitmapImpl<Rgb> rgba = image.getRgbaBitmap(u"Diffuse", region, 1.f);
    const BitmapImpl<Rgb> rgb = image.getRgbBitmap(u"Diffuse", region, 1.f);
    ASSERT_EQ(rgba.size(), (Pixel{9, 4}));
    ASSERT_EQ(rgb.size(), (Pixel{9, 4}));
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 9; ++x) {
            const int sx = x + 3;
            const int sy = y + 1;
            EXPECT_EQ(rgba(x, y), Rgb(value(sx, sy, 0), value(sx, sy, 1), value(sx, sy, 2)))
                << x << ", " << y;
            EXPECT_EQ(rgba(x, y).a, value(sx, sy, 3));
            EXPECT_EQ(rgb(x, y), rgba(x, y));
            EXPECT_EQ(rgb(x, y).a, 1.f);
        }
    }
}

// Frame-sized bitmaps start unwritten, in memory that earlier frames leave behind: a pull must
// write every pixel itself. Blocks of that size are handed out again, so one freed full of NaN
// shows any pixel a pull skips.
TEST(ChannelImagePull, FramesInReusedMemoryHaveEveryPixelWritten) {
    constexpr int SIDE = 2048;
    const Bucket window{0, 0, SIDE, SIDE};
    ChannelImage image(window, window, 1.f);
    const ElementInfo color{u"Beauty", ElementInfo::KIND_COLOR, 0};
    image.addElementChannels(color);
    const auto value = [](int x, int y, int lane) { return float(x + SIDE * lane) - float(y) / 8.f; };
    const char16_t* const planes[] = {u"Beauty.R", u"Beauty.G", u"Beauty.B"};
    for (int lane = 0; lane < 3; ++lane) {
        Stack<float>& plane = image.findChannel<float>(planes[lane])->data;
        for (int y = 0; y < SIDE; ++y) {
            for (int x = 0; x < SIDE; ++x) {
                plane[std::size_t(y) * SIDE + std::size_t(x)] = value(x, y, lane);
            }
        }
    }
    const auto leaveNans = [](int pixels) { Array<Rgb> stale(std::size_t(pixels), Rgb(NAN, NAN, NAN, NAN)); };
    const auto expectPixels = [&](const BitmapImpl<Rgb>& pulled, int step) {
        for (int y = 0; y < pulled.height(); ++y) {
            for (int x = 0; x < pulled.width(); ++x) {
                const Rgb expected(value(x * step, y * step, 0), value(x * step, y * step, 1),
                                   value(x * step, y * step, 2));
                ASSERT_EQ(pulled(x, y), expected) << x << ", " << y;
                ASSERT_EQ(pulled(x, y).a, 1.f) << x << ", " << y;
            }
        }
    };
    leaveNans(SIDE * SIDE);
    expectPixels(image.getRgbBitmap(u"Beauty", window, 1.f), 1);
    leaveNans(SIDE * SIDE / 4);
    expectPixels(image.getRgbBitmap(u"Beauty", window, 2.f), 2);
}
