#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "imaging/BitmapRotation.h"
#include "imaging/BloomGlare.h"
#include "imaging/BlurCascade.h"
#include "tests/imaging/RegisterWidths.h"

using namespace Vespra;

namespace {

using Bitmap = BitmapImpl<Rgb>;
constexpr auto PARALLEL = Flags<ImageOperatorsFlag>(ImageOperatorsFlag::PARALLEL);

/// Black, apart from random light inside `columns` of `rows`.
Bitmap litInside(Pixel size, RowSpan columns, RowSpan rows, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> value(0.f, 10.f);
    Bitmap bitmap(size.x, size.y, Rgb(0.f, 0.f, 0.f, 0.f));
    for (std::int32_t y = rows.begin; y < rows.end; ++y) {
        for (std::int32_t x = columns.begin; x < columns.end; ++x) {
            bitmap(x, y) = Rgb(value(random), value(random), value(random), value(random));
        }
    }
    return bitmap;
}

BlurLevels levelsWithRadii(std::int32_t firstRadiusY) {
    BlurLevels levels;
    for (int i = 0; i < BLUR_LEVEL_COUNT; ++i) {
        BlurLevel& level = levels[std::size_t(i)];
        level.radiusX = 1 << std::min(i, 5);
        level.radiusY = i < 2 ? firstRadiusY : i - 1;
        level.color = Rgb(1.f, 0.5f, 0.f, 0.f);
        level.colorMix = i == 0 ? 0.f : 0.3f;
        level.weight = std::pow(0.7f, float(i));
    }
    return levels;
}

} // namespace

// The kernels for narrower registers walk the picture in narrower pieces, and must give the
// light of the widest to the bit: sweeps of one level and of several, strips and bands cut short
// at the picture's edges, and whole bloom and glare with rotated streaks.
TEST(BlurCascade, EveryRegisterWidthGivesTheSameLight) {
    const Pixel size{83, 45};
    const Bitmap picture = litInside(size, {5, 81}, {2, 44}, 11);
    PostProcessData::BloomGlare params;
    params.enabled = true;
    params.bloomIntensity = 0.7f;
    params.glareIntensity = 0.5f;
    params.streakCount = 3;
    params.rotation = 20.f;
    params.threshold = 2.f;
    const auto lightOf = [&](std::int32_t firstRadiusY) {
        Bitmap work = picture;
        Bitmap light(size.x, size.y);
        runBlurCascade(work, levelsWithRadii(firstRadiusY), 0.5f, light, false, PARALLEL);
        return light;
    };
    const auto bloomAndGlareOf = [&] {
        Bitmap bitmap = picture;
        bloomAndGlare(PARALLEL, bitmap, params);
        return bitmap;
    };
    const Bitmap expected[] = {lightOf(0), lightOf(3), bloomAndGlareOf()};
    ASSERT_GT(expected[2](40, 20).max(), 0.f);
    forEveryRegisterWidth([&](int bytes) {
        EXPECT_EQ(Detail::cloneVectorBytes(), bytes);
        EXPECT_EQ(lightOf(0), expected[0]);
        EXPECT_EQ(lightOf(3), expected[1]);
        EXPECT_EQ(bloomAndGlareOf(), expected[2]);
    });
}

// A picture that the cascade reads as it goes must give the light of the same picture put into
// `work` first, to the bit; `work` starts out as NaN, so that whatever the cascade reads of it
// without having written it first shows. Both the first sweep reading the input itself (no
// column blur at the first level) and the input being put into `work` first are covered.
TEST(BlurCascade, PictureReadAsItGoesGivesTheSameLight) {
    const Pixel size{150, 70};
    const Bitmap picture = litInside(size, {40, 52}, {30, 33}, 7);
    CascadeInput input;
    input.lit.resize(std::size_t(size.y));
    for (std::int32_t y = 0; y < size.y; ++y) {
        input.lit[std::size_t(y)] = nonBlackSpan(picture.row(y), size.x);
    }
    input.read = [&picture](std::int32_t y, RowSpan pixels, Rgb* out, std::ptrdiff_t step) {
        for (std::int32_t x = pixels.begin; x < pixels.end; ++x) {
            out[x * step] = picture(x, y);
        }
    };
    for (const std::int32_t firstRadiusY : {0, 2}) {
        const BlurLevels levels = levelsWithRadii(firstRadiusY);
        Bitmap work = picture;
        Bitmap expected(size.x, size.y);
        runBlurCascade(work, levels, 0.5f, expected, false, PARALLEL);

        Bitmap unwritten(size.x, size.y, Rgb(NAN, NAN, NAN, NAN));
        Bitmap light(size.x, size.y);
        runBlurCascade(unwritten, levels, 0.5f, light, false, PARALLEL, {}, &input);
        EXPECT_EQ(light, expected) << firstRadiusY;
        EXPECT_GT(light(46, 31).r, 0.f);
    }
}

// A rotated picture samples as `rotateBitmap` does, and where its source is black outside a box,
// its rows are black outside the reach of that box, which leaves out most of each row.
TEST(BlurCascade, RotatedPictureReachesWhereItsLightLies) {
    const Pixel size{61, 41};
    const RowSpan columns{20, 30};
    const RowSpan rows{10, 18};
    const Bitmap source = litInside(size, columns, rows, 3);
    for (const float degrees : {15.f, -75.f, 135.f}) {
        const Pixel turned = rotatedSize(size, degrees);
        Bitmap rotated(turned.x, turned.y);
        rotateBitmap(source, degrees, rotated, false, {});
        const RotatedPicture picture(source, degrees, turned);
        std::int64_t reached = 0;
        Array<Rgb> row(std::size_t(turned.x));
        for (std::int32_t y = 0; y < turned.y; ++y) {
            picture.sample(y, {0, turned.x}, row.data(), 1, false);
            const RowSpan reach = picture.reach(y, columns, rows);
            reached += reach.isEmpty() ? 0 : reach.end - reach.begin;
            for (std::int32_t x = 0; x < turned.x; ++x) {
                ASSERT_EQ(row[std::size_t(x)], rotated(x, y)) << degrees << " " << x << ", " << y;
                if (x < reach.begin || x >= reach.end) {
                    ASSERT_EQ(rotated(x, y).max(), 0.f) << degrees << " " << x << ", " << y;
                }
            }
        }
        EXPECT_LT(reached, std::int64_t(turned.x) * turned.y / 4) << degrees;
    }
}
