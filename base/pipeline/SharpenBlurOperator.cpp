#include "base/pipeline/SharpenBlurOperator.h"

#include <algorithm>

#include "imaging/SharpenBlur.h"
#include "settings/PropertyIds.h"

namespace Vespra::Pipeline {

namespace {

/// The filter of the process, rewritten from the settings at every pull. Concurrent pulls
/// write the values of the same settings, so they need no lock.
SharpenBlur& processFilter() {
    static SharpenBlur filter;
    return filter;
}

} // namespace

Optional<ColorBitmap> SharpenBlurOperator::getColorBitmap(const String& name, const Bucket& region,
                                                          float zoom, std::uint32_t flags) {
    SharpenBlur& filter = processFilter();
    filter.configure(getProperty(PropertyId::SHARPENING_BLURRING_ENABLE, PropertyType::BOOL),
                     getProperty(PropertyId::SHARPENING_AMOUNT, PropertyType::FLOAT),
                     getProperty(PropertyId::SHARPENING_RADIUS, PropertyType::FLOAT),
                     getProperty(PropertyId::BLURRING_RADIUS, PropertyType::FLOAT));
    // A magnifying pull (zoom below 1) is served at full resolution.
    const int step = std::max(int(zoom), 1);
    const Pixel size = upstream[0]->getDataWindow().size();
    const int margin = filter.requiredMargin(size.x, size.y, step);
    if (margin < 1) {
        return pullColorBitmap(upstream[0], name, region, zoom, flags);
    }
    const Optional<ElementInfo> element = findElement(upstream[0], name);
    if (element && (element->flags & ElementInfo::NOT_SHARPENED)) {
        return pullColorBitmap(upstream[0], name, region, zoom, flags);
    }
    const Bucket enlarged = SharpenBlur::enlargeRegion(region, margin, step, size);
    Optional<ColorBitmap> bitmap = pullColorBitmap(upstream[0], name, enlarged, zoom, flags);
    if (!bitmap) {
        return std::nullopt;
    }
    filter.apply(true, *bitmap, step);
    // At a zoom between whole steps (1.5 filters with step 1) the pulled bitmap is smaller than
    // the step says; the cut then keeps to what is there.
    const Bucket part = SharpenBlur::cutRegion(region, enlarged, step)
                            .intersect(Bucket::fromSize(bitmap->width(), bitmap->height()));
    return SharpenBlur::cut(*bitmap, part);
}

} // namespace Vespra::Pipeline
