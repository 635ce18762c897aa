#include "apps/samplegen/SampleLayout.h"

#include "base/image/ElementNames.h"

namespace Vespra::SampleGen {

namespace {

constexpr RenderElementFlags COLOR_EFFECTS =
    RenderElementFlag::COLOR_MAPPED | RenderElementFlag::BLOOM_EFFECT | RenderElementFlag::GLARE_EFFECT;

Stack<SampleElement> makeSampleElements() {
    Stack<SampleElement> elements;
    elements.push({String(), Slot::BEAUTY, 4, 3,
                   RenderElementInfo(BEAUTY_CHANNEL_NAME, COLOR_EFFECTS, RenderElement::BEAUTY)});
    for (int group = 0; group < LIGHT_GROUP_COUNT; ++group) {
        const String name = LIGHT_SELECT_NAMES[std::size_t(group)];
        elements.push({name, Slot::LIGHT_SELECTS + 3 * group, 3, 3,
                       RenderElementInfo(name, COLOR_EFFECTS, RenderElementType::LIGHT_SELECT)});
    }
    const auto feature = [&](const char16_t* name, int slot, int components, PrivateRenderElementType type) {
        elements.push({name, slot, components, components, RenderElementInfo(name, {}, type)});
    };
    feature(VISIBLE_DIFFUSE_NAME, Slot::VISIBLE_DIFFUSE, 3, PrivateRenderElementType::VISIBLE_DIFFUSE);
    feature(VISIBLE_NORMALS_NAME, Slot::VISIBLE_NORMALS, 4, PrivateRenderElementType::VISIBLE_NORMALS);
    feature(HYBRID_NAME, Slot::HYBRID, 3, PrivateRenderElementType::HYBRID);
    const auto data = [&](const char16_t* name, int slot, int components, RenderElementType type) {
        elements.push({name, slot, components, 0, RenderElementInfo(name, {}, type)});
    };
    data(u"ZDepth", Slot::Z_DEPTH, 1, RenderElementType::Z_DEPTH);
    data(u"Albedo", Slot::ALBEDO, 3, RenderElementType::ALBEDO);
    data(u"Normals", Slot::NORMALS, 3, RenderElementType::NORMALS);
    return elements;
}

} // namespace

const Stack<SampleElement>& sampleElements() {
    static const Stack<SampleElement> elements = makeSampleElements();
    return elements;
}

Stack<RenderElementInfo> sampleRenderElementInfos() {
    Stack<RenderElementInfo> infos;
    for (const SampleElement& element : sampleElements()) {
        infos.push(element.info);
    }
    infos.emplace(ALPHA_CHANNEL_NAME, RenderElementFlags(), RenderElement::ALPHA);
    infos.emplace(u"LightMix", COLOR_EFFECTS | RenderElementFlag::VIRTUAL, RenderElementType::LIGHT_MIX);
    for (const SampleElement& element : sampleElements()) {
        if (element.squaredComponentCount > 0) {
            infos.emplace(squaredName(element.name), RenderElementFlags(),
                          PrivateRenderElementType::DENOISING_SQUARED_BEAUTY);
        }
    }
    return infos;
}

Stack<String> componentNames(int componentCount) {
    if (componentCount == 1) {
        return {String()};
    }
    Stack<String> names{COMPONENT_R, COMPONENT_G, COMPONENT_B};
    if (componentCount == 4) {
        names.push(COMPONENT_A);
    }
    return names;
}

} // namespace Vespra::SampleGen
