#include "base/pipeline/BlendDenoisedOperator.h"

#include <algorithm>
#include <cmath>

#include "settings/PropertyIds.h"

namespace Vespra::Pipeline {

Array<ElementInfo> BlendDenoisedOperator::getElements() const {
    Array<ElementInfo> elements = upstream[0]->getElements();
    if (elements.empty()) {
        return elements;
    }
    const Array<ElementInfo> denoised = filterElements(
        upstream[1], [](const ElementInfo& e) { return bool(e.flags & ElementInfo::HAS_DENOISED); });
    for (ElementInfo& element : elements) {
        if (std::ranges::any_of(denoised, [&](const ElementInfo& d) { return d.name == element.name; })) {
            element.flags |= ElementInfo::HAS_DENOISED;
        }
    }
    return elements;
}

Optional<ColorBitmap> BlendDenoisedOperator::getColorBitmap(const String& name, const Bucket& region,
                                                            float zoom, std::uint32_t flags) {
    Optional<ColorBitmap> original = pullColorBitmap(upstream[0], name, region, zoom, flags);
    if (!original) {
        return original;
    }
    // A synchronous pull gives up on a denoiser that stays busy, and shows the original.
    const Optional<ColorBitmap> denoised = pullColorBitmap(upstream[1], name, region, zoom, flags);
    if (denoised) {
        blendDenoised(*original, *denoised,
                      getProperty(PropertyId::DENOISE_BLEND_AMOUNT, PropertyType::FLOAT).asFloat());
    }
    return original;
}

void blendDenoised(ColorBitmap& original, const ColorBitmap& denoised, float amount) {
    VESPRA_ASSERT(original.size() == denoised.size());
    const ArrayView<Rgb> target = original.view();
    const ArrayView<const Rgb> source = denoised.view();
    for (std::size_t i = 0; i < target.size(); ++i) {
        const Rgb& d = source[i];
        if (!std::isfinite(d.r) || !std::isfinite(d.g) || !std::isfinite(d.b)) {
            continue;
        }
        Rgb& o = target[i];
        o.r = amount * d.r + (1.f - amount) * o.r;
        o.g = amount * d.g + (1.f - amount) * o.g;
        o.b = amount * d.b + (1.f - amount) * o.b;
    }
}

} // namespace Vespra::Pipeline
