#include <algorithm>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "imaging/SharpenBlur.h"

using namespace Vespra;

namespace {

/// An image of random values up to 1.5, so that a pixel out of place shows at once.
BitmapImpl<Rgb> randomImage(int width, int height) {
    std::mt19937 random(11);
    std::uniform_real_distribution<float> value(0.f, 1.5f);
    BitmapImpl<Rgb> image(width, height);
    for (Rgb& pixel : image.view()) {
        pixel = Rgb(value(random), value(random), value(random), value(random));
    }
    return image;
}

/// What upstream delivers for `region` at pixel step `step`: every step-th pixel from its corner.
BitmapImpl<Rgb> pull(const BitmapImpl<Rgb>& image, const Bucket& region, int step) {
    BitmapImpl<Rgb> result((region.width() + step - 1) / step, (region.height() + step - 1) / step);
    for (int j = 0; j < result.height(); ++j) {
        for (int i = 0; i < result.width(); ++i) {
            result(i, j) = image(region.x0 + i * step, region.y0 + j * step);
        }
    }
    return result;
}

float largestDifference(const BitmapImpl<Rgb>& a, const BitmapImpl<Rgb>& b, Pixel offsetInB) {
    float largest = 0.f;
    for (int j = 0; j < a.height(); ++j) {
        for (int i = 0; i < a.width(); ++i) {
            const Rgb& p = a(i, j);
            const Rgb& q = b(i + offsetInB.x, j + offsetInB.y);
            for (int lane = 0; lane < 4; ++lane) {
                largest = std::max(largest, std::abs((&p.r)[lane] - (&q.r)[lane]));
            }
        }
    }
    return largest;
}

SharpenBlur makeFilter(float amount, float sharpRadius, float blurRadius) {
    SharpenBlur filter;
    filter.configure(true, amount, sharpRadius, blurRadius);
    return filter;
}

} // namespace

TEST(SharpenBlurTest, ParametersAndMargins) {
    // Worked out for radius 3 at step 1: s = 3.5, l = 0.5 sqrt(s^2 / 3 + 1) - 0.5 = 0.6273,
    // v = ((2l + 1)^2 - 1) / 12 = 0.34028, L = 0, a = (1/6 / (v - 1)) (-3v) = 0.25789,
    // c1 = a / (2a + 1) = 49/288, c2 = (1 - a) / (2a + 1) = 47/96.
    const GaussianParams three = GaussianParams::forRadius(3.f, 1, 100, 100);
    EXPECT_EQ(three.boxRadius, 0);
    EXPECT_NEAR(three.outerWeight, 49.0 / 288.0, 1e-6);
    EXPECT_NEAR(three.innerExtra, 47.0 / 96.0, 1e-6);
    // The weights of a window add up to one.
    const GaussianParams ten = GaussianParams::forRadius(10.f, 1, 100, 100);
    EXPECT_EQ(ten.boxRadius, 2);
    EXPECT_NEAR(5 * (ten.outerWeight + ten.innerExtra) + 2 * ten.outerWeight, 1.0, 1e-6);
    // At step 4 a radius of 8 acts like a radius of 2.
    const GaussianParams reduced = GaussianParams::forRadius(8.f, 4, 100, 100);
    const GaussianParams two = GaussianParams::forRadius(2.f, 1, 100, 100);
    EXPECT_EQ(reduced.outerWeight, two.outerWeight);
    EXPECT_EQ(reduced.innerExtra, two.innerExtra);
    // A large radius is limited so that 2L + 3 fits the smaller side.
    EXPECT_EQ(GaussianParams::forRadius(50.f, 1, 9, 40).boxRadius, 3);
    EXPECT_FALSE(GaussianParams::forRadius(50.f, 1, 2, 40).filters());

    const SharpenBlur filter = makeFilter(1.f, 3.f, 10.f);
    EXPECT_EQ(filter.getSharpenGain(), 2.f);
    // Blur L = 2 gives 12, sharpen L = 0 gives 4.
    EXPECT_EQ(filter.requiredMargin(1000, 800, 1), 16);
    // At step 3 both have L = 0: 8, rounded up to 9; at step 4 it is already a multiple.
    EXPECT_EQ(filter.requiredMargin(1000, 800, 3), 9);
    EXPECT_EQ(filter.requiredMargin(1000, 800, 4), 8);
    EXPECT_EQ(makeFilter(1.f, 50.f, 0.f).requiredMargin(9, 40, 1), 16);
    EXPECT_EQ(makeFilter(1.f, 50.f, 0.f).requiredMargin(2, 40, 1), 0);

    // The region arithmetic of a pull: low sides stay on the step grid, high sides in the image.
    EXPECT_EQ(SharpenBlur::enlargeRegion({40, 8, 60, 30}, 16, 4, {100, 40}), (Bucket{24, 0, 76, 40}));
    EXPECT_EQ(SharpenBlur::enlargeRegion({6, 4, 10, 8}, 8, 4, {100, 40}), (Bucket{2, 0, 18, 16}));
    EXPECT_EQ(SharpenBlur::cutRegion({40, 8, 61, 30}, {24, 0, 77, 40}, 4), (Bucket{4, 2, 10, 8}));
}

TEST(SharpenBlurTest, SwitchedOff) {
    SharpenBlur filter;
    EXPECT_FALSE(filter.isEnabled());
    EXPECT_TRUE(std::isnan(filter.getBlurRadius()));
    filter.configure(false, 1.f, 0.5f, 1.33f);
    EXPECT_FALSE(filter.isEnabled());
    EXPECT_EQ(filter.requiredMargin(100, 100, 1), 0);
    filter.configure(true, 0.f, 0.5f, 0.f);
    EXPECT_FALSE(filter.isEnabled());
    filter.configure(true, 1.f, 0.f, 0.f);
    EXPECT_FALSE(filter.isEnabled());
    const BitmapImpl<Rgb> image = randomImage(20, 20);
    BitmapImpl<Rgb> copy = image;
    filter.apply(true, copy, 1);
    EXPECT_EQ(copy, image);
    filter.configure(true, 0.f, 0.f, 1.33f);
    EXPECT_TRUE(filter.isEnabled());
}

