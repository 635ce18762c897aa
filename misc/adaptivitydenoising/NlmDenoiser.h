#pragma once

#include "foundation/Containers.h"
#include "misc/adaptivitydenoising/DenoiserBase.h"
#include "misc/adaptivitydenoising/NlmFeature.h"

namespace Vespra {

/// Seconds spent in each phase of the last run, for the benchmarks; a phase that did not run
/// stays 0. The phases of the elements filtered together are timed together.
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
///
/// `filterElements` filters several elements of the render together, as many at once as
/// `groupSize` allows: the three-way filters and the second pass make the feature weights of
/// each offset once for the whole group. Each element gets the very pixels that `filter` gives.
class NlmDenoiser : public DenoiserBase {
public:
    NlmDenoiser(Scheduler& scheduler, DenoisingData&& data);

    void filter(Optional<BitmapImpl<Rgb>>& result, BitmapImpl<Rgb>&& image, BitmapImpl<Rgb>&& squared,
                const ElementType& elementType, Function<bool(float)>&& progress) override;

    void filterElements(ArrayView<const DenoiseElement> elements, const Function<bool(float)>& progress,
                        const Function<void(std::size_t, BitmapImpl<Rgb>&&)>& store) override;

    /// How many elements of `pixels` pixels each `filterElements` filters together at most: as
    /// many as a quarter of the machine's memory holds the buffers of (164 bytes a pixel at the
    /// peak), at least 1 and at most `Detail::MAX_ELEMENTS`.
    static int groupSize(std::size_t pixels);

    /// Seconds of each phase of the last `filter` or `filterElements`, summed over its elements.
    const NlmPhaseTimes& getPhaseTimes() const { return times; }
    /// The prepared features, for tests.
    ArrayView<const Feature> getPreparedFeatures() const { return nlmFeatures; }

private:
    /// One element on one level: its image, the variance of it, and the filtered result.
    struct LevelImages {
        BitmapImpl<Rgb> colour;
        BitmapImpl<Rgb> variance;
        Float4 meanVariance;
        BitmapImpl<Rgb> output;
    };

    /// Makes the variance of `image` from `squared`, and room for the output.
    LevelImages prepareElement(BitmapImpl<Rgb>&& image, BitmapImpl<Rgb>&& squared) const;
    /// Sets which features take part in the weights for elements of `elementType`.
    void setFeatureSwitch(const ElementType& elementType);
    /// `share` is the part of the whole run that these elements take.
    bool filterLevel(ArrayView<LevelImages> elements, ArrayView<const Feature> features, float scale,
                     int level, float share);
    bool filterSure(const BitmapImpl<TripleWeight>& triple, const BitmapImpl<Rgb>& colour,
                    const BitmapImpl<Rgb>& variance, BitmapImpl<Rgb>& output, int level, float share);
    bool secondPass(ArrayView<LevelImages> elements, ArrayView<BitmapImpl<Rgb>> smoothed,
                    ArrayView<const BitmapImpl<float>> weightSums, ArrayView<const Feature> features,
                    float scale, float share);
    bool mergeLevels(ArrayView<LevelImages> elements, ArrayView<const BitmapImpl<Rgb>> smoothed,
                     ArrayView<const Feature> features, float scale, int level, float share);
    Feature prepareFeature(FeatureInput& input);
    /// The features at half size, made once and kept; their switches follow `features`.
    ArrayView<const Feature> coarseFeaturesOf(ArrayView<const Feature> features);

    Stack<Feature> nlmFeatures;
    Stack<Feature> coarseFeatures;
    float sensitivity;
    /// Kept as given; this filter has no use for it.
    float textureBlur;
    NlmPhaseTimes times;
};

} // namespace Vespra
