#include "imaging/LutTables.h"

#include <algorithm>
#include <bit>
#include <cstdint>

#include <smmintrin.h>

#include "foundation/LaneMath.h"
#include "foundation/VectorClones.h"

namespace Vespra {

using Detail::laneMax;
using Detail::laneMin;

namespace {

/// Distance below the top of the domain from which inputs above it are extrapolated.
constexpr float EXTRAPOLATION_BASE = 0.2f;

struct GridCell {
    alignas(16) int index[4];
    Float4 fraction;
};

GridCell toCell(Float4 position) {
    GridCell cell;
    const Float4 whole = floor(position);
    _mm_store_si128(reinterpret_cast<__m128i*>(cell.index), _mm_cvttps_epi32(whole.v));
    cell.fraction = position - whole;
    return cell;
}

/// `LutBase::gridPosition` for one lane. The table's fields are copied in, so that the
/// vectoriser sees that the loops using it store nothing it reads.
struct LaneGrid {
    float domainMin;
    float span;
    float last;
    /// Whether the span is a normal power of two, whose reciprocal is exact: multiplying by it
    /// then gives the quotient's bits at a fraction of a division's cost.
    bool exactReciprocal;

    explicit LaneGrid(const LutBase& table)
        : domainMin(table.domainMin), span(table.domainMax - table.domainMin), last(float(table.size - 1)),
          exactReciprocal(isNormalPowerOfTwo(span)) {}

    /// With `BY_RECIPROCAL` only where `exactReciprocal` holds.
    template <bool BY_RECIPROCAL = false>
    float position(float input) const {
        const float t = BY_RECIPROCAL ? (input - domainMin) * (1.f / span) : (input - domainMin) / span;
        return laneMin(laneMax(t, 0.f), 0.999999f) * last;
    }

private:
    static bool isNormalPowerOfTwo(float x) {
        const auto bits = std::bit_cast<std::uint32_t>(x);
        const std::uint32_t exponent = bits >> 23;
        return (bits & 0x7FFFFFu) == 0 && exponent != 0 && exponent < 0xFFu;
    }
};

std::int32_t laneSelectIndex(bool condition, std::int32_t whenTrue, std::int32_t whenFalse) {
    const std::int32_t mask = -std::int32_t(condition);
    return (mask & whenTrue) | (~mask & whenFalse);
}

/// The colours of a block with a channel above a table's domain, gathered into a block of
/// their own with their places. Rendered images have few enough of them that extrapolating
/// only these beats extrapolating in every lane, which costs up to three more interpolations.
class Outliers {
public:
    /// The lanes after `count` of its last group hold zeros.
    ColorBlock colors;
    int count = 0;

    Outliers(const ColorBlock& block, float limit) {
        alignas(64) std::int32_t above[ColorBlock::SIZE];
        int total = 0;
        for (int i = 0; i < ColorBlock::SIZE; ++i) {
            above[i] = std::int32_t(block.r[i] > limit) | std::int32_t(block.g[i] > limit) |
                       std::int32_t(block.b[i] > limit);
            total += above[i];
        }
        if (total == 0) {
            return;
        }
        // Without branches: every place is written, and the count moves on past outliers only.
        for (int i = 0; i < ColorBlock::SIZE; ++i) {
            place[count] = i;
            count += above[i];
        }
        for (int k = 0; k < count; ++k) {
            colors.r[k] = block.r[place[k]];
            colors.g[k] = block.g[place[k]];
            colors.b[k] = block.b[place[k]];
        }
        const int lanes = ColorBlock::groupedLanes(count);
        colors.forEachChannel(
            [this, lanes](float* channel) { std::fill(channel + count, channel + lanes, 0.f); });
    }

