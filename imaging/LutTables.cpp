#include "imaging/LutTables.h"

#include <smmintrin.h>

namespace Vespra {

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

__m128i selectInt(Float4 mask, __m128i whenTrue, __m128i whenFalse) {
    return _mm_blendv_epi8(whenFalse, whenTrue, _mm_castps_si128(mask.v));
}

/// The median of three, per lane.
Float4 middle(Float4 a, Float4 b, Float4 c) {
    return max(min(a, b), min(max(a, b), c));
}

/// The cells and tetrahedra of four colours, worked out side by side.
struct QuadTetrahedra {
    alignas(16) int origin[4];
    alignas(16) int first[4];
    alignas(16) int second[4];
    /// Weights of the origin, first, second and last corner, per colour.
    Float4 weight[4];

    /// Colour `K`: the weighted sum of its four corners.
    template <int K>
    Float4 blend(const Rgb* table, std::size_t last) const {
        const Rgb* c000 = table + origin[K];
        return broadcast<K>(weight[0]) * Float4(c000[0]) + broadcast<K>(weight[1]) * Float4(c000[first[K]]) +
               broadcast<K>(weight[2]) * Float4(c000[second[K]]) +
               broadcast<K>(weight[3]) * Float4(c000[last]);
    }
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

// The same tetrahedra and sums as the one-colour form, without its branches: the corners are
// picked by lane masks in the order of the branches there, and the sorted fractions are the
// same numbers that the branches pick.
inline ColorQuad Lut3D::interpolate(const ColorQuad& input) const {
    const Float4 positionR = gridPosition(input.r);
    const Float4 positionG = gridPosition(input.g);
    const Float4 positionB = gridPosition(input.b);
    const Float4 wholeR = floor(positionR);
    const Float4 wholeG = floor(positionG);
    const Float4 wholeB = floor(positionB);
    const Float4 fr = positionR - wholeR;
    const Float4 fg = positionG - wholeG;
    const Float4 fb = positionB - wholeB;
    const __m128i stepR = _mm_set1_epi32(1);
    const __m128i stepG = _mm_set1_epi32(size);
    const __m128i stepB = _mm_set1_epi32(size * size);
    const __m128i origin = _mm_add_epi32(
        _mm_cvttps_epi32(wholeR.v),
        _mm_mullo_epi32(stepG, _mm_add_epi32(_mm_cvttps_epi32(wholeG.v),
                                             _mm_mullo_epi32(stepG, _mm_cvttps_epi32(wholeB.v)))));
    const Float4 rOverG = fr > fg;
    const Float4 gOverB = fg > fb;
    const Float4 rOverB = fr > fb;
    const Float4 bOverG = fb > fg;
    const Float4 bOverR = fb > fr;
    const __m128i first =
        selectInt(rOverG, selectInt(gOverB | rOverB, stepR, stepB), selectInt(bOverG, stepB, stepG));
    const __m128i second =
        selectInt(rOverG, selectInt(gOverB, _mm_add_epi32(stepR, stepG), _mm_add_epi32(stepR, stepB)),
                  selectInt(bOverG | bOverR, _mm_add_epi32(stepG, stepB), _mm_add_epi32(stepG, stepR)));
    const Float4 f1 = max(fr, max(fg, fb));
    const Float4 f2 = middle(fr, fg, fb);
    const Float4 f3 = min(fr, min(fg, fb));

    QuadTetrahedra cells;
    _mm_store_si128(reinterpret_cast<__m128i*>(cells.origin), origin);
    _mm_store_si128(reinterpret_cast<__m128i*>(cells.first), first);
    _mm_store_si128(reinterpret_cast<__m128i*>(cells.second), second);
    cells.weight[0] = Float4(1.f) - f1;
    cells.weight[1] = f1 - f2;
    cells.weight[2] = f2 - f3;
    cells.weight[3] = f3;
    const std::size_t last = 1 + std::size_t(size) + std::size_t(size) * std::size_t(size);
    const Rgb* entries = table.data();
    return ColorQuad::fromPixels(cells.blend<0>(entries, last), cells.blend<1>(entries, last),
                                 cells.blend<2>(entries, last), cells.blend<3>(entries, last));
}

// The four colours follow the one-colour form side by side: a colour within the domain is
// interpolated; one above it is interpolated at the limit, and each channel above the limit
// adds its slope, channel by channel in the same order. A colour within the domain keeps its
// input as the limited one, so one interpolation at the limit serves all four colours.
[[gnu::flatten]] ColorQuad Lut3D::evaluate(const ColorQuad& input) const {
    const Float4 limit(domainMax);
    const Float4 aboveR = input.r > limit;
    const Float4 aboveG = input.g > limit;
    const Float4 aboveB = input.b > limit;
    const Float4 above = aboveR | aboveG | aboveB;
    if (!any(above)) {
        return interpolate(input);
    }
    const auto limitedChannel = [&](Float4 x) { return select(above, min(x, limit), x); };
    const ColorQuad limited{limitedChannel(input.r), limitedChannel(input.g), limitedChannel(input.b)};
    const ColorQuad atLimit = interpolate(limited);
    ColorQuad result = atLimit;
    const Float4 belowLimit(domainMax - EXTRAPOLATION_BASE);
    const auto addSlope = [&](Float4 channelAbove, Float4 excess, ColorQuad below) {
        const auto slope = [&](Float4 atTop, Float4 atBelow) {
            return (excess - limit) * (atTop - atBelow) / Float4(EXTRAPOLATION_BASE) & channelAbove;
        };
        result = {result.r + slope(atLimit.r, below.r), result.g + slope(atLimit.g, below.g),
                  result.b + slope(atLimit.b, below.b)};
    };
    if (any(aboveR)) {
        addSlope(aboveR, input.r, interpolate({belowLimit, limited.g, limited.b}));
    }
    if (any(aboveG)) {
        addSlope(aboveG, input.g, interpolate({limited.r, belowLimit, limited.b}));
    }
    if (any(aboveB)) {
        addSlope(aboveB, input.b, interpolate({limited.r, limited.g, belowLimit}));
    }
    const Float4 zero;
    return {select(above, max(result.r, zero), atLimit.r), select(above, max(result.g, zero), atLimit.g),
            select(above, max(result.b, zero), atLimit.b)};
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
