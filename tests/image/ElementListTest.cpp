#include <gtest/gtest.h>

#include "base/image/ChannelImage.h"

using namespace Vespra;

namespace {

constexpr std::uint32_t ALL_EFFECTS_OFF = 64 | 128 | 256 | 512;

void addChannels(ChannelImage& image, const String& element,
                 std::initializer_list<const char16_t*> components) {
    for (const char16_t* component : components) {
        const String name = element.isEmpty()             ? String(component)
                            : String(component).isEmpty() ? element
                                                          : element + u"." + component;
        image.addChannel<float>(name).resize(2, 2);
    }
}

void addColor(ChannelImage& image, const String& element) {
    addChannels(image, element, {u"R", u"G", u"B"});
}

/// A render as the renderer writes it: beauty with alpha and its variance and denoised copy,
/// two light-select layers, effects, data passes and the internal ones.
ChannelImage realisticRender() {
    ChannelImage image({0, 0, 2, 2}, {0, 0, 2, 2}, 1.f);
    addChannels(image, u"", {u"R", u"G", u"B", u"A"});
    for (const char16_t* name : {u"SqrBeauty", u"Denoised", u"Key", u"SqrKey", u"Fill", u"DenoisedFill",
                                 u"Shadows", u"Normals", u"Reflection", u"VisibleNormals"}) {
        addColor(image, name);
    }
    addChannels(image, u"ZDepth", {u""});
    addChannels(image, u"VESPRA_FB_WEIGHTS", {u""});
    addChannels(image, u"Foo", {u"R", u"G"});
    image.addChannel<std::uint32_t>(u"id").resize(2, 2);
    image.setAttribute<String>(u"vespra.elements",
                               u"\"BEAUTY|Beauty|ColorMapped+BloomEffect+GlareEffect\", "
                               u"\"Key|LightSelect|ColorMapped+BloomEffect+GlareEffect\", "
                               u"\"Rim|LightSelect|ColorMapped+BloomEffect+GlareEffect\", "
                               u"\"Fill|LightSelect|ColorMapped+BloomEffect+GlareEffect\", "
                               u"\"Shadows|Shadows|ColorMapped+BloomEffect\", "
                               u"\"Normals|Normals|\", "
                               u"\"ZDepth|ZDepth|ColorMapped+BloomEffect+GlareEffect\", "
                               u"\"Broken|NoSuchType|ColorMapped\"");
    // Ignored while the newer attribute exists.
    image.setAttribute<String>(u"vespra.lightmix.elements", u"\"Reflection\"");
    return image;
}

} // namespace

TEST(ElementList, RealisticRenderHasEveryFlagAndTheLightMixLayersFirst) {
    const Stack<ElementInfo> expected = {
        {u"Key", 0, 4 | 8 | 16},
        {u"Fill", 0, 4 | 32},
        {u"", 1, 8 | 16 | 32},
        {u"Denoised", 0, 2},
        {u"DenoisedFill", 0, 2},
        {u"Foo", 3, 0},
        {u"Normals", 0, ALL_EFFECTS_OFF},
        {u"Reflection", 0, 0},
        {u"Shadows", 0, 256},
        {u"SqrBeauty", 0, 2},
        {u"SqrKey", 0, 2},
        {u"VESPRA_FB_WEIGHTS", 2, 2 | ALL_EFFECTS_OFF},
        {u"VisibleNormals", 0, 2},
        {u"ZDepth", 2, ALL_EFFECTS_OFF},
        {u"A", 2, ALL_EFFECTS_OFF},
    };
    EXPECT_EQ(realisticRender().getElements(), expected);
}

TEST(ElementList, OlderLightMixListGivesColourMappedLightSelectLayers) {
    ChannelImage image = realisticRender();
    image.attributes.erase(u"vespra.elements");
    image.setAttribute<String>(u"vespra.lightmix.elements", u"\"Reflection\", \"Key\"");
    const Stack<ElementInfo> elements = image.getElements();
    ASSERT_GE(elements.size(), 3u);
    // Colour mapped, but without the bloom and glare flags.
    EXPECT_EQ(elements[0], (ElementInfo{u"Reflection", 0, 4 | 128 | 256}));
    EXPECT_EQ(elements[1], (ElementInfo{u"Key", 0, 4 | 8 | 16 | 128 | 256}));
    EXPECT_EQ(elements[2], (ElementInfo{u"", 1, 8 | 16 | 32}));
    EXPECT_EQ(elements.back(), (ElementInfo{u"A", 2, ALL_EFFECTS_OFF}));
}

TEST(ElementList, KindsFollowTheComponents) {
    ChannelImage image({0, 0, 1, 1}, {0, 0, 1, 1}, 1.f);
    addChannels(image, u"a.b", {u"R", u"G", u"B", u"A"});
    addChannels(image, u"NoBlue", {u"R", u"G"});
    addChannels(image, u"Extra", {u"R", u"G", u"B", u"X"});
    addChannels(image, u"Y", {u""});
    addChannels(image, u"", {u"R", u"G", u"B"});
    const Stack<ElementInfo> expected = {
        {u"", 0, 0}, {u"Extra", 3, 0}, {u"NoBlue", 3, 0}, {u"Y", 2, ALL_EFFECTS_OFF}, {u"a.b", 1, 0}};
    EXPECT_EQ(image.getElements(), expected);
}
