#pragma once

#include <cstdint>

#include "foundation/EnumTable.h"

namespace Vespra {

/// How an image is denoised; the value of the property "denoise.filterType".
enum class DenoisingMode : std::int32_t {
    NONE = 0,
    FIREFLIES = 1,
    FULL = 2,
    GATHER = 3,
    NVIDIA_AI = 4,
};

inline constexpr EnumTableRow<DenoisingMode> DENOISING_MODE_NAMES[] = {
    {DenoisingMode::NONE, u"None"},
    {DenoisingMode::FIREFLIES, u"Fireflies"},
    {DenoisingMode::FULL, u"Full"},
    {DenoisingMode::GATHER, u"Gather"},
    {DenoisingMode::NVIDIA_AI, u"NVIDIA AI denoiser"},
};

} // namespace Vespra
