#include <algorithm>
#include <cmath>
#include <map>

#include <gtest/gtest.h>

#include "apps/samplegen/RenderNodes.h"
#include "base/image/ElementNames.h"
#include "base/image/ExrLoader.h"
#include "base/image/ExrSaver.h"
#include "tests/foundation/TemporaryFolder.h"
#include "tests/samplegen/SampleImages.h"

using namespace Vespra;
using namespace Vespra::SampleGen;
using namespace SampleImages;

namespace {

/// Every channel of the node images merged into the frame by the weighted mean, weights from
/// VESPRA_FB_WEIGHTS, as the editor merges the files of render nodes.
struct MergedFrame {
    std::map<String, Stack<double>> channels;
    Stack<double> weights = Stack<double>(std::size_t(WIDTH * HEIGHT), 0.);

    void add(const ChannelImage& image) {
        const Bucket window = image.getDataWindow();
        const Stack<float>& weight = pixels(image, FB_WEIGHTS_NAME);
        for (const auto& [name, channel] : image.channels) {
            if (name == FB_WEIGHTS_NAME) {
                continue;
            }
            auto& sums = channels.try_emplace(name, std::size_t(WIDTH * HEIGHT), 0.).first->second;
            const Stack<float>& values = pixels(image, name);
            for (std::size_t index = 0; index < values.size(); ++index) {
                sums[frameIndex(window, index)] += double(values[index]) * weight[index];
            }
        }
        for (std::size_t index = 0; index < weight.size(); ++index) {
            weights[frameIndex(window, index)] += weight[index];
        }
    }

    void normalise() {
        for (auto& [name, sums] : channels) {
            for (std::size_t index = 0; index < sums.size(); ++index) {
                sums[index] /= weights[index];
            }
        }
    }

    static std::size_t frameIndex(const Bucket& window, std::size_t index) {
        const auto x = window.x0 + int(index % std::size_t(window.width()));
        const auto y = window.y0 + int(index / std::size_t(window.width()));
        return std::size_t(y * WIDTH + x);
    }
};

/// The mean over the pixels of the squared difference: twice the variance of the noise where the
/// two renders share their expectation.
double meanSquaredDifference(const Stack<float>& a, const Stack<float>& b) {
    double sum = 0.;
    for (std::size_t index = 0; index < a.size(); ++index) {
        sum += (double(a[index]) - b[index]) * (double(a[index]) - b[index]);
    }
    return sum / double(a.size());
}

} // namespace

TEST(RenderNodes, PassesAreSharedOutAndTheLastOfSeveralNodesRendersAPart) {
    const Stack<RenderJob> jobs = splitIntoNodes(tinyJob(10), 3);
    ASSERT_EQ(jobs.size(), 3u);
    // One pass each, and the seven others by shares 1 : 2 : 3 rounded down at the running sums
    // 7 * 1/6 and 7 * 3/6.
    const int expectedPasses[] = {2, 3, 5};
    int nextPass = 0;
    for (std::size_t node = 0; node < jobs.size(); ++node) {
        EXPECT_EQ(jobs[node].firstPass, nextPass);
        EXPECT_EQ(jobs[node].passCount, expectedPasses[node]);
        EXPECT_EQ(jobs[node].seed, 7u);
        nextPass += jobs[node].passCount;
    }
    EXPECT_EQ(jobs[0].dataWindow, Bucket::fromSize(WIDTH, HEIGHT));
    EXPECT_EQ(jobs[1].dataWindow, Bucket::fromSize(WIDTH, HEIGHT));
    EXPECT_EQ(jobs[2].dataWindow, (Bucket{8, 4, 28, 18}));

    const Stack<RenderJob> single = splitIntoNodes(tinyJob(4), 1);
    ASSERT_EQ(single.size(), 1u);
    EXPECT_EQ(single[0].passCount, 4);
    EXPECT_EQ(single[0].dataWindow, Bucket::fromSize(WIDTH, HEIGHT));

    EXPECT_EQ(nodeOutputPath(Io::Path(u"/tmp/a.b/room.vxr"), 2), Io::Path(u"/tmp/a.b/room_node2.vxr"));
    EXPECT_EQ(nodeOutputPath(Io::Path(u"room"), 11), Io::Path(u"room_node11"));
}

