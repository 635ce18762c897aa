#include <cmath>
#include <numbers>
#include <vector>

#include <gtest/gtest.h>

#include "imaging/BitmapRotation.h"
#include "imaging/BloomGlare.h"

using namespace Vespra;

namespace {

using Bitmap = BitmapImpl<Rgb>;
constexpr auto PARALLEL = Flags<ImageOperatorsFlag>(ImageOperatorsFlag::PARALLEL);

Bitmap singlePoint(std::int32_t width, std::int32_t height, Pixel at, float value) {
    Bitmap bitmap(width, height, Rgb(0.f, 0.f, 0.f, 0.f));
    bitmap(at.x, at.y) = Rgb(value, value, value, 0.f);
    return bitmap;
}

PostProcessData::BloomGlare onlyBloom(float intensity) {
    PostProcessData::BloomGlare params;
    params.enabled = true;
    params.bloomIntensity = intensity;
    params.glareIntensity = 0.f;
    params.colorIntensity = 0.f;
    return params;
}

PostProcessData::BloomGlare onlyGlare(int streaks, float rotation, float streakBlur) {
    PostProcessData::BloomGlare params;
    params.enabled = true;
    params.bloomIntensity = 0.f;
    params.glareIntensity = 1.f;
    params.streakCount = streaks;
    params.rotation = rotation;
    params.streakBlur = streakBlur;
    params.colorIntensity = 0.f;
    return params;
}

/// A box blur by the definition: each sample the plain mean of its window, black outside.
std::vector<double> boxByDefinition(const std::vector<double>& line, int radius) {
    const int n = int(line.size());
    std::vector<double> out(line.size(), 0.0);
    for (int i = 0; i < n; ++i) {
        for (int j = std::max(0, i - radius); j <= std::min(n - 1, i + radius); ++j) {
            out[std::size_t(i)] += line[std::size_t(j)];
        }
        out[std::size_t(i)] /= 2.0 * radius + 1.0;
    }
    return out;
}

/// The profiles of a unit impulse at `at` along a line of `length` after each level: a blur
/// of separable passes spreads a point into the product of two such profiles.
std::vector<std::vector<double>> impulseProfiles(int length, int at, const std::vector<int>& radii) {
    std::vector<double> line(std::size_t(length), 0.0);
    line[std::size_t(at)] = 1.0;
    std::vector<std::vector<double>> profiles;
    for (const int radius : radii) {
        if (radius > 0) {
            line = boxByDefinition(boxByDefinition(line, radius), radius);
        }
        profiles.push_back(line);
    }
    return profiles;
}

/// The hue circle by the distance form of the conversion.
double hueChannel(double hue, double centre) {
    double distance = std::abs(std::fmod(hue - centre + 540.0, 360.0) - 180.0);
    return std::clamp(2.0 - distance / 60.0, 0.0, 1.0);
}

double energy(const Bitmap& bitmap, int lane) {
    double sum = 0.0;
    for (std::int32_t y = 0; y < bitmap.height(); ++y) {
        for (std::int32_t x = 0; x < bitmap.width(); ++x) {
            sum += bitmap(x, y)[lane];
        }
    }
    return sum;
}

double peak(const Bitmap& bitmap) {
    double most = 0.0;
    for (const Rgb& pixel : bitmap.view()) {
        most = std::max<double>(most, pixel.max());
    }
    return most;
}

/// The light at distance `distance` from `centre` in direction `degrees` (x towards y).
float lightAt(const Bitmap& bitmap, Pixel centre, float degrees, float distance) {
    const double radians = degrees * std::numbers::pi / 180.0;
    const auto x = std::int32_t(std::lround(centre.x + distance * std::cos(radians)));
    const auto y = std::int32_t(std::lround(centre.y + distance * std::sin(radians)));
    return bitmap(x, y).r;
}

} // namespace

