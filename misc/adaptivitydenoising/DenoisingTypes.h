#pragma once

#include <cstdint>
#include <utility>

#include "foundation/Bitmap.h"
#include "foundation/Containers.h"
#include "foundation/Flags.h"
#include "foundation/Rgb.h"
#include "foundation/String.h"
#include "settings/DenoisingMode.h"

namespace Vespra {

enum class DenoisingFlags : std::uint32_t {
    /// The mode filters an image: a denoiser object exists for it.
    DENOISING_FILTERS = 1,
    /// The mode works from gathered mean and squared-mean features; `HairIds` may be missing.
    DENOISING_GATHERS = 2,
};
VESPRA_FLAGS_OPERATORS(DenoisingFlags)

/// Auxiliary images that guide a denoiser, in the order of their values.
enum class FeatureType : std::int32_t {
    VISIBLE_NORMALS = 0,
    VISIBLE_DIFFUSE = 1,
    HYBRID = 2,
    HAIR_IDS = 3,
    OPTIX_NORMALS = 4,
};

inline constexpr int FEATURE_TYPE_COUNT = 5;

/// The render element that carries `type`.
String getFeatureElementName(FeatureType type);

/// Which element is being filtered: the renderer's element code and its kind. The pipeline
/// passes (-1, 0).
struct ElementType {
    std::int32_t code = -1;
    std::uint8_t kind = 0;

    bool operator==(const ElementType&) const = default;
};

/// One gathered feature: the element and the element of its squared samples (empty for the GPU mode).
struct FeatureBuffers {
    BitmapImpl<Rgb> mean;
    BitmapImpl<Rgb> squared;
};

/// What a denoiser is built from; its buffers are moved out by the denoiser.
struct DenoisingData {
    /// Sorted ascending by type.
    Stack<std::pair<FeatureType, FeatureBuffers>> features;
    /// Rendering passes per pixel.
    BitmapImpl<float> passes;
    float sensitivity = 1.f;
    float textureBlur = 1.f;

    /// Inserts `buffers` keeping the order, replacing an entry of the same type.
    void setFeature(FeatureType type, FeatureBuffers buffers);
    /// The entry of `type`, or null.
    FeatureBuffers* findFeature(FeatureType type);
};

Flags<DenoisingFlags> getDenoisingModeFlags(DenoisingMode mode);

/// The features `mode` reads, in the order the pipeline loads them.
Stack<FeatureType> getDenoisingFeatures(DenoisingMode mode);

} // namespace Vespra
