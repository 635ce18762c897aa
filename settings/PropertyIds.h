#pragma once

#include <cstdint>

/// Fixed ids of the properties the editor acts on. Code addresses properties by these;
/// files address them by key.
namespace Vespra::PropertyId {

// Denoising
inline constexpr std::int32_t DENOISE_FILTER_TYPE = 996;
inline constexpr std::int32_t DENOISE_SENSITIVITY = 997;
inline constexpr std::int32_t DENOISE_BLEND_AMOUNT = 993;
inline constexpr std::int32_t DENOISE_TEXTURE_BLUR = 992;

// LightMix
inline constexpr std::int32_t LIGHTMIX_ENABLED_LAYERS = 381;
inline constexpr std::int32_t LIGHTMIX_INTENSITIES = 363;
inline constexpr std::int32_t LIGHTMIX_COLORS = 362;

// Bloom and glare
inline constexpr std::int32_t BLOOM_GLARE_ENABLED = 368;
inline constexpr std::int32_t BLOOM_INTENSITY = 353;
inline constexpr std::int32_t GLARE_INTENSITY = 354;
inline constexpr std::int32_t GLARE_STREAK_COUNT = 355;
inline constexpr std::int32_t GLARE_ROTATION = 356;
inline constexpr std::int32_t GLARE_STREAK_BLUR = 357;
inline constexpr std::int32_t BLOOM_GLARE_COLOR_INTENSITY = 358;
inline constexpr std::int32_t BLOOM_GLARE_COLOR_SHIFT = 359;
inline constexpr std::int32_t BLOOM_GLARE_THRESHOLD = 360;
inline constexpr std::int32_t BLOOM_GLARE_HALF_FLOAT = 378;

// Tone mapping
inline constexpr std::int32_t COLOR_MAP_GAMMA = 330;
inline constexpr std::int32_t COLOR_MAP_ENABLED = 331;
inline constexpr std::int32_t HIGHLIGHT_COMPRESSION = 332;
inline constexpr std::int32_t COLOR_TEMP = 333;
inline constexpr std::int32_t CONTRAST = 339;
inline constexpr std::int32_t SIMPLE_EXPOSURE = 340;
inline constexpr std::int32_t ISO = 341;
inline constexpr std::int32_t F_STOP = 342;
inline constexpr std::int32_t SHUTTER_SPEED = 343;
inline constexpr std::int32_t TINT = 344;
inline constexpr std::int32_t USE_PHOTOGRAPHIC = 345;
inline constexpr std::int32_t FILMIC_HIGHLIGHT_COMPRESSION = 346;
inline constexpr std::int32_t FILMIC_RICH_SHADOWS = 347;
inline constexpr std::int32_t SATURATION = 348;
inline constexpr std::int32_t VIGNETTE_INTENSITY = 349;
inline constexpr std::int32_t VIGNETTE_FALLOFF = 350;
inline constexpr std::int32_t VIGNETTE_OFFSET_X = 351;
inline constexpr std::int32_t VIGNETTE_OFFSET_Y = 352;
inline constexpr std::int32_t LUT_ENABLE = 364;
inline constexpr std::int32_t LUT_OPACITY = 366;
inline constexpr std::int32_t LUT_CONVERT_TO_LOG = 367;
inline constexpr std::int32_t LUT_PATH = 384;
inline constexpr std::int32_t COLOR_TEMP_15_HACK = 890;

// Curves
inline constexpr std::int32_t CURVES_ENABLE = 369;
inline constexpr std::int32_t CURVES_MASTER_NODES = 370;
inline constexpr std::int32_t CURVES_MASTER_INTERPOLATION = 371;
inline constexpr std::int32_t CURVES_RED_NODES = 372;
inline constexpr std::int32_t CURVES_RED_INTERPOLATION = 373;
inline constexpr std::int32_t CURVES_GREEN_NODES = 374;
inline constexpr std::int32_t CURVES_GREEN_INTERPOLATION = 375;
inline constexpr std::int32_t CURVES_BLUE_NODES = 376;
inline constexpr std::int32_t CURVES_BLUE_INTERPOLATION = 377;

// Sharpening and blurring
inline constexpr std::int32_t SHARPENING_AMOUNT = 379;
inline constexpr std::int32_t SHARPENING_RADIUS = 380;
inline constexpr std::int32_t BLURRING_RADIUS = 382;
inline constexpr std::int32_t SHARPENING_BLURRING_ENABLE = 383;

} // namespace Vespra::PropertyId
