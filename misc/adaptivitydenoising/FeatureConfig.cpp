#include "misc/adaptivitydenoising/FeatureConfig.h"

#include "foundation/Exception.h"

namespace Vespra {

namespace {

FeatureConfig makeConfig(FeatureType type, const char16_t* name, Float4 k, Float4 minGradient,
                         Float4 varianceScale, std::uint32_t flags) {
    FeatureConfig config;
    config.invK2 = Float4(1.f) / (k * k);
    config.minGradient = minGradient;
    config.varianceScale = varianceScale;
    config.type = type;
    config.name = name;
    config.flags = flags;
    return config;
}

struct FeatureConfigTable {
    FeatureConfig normals =
        makeConfig(FeatureType::VISIBLE_NORMALS, u"visibleNormals", Float4(0.6f, 0.6f, 0.6f, 0.01f),
                   Float4(0.002f, 0.002f, 0.002f, 0.00001f), Float4(1.f, 1.f, 1.f, 0.01f), 5);
    FeatureConfig diffuse = makeConfig(FeatureType::VISIBLE_DIFFUSE, u"visibleDiffuse", Float4(0.1f),
                                       Float4(0.0001f), Float4(1.f), 7);
    FeatureConfig hybrid =
        makeConfig(FeatureType::HYBRID, u"hybrid", Float4(0.3f), Float4(0.002f), Float4(1.f), 7);
    FeatureConfig hairIds =
        makeConfig(FeatureType::HAIR_IDS, u"hairIds", Float4(0.001f), Float4(0.00000001f), Float4(0.1f), 6);
};

} // namespace

const FeatureConfig& getFeatureConfig(FeatureType type) {
    static const FeatureConfigTable table;
    switch (type) {
    case FeatureType::VISIBLE_NORMALS:
        return table.normals;
    case FeatureType::VISIBLE_DIFFUSE:
        return table.diffuse;
    case FeatureType::HYBRID:
        return table.hybrid;
    case FeatureType::HAIR_IDS:
        return table.hairIds;
    case FeatureType::OPTIX_NORMALS:
        break;
    }
    VESPRA_STOP();
}

} // namespace Vespra
