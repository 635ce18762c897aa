#include "imaging/ColorMappingKernel.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <numbers>

#include "foundation/CurveLanes.h"
#include "foundation/LaneMath.h"
#include "foundation/VectorClones.h"

namespace Vespra {

using Detail::laneHorner;
using Detail::laneMax;
using Detail::laneMin;
using Detail::laneSelect;

namespace {

/// A rational fit that takes linear values into a perceptually more even scale: 0 to about
/// 0, 1 to about 1.
float toPerceptual(float x) {
    return laneHorner(x, 13.855738f, 17.444134f, 1.7777296f, 0.0081768222f) /
               laneHorner(x, 3.9500558f, 11.960345f, 1.7220032f, 0.0093355039f) -
           0.8757956f;
}

/// The inverse fit of `toPerceptual`.
float fromPerceptual(float x) {
    return laneHorner(x, 3.8048322f, 0.63405341f, 0.51218796f, 0.18229988f) /
               laneHorner(x, 0.10437664f, -0.52414358f, 3.6338649f, 1.2790123f) -
           0.14250813f;
}

/// x^y for the display, for x >= 0 and y > 0, within about 1e-6 relative for results in the
/// normal range. It leaves out what the general powApprox pays for and the display does not
/// need: inputs below the normal range count as the smallest normal number and results below
/// 2^-125 are 0, both of which keep the processor off its slow path for denormals (black
/// pixels would otherwise cost more than the whole rest of the chain); results beyond 2^127
/// are limited to about 2^127.5; infinity is taken as the largest finite number.
float displayPower(float x, float y) {
    // log2 x = e + log2 m with m in [sqrt(1/2), sqrt(2)), and ln m = 2 atanh((m - 1) / (m + 1)).
    const auto bits = std::bit_cast<std::int32_t>(laneMin(laneMax(x, FLT_MIN), FLT_MAX));
    const std::int32_t e = (bits - 0x3F3504F3) >> 23;
    const auto m = std::bit_cast<float>(bits - (e << 23));
    const float z = (m - 1.f) / (m + 1.f);
    constexpr float TWO_LOG2E = 2.f * std::numbers::log2e_v<float>;
    const float log2Mantissa =
        z * laneHorner(z * z, TWO_LOG2E / 7.f, TWO_LOG2E / 5.f, TWO_LOG2E / 3.f, TWO_LOG2E);
    const float exponent = y * (float(e) + log2Mantissa);

    // 2^t = 2^n * 2^f with n the nearest integer, |f| <= 1/2; n stays in [-125, 127], so that
    // one exponent field holds 2^n.
    const float t = laneMin(laneMax(exponent, -125.f), 127.f);
    const float n = Detail::laneRoundToNearest(t);
    const float f = t - n;
    const float p =
        1.f + f * laneHorner(f, 1.3264726901981337e-3f, 9.671512660416407e-3f, 5.550733744226303e-2f,
                             2.4022242084922213e-1f, 6.931469775984952e-1f);
    const float result = p * Detail::lanePow2(std::int32_t(n));
    return laneSelect(exponent > -125.f, result, 0.f);
}

template <bool FAST_POWER>
float power(float x, float exponent) {
    if constexpr (FAST_POWER) {
        return displayPower(x, exponent);
    } else {
        return std::pow(x, exponent);
    }
}

/// NaN comes out as 0, as from maxps.
float maxWithZero(float x) {
    return laneMax(x, 0.f);
}

bool isWhite(const Rgb& color) {
    return color.r == 1.f && color.g == 1.f && color.b == 1.f;
}

} // namespace

// The steps are defined inline: only this file calls them, and so they are compiled into each
// clone of mapRun, although the library is compiled as position-independent code. They copy
// what they need into locals first, which tells the vectoriser that their loops store nothing
// they read.

ColorMapping::Kernel::Kernel(const ColorMapping& mapping, ColorMapFlavour flavour)
    : mapping(mapping), flavour(flavour),
      // Multiplying by 1 changes nothing, so these steps can go; the others keep their
      // rounding even where they are identities in exact arithmetic.
      scales(mapping.exposure != 1.f || !isWhite(mapping.whiteBalance)), saturates(mapping.saturation != 0.f),
      hasFilmic(mapping.richShadows != 0.f || mapping.filmicHighlights != 0.f),
      tints(!isWhite(mapping.tintLinear)),
      // The display's flavours take the cheaper roots, the exact ones the bits of one colour.
      lutRoots((std::uint32_t(flavour) & std::uint32_t(ColorMapFlavour::FAST_POWER)) != 0
                   ? LutRoots::ROUNDED
                   : LutRoots::AS_ONE_COLOUR) {}

// Vignette, the limit to non-negative values, exposure and white balance.
inline void ColorMapping::Kernel::enter(ColorBlock& block, int firstColumn, float zoom, int originX,
                                        float y) const {
    if (mapping.vignette.enabled) {
        vignette(block, firstColumn, zoom, originX, y);
    } else {
        block.map(maxWithZero);
    }
    if (scales) {
        const float exposure = mapping.exposure;
        const Rgb balance = mapping.whiteBalance;
        const auto scale = [exposure](float* channel, float factor) {
            for (int i = 0; i < ColorBlock::SIZE; ++i) {
                channel[i] = exposure * channel[i] * factor;
            }
        };
        scale(block.r, balance.r);
        scale(block.g, balance.g);
        scale(block.b, balance.b);
    }
}

inline void ColorMapping::Kernel::vignette(ColorBlock& block, int firstColumn, float zoom, int originX,
                                           float y) const {
    const Vignette v = mapping.vignette;
    const float b = (y + v.cropOrigin.y) * v.invLongestSide - v.center.y;
    const float bSquared = b * b;
    alignas(64) float weight[ColorBlock::SIZE];
    for (int i = 0; i < ColorBlock::SIZE; ++i) {
        const auto x = float(std::int32_t(float(firstColumn + i) * zoom) + originX);
        const float a = (x + v.cropOrigin.x) * v.invLongestSide - v.center.x;
        const float t = laneMax(laneMin((a * a + bSquared - v.innerRadiusSq) * v.falloffScale, 1.f), 0.f);
        float u = 1.f - t;
        u *= u;
        u *= u;
        // The smootherstep polynomial, of a value already raised to the fourth power.
        weight[i] = ((u * 6.f - 15.f) * u + 10.f) * u * u * u;
    }
    block.forEachChannel([&weight](float* channel) {
        for (int i = 0; i < ColorBlock::SIZE; ++i) {
            channel[i] = maxWithZero(weight[i] * channel[i]);
        }
    });
}

// The brightest channel stays and the order of the channels never changes: the darkest
// moves away from (or towards) the brightest, and the middle one keeps its relative place.
// Grey pixels, within a thousandth of red, stay as they are. The spread's reciprocal is the
// processor's estimate, which only the four-lane instruction gives the same in every clone.
inline void ColorMapping::Kernel::saturate(ColorBlock& block) const {
    constexpr int N = ColorBlock::SIZE;
    alignas(64) float hi[N];
    alignas(64) float lo[N];
    alignas(64) float inverseSpread[N];
    for (int i = 0; i < N; ++i) {
        hi[i] = laneMax(block.r[i], laneMax(block.g[i], block.b[i]));
        lo[i] = laneMin(block.r[i], laneMin(block.g[i], block.b[i]));
    }
    for (int i = 0; i < N; i += 4) {
        Float4(_mm_rcp_ps((Float4::load(hi + i) - Float4::load(lo + i)).v)).store(inverseSpread + i);
    }
    const float saturation = mapping.saturation;
    for (int i = 0; i < N; ++i) {
        const float r = block.r[i];
        const float g = block.g[i];
        const float b = block.b[i];
        const float tolerance = laneMax(0.001f * r, 0.001f);
        const bool grey =
            (std::abs(r - r) <= tolerance) & (std::abs(g - r) <= tolerance) & (std::abs(b - r) <= tolerance);
        const float newLo = laneMax(laneMin(hi[i], lo[i] - saturation * hi[i]), 0.f);
        const auto channel = [&](float x) {
            const float between = newLo + (hi[i] - newLo) * ((x - lo[i]) * inverseSpread[i]);
            const float saturated = laneSelect(x == hi[i], x, laneSelect(x == lo[i], newLo, between));
            return laneSelect(grey, x, saturated);
        };
        block.r[i] = channel(r);
        block.g[i] = channel(g);
        block.b[i] = channel(b);
    }
}

inline void ColorMapping::Kernel::compressHighlights(ColorBlock& block) const {
    const float whiteMultiplier = mapping.whiteMultiplier;
    block.map(
        [whiteMultiplier](float x) { return maxWithZero(((whiteMultiplier * x + 1.f) * x) / (x + 1.f)); });
}

// A rational fit of a filmic curve, blended in from `richShadows` at black to
// `filmicHighlights` at 1 and above.
inline void ColorMapping::Kernel::filmic(ColorBlock& block) const {
    const float richShadows = mapping.richShadows;
    const float blend = mapping.filmicHighlights - mapping.richShadows;
    block.map([richShadows, blend](float h) {
        const float m = laneMin(1.f, h);
        const float curve = (h * (1.0003055f * h + 0.0021391737f)) / (h * (h + 0.43034402f) + 0.036029063f);
        const float strength = richShadows + blend * m;
        return h + strength * (curve - h);
    });
}

// A sigmoid in the perceptual scale, or its exact inverse below contrast 1. Only values inside
// the open range (1e-6, 0.999999) change.
template <bool STEEP>
inline void ColorMapping::Kernel::applyContrast(ColorBlock& block) const {
    const Contrast c = mapping.contrast;
    block.map([c](float value) {
        const float p = toPerceptual(value);
        float q;
        if constexpr (STEEP) {
            q = c.offset + c.scale / (Detail::laneExp(c.k * (p - 0.5f)) + 1.f);
        } else {
            const float w = c.scale / (p - c.offset) - 1.f;
            q = 0.5f + Detail::laneLog(laneMin(laneMax(w, c.lowClamp), c.highClamp)) / c.k;
        }
        const bool keep = (value <= 1e-6f) | (value >= 0.999999f);
        return laneSelect(keep, value, fromPerceptual(q));
    });
}

inline void ColorMapping::Kernel::tint(ColorBlock& block) const {
    const Rgb factor = mapping.tintLinear;
    const auto scale = [](float* channel, float by) {
        for (int i = 0; i < ColorBlock::SIZE; ++i) {
            channel[i] = channel[i] * by;
        }
    };
    scale(block.r, factor.r);
    scale(block.g, factor.g);
    scale(block.b, factor.b);
}

inline void ColorMapping::Kernel::encode(ColorBlock& block) const {
    switch (flavour) {
    case ColorMapFlavour::EXACT:
        return encodeWithCurves<false>(block);
    case ColorMapFlavour::FAST_POWER:
        return encodeWithCurves<true>(block);
    case ColorMapFlavour::EXACT_WITHOUT_CURVES:
        return encodeWithoutCurves<false>(block);
    case ColorMapFlavour::FAST_POWER_WITHOUT_CURVES:
        return encodeWithoutCurves<true>(block);
    }
}

// The curves act on gamma-encoded values; where the output exponent was set to 1 on purpose
// the chain goes back to linear light after them.
template <bool FAST_POWER>
inline void ColorMapping::Kernel::encodeWithCurves(ColorBlock& block) const {
    const float gamma = mapping.curves.gamma;
    const float toEncoded = 1.f / gamma;
    block.map([toEncoded](float x) { return power<FAST_POWER>(x, toEncoded); });
    if (mapping.curves.enabled) {
        applyCurves(block);
    }
    if (mapping.outputExponent == 1.f) {
        block.map([gamma](float x) { return power<FAST_POWER>(x, gamma); });
    }
    block.map(maxWithZero);
}

template <bool FAST_POWER>
inline void ColorMapping::Kernel::encodeWithoutCurves(ColorBlock& block) const {
    const float exponent = mapping.outputExponent;
    if (exponent == 1.f) {
        block.map(maxWithZero);
        return;
    }
    block.map([exponent](float x) { return maxWithZero(power<FAST_POWER>(x, exponent)); });
}

// Each channel goes through the master curve, then through its own. Curves that are the
// identity (as those never edited are) give every finite value back as it was, so they are left
// out.
inline void ColorMapping::Kernel::applyCurves(ColorBlock& block) const {
    const ColorCurve& curves = mapping.curves.curves;
    const CurvePieces& master = curves.master().pieces();
    for (int channel = 0; channel < 3; ++channel) {
        float* values = block.channel(channel);
        if (!master.isIdentity()) {
            Detail::evaluateCurveLanes<ColorBlock::SIZE, ColorBlock::GROUP>(master, values);
        }
        const CurvePieces& own = curves[channel + 1].pieces();
        if (!own.isIdentity()) {
            Detail::evaluateCurveLanes<ColorBlock::SIZE, ColorBlock::GROUP>(own, values);
        }
    }
}

VESPRA_VECTOR_CLONES [[gnu::flatten]] void ColorMapping::Kernel::mapRun(Rgb* pixels, int count,
                                                                        int firstColumn, float zoom,
                                                                        int originX, float y) const {
    ColorBlock block;
    alignas(64) float alpha[ColorBlock::SIZE];
    for (int start = 0; start < count; start += ColorBlock::SIZE) {
        const int length = std::min(ColorBlock::SIZE, count - start);
        block.load(pixels + start, length, alpha);
        enter(block, firstColumn + start, zoom, originX, y);
        if (saturates) {
            saturate(block);
        }
        compressHighlights(block);
        if (hasFilmic) {
            filmic(block);
        }
        if (mapping.contrast.enabled) {
            mapping.contrast.steep ? applyContrast<true>(block) : applyContrast<false>(block);
        }
        block.map(maxWithZero);
        if (mapping.lut.isActive()) {
            mapping.lut.apply(block, lutRoots);
        }
        if (tints) {
            tint(block);
        }
        encode(block);
        block.store(pixels + start, length, alpha);
    }
}

} // namespace Vespra
