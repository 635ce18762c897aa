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

} // namespace

Float4 LutBase::gridPosition(Float4 input) const {
    const Float4 t = (input - Float4(domainMin)) / Float4(domainMax - domainMin);
    // max() answers its second operand for NaN, so a NaN input lands on the first entry.
    return clamp(t, Float4(0.f), Float4(0.999999f)) * Float4(float(size - 1));
}

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
