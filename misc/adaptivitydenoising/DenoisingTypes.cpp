#include "misc/adaptivitydenoising/DenoisingTypes.h"

#include <algorithm>

#include "base/image/ElementNames.h"
#include "foundation/Exception.h"

namespace Vespra {

String getFeatureElementName(FeatureType type) {
    switch (type) {
    case FeatureType::VISIBLE_NORMALS:
        return VISIBLE_NORMALS_NAME;
    case FeatureType::VISIBLE_DIFFUSE:
        return VISIBLE_DIFFUSE_NAME;
    case FeatureType::HYBRID:
        return HYBRID_NAME;
    case FeatureType::HAIR_IDS:
        return HAIR_IDS_NAME;
    case FeatureType::OPTIX_NORMALS:
        return OPTIX_NORMALS_NAME;
    }
    VESPRA_STOP();
}

namespace {

auto featureLowerBound(Stack<std::pair<FeatureType, FeatureBuffers>>& features, FeatureType type) {
    return std::lower_bound(features.begin(), features.end(), type,
                            [](const auto& entry, FeatureType key) { return entry.first < key; });
}

} // namespace

void DenoisingData::setFeature(FeatureType type, FeatureBuffers buffers) {
    const auto found = featureLowerBound(features, type);
    if (found != features.end() && found->first == type) {
        found->second = std::move(buffers);
        return;
    }
    features.insert(std::size_t(found - features.begin()), {type, std::move(buffers)});
}

FeatureBuffers* DenoisingData::findFeature(FeatureType type) {
    const auto found = featureLowerBound(features, type);
    return found != features.end() && found->first == type ? &found->second : nullptr;
}

Flags<DenoisingFlags> getDenoisingModeFlags(DenoisingMode mode) {
    switch (mode) {
    case DenoisingMode::NONE:
        return {};
    case DenoisingMode::FIREFLIES:
    case DenoisingMode::NVIDIA_AI:
        return DenoisingFlags::DENOISING_FILTERS;
    case DenoisingMode::FULL:
        return DenoisingFlags::DENOISING_FILTERS | DenoisingFlags::DENOISING_GATHERS;
    case DenoisingMode::GATHER:
        return DenoisingFlags::DENOISING_GATHERS;
    }
    VESPRA_STOP();
}

Stack<FeatureType> getDenoisingFeatures(DenoisingMode mode) {
    switch (mode) {
    case DenoisingMode::NONE:
    case DenoisingMode::FIREFLIES:
        return {};
    case DenoisingMode::FULL:
    case DenoisingMode::GATHER:
        return {FeatureType::VISIBLE_DIFFUSE, FeatureType::VISIBLE_NORMALS, FeatureType::HYBRID,
                FeatureType::HAIR_IDS};
    case DenoisingMode::NVIDIA_AI:
        return {FeatureType::VISIBLE_DIFFUSE, FeatureType::OPTIX_NORMALS};
    }
    VESPRA_STOP();
}

} // namespace Vespra
