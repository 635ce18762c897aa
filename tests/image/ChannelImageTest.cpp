#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "base/image/ChannelImage.h"
#include "base/image/VxrMetadata.h"
#include "settings/PropertyDescriptor.h"

using namespace Vespra;

namespace {

constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
constexpr float INF = std::numeric_limits<float>::infinity();

Channel<float>& addPlane(ChannelImage& image, const String& name, float value) {
    Channel<float>& channel = image.addChannel<float>(name);
    channel.resize(image.getDataWindow().size());
    channel.data.fill(value);
    return channel;
}

} // namespace

TEST(Channel, ResizeGrowsByHalfAndReleasesOnlyOnLargeShrinks) {
    Channel<float> channel(u"R");
    EXPECT_EQ(channel.getSize(), 0u);
    channel.resize(10, 10);
    channel.data[0] = 7.f;
    const std::size_t initial = channel.data.capacity();
    ASSERT_GE(initial, 100u);

    channel.resize(initial + 1, 1);
    EXPECT_EQ(channel.data.capacity(), initial + initial / 2);
    EXPECT_EQ(channel.data[0], 7.f) << "resize keeps the pixels";
    EXPECT_EQ(channel.getWidth(), initial + 1);
    EXPECT_EQ(channel.getHeight(), 1u);

    const std::size_t grown = channel.data.capacity();
    channel.resize(std::uint32_t(initial + 1) * 95 / 100, 1); // within 0.9 of the old count
    EXPECT_EQ(channel.data.capacity(), grown);
    channel.resize(Pixel{5, 5}); // far below
    EXPECT_EQ(channel.data.capacity(), 25u);
    EXPECT_EQ(channel.getSize(), 25u);
    channel.resize(0, 0);
    EXPECT_EQ(channel.getSize(), 0u);
    EXPECT_EQ(channel.data.capacity(), 0u);
}

TEST(Channel, CloneCopiesAndMoveCloneTakesThePixels) {
    Channel<std::uint32_t> channel(u"id");
    channel.resize(3, 2);
    channel.data.fill(4);

    const AutoPtr<IChannel> copy = channel.clone();
    EXPECT_EQ(copy->as<Channel<std::uint32_t>>()->data, channel.data);
    EXPECT_FALSE(copy->isA<Channel<float>>());

    const AutoPtr<IChannel> moved = channel.moveClone();
    EXPECT_EQ(moved->getName(), String(u"id"));
    EXPECT_EQ(moved->getWidth(), 3u);
    EXPECT_EQ(moved->getSize(), 6u);
    EXPECT_EQ(channel.getName(), String(u"id"));
    EXPECT_EQ(channel.getWidth(), 0u);
    EXPECT_EQ(channel.getHeight(), 0u);
    EXPECT_EQ(channel.getSize(), 0u);
}

TEST(Attribute, EqualityNeedsTypeNameAndValueAndTakesNansAsEqual) {
    EXPECT_TRUE(Attribute<float>(u"a", NaN).equals(Attribute<float>(u"a", NaN)));
    EXPECT_TRUE(Attribute<double>(u"a", double(NaN)).equals(Attribute<double>(u"a", double(NaN))));
    EXPECT_TRUE(Attribute<Rgb>(u"c", Rgb(NaN, 1, 2)).equals(Attribute<Rgb>(u"c", Rgb(NaN, 1, 2, 0.f))));
    // Neither less nor greater: a NaN is not told apart from any number either.
    EXPECT_TRUE(Attribute<float>(u"a", 1.f).equals(Attribute<float>(u"a", NaN)));
    EXPECT_FALSE(Attribute<float>(u"a", 1.f).equals(Attribute<float>(u"a", 1.0000001f)));
    EXPECT_FALSE(Attribute<Rgb>(u"c", Rgb(0, 1, 2)).equals(Attribute<Rgb>(u"c", Rgb(0, 1, 3))));
    EXPECT_FALSE(Attribute<String>(u"t", u"x").equals(Attribute<String>(u"t", u"X")));
    EXPECT_FALSE(Attribute<float>(u"a", 1.f).equals(Attribute<float>(u"b", 1.f)));
    EXPECT_FALSE(Attribute<float>(u"a", 1.f).equals(Attribute<double>(u"a", 1.0)));
    EXPECT_FALSE(Attribute<std::int32_t>(u"a", 1).equals(Attribute<float>(u"a", 1.f)));
    EXPECT_TRUE(Attribute<Bucket>(u"w", {1, 2, 3, 4}).equals(Attribute<Bucket>(u"w", {1, 2, 3, 4})));
    EXPECT_FALSE(Attribute<Pixel>(u"p", {1, 2}).equals(Attribute<Pixel>(u"p", {2, 1})));

    Attribute<String> text(u"t", u"value");
    const AutoPtr<IAttribute> moved = text.moveClone();
    EXPECT_TRUE(moved->equals(Attribute<String>(u"t", u"value")));
    EXPECT_EQ(text.getName(), String(u"t"));
}

