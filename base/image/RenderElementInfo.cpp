#include "base/image/RenderElementInfo.h"

#include <algorithm>

#include <fmt/format.h>

#include "base/image/ElementNames.h"

namespace Vespra {

namespace {

constexpr char16_t SEPARATOR = u'|';

Optional<RenderElementInfo> findByType(ArrayView<const RenderElementInfo> list, RenderElementType type) {
    const RenderElementTypeVariant wanted = type;
    const auto found = std::ranges::find(list, wanted, &RenderElementInfo::type);
    return found == list.end() ? Optional<RenderElementInfo>() : Optional<RenderElementInfo>(*found);
}

Optional<RenderElementInfo> findByName(ArrayView<const RenderElementInfo> list, const String& name) {
    const auto found = std::ranges::find(list, name, &RenderElementInfo::name);
    return found == list.end() ? Optional<RenderElementInfo>() : Optional<RenderElementInfo>(*found);
}

} // namespace

String RenderElementInfo::toString() const {
    return name + String(1, SEPARATOR) + toStr(type) + String(1, SEPARATOR) + toStr(flags);
}

Expected<RenderElementInfo> RenderElementInfo::fromString(const String& text) {
    const int last = text.findLastOf(String(1, SEPARATOR));
    const int first = last == String::NOT_FOUND ? last : text.findLastOf(String(1, SEPARATOR), last - 1);
    if (last == String::NOT_FOUND || first == String::NOT_FOUND || first < 1) {
        return makeUnexpected(u"Field separators in the serialization are not well-formed.");
    }
    const auto invalid = [&](const String& reason) {
        return makeUnexpected(String::fromUtf8(
            fmt::format("Serialized render element info \"{}\" is not valid. {}", text, reason)));
    };
    const auto flags = parseRenderElementFlags(text.getSubstr(last + 1));
    if (!flags) {
        return invalid(flags.error());
    }
    const auto type = parseRenderElementTypeVariant(text.getSubstr(first + 1, last - first - 1));
    if (!type) {
        return invalid(type.error());
    }
    return RenderElementInfo(text.getSubstr(0, first), *flags, *type);
}

Optional<RenderElementInfo> findRenderElementInfo(ArrayView<const RenderElementInfo> list,
                                                  const ElementInfo& element) {
    if (element.name == LIGHT_MIX_INTERACTIVE_NAME) {
        return findByType(list, RenderElementType::LIGHT_MIX);
    }
    if (element.name == BLOOM_GLARE_INTERACTIVE_NAME) {
        return findByType(list, RenderElementType::BLOOM_GLARE);
    }
    return findByName(list, elementToChannelName(element.name));
}

std::uint32_t renderFlagsToElementBits(const Optional<RenderElementInfo>& info, std::uint32_t kind) {
    constexpr std::uint32_t ALL_EFFECTS = ElementInfo::NOT_COLOR_MAPPED | ElementInfo::NO_BLOOM |
                                          ElementInfo::NO_GLARE | ElementInfo::NOT_SHARPENED;
    if (kind == ElementInfo::KIND_SINGLE_CHANNEL) {
        return ALL_EFFECTS;
    }
    if (!info.has_value()) {
        return 0;
    }
    std::uint32_t bits = info->flags.has(RenderElementFlag::COLOR_MAPPED) ? 0 : ALL_EFFECTS;
    if (!info->flags.has(RenderElementFlag::BLOOM_EFFECT)) {
        bits |= ElementInfo::NO_BLOOM;
    }
    if (!info->flags.has(RenderElementFlag::GLARE_EFFECT)) {
        bits |= ElementInfo::NO_GLARE;
    }
    return bits;
}

} // namespace Vespra
