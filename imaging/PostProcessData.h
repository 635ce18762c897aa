#pragma once

#include <cstdint>

#include "foundation/Curve.h"
#include "foundation/Pixel.h"
#include "foundation/Pointers.h"
#include "foundation/Rgb.h"
#include "foundation/Vector2.h"
#include "foundation/io/Path.h"
#include "imaging/CameraData.h"
#include "settings/Settings.h"

namespace Vespra {

/// Every post-processing parameter, read from the settings in one go. Plain values only.
struct PostProcessData {
    struct BloomGlare {
        bool enabled = false;
        bool halfFloat = false;
        float bloomIntensity = 1.f;
        float glareIntensity = 1.f;
        float threshold = 1.f;
        std::int32_t streakCount = 3;
        /// Degrees.
        float rotation = 15.f;
        float colorShift = 0.5f;
        float colorIntensity = 0.3f;
        float streakBlur = 0.2f;
    };

    struct SharpenBlur {
        bool enabled = false;
        float sharpenAmount = 1.f;
        /// In pixels of the full image.
        float sharpenRadius = 0.5f;
        float blurRadius = 1.33f;
    };

    // Colour mapping.
    /// Tone mapping as a whole; exposure, gamma and the look-up table act also without it.
    bool enabled = true;
    float gamma = 2.2f;
    float highlightCompression = 1.f;
    /// White-balance temperature in kelvin.
    float colorTemp = 6500.f;
    /// Moves the white balance from the linear stage to the tint.
    bool colorTemp15Hack = false;
    float contrast = 1.f;
    /// Each channel at least 1e-6.
    Rgb tint = Rgb::white();
    float saturation = 0.f;
    bool usePhotographic = false;
    float denoiseBlendAmount = 0.65f;
    float fStop = 16.f;
    /// Seconds: 1 over the shutter speed property.
    float exposureTime = 1.f / 50.f;
    float iso = 100.f;
    /// Stops.
    float simpleExposure = 0.f;
    float richShadows = 0.f;
    float filmicHighlights = 0.f;
    bool lutEnabled = false;
    Io::Path lutPath;
    float lutOpacity = 1.f;
    bool lutConvertToLog = false;
    bool curvesEnabled = false;
    /// Master, red, green, blue.
    ColorCurve curves;
    float vignetteIntensity = 0.f;
    float vignetteFalloff = 0.f;
    /// Centre of the vignette, -1 to 1 across the image.
    Vector2 vignetteOffset;

    BloomGlare bloomGlare;
    SharpenBlur sharpenBlur;

    // From the image and the camera.
    /// Size in pixels of the uncropped image.
    Vector2 originalImageSize{100.f, 100.f};
    /// Origin of the crop in the same pixels.
    Vector2 cropOrigin;
    /// The camera's projection kind; 2 and above have no vignette.
    std::int32_t projection = 1;

    PostProcessData() = default;
    explicit PostProcessData(const SharedPtr<Abstract::Settings>& settings);
    /// Also fills the image size and crop of an image of `resolution` taken by `camera`.
    PostProcessData(const SharedPtr<Abstract::Settings>& settings, Pixel resolution,
                    const CameraData& camera);

    /// Booleans and texts agree and floats differ by less than 0.0001; the fields of a group
    /// that both records switch off are not compared.
    bool operator==(const PostProcessData& other) const;
};

} // namespace Vespra
