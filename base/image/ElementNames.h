#pragma once

#include <utility>

#include "foundation/String.h"

namespace Vespra {

/// Components of a colour channel name such as "Shadows.R".
inline constexpr char16_t COMPONENT_R[] = u"R";
inline constexpr char16_t COMPONENT_G[] = u"G";
inline constexpr char16_t COMPONENT_B[] = u"B";
inline constexpr char16_t COMPONENT_A[] = u"A";

/// Channel names of the built-in elements, whose element names are "" and "A".
inline constexpr char16_t BEAUTY_CHANNEL_NAME[] = u"BEAUTY";
inline constexpr char16_t ALPHA_CHANNEL_NAME[] = u"Alpha";

inline constexpr char16_t DENOISED_PREFIX[] = u"Denoised";
inline constexpr char16_t SQUARED_PREFIX[] = u"Sqr";
/// Stands for the empty beauty name after a prefix, which would otherwise be the bare prefix.
inline constexpr char16_t SQUARED_BEAUTY_STEM[] = u"Beauty";

/// Special elements.
inline constexpr char16_t FB_WEIGHTS_NAME[] = u"VESPRA_FB_WEIGHTS";
inline constexpr char16_t BLOOM_GLARE_INTERACTIVE_NAME[] = u"Bloom and Glare Interactive";
inline constexpr char16_t LIGHT_MIX_INTERACTIVE_NAME[] = u"LightMix Interactive";
inline constexpr char16_t VISIBLE_DIFFUSE_NAME[] = u"VisibleDiffuse";
inline constexpr char16_t VISIBLE_NORMALS_NAME[] = u"VisibleNormals";
inline constexpr char16_t HYBRID_NAME[] = u"Hybrid";
inline constexpr char16_t HAIR_IDS_NAME[] = u"HairIds";
inline constexpr char16_t OPTIX_NORMALS_NAME[] = u"OptixNormals";

/// `prefix.suffix`, or whichever of the two is not empty.
String joinChannelName(const String& prefix, const String& suffix);

/// Prefix and suffix split at the last full stop. Without one, a bare component ("R", "G", "B",
/// "A") is a suffix with no prefix and any other name is a prefix with no suffix.
std::pair<String, String> splitChannelName(const String& name);

/// "BEAUTY" becomes "" and "Alpha" becomes "A"; other names stay.
String channelToElementName(const String& channelName);

/// The inverse of `channelToElementName`.
String elementToChannelName(const String& elementName);

String denoisedName(const String& name);
bool isDenoisedName(const String& name);

/// Name of the element holding the squared values of `name`; the beauty's is "SqrBeauty".
String squaredName(const String& name);
bool isSquaredName(const String& name);

} // namespace Vespra
