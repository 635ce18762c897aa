#pragma once

#include <cstdint>

#include "foundation/String.h"

namespace Vespra {

/// What operators exchange about one render element of an image: its name, the shape of its
/// channels and what the post effects may do with it.
struct ElementInfo {
    /// Values of `kind`.
    static constexpr std::uint32_t KIND_COLOR = 0;
    static constexpr std::uint32_t KIND_COLOR_ALPHA = 1;
    static constexpr std::uint32_t KIND_SINGLE_CHANNEL = 2;
    static constexpr std::uint32_t KIND_NONE = 3;

    /// Bits of `flags`.
    static constexpr std::uint32_t INTERACTIVE = 1;
    static constexpr std::uint32_t INTERNAL = 2;
    static constexpr std::uint32_t LIGHT_MIX_LAYER = 4;
    static constexpr std::uint32_t DENOISABLE = 8;
    static constexpr std::uint32_t SELECTED_FOR_DENOISING = 16;
    static constexpr std::uint32_t HAS_DENOISED = 32;
    static constexpr std::uint32_t NOT_COLOR_MAPPED = 64;
    static constexpr std::uint32_t NO_BLOOM = 128;
    static constexpr std::uint32_t NO_GLARE = 256;
    static constexpr std::uint32_t NOT_SHARPENED = 512;

    /// The beauty element has the empty name.
    String name;
    std::uint32_t kind = KIND_NONE;
    std::uint32_t flags = 0;

    bool operator==(const ElementInfo&) const = default;
};

/// Three or four colour channels, as opposed to a single channel or none.
constexpr bool isColorKind(std::uint32_t kind) {
    return kind == ElementInfo::KIND_COLOR || kind == ElementInfo::KIND_COLOR_ALPHA;
}

/// Whether bloom and glare are computed from this element.
bool bloomApplies(const ElementInfo& element);

/// A colour element that may be chosen for denoising.
bool isOfferedForDenoising(const ElementInfo& element);

/// A colour element shown to the user that the denoiser cannot process.
bool isNotDenoisable(const ElementInfo& element);

/// The element is shown denoised: either chosen for denoising or it already has a denoised copy.
bool isDenoisedInEffect(const ElementInfo& element);

bool hasDenoisedVersion(const ElementInfo& element);

/// A colour element shown to the user that may become a light mix layer.
bool isOfferedForLightMix(const ElementInfo& element);

} // namespace Vespra
