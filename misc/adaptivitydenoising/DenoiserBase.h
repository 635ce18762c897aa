#pragma once

#include "foundation/Scheduler.h"
#include "misc/adaptivitydenoising/DenoiseContext.h"
#include "misc/adaptivitydenoising/FeatureConfig.h"
#include "misc/adaptivitydenoising/IDenoiser.h"

namespace Vespra {

/// One feature as a denoiser receives it.
struct FeatureInput {
    BitmapImpl<Rgb> mean;
    BitmapImpl<Rgb> squared;
    FeatureConfig config;
};

/// What the CPU denoisers share: the context, the passes map and the features.
class DenoiserBase : public IDenoiser {
public:
    DenoiserBase(Scheduler& scheduler, DenoisingData&& data);

    const Stack<FeatureInput>& getFeatures() const { return features; }

protected:
    /// Takes `progress` for the running call and clears the progress range.
    void beginFilter(Function<bool(float)>&& progress);
    /// Drops the progress function of the finished call.
    void endFilter();

    DenoiseContext context;
    BitmapImpl<float> passes;
    /// In the order diffuse, normals, hybrid, hair; missing ones are left out.
    Stack<FeatureInput> features;
};

} // namespace Vespra
