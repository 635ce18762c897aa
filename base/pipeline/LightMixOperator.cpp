#include "base/pipeline/LightMixOperator.h"

#include <mutex>

#include "base/image/ElementNames.h"
#include "base/pipeline/LightMixState.h"
#include "foundation/ColorSpace.h"
#include "foundation/Float4.h"
#include "imaging/ImageOperatorsFlag.h"

namespace Vespra::Pipeline {

namespace {

/// What one layer adds to the mix: its pixel taken into the wide gamut, multiplied there by the
/// layer's factor and taken back, folded into one matrix whose columns have 0 in the fourth
/// lane, so the mix carries no alpha.
class LayerContribution {
public:
    explicit LayerContribution(const Rgb& wideFactor) {
        const Matrix33 combined =
            TM_LIN_WIDE_RGB_TO_LIN_RGB * Matrix33::diagonal(wideFactor) * TM_LIN_RGB_TO_LIN_WIDE_RGB;
        for (int column = 0; column < 3; ++column) {
            columns[std::size_t(column)] =
                Float4(combined.m[0][column], combined.m[1][column], combined.m[2][column], 0.f);
        }
    }

    Float4 operator()(Float4 pixel) const {
        return columns[0] * broadcast<0>(pixel) + columns[1] * broadcast<1>(pixel) +
               columns[2] * broadcast<2>(pixel);
    }

private:
    StaticArray<Float4, 3> columns;
};

bool isBlack(const Rgb& color) {
    return color.r == 0.f && color.g == 0.f && color.b == 0.f;
}

/// sum := contribution(layer), or sum += contribution(layer) with `add`, rows in parallel.
void addLayer(ColorBitmap& sum, const ColorBitmap& layer, const LayerContribution& contribution, bool add) {
    VESPRA_ASSERT(sum.size() == layer.size());
    const Flags<ImageOperatorsFlag> flags = sum.height() >= 2
                                                ? Flags<ImageOperatorsFlag>(ImageOperatorsFlag::PARALLEL)
                                                : Flags<ImageOperatorsFlag>();
    forEachIndex(flags, sum.height(), 1, [&](int y) {
        Rgb* target = sum.row(y);
        const Rgb* source = layer.row(y);
        for (std::int32_t x = 0; x < sum.width(); ++x) {
            const Float4 light = contribution(Float4(source[x]));
            (add ? Float4(target[x]) + light : light).store(&target[x].r);
        }
    });
}

} // namespace

Array<ElementInfo> LightMixOperator::getElements() const {
    const Timestamp upstreamTimestamp = upstream[0]->getTimestamp();
    Array<ElementInfo> elements = upstream[0]->getElements();
    if (elements.empty()) {
        return elements;
    }
    std::lock_guard guard(lock);
    refreshLayers(elements, upstreamTimestamp);
    if (!layers.empty()) {
        ElementInfo mix{LIGHT_MIX_INTERACTIVE_NAME, ElementInfo::KIND_COLOR, ElementInfo::INTERACTIVE};
        if (imageInfo != nullptr) {
            if (const Optional<RenderElementInfo> info = imageInfo->getRenderElementInfo(mix)) {
                mix.flags |= info->flags.has(RenderElementFlag::BLOOM_EFFECT) ? 0 : ElementInfo::NO_BLOOM;
                mix.flags |= info->flags.has(RenderElementFlag::GLARE_EFFECT) ? 0 : ElementInfo::NO_GLARE;
            }
        }
        elements.resize(elements.size() + 1);
        elements.back() = mix;
    }
    return elements;
}

void LightMixOperator::refreshLayers(const Array<ElementInfo>& upstreamElements,
                                     Timestamp upstreamTimestamp) const {
    if (upstreamTimestamp <= layersTimestamp) {
        return;
    }
    Stack<String> names;
    for (const ElementInfo& element : upstreamElements) {
        if ((element.flags & ElementInfo::LIGHT_MIX_LAYER) != 0) {
            names.push(element.name);
        }
    }
    layers = std::move(names);
    layersTimestamp = upstreamTimestamp;
}

Optional<ColorBitmap> LightMixOperator::getColorBitmap(const String& name, const Bucket& region, float zoom,
                                                       std::uint32_t flags) {
    if (region.isEmpty()) {
        return std::nullopt;
    }
    if (name != LIGHT_MIX_INTERACTIVE_NAME) {
        return pullColorBitmap(upstream[0], name, region, zoom, flags);
    }
    // Held through the upstream pulls, so that the layers cannot change under the mix.
    std::lock_guard guard(lock);
    const Timestamp upstreamTimestamp = upstream[0]->getTimestamp();
    if (upstreamTimestamp > layersTimestamp) {
        refreshLayers(upstream[0]->getElements(), upstreamTimestamp);
    }
    return mixLayers(region, zoom, flags);
}

Optional<ColorBitmap> LightMixOperator::mixLayers(const Bucket& region, float zoom, std::uint32_t flags) {
    const LightMixState state = LightMixState::fromSettings(*settings);
    Optional<ColorBitmap> sum;
    for (std::size_t i = 0; i < layers.size(); ++i) {
        const Rgb factor = state.wideGamutFactor(i);
        if (isBlack(factor)) {
            continue;
        }
        Optional<ColorBitmap> layer = pullColorBitmap(upstream[0], layers[i], region, zoom, flags);
        if (!layer) {
            return std::nullopt;
        }
        if (sum) {
            addLayer(*sum, *layer, LayerContribution(factor), true);
        } else {
            sum = std::move(layer);
            addLayer(*sum, *sum, LayerContribution(factor), false);
        }
    }
    if (!sum) {
        return ColorBitmap(std::int32_t(float(region.width()) / zoom),
                           std::int32_t(float(region.height()) / zoom), Rgb(0.f, 0.f, 0.f, 0.f));
    }
    return sum;
}

} // namespace Vespra::Pipeline