    /// Puts the first `count` colours of `mapped` back to the outliers' places in `block`.
    void scatter(const ColorBlock& mapped, ColorBlock& block) const {
        for (int k = 0; k < count; ++k) {
            block.r[place[k]] = mapped.r[k];
            block.g[place[k]] = mapped.g[k];
            block.b[place[k]] = mapped.b[k];
        }
    }

private:
    int place[ColorBlock::SIZE];
};

} // namespace

bool LutBase::exceedsDomain(Float4 input) const {
    return (_mm_movemask_ps((input > Float4(domainMax)).v) & 0x7) != 0;
}

Lut1D::Lut1D(int size) : LutBase(size) {
    table.resize(std::size_t(size), Rgb(0.f, 0.f, 0.f, 0.f));
}

Float4 Lut1D::interpolate(Float4 input) const {
    const GridCell cell = toCell(gridPosition(input));
    const Rgb* entries = table.data();
    const Float4 low(entries[cell.index[0]].r, entries[cell.index[1]].g, entries[cell.index[2]].b, 0.f);
    const Float4 high(entries[cell.index[0] + 1].r, entries[cell.index[1] + 1].g,
                      entries[cell.index[2] + 1].b, 0.f);
    return low * (Float4(1.f) - cell.fraction) + high * cell.fraction;
}

Float4 Lut1D::evaluate(Float4 input) const {
    if (!exceedsDomain(input)) {
        return interpolate(input);
    }
    const Float4 top = interpolate(Float4(domainMax));
    const Float4 below = interpolate(Float4(domainMax - EXTRAPOLATION_BASE));
    const Float4 slope = (top - below) / Float4(EXTRAPOLATION_BASE);
    const Float4 limited = min(input, Float4(domainMax));
    return max((input - limited) * slope + interpolate(limited), Float4(0.f));
}

VESPRA_VECTOR_CLONES [[gnu::flatten]] void Lut1D::evaluate(ColorBlock& colors) const {
    Outliers outliers(colors, domainMax);
    const LaneGrid grid(*this);
    // The entries as floats, four a pixel: the column of channel c starts at c.
    const auto* entries = reinterpret_cast<const float*>(table.data());
    int channel = 0;
    colors.forEachChannel([&](float* values) {
        const float* column = entries + channel++;
        for (int i = 0; i < ColorBlock::SIZE; ++i) {
            const float position = grid.position(values[i]);
            const auto whole = std::int32_t(position);
            const float fraction = position - float(whole);
            values[i] = column[4 * whole] * (1.f - fraction) + column[4 * whole + 4] * fraction;
        }
    });
    // Tables per channel are rare enough that their outliers go one at a time.
    for (int k = 0; k < outliers.count; ++k) {
        outliers.colors.setPixel(k, evaluate(outliers.colors.pixel(k)));
    }
    outliers.scatter(outliers.colors, colors);
}

Lut3D::Lut3D(int size) : LutBase(size) {
    table.resize(entryCount(), Rgb(0.f, 0.f, 0.f, 0.f));
}

Float4 Lut3D::interpolate(Float4 input) const {
    const GridCell cell = toCell(gridPosition(input));
    const std::size_t stepR = 1;
    const std::size_t stepG = std::size_t(size);
    const std::size_t stepB = stepG * stepG;
    const Rgb* c000 = table.data() + index(cell.index[0], cell.index[1], cell.index[2]);
    const float fr = cell.fraction[0];
    const float fg = cell.fraction[1];
    const float fb = cell.fraction[2];
    // The cell splits into six tetrahedra along its main diagonal; the order of the three
    // fractions picks the one holding the point, and the path from c000 to c111 through it
    // steps along the axis of the largest fraction first.
    std::size_t first, second;
    float f1, f2, f3;
    if (fr > fg) {
        if (fg > fb) {
            first = stepR, second = stepR + stepG, f1 = fr, f2 = fg, f3 = fb;
        } else if (fr > fb) {
            first = stepR, second = stepR + stepB, f1 = fr, f2 = fb, f3 = fg;
        } else {
            first = stepB, second = stepB + stepR, f1 = fb, f2 = fr, f3 = fg;
        }
    } else {
        if (fb > fg) {
            first = stepB, second = stepB + stepG, f1 = fb, f2 = fg, f3 = fr;
        } else if (fb > fr) {
            first = stepG, second = stepG + stepB, f1 = fg, f2 = fb, f3 = fr;
        } else {
            first = stepG, second = stepG + stepR, f1 = fg, f2 = fr, f3 = fb;
        }
    }
    const std::size_t last = stepR + stepG + stepB;
    return Float4(1.f - f1) * Float4(c000[0]) + Float4(f1 - f2) * Float4(c000[first]) +
           Float4(f2 - f3) * Float4(c000[second]) + Float4(f3) * Float4(c000[last]);
}

// The tetrahedra and sums of the one-colour form, lane by lane without its branches: the steps
// to the corners are picked by masks in the order of the branches there, and the sorted
// fractions are the same numbers that the branches pick. Positions are not negative, so
// truncation is their floor. The colours go in chunks of a block, each read whole before its
// first result is stored.
template <class Store>
inline void Lut3D::interpolate(const float* red, const float* green, const float* blue, int count,
                               Store store) const {
    constexpr int N = ColorBlock::SIZE;
    constexpr int GROUP = ColorBlock::GROUP;
    const LaneGrid grid(*this);
    const std::int32_t stepG = size;
    const std::int32_t stepB = size * size;
    const std::size_t last = 1 + std::size_t(size) + std::size_t(size) * std::size_t(size);
    const Rgb* entries = table.data();
    alignas(64) std::int32_t origin[N];
    alignas(64) std::int32_t first[N];
    alignas(64) std::int32_t second[N];
    alignas(64) float weight[4][N];
    const auto prepare = [&]<bool BY_RECIPROCAL>(int chunk, int length) {
        for (int group = 0; group < length; group += GROUP) {
            for (int i = group; i < group + GROUP; ++i) {
                const float positionR = grid.position<BY_RECIPROCAL>(red[chunk + i]);
                const float positionG = grid.position<BY_RECIPROCAL>(green[chunk + i]);
                const float positionB = grid.position<BY_RECIPROCAL>(blue[chunk + i]);
                const auto wholeR = std::int32_t(positionR);
                const auto wholeG = std::int32_t(positionG);
                const auto wholeB = std::int32_t(positionB);
                const float fr = positionR - float(wholeR);
                const float fg = positionG - float(wholeG);
                const float fb = positionB - float(wholeB);
                origin[i] = wholeR + stepG * (wholeG + stepG * wholeB);
                const bool rOverG = fr > fg;
                const bool gOverB = fg > fb;
                const bool rOverB = fr > fb;
                const bool bOverG = fb > fg;
                const bool bOverR = fb > fr;
                first[i] = laneSelectIndex(rOverG, laneSelectIndex(gOverB | rOverB, 1, stepB),
                                           laneSelectIndex(bOverG, stepB, stepG));
                second[i] = laneSelectIndex(rOverG, laneSelectIndex(gOverB, 1 + stepG, 1 + stepB),
                                            laneSelectIndex(bOverG | bOverR, stepG + stepB, stepG + 1));
                const float f1 = laneMax(fr, laneMax(fg, fb));
                const float f2 = laneMax(laneMin(fr, fg), laneMin(laneMax(fr, fg), fb));
                const float f3 = laneMin(fr, laneMin(fg, fb));
                weight[0][i] = 1.f - f1;
                weight[1][i] = f1 - f2;
                weight[2][i] = f2 - f3;
                weight[3][i] = f3;
            }
        }
    };
    for (int chunk = 0; chunk < count; chunk += N) {
        const int length = std::min(N, count - chunk);
        if (grid.exactReciprocal) {
            prepare.template operator()<true>(chunk, length);
        } else {
            prepare.template operator()<false>(chunk, length);
        }
        // The corners are whole entries: one load each, weighted in all lanes at once.
        const auto blend = [&](int k) {
            const Rgb* c000 = entries + origin[k];
            return Float4(weight[0][k]) * Float4(c000[0]) + Float4(weight[1][k]) * Float4(c000[first[k]]) +
                   Float4(weight[2][k]) * Float4(c000[second[k]]) + Float4(weight[3][k]) * Float4(c000[last]);
        };
        for (int i = 0; i < length; i += 4) {
            store(chunk + i, blend(i), blend(i + 1), blend(i + 2), blend(i + 3));
        }
    }
}

// The slope of a channel above the domain is taken towards its foot: the colour limited to the
// domain with this channel at the foot of the extrapolation base. Colours above the domain in all
// three channels, the common case of bright lights, are the top corner when limited, so per
// channel they share one foot, which is interpolated once. Every outlier has three slots, one per
// channel; a channel within the domain points to any foot and is masked off.
class Lut3D::Excesses {
public:
    static constexpr int N = ColorBlock::SIZE;
    /// Each outlier has at most two feet of its own, and there are three shared ones.
    static constexpr int CAPACITY = 2 * N + ColorBlock::GROUP;

