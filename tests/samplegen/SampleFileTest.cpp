#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <ranges>
#include <set>

#include <gtest/gtest.h>

#include "apps/samplegen/SampleLayout.h"
#include "apps/samplegen/Scene.h"
#include "base/image/ElementNames.h"
#include "base/image/ExrLoader.h"
#include "base/image/ExrSaver.h"
#include "tests/foundation/TemporaryFolder.h"
#include "tests/samplegen/SampleImages.h"

using namespace Vespra;
using namespace Vespra::SampleGen;
using namespace SampleImages;

namespace {

constexpr std::uint32_t DENOISABLE = ElementInfo::DENOISABLE | ElementInfo::SELECTED_FOR_DENOISING;
constexpr std::uint32_t LIGHT_SELECT = DENOISABLE | ElementInfo::LIGHT_MIX_LAYER;
/// What an element without the ColorMapped render flag, or of a single channel, gets.
constexpr std::uint32_t DATA = 64 | 128 | 256 | 512;
constexpr std::uint32_t HIDDEN = DATA | ElementInfo::INTERNAL;

bool byName(const ElementInfo& a, const ElementInfo& b) {
    return a.name < b.name;
}

} // namespace

TEST(SampleFile, LoadsAsARendererFileWithTheExpectedElementsAndFlags) {
    TemporaryFolder folder;
    const Io::Path path = folder.path() / Io::Path(u"room.vxr");
    const auto saved = ExrSaver(false).save(renderSampleImage(tinyJob(2)), path);
    ASSERT_TRUE(saved) << saved.error().toUtf8();
    auto loaded = ExrLoader(false).load(path);
    ASSERT_TRUE(loaded) << loaded.error().toUtf8();
    const ChannelImage& image = *loaded;

    EXPECT_TRUE(image.isVxrImage());
    EXPECT_EQ(image.findAttribute<float>(u"gamma")->value, 1.f);
    EXPECT_EQ(image.findAttribute<std::int32_t>(u"vespra.stats.passes")->value, 2);
    EXPECT_EQ(image.getDataWindow(), Bucket::fromSize(WIDTH, HEIGHT));

    Stack<ElementInfo> expected = {
        {u"Key light", 0, LIGHT_SELECT},
        {u"Fill light", 0, LIGHT_SELECT},
        {u"Window", 0, LIGHT_SELECT},
        {u"Rest (unassigned)", 0, LIGHT_SELECT},
        {u"", 1, DENOISABLE},
        {u"A", 2, DATA},
        {u"Albedo", 0, DATA},
        {u"Normals", 0, DATA},
        {u"ZDepth", 2, DATA},
        {u"VisibleDiffuse", 0, HIDDEN},
        {u"VisibleNormals", 1, HIDDEN},
        {u"Hybrid", 0, HIDDEN},
        {u"SqrBeauty", 0, HIDDEN},
        {u"SqrKey light", 0, HIDDEN},
        {u"SqrFill light", 0, HIDDEN},
        {u"SqrWindow", 0, HIDDEN},
        {u"SqrRest (unassigned)", 0, HIDDEN},
        {u"SqrVisibleDiffuse", 0, HIDDEN},
        {u"SqrVisibleNormals", 1, HIDDEN},
        {u"SqrHybrid", 0, HIDDEN},
        {u"VESPRA_FB_WEIGHTS", 2, HIDDEN},
    };
    Stack<ElementInfo> elements = image.getElements();
    ASSERT_EQ(elements.size(), expected.size());
    // The light-mix layers lead, in the order of the element descriptions.
    for (std::size_t index = 0; index < 4; ++index) {
        EXPECT_EQ(elements[index], expected[index]);
    }
    std::ranges::sort(elements, byName);
    std::ranges::sort(expected, byName);
    for (std::size_t index = 0; index < expected.size(); ++index) {
        EXPECT_EQ(elements[index], expected[index]) << expected[index].name.toUtf8();
    }

    const auto lightMix = image.getRenderElementInfo({LIGHT_MIX_INTERACTIVE_NAME, 0, 0});
    ASSERT_TRUE(lightMix.has_value());
    EXPECT_TRUE(lightMix->flags.has(RenderElementFlag::VIRTUAL));
    EXPECT_TRUE(lightMix->flags.has(RenderElementFlag::COLOR_MAPPED));
}