TEST(BloomGlare, LevelsFollowThePictureSize) {
    const BlurLevels square = blurLevels({1024, 1024}, 1.f, 0.5f, 0.3f, 1.21f);
    for (int i = 0; i < BLUR_LEVEL_COUNT; ++i) {
        EXPECT_EQ(square[std::size_t(i)].radiusX, 1 << i) << i;
        EXPECT_EQ(square[std::size_t(i)].radiusY, 1 << i) << i;
        EXPECT_NEAR(square[std::size_t(i)].weight, std::pow(1.21, i), 1e-4 * std::pow(1.21, i));
        EXPECT_EQ(square[std::size_t(i)].colorMix, i == 0 ? 0.f : 0.3f);
    }
    // Twice as large doubles the radii until half the picture stops the last one at 1023.
    const BlurLevels large = blurLevels({2048, 1024}, 1.f, 0.5f, 0.3f, 1.21f);
    EXPECT_EQ(large[7].radiusX, 256);
    EXPECT_EQ(large[8].radiusX, 512);
    EXPECT_EQ(large[8].radiusY, 511);
    // Below 1024 pixels the first levels have no radius; a flat vertical scale none at all.
    const BlurLevels small = blurLevels({300, 200}, 0.f, 0.f, 0.f, 0.4f);
    EXPECT_EQ(small[0].radiusX, 0);
    EXPECT_EQ(small[2].radiusX, 1);
    EXPECT_EQ(small[8].radiusX, 75);
    for (const BlurLevel& level : small) {
        EXPECT_EQ(level.radiusY, 0);
    }
    EXPECT_FLOAT_EQ(small[2].weight, 0.16f);
}

TEST(BloomGlare, LevelHuesStep80DegreesFromTheShift) {
    for (const float shift : {0.f, 0.5f, 0.93f}) {
        const BlurLevels levels = blurLevels({64, 64}, 1.f, shift, 1.f, 1.f);
        for (int i = 0; i < BLUR_LEVEL_COUNT; ++i) {
            const double hue = std::fmod((i + 1) * 80.0 + shift * 360.0, 360.0);
            const Rgb& color = levels[std::size_t(i)].color;
            EXPECT_NEAR(color.r, hueChannel(hue, 0.0), 1e-5) << shift << " " << i;
            EXPECT_NEAR(color.g, hueChannel(hue, 120.0), 1e-5) << shift << " " << i;
            EXPECT_NEAR(color.b, hueChannel(hue, 240.0), 1e-5) << shift << " " << i;
        }
    }
}

TEST(BloomGlare, NothingAboveTheThresholdGivesNoLight) {
    Bitmap picture(40, 30, Rgb(0.2f, 0.5f, 0.1f, 1.f));
    picture(20, 15) = Rgb(3.f, 2.f, 1.f, 1.f);
    PostProcessData::BloomGlare params;
    params.bloomIntensity = 5.f;
    params.glareIntensity = 5.f;
    for (const float threshold : {3.f, 10.f}) {
        params.threshold = threshold;
        Bitmap light = picture;
        bloomAndGlare(PARALLEL, light, params);
        ASSERT_EQ(light.size(), picture.size());
        EXPECT_EQ(peak(light), 0.0) << threshold;
    }
    // Both intensities off release the bitmap.
    params.bloomIntensity = 0.f;
    params.glareIntensity = 0.f;
    Bitmap released = picture;
    bloomAndGlare(PARALLEL, released, params);
    EXPECT_TRUE(released.isEmpty());
}

