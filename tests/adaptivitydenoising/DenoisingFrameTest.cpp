#include <gtest/gtest.h>

#include "misc/adaptivitydenoising/DenoiserBase.h"
#include "misc/adaptivitydenoising/utils/ImageOps.h"
#include "tests/adaptivitydenoising/TestImages.h"

namespace Vespra {
namespace {

TEST(DenoisingFrameTest, ModesHaveTheirFlagsAndFeatures) {
    EXPECT_EQ(getDenoisingModeFlags(DenoisingMode::NONE).value(), 0u);
    EXPECT_EQ(getDenoisingModeFlags(DenoisingMode::FIREFLIES).value(), 1u);
    EXPECT_EQ(getDenoisingModeFlags(DenoisingMode::FULL).value(), 3u);
    EXPECT_EQ(getDenoisingModeFlags(DenoisingMode::GATHER).value(), 2u);
    EXPECT_EQ(getDenoisingModeFlags(DenoisingMode::NVIDIA_AI).value(), 1u);
    EXPECT_THROW(getDenoisingModeFlags(DenoisingMode(5)), Exception);

    EXPECT_TRUE(getDenoisingFeatures(DenoisingMode::NONE).empty());
    EXPECT_TRUE(getDenoisingFeatures(DenoisingMode::FIREFLIES).empty());
    const Stack<FeatureType> full{FeatureType::VISIBLE_DIFFUSE, FeatureType::VISIBLE_NORMALS,
                                  FeatureType::HYBRID, FeatureType::HAIR_IDS};
    EXPECT_EQ(getDenoisingFeatures(DenoisingMode::FULL), full);
    EXPECT_EQ(getDenoisingFeatures(DenoisingMode::GATHER), full);
    const Stack<FeatureType> gpu{FeatureType::VISIBLE_DIFFUSE, FeatureType::OPTIX_NORMALS};
    EXPECT_EQ(getDenoisingFeatures(DenoisingMode::NVIDIA_AI), gpu);
    EXPECT_THROW(getDenoisingFeatures(DenoisingMode(-1)), Exception);

    EXPECT_EQ(getFeatureElementName(FeatureType::VISIBLE_NORMALS), String(u"VisibleNormals"));
    EXPECT_EQ(getFeatureElementName(FeatureType::OPTIX_NORMALS), String(u"OptixNormals"));
}

TEST(DenoisingFrameTest, ProgressRangeStepsAndNeverPassesOne) {
    ProgressRange range;
    range.beginStep(0.25f);
    range.advance(0.5f);
    EXPECT_FLOAT_EQ(range.current, 0.125f);
    range.beginStep(0.5f);
    EXPECT_FLOAT_EQ(range.start, 0.25f);
    EXPECT_FLOAT_EQ(range.end, 0.75f);
    EXPECT_FLOAT_EQ(range.current, 0.125f);
    for (int i = 0; i < 100; ++i) {
        range.advance(1.f);
    }
    EXPECT_EQ(range.current, 1.f);
}

TEST(DenoisingFrameTest, BaseKeepsFeaturesInItsOrderAndTheirConstants) {
    DenoisingData data;
    data.passes = BitmapImpl<float>(4, 3, 8.f);
    // Inserted out of order and without hair: the record sorts by type.
    data.setFeature(FeatureType::HYBRID, {BitmapImpl<Rgb>(4, 3, Rgb(0.3f)), BitmapImpl<Rgb>(4, 3)});
    data.setFeature(FeatureType::VISIBLE_NORMALS, {BitmapImpl<Rgb>(4, 3, Rgb(0.2f)), BitmapImpl<Rgb>(4, 3)});
    data.setFeature(FeatureType::VISIBLE_DIFFUSE, {BitmapImpl<Rgb>(4, 3, Rgb(0.1f)), BitmapImpl<Rgb>(4, 3)});
    ASSERT_EQ(data.features.size(), 3u);
    EXPECT_EQ(data.features[0].first, FeatureType::VISIBLE_NORMALS);
    EXPECT_EQ(data.features[2].first, FeatureType::HYBRID);

    class Probe : public DenoiserBase {
    public:
        using DenoiserBase::DenoiserBase;
        void filter(Optional<BitmapImpl<Rgb>>&, BitmapImpl<Rgb>&&, BitmapImpl<Rgb>&&, const ElementType&,
                    Function<bool(float)>&&) override {}
    };
    const Probe probe(Scheduler::highPriorityInstance(), std::move(data));
    const Stack<FeatureInput>& features = probe.getFeatures();
    ASSERT_EQ(features.size(), 3u);
    EXPECT_EQ(features[0].config.name, String(u"visibleDiffuse"));
    EXPECT_EQ(features[0].mean(0, 0), Rgb(0.1f));
    EXPECT_EQ(features[1].config.name, String(u"visibleNormals"));
    EXPECT_EQ(features[2].config.name, String(u"hybrid"));

    // The constants: k is given, 1/k² is kept.
    const FeatureConfig& normals = getFeatureConfig(FeatureType::VISIBLE_NORMALS);
    EXPECT_FLOAT_EQ(normals.invK2[0], 1.f / 0.36f);
    EXPECT_FLOAT_EQ(normals.invK2[3], 10000.f);
    EXPECT_FLOAT_EQ(normals.varianceScale[3], 0.01f);
    EXPECT_EQ(normals.flags, 5u);
    EXPECT_EQ(getFeatureConfig(FeatureType::VISIBLE_DIFFUSE).flags, 7u);
    EXPECT_EQ(getFeatureConfig(FeatureType::HYBRID).flags, 7u);
    EXPECT_EQ(getFeatureConfig(FeatureType::HAIR_IDS).flags, 6u);
    EXPECT_FLOAT_EQ(getFeatureConfig(FeatureType::HAIR_IDS).invK2[1], 1e6f);
    EXPECT_THROW(getFeatureConfig(FeatureType::OPTIX_NORMALS), Exception);
}

TEST(DenoisingFrameTest, SampleVarianceFollowsThePassesAndIsClamped) {
    Scheduler& scheduler = Scheduler::highPriorityInstance();
    BitmapImpl<Rgb> mean(4, 1), squared(4, 1);
    BitmapImpl<float> passes(4, 1);
    // 5 passes: (squared - mean²) / 4; 1 pass: none; a colour without variance takes the largest.
    mean(0, 0) = Rgb(1.f, 2.f, 3.f, 1.f);
    squared(0, 0) = Rgb(2.f, 6.f, 13.f, 1.f);
    passes(0, 0) = 5.f;
    mean(1, 0) = Rgb(1.f, 2.f, 3.f, 1.f);
    squared(1, 0) = Rgb(2.f, 6.f, 13.f, 1.f);
    passes(1, 0) = 1.f;
    mean(2, 0) = Rgb(1.f, 2.f, 3.f, 1.f);
    squared(2, 0) = Rgb(1.f, 6.f, 9.f, 1.f);
    passes(2, 0) = 3.f;
    mean(3, 0) = Rgb(2.f, 2.f, 2.f, 1.f);
    squared(3, 0) = Rgb(3.f, 3.f, 3.f, 1.f);
    passes(3, 0) = 2.f;
    BitmapImpl<Rgb> plain = squared;
    Utils::squaredToVariance(scheduler, plain, mean, passes);
    EXPECT_EQ(plain(0, 0), Rgb(0.25f, 0.5f, 1.f));
    EXPECT_EQ(plain(0, 0).a, 0.f);
    EXPECT_EQ(plain(1, 0), Rgb(0.f, 0.f, 0.f));
    EXPECT_EQ(plain(3, 0), Rgb(0.f, 0.f, 0.f));

    const Float4 meanVariance = Utils::squaredToClampedVariance(scheduler, squared, mean, passes);
    EXPECT_EQ(squared(0, 0), Rgb(0.25f, 0.5f, 1.f));
    EXPECT_EQ(squared(1, 0), Rgb(1e-12f, 1e-12f, 1e-12f, 1e-12f));
    EXPECT_EQ(squared(1, 0).a, 1e-12f);
    EXPECT_EQ(squared(2, 0), Rgb(1.f, 1.f, 1.f));
    EXPECT_EQ(squared(3, 0).a, 1e-12f);
    EXPECT_FLOAT_EQ(meanVariance[0], (0.25f + 1e-12f + 1.f + 1e-12f) / 4.f);
}

} // namespace
} // namespace Vespra