TEST(RenderNodes, NodeFilesMergedByTheirWeightsGiveThePictureOfOneRender) {
    constexpr int PASSES = 5;
    TemporaryFolder folder;
    const Io::Path output = folder.path() / Io::Path(u"room.vxr");
    const Stack<RenderJob> jobs = splitIntoNodes(tinyJob(PASSES), 3);
    MergedFrame merged;
    int passesInFiles = 0;
    for (std::size_t node = 0; node < jobs.size(); ++node) {
        const Io::Path path = nodeOutputPath(output, int(node) + 1);
        ASSERT_TRUE(ExrSaver(false).save(renderSampleImage(jobs[node]), path));
        const auto loaded = ExrLoader(false).load(path);
        ASSERT_TRUE(loaded) << loaded.error().toUtf8();
        EXPECT_TRUE(loaded->isVxrImage());
        passesInFiles += loaded->findAttribute<std::int32_t>(u"vespra.stats.passes")->value;
        merged.add(*loaded);
    }
    merged.normalise();
    EXPECT_EQ(passesInFiles, PASSES);

    // Inside the partial node's window all passes met; outside it those of the other nodes.
    const Bucket partial = jobs.back().dataWindow;
    const ChannelImage whole = renderSampleImage(tinyJob(PASSES));
    const ChannelImage withoutLast = renderSampleImage(tinyJob(PASSES - jobs.back().passCount));
    ASSERT_EQ(merged.channels.size() + 1, whole.channels.size());
    for (const auto& [name, values] : merged.channels) {
        const Stack<float>& full = pixels(whole, name);
        const Stack<float>& fewer = pixels(withoutLast, name);
        for (int y = 0; y < HEIGHT; ++y) {
            for (int x = 0; x < WIDTH; ++x) {
                const auto index = std::size_t(y * WIDTH + x);
                const bool inside = partial.contains(Pixel{x, y});
                ASSERT_EQ(merged.weights[index], inside ? PASSES : PASSES - jobs.back().passCount);
                ASSERT_TRUE(nearlyEqual(values[index], inside ? full[index] : fewer[index]))
                    << name.toUtf8() << " at " << x << ", " << y;
            }
        }
    }
}

TEST(RenderNodes, ReferenceIsAnIndependentAndFarLessNoisyRender) {
    const RenderJob noisy = tinyJob(1);
    const RenderJob reference = referenceJob(noisy);
    EXPECT_EQ(reference.passCount, REFERENCE_PASS_FACTOR);
    EXPECT_NE(reference.seed, noisy.seed);

    // Two renders of other seeds differ by their noise alone. The caustics and the light that
    // the sun patch throws about make rare samples a hundred times the typical one, so a pixel
    // of many passes meets some of them and one of a single pass mostly none: a median would
    // compare the typical samples of one with the rare ones of the other. The mean measures
    // the variance, which 64 times the passes cut to a 64th; a tenth must remain.
    const ChannelImage noisyA = renderSampleImage(noisy);
    const ChannelImage noisyB = renderSampleImage(tinyJob(1, 8));
    const ChannelImage referenceA = renderSampleImage(reference);
    const ChannelImage referenceB = renderSampleImage(referenceJob(tinyJob(1, 8)));
    const double noisyDifference =
        meanSquaredDifference(pixels(noisyA, COMPONENT_G), pixels(noisyB, COMPONENT_G));
    const double referenceDifference =
        meanSquaredDifference(pixels(referenceA, COMPONENT_G), pixels(referenceB, COMPONENT_G));
    EXPECT_LT(referenceDifference * 10., noisyDifference) << referenceDifference << " " << noisyDifference;
    EXPECT_NE(pixels(referenceA, COMPONENT_G), pixels(noisyA, COMPONENT_G));
}