TEST(SharpenBlurTest, PulledRegionMatchesTheWholeImage) {
    const BitmapImpl<Rgb> image = randomImage(96, 72);
    const Pixel size{96, 72};
    struct Case {
        SharpenBlur filter;
        int step;
        float tolerance;
    };
    // The margin counts reduced pixels as full-image ones: at step 1 and 2 it covers the
    // filters' whole reach (only rounding differs), at step 4 all but weights of about 1e-5.
    const Case cases[] = {{makeFilter(1.5f, 7.f, 10.f), 1, 5e-6f},
                          {makeFilter(1.f, 0.5f, 1.33f), 2, 5e-6f},
                          {makeFilter(1.f, 0.5f, 1.33f), 4, 2e-4f}};
    for (const Case& c : cases) {
        BitmapImpl<Rgb> whole = pull(image, Bucket::fromSize(size.x, size.y), c.step);
        c.filter.apply(false, whole, c.step);
        const int margin = c.filter.requiredMargin(size.x, size.y, c.step);
        ASSERT_GT(margin, 0);
        for (const Bucket region : {Bucket{0, 0, 48, 40}, Bucket{48, 32, 96, 72}, Bucket{24, 16, 75, 61}}) {
            const Bucket enlarged = SharpenBlur::enlargeRegion(region, margin, c.step, size);
            BitmapImpl<Rgb> pulled = pull(image, enlarged, c.step);
            c.filter.apply(true, pulled, c.step);
            const BitmapImpl<Rgb> result =
                SharpenBlur::cut(pulled, SharpenBlur::cutRegion(region, enlarged, c.step));
            ASSERT_EQ(result.width(), (region.width() + c.step - 1) / c.step);
            ASSERT_EQ(result.height(), (region.height() + c.step - 1) / c.step);
            EXPECT_LE(largestDifference(result, whole, {region.x0 / c.step, region.y0 / c.step}), c.tolerance)
                << "step " << c.step << " region " << region.x0 << "," << region.y0;
        }
    }
}

TEST(SharpenBlurTest, FlatImagesBrightSpotsAndBlack) {
    const SharpenBlur filter = makeFilter(2.f, 3.f, 2.f);
    for (const float level : {0.f, 0.4f, 1.f, 3.f}) {
        BitmapImpl<Rgb> flat(30, 20, Rgb(level, level, level, 1.f));
        filter.apply(true, flat, 1);
        for (const Rgb& pixel : flat.view()) {
            ASSERT_NEAR(pixel.g, level, 1e-5f);
            ASSERT_NEAR(pixel.a, 1.f, 1e-5f);
        }
    }

    // A spot of 5 rings exactly like a spot of 1: only the part below white is sharpened.
    const SharpenBlur sharpen = makeFilter(2.f, 3.f, 0.f);
    BitmapImpl<Rgb> white(21, 21, Rgb(0.5f));
    white(10, 10) = Rgb(1.f);
    BitmapImpl<Rgb> bright = white;
    bright(10, 10) = Rgb(5.f);
    sharpen.apply(false, white, 1);
    sharpen.apply(false, bright, 1);
    EXPECT_GT(bright(10, 10).r, 5.f);
    bright(10, 10) = white(10, 10);
    EXPECT_LE(largestDifference(bright, white, {}), 1e-6f);

    // Never negative, whatever the gain.
    BitmapImpl<Rgb> dark(21, 21, Rgb(0.f, 0.f, 0.f, 0.f));
    dark(10, 10) = Rgb(1.f);
    makeFilter(10.f, 5.f, 0.f).apply(true, dark, 1);
    for (const Rgb& pixel : dark.view()) {
        ASSERT_GE(std::min({pixel.r, pixel.g, pixel.b, pixel.a}), 0.f);
    }
    EXPECT_LT(dark(9, 10).r, 1e-6f);
}

TEST(SharpenBlurTest, BlurSpreadsWithoutLosingLight) {
    BitmapImpl<Rgb> impulse(41, 41, Rgb(0.f, 0.f, 0.f, 0.f));
    impulse(20, 20) = Rgb(1.f, 2.f, 3.f, 4.f);
    makeFilter(0.f, 0.f, 6.f).apply(true, impulse, 1);
    double sum = 0.0;
    for (const Rgb& pixel : impulse.view()) {
        sum += pixel.g;
    }
    EXPECT_NEAR(sum, 2.0, 1e-5);
    EXPECT_LT(impulse(20, 20).g, 0.5f);
    // Symmetric and separable in the same way in both directions; alpha is filtered too.
    EXPECT_FLOAT_EQ(impulse(17, 20).g, impulse(23, 20).g);
    EXPECT_NEAR(impulse(20, 17).g, impulse(17, 20).g, 1e-7f);
    EXPECT_FLOAT_EQ(impulse(18, 21).a, 2.f * impulse(18, 21).g);

    // Narrower than 3 pixels: no blur at all, and sharpening leaves values up to 1 alone.
    BitmapImpl<Rgb> narrow = randomImage(2, 30);
    const BitmapImpl<Rgb> original = narrow;
    makeFilter(2.f, 3.f, 4.f).apply(true, narrow, 1);
    EXPECT_EQ(narrow, original);
}
