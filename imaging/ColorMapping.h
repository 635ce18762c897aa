#pragma once

#include <bit>
#include <cstdint>

#include "foundation/Bitmap.h"
#include "foundation/Curve.h"
#include "foundation/Float4.h"
#include "foundation/Pixel.h"
#include "foundation/Pointers.h"
#include "foundation/Rgb.h"
#include "foundation/Vector2.h"
#include "imaging/Lut.h"
#include "imaging/PostProcessData.h"

namespace Vespra {

/// The forms of the gamma and curve step, chosen per request by its flags: flag value 1
/// (the display) takes the fast power, flag value 4 (a single pixel's read-out) leaves the
/// curves out. The values are those flags.
enum class ColorMapFlavour : std::uint32_t {
    EXACT = 0,
    FAST_POWER = 1,
    EXACT_WITHOUT_CURVES = 4,
    FAST_POWER_WITHOUT_CURVES = 5,
};

/// The flavour asked for by the flags of a pull.
constexpr ColorMapFlavour colorMapFlavour(std::uint32_t pullFlags) {
    return ColorMapFlavour(pullFlags & 5u);
}

/// Receives the message of a table that failed to load.
using LutErrorReporter = Function<void(const String& message)>;

/// The message for a failed load of the table `path`. A result without a message, OK
/// included, is a programming error.
String lutLoadErrorMessage(const Io::Path& path, LutResult result);

namespace Detail {
/// A quiet NaN with payload 1, so that a field left unset shows.
inline constexpr float UNSET_FLOAT = std::bit_cast<float>(0x7FC00001u);
} // namespace Detail

/// A sigmoid in a perceptually even scale; contrast 1 is no change.
struct Contrast {
    float k = Detail::UNSET_FLOAT;
    float scale = Detail::UNSET_FLOAT;
    float offset = Detail::UNSET_FLOAT;
    float lowClamp = Detail::UNSET_FLOAT;
    float highClamp = Detail::UNSET_FLOAT;
    bool enabled = false;
    /// Contrast of 1 and above steepens, below it flattens by the inverse sigmoid.
    bool steep = false;

    Contrast() = default;
    explicit Contrast(float contrast);
};

/// Darkening towards the edges, by position in the uncropped image.
struct Vignette {
    bool enabled = false;
    float innerRadiusSq = Detail::UNSET_FLOAT;
    float falloffScale = Detail::UNSET_FLOAT;
    Vector2 center{Detail::UNSET_FLOAT, Detail::UNSET_FLOAT};
    Vector2 cropOrigin{Detail::UNSET_FLOAT, Detail::UNSET_FLOAT};
    float invLongestSide = Detail::UNSET_FLOAT;

    Vignette() = default;
    Vignette(float intensity, float falloff, Vector2 offset, Vector2 originalImageSize, Vector2 cropOrigin,
             std::int32_t projection);
};

/// The tone curves, on gamma-encoded values, with a table for reading them backwards.
struct CurveMapping {
    ColorCurve curves;
    Optional<InverseLut1D> inverse;
    bool enabled = false;
    /// The gamma that the pixel chain encodes with around the curves.
    float gamma = Detail::UNSET_FLOAT;

    CurveMapping() = default;
    CurveMapping(bool enabled, ColorCurve curves, float gamma);
};

/// The per-pixel function from the linear pixels of the pipeline to the shown and saved
/// ones: vignette, exposure, white balance, saturation, highlight compression, filmic curve,
/// contrast, look-up table, tint, gamma and curves, in that order. Immutable and free of
/// locks after construction; the fourth lane (alpha) passes unchanged.
class ColorMapping {
public:
    /// `errors`, when set, receives the message of a look-up table that failed to load;
    /// without it a broken table silently acts as none.
    explicit ColorMapping(const PostProcessData& data, const LutErrorReporter& errors = {});

    /// The mapped value of a pixel at full-resolution display position `position`.
    Rgb operator()(const Rgb& value, Pixel position, ColorMapFlavour flavour = ColorMapFlavour::EXACT) const;

    /// Maps every pixel of `bitmap` in place, rows in parallel. Pixel (i, j) of the bitmap
    /// lies at display position (trunc(i * zoom), trunc(j * zoom)) + `origin`, so that a
    /// reduced preview has its vignette where the full image has it.
    void applyToBitmap(BitmapImpl<Rgb>& bitmap, Pixel origin, float zoom, ColorMapFlavour flavour) const;

    float getExposure() const { return exposure; }
    const Rgb& getWhiteBalance() const { return whiteBalance; }
    const Rgb& getTintLinear() const { return tintLinear; }
    const Lut& getLut() const { return lut; }
    const CurveMapping& getCurves() const { return curves; }
    const Vignette& getVignette() const { return vignette; }

private:
    static constexpr float FILMIC_INPUT_LIMIT = 10000000.f;

    /// The pixel chain prepared for one flavour: what is constant over a pull is worked out
    /// once, and the steps that are identities at these settings are left out.
    class Kernel;

    void setToneMapping(const PostProcessData& data);
    void setNeutral(const PostProcessData& data);
    void loadLut(const PostProcessData& data, const LutErrorReporter& errors);

    float exposure = Detail::UNSET_FLOAT;
    Rgb whiteBalance{Detail::UNSET_FLOAT, Detail::UNSET_FLOAT, Detail::UNSET_FLOAT, Detail::UNSET_FLOAT};
    Lut lut;
    CurveMapping curves;
    Rgb tintLinear{Detail::UNSET_FLOAT, Detail::UNSET_FLOAT, Detail::UNSET_FLOAT, Detail::UNSET_FLOAT};
    float saturation = Detail::UNSET_FLOAT;
    float whiteMultiplier = Detail::UNSET_FLOAT;
    float filmicHighlights = Detail::UNSET_FLOAT;
    float richShadows = Detail::UNSET_FLOAT;
    float filmicInputLimit = Detail::UNSET_FLOAT;
    /// The filmic step at `filmicInputLimit`, for running the mapping backwards.
    Rgb filmicLimitValue{Detail::UNSET_FLOAT, Detail::UNSET_FLOAT, Detail::UNSET_FLOAT, Detail::UNSET_FLOAT};
    Contrast contrast;
    float outputExponent = Detail::UNSET_FLOAT;
    Vignette vignette;
};

} // namespace Vespra
