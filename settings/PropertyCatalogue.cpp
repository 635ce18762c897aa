#include "settings/PropertyCatalogue.h"

#include <map>
#include <vector>

#include "foundation/Curve.h"
#include "settings/DenoisingMode.h"
#include "settings/PropertyIds.h"
#include "settings/PropertyTableBuilder.h"

namespace Vespra {

namespace {

using namespace PropertyId;

struct HelpText {
    const char16_t* key;
    const char16_t* text;
};

// How the properties are explained to users.
constexpr HelpText HELP_TEXTS[] = {
    {u"denoise.filterType",
     u"Selects a denoising mode, i.e. the type of noise reduction filter. It can be set to either to the "
     u"\"Full\" constant for full-featured denoising, or to the \"Fireflies\" constant to remove fireflies "
     u"(high intensity pixels) only. The global default is the \"None\" constant which could be overridden "
     u"by the input image."},
    {u"denoise.sensitivity",
     u"Controls the sensitivity of the denoising to details. It has nothing to do with rendering or "
     u"gathering denoising data by Vespra Renderer. In the GUI version of the editor this property is called "
     u"denoising radius. The sensitivity is expected to lie between %MIN and %MAX. A larger sensitivity "
     u"results in more aggressive filtering (which could result in greater blurring of details in textures, "
     u"etc.). The global default is %DEFAULT which could be overridden by the input image."},
    {u"denoise.blendAmount",
     u"Defines an amount, between %MIN and %MAX, of blending between the original image and its denoised "
     u"variant. The global default is %DEFAULT which could be overridden by the input image."},
    {u"colorMap.lightmixEnabledLayers",
     u"Defines an on/off switch for each light select of the LightMix. They are expected to be either 1 or "
     u"0, separated by commas. The light selects are ordered in the same way as in the GUI version of the "
     u"editor. The global default is 1 for all the light selects, which could be overridden by the input "
     u"image."},
    {u"colorMap.lightmixIntensities",
     u"Defines an intensity multiplier for each light select of the LightMix. They are expected to be "
     u"separated by commas. The light selects are ordered in the same way as in the GUI version of the "
     u"editor. The global default is 1 for all the light selects, which could be overridden by the input "
     u"image."},
    {u"colorMap.lightmixColors",
     u"Defines a color multiplier for each light select of the LightMix. They are expected to be separated "
     u"by commas. The light selects are ordered in the same way as in the GUI version of the editor. The "
     u"global default is a white color (1 1 1) for all the light selects, which could be overridden by the "
     u"input image."},
    {u"bloomGlare.enabled", u"Applies both the bloom and glare effects. The global default is \"%DEFAULT\" "
                            u"which could be overridden by the input image."},
    {u"bloomGlare.bloomIntensity",
     u"Defines the linear scaling of the bloom effect. If the intensity is equal to %MIN, the bloom effect "
     u"is disabled. The intensity can go to infinity. The global default is %DEFAULT which could be "
     u"overridden by the input image."},
    {u"bloomGlare.glareIntensity",
     u"Defines the linear scaling of the glare effect. If the intensity is equal to %MIN, the glare effect "
     u"is disabled. The intensity can go to infinity. The global default is %DEFAULT which could be "
     u"overridden by the input image."},
    {u"bloomGlare.streakCount",
     u"Controls the number of streaks for the glare effect. It could be from %MIN up to %MAX streaks. The "
     u"global default is %DEFAULT which could be overridden by the input image."},
    {u"bloomGlare.rotation", u"Rotates the glare effect in degrees. All real values are possible. The global "
                             u"default is %DEFAULT degrees which could be overridden by the input image."},
    {u"bloomGlare.streakBlur", u"Controls the blurring of the glare streak perpendicular to the streak "
                               u"direction. The value is expected to lie between %MIN and %MAX. The global "
                               u"default is %DEFAULT which could be overridden by the input image."},
    {u"bloomGlare.colorIntensity",
     u"Defines the intensity of the color shifting effect. Intensity equal to %MIN completely disables the "
     u"effect, while intensity equal to %MAX results in full strength of the effect. The global default is "
     u"%DEFAULT which could be overridden by the input image."},
    {u"bloomGlare.colorShift",
     u"Alternates the colors produced by the color shifting effect (which is controlled by the color "
     u"intensity property). Values from %MIN to %MAX are available. The global default is %DEFAULT which "
     u"could be overridden by the input image."},
    {u"bloomGlare.threshold",
     u"Only pixels brighter than this threshold are affected by bloom and glare. Increase this value to make "
     u"the effect more localized around only the brightest light sources."},
    {u"colorMap.enabled", u"Specifies whether to apply all the tone mapping (except the exposure settings, "
                          u"which are always enabled and therefore not affected by this property). The "
                          u"global default is \"%DEFAULT\" which could be overridden by the input image."},
    {u"colorMap.highlightCompression",
     u"Defines the white multiplier from the Reinhard mapping. It is the lowest intensity that will get "
     u"mapped to pure white. The value is expected to lie between %MIN and %MAX. The global default is "
     u"%DEFAULT which could be overridden by the input image."},
    {u"colorMap.colorTemp",
     u"Defines a white point temperature. It is the color temperature to which a neutral (white/gray) color "
     u"will be mapped. The temperature is expected to lie between %MIN and %MAX. The global default is "
     u"%DEFAULT which could be overridden by the input image."},
    {u"colorMap.contrast",
     u"Allows increasing or decreasing the contrast in the image. The value is expected to lie between %MIN "
     u"and %MAX. The global default is %DEFAULT which could be overridden by the input image."},
    {u"colorMap.simpleExposure",
     u"Controls the global exposure (light intensity) multiplier. Used only when the photographic exposure "
     u"is turned off. Uses an exponential scale - the image brightness is actually multiplied by 2^(exposure "
     u"value). The value is expected to lie between %MIN and %MAX. The global default is %DEFAULT which "
     u"could be overridden by the input image."},
    {u"colorMap.filmic.highlightCompression",
     u"Controls the compression of highlights in photographic tone mapping. Value %MIN results in no effect, "
     u"value %MAX in full effect. The global default is %DEFAULT which could be overridden by the input "
     u"image."},
    {u"colorMap.filmic.richShadows",
     u"Defines shadow richness in photographic tone mapping. Value %MIN results in no effect, value %MAX in "
     u"full effect. The global default is %DEFAULT which could be overridden by the input image."},
    {u"colorMap.saturation",
     u"Controls the saturation of the image. Value 0 does not change the saturation. Using %MIN results in a "
     u"completely unsaturated image, while using %MAX leads to extreme saturation. The global default is "
     u"%DEFAULT which could be overridden by the input image."},
    {u"vignette.intensity",
     u"Defines the radius over which the vignetting effect is NOT applied. Pixels further from the center of "
     u"the image than the defined radius will be darkened. When intensity is equal to %MIN, the radius is "
     u"larger than the image size and therefore no vignette effect is applied. When intensity is equal to 1, "
     u"the radius is equal to zero, and the whole image is influenced by vignetting. Increasing intensity "
     u"beyond 1 up to %MAX will increase the rate of darkening from the radius towards edges of the image. "
     u"The global default is %DEFAULT which could be overridden by the input image."},
    {u"colorMap.tint",
     u"Applies a color tint to the resulting image. This is a color that the output will be multiplied with "
     u"- setting it to values different than white will colorize the image. The global default is "
     u"\"%DEFAULT\" which could be overridden by the input image."},
    {u"colorMap.usePhotographic",
     u"When enabled, the exposure of the image will be calculated from a set of photographic parameters like "
     u"F-stop, ISO or shutter speed. This is an alternative to the simple exposure. The global default is "
     u"\"%DEFAULT\" which could be overridden by the input image."},
    {u"colorMap.iso", u"Controls camera ISO speed. This is used to calculate exposure when the photographic "
                      u"exposure is turned on. The ISO is expected to lie between %MIN and %MAX. The global "
                      u"default is %DEFAULT which could be overridden by the input image."},
    {u"colorMap.lut.enable",
     u"Specifies whether to use the loaded Look-up Table (LUT) transform. A LUT changes the color of each "
     u"pixel based on the pixel's original value, thus creating an effect of color grading and contrast "
     u"change. The global default is \"%DEFAULT\" which could be overridden by the input image."},
    {u"colorMap.lut.path", u"Defines a path to the source file for the LUT. There is no global default. "
                           u"Nevertheless, the path could be defined by the input image."},
    {u"colorMap.lut.convertToLog",
     u"Enable this if the selected LUT file is designed for Log cameras. None of the LUT files bundled with "
     u"Vespra Renderer need this, but if your LUT file gives you washed-out results, you should enable it. "
     u"The global default is \"%DEFAULT\" which could be overridden by the input image."},
    {u"colorMap.lut.opacity",
     u"Defines an opacity, i.e. influence, of the LUT. The opacity is expected to lie between %MIN and %MAX. "
     u"The global default is %DEFAULT which could be overridden by the input image."},
    {u"curves.enable", u"Specifies whether to use curve tone mapping or not. The global default is "
                       u"\"%DEFAULT\" which could be overridden by the input image."},
    {u"sharpening.blurring.enable", u"Enables both sharpening and blurring the image. The global default is "
                                    u"\"%DEFAULT\" which could be overridden by the input image."},
    {u"sharpening.amount", u"Defines the strength of the sharpening. The amount is expected to lie between "
                           u"%MIN and %MAX. If it is greater than %MIN the image is sharpened. The global "
                           u"default is %DEFAULT which could be overridden by the input image."},
    {u"sharpening.radius", u"Controls a pixel radius used for sharpening. It corresponds to the size of the "
                           u"high-frequency detector. The radius could be from %MIN to %MAX. The global "
                           u"default is %DEFAULT which could be overridden by the input image."},
    {u"blurring.radius", u"Controls a pixel radius used for blurring. It corresponds to the size of the "
                         u"blurring window. The radius could be from %MIN to %MAX. The global default is "
                         u"%DEFAULT which could be overridden by the input image."},
};

const char16_t* findHelpText(const String& key) {
    for (const HelpText& row : HELP_TEXTS) {
        if (key == row.key) {
            return row.text;
        }
    }
    return u"";
}

enum class Group { DENOISING, LIGHT_MIX, BLOOM_GLARE, TONE_MAPPING, SHARPENING_BLURRING, COUNT };

constexpr std::int32_t DENOISING_ROWS[] = {DENOISE_FILTER_TYPE, DENOISE_SENSITIVITY, DENOISE_BLEND_AMOUNT};
constexpr std::int32_t LIGHT_MIX_ROWS[] = {LIGHTMIX_ENABLED_LAYERS, LIGHTMIX_INTENSITIES, LIGHTMIX_COLORS};
constexpr std::int32_t BLOOM_GLARE_ROWS[] = {
    BLOOM_GLARE_ENABLED,         BLOOM_INTENSITY,         GLARE_INTENSITY,
    GLARE_STREAK_COUNT,          GLARE_ROTATION,          GLARE_STREAK_BLUR,
    BLOOM_GLARE_COLOR_INTENSITY, BLOOM_GLARE_COLOR_SHIFT, BLOOM_GLARE_THRESHOLD};
constexpr std::int32_t TONE_MAPPING_ROWS[] = {COLOR_MAP_ENABLED,
                                              HIGHLIGHT_COMPRESSION,
                                              COLOR_TEMP,
                                              CONTRAST,
                                              SIMPLE_EXPOSURE,
                                              FILMIC_HIGHLIGHT_COMPRESSION,
                                              FILMIC_RICH_SHADOWS,
                                              SATURATION,
                                              VIGNETTE_INTENSITY,
                                              VIGNETTE_FALLOFF,
                                              TINT,
                                              USE_PHOTOGRAPHIC,
                                              ISO,
                                              SHUTTER_SPEED,
                                              F_STOP,
                                              LUT_ENABLE,
                                              LUT_PATH,
                                              LUT_CONVERT_TO_LOG,
                                              LUT_OPACITY,
                                              CURVES_ENABLE,
                                              CURVES_MASTER_NODES,
                                              CURVES_RED_NODES,
                                              CURVES_GREEN_NODES,
                                              CURVES_BLUE_NODES,
                                              CURVES_MASTER_INTERPOLATION,
                                              CURVES_RED_INTERPOLATION,
                                              CURVES_GREEN_INTERPOLATION,
                                              CURVES_BLUE_INTERPOLATION};
constexpr std::int32_t SHARPENING_BLURRING_ROWS[] = {SHARPENING_BLURRING_ENABLE, SHARPENING_AMOUNT,
                                                     SHARPENING_RADIUS, BLURRING_RADIUS};

constexpr ArrayView<const std::int32_t> GROUP_ROWS[] = {DENOISING_ROWS, LIGHT_MIX_ROWS, BLOOM_GLARE_ROWS,
                                                        TONE_MAPPING_ROWS, SHARPENING_BLURRING_ROWS};

String replacePlaceholders(const PropertyDescriptor& row, String text) {
    const auto valueText = [&row](const Property& value) {
        return row.serializer && !value.isNone() ? row.serializer->valueToString(value.asInt())
                                                 : toStr(value);
    };
    text.replaceAll(u"%TYPE", getTypeName(row.type));
    text.replaceAll(u"%NAME", row.name);
    text.replaceAll(u"%DEFAULT", valueText(row.defaultValue));
    text.replaceAll(u"%MIN", valueText(row.minValue));
    text.replaceAll(u"%MAX", valueText(row.maxValue));
    return text;
}

/// The five groups as ordered maps from id to help text, and the lists made from them.
struct Catalogue {
    std::map<std::int32_t, String> helpTexts[std::size_t(Group::COUNT)];
    std::vector<std::int32_t> groupIds[std::size_t(Group::COUNT)];
    std::vector<std::int32_t> postProcessing;
    std::vector<std::int32_t> allImage;

