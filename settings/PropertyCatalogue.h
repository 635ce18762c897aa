#pragma once

#include <cstdint>

#include "foundation/Containers.h"
#include "foundation/String.h"

/// The groups of post-processing properties and their help texts. Each list holds its ids
/// in ascending order.
namespace Vespra::PropertyCatalogue {

ArrayView<const std::int32_t> denoisingIds();
ArrayView<const std::int32_t> lightMixIds();
ArrayView<const std::int32_t> bloomGlareIds();
ArrayView<const std::int32_t> toneMappingIds();
ArrayView<const std::int32_t> sharpeningBlurringIds();
/// Denoising, bloom and glare, tone mapping, sharpening and blurring, one behind the other.
ArrayView<const std::int32_t> postProcessingIds();
/// The post-processing ids, then the LightMix ids: what an image carries.
ArrayView<const std::int32_t> allImageIds();

/// The help text of a property, with "%TYPE", "%NAME", "%DEFAULT", "%MIN" and "%MAX"
/// replaced; empty for a property that is not documented.
String getHelpText(std::int32_t id);

} // namespace Vespra::PropertyCatalogue
