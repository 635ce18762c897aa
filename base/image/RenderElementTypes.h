#pragma once

#include <cstdint>
#include <variant>

#include "foundation/EnumTable.h"
#include "foundation/Flags.h"
#include "foundation/Optional.h"
#include "foundation/String.h"

namespace Vespra {

// The three enumerations of element types share one signed value space, so that a value names
// its enumeration without the tag of `RenderElementTypeVariant`.

/// The built-in elements.
enum class RenderElement : std::int32_t { BEAUTY = -1, ALPHA = -2 };

/// The public element types. Values from 1000 are stored passes, values from 2000 are virtual
/// elements computed on demand and never stored.
enum class RenderElementType : std::int32_t {
    STANDALONE_ALPHA = 1000,
    SOURCE_COLOR = 1001,
    COMPONENTS = 1002,
    SHADOWS = 1003,
    ALBEDO = 1004,
    RAW_COMPONENT = 1005,
    LIGHT_SELECT = 1006,
    NORMALS = 1007,
    NORMALS_DOT_PRODUCT = 1008,
    NORMALS_DISCREPANCY = 1009,
    NORMAL_MAP = 1010,
    PRIMITIVE_COORDS = 1011,
    MAP_COORDS = 1012,
    VELOCITY = 1013,
    Z_DEPTH = 1014,
    WORLD_POSITION = 1015,
    ID = 1016,
    TEXMAP = 1017,
    VIRTUAL_BEAUTY = 2000,
    RENDER_STAMP = 2001,
    SAMPLING_FOCUS = 2002,
    BLOOM_GLARE = 2003,
    LIGHT_MIX = 2004,
};

/// Element types the renderer keeps for itself.
enum class PrivateRenderElementType : std::int32_t {
    VISIBLE_DIFFUSE = 3000,
    VISIBLE_NORMALS = 3001,
    HYBRID = 3002,
    HAIR_IDS = 3003,
    OPTIX_NORMALS = 3004,
    DENOISING_SQUARED_BEAUTY = 3005,
};

enum class RenderElementFlag : std::uint32_t {
    COLOR_MAPPED = 1,
    VIRTUAL = 2,
    ANTIALIASED = 4,
    DENOISED = 8,
    BLOOM_EFFECT = 16,
    GLARE_EFFECT = 32,
};
VESPRA_FLAGS_OPERATORS(RenderElementFlag)

using RenderElementFlags = Flags<RenderElementFlag>;

/// The type of an element from any of the three enumerations, or none (the last alternative).
using RenderElementTypeVariant =
    Variant<RenderElement, RenderElementType, PrivateRenderElementType, std::monostate>;

constexpr bool isVirtual(RenderElementType type) {
    return std::int32_t(type) >= std::int32_t(RenderElementType::VIRTUAL_BEAUTY);
}

/// Every value with its name, in value order.
EnumTable<RenderElement> renderElementTable();
EnumTable<RenderElementType> renderElementTypeTable();
EnumTable<PrivateRenderElementType> privateRenderElementTypeTable();
EnumTable<RenderElementFlag> renderElementFlagTable();

String toStr(RenderElement element);
String toStr(RenderElementType type);
String toStr(PrivateRenderElementType type);
String toStr(RenderElementFlag flag);
/// Names of the set flags joined by "+", in table order; empty when none is set.
String toStr(RenderElementFlags flags);
/// The name of the held value; empty when none is held.
String toStr(const RenderElementTypeVariant& type);

Expected<RenderElement> parseRenderElement(const String& name);
Expected<RenderElementType> toRenderElementType(const String& name);
Expected<PrivateRenderElementType> parsePrivateRenderElementType(const String& name);
Expected<RenderElementFlag> parseRenderElementFlag(const String& name);
/// Names joined by "+"; the empty text is no flags.
Expected<RenderElementFlags> parseRenderElementFlags(const String& names);
/// Tries the built-in elements, then the public types, then the private ones.
Expected<RenderElementTypeVariant> parseRenderElementTypeVariant(const String& name);

} // namespace Vespra
