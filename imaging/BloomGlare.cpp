#include "imaging/BloomGlare.h"

#include <algorithm>
#include <cmath>

#include "foundation/Float4.h"
#include "imaging/BitmapRotation.h"
#include "imaging/BlurCascade.h"

namespace Vespra {

namespace {

/// The radii of the first level are the picture's longer side over this.
constexpr float LEVEL_SIZE_DIVISOR = 1024.f;
constexpr float BLOOM_SCALE = 0.001f;
constexpr float GLARE_SCALE = 0.1f;
constexpr float BLOOM_GROWTH = 1.21f;
constexpr float GLARE_GROWTH = 0.4f;
/// Streaks are this thin across, at a streak blur of 1, relative to the bloom.
constexpr float STREAK_THICKNESS = 0.4f;
constexpr float HUE_STEP = 80.f;
constexpr float FULL_TURN = 360.f;
constexpr int ROW_GRAIN = 12;

using Bitmap = BitmapImpl<Rgb>;

std::int32_t limitedRadius(float scaled, std::int32_t extent) {
    const std::int32_t radius = std::min(std::int32_t(scaled), extent / 2 - 1);
    return radius < 1 ? 0 : radius;
}

void applyThreshold(Bitmap& bitmap, float threshold, Flags<ImageOperatorsFlag> flags) {
    const Float4 limit(threshold);
    forEachIndex(flags, bitmap.height(), ROW_GRAIN, [&](int y) {
        Rgb* row = bitmap.row(y);
        for (std::int32_t x = 0; x < bitmap.width(); ++x) {
            max(Float4(row[x]) - limit, Float4()).store(&row[x].r);
        }
    });
}

/// The columns and rows outside which `bitmap` is black.
struct LitBox {
    RowSpan columns;
    RowSpan rows;
};

LitBox litBox(const Bitmap& bitmap, Flags<ImageOperatorsFlag> flags) {
    Array<RowSpan> spans(std::size_t(bitmap.height()));
    forEachIndex(flags, bitmap.height(), ROW_GRAIN,
                 [&](int y) { spans[std::size_t(y)] = nonBlackSpan(bitmap.row(y), bitmap.width()); });
    LitBox box;
    for (std::int32_t y = 0; y < bitmap.height(); ++y) {
        if (!spans[std::size_t(y)].isEmpty()) {
            box.columns = box.columns.united(spans[std::size_t(y)]);
            box.rows = box.rows.united({y, y + 1});
        }
    }
    return box;
}

/// `picture` as the input of a cascade: black outside where it may sample `lit` pixels.
CascadeInput cascadeInput(const RotatedPicture& picture, const LitBox& lit) {
    CascadeInput input;
    input.lit.resize(std::size_t(picture.size().y));
    for (std::int32_t y = 0; y < picture.size().y; ++y) {
        input.lit[std::size_t(y)] = picture.reach(y, lit.columns, lit.rows);
    }
    input.read = [&picture](std::int32_t y, RowSpan pixels, Rgb* out, std::ptrdiff_t step) {
        picture.sample(y, pixels, out, step, false);
    };
    return input;
}

/// Adds `scale` times the streaks of every bright point of `source` to `out`, overwriting it.
void addGlare(const Bitmap& source, const PostProcessData::BloomGlare& params, float scale, Bitmap& out,
              Flags<ImageOperatorsFlag> flags) {
    // Streaks are straight, so they ignore the sphere of a panorama.
    const Flags<ImageOperatorsFlag> streakFlags = flags & ImageOperatorsFlag::PARALLEL;
    const float step = 180.f / float(params.streakCount);
    const LitBox lit = litBox(source, streakFlags);
    for (int i = 0; i < params.streakCount; ++i) {
        const float angle = float(i) * step + params.rotation;
        const Pixel size = rotatedSize(source.size(), angle);
        // The cascade reads the rotated picture as it samples it, so the picture is never stored
        // whole; `rotated` only holds the blurred levels.
        const RotatedPicture picture(source, -angle, size);
        const CascadeInput input = cascadeInput(picture, lit);
        // The cascade writes `rotated` before it reads it, and `streaks` where the rotation back
        // reads them.
        Bitmap rotated(size.x, size.y, UNINITIALIZED);
        Bitmap streaks(size.x, size.y, UNINITIALIZED);
        const BlurLevels levels = blurLevels(size, params.streakBlur * STREAK_THICKNESS, params.colorShift,
                                             params.colorIntensity, GLARE_GROWTH);
        const Array<RowSpan> needed = readWhenRotated(size, angle, source.size());
        runBlurCascade(rotated, levels, scale, streaks, false, streakFlags, needed, &input);
        rotateBitmap(streaks, angle, out, i > 0, streakFlags);
    }
}

} // namespace

Rgb hueToRgb(float degrees) {
    const float sextant = degrees / 60.f;
    const int sector = std::clamp(int(sextant), 0, 5);
    const float rising = sextant - float(sector);
    const float falling = 1.f - rising;
    switch (sector) {
    case 0:
        return {1.f, rising, 0.f};
    case 1:
        return {falling, 1.f, 0.f};
    case 2:
        return {0.f, 1.f, rising};
    case 3:
        return {0.f, falling, 1.f};
    case 4:
        return {rising, 0.f, 1.f};
    default:
        return {1.f, 0.f, falling};
    }
}

BlurLevels blurLevels(Pixel size, float verticalScale, float colorShift, float colorIntensity, float growth) {
    float radiusX = float(std::max(size.x, size.y)) / LEVEL_SIZE_DIVISOR;
    float radiusY = radiusX * verticalScale;
    float weight = 1.f;
    BlurLevels levels;
    for (int i = 0; i < BLUR_LEVEL_COUNT; ++i) {
        BlurLevel& level = levels[std::size_t(i)];
        level.radiusX = limitedRadius(radiusX, size.x);
        level.radiusY = limitedRadius(radiusY, size.y);
        level.colorMix = i == 0 ? 0.f : colorIntensity;
        float hue =
            std::fmod(std::fmod(float(i + 1) * HUE_STEP + colorShift * FULL_TURN, FULL_TURN), FULL_TURN);
        if (hue < 0.f) {
            hue += FULL_TURN;
        }
        level.color = hueToRgb(hue);
        level.weight = weight;
        weight *= growth;
        radiusX *= 2.f;
        radiusY *= 2.f;
    }
    return levels;
}

void bloomAndGlare(Flags<ImageOperatorsFlag> flags, Bitmap& bitmap,
                   const PostProcessData::BloomGlare& params) {
    const bool bloom = params.bloomIntensity > 0.f;
    const bool glare = params.glareIntensity > 0.f;
    if (!bloom && !glare) {
        bitmap = Bitmap();
        return;
    }
    if (bitmap.isEmpty()) {
        return;
    }
    applyThreshold(bitmap, params.threshold, flags);
    // The first streak, or else the bloom, overwrites every pixel.
    Bitmap light(bitmap.width(), bitmap.height(), UNINITIALIZED);
    if (glare) {
        addGlare(bitmap, params, params.glareIntensity * GLARE_SCALE, light, flags);
    }
    if (bloom) {
        const BlurLevels levels =
            blurLevels(bitmap.size(), 1.f, params.colorShift, params.colorIntensity, BLOOM_GROWTH);
        // The bloom is last, so it may blur the thresholded picture itself.
        runBlurCascade(bitmap, levels, params.bloomIntensity * BLOOM_SCALE, light, glare, flags);
    }
    bitmap = std::move(light);
}

} // namespace Vespra
