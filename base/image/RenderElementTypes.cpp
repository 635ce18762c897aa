#include "base/image/RenderElementTypes.h"

#include <fmt/format.h>

namespace Vespra {

namespace {

constexpr EnumTableRow<RenderElement> RENDER_ELEMENTS[] = {
    {RenderElement::BEAUTY, u"Beauty"},
    {RenderElement::ALPHA, u"Alpha"},
};

constexpr EnumTableRow<RenderElementType> RENDER_ELEMENT_TYPES[] = {
    {RenderElementType::STANDALONE_ALPHA, u"StandaloneAlpha"},
    {RenderElementType::SOURCE_COLOR, u"SourceColor"},
    {RenderElementType::COMPONENTS, u"Components"},
    {RenderElementType::SHADOWS, u"Shadows"},
    {RenderElementType::ALBEDO, u"Albedo"},
    {RenderElementType::RAW_COMPONENT, u"RawComponent"},
    {RenderElementType::LIGHT_SELECT, u"LightSelect"},
    {RenderElementType::NORMALS, u"Normals"},
    {RenderElementType::NORMALS_DOT_PRODUCT, u"NormalsDotProduct"},
    {RenderElementType::NORMALS_DISCREPANCY, u"NormalsDiscrepancy"},
    {RenderElementType::NORMAL_MAP, u"NormalMap"},
    {RenderElementType::PRIMITIVE_COORDS, u"PrimitiveCoords"},
    {RenderElementType::MAP_COORDS, u"MapCoords"},
    {RenderElementType::VELOCITY, u"Velocity"},
    {RenderElementType::Z_DEPTH, u"ZDepth"},
    {RenderElementType::WORLD_POSITION, u"WorldPosition"},
    {RenderElementType::ID, u"Id"},
    {RenderElementType::TEXMAP, u"Texmap"},
    {RenderElementType::VIRTUAL_BEAUTY, u"VirtualBeauty"},
    {RenderElementType::RENDER_STAMP, u"RenderStamp"},
    {RenderElementType::SAMPLING_FOCUS, u"SamplingFocus"},
    {RenderElementType::BLOOM_GLARE, u"BloomGlare"},
    {RenderElementType::LIGHT_MIX, u"LightMix"},
};

constexpr EnumTableRow<PrivateRenderElementType> PRIVATE_RENDER_ELEMENT_TYPES[] = {
    {PrivateRenderElementType::VISIBLE_DIFFUSE, u"VisibleDiffuse"},
    {PrivateRenderElementType::VISIBLE_NORMALS, u"VisibleNormals"},
    {PrivateRenderElementType::HYBRID, u"Hybrid"},
    {PrivateRenderElementType::HAIR_IDS, u"HairIds"},
    {PrivateRenderElementType::OPTIX_NORMALS, u"OptixNormals"},
    {PrivateRenderElementType::DENOISING_SQUARED_BEAUTY, u"DenoisingSquaredBeauty"},
};

constexpr EnumTableRow<RenderElementFlag> RENDER_ELEMENT_FLAGS[] = {
    {RenderElementFlag::COLOR_MAPPED, u"ColorMapped"}, {RenderElementFlag::VIRTUAL, u"Virtual"},
    {RenderElementFlag::ANTIALIASED, u"Antialiased"},  {RenderElementFlag::DENOISED, u"Denoised"},
    {RenderElementFlag::BLOOM_EFFECT, u"BloomEffect"}, {RenderElementFlag::GLARE_EFFECT, u"GlareEffect"},
};

/// Looks the name up by its presence in the table rather than by `stringToValue`'s -1, which
/// is a real value of `RenderElement`.
template <class E>
Expected<E> parseName(const String& name, EnumTable<E> table, const char* what) {
    for (const auto& row : table) {
        if (name == row.name) {
            return row.value;
        }
    }
    return makeUnexpected(
        String::fromUtf8(fmt::format("String name \"{}\" does not match any {}.", name, what)));
}

} // namespace

EnumTable<RenderElement> renderElementTable() {
    return RENDER_ELEMENTS;
}

EnumTable<RenderElementType> renderElementTypeTable() {
    return RENDER_ELEMENT_TYPES;
}

EnumTable<PrivateRenderElementType> privateRenderElementTypeTable() {
    return PRIVATE_RENDER_ELEMENT_TYPES;
}

EnumTable<RenderElementFlag> renderElementFlagTable() {
    return RENDER_ELEMENT_FLAGS;
}

String toStr(RenderElement element) {
    return Detail::valueToString(element, renderElementTable());
}

String toStr(RenderElementType type) {
    return Detail::valueToString(type, renderElementTypeTable());
}

String toStr(PrivateRenderElementType type) {
    return Detail::valueToString(type, privateRenderElementTypeTable());
}

String toStr(RenderElementFlag flag) {
    return Detail::valueToString(flag, renderElementFlagTable());
}

String toStr(RenderElementFlags flags) {
    String names;
    for (const auto& row : renderElementFlagTable()) {
        if (flags.has(row.value)) {
            names += names.isEmpty() ? String(row.name) : u"+" + String(row.name);
        }
    }
    return names;
}

String toStr(const RenderElementTypeVariant& type) {
    return std::visit(
        [](auto value) {
            if constexpr (std::is_same_v<decltype(value), std::monostate>) {
                return String();
            } else {
                return toStr(value);
            }
        },
        type);
}

Expected<RenderElement> parseRenderElement(const String& name) {
    return parseName(name, renderElementTable(), "render element");
}

Expected<RenderElementType> toRenderElementType(const String& name) {
    return parseName(name, renderElementTypeTable(), "render element type");
}

Expected<PrivateRenderElementType> parsePrivateRenderElementType(const String& name) {
    return parseName(name, privateRenderElementTypeTable(), "private render element type");
}

Expected<RenderElementFlag> parseRenderElementFlag(const String& name) {
    return parseName(name, renderElementFlagTable(), "render element flag");
}

Expected<RenderElementFlags> parseRenderElementFlags(const String& names) {
    RenderElementFlags flags;
    if (names.isEmpty()) {
        return flags;
    }
    for (const String& name : names.explode(u"+")) {
        const auto flag = parseRenderElementFlag(name);
        if (!flag) {
            return makeUnexpected(flag.error());
        }
        flags.set(*flag);
    }
    return flags;
}

Expected<RenderElementTypeVariant> parseRenderElementTypeVariant(const String& name) {
    if (const auto element = parseRenderElement(name)) {
        return *element;
    }
    if (const auto type = toRenderElementType(name)) {
        return *type;
    }
    if (const auto type = parsePrivateRenderElementType(name)) {
        return *type;
    }
    return makeUnexpected(String::fromUtf8(
        fmt::format("String name \"{}\" does not match any render element type variant.", name)));
}

} // namespace Vespra
