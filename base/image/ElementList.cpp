#include "base/image/ElementList.h"

#include <algorithm>
#include <map>
#include <set>

#include "base/image/ElementNames.h"

namespace Vespra {

namespace {

using ComponentGroups = std::map<String, std::set<String>>;

ComponentGroups groupByPrefix(ArrayView<const String> channelNames) {
    ComponentGroups groups;
    for (const String& channelName : channelNames) {
        auto [prefix, suffix] = splitChannelName(channelName);
        groups[std::move(prefix)].insert(std::move(suffix));
    }
    return groups;
}

std::uint32_t kindOf(const std::set<String>& components) {
    static const std::set<String> RGBA = {COMPONENT_R, COMPONENT_G, COMPONENT_B, COMPONENT_A};
    static const std::set<String> RGB = {COMPONENT_R, COMPONENT_G, COMPONENT_B};
    if (components == RGBA) {
        return ElementInfo::KIND_COLOR_ALPHA;
    }
    if (components == RGB) {
        return ElementInfo::KIND_COLOR;
    }
    if (components.size() == 1 && components.begin()->isEmpty()) {
        return ElementInfo::KIND_SINGLE_CHANNEL;
    }
    return ElementInfo::KIND_NONE;
}

/// Passes the renderer keeps for the denoiser and the editor's own use.
bool isInternalColorName(const String& name) {
    static const std::set<String> NAMES = {VISIBLE_NORMALS_NAME, VISIBLE_DIFFUSE_NAME, HYBRID_NAME,
                                           HAIR_IDS_NAME, OPTIX_NORMALS_NAME};
    return NAMES.contains(name) || isDenoisedName(name) || isSquaredName(name);
}

bool isLightSelect(const Optional<RenderElementInfo>& info) {
    return info.has_value() && info->type == RenderElementTypeVariant(RenderElementType::LIGHT_SELECT);
}

std::uint32_t flagsOf(const ElementInfo& element, const std::set<String>& names,
                      const Optional<RenderElementInfo>& info) {
    std::uint32_t flags = 0;
    if (element.name == FB_WEIGHTS_NAME && element.kind == ElementInfo::KIND_SINGLE_CHANNEL) {
        flags |= ElementInfo::INTERNAL;
    } else if (isColorKind(element.kind)) {
        if (isInternalColorName(element.name)) {
            flags |= ElementInfo::INTERNAL;
        } else if (names.contains(squaredName(element.name))) {
            flags |= ElementInfo::DENOISABLE | ElementInfo::SELECTED_FOR_DENOISING;
        }
    }
    if (names.contains(denoisedName(element.name))) {
        flags |= ElementInfo::HAS_DENOISED;
    }
    if (isLightSelect(info)) {
        flags |= ElementInfo::LIGHT_MIX_LAYER;
    }
    return flags | renderFlagsToElementBits(info, element.kind);
}

/// Moves the light-mix layers to the front, in the order of their descriptions.
void putLightMixLayersFirst(Stack<ElementInfo>& elements, ArrayView<const RenderElementInfo> infos) {
    std::size_t front = 0;
    for (const RenderElementInfo& info : infos) {
        if (info.type != RenderElementTypeVariant(RenderElementType::LIGHT_SELECT)) {
            continue;
        }
        const String name = channelToElementName(info.name);
        const auto found = std::find_if(elements.begin() + std::ptrdiff_t(front), elements.end(),
                                        [&](const ElementInfo& element) { return element.name == name; });
        if (found != elements.end()) {
            std::rotate(elements.begin() + std::ptrdiff_t(front), found, found + 1);
            ++front;
        }
    }
}

} // namespace

Stack<ElementInfo> deriveElementList(ArrayView<const String> floatChannelNames,
                                     ArrayView<const RenderElementInfo> infos) {
    Stack<ElementInfo> elements;
    for (const auto& [prefix, components] : groupByPrefix(floatChannelNames)) {
        elements.push(ElementInfo{prefix, kindOf(components), 0});
    }
    if (std::ranges::find(floatChannelNames, String(COMPONENT_A)) != floatChannelNames.end()) {
        elements.push(ElementInfo{COMPONENT_A, ElementInfo::KIND_SINGLE_CHANNEL, 0});
    }
    std::set<String> names;
    for (const ElementInfo& element : elements) {
        names.insert(element.name);
    }
    for (ElementInfo& element : elements) {
        element.flags = flagsOf(element, names, findRenderElementInfo(infos, element));
    }
    putLightMixLayersFirst(elements, infos);
    return elements;
}

} // namespace Vespra