TEST(BloomGlare, BloomIsTheWeightedSumOfTheCascadeLevels) {
    // Two grey points, so that the light is linear in them even with colour: one inside, one in
    // the corner where the last band of rows and the last strip of columns are cut short.
    constexpr std::int32_t W = 300, H = 200;
    const std::array<Pixel, 2> points{Pixel{110, 90}, Pixel{297, 198}};
    const std::array<double, 2> values{1000.0, 300.0};
    for (const float colorIntensity : {0.f, 0.6f}) {
        PostProcessData::BloomGlare params = onlyBloom(2.f);
        params.threshold = 1.f;
        params.colorIntensity = colorIntensity;
        params.colorShift = 0.25f;
        Bitmap light = singlePoint(W, H, points[0], float(values[0] + 1.0));
        light(points[1].x, points[1].y) =
            Rgb(float(values[1] + 1.0), float(values[1] + 1.0), float(values[1] + 1.0), 0.f);
        bloomAndGlare(PARALLEL, light, params);

        const BlurLevels levels = blurLevels({W, H}, 1.f, 0.25f, colorIntensity, 1.21f);
        std::vector<int> radiiX, radiiY;
        for (const BlurLevel& level : levels) {
            radiiX.push_back(level.radiusX);
            radiiY.push_back(level.radiusY);
        }
        std::array<std::vector<std::vector<double>>, 2> profilesX, profilesY;
        for (std::size_t p = 0; p < points.size(); ++p) {
            profilesX[p] = impulseProfiles(W, points[p].x, radiiX);
            profilesY[p] = impulseProfiles(H, points[p].y, radiiY);
        }
        const double scale = 0.002;
        double worst = 0.0;
        double worstFaint = 0.0;
        double largest = 0.0;
        for (std::int32_t y = 0; y < H; y += 1) {
            for (std::int32_t x = 0; x < W; x += 1) {
                for (int lane = 0; lane < 3; ++lane) {
                    double expected = 0.0;
                    for (int i = 0; i < BLUR_LEVEL_COUNT; ++i) {
                        const double hue = std::fmod((i + 1) * 80.0 + 90.0, 360.0);
                        const double mix = i == 0 ? 0.0 : colorIntensity;
                        const double tint = (1.0 - mix) + mix * hueChannel(hue, 120.0 * lane);
                        for (std::size_t p = 0; p < points.size(); ++p) {
                            expected += scale * values[p] * std::pow(1.21, i) *
                                        profilesX[p][std::size_t(i)][std::size_t(x)] *
                                        profilesY[p][std::size_t(i)][std::size_t(y)] * tint;
                        }
                    }
                    const double error = std::abs(expected - light(x, y)[lane]);
                    worst = std::max(worst, error);
                    largest = std::max(largest, expected);
                    // The faint edges of the light count too: blurring only where light can be
                    // must not cut them off.
                    if (expected > 1e-6) {
                        worstFaint = std::max(worstFaint, error / expected);
                    }
                }
            }
        }
        EXPECT_LT(worst, 1e-5 * largest) << colorIntensity;
        EXPECT_LT(worstFaint, 1e-2) << colorIntensity;
        EXPECT_GT(largest, 0.0);
        if (colorIntensity == 0.f) {
            // Without colour the three lanes carry the same light.
            EXPECT_NEAR(energy(light, 0), energy(light, 2), 1e-5 * energy(light, 0));
        } else {
            EXPECT_GT(std::abs(energy(light, 0) - energy(light, 2)), 1e-3 * energy(light, 0));
        }
    }
}

TEST(BloomGlare, OneStreakRunsAlongTheRotation) {
    constexpr Pixel CENTRE{100, 75};
    for (const float rotation : {30.f, -60.f, 0.f}) {
        Bitmap light = singlePoint(201, 151, CENTRE, 500.f);
        bloomAndGlare(PARALLEL, light, onlyGlare(1, rotation, 0.2f));
        for (const float distance : {10.f, 40.f, -40.f}) {
            const float along = lightAt(light, CENTRE, rotation, distance);
            const float across = lightAt(light, CENTRE, rotation + 90.f, distance);
            EXPECT_GT(along, 0.f) << rotation << " " << distance;
            EXPECT_GT(along, 50.f * std::max(across, 1e-9f)) << rotation << " " << distance;
        }
    }
    // Three streaks make six rays, 60 degrees apart.
    Bitmap star = singlePoint(201, 151, CENTRE, 500.f);
    bloomAndGlare(PARALLEL, star, onlyGlare(3, 15.f, 0.2f));
    for (const float ray : {15.f, 75.f, 135.f, 195.f, 255.f, 315.f}) {
        EXPECT_GT(lightAt(star, CENTRE, ray, 30.f), 50.f * lightAt(star, CENTRE, ray + 30.f, 30.f)) << ray;
    }
}

