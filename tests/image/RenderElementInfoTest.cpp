#include <gtest/gtest.h>

#include "base/image/RenderElementInfo.h"

using namespace Vespra;

namespace {

String invalid(const String& text, const String& reason) {
    return u"Serialized render element info \"" + text + u"\" is not valid. " + reason;
}

constexpr char16_t NOT_WELL_FORMED[] = u"Field separators in the serialization are not well-formed.";

template <class E>
void expectTypeRoundTrips(EnumTable<E> table) {
    for (const auto& row : table) {
        const RenderElementInfo info(u"Element", RenderElementFlag::ANTIALIASED, row.value);
        const String text = info.toString();
        EXPECT_EQ(text, u"Element|" + String(row.name) + u"|Antialiased");
        EXPECT_EQ(RenderElementInfo::fromString(text), info) << text;
    }
}

} // namespace

TEST(RenderElementInfo, ParsesNameTypeAndFlags) {
    const auto beauty = RenderElementInfo::fromString(u"BEAUTY|Beauty|ColorMapped+Virtual");
    ASSERT_TRUE(beauty.has_value()) << beauty.error();
    EXPECT_EQ(beauty->name, String(u"BEAUTY"));
    ASSERT_EQ(beauty->type.index(), 0u);
    EXPECT_EQ(std::get<RenderElement>(beauty->type), RenderElement::BEAUTY);
    EXPECT_EQ(beauty->flags.value(), 1u | 2u);

    // The name keeps its own separator since the fields are split from the end.
    const auto barred = RenderElementInfo::fromString(u"A|B|Shadows|ColorMapped+BloomEffect");
    ASSERT_TRUE(barred.has_value()) << barred.error();
    EXPECT_EQ(barred->name, String(u"A|B"));
    EXPECT_EQ(barred->type, RenderElementTypeVariant(RenderElementType::SHADOWS));
    EXPECT_EQ(barred->flags.value(), 1u | 16u);

    const auto unflagged = RenderElementInfo::fromString(u"x|DenoisingSquaredBeauty|");
    ASSERT_TRUE(unflagged.has_value()) << unflagged.error();
    EXPECT_EQ(unflagged->type, RenderElementTypeVariant(PrivateRenderElementType::DENOISING_SQUARED_BEAUTY));
    EXPECT_TRUE(unflagged->flags.isEmpty());
}

TEST(RenderElementInfo, RejectsMalformedText) {
    for (const char16_t* text : {u"|Beauty|", u"", u"BEAUTY", u"BEAUTY|Beauty", u"|", u"||"}) {
        const auto parsed = RenderElementInfo::fromString(text);
        ASSERT_FALSE(parsed.has_value()) << String(text);
        EXPECT_EQ(parsed.error(), String(NOT_WELL_FORMED)) << String(text);
    }
    // One character of name is enough, even a separator.
    EXPECT_EQ(RenderElementInfo::fromString(u"||Alpha|")->name, String(u"|"));

    // An unknown type is reported against the variant, not against one of the three tables.
    const String unknownType = u"Foo|Bar|ColorMapped";
    EXPECT_EQ(RenderElementInfo::fromString(unknownType).error(),
              invalid(unknownType, u"String name \"Bar\" does not match any render element type variant."));
    const String noType = u"Foo||";
    EXPECT_EQ(RenderElementInfo::fromString(noType).error(),
              invalid(noType, u"String name \"\" does not match any render element type variant."));

    const String badFlag = u"Foo|Shadows|ColorMapped+Shiny";
    EXPECT_EQ(RenderElementInfo::fromString(badFlag).error(),
              invalid(badFlag, u"String name \"Shiny\" does not match any render element flag."));
    const String trailingPlus = u"Foo|Shadows|ColorMapped+";
    EXPECT_EQ(RenderElementInfo::fromString(trailingPlus).error(),
              invalid(trailingPlus, u"String name \"\" does not match any render element flag."));
    // Flags are checked before the type.
    const String bothBad = u"Foo|Bar|Shiny";
    EXPECT_EQ(RenderElementInfo::fromString(bothBad).error(),
              invalid(bothBad, u"String name \"Shiny\" does not match any render element flag."));
}

TEST(RenderElementInfo, SingleParsersNameTheirTable) {
    EXPECT_EQ(toRenderElementType(u"Beauty").error(),
              String(u"String name \"Beauty\" does not match any render element type."));
    EXPECT_EQ(parseRenderElement(u"Shadows").error(),
              String(u"String name \"Shadows\" does not match any render element."));
    EXPECT_EQ(parsePrivateRenderElementType(u"Shadows").error(),
              String(u"String name \"Shadows\" does not match any private render element type."));
    EXPECT_EQ(parseRenderElementFlag(u"colormapped").error(),
              String(u"String name \"colormapped\" does not match any render element flag."));
    EXPECT_EQ(parseRenderElementTypeVariant(u"").error(),
              String(u"String name \"\" does not match any render element type variant."));

    // -1 is a real value: Beauty must be found, and an unknown name must not come back as Beauty.
    EXPECT_EQ(parseRenderElement(u"Beauty"), RenderElement::BEAUTY);
    EXPECT_EQ(parseRenderElement(u"Alpha"), RenderElement::ALPHA);
    EXPECT_FALSE(parseRenderElement(u"BEAUTY").has_value());
    EXPECT_EQ(toRenderElementType(u"LightMix"), RenderElementType::LIGHT_MIX);
    EXPECT_EQ(toStr(RenderElementType::Z_DEPTH), String(u"ZDepth"));
    EXPECT_TRUE(isVirtual(RenderElementType::VIRTUAL_BEAUTY));
    EXPECT_FALSE(isVirtual(RenderElementType::TEXMAP));
}

