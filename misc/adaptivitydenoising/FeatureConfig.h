#pragma once

#include <cstdint>

#include "foundation/Float4.h"
#include "foundation/String.h"
#include "misc/adaptivitydenoising/DenoisingTypes.h"

namespace Vespra {

/// Tuning of one feature in the NLM weights; lanes are the channels of the feature image.
struct FeatureConfig {
    enum Flag : std::uint32_t {
        /// The feature is prefiltered before use.
        PREFILTER = 1,
        /// Lane 3 of mean and variance is cleared on load.
        CLEAR_LANE_3 = 2,
        /// The feature takes part in the weights.
        IN_WEIGHTS = 4,
    };

    /// 1/k² of the feature's filter strength k.
    Float4 invK2;
    /// Lower bound of the normaliser of a feature difference.
    Float4 minGradient;
    /// Multiplier of the feature's variance term.
    Float4 varianceScale;
    FeatureType type = FeatureType::VISIBLE_NORMALS;
    /// For the debug log.
    String name;
    std::uint32_t flags = 0;

    bool has(Flag flag) const { return (flags & flag) != 0; }
    void set(Flag flag, bool on) { flags = on ? (flags | flag) : (flags & ~std::uint32_t(flag)); }
};

/// The constant record of a feature the NLM denoiser knows; `OPTIX_NORMALS` has none.
const FeatureConfig& getFeatureConfig(FeatureType type);

} // namespace Vespra
