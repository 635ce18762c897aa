#pragma once

#include "base/image/RenderElementInfo.h"
#include "foundation/Containers.h"
#include "foundation/String.h"

namespace Vespra {

struct PropertyDescriptor;

/// Header attributes of an image file beyond its channels.
namespace VxrAttribute {
inline constexpr char16_t DISPLAY_WINDOW[] = u"displayWindow";
inline constexpr char16_t DATA_WINDOW[] = u"dataWindow";
inline constexpr char16_t GAMMA[] = u"gamma";
inline constexpr char16_t IS_VESPRA_EXR[] = u"vespra.isvespraexr";
/// The renderer's descriptions of its elements.
inline constexpr char16_t ELEMENTS[] = u"vespra.elements";
/// The older form: plain names of the light-mix layers, read when `ELEMENTS` is absent.
inline constexpr char16_t LIGHT_MIX_ELEMENTS[] = u"vespra.lightmix.elements";
inline constexpr char16_t STATS_PASSES[] = u"vespra.stats.passes";
inline constexpr char16_t STATS_TIME[] = u"vespra.stats.time";
inline constexpr char16_t STATS_RAYS_PER_SECOND[] = u"vespra.stats.rayspersecond";
inline constexpr char16_t STATS_RAYS_PER_SAMPLE[] = u"vespra.stats.rayspersample";
} // namespace VxrAttribute

/// The descriptions held in the text of a `vespra.elements` attribute. A description that does
/// not parse is dropped, so that the element goes on as a plain one; a text that is not a
/// list at all gives none.
Stack<RenderElementInfo> parseRenderElementInfos(const String& text);

/// The light-mix layers named in the text of a `vespra.lightmix.elements` attribute, as
/// colour-mapped `LightSelect` descriptions.
Stack<RenderElementInfo> parseLightMixElementNames(const String& text);

/// The text of a `vespra.elements` attribute.
String renderElementInfosToText(ArrayView<const RenderElementInfo> infos);

/// The header attribute that carries the value of a post-processing property: "vespra." and
/// the key, with the long group names shortened, in lower case.
String getPropertyExrName(const PropertyDescriptor& descriptor);

} // namespace Vespra