TEST(BloomGlare, HalfATurnGivesTheSameStreaks) {
    Bitmap picture(61, 47, Rgb(0.f, 0.f, 0.f, 0.f));
    picture(20, 30) = Rgb(80.f, 40.f, 20.f, 0.f);
    picture(41, 12) = Rgb(10.f, 90.f, 30.f, 0.f);
    Bitmap turned = picture;
    PostProcessData::BloomGlare params = onlyGlare(2, 0.f, 0.6f);
    params.colorIntensity = 0.4f;
    bloomAndGlare(PARALLEL, picture, params);
    params.rotation = 180.f;
    bloomAndGlare(PARALLEL, turned, params);
    const double largest = peak(picture);
    ASSERT_GT(largest, 0.0);
    for (std::int32_t y = 0; y < picture.height(); ++y) {
        for (std::int32_t x = 0; x < picture.width(); ++x) {
            for (int lane = 0; lane < 3; ++lane) {
                ASSERT_NEAR(picture(x, y)[lane], turned(x, y)[lane], 1e-4 * largest) << x << "," << y;
            }
        }
    }
}

TEST(BloomGlare, NoStreakBlurKeepsStreaksOnePixelThin) {
    constexpr Pixel AT{50, 21};
    Bitmap light = singlePoint(101, 41, AT, 300.f);
    bloomAndGlare(PARALLEL, light, onlyGlare(1, 0.f, 0.f));
    for (std::int32_t y = 0; y < light.height(); ++y) {
        for (std::int32_t x = 0; x < light.width(); ++x) {
            if (y != AT.y) {
                ASSERT_EQ(light(x, y).g, 0.f) << x << "," << y;
            }
        }
    }
    EXPECT_GT(light(AT.x + 30, AT.y).g, 0.f);
    EXPECT_GT(light(AT.x - 30, AT.y).g, 0.f);
    // Glare keeps the energy the cascade gives it: 0.1 times the light above the threshold
    // of 1, weighted per level by what its blur keeps inside the row.
    const BlurLevels levels = blurLevels({101, 41}, 0.f, 0.5f, 0.f, 0.4f);
    std::vector<int> radii;
    for (const BlurLevel& level : levels) {
        radii.push_back(level.radiusX);
    }
    double expected = 0.0;
    const auto profiles = impulseProfiles(101, AT.x, radii);
    for (int i = 0; i < BLUR_LEVEL_COUNT; ++i) {
        double kept = 0.0;
        for (const double value : profiles[std::size_t(i)]) {
            kept += value;
        }
        expected += 0.1 * (300.0 - 1.0) * std::pow(0.4, i) * kept;
    }
    EXPECT_NEAR(energy(light, 1), expected, 1e-4 * expected);
}