TEST(SampleFile, LightSelectLayersAddUpToTheBeautyAndEachLightShows) {
    const ChannelImage image = renderSampleImage(tinyJob(3));
    for (const char16_t* component : {COMPONENT_R, COMPONENT_G, COMPONENT_B}) {
        const Stack<float>& beauty = pixels(image, component);
        Stack<double> sum(beauty.size(), 0.);
        for (const char16_t* layer : LIGHT_SELECT_NAMES) {
            const Stack<float>& values = pixels(image, joinChannelName(layer, component));
            for (std::size_t index = 0; index < values.size(); ++index) {
                sum[index] += values[index];
            }
            EXPECT_GT(*std::ranges::max_element(values), 0.f) << String(layer).toUtf8();
        }
        for (std::size_t index = 0; index < beauty.size(); ++index) {
            ASSERT_TRUE(nearlyEqual(sum[index], beauty[index]))
                << index << ": " << sum[index] << " " << beauty[index];
        }
    }
    // A closed room: every pixel is covered.
    const Stack<float>& alpha = pixels(image, COMPONENT_A);
    EXPECT_TRUE(std::ranges::all_of(alpha, [](float a) { return a == 1.f; }));
}

TEST(SampleFile, SquaredElementsHoldTheMeanOfTheSquaredPassValues) {
    constexpr int PASSES = 4;
    const ChannelImage image = renderSampleImage(tinyJob(PASSES));
    Stack<ChannelImage> singlePasses;
    for (int pass = 0; pass < PASSES; ++pass) {
        RenderJob job = tinyJob(1);
        job.firstPass = pass;
        singlePasses.push(renderSampleImage(job));
    }
    EXPECT_TRUE(std::ranges::all_of(pixels(image, FB_WEIGHTS_NAME), [](float w) { return w == PASSES; }));

    for (const SampleElement& element : sampleElements()) {
        const Stack<String> components = componentNames(element.componentCount);
        for (int index = 0; index < element.squaredComponentCount; ++index) {
            const String name = joinChannelName(element.name, components[std::size_t(index)]);
            const String squared = joinChannelName(squaredName(element.name), components[std::size_t(index)]);
            const Stack<float>& mean = pixels(image, name);
            const Stack<float>& meanOfSquares = pixels(image, squared);
            for (std::size_t pixel = 0; pixel < mean.size(); ++pixel) {
                double sum = 0.;
                double sumOfSquares = 0.;
                for (const ChannelImage& single : singlePasses) {
                    const double value = pixels(single, name)[pixel];
                    sum += value;
                    sumOfSquares += value * value;
                    // One pass: the mean of the squares is the square of the mean.
                    ASSERT_TRUE(nearlyEqual(pixels(single, squared)[pixel], value * value))
                        << squared.toUtf8();
                }
                ASSERT_TRUE(nearlyEqual(mean[pixel], sum / PASSES)) << name.toUtf8() << " at " << pixel;
                ASSERT_TRUE(nearlyEqual(meanOfSquares[pixel], sumOfSquares / PASSES)) << squared.toUtf8();
                ASSERT_GE(meanOfSquares[pixel] * (1. + 1e-5) + 1e-7, double(mean[pixel]) * mean[pixel]);
            }
        }
    }

    // Real noise: the passes of most pixels disagree, so the variance is not zero.
    const Stack<float>& beauty = pixels(image, COMPONENT_G);
    const Stack<float>& squared = pixels(image, u"SqrBeauty.G");
    const auto noisy =
        std::ranges::count_if(std::views::iota(std::size_t(0), beauty.size()),
                              [&](std::size_t i) { return squared[i] > beauty[i] * beauty[i] * 1.001f; });
    EXPECT_GT(noisy, std::ptrdiff_t(beauty.size() / 2));
}

TEST(SampleFile, SameSeedGivesTheSamePixelsInAnyDataWindow) {
    const ChannelImage first = renderSampleImage(tinyJob(2));
    const ChannelImage again = renderSampleImage(tinyJob(2));
    for (const auto& [name, channel] : first.channels) {
        EXPECT_EQ(pixels(again, name), pixels(first, name)) << name.toUtf8();
    }
    EXPECT_NE(pixels(renderSampleImage(tinyJob(2, 8)), COMPONENT_R), pixels(first, COMPONENT_R));

    RenderJob partial = tinyJob(2);
    partial.dataWindow = {5, 3, 20, 17};
    const ChannelImage part = renderSampleImage(partial);
    EXPECT_EQ(part.getDataWindow(), partial.dataWindow);
    EXPECT_EQ(part.getDisplayWindow(), Bucket::fromSize(WIDTH, HEIGHT));
    for (const auto& [name, channel] : first.channels) {
        const Stack<float>& whole = pixels(first, name);
        const Stack<float>& window = pixels(part, name);
        ASSERT_EQ(window.size(), std::size_t(15 * 14));
        for (int y = 3; y < 17; ++y) {
            for (int x = 5; x < 20; ++x) {
                ASSERT_EQ(window[std::size_t((y - 3) * 15 + x - 5)], whole[std::size_t(y * WIDTH + x)])
                    << name.toUtf8();
            }
        }
    }
}

