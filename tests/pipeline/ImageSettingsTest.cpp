#include <gtest/gtest.h>

#include "base/image/VxrMetadata.h"
#include "base/pipeline/ImageSettings.h"
#include "settings/PropertyIds.h"

using namespace Vespra;
using namespace Vespra::Pipeline;

TEST(ImageSettings, AStoredValueOutsideItsPropertysRangeIsNotRead) {
    // An image may hold any number, and the glare would draw as many streaks as it says.
    const PropertyDescriptor& streaks = *PropertyDescriptor::get(PropertyId::GLARE_STREAK_COUNT);
    ChannelImage image(Bucket::fromSize(2, 2), Bucket::fromSize(2, 2), 1.f);
    ASSERT_EQ(getPropertyExrName(streaks), u"vespra.bg.streakcount");
    image.setAttribute<std::int32_t>(u"vespra.bg.streakcount", 6);
    EXPECT_EQ(readPropertyAttribute(image, streaks), Property(std::int32_t(6)));
    for (const std::int32_t outside : {0, 9, 2147483647}) {
        image.setAttribute<std::int32_t>(u"vespra.bg.streakcount", outside);
        EXPECT_FALSE(readPropertyAttribute(image, streaks).has_value()) << outside;
    }
}