TEST(ChannelImage, ConstructionCopyAndElementQueries) {
    ChannelImage image({0, 0, 8, 6}, {2, 1, 6, 4}, 2.2f);
    EXPECT_FALSE(image.isEmpty());
    EXPECT_TRUE(image.channels.empty());
    EXPECT_EQ(image.getDisplayWindow(), (Bucket{0, 0, 8, 6}));
    EXPECT_EQ(image.getDataWindow(), (Bucket{2, 1, 6, 4}));
    EXPECT_EQ(image.findAttribute<float>(u"gamma")->value, 2.2f);
    EXPECT_EQ(image.findAttribute<std::int32_t>(u"gamma"), nullptr);
    EXPECT_TRUE(ChannelImage().isEmpty());

    image.addElementChannels({u"Shadows", ElementInfo::KIND_COLOR_ALPHA, 0});
    image.addElementChannels({u"ZDepth", ElementInfo::KIND_SINGLE_CHANNEL, 0});
    EXPECT_THROW(image.addElementChannels({u"X", ElementInfo::KIND_NONE, 0}), Exception);
    EXPECT_EQ(image.channels.size(), 5u);
    EXPECT_EQ(image.channels.at(u"Shadows.A")->getWidth(), 4u);
    EXPECT_EQ(image.channels.at(u"ZDepth")->getHeight(), 3u);
    EXPECT_TRUE(image.hasRgbaElement(u"Shadows"));
    EXPECT_TRUE(image.hasElement({u"Shadows", ElementInfo::KIND_COLOR, 0}));
    EXPECT_TRUE(image.hasElement({u"ZDepth", ElementInfo::KIND_SINGLE_CHANNEL, 0}));
    EXPECT_FALSE(image.hasElement({u"ZDepth", ElementInfo::KIND_COLOR, 0}));
    EXPECT_FALSE(image.hasRgbElement(String()));

    // Unsigned channels are not elements.
    image.addChannel<std::uint32_t>(u"R");
    image.addChannel<std::uint32_t>(u"G");
    image.addChannel<std::uint32_t>(u"B");
    EXPECT_FALSE(image.hasRgbElement(String()));

    ChannelImage copy = image;
    copy.findChannel<float>(u"ZDepth")->data.fill(3.f);
    copy.findAttribute<float>(u"gamma")->value = 1.f;
    EXPECT_EQ(image.findChannel<float>(u"ZDepth")->data[0], 0.f);
    EXPECT_EQ(image.findAttribute<float>(u"gamma")->value, 2.2f);
    EXPECT_EQ(copy.channels.size(), image.channels.size());
}

TEST(ChannelImage, ElementPixelsGoInAndComeOutAtZoomOne) {
    ChannelImage image({0, 0, 10, 10}, {5, 5, 8, 7}, 1.f); // 3 by 2
    const ElementInfo color{u"Diffuse", ElementInfo::KIND_COLOR_ALPHA, 0};
    const ElementInfo mono{u"ZDepth", ElementInfo::KIND_SINGLE_CHANNEL, 0};
    image.addElementChannels(color);
    image.addElementChannels(mono);

    BitmapImpl<Rgb> colors(3, 2);
    BitmapImpl<float> depths(2, 1);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 3; ++x) {
            colors(x, y) = Rgb(float(x), float(y), float(x + y), float(10 * y + x));
        }
    }
    depths(0, 0) = 5.f;
    depths(1, 0) = 6.f;
    image.setElementPixels(color, colors);
    image.setElementPixels(mono, depths);

    EXPECT_EQ(image.findChannel<float>(u"Diffuse.A")->data[4], 11.f);
    EXPECT_EQ(image.findChannel<float>(u"ZDepth")->data[1], 6.f) << "a mono bitmap is copied row by row";
    EXPECT_EQ(image.findChannel<float>(u"ZDepth")->data[3], 0.f);

    const BitmapImpl<Rgb> rgba = image.getRgbaBitmap(u"Diffuse", {1, 0, 3, 2}, 1.f);
    ASSERT_EQ(rgba.size(), (Pixel{2, 2}));
    EXPECT_EQ(rgba(0, 1), Rgb(1, 1, 2));
    EXPECT_EQ(rgba(0, 1).a, 11.f);
    const BitmapImpl<Rgb> rgb = image.getRgbBitmap(u"Diffuse", {0, 0, 3, 2}, 1.f);
    EXPECT_EQ(rgb(2, 1), Rgb(2, 1, 3));
    EXPECT_EQ(rgb(2, 1).a, 1.f);
}

