#include "imaging/BloomGlare.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "foundation/Float4.h"
#include "imaging/BitmapRotation.h"

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
constexpr int COLUMN_GRAIN = 1;
constexpr int COLUMNS_PER_GROUP = 8;
/// Rows blurred together; the panorama blurs each row with a radius of its own.
constexpr int ROWS_PER_GROUP = 4;

using Bitmap = BitmapImpl<Rgb>;

std::int32_t limitedRadius(float scaled, std::int32_t extent) {
    const std::int32_t radius = std::min(std::int32_t(scaled), extent / 2 - 1);
    return radius < 1 ? 0 : radius;
}

/// Two lines of pixels for running sums, one pair per thread.
struct LineScratch {
    Array<Rgb> first;
    Array<Rgb> second;

    explicit LineScratch(std::size_t length) {
        first.resize(length);
        second.resize(length);
    }
};

/// Makes the scratch of each thread of a loop.
auto lineScratchMaker(std::size_t length) {
    return [length] { return LineScratch(length); };
}

/// `N` lines blurred together, so that their running sums do not wait for one another: pixel
/// j of line k is at `base[k] + j * step`.
template <int N>
struct Lines {
    StaticArray<Rgb*, N> base;
    std::ptrdiff_t step;

    Rgb* at(int k, std::int32_t j) const { return base[std::size_t(k)] + j * step; }
};

/// The running sums of `N` lines.
template <int N>
struct Sums {
    StaticArray<Float4, N> lanes{};

    void add(const Lines<N>& lines, std::int32_t j) {
        for (int k = 0; k < N; ++k) {
            lanes[std::size_t(k)] += Float4(*lines.at(k, j));
        }
    }
    void subtract(const Lines<N>& lines, std::int32_t j) {
        for (int k = 0; k < N; ++k) {
            lanes[std::size_t(k)] -= Float4(*lines.at(k, j));
        }
    }
    void store(const Lines<N>& lines, std::int32_t j, Float4 scale) const {
        for (int k = 0; k < N; ++k) {
            (lanes[std::size_t(k)] * scale).store(&lines.at(k, j)->r);
        }
    }
};

/// out[i] = the mean of in[i - radius .. i + radius] on each line, with black outside.
template <int N>
void boxBlur(const Lines<N>& in, const Lines<N>& out, std::int32_t length, std::int32_t radius) {
    const Float4 scale(1.f / float(2 * radius + 1));
    Sums<N> sum;
    for (std::int32_t j = 0; j < std::min(radius, length); ++j) {
        sum.add(in, j);
    }
    // Three stretches, so that the inner loop has no tests: no sample leaves the window yet,
    // samples enter and leave, no sample enters any more.
    std::int32_t i = 0;
    for (; i < std::min(radius, length); ++i) {
        if (i + radius < length) {
            sum.add(in, i + radius);
        }
        sum.store(out, i, scale);
    }
    for (; i < length - radius; ++i) {
        sum.add(in, i + radius);
        sum.store(out, i, scale);
        sum.subtract(in, i - radius);
    }
    for (; i < length; ++i) {
        sum.store(out, i, scale);
        sum.subtract(in, i - radius);
    }
}

/// As `boxBlur` of one line, closed into a ring.
void boxBlurRing(const Lines<1>& in, const Lines<1>& out, std::int32_t length, std::int32_t radius) {
    const auto wrap = [length](std::int32_t j) {
        j %= length;
        return j < 0 ? j + length : j;
    };
    const Float4 scale(1.f / float(2 * radius + 1));
    Sums<1> sum;
    for (std::int32_t j = -radius; j <= radius; ++j) {
        sum.add(in, wrap(j));
    }
    for (std::int32_t i = 0; i < length; ++i) {
        sum.store(out, i, scale);
        sum.add(in, wrap(i + radius + 1));
        sum.subtract(in, wrap(i - radius));
    }
}

/// Two box passes over `lines` in place, `spare` holding the pass between.
template <int N>
void blurTwice(const Lines<N>& lines, const Lines<N>& spare, std::int32_t length, std::int32_t radius) {
    boxBlur(lines, spare, length, radius);
    boxBlur(spare, lines, length, radius);
}

/// The row radius of row `y` of a panorama: wider towards the poles, so that the blur covers
/// the same angle on the sphere.
std::int32_t panoramaRadius(std::int32_t radius, std::int32_t y, Pixel size) {
    const float sine = std::sin(float(y) * std::numbers::pi_v<float> / float(size.y));
    return std::int32_t(std::min(float(radius) / sine, float(size.x) * 0.5f));
}

