#include "misc/adaptivitydenoising/DenoiserBase.h"

namespace Vespra {

DenoiserBase::DenoiserBase(Scheduler& scheduler, DenoisingData&& data)
    : context(scheduler), passes(std::move(data.passes)) {
    for (const FeatureType type : {FeatureType::VISIBLE_DIFFUSE, FeatureType::VISIBLE_NORMALS,
                                   FeatureType::HYBRID, FeatureType::HAIR_IDS}) {
        if (FeatureBuffers* buffers = data.findFeature(type)) {
            features.push({std::move(buffers->mean), std::move(buffers->squared), getFeatureConfig(type)});
        }
    }
}

void DenoiserBase::beginFilter(Function<bool(float)>&& progress) {
    context.progress = std::move(progress);
    context.range.reset();
}

void DenoiserBase::endFilter() {
    context.progress = [](float) { return false; };
}

} // namespace Vespra
