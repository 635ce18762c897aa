#include "base/pipeline/BlendBloomGlareOperator.h"

#include <algorithm>

#include "base/image/ElementNames.h"
#include "foundation/Float4.h"
#include "imaging/ImageOperatorsFlag.h"

namespace Vespra::Pipeline {

namespace {

constexpr int ROW_GRAIN = 8;

/// Adds the three colour lanes of `light` to `picture` where both have pixels.
void addLight(ColorBitmap& picture, const ColorBitmap& light) {
    const std::int32_t width = std::min(picture.width(), light.width());
    const std::int32_t height = std::min(picture.height(), light.height());
    const Float4 colorLanes(1.f, 1.f, 1.f, 0.f);
    forEachIndex(ImageOperatorsFlag::PARALLEL, height, ROW_GRAIN, [&](int y) {
        Rgb* target = picture.row(y);
        const Rgb* added = light.row(y);
        for (std::int32_t x = 0; x < width; ++x) {
            (Float4(target[x]) + Float4(added[x]) * colorLanes).store(&target[x].r);
        }
    });
}

} // namespace

Array<ElementInfo> BlendBloomGlareOperator::getElements() const {
    Array<ElementInfo> elements = upstream[0]->getElements();
    if (const Optional<ElementInfo> own = findElement(upstream[1], BLOOM_GLARE_INTERACTIVE_NAME)) {
        elements.resize(elements.size() + 1);
        elements.back() = *own;
    }
    return elements;
}

Optional<ColorBitmap> BlendBloomGlareOperator::getColorBitmap(const String& name, const Bucket& region,
                                                              float zoom, std::uint32_t flags) {
    Optional<ColorBitmap> light = pullColorBitmap(upstream[1], name, region, zoom, flags);
    // The pseudo-element is what the user looks at by default: the beauty with the effect's
    // light, and the plain beauty while there is none.
    const String pictureName = name == BLOOM_GLARE_INTERACTIVE_NAME ? String() : name;
    Optional<ColorBitmap> picture = pullColorBitmap(upstream[0], pictureName, region, zoom, flags);
    if (picture && light) {
        addLight(*picture, *light);
    }
    return picture;
}

} // namespace Vespra::Pipeline
