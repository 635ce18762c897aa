#include "imaging/ColorMapping.h"

#include <algorithm>
#include <cmath>

#include "foundation/ColorSpace.h"
#include "foundation/ParallelFor.h"
#include "imaging/ColorMappingKernel.h"
#include "imaging/ExactPow.h"

namespace Vespra {

namespace {

constexpr float NEUTRAL_TEMPERATURE = 6500.f;
constexpr const char16_t* LUT_HELP_URL = u"https://docs.vespra.example/image-editor/lut-files";

/// Grey values at which the curves are sampled for their inverse; the factor is 1/99 as
/// the table has always stored it.
constexpr int CURVE_SAMPLES = 100;
constexpr float CURVE_SAMPLE_STEP = 0.01010101f;

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
    const LutResult result = lut.load(data.lutPath, data.lutOpacity,
                                      colorMappingLutFlags(data.lutEnabled, data.lutConvertToLog), data.gamma);
    if (result != LutResult::OK && errors) {
        errors(lutLoadErrorMessage(data.lutPath, result));
    }
}

Rgb ColorMapping::operator()(const Rgb& value, Pixel position, ColorMapFlavour flavour) const {
    Rgb pixel = value;
    Kernel(*this, flavour).mapRun(&pixel, 1, 0, 1.f, position.x, float(position.y));
    return pixel;
}

void ColorMapping::applyToBitmap(BitmapImpl<Rgb>& bitmap, Pixel origin, float zoom,
                                 ColorMapFlavour flavour) const {
    const Kernel kernel(*this, flavour);
    const int width = bitmap.width();
    parallelFor(Scheduler::highPriorityInstance(), 0, bitmap.height(), 1, [&](int j) {
        const float y = float(int(float(j) * zoom) + origin.y);
        kernel.mapRun(bitmap.row(j), width, 0, zoom, origin.x, y);
    });
}

} // namespace Vespra
