#include "base/image/Resampling.h"

namespace Vespra {

Pixel resampledSize(const Bucket& region, float zoom) {
    // In float, as the zoom is given: 1 / 0.4f is then exactly 2.5.
    const float scale = 1.f / zoom;
    return {std::int32_t(std::ceil(float(region.width()) * scale)),
            std::int32_t(std::ceil(float(region.height()) * scale))};
}

} // namespace Vespra