/// The weighted, coloured light of one level.
class LevelAdder {
public:
    LevelAdder(const BlurLevel& level, float scale)
        : plain(scale * level.weight * (level.colorMix > 0.f ? 1.f - level.colorMix : 1.f)),
          tinted(level.colorMix > 0.f ? Float4(level.color.r, level.color.g, level.color.b, 0.f) *
                                            Float4(scale * level.weight * level.colorMix)
                                      : Float4()),
          coloured(level.colorMix > 0.f) {}

    /// out (+)= the light of `work`, over `length` pixels.
    void apply(const Rgb* work, Rgb* out, std::int32_t length, bool overwrite) const {
        for (std::int32_t x = 0; x < length; ++x) {
            const Float4 t(work[x]);
            Float4 light = plain * t;
            if (coloured) {
                const Float4 brightest = max(max(broadcast<0>(t), broadcast<1>(t)), broadcast<2>(t));
                light += brightest * tinted;
            }
            (overwrite ? light : light + Float4(out[x])).store(&out[x].r);
        }
    }

private:
    Float4 plain;
    Float4 tinted;
    bool coloured;
};

/// The levels worked in one sweep over the rows: the first one, whose column passes come
/// before the sweep, and the following ones that need no column pass.
struct LevelRange {
    int begin;
    int end;
};

Stack<LevelRange> rowSweeps(const BlurLevels& levels) {
    Stack<LevelRange> sweeps;
    for (int i = 0; i < BLUR_LEVEL_COUNT; ++i) {
        if (i == 0 || levels[std::size_t(i)].radiusY > 0) {
            sweeps.push({i, i + 1});
        } else {
            sweeps.back().end = i + 1;
        }
    }
    return sweeps;
}

/// Runs cascades of box blurs over one work bitmap and sums their levels into another.
class Cascade {
public:
    Cascade(Bitmap& work, Flags<ImageOperatorsFlag> flags)
        : work(work), flags(flags),
          scratchLength(
              std::size_t(std::max(ROWS_PER_GROUP * work.width(), COLUMNS_PER_GROUP * work.height()))) {}

    /// Blurs `work` level after level, each level starting from the one before, and adds
    /// `scale` times the light of every level to `out` (which it overwrites unless
    /// `accumulate`). `work` is left blurred.
    void run(const BlurLevels& levels, float scale, Bitmap& out, bool accumulate) {
        const int groups = (work.height() + ROWS_PER_GROUP - 1) / ROWS_PER_GROUP;
        for (const LevelRange sweep : rowSweeps(levels)) {
            const BlurLevel& first = levels[std::size_t(sweep.begin)];
            if (first.radiusY > 0) {
                blurColumns(first.radiusY);
            }
            const bool overwrite = sweep.begin == 0 && !accumulate;
            forEachIndex<LineScratch>(
                flags, groups, ROW_GRAIN / ROWS_PER_GROUP, lineScratchMaker(scratchLength),
                [&](int group, LineScratch& lines) {
                    const std::int32_t top = group * ROWS_PER_GROUP;
                    const std::int32_t bottom = std::min(top + ROWS_PER_GROUP, work.height());
                    for (int i = sweep.begin; i < sweep.end; ++i) {
                        const BlurLevel& level = levels[std::size_t(i)];
                        blurRows(top, bottom, level.radiusX, lines);
                        const LevelAdder adder(level, scale);
                        for (std::int32_t y = top; y < bottom; ++y) {
                            adder.apply(work.row(y), out.row(y), work.width(), overwrite && i == 0);
                        }
                    }
                });
        }
    }

private:
    /// Both row passes over the rows [top, bottom).
    void blurRows(std::int32_t top, std::int32_t bottom, std::int32_t radius, LineScratch& lines) {
        if (radius <= 0) {
            return;
        }
        const std::int32_t width = work.width();
        Rgb* spare = lines.first.data();
        if (flags.has(ImageOperatorsFlag::PANORAMA)) {
            for (std::int32_t y = top; y < bottom; ++y) {
                const Lines<1> row{{work.row(y)}, 1};
                const Lines<1> between{{spare}, 1};
                const std::int32_t ringRadius = panoramaRadius(radius, y, work.size());
                boxBlurRing(row, between, width, ringRadius);
                boxBlurRing(between, row, width, ringRadius);
            }
        } else if (bottom - top == ROWS_PER_GROUP) {
            Lines<ROWS_PER_GROUP> rows{{}, 1};
            Lines<ROWS_PER_GROUP> between{{}, 1};
            for (int k = 0; k < ROWS_PER_GROUP; ++k) {
                rows.base[std::size_t(k)] = work.row(top + k);
                between.base[std::size_t(k)] = spare + k * width;
            }
            blurTwice(rows, between, width, radius);
        } else {
            for (std::int32_t y = top; y < bottom; ++y) {
                blurTwice(Lines<1>{{work.row(y)}, 1}, Lines<1>{{spare}, 1}, width, radius);
            }
        }
    }