    /// Per colour: how many channels lie above the domain.
    alignas(64) std::int32_t channelsAbove[N];
    int count = 0;
    /// Per outlier: its place, and per channel its excess over the domain's limit, whether the
    /// channel lies above (all bits set) or not (zero), and the index of its foot. The fourth
    /// lanes are not used.
    int place[N];
    alignas(16) float excess[N][4];
    alignas(16) float above[N][4];
    int footOf[N][3];
    int footCount = 0;
    /// Zeros follow the last foot to the end of its group.
    alignas(64) float feet[3][CAPACITY];

    Excesses(const ColorBlock& block, float limit, float footValue) {
        int outliers = 0;
        int saturated = 0;
        for (int i = 0; i < N; ++i) {
            channelsAbove[i] = std::int32_t(block.r[i] > limit) + std::int32_t(block.g[i] > limit) +
                               std::int32_t(block.b[i] > limit);
            outliers += std::int32_t(channelsAbove[i] != 0);
            saturated += std::int32_t(channelsAbove[i] == 3);
        }
        if (outliers == 0) {
            return;
        }
        // The shared feet come first, so that every outlier has foot 0 to point to.
        if (saturated > 0) {
            for (int channel = 0; channel < 3; ++channel) {
                for (int c = 0; c < 3; ++c) {
                    feet[c][channel] = c == channel ? footValue : limit;
                }
            }
            footCount = 3;
        }
        for (int word = 0; word < N; word += 64) {
            for (std::uint64_t bits = outlierBits(word); bits != 0; bits &= bits - 1) {
                add(block, word + std::countr_zero(bits), limit, footValue);
            }
        }
        for (float* values : feet) {
            std::fill(values + footCount, values + ColorBlock::groupedLanes(footCount), 0.f);
        }
    }

private:
    /// Bit i tells whether colour word + i is an outlier.
    std::uint64_t outlierBits(int word) const {
        std::uint64_t bits = 0;
        for (int i = 0; i < 64; i += 4) {
            const __m128i counts = _mm_load_si128(reinterpret_cast<const __m128i*>(channelsAbove + word + i));
            const __m128i isOutlier = _mm_cmpgt_epi32(counts, _mm_setzero_si128());
            bits |= std::uint64_t(_mm_movemask_ps(_mm_castsi128_ps(isOutlier))) << i;
        }
        return bits;
    }