TEST(ChannelImage, SanitizingZeroesNansExceptInDenoisedElements) {
    ChannelImage image({0, 0, 2, 1}, {0, 0, 2, 1}, 1.f);
    Channel<float>& red = addPlane(image, u"R", NaN);
    red.data[1] = INF;
    addPlane(image, u"Shadows.G", -NaN);
    addPlane(image, u"DenoisedBeauty.R", NaN);
    Channel<float>& negative = addPlane(image, u"ZDepth", -INF);
    negative.data[0] = std::bit_cast<float>(0x7f800001u); // the smallest signalling NaN

    image.sanitizeChannels();
    EXPECT_EQ(red.data[0], 0.f);
    EXPECT_EQ(red.data[1], INF);
    EXPECT_EQ(image.findChannel<float>(u"Shadows.G")->data[1], 0.f);
    EXPECT_TRUE(std::isnan(image.findChannel<float>(u"DenoisedBeauty.R")->data[0]));
    EXPECT_EQ(negative.data[0], 0.f);
    EXPECT_EQ(negative.data[1], -INF);
}

TEST(ChannelImage, VxrMarkNeedsTheFlagAndAllStatisticsWithTheirTypes) {
    ChannelImage image({0, 0, 1, 1}, {0, 0, 1, 1}, 1.f);
    EXPECT_FALSE(image.isVxrImage());
    image.setAttribute<std::int32_t>(u"vespra.isvespraexr", 1);
    image.setAttribute<std::int32_t>(u"vespra.stats.passes", 5);
    image.setAttribute<std::int32_t>(u"vespra.stats.time", 60);
    image.setAttribute<std::int32_t>(u"vespra.stats.rayspersecond", 1000);
    EXPECT_FALSE(image.isVxrImage());
    image.setAttribute<std::int32_t>(u"vespra.stats.rayspersample", 2);
    EXPECT_FALSE(image.isVxrImage()) << "rays per sample is a float";
    image.setAttribute<float>(u"vespra.stats.rayspersample", 2.5f);
    EXPECT_TRUE(image.isVxrImage());
    image.setAttribute<std::int32_t>(u"vespra.isvespraexr", 2);
    EXPECT_FALSE(image.isVxrImage());
}

TEST(VxrMetadata, ElementDescriptionsTravelAsAnArrayOfTexts) {
    ChannelImage image({0, 0, 1, 1}, {0, 0, 1, 1}, 1.f);
    EXPECT_TRUE(image.getRenderElementInfos().empty());
    const RenderElementInfo key(u"Key \"1\"", RenderElementFlag::COLOR_MAPPED,
                                RenderElementType::LIGHT_SELECT);
    const RenderElementInfo beauty(u"BEAUTY", {}, RenderElement::BEAUTY);
    image.appendRenderElementInfo(key);
    image.appendRenderElementInfo(beauty);
    EXPECT_EQ(image.findAttribute<String>(u"vespra.elements")->value,
              String(u"\"Key \\\"1\\\"|LightSelect|ColorMapped\", \"BEAUTY|Beauty|\""));
    EXPECT_EQ(image.getRenderElementInfos(), (Stack<RenderElementInfo>{key, beauty}));
    EXPECT_EQ(image.getRenderElementInfo({u"", ElementInfo::KIND_COLOR, 0}), beauty);

    // A description that does not parse is dropped; a text that is no list gives nothing.
    EXPECT_EQ(parseRenderElementInfos(u"\"BEAUTY|Beauty|\", \"X|NoType|\", \"|Beauty|\""),
              (Stack<RenderElementInfo>{beauty}));
    EXPECT_TRUE(parseRenderElementInfos(u"\"BEAUTY|Beauty|\" ; \"A|Alpha|\"").empty());
    EXPECT_TRUE(parseRenderElementInfos(u"\"BEAUTY|Beauty|").empty());
    EXPECT_TRUE(parseRenderElementInfos(u"  ").empty());

    EXPECT_EQ(parseLightMixElementNames(u"\"Sun\", \"Sky dome\""),
              (Stack<RenderElementInfo>{
                  {u"Sun", RenderElementFlag::COLOR_MAPPED, RenderElementType::LIGHT_SELECT},
                  {u"Sky dome", RenderElementFlag::COLOR_MAPPED, RenderElementType::LIGHT_SELECT}}));
}

TEST(VxrMetadata, PropertyAttributeNamesAreShortenedAndLowerCase) {
    PropertyDescriptor descriptor;
    descriptor.name = u"colorMap.highlightCompression";
    EXPECT_EQ(getPropertyExrName(descriptor), String(u"vespra.cm.hlcompr"));
    descriptor.name = u"bloomGlare.streakBlur";
    EXPECT_EQ(getPropertyExrName(descriptor), String(u"vespra.bg.streakblur"));
    descriptor.name = u"sharpeningBlurring.sharpening.blurringRadius";
    EXPECT_EQ(getPropertyExrName(descriptor), String(u"vespra.sharpblurring.sharp.blurradius"));
}
