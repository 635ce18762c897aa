#include <gtest/gtest.h>

#include "base/image/ChannelImage.h"
#include "base/image/Resampling.h"

using namespace Vespra;

namespace {

/// A 7 by 5 data window at (3, 2) whose mono element "V" holds 100 * row + column.
ChannelImage numberedImage() {
    ChannelImage image({0, 0, 20, 20}, {3, 2, 10, 7}, 1.f);
    Channel<float>& values = image.addChannel<float>(u"V");
    values.resize(7, 5);
    for (std::uint32_t y = 0; y < 5; ++y) {
        for (std::uint32_t x = 0; x < 7; ++x) {
            values.row(y)[x] = float(100 * y + x);
        }
    }
    return image;
}

/// The values of the output, row after row.
Stack<float> valuesOf(const BitmapImpl<float>& bitmap) {
    return Stack<float>(bitmap.view().begin(), bitmap.view().end());
}

} // namespace

TEST(Resampling, OutputSizeIsTheRegionOverTheZoomRoundedUp) {
    EXPECT_EQ(resampledSize({0, 0, 3, 3}, 0.5f), (Pixel{6, 6}));
    EXPECT_EQ(resampledSize({0, 0, 3, 3}, 2.f), (Pixel{2, 2}));
    EXPECT_EQ(resampledSize({1, 2, 8, 7}, 3.f), (Pixel{3, 2}));
    EXPECT_EQ(resampledSize({0, 0, 6, 9}, 3.f), (Pixel{2, 3}));
    EXPECT_EQ(resampledSize({0, 0, 7, 5}, 1.f), (Pixel{7, 5}));
    EXPECT_EQ(resampledSize({0, 0, 5, 1}, 0.4f), (Pixel{13, 3}));
}

TEST(Resampling, ZoomOneCopiesTheRegion) {
    const ChannelImage image = numberedImage();
    EXPECT_EQ(valuesOf(image.getMonoBitmap(u"V", {2, 3, 5, 5}, 1.f)),
              (Stack<float>{302, 303, 304, 402, 403, 404}));
}

TEST(Resampling, ZoomHalfRepeatsEachPixelInATwoByTwoBlock) {
    const ChannelImage image = numberedImage();
    const BitmapImpl<float> out = image.getMonoBitmap(u"V", {4, 1, 7, 2}, 0.5f);
    ASSERT_EQ(out.size(), (Pixel{6, 2}));
    EXPECT_EQ(valuesOf(out), (Stack<float>{104, 104, 105, 105, 106, 106, 104, 104, 105, 105, 106, 106}));
}

TEST(Resampling, ZoomBelowOneClipsBlocksAndLeavesUncoveredPixels) {
    const ChannelImage image = numberedImage();
    // 1 / 0.4 = 2.5: blocks of 3 (rounded) in an output of ceil(2 * 2.5) = 5 columns.
    const BitmapImpl<float> wide = image.getMonoBitmap(u"V", {0, 0, 2, 1}, 0.4f);
    EXPECT_EQ(valuesOf(wide), (Stack<float>{0, 0, 0, 1, 1, 0, 0, 0, 1, 1, 0, 0, 0, 1, 1}));
    // 1 / 0.3 = 3.33: blocks of 3 in 4 columns, and the last column is never written.
    const BitmapImpl<float> gaps = image.getMonoBitmap(u"V", {5, 4, 6, 5}, 0.3f);
    ASSERT_EQ(gaps.size(), (Pixel{4, 4}));
    EXPECT_EQ(gaps(2, 2), 405.f);
    EXPECT_EQ(gaps(3, 0), 0.f);
    EXPECT_EQ(gaps(0, 3), 0.f);
}

TEST(Resampling, ZoomAboveOneTakesTruncatedSourcePositions) {
    const ChannelImage image = numberedImage();
    // Zoom 2 of a 3 pixel wide region reads its columns 0 and 2.
    EXPECT_EQ(valuesOf(image.getMonoBitmap(u"V", {1, 0, 4, 1}, 2.f)), (Stack<float>{1, 3}));
    // Zoom 3 of the whole odd-sized plane: columns 0, 3, 6 and rows 0, 3.
    EXPECT_EQ(valuesOf(image.getMonoBitmap(u"V", {0, 0, 7, 5}, 3.f)), (Stack<float>{0, 3, 6, 300, 303, 306}));
    // Zoom 2 of a 7 by 5 region: columns 0, 2, 4, 6 and rows 0, 2, 4.
    const BitmapImpl<float> twice = image.getMonoBitmap(u"V", {0, 0, 7, 5}, 2.f);
    ASSERT_EQ(twice.size(), (Pixel{4, 3}));
    EXPECT_EQ(twice(3, 2), 406.f);
    EXPECT_EQ(twice(1, 1), 202.f);
}

TEST(Resampling, ColourBitmapsFollowTheSameRule) {
    ChannelImage image({0, 0, 3, 1}, {0, 0, 3, 1}, 1.f);
    image.addElementChannels({u"", ElementInfo::KIND_COLOR, 0});
    image.findChannel<float>(u"R")->data = Stack<float>{1, 2, 3};
    image.findChannel<float>(u"G")->data = Stack<float>{4, 5, 6};
    const BitmapImpl<Rgb> half = image.getRgbBitmap(u"", {0, 0, 3, 1}, 0.5f);
    ASSERT_EQ(half.size(), (Pixel{6, 2}));
    EXPECT_EQ(half(3, 1), Rgb(2, 5, 0));
    EXPECT_EQ(half(3, 1).a, 1.f);
    const BitmapImpl<Rgb> twice = image.getRgbBitmap(u"", {0, 0, 3, 1}, 2.f);
    ASSERT_EQ(twice.size(), (Pixel{2, 1}));
    EXPECT_EQ(twice(1, 0), Rgb(3, 6, 0));
}