    // Without branches on the channels: a foot is written for every channel and kept only for
    // those above the domain of colours that do not share the feet.
    void add(const ColorBlock& block, int i, float limit, float footValue) {
        const Float4 color = block.pixel(i);
        (color - Float4(limit)).store(excess[count]);
        (color > Float4(limit)).store(above[count]);
        alignas(16) float limited[4];
        min(color, Float4(limit)).store(limited);
        const bool shares = channelsAbove[i] == 3;
        place[count] = i;
        for (int channel = 0; channel < 3; ++channel) {
            for (int c = 0; c < 3; ++c) {
                feet[c][footCount] = c == channel ? footValue : limited[c];
            }
            const bool ownFoot = (block.channel(channel)[i] > limit) & !shares;
            footOf[count][channel] = laneSelectIndex(shares, channel, laneSelectIndex(ownFoot, footCount, 0));
            footCount += std::int32_t(ownFoot);
        }
        ++count;
    }
};

// The one-colour form, outlier by outlier: each channel above the domain adds its excess times
// the slope between the colour at the limit and at its foot, in the order of the channels, and
// the colour is then limited to non-negative values.
inline void Lut3D::extrapolate(const Excesses& excesses, ColorBlock& colors) const {
    // Raw floats, as an array of Float4 would be cleared first, a few kilobytes per block.
    alignas(16) float atFoot[Excesses::CAPACITY][4];
    interpolate(excesses.feet[0], excesses.feet[1], excesses.feet[2], excesses.footCount,
                [&atFoot](int i, Float4 p0, Float4 p1, Float4 p2, Float4 p3) {
                    p0.store(atFoot[i]);
                    p1.store(atFoot[i + 1]);
                    p2.store(atFoot[i + 2]);
                    p3.store(atFoot[i + 3]);
                });
    for (int k = 0; k < excesses.count; ++k) {
        const int i = excesses.place[k];
        const Float4 atLimit = colors.pixel(i);
        Float4 result = atLimit;
        for (int channel = 0; channel < 3; ++channel) {
            const Float4 slope = Float4(excesses.excess[k][channel]) *
                                 (atLimit - Float4::load(atFoot[excesses.footOf[k][channel]])) /
                                 Float4(EXTRAPOLATION_BASE);
            result = select(Float4(excesses.above[k][channel]), result + slope, result);
        }
        colors.setPixel(i, max(result, Float4(0.f)));
    }
}

// The colours with a channel above the domain enter the interpolation limited to it, which gives
// their colour at the limit: the grid positions of the inputs above it are those of its top,
// while a NaN beside a channel above counts as the top, as in the one-colour form.
VESPRA_VECTOR_CLONES [[gnu::flatten]] void Lut3D::evaluate(ColorBlock& colors) const {
    const Excesses excesses(colors, domainMax, domainMax - EXTRAPOLATION_BASE);
    if (excesses.count > 0) {
        const float limit = domainMax;
        colors.forEachChannel([&excesses, limit](float* channel) {
            for (int i = 0; i < ColorBlock::SIZE; ++i) {
                channel[i] = Detail::laneSelect(excesses.channelsAbove[i] != 0, laneMin(channel[i], limit),
                                                channel[i]);
            }
        });
    }
    interpolate(
        colors.r, colors.g, colors.b, ColorBlock::SIZE,
        [&colors](int i, Float4 p0, Float4 p1, Float4 p2, Float4 p3) { colors.setQuad(i, p0, p1, p2, p3); });
    if (excesses.count > 0) {
        extrapolate(excesses, colors);
    }
}

Float4 Lut3D::evaluate(Float4 input) const {
    if (!exceedsDomain(input)) {
        return interpolate(input);
    }
    const Float4 limited = min(input, Float4(domainMax));
    const Float4 atLimit = interpolate(limited);
    Float4 result = atLimit;
    for (int channel = 0; channel < 3; ++channel) {
        if (input[channel] > domainMax) {
            alignas(16) float lanes[4];
            limited.store(lanes);
            lanes[channel] = domainMax - EXTRAPOLATION_BASE;
            const Float4 below = interpolate(Float4::load(lanes));
            result += Float4(input[channel] - domainMax) * (atLimit - below) / Float4(EXTRAPOLATION_BASE);
        }
    }
    return max(result, Float4(0.f));
}

} // namespace Vespra