TEST(SampleFile, VisibleNormalsAlphaHoldsTheObjectIdentifier) {
    // One sample a pixel: each value is the identifier of the one object that sample saw,
    // divided by the range, and no depth: the floor, a long ramp of depth, keeps one value.
    const ChannelImage image = renderSampleImage(wholeFrameJob(96, 54, 1, 3));
    const Stack<float>& ids = pixels(image, u"VisibleNormals.A");
    const Stack<float>& squaredIds = pixels(image, u"SqrVisibleNormals.A");
    std::map<int, int> seen;
    for (std::size_t index = 0; index < ids.size(); ++index) {
        const float scaled = ids[index] * OBJECT_ID_RANGE;
        ASSERT_EQ(scaled, std::round(scaled)) << index;
        ASSERT_GE(scaled, 1.f);
        ASSERT_LT(scaled, OBJECT_ID_RANGE);
        ASSERT_EQ(squaredIds[index], ids[index] * ids[index]);
        ++seen[int(scaled)];
    }
    for (const int object :
         {ObjectId::FLOOR, ObjectId::CEILING, ObjectId::BACK_WALL, ObjectId::LEFT_WALL, ObjectId::RIGHT_WALL,
          ObjectId::RED_BALL, ObjectId::LEFT_CABINET, ObjectId::RIGHT_CABINET}) {
        EXPECT_GT(seen[object], 0) << object;
    }
}

TEST(SampleFile, TwoTouchingCabinetsDifferOnlyInTheirIdentifier) {
    const ChannelImage image = renderSampleImage(wholeFrameJob(96, 54, 1, 3));
    const auto value = [&](const char16_t* channel, std::size_t index) {
        return pixels(image, channel)[index];
    };
    // The front faces, seen directly rather than through the glass or the mirror (the first
    // surface faces the camera as well): colour and normal per cabinet.
    std::map<int, std::set<std::array<float, 6>>> fronts;
    for (std::size_t index = 0; index < pixels(image, u"VisibleNormals.A").size(); ++index) {
        const int object = int(std::lround(value(u"VisibleNormals.A", index) * OBJECT_ID_RANGE));
        if ((object == ObjectId::LEFT_CABINET || object == ObjectId::RIGHT_CABINET) &&
            value(u"VisibleNormals.B", index) == 1.f && value(u"Normals.B", index) == 1.f) {
            fronts[object].insert({value(u"VisibleDiffuse.R", index), value(u"VisibleDiffuse.G", index),
                                   value(u"VisibleDiffuse.B", index), value(u"VisibleNormals.R", index),
                                   value(u"VisibleNormals.G", index), value(u"VisibleNormals.B", index)});
        }
    }
    ASSERT_EQ(fronts[ObjectId::LEFT_CABINET].size(), 1u);
    EXPECT_EQ(fronts[ObjectId::LEFT_CABINET], fronts[ObjectId::RIGHT_CABINET]);
}

TEST(SampleFile, TheSunPatchAndTheLampGoFarAboveOne) {
    // The light-select layers that the denoiser finds hardest: the sun's patch on the floor in
    // "Window", the lamp and its caustics in "Key light", both far above 1.
    const ChannelImage image = renderSampleImage(wholeFrameJob(96, 54, 4, 3));
    const auto largestOnFloor = [&](const char16_t* layer) {
        float largest = 0.f;
        const Stack<float>& values = pixels(image, joinChannelName(layer, COMPONENT_G));
        const Stack<float>& ids = pixels(image, u"VisibleNormals.A");
        for (std::size_t index = 0; index < values.size(); ++index) {
            if (std::lround(ids[index] * OBJECT_ID_RANGE) == ObjectId::FLOOR) {
                largest = std::max(largest, values[index]);
            }
        }
        return largest;
    };
    EXPECT_GT(largestOnFloor(u"Window"), 5.f);
    EXPECT_GT(*std::ranges::max_element(pixels(image, u"Key light.G")), 5.f);
}
