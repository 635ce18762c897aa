#pragma once

#include "foundation/Containers.h"
#include "misc/adaptivitydenoising/DenoiserBase.h"
#include "misc/adaptivitydenoising/NlmFeature.h"

namespace Vespra {

/// Seconds spent in each phase of the last run, for the benchmarks; a phase that did not run
/// stays 0.
struct NlmPhaseTimes {
    double featurePreparation = 0.0;
    double outlierRemoval = 0.0;
    double triFilter = 0.0;
    double sure = 0.0;
    double secondPass = 0.0;
    double coarseLevel = 0.0;
    double merge = 0.0;
};

/// The "Full" mode: non-local means guided by the features on two levels. On each level three
/// candidate filters run in one sweep and a smoothed risk estimate picks their blend per pixel;
/// the full level is cleaned by a second pass and merged with the half level, which removes
/// low-frequency blotches.
class NlmDenoiser : public DenoiserBase {
public:
    NlmDenoiser(Scheduler& scheduler, DenoisingData&& data);

    void filter(Optional<BitmapImpl<Rgb>>& result, BitmapImpl<Rgb>&& image, BitmapImpl<Rgb>&& squared,
                const ElementType& elementType, Function<bool(float)>&& progress) override;

    const NlmPhaseTimes& getPhaseTimes() const { return times; }
    /// The prepared features, for tests.
    ArrayView<const Feature> getPreparedFeatures() const { return nlmFeatures; }

private:
    bool filterLevel(BitmapImpl<Rgb>& colour, BitmapImpl<Rgb>& variance, Float4 meanVariance,
                     ArrayView<const Feature> features, BitmapImpl<Rgb>& output, float scale, int level);
    bool filterSure(const BitmapImpl<TripleWeight>& triple, const BitmapImpl<Rgb>& colour,
                    const BitmapImpl<Rgb>& variance, BitmapImpl<Rgb>& output, int level);
    bool secondPass(BitmapImpl<Rgb>& variance, BitmapImpl<Rgb>& smoothed, const BitmapImpl<float>& weightSum,
                    ArrayView<const Feature> features, BitmapImpl<Rgb>& output, float scale);
    bool mergeLevels(BitmapImpl<Rgb>& output, const BitmapImpl<Rgb>& smoothed, Float4 meanVariance,
                     ArrayView<const Feature> features, float scale, int level);
    Feature prepareFeature(FeatureInput& input);
    Stack<Feature> downscaleFeatures(ArrayView<const Feature> features);

    Stack<Feature> nlmFeatures;
    float sensitivity;
    /// Kept as given; this filter has no use for it.
    float textureBlur;
    NlmPhaseTimes times;
};

} // namespace Vespra
