#include <gtest/gtest.h>

#include "base/image/ElementInfo.h"
#include "base/image/ElementNames.h"

using namespace Vespra;

namespace {

using Names = std::pair<String, String>;

} // namespace

TEST(ElementNames, JoinAndSplitChannelNames) {
    EXPECT_EQ(joinChannelName(u"", u"R"), String(u"R"));
    EXPECT_EQ(joinChannelName(u"Shadows", u""), String(u"Shadows"));
    EXPECT_EQ(joinChannelName(u"Shadows", u"G"), String(u"Shadows.G"));
    EXPECT_EQ(joinChannelName(u"", u""), String());

    EXPECT_EQ(splitChannelName(u"R"), Names(u"", u"R"));
    EXPECT_EQ(splitChannelName(u"A"), Names(u"", u"A"));
    EXPECT_EQ(splitChannelName(u"Foo"), Names(u"Foo", u""));
    EXPECT_EQ(splitChannelName(u"r"), Names(u"r", u""));
    EXPECT_EQ(splitChannelName(u"a.b.G"), Names(u"a.b", u"G"));
    EXPECT_EQ(splitChannelName(u"Foo."), Names(u"Foo", u""));
    EXPECT_EQ(splitChannelName(u".B"), Names(u"", u"B"));
    EXPECT_EQ(splitChannelName(u""), Names(u"", u""));
}

TEST(ElementNames, ChannelAndElementNamesMapTheBuiltInElements) {
    EXPECT_EQ(channelToElementName(u"BEAUTY"), String());
    EXPECT_EQ(channelToElementName(u"Alpha"), String(u"A"));
    EXPECT_EQ(channelToElementName(u"Beauty"), String(u"Beauty"));
    EXPECT_EQ(channelToElementName(u"Shadows"), String(u"Shadows"));

    EXPECT_EQ(elementToChannelName(u""), String(u"BEAUTY"));
    EXPECT_EQ(elementToChannelName(u"A"), String(u"Alpha"));
    EXPECT_EQ(elementToChannelName(u"Alpha"), String(u"Alpha"));
    EXPECT_EQ(elementToChannelName(u"Shadows"), String(u"Shadows"));
}

TEST(ElementNames, DenoisedAndSquaredNames) {
    EXPECT_EQ(denoisedName(u"Shadows"), String(u"DenoisedShadows"));
    EXPECT_EQ(denoisedName(u""), String(u"Denoised"));
    EXPECT_TRUE(isDenoisedName(u"DenoisedShadows"));
    EXPECT_FALSE(isDenoisedName(u"Denoise"));
    EXPECT_FALSE(isDenoisedName(u"Shadows"));

    EXPECT_EQ(squaredName(u""), String(u"SqrBeauty"));
    EXPECT_EQ(squaredName(u"Shadows"), String(u"SqrShadows"));
    EXPECT_TRUE(isSquaredName(u"SqrBeauty"));
    EXPECT_FALSE(isSquaredName(u"Sq"));
    EXPECT_FALSE(isSquaredName(u"Beauty"));
}

TEST(ElementInfo, DefaultRecordIsUnnamedAndWithoutChannels) {
    const ElementInfo info;
    EXPECT_EQ(info.name, String());
    EXPECT_EQ(info.kind, 3u);
    EXPECT_EQ(info.flags, 0u);
    EXPECT_NE(info, (ElementInfo{u"", 3, ElementInfo::INTERNAL}));
    EXPECT_NE(info, (ElementInfo{u"", 0, 0}));
    EXPECT_NE(info, (ElementInfo{u"X", 3, 0}));
}

TEST(ElementInfo, Predicates) {
    struct Case {
        ElementInfo element;
        bool bloom, offeredForDenoising, notDenoisable, denoisedInEffect, hasDenoised, offeredForLightMix;
    };
    const Case cases[] = {
        // The beauty: bloom, no light mix.
        {{u"", 0, 8}, true, true, false, false, false, false},
        {{u"", 1, 0}, true, false, true, false, false, false},
        // Bloom is off only when both bloom and glare are off.
        {{u"", 0, 128}, true, false, true, false, false, false},
        {{u"", 0, 128 | 256}, false, false, true, false, false, false},
        // Not a colour element: nothing applies but the denoised state, which looks at bits only.
        {{u"", 2, 8 | 16}, false, false, false, true, false, false},
        {{u"", 3, 32}, false, false, false, true, true, false},
        // Ordinary colour elements.
        {{u"Shadows", 0, 8}, false, true, false, false, false, true},
        {{u"Shadows", 1, 0}, false, false, true, false, false, true},
        {{u"Shadows", 0, 4}, true, false, true, false, false, true},
        {{u"Shadows", 0, 2 | 8 | 4}, true, false, false, false, false, false},
        {{u"Shadows", 0, 32}, false, false, true, true, true, true},
        // The interactive elements get bloom by name.
        {{u"Bloom and Glare Interactive", 0, 0}, true, false, true, false, false, true},
        {{u"LightMix Interactive", 1, 2}, true, false, false, false, false, false},
        {{u"LightMix Interactive", 1, 128 | 256}, false, false, true, false, false, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(fmt::format("\"{}\" kind {} flags {}", c.element.name, c.element.kind, c.element.flags));
        EXPECT_EQ(bloomApplies(c.element), c.bloom);
        EXPECT_EQ(isOfferedForDenoising(c.element), c.offeredForDenoising);
        EXPECT_EQ(isNotDenoisable(c.element), c.notDenoisable);
        EXPECT_EQ(isDenoisedInEffect(c.element), c.denoisedInEffect);
        EXPECT_EQ(hasDenoisedVersion(c.element), c.hasDenoised);
        EXPECT_EQ(isOfferedForLightMix(c.element), c.offeredForLightMix);
    }
}
