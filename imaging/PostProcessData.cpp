#include "imaging/PostProcessData.h"

#include <algorithm>
#include <cmath>

#include "settings/PropertyIds.h"

namespace Vespra {

namespace {

constexpr float MIN_TINT = 1e-6f;
constexpr float FLOAT_TOLERANCE = 0.0001f;

Curve readCurve(const Abstract::Settings& settings, std::int32_t nodesId, std::int32_t interpolationId) {
    const Property nodes = settings.get(nodesId);
    return Curve(nodes.asVec2Array(), CurveInterpolation(settings.get(interpolationId).asInt()));
}

bool near(float a, float b) {
    return std::abs(a - b) < FLOAT_TOLERANCE;
}

bool near(Vector2 a, Vector2 b) {
    return near(a.x, b.x) && near(a.y, b.y);
}

bool near(const Rgb& a, const Rgb& b) {
    return near(a.r, b.r) && near(a.g, b.g) && near(a.b, b.b);
}

bool equal(const PostProcessData::BloomGlare& a, const PostProcessData::BloomGlare& b) {
    return a.enabled == b.enabled &&
           (!a.enabled || (a.halfFloat == b.halfFloat && near(a.bloomIntensity, b.bloomIntensity) &&
                           near(a.glareIntensity, b.glareIntensity) && near(a.threshold, b.threshold) &&
                           a.streakCount == b.streakCount && near(a.rotation, b.rotation) &&
                           near(a.colorShift, b.colorShift) && near(a.colorIntensity, b.colorIntensity) &&
                           near(a.streakBlur, b.streakBlur)));
}

bool equal(const PostProcessData::SharpenBlur& a, const PostProcessData::SharpenBlur& b) {
    return a.enabled == b.enabled &&
           (!a.enabled || (near(a.sharpenAmount, b.sharpenAmount) && near(a.sharpenRadius, b.sharpenRadius) &&
                           near(a.blurRadius, b.blurRadius)));
}

bool equalToneMapping(const PostProcessData& a, const PostProcessData& b) {
    return near(a.highlightCompression, b.highlightCompression) && near(a.colorTemp, b.colorTemp) &&
           a.colorTemp15Hack == b.colorTemp15Hack && near(a.contrast, b.contrast) && near(a.tint, b.tint) &&
           near(a.saturation, b.saturation) && near(a.richShadows, b.richShadows) &&
           near(a.filmicHighlights, b.filmicHighlights) && near(a.vignetteIntensity, b.vignetteIntensity) &&
           near(a.vignetteFalloff, b.vignetteFalloff) && near(a.vignetteOffset, b.vignetteOffset);
}

} // namespace

PostProcessData::PostProcessData(const SharedPtr<Abstract::Settings>& settingsPointer) {
    namespace Id = PropertyId;
    const Abstract::Settings& settings = *settingsPointer;
    const auto get = [&](std::int32_t id) { return settings.get(id); };

    enabled = get(Id::COLOR_MAP_ENABLED);
    gamma = get(Id::COLOR_MAP_GAMMA);
    highlightCompression = get(Id::HIGHLIGHT_COMPRESSION);
    colorTemp = get(Id::COLOR_TEMP);
    colorTemp15Hack = get(Id::COLOR_TEMP_15_HACK);
    contrast = get(Id::CONTRAST);
    const Rgb tintValue = get(Id::TINT);
    tint = Rgb(std::max(tintValue.r, MIN_TINT), std::max(tintValue.g, MIN_TINT),
               std::max(tintValue.b, MIN_TINT));
    saturation = get(Id::SATURATION);
    usePhotographic = get(Id::USE_PHOTOGRAPHIC);
    denoiseBlendAmount = get(Id::DENOISE_BLEND_AMOUNT);
    fStop = get(Id::F_STOP);
    exposureTime = 1.f / get(Id::SHUTTER_SPEED).asFloat();
    iso = get(Id::ISO);
    simpleExposure = get(Id::SIMPLE_EXPOSURE);
    richShadows = get(Id::FILMIC_RICH_SHADOWS);
    filmicHighlights = get(Id::FILMIC_HIGHLIGHT_COMPRESSION);
    lutEnabled = get(Id::LUT_ENABLE);
    const Property path = get(Id::LUT_PATH);
    lutPath = Io::Path(path.asString());
    lutOpacity = get(Id::LUT_OPACITY);
    lutConvertToLog = get(Id::LUT_CONVERT_TO_LOG);
    curvesEnabled = get(Id::CURVES_ENABLE);
    curves = ColorCurve(readCurve(settings, Id::CURVES_MASTER_NODES, Id::CURVES_MASTER_INTERPOLATION),
                        readCurve(settings, Id::CURVES_RED_NODES, Id::CURVES_RED_INTERPOLATION),
                        readCurve(settings, Id::CURVES_GREEN_NODES, Id::CURVES_GREEN_INTERPOLATION),
                        readCurve(settings, Id::CURVES_BLUE_NODES, Id::CURVES_BLUE_INTERPOLATION));
    vignetteIntensity = get(Id::VIGNETTE_INTENSITY);
    vignetteFalloff = get(Id::VIGNETTE_FALLOFF);
    vignetteOffset = {get(Id::VIGNETTE_OFFSET_X), get(Id::VIGNETTE_OFFSET_Y)};

    bloomGlare.enabled = get(Id::BLOOM_GLARE_ENABLED);
    bloomGlare.halfFloat = get(Id::BLOOM_GLARE_HALF_FLOAT);
    bloomGlare.bloomIntensity = get(Id::BLOOM_INTENSITY);
    bloomGlare.glareIntensity = get(Id::GLARE_INTENSITY);
    bloomGlare.threshold = get(Id::BLOOM_GLARE_THRESHOLD);
    bloomGlare.streakCount = get(Id::GLARE_STREAK_COUNT);
    bloomGlare.rotation = get(Id::GLARE_ROTATION);
    bloomGlare.colorShift = get(Id::BLOOM_GLARE_COLOR_SHIFT);
    bloomGlare.colorIntensity = get(Id::BLOOM_GLARE_COLOR_INTENSITY);
    bloomGlare.streakBlur = get(Id::GLARE_STREAK_BLUR);

    sharpenBlur.enabled = get(Id::SHARPENING_BLURRING_ENABLE);
    sharpenBlur.sharpenAmount = get(Id::SHARPENING_AMOUNT);
    sharpenBlur.sharpenRadius = get(Id::SHARPENING_RADIUS);
    sharpenBlur.blurRadius = get(Id::BLURRING_RADIUS);
}

PostProcessData::PostProcessData(const SharedPtr<Abstract::Settings>& settings, Pixel resolution,
                                 const CameraData& camera)
    : PostProcessData(settings) {
    const CameraData::CropRegion crop = camera.computeOriginalImageCropRegion(resolution);
    originalImageSize = {float(resolution.x) / crop.size.x, float(resolution.y) / crop.size.y};
    cropOrigin = {crop.origin.x * originalImageSize.x, crop.origin.y * originalImageSize.y};
}

bool PostProcessData::operator==(const PostProcessData& other) const {
    const PostProcessData& o = other;
    return enabled == o.enabled && near(gamma, o.gamma) && (!enabled || equalToneMapping(*this, o)) &&
           usePhotographic == o.usePhotographic && near(denoiseBlendAmount, o.denoiseBlendAmount) &&
           near(fStop, o.fStop) && near(exposureTime, o.exposureTime) && near(iso, o.iso) &&
           near(simpleExposure, o.simpleExposure) && lutEnabled == o.lutEnabled &&
           (!lutEnabled || (lutPath == o.lutPath && near(lutOpacity, o.lutOpacity) &&
                            lutConvertToLog == o.lutConvertToLog)) &&
           curvesEnabled == o.curvesEnabled && (!curvesEnabled || curves == o.curves) &&
           equal(bloomGlare, o.bloomGlare) && equal(sharpenBlur, o.sharpenBlur) &&
           near(originalImageSize, o.originalImageSize) && near(cropOrigin, o.cropOrigin) &&
           projection == o.projection;
}

} // namespace Vespra
