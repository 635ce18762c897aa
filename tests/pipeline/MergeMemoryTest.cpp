#include <gtest/gtest.h>

#include "base/image/ImageMemoryLimit.h"
#include "base/pipeline/LoadOperator.h"
#include "tests/pipeline/PipelineTestSupport.h"

using namespace Vespra;
using namespace Vespra::Pipeline;
using namespace Vespra::Pipeline::Testing;

namespace {

class MergeMemory : public ::testing::Test {
protected:
    void SetUp() override { setMaxImageBytes(64 << 20); }
    void TearDown() override { setMaxImageBytes(0); }
};

} // namespace

TEST_F(MergeMemory, AFileWhoseDisplayWindowIsFarLargerThanItsPixelsIsRefusedWithAMessage) {
    // Found by fuzzing: 8 x 8 pixels in a display window 134217736 pixels high load as they are,
    // but the sums of a merge cover the display window, and took 16 GiB.
    const Io::Path file(u"fuzz/regressions/exr/display-window-far-wider-than-data.exr");
    Settings settings;
    LoadOperator load;
    load.settings = &settings;
    const RunReport report = runToEnd(load, [&] {
        load.setInput(Array<MergeWeight>{MergeWeight(1.f), MergeWeight(1.f)}, Array<Io::Path>{file, file});
    });
    EXPECT_FALSE(report.finished);
    EXPECT_EQ(report.error, u"The merged image is too large.\n\nIts 4 channels of 8 x 134217736 pixels need "
                            u"16384.0 MiB of memory, more than the 64.0 MiB an image may take.");
}

TEST_F(MergeMemory, AMergeWithinTheLimitGoesOn) {
    ChannelImage image(Bucket{0, 0, 64, 32}, Bucket{0, 0, 64, 32}, 1.f);
    addColorElement(image, u"", [](int x, int y, int c) { return float(x + y + c); });
    Settings settings;
    LoadOperator load;
    load.settings = &settings;
    load.setLoader(memoryLoader({{u"a", image}, {u"b", image}}));
    const RunReport report = runToEnd(load, [&] {
        load.setInput(Array<MergeWeight>{MergeWeight(1.f), MergeWeight(1.f)},
                      Array<Io::Path>{Io::Path(u"a"), Io::Path(u"b")});
    });
    EXPECT_TRUE(report.finished) << report.error.toUtf8();
    EXPECT_EQ(load.getDataWindow(), (Bucket{0, 0, 64, 32}));
}