    Catalogue() {
        for (std::size_t group = 0; group < std::size_t(Group::COUNT); ++group) {
            for (const std::int32_t id : GROUP_ROWS[group]) {
                const PropertyDescriptor* row = PropertyDescriptor::get(id);
                const String text = String(findHelpText(row->name)).trim();
                helpTexts[group].emplace(id, text.isEmpty() ? text : replacePlaceholders(*row, text));
            }
            for (const auto& [id, text] : helpTexts[group]) {
                groupIds[group].push_back(id);
            }
        }
        for (const Group group :
             {Group::DENOISING, Group::BLOOM_GLARE, Group::TONE_MAPPING, Group::SHARPENING_BLURRING}) {
            const auto& ids = groupIds[std::size_t(group)];
            postProcessing.insert(postProcessing.end(), ids.begin(), ids.end());
        }
        allImage = postProcessing;
        const auto& lightMix = groupIds[std::size_t(Group::LIGHT_MIX)];
        allImage.insert(allImage.end(), lightMix.begin(), lightMix.end());
    }

    static const Catalogue& instance() {
        static const Catalogue catalogue;
        return catalogue;
    }

    ArrayView<const std::int32_t> ids(Group group) const { return groupIds[std::size_t(group)]; }
};

} // namespace

namespace Detail {

void addPostProcessingDescriptors(PropertyTableBuilder& b) {
    // Denoising
    b.addEnum(DENOISE_FILTER_TYPE, u"denoise.filterType", EnumTable<DenoisingMode>(DENOISING_MODE_NAMES),
              DenoisingMode::NONE);
    b.addFloat(DENOISE_SENSITIVITY, u"denoise.sensitivity", 1.f, 0.1f, 10.f);
    b.addFloat(DENOISE_BLEND_AMOUNT, u"denoise.blendAmount", 0.65f, 0.f, 1.f);

    // LightMix: the arrays take their length from the image's light-select layers.
    b.addArray(LIGHTMIX_ENABLED_LAYERS, u"colorMap.lightmixEnabledLayers", PropertyType::BOOL_ARRAY);
    b.addArray(LIGHTMIX_INTENSITIES, u"colorMap.lightmixIntensities", PropertyType::FLOAT_ARRAY);
    b.addArray(LIGHTMIX_COLORS, u"colorMap.lightmixColors", PropertyType::VEC3_ARRAY);

    // Bloom and glare
    b.addBool(BLOOM_GLARE_ENABLED, u"bloomGlare.enabled", false);
    b.addFloat(BLOOM_INTENSITY, u"bloomGlare.bloomIntensity", 1.f, 0.f, 100000.f);
    b.addFloat(GLARE_INTENSITY, u"bloomGlare.glareIntensity", 1.f, 0.f, 100000.f);
    b.addInt(GLARE_STREAK_COUNT, u"bloomGlare.streakCount", 3, 1, 8);
    b.addFloat(GLARE_ROTATION, u"bloomGlare.rotation", 15.f, -1e10f, 1e10f);
    b.addFloat(GLARE_STREAK_BLUR, u"bloomGlare.streakBlur", 0.2f, 0.f, 1.f);
    b.addFloat(BLOOM_GLARE_COLOR_INTENSITY, u"bloomGlare.colorIntensity", 0.3f, 0.f, 1.f);
    b.addFloat(BLOOM_GLARE_COLOR_SHIFT, u"bloomGlare.colorShift", 0.5f, 0.f, 1.f);
    b.addFloat(BLOOM_GLARE_THRESHOLD, u"bloomGlare.threshold", 1.f, 0.f, 100000.f);

    // Tone mapping
    b.addBool(COLOR_MAP_ENABLED, u"colorMap.enabled", true);
    b.addFloat(HIGHLIGHT_COMPRESSION, u"colorMap.highlightCompression", 1.f, 0.01f, 999.f);
    b.addFloat(COLOR_TEMP, u"colorMap.colorTemp", 6500.f, 2000.f, 99999.f);
    b.addFloat(CONTRAST, u"colorMap.contrast", 1.f, 0.f, 99.f);
    b.addFloat(SIMPLE_EXPOSURE, u"colorMap.simpleExposure", 0.f, -20.f, 20.f);
    b.addFloat(FILMIC_HIGHLIGHT_COMPRESSION, u"colorMap.filmic.highlightCompression", 0.f, 0.f, 1.f);
    b.addFloat(FILMIC_RICH_SHADOWS, u"colorMap.filmic.richShadows", 0.f, 0.f, 1.f);
    b.addFloat(SATURATION, u"colorMap.saturation", 0.f, -1.f, 1.f);
    b.addFloat(VIGNETTE_INTENSITY, u"vignette.intensity", 0.f, 0.f, 10.f);
    b.addFloat(VIGNETTE_FALLOFF, u"vignette.falloff", 0.f, 0.f, 1.f);
    b.addVec3(TINT, u"colorMap.tint", Vec3Value(1.f, 1.f, 1.f));
    b.addBool(USE_PHOTOGRAPHIC, u"colorMap.usePhotographic", false);
    b.addFloat(ISO, u"colorMap.iso", 100.f, 0.001f, 999999.f);
    b.addFloat(SHUTTER_SPEED, u"colorMap.shutterSpeed", 50.f, 0.001f, 999999.f);
    b.addFloat(F_STOP, u"colorMap.fStop", 16.f, 0.01f, 50.f);
    b.addBool(LUT_ENABLE, u"colorMap.lut.enable", false);
    b.addString(LUT_PATH, u"colorMap.lut.path", u"");
    b.addBool(LUT_CONVERT_TO_LOG, u"colorMap.lut.convertToLog", false);
    b.addFloat(LUT_OPACITY, u"colorMap.lut.opacity", 1.f, 0.f, 1.f);
    b.addBool(CURVES_ENABLE, u"curves.enable", false);
    b.addArray(CURVES_MASTER_NODES, u"curves.master.nodes", PropertyType::VEC2_ARRAY);
    b.addArray(CURVES_RED_NODES, u"curves.r.nodes", PropertyType::VEC2_ARRAY);
    b.addArray(CURVES_GREEN_NODES, u"curves.g.nodes", PropertyType::VEC2_ARRAY);
    b.addArray(CURVES_BLUE_NODES, u"curves.b.nodes", PropertyType::VEC2_ARRAY);
    const EnumTable<CurveInterpolation> interpolations(CURVE_INTERPOLATION_TABLE);
    b.addEnum(CURVES_MASTER_INTERPOLATION, u"curves.master.interpol", interpolations, CurveInterpolation(0));
    b.addEnum(CURVES_RED_INTERPOLATION, u"curves.r.interpol", interpolations, CurveInterpolation(0));
    b.addEnum(CURVES_GREEN_INTERPOLATION, u"curves.g.interpol", interpolations, CurveInterpolation(0));
    b.addEnum(CURVES_BLUE_INTERPOLATION, u"curves.b.interpol", interpolations, CurveInterpolation(0));

    // Sharpening and blurring
    b.addBool(SHARPENING_BLURRING_ENABLE, u"sharpening.blurring.enable", false);
    b.addFloat(SHARPENING_AMOUNT, u"sharpening.amount", 1.f, 0.f, 10.f);
    b.addFloat(SHARPENING_RADIUS, u"sharpening.radius", 0.5f, 0.f, 50.f);
    b.addFloat(BLURRING_RADIUS, u"blurring.radius", 1.33f, 0.f, 50.f);

    // Post-processing properties outside the groups
    b.addFloat(COLOR_MAP_GAMMA, u"colorMap.gamma", 2.2f, 0.1f, 10.f);
    b.addBool(COLOR_TEMP_15_HACK, u"colorMap.colorTemp15Hack", false);
    b.addFloat(VIGNETTE_OFFSET_X, u"vignette.offset.x", 0.f, -1.f, 1.f);
    b.addFloat(VIGNETTE_OFFSET_Y, u"vignette.offset.y", 0.f, -1.f, 1.f);
    b.addBool(BLOOM_GLARE_HALF_FLOAT, u"bloomGlare.halfFloat", false);
    b.addFloat(DENOISE_TEXTURE_BLUR, u"denoise.textureBlur", 1.f, 1e-6f, 100.f);
}

} // namespace Detail

namespace PropertyCatalogue {

ArrayView<const std::int32_t> denoisingIds() {
    return Catalogue::instance().ids(Group::DENOISING);
}

ArrayView<const std::int32_t> lightMixIds() {
    return Catalogue::instance().ids(Group::LIGHT_MIX);
}

ArrayView<const std::int32_t> bloomGlareIds() {
    return Catalogue::instance().ids(Group::BLOOM_GLARE);
}

ArrayView<const std::int32_t> toneMappingIds() {
    return Catalogue::instance().ids(Group::TONE_MAPPING);
}

ArrayView<const std::int32_t> sharpeningBlurringIds() {
    return Catalogue::instance().ids(Group::SHARPENING_BLURRING);
}

ArrayView<const std::int32_t> postProcessingIds() {
    return Catalogue::instance().postProcessing;
}

ArrayView<const std::int32_t> allImageIds() {
    return Catalogue::instance().allImage;
}

String getHelpText(std::int32_t id) {
    for (const auto& group : Catalogue::instance().helpTexts) {
        if (const auto found = group.find(id); found != group.end()) {
            return found->second;
        }
    }
    return {};
}

} // namespace PropertyCatalogue
} // namespace Vespra