TEST(RenderElementInfo, EveryTypeAndFlagRoundTrips) {
    expectTypeRoundTrips(renderElementTable());
    expectTypeRoundTrips(renderElementTypeTable());
    expectTypeRoundTrips(privateRenderElementTypeTable());
    EXPECT_EQ(renderElementTable().size(), 2u);
    EXPECT_EQ(renderElementTypeTable().size(), 23u);
    EXPECT_EQ(privateRenderElementTypeTable().size(), 6u);

    std::uint32_t all = 0;
    for (const auto& row : renderElementFlagTable()) {
        const RenderElementInfo info(u"Shadows", row.value, RenderElementType::SHADOWS);
        EXPECT_EQ(info.toString(), u"Shadows|Shadows|" + String(row.name));
        EXPECT_EQ(RenderElementInfo::fromString(info.toString()), info);
        all |= std::uint32_t(row.value);
    }
    EXPECT_EQ(all, 63u);

    const RenderElementInfo everything(u"Shadows", RenderElementFlags::fromValue(all), RenderElement::ALPHA);
    EXPECT_EQ(everything.toString(),
              String(u"Shadows|Alpha|ColorMapped+Virtual+Antialiased+Denoised+BloomEffect+GlareEffect"));
    EXPECT_EQ(RenderElementInfo::fromString(everything.toString()), everything);

    const RenderElementInfo none(u"name", {}, RenderElementType::ID);
    EXPECT_EQ(none.toString(), String(u"name|Id|"));
    EXPECT_EQ(RenderElementInfo::fromString(none.toString()), none);
}

TEST(RenderElementInfo, FindsTheInformationOfAnElement) {
    const RenderElementInfo list[] = {
        {u"BEAUTY", RenderElementFlag::COLOR_MAPPED, RenderElement::BEAUTY},
        {u"Alpha", {}, RenderElement::ALPHA},
        {u"LightMix Interactive", {}, RenderElementType::SHADOWS},
        {u"Mix 1", {}, RenderElementType::LIGHT_MIX},
        {u"Mix 2", {}, RenderElementType::LIGHT_MIX},
        {u"Glow", {}, RenderElementType::BLOOM_GLARE},
        {u"Shadows", {}, RenderElementType::SHADOWS},
    };
    const auto find = [&](const char16_t* name) { return findRenderElementInfo(list, {name, 0, 0}); };

    // The interactive elements go by type, and the first of a type wins.
    EXPECT_EQ(find(u"LightMix Interactive"), list[3]);
    EXPECT_EQ(find(u"Bloom and Glare Interactive"), list[5]);
    EXPECT_EQ(find(u""), list[0]);
    EXPECT_EQ(find(u"A"), list[1]);
    EXPECT_EQ(find(u"Shadows"), list[6]);
    EXPECT_FALSE(find(u"Velocity").has_value());
    EXPECT_FALSE(findRenderElementInfo(ArrayView<const RenderElementInfo>(list).first(3),
                                       {u"LightMix Interactive", 0, 0})
                     .has_value());
}

TEST(RenderElementInfo, RenderFlagsBecomeElementEffectBits) {
    constexpr std::uint32_t ALL = 64 | 128 | 256 | 512;
    const auto bits = [](RenderElementFlags flags, std::uint32_t kind) {
        return renderFlagsToElementBits(RenderElementInfo(u"E", flags, RenderElementType::SHADOWS), kind);
    };
    const RenderElementFlags full =
        RenderElementFlag::COLOR_MAPPED | RenderElementFlag::BLOOM_EFFECT | RenderElementFlag::GLARE_EFFECT;

    EXPECT_EQ(renderFlagsToElementBits({}, 0), 0u);
    EXPECT_EQ(renderFlagsToElementBits({}, 1), 0u);
    EXPECT_EQ(renderFlagsToElementBits({}, 2), ALL);
    EXPECT_EQ(bits(full, 0), 0u);
    EXPECT_EQ(bits(full, 1), 0u);
    EXPECT_EQ(bits(full, 2), ALL);
    EXPECT_EQ(bits(RenderElementFlag::COLOR_MAPPED, 0), 128u | 256u);
    EXPECT_EQ(bits(RenderElementFlag::COLOR_MAPPED | RenderElementFlag::BLOOM_EFFECT, 1), 256u);
    EXPECT_EQ(bits(RenderElementFlag::COLOR_MAPPED | RenderElementFlag::GLARE_EFFECT, 0), 128u);
    EXPECT_EQ(bits(RenderElementFlag::BLOOM_EFFECT | RenderElementFlag::GLARE_EFFECT, 0), ALL);
    EXPECT_EQ(bits({}, 1), ALL);
}
