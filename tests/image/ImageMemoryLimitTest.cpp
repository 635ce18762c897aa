#include <gtest/gtest.h>

#include "base/image/ImageMemoryLimit.h"

using namespace Vespra;

namespace {

class ImageMemoryLimit : public ::testing::Test {
protected:
    void TearDown() override { setMaxImageBytes(0); }
};

} // namespace

TEST_F(ImageMemoryLimit, IsTheInstalledMemoryUnlessSet) {
    EXPECT_GT(getMaxImageBytes(), std::uint64_t(1) << 28);
    setMaxImageBytes(12345);
    EXPECT_EQ(getMaxImageBytes(), 12345u);
    setMaxImageBytes(0);
    EXPECT_GT(getMaxImageBytes(), 12345u);
}

TEST_F(ImageMemoryLimit, PlanesUpToTheLimitFitAndLargerOnesAreDescribed) {
    setMaxImageBytes(2 * 1024 * 1024);
    // Two planes of 512 x 512 floats are 2 MiB exactly.
    EXPECT_FALSE(imageMemoryExcess(2, 512, 512).has_value());
    EXPECT_EQ(imageMemoryExcess(3, 512, 512), u"Its 3 channels of 512 x 512 pixels need 3.0 MiB of memory, "
                                              u"more than the 2.0 MiB an image may take.");
    // A damaged file's numbers, whose product does not fit 64 bits, are still described.
    EXPECT_EQ(
        imageMemoryExcess(100, 1'000'000'000, 1'000'000'000),
        u"Its 100 channels of 1000000000 x 1000000000 pixels need 381469726562500.0 MiB of memory, more than "
        u"the 2.0 MiB an image may take.");
}