    /// Both column passes, on groups of neighbouring columns gathered side by side into a line;
    /// a group at the right border is filled up with black.
    void blurColumns(std::int32_t radius) {
        const std::int32_t height = work.height();
        const int groups = (work.width() + COLUMNS_PER_GROUP - 1) / COLUMNS_PER_GROUP;
        forEachIndex<LineScratch>(
            flags, groups, COLUMN_GRAIN, lineScratchMaker(scratchLength), [&](int group, LineScratch& lines) {
                const std::int32_t left = group * COLUMNS_PER_GROUP;
                const std::int32_t count = std::min(COLUMNS_PER_GROUP, work.width() - left);
                Rgb* gathered = lines.first.data();
                for (std::int32_t y = 0; y < height; ++y) {
                    Rgb* target = gathered + COLUMNS_PER_GROUP * y;
                    copyGroup(work.row(y) + left, target, count);
                    std::fill(target + count, target + COLUMNS_PER_GROUP, Rgb(0.f, 0.f, 0.f, 0.f));
                }
                blurTwice(interleaved(gathered), interleaved(lines.second.data()), height, radius);
                for (std::int32_t y = 0; y < height; ++y) {
                    copyGroup(gathered + COLUMNS_PER_GROUP * y, work.row(y) + left, count);
                }
            });
    }

    /// The columns of a gathered group as lines.
    static Lines<COLUMNS_PER_GROUP> interleaved(Rgb* gathered) {
        Lines<COLUMNS_PER_GROUP> lines{{}, COLUMNS_PER_GROUP};
        for (int k = 0; k < COLUMNS_PER_GROUP; ++k) {
            lines.base[std::size_t(k)] = gathered + k;
        }
        return lines;
    }

    /// Copies the `count` pixels of a column group.
    static void copyGroup(const Rgb* from, Rgb* to, std::int32_t count) {
        for (std::int32_t c = 0; c < count; ++c) {
            Float4(from[c]).store(&to[c].r);
        }
    }

    Bitmap& work;
    Flags<ImageOperatorsFlag> flags;
    std::size_t scratchLength;
};

void applyThreshold(Bitmap& bitmap, float threshold, Flags<ImageOperatorsFlag> flags) {
    const Float4 limit(threshold);
    forEachIndex(flags, bitmap.height(), ROW_GRAIN, [&](int y) {
        Rgb* row = bitmap.row(y);
        for (std::int32_t x = 0; x < bitmap.width(); ++x) {
            max(Float4(row[x]) - limit, Float4()).store(&row[x].r);
        }
    });
}

/// Adds `scale` times the streaks of every bright point of `source` to `out`, overwriting it.
void addGlare(const Bitmap& source, const PostProcessData::BloomGlare& params, float scale, Bitmap& out,
              Flags<ImageOperatorsFlag> flags) {
    // Streaks are straight, so they ignore the sphere of a panorama.
    const Flags<ImageOperatorsFlag> streakFlags = flags & ImageOperatorsFlag::PARALLEL;
    const float step = 180.f / float(params.streakCount);
    Bitmap rotated;
    Bitmap streaks;
    for (int i = 0; i < params.streakCount; ++i) {
        const float angle = float(i) * step + params.rotation;
        const Pixel size = rotatedSize(source.size(), angle);
        rotated.resize(size.x, size.y);
        rotateBitmap(source, -angle, rotated, false, streakFlags);
        streaks.resize(size.x, size.y);
        const BlurLevels levels = blurLevels(size, params.streakBlur * STREAK_THICKNESS, params.colorShift,
                                             params.colorIntensity, GLARE_GROWTH);
        Cascade(rotated, streakFlags).run(levels, scale, streaks, false);
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
    Bitmap light(bitmap.width(), bitmap.height());
    if (glare) {
        addGlare(bitmap, params, params.glareIntensity * GLARE_SCALE, light, flags);
    }
    if (bloom) {
        const BlurLevels levels =
            blurLevels(bitmap.size(), 1.f, params.colorShift, params.colorIntensity, BLOOM_GROWTH);
        // The bloom is last, so it may blur the thresholded picture itself.
        Cascade(bitmap, flags).run(levels, params.bloomIntensity * BLOOM_SCALE, light, glare);
    }
    bitmap = std::move(light);
}

} // namespace Vespra
