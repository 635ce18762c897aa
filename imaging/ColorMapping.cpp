#include "imaging/ColorMapping.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "foundation/ColorSpace.h"
#include "foundation/FastMath.h"
#include "foundation/ParallelFor.h"
#include "imaging/ExactPow.h"

namespace Vespra {

namespace {

constexpr float NEUTRAL_TEMPERATURE = 6500.f;
constexpr const char16_t* LUT_HELP_URL = u"https://docs.vespra.example/image-editor/lut-files";

/// Grey values at which the curves are sampled for their inverse; the factor is 1/99 as
/// the table has always stored it.
constexpr int CURVE_SAMPLES = 100;
constexpr float CURVE_SAMPLE_STEP = 0.01010101f;

/// Lanes 0 to 2 of `color`, and its fourth lane from `fourth`.
Float4 withFourthLane(Float4 color, Float4 fourth) {
    return _mm_blend_ps(color.v, fourth.v, 0x8);
}

/// The channel order stays and only red, green and blue count: lane 3 must copy one of them.
Float4 maxOfLanes(Float4 a) {
    const Float4 swapped = max(a, _mm_shuffle_ps(a.v, a.v, _MM_SHUFFLE(1, 0, 3, 2)));
    return max(swapped, _mm_shuffle_ps(swapped.v, swapped.v, _MM_SHUFFLE(2, 3, 0, 1)));
}

Float4 minOfLanes(Float4 a) {
    const Float4 swapped = min(a, _mm_shuffle_ps(a.v, a.v, _MM_SHUFFLE(1, 0, 3, 2)));
    return min(swapped, _mm_shuffle_ps(swapped.v, swapped.v, _MM_SHUFFLE(2, 3, 0, 1)));
}

Float4 equalMask(Float4 a, Float4 b) {
    return _mm_cmpeq_ps(a.v, b.v);
}

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

/// The fast power for the display, with results below 2^-125 flushed to 0: computing those
/// (as for every black pixel and the emptied fourth lane) takes the processor's slow path for
/// numbers below the normal range, which costs more than the whole rest of the chain.
Float4 displayPower(Float4 x, float y) {
    const Float4 exponent = Float4(y) * log2Approx(max(x, Float4(FLT_MIN)));
    const Float4 representable = exponent > Float4(-125.f);
    return select(representable, exp2Approx(max(exponent, Float4(-125.f))), Float4(0.f));
}

template <bool FAST_POWER>
Float4 power(Float4 x, float exponent) {
    if constexpr (FAST_POWER) {
        return displayPower(x, exponent);
    } else {
        return powExact(x, Float4(exponent));
    }
}

String lutFailureReason(LutResult result) {
    switch (result) {
    case LutResult::CANNOT_OPEN:
        return u"File not found or cannot be opened";
    case LutResult::UNSUPPORTED_FORMAT:
        return u"Unsupported file format (must be either .cube or .3dl)";
    case LutResult::NONSTANDARD_FORMAT:
        return u"LUT file does not have standard format";
    case LutResult::READ_ERROR:
        return u"Error occurred while reading the file";
    case LutResult::TOO_LARGE_FOR_INVERSE:
        return u"LUT file is too large, try simplifying it.";
    default:
        VESPRA_STOP();
    }
}

} // namespace

String lutLoadErrorMessage(const Io::Path& path, LutResult result) {
    return u"Error loading LUT file '" + path.nativeStr() + u"': \n" + lutFailureReason(result) + u". See " +
           LUT_HELP_URL;
}

Contrast::Contrast(float contrast) : enabled(contrast != 1.f), steep(contrast >= 1.f) {
    k = steep ? -contrast : 10.f * (contrast - 1.f);
    scale = 0.5f / (0.5f - 1.f / (std::exp(-0.5f * k) + 1.f));
    offset = 0.5f - 0.5f * scale;
    lowClamp = std::exp(0.5f * k);
    highClamp = 1.f / lowClamp;
}

Float4 Contrast::apply(Float4 value) const {
    const Float4 p = toPerceptual(value);
    Float4 q;
    if (steep) {
        q = Float4(offset) + Float4(scale) / (exp(Float4(k) * (p - Float4(0.5f))) + Float4(1.f));
    } else {
        const Float4 w = Float4(scale) / (p - Float4(offset)) - Float4(1.f);
        q = Float4(0.5f) + log(min(max(w, Float4(lowClamp)), Float4(highClamp))) / Float4(k);
    }
    const Float4 keep = (value <= Float4(1e-6f)) | (value >= Float4(0.999999f));
    return select(keep, value, fromPerceptual(q));
}

Vignette::Vignette(float intensity, float falloff, Vector2 offset, Vector2 originalImageSize,
                   Vector2 cropOrigin, std::int32_t projection)
    : enabled(intensity > 0.f && projection < 2), cropOrigin(cropOrigin) {
    const float inner = std::max(0.f, 1.f - intensity);
    innerRadiusSq = inner * inner;
    falloffScale =
        enabled ? std::exp(2.5f * falloff) / (2.f / std::min(1.f, intensity) - innerRadiusSq) : 0.f;
    invLongestSide = 1.f / std::max(originalImageSize.x, originalImageSize.y);
    center = {(offset.x + 1.f) * 0.5f * invLongestSide * originalImageSize.x,
              (offset.y + 1.f) * 0.5f * invLongestSide * originalImageSize.y};
}

float Vignette::factor(float x, float y) const {
    if (!enabled) {
        return 1.f;
    }
    const float a = (x + cropOrigin.x) * invLongestSide - center.x;
    const float b = (y + cropOrigin.y) * invLongestSide - center.y;
    const float t = std::max(std::min((a * a + b * b - innerRadiusSq) * falloffScale, 1.f), 0.f);
    float u = 1.f - t;
    u *= u;
    u *= u;
    // The smootherstep polynomial, of a value already raised to the fourth power.
    return ((u * 6.f - 15.f) * u + 10.f) * u * u * u;
}

CurveMapping::CurveMapping(bool enabled, ColorCurve curves, float gamma)
    : curves(std::move(curves)), enabled(enabled), gamma(gamma) {
    if (!enabled) {
        return;
    }
    Lut1D sampled(CURVE_SAMPLES);
    for (int i = 0; i < CURVE_SAMPLES; ++i) {
        Rgb value = this->curves(Rgb(float(i) * CURVE_SAMPLE_STEP));
        value.a = 0.f;
        sampled.table[std::size_t(i)] = value;
    }
    inverse.emplace(sampled, true);
}

ColorMapping::ColorMapping(const PostProcessData& data, const LutErrorReporter& errors) {
    exposure = data.usePhotographic
                   ? 683.f / ((78.f * data.fStop * data.fStop) / (0.65f * data.exposureTime * data.iso))
                   : std::exp2(data.simpleExposure);
    if (data.enabled) {
        setToneMapping(data);
    } else {
        setNeutral(data);
    }
    outputExponent = 1.f / data.gamma;
    loadLut(data, errors);
}

void ColorMapping::setToneMapping(const PostProcessData& data) {
    tintLinear = data.tint;
    whiteBalance = colorAdaptation(data.colorTemp, NEUTRAL_TEMPERATURE);
    if (data.colorTemp15Hack) {
        // The balance then acts after the tone curve and the table instead of before them.
        tintLinear = tintLinear * whiteBalance;
        whiteBalance = Rgb(1.f, 1.f, 1.f, 1.f);
    }
    tintLinear = powExact(Float4(tintLinear), Float4(data.gamma)).toRgb();
    contrast = Contrast(data.contrast);
    whiteMultiplier = 1.f / (data.highlightCompression * data.highlightCompression);
    saturation = data.saturation;
    filmicHighlights = data.filmicHighlights;
    richShadows = data.richShadows;
    filmicInputLimit = FILMIC_INPUT_LIMIT;
    filmicLimitValue = Rgb(FILMIC_INPUT_LIMIT - 9999999.f * filmicHighlights);
    vignette = Vignette(data.vignetteIntensity, data.vignetteFalloff, data.vignetteOffset,
                        data.originalImageSize, data.cropOrigin, data.projection);
    curves = CurveMapping(data.curvesEnabled, data.curves, data.gamma);
}

void ColorMapping::setNeutral(const PostProcessData& data) {
    tintLinear = Rgb(1.f, 1.f, 1.f, 1.f);
    whiteBalance = Rgb(1.f, 1.f, 1.f, 1.f);
    contrast = Contrast(1.f);
    whiteMultiplier = 1.f;
    saturation = 0.f;
    filmicHighlights = 0.f;
    richShadows = 0.f;
    filmicInputLimit = FILMIC_INPUT_LIMIT;
    filmicLimitValue = Rgb(FILMIC_INPUT_LIMIT);
    vignette = Vignette(0.f, 0.f, {}, data.originalImageSize, data.cropOrigin, data.projection);
    curves = CurveMapping(false, ColorCurve(), data.gamma);
}

void ColorMapping::loadLut(const PostProcessData& data, const LutErrorReporter& errors) {
    Flags<LutFlag> flags = DEFAULT_LUT_FLAGS;
    flags.set(LutFlag::ACTIVE, data.lutEnabled);
    flags.set(LutFlag::LOG_INPUT, data.lutConvertToLog);
    const LutResult result = lut.load(data.lutPath, data.lutOpacity, flags, data.gamma);
    if (result != LutResult::OK && errors) {
        errors(lutLoadErrorMessage(data.lutPath, result));
    }
}

// The brightest channel stays and the order of the channels never changes: the darkest
// moves away from (or towards) the brightest, and the middle one keeps its relative place.
Float4 ColorMapping::saturate(Float4 color) const {
    const Float4 c = _mm_shuffle_ps(color.v, color.v, _MM_SHUFFLE(2, 2, 1, 0));
    const Float4 red = broadcast<0>(c);
    const Float4 tolerance = max(Float4(0.001f) * red, Float4(0.001f));
    if (all(abs(c - red) <= tolerance)) {
        return color;
    }
    const Float4 hi = maxOfLanes(c);
    const Float4 lo = minOfLanes(c);
    const Float4 newLo = max(min(hi, lo - Float4(saturation) * hi), Float4(0.f));
    const Float4 between = newLo + (hi - newLo) * ((c - lo) * Float4(_mm_rcp_ps((hi - lo).v)));
    return select(equalMask(c, hi), c, select(equalMask(c, lo), newLo, between));
}

// A rational fit of a filmic curve, blended in from `richShadows` at black to
// `filmicHighlights` at 1 and above.
Float4 ColorMapping::filmic(Float4 h) const {
    const Float4 m = min(Float4(1.f), h);
    const Float4 curve = (h * (Float4(1.0003055f) * h + Float4(0.0021391737f))) /
                         (h * (h + Float4(0.43034402f)) + Float4(0.036029063f));
    const Float4 strength = Float4(richShadows) + Float4(filmicHighlights - richShadows) * m;
    return h + strength * (curve - h);
}

template <bool FAST_POWER, bool WITH_CURVES>
Float4 ColorMapping::encode(Float4 value) const {
    if constexpr (WITH_CURVES) {
        value = power<FAST_POWER>(value, 1.f / curves.gamma);
        if (curves.enabled) {
            value = Float4(curves.curves(value.toRgb()));
        }
        if (outputExponent == 1.f) {
            value = power<FAST_POWER>(value, curves.gamma);
        }
        return value;
    } else {
        return outputExponent != 1.f ? power<FAST_POWER>(value, outputExponent) : value;
    }
}

template <bool FAST_POWER, bool WITH_CURVES>
Float4 ColorMapping::map(Float4 pixel, float x, float y) const {
    const Float4 zero;
    const Float4 one(1.f);
    Float4 c = withFourthLane(pixel, zero);
    // max() answers its second operand for NaN: NaN input comes out black.
    c = max(Float4(vignette.factor(x, y)) * c, zero);
    c = Float4(exposure) * c * Float4(whiteBalance);
    if (saturation != 0.f) {
        c = saturate(c);
    }
    c = max(((Float4(whiteMultiplier) * c + one) * c) / (c + one), zero);
    if (richShadows != 0.f || filmicHighlights != 0.f) {
        c = filmic(c);
    }
    if (contrast.enabled) {
        c = contrast.apply(c);
    }
    c = max(c, zero);
    c = lut.apply(c);
    c = c * Float4(tintLinear);
    c = max(encode<FAST_POWER, WITH_CURVES>(c), zero);
    return withFourthLane(c, pixel);
}

Rgb ColorMapping::operator()(const Rgb& value, Pixel position, ColorMapFlavour flavour) const {
    const Float4 in(value);
    const float x = float(position.x);
    const float y = float(position.y);
    switch (flavour) {
    case ColorMapFlavour::EXACT:
        return map<false, true>(in, x, y).toRgb();
    case ColorMapFlavour::FAST_POWER:
        return map<true, true>(in, x, y).toRgb();
    case ColorMapFlavour::EXACT_WITHOUT_CURVES:
        return map<false, false>(in, x, y).toRgb();
    case ColorMapFlavour::FAST_POWER_WITHOUT_CURVES:
        return map<true, false>(in, x, y).toRgb();
    }
    VESPRA_STOP();
}

template <bool FAST_POWER, bool WITH_CURVES>
void ColorMapping::applyToRows(BitmapImpl<Rgb>& bitmap, Pixel origin, float zoom) const {
    const int width = bitmap.width();
    parallelFor(Scheduler::highPriorityInstance(), 0, bitmap.height(), 1, [&](int j) {
        Rgb* row = bitmap.row(j);
        const float y = float(int(float(j) * zoom) + origin.y);
        for (int i = 0; i < width; ++i) {
            const float x = float(int(float(i) * zoom) + origin.x);
            map<FAST_POWER, WITH_CURVES>(Float4::load(&row[i].r), x, y).store(&row[i].r);
        }
    });
}

void ColorMapping::applyToBitmap(BitmapImpl<Rgb>& bitmap, Pixel origin, float zoom,
                                 ColorMapFlavour flavour) const {
    switch (flavour) {
    case ColorMapFlavour::EXACT:
        return applyToRows<false, true>(bitmap, origin, zoom);
    case ColorMapFlavour::FAST_POWER:
        return applyToRows<true, true>(bitmap, origin, zoom);
    case ColorMapFlavour::EXACT_WITHOUT_CURVES:
        return applyToRows<false, false>(bitmap, origin, zoom);
    case ColorMapFlavour::FAST_POWER_WITHOUT_CURVES:
        return applyToRows<true, false>(bitmap, origin, zoom);
    }
    VESPRA_STOP();
}

} // namespace Vespra
