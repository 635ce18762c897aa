#include "base/pipeline/MonoToColorOperator.h"

#include <algorithm>

namespace Vespra::Pipeline {

Array<ElementInfo> MonoToColorOperator::getElements() const {
    Array<ElementInfo> elements = upstream[0]->getElements();
    for (ElementInfo& element : elements) {
        if (element.kind == ElementInfo::KIND_SINGLE_CHANNEL) {
            element.kind = ElementInfo::KIND_COLOR;
        }
    }
    return elements;
}

Optional<ColorBitmap> MonoToColorOperator::getColorBitmap(const String& name, const Bucket& region, float zoom,
                                                          std::uint32_t flags) {
    if (auto color = pullColorBitmap(upstream[0], name, region, zoom, flags)) {
        return color;
    }
    const Optional<MonoBitmap> mono = pullMonoBitmap(upstream[0], name, region, zoom, flags);
    if (!mono) {
        return std::nullopt;
    }
    ColorBitmap gray(mono->width(), mono->height());
    std::transform(mono->data(), mono->data() + mono->view().size(), gray.data(),
                   [](float value) { return Rgb(value, value, value, value); });
    return gray;
}

} // namespace Vespra::Pipeline