TEST(BloomGlare, RotationKeepsSizesAndEnergy) {
    EXPECT_EQ(rotatedSize({37, 23}, 0.f), (Pixel{37, 23}));
    EXPECT_EQ(rotatedSize({37, 23}, 90.f), (Pixel{23, 37}));
    EXPECT_EQ(rotatedSize({37, 23}, 180.f), (Pixel{37, 23}));
    // By hand: 37 cos 30 + 23 sin 30 = 43.54, 37 sin 30 + 23 cos 30 = 38.42.
    EXPECT_EQ(rotatedSize({37, 23}, 30.f), (Pixel{44, 39}));

    Bitmap blob(37, 23, Rgb(0.f, 0.f, 0.f, 0.f));
    for (std::int32_t y = 0; y < 23; ++y) {
        for (std::int32_t x = 0; x < 37; ++x) {
            const float d2 = float((x - 18) * (x - 18) + (y - 11) * (y - 11));
            blob(x, y) = Rgb(std::exp(-d2 / 18.f), 0.f, 0.f, 0.f);
        }
    }
    for (const float angle : {30.f, 77.f, -135.f}) {
        const Pixel size = rotatedSize(blob.size(), angle);
        Bitmap turned(size.x, size.y);
        rotateBitmap(blob, angle, turned, false, PARALLEL);
        Bitmap back(37, 23);
        rotateBitmap(turned, -angle, back, false, {});
        EXPECT_NEAR(energy(turned, 0), energy(blob, 0), 1e-3 * energy(blob, 0)) << angle;
        EXPECT_NEAR(energy(back, 0), energy(blob, 0), 2e-2 * energy(blob, 0)) << angle;
        EXPECT_NEAR(back(18, 11).r, 1.f, 0.1f) << angle;
    }

    // The whole effect keeps an odd size.
    Bitmap odd = singlePoint(37, 23, {18, 11}, 100.f);
    PostProcessData::BloomGlare params;
    params.rotation = 33.f;
    params.streakCount = 5;
    bloomAndGlare(PARALLEL, odd, params);
    EXPECT_EQ(odd.size(), (Pixel{37, 23}));
    EXPECT_GT(peak(odd), 0.0);
}

TEST(BloomGlare, RotationReadsOnlyWhereItSaysItDoes) {
    for (const Pixel size : {Pixel{37, 23}, Pixel{64, 64}, Pixel{101, 57}}) {
        for (const float degrees : {0.f, 15.f, 45.f, 90.f, 135.f, -30.f, 200.f, 301.5f}) {
            const Pixel turned = rotatedSize(size, -degrees);
            const Array<RowSpan> read = readWhenRotated(turned, degrees, size);
            ASSERT_EQ(read.size(), std::size_t(turned.y));
            // Anything read outside the spans brings a NaN along.
            Bitmap source(turned.x, turned.y, Rgb(NAN, NAN, NAN, NAN));
            std::size_t inside = 0;
            for (std::int32_t y = 0; y < turned.y; ++y) {
                for (std::int32_t x = read[std::size_t(y)].begin; x < read[std::size_t(y)].end; ++x) {
                    source(x, y) = Rgb(1.f, 1.f, 1.f, 1.f);
                    ++inside;
                }
            }
            Bitmap target(size.x, size.y);
            rotateBitmap(source, degrees, target, false, {});
            for (const Rgb& pixel : target.view()) {
                ASSERT_FALSE(std::isnan(pixel.r)) << size.x << "x" << size.y << " " << degrees;
            }
            // The spans leave out the corners that the rotation brings in as black.
            if (std::fmod(std::abs(degrees), 90.f) != 0.f) {
                EXPECT_LT(inside, std::size_t(turned.x) * std::size_t(turned.y)) << degrees;
            }
        }
    }
}

TEST(BloomGlare, ParallelAndSerialLoopsAgreeAndPanoramasWrap) {
    Bitmap picture(128, 64, Rgb(0.f, 0.f, 0.f, 0.f));
    picture(1, 32) = Rgb(200.f, 100.f, 50.f, 0.f);
    picture(90, 10) = Rgb(20.f, 100.f, 50.f, 0.f);
    PostProcessData::BloomGlare params;
    params.bloomIntensity = 300.f;
    Bitmap serial = picture;
    bloomAndGlare({}, serial, params);
    Bitmap parallel = picture;
    bloomAndGlare(PARALLEL, parallel, params);
    EXPECT_EQ(serial, parallel);

    // The bloom of a point at the left border spills over to the right border on a sphere.
    params.glareIntensity = 0.f;
    Bitmap flat = picture;
    bloomAndGlare(PARALLEL, flat, params);
    Bitmap sphere = picture;
    bloomAndGlare(PARALLEL | ImageOperatorsFlag::PANORAMA, sphere, params);
    EXPECT_GT(sphere(127, 32).r, 100.f * std::max(flat(127, 32).r, 1e-12f));
    EXPECT_NEAR(sphere(127, 32).r, sphere(3, 32).r, 0.5f * sphere(3, 32).r);
}
