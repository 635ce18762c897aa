#include "imaging/ColorMappingKernel.h"

#include <algorithm>
#include <cfloat>
#include <numbers>

#include "foundation/FastMath.h"
#include "imaging/ExactPow.h"

namespace Vespra {

namespace {

/// A rational fit that takes linear values into a perceptually more even scale: 0 to about
/// 0, 1 to about 1.
Float4 toPerceptual(Float4 x) {
    return Detail::horner(x, 13.855738f, 17.444134f, 1.7777296f, 0.0081768222f) /
               Detail::horner(x, 3.9500558f, 11.960345f, 1.7220032f, 0.0093355039f) -
           Float4(0.8757956f);
}

/// The inverse fit of `toPerceptual`.
Float4 fromPerceptual(Float4 x) {
    return Detail::horner(x, 3.8048322f, 0.63405341f, 0.51218796f, 0.18229988f) /
               Detail::horner(x, 0.10437664f, -0.52414358f, 3.6338649f, 1.2790123f) -
           Float4(0.14250813f);
}

/// x^y for the display, for x >= 0 and y > 0, within about 1e-6 relative for results in the
/// normal range. It leaves out what the general powApprox pays for and the display does not
/// need: inputs below the normal range count as the smallest normal number and results below
/// 2^-125 are 0, both of which keep the processor off its slow path for denormals (black
/// pixels would otherwise cost more than the whole rest of the chain); results beyond 2^127
/// are limited to about 2^127.5; infinity is taken as the largest finite number.
Float4 displayPower(Float4 x, Float4 y) {
    // log2 x = e + log2 m with m in [sqrt(1/2), sqrt(2)), and ln m = 2 atanh((m - 1) / (m + 1)).
    const __m128i bits = _mm_castps_si128(min(max(x, Float4(FLT_MIN)), Float4(FLT_MAX)).v);
    const __m128i e = _mm_srai_epi32(_mm_sub_epi32(bits, _mm_set1_epi32(0x3F3504F3)), 23);
    const Float4 m = _mm_castsi128_ps(_mm_sub_epi32(bits, _mm_slli_epi32(e, 23)));
    const Float4 z = (m - Float4(1.f)) / (m + Float4(1.f));
    constexpr float TWO_LOG2E = 2.f * std::numbers::log2e_v<float>;
    const Float4 log2Mantissa =
        z * Detail::horner(z * z, TWO_LOG2E / 7.f, TWO_LOG2E / 5.f, TWO_LOG2E / 3.f, TWO_LOG2E);
    const Float4 exponent = y * (Float4(_mm_cvtepi32_ps(e)) + log2Mantissa);

    // 2^t = 2^n * 2^f with n the nearest integer, |f| <= 1/2; n stays in [-125, 127], so that
    // one exponent field holds 2^n.
    const Float4 t = min(max(exponent, Float4(-125.f)), Float4(127.f));
    const Float4 n = Detail::roundToNearest(t);
    const Float4 f = t - n;
    const Float4 p = Float4(1.f) + f * Detail::horner(f, 1.3264726901981337e-3f, 9.671512660416407e-3f,
                                                      5.550733744226303e-2f, 2.4022242084922213e-1f,
                                                      6.931469775984952e-1f);
    const Float4 result = p * Detail::pow2(_mm_cvttps_epi32(n.v));
    return result & (exponent > Float4(-125.f));
}

template <bool FAST_POWER>
Float4 power(Float4 x, Float4 exponent) {
    if constexpr (FAST_POWER) {
        return displayPower(x, exponent);
    } else {
        return powExact(x, exponent);
    }
}

template <bool FAST_POWER>
ColorQuad power(const ColorQuad& c, float exponent) {
    const Float4 y(exponent);
    return {power<FAST_POWER>(c.r, y), power<FAST_POWER>(c.g, y), power<FAST_POWER>(c.b, y)};
}

ColorQuad maxWithZero(const ColorQuad& c) {
    const Float4 zero;
    // max() answers its second operand for NaN: NaN comes out as 0.
    return {max(c.r, zero), max(c.g, zero), max(c.b, zero)};
}

Float4 splat(const Rgb& color, int channel) {
    return Float4(color[channel]);
}

bool isWhite(const Rgb& color) {
    return color.r == 1.f && color.g == 1.f && color.b == 1.f;
}

} // namespace

// The steps are defined inline: only this file calls them, and so they stay open to inlining
// into mapRun although the library is compiled as position-independent code.

ColorMapping::Kernel::Kernel(const ColorMapping& mapping, ColorMapFlavour flavour)
    : mapping(mapping), flavour(flavour),
      // Multiplying by 1 changes nothing, so these steps can go; the others keep their
      // rounding even where they are identities in exact arithmetic.
      scales(mapping.exposure != 1.f || !isWhite(mapping.whiteBalance)), saturates(mapping.saturation != 0.f),
      hasFilmic(mapping.richShadows != 0.f || mapping.filmicHighlights != 0.f),
      tints(!isWhite(mapping.tintLinear)),
      exposure(mapping.exposure), whiteBalance{splat(mapping.whiteBalance, 0), splat(mapping.whiteBalance, 1),
                                               splat(mapping.whiteBalance, 2)},
      saturation(mapping.saturation), whiteMultiplier(mapping.whiteMultiplier),
      richShadows(mapping.richShadows), filmicBlend(mapping.filmicHighlights - mapping.richShadows),
      contrastK(mapping.contrast.k), contrastScale(mapping.contrast.scale),
      contrastOffset(mapping.contrast.offset), contrastLowClamp(mapping.contrast.lowClamp),
      contrastHighClamp(mapping.contrast.highClamp), tint{splat(mapping.tintLinear, 0),
                                                          splat(mapping.tintLinear, 1),
                                                          splat(mapping.tintLinear, 2)} {}

inline void ColorMapping::Kernel::Run::load(const Rgb* pixels, int count) {
    quads = (count + 3) / 4;
    const int whole = count / 4;
    for (int q = 0; q < whole; ++q) {
        const Rgb* p = pixels + 4 * q;
        color[q] = ColorQuad::fromPixels(Float4(p[0]), Float4(p[1]), Float4(p[2]), Float4(p[3]), alpha[q]);
    }
    if (whole < quads) {
        Rgb tail[4];
        std::copy_n(pixels + 4 * whole, count - 4 * whole, tail);
        color[whole] = ColorQuad::fromPixels(Float4(tail[0]), Float4(tail[1]), Float4(tail[2]),
                                             Float4(tail[3]), alpha[whole]);
    }
}

inline void ColorMapping::Kernel::Run::store(Rgb* pixels, int count) const {
    const int whole = count / 4;
    Float4 p0, p1, p2, p3;
    for (int q = 0; q < whole; ++q) {
        color[q].toPixels(p0, p1, p2, p3, alpha[q]);
        Rgb* target = pixels + 4 * q;
        p0.store(&target[0].r);
        p1.store(&target[1].r);
        p2.store(&target[2].r);
        p3.store(&target[3].r);
    }
    if (whole < quads) {
        Rgb tail[4];
        color[whole].toPixels(p0, p1, p2, p3, alpha[whole]);
        p0.store(&tail[0].r);
        p1.store(&tail[1].r);
        p2.store(&tail[2].r);
        p3.store(&tail[3].r);
        std::copy_n(tail, count - 4 * whole, pixels + 4 * whole);
    }
}

// Vignette, the limit to non-negative values, exposure and white balance.
inline void ColorMapping::Kernel::enter(Run& run, int firstColumn, float zoom, int originX, float y) const {
    const Vignette& vignette = mapping.vignette;
    if (vignette.enabled) {
        const Float4 b((y + vignette.cropOrigin.y) * vignette.invLongestSide - vignette.center.y);
        const Float4 bSquared = b * b;
        const Float4 zoomFactor(zoom);
        const __m128i origin = _mm_set1_epi32(originX);
        const Float4 one(1.f);
        for (int q = 0; q < run.quads; ++q) {
            const int column = firstColumn + 4 * q;
            const Float4 columns(float(column), float(column + 1), float(column + 2), float(column + 3));
            const Float4 x =
                _mm_cvtepi32_ps(_mm_add_epi32(_mm_cvttps_epi32((columns * zoomFactor).v), origin));
            const Float4 a = (x + Float4(vignette.cropOrigin.x)) * Float4(vignette.invLongestSide) -
                             Float4(vignette.center.x);
            const Float4 t = max(
                min((a * a + bSquared - Float4(vignette.innerRadiusSq)) * Float4(vignette.falloffScale), one),
                Float4());
            Float4 u = one - t;
            u *= u;
            u *= u;
            // The smootherstep polynomial, of a value already raised to the fourth power.
            const Float4 v = ((u * Float4(6.f) - Float4(15.f)) * u + Float4(10.f)) * u * u * u;
            ColorQuad& c = run.color[q];
            c = maxWithZero({v * c.r, v * c.g, v * c.b});
        }
    } else {
        run.forEach(maxWithZero);
    }
    if (scales) {
        run.forEach([this](const ColorQuad& c) {
            return ColorQuad{exposure * c.r * whiteBalance[0], exposure * c.g * whiteBalance[1],
                             exposure * c.b * whiteBalance[2]};
        });
    }
}

// The brightest channel stays and the order of the channels never changes: the darkest
// moves away from (or towards) the brightest, and the middle one keeps its relative place.
// Grey pixels, within a thousandth of red, stay as they are.
inline void ColorMapping::Kernel::saturate(Run& run) const {
    run.forEach([this](const ColorQuad& c) {
        const Float4 tolerance = max(Float4(0.001f) * c.r, Float4(0.001f));
        const Float4 grey =
            (abs(c.r - c.r) <= tolerance) & (abs(c.g - c.r) <= tolerance) & (abs(c.b - c.r) <= tolerance);
        const Float4 hi = max(c.r, max(c.g, c.b));
        const Float4 lo = min(c.r, min(c.g, c.b));
        const Float4 newLo = max(min(hi, lo - saturation * hi), Float4());
        const Float4 inverseSpread = _mm_rcp_ps((hi - lo).v);
        const auto channel = [&](Float4 x) {
            const Float4 between = newLo + (hi - newLo) * ((x - lo) * inverseSpread);
            const Float4 saturated =
                select(_mm_cmpeq_ps(x.v, hi.v), x, select(_mm_cmpeq_ps(x.v, lo.v), newLo, between));
            return select(grey, x, saturated);
        };
        return ColorQuad{channel(c.r), channel(c.g), channel(c.b)};
    });
}

inline void ColorMapping::Kernel::compressHighlights(Run& run) const {
    run.forEach([this](const ColorQuad& c) {
        const auto channel = [&](Float4 x) {
            const Float4 one(1.f);
            return max(((whiteMultiplier * x + one) * x) / (x + one), Float4());
        };
        return ColorQuad{channel(c.r), channel(c.g), channel(c.b)};
    });
}

// A rational fit of a filmic curve, blended in from `richShadows` at black to
// `filmicHighlights` at 1 and above.
inline void ColorMapping::Kernel::filmic(Run& run) const {
    run.forEach([this](const ColorQuad& c) {
        const auto channel = [&](Float4 h) {
            const Float4 m = min(Float4(1.f), h);
            const Float4 curve = (h * (Float4(1.0003055f) * h + Float4(0.0021391737f))) /
                                 (h * (h + Float4(0.43034402f)) + Float4(0.036029063f));
            const Float4 strength = richShadows + filmicBlend * m;
            return h + strength * (curve - h);
        };
        return ColorQuad{channel(c.r), channel(c.g), channel(c.b)};
    });
}

// A sigmoid in the perceptual scale, or its exact inverse below contrast 1. Only values inside
// the open range (1e-6, 0.999999) change.
template <bool STEEP>
inline void ColorMapping::Kernel::applyContrast(Run& run) const {
    run.forEach([this](const ColorQuad& c) {
        const auto channel = [&](Float4 value) {
            const Float4 p = toPerceptual(value);
            Float4 q;
            if constexpr (STEEP) {
                q = contrastOffset + contrastScale / (exp(contrastK * (p - Float4(0.5f))) + Float4(1.f));
            } else {
                const Float4 w = contrastScale / (p - contrastOffset) - Float4(1.f);
                q = Float4(0.5f) + log(min(max(w, contrastLowClamp), contrastHighClamp)) / contrastK;
            }
            const Float4 keep = (value <= Float4(1e-6f)) | (value >= Float4(0.999999f));
            return select(keep, value, fromPerceptual(q));
        };
        return ColorQuad{channel(c.r), channel(c.g), channel(c.b)};
    });
}

inline void ColorMapping::Kernel::encode(Run& run) const {
    switch (flavour) {
    case ColorMapFlavour::EXACT:
        return encodeWithCurves<false>(run);
    case ColorMapFlavour::FAST_POWER:
        return encodeWithCurves<true>(run);
    case ColorMapFlavour::EXACT_WITHOUT_CURVES:
        return encodeWithoutCurves<false>(run);
    case ColorMapFlavour::FAST_POWER_WITHOUT_CURVES:
        return encodeWithoutCurves<true>(run);
    }
}

// The curves act on gamma-encoded values; where the output exponent was set to 1 on purpose
// the chain goes back to linear light after them.
template <bool FAST_POWER>
inline void ColorMapping::Kernel::encodeWithCurves(Run& run) const {
    const CurveMapping& curves = mapping.curves;
    const float toEncoded = 1.f / curves.gamma;
    const bool backToLinear = mapping.outputExponent == 1.f;
    run.forEach([&](const ColorQuad& c) {
        ColorQuad encoded = power<FAST_POWER>(c, toEncoded);
        if (curves.enabled) {
            encoded = encoded.perPixel([&](Float4 pixel) { return Float4(curves.curves(pixel.toRgb())); });
        }
        if (backToLinear) {
            encoded = power<FAST_POWER>(encoded, curves.gamma);
        }
        return maxWithZero(encoded);
    });
}

template <bool FAST_POWER>
inline void ColorMapping::Kernel::encodeWithoutCurves(Run& run) const {
    const float exponent = mapping.outputExponent;
    if (exponent == 1.f) {
        run.forEach(maxWithZero);
        return;
    }
    run.forEach([exponent](const ColorQuad& c) { return maxWithZero(power<FAST_POWER>(c, exponent)); });
}

[[gnu::flatten]] void ColorMapping::Kernel::mapRun(Rgb* pixels, int count, int firstColumn, float zoom,
                                                   int originX, float y) const {
    Run run;
    for (int start = 0; start < count; start += RUN_LENGTH) {
        const int length = std::min(RUN_LENGTH, count - start);
        run.load(pixels + start, length);
        enter(run, firstColumn + start, zoom, originX, y);
        if (saturates) {
            saturate(run);
        }
        compressHighlights(run);
        if (hasFilmic) {
            filmic(run);
        }
        if (mapping.contrast.enabled) {
            mapping.contrast.steep ? applyContrast<true>(run) : applyContrast<false>(run);
        }
        run.forEach(maxWithZero);
        if (mapping.lut.isActive()) {
            run.forEach([this](const ColorQuad& c) { return mapping.lut.apply(c); });
        }
        if (tints) {
            run.forEach([this](const ColorQuad& c) {
                return ColorQuad{c.r * tint[0], c.g * tint[1], c.b * tint[2]};
            });
        }
        encode(run);
        run.store(pixels + start, length);
    }
}

} // namespace Vespra
