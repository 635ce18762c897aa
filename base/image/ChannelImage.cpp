#include "base/image/ChannelImage.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "base/image/ElementList.h"
#include "base/image/ElementNames.h"
#include "base/image/Resampling.h"
#include "base/image/VxrMetadata.h"
#include "foundation/Float4.h"
#include "foundation/ParallelFor.h"

namespace Vespra {

namespace {

template <class Map>
Map cloneItems(const Map& map) {
    Map copy;
    for (const auto& [name, item] : map) {
        copy.emplace(name, item->clone());
    }
    return copy;
}

bool isNan(float value) {
    constexpr std::uint32_t INFINITY_BITS = 0x7f800000u;
    return (std::bit_cast<std::uint32_t>(value) & 0x7fffffffu) > INFINITY_BITS;
}

/// The colour planes of an element, and what stands for a missing alpha plane.
struct ColorPlanes {
    const float* r;
    const float* g;
    const float* b;
    const float* a;
    std::size_t stride;
};

/// The pixels of `region` at zoom 1 (the display at 100 %), in parallel rows; four pixels at a
/// time go from planes to pixels through one 4x4 transposition. Alpha is 1 without a plane.
BitmapImpl<Rgb> interleave(const ColorPlanes& planes, const Bucket& region) {
    BitmapImpl<Rgb> out(region.width(), region.height(), UNINITIALIZED);
    const int width = region.width();
    parallelFor(
        Scheduler::highPriorityInstance(), 0, region.height(), Detail::RESAMPLE_ROW_GRAIN, [&](int y) {
            const std::size_t first = std::size_t(region.y0 + y) * planes.stride + std::size_t(region.x0);
            const auto alpha = [&](std::size_t index) {
                return planes.a ? Float4::loadUnaligned(planes.a + index) : Float4(1.f);
            };
            Rgb* target = out.row(y);
            int x = 0;
            for (; x + 4 <= width; x += 4) {
                const std::size_t index = first + std::size_t(x);
                Float4 p0 = Float4::loadUnaligned(planes.r + index),
                       p1 = Float4::loadUnaligned(planes.g + index),
                       p2 = Float4::loadUnaligned(planes.b + index), p3 = alpha(index);
                _MM_TRANSPOSE4_PS(p0.v, p1.v, p2.v, p3.v);
                p0.store(&target[x].r);
                p1.store(&target[x + 1].r);
                p2.store(&target[x + 2].r);
                p3.store(&target[x + 3].r);
            }
            for (; x < width; ++x) {
                const std::size_t index = first + std::size_t(x);
                target[x] =
                    Rgb(planes.r[index], planes.g[index], planes.b[index], planes.a ? planes.a[index] : 1.f);
            }
        });
    return out;
}

void zeroNans(Channel<float>& channel) {
    for (float& value : channel.data) {
        value = isNan(value) ? 0.f : value;
    }
}

} // namespace

ChannelImage::ChannelImage(const Bucket& displayWindow, const Bucket& dataWindow, float gamma) {
    setAttribute(VxrAttribute::DISPLAY_WINDOW, displayWindow);
    setAttribute(VxrAttribute::DATA_WINDOW, dataWindow);
    setAttribute(VxrAttribute::GAMMA, gamma);
}

ChannelImage::ChannelImage(const ChannelImage& other)
    : attributes(cloneItems(other.attributes)), channels(cloneItems(other.channels)) {}

ChannelImage& ChannelImage::operator=(const ChannelImage& other) {
    if (this != &other) {
        *this = ChannelImage(other);
    }
    return *this;
}

Bucket ChannelImage::getDisplayWindow() const {
    const auto* window = findAttribute<Bucket>(VxrAttribute::DISPLAY_WINDOW);
    return window ? window->value : Bucket();
}

Bucket ChannelImage::getDataWindow() const {
    const auto* window = findAttribute<Bucket>(VxrAttribute::DATA_WINDOW);
    return window ? window->value : Bucket();
}

bool ChannelImage::hasMonoElement(const String& name) const {
    return findChannel<float>(name) != nullptr;
}

bool ChannelImage::hasRgbElement(const String& name) const {
    return hasMonoElement(joinChannelName(name, COMPONENT_R)) &&
           hasMonoElement(joinChannelName(name, COMPONENT_G)) &&
           hasMonoElement(joinChannelName(name, COMPONENT_B));
}

bool ChannelImage::hasRgbaElement(const String& name) const {
    return hasRgbElement(name) && hasMonoElement(joinChannelName(name, COMPONENT_A));
}

bool ChannelImage::hasElement(const ElementInfo& element) const {
    switch (element.kind) {
    case ElementInfo::KIND_COLOR:
        return hasRgbElement(element.name);
    case ElementInfo::KIND_COLOR_ALPHA:
        return hasRgbaElement(element.name);
    case ElementInfo::KIND_SINGLE_CHANNEL:
        return hasMonoElement(element.name);
    default:
        return false;
    }
}

const Channel<float>& ChannelImage::floatChannel(const String& name) const {
    const auto* channel = findChannel<float>(name);
    VESPRA_ASSERT(channel != nullptr);
    return *channel;
}

BitmapImpl<Rgb> ChannelImage::getRgbBitmap(const String& name, const Bucket& region, float zoom) const {
    return colorBitmap(name, false, region, zoom);
}

BitmapImpl<Rgb> ChannelImage::getRgbaBitmap(const String& name, const Bucket& region, float zoom) const {
    return colorBitmap(name, true, region, zoom);
}

BitmapImpl<Rgb> ChannelImage::colorBitmap(const String& name, bool withAlpha, const Bucket& region,
                                          float zoom) const {
    const ColorPlanes planes{floatChannel(joinChannelName(name, COMPONENT_R)).data.data(),
                             floatChannel(joinChannelName(name, COMPONENT_G)).data.data(),
                             floatChannel(joinChannelName(name, COMPONENT_B)).data.data(),
                             withAlpha ? floatChannel(joinChannelName(name, COMPONENT_A)).data.data()
                                       : nullptr,
                             std::size_t(getDataWindow().width())};
    if (zoom == 1.f) {
        return interleave(planes, region);
    }
    return resample<Rgb>(region, zoom, [&](std::int32_t x, std::int32_t y) {
        const std::size_t index = std::size_t(y) * planes.stride + std::size_t(x);
        return Rgb(planes.r[index], planes.g[index], planes.b[index], planes.a ? planes.a[index] : 1.f);
    });
}

BitmapImpl<float> ChannelImage::getMonoBitmap(const String& name, const Bucket& region, float zoom) const {
    const float* values = floatChannel(name).data.data();
    const std::size_t stride = std::size_t(getDataWindow().width());
    return resample<float>(region, zoom, [&](std::int32_t x, std::int32_t y) {
        return values[std::size_t(y) * stride + std::size_t(x)];
    });
}

void ChannelImage::addElementChannels(const ElementInfo& element) {
    Stack<String> components;
    switch (element.kind) {
    case ElementInfo::KIND_COLOR_ALPHA:
        components.push(COMPONENT_A);
        [[fallthrough]];
    case ElementInfo::KIND_COLOR:
        components.push(COMPONENT_R);
        components.push(COMPONENT_G);
        components.push(COMPONENT_B);
        break;
    case ElementInfo::KIND_SINGLE_CHANNEL:
        components.push(String());
        break;
    default:
        VESPRA_STOP();
    }
    for (const String& component : components) {
        const String channelName = joinChannelName(element.name, component);
        if (!hasMonoElement(channelName)) {
            addChannel<float>(channelName);
        }
    }
    resizeToDataWindow();
}

void ChannelImage::resizeToDataWindow() {
    const Pixel size = getDataWindow().size();
    for (auto& [name, channel] : channels) {
        channel->resize(size);
    }
}

void ChannelImage::setElementPixels(const ElementInfo& element, const BitmapImpl<Rgb>& bitmap) {
    VESPRA_ASSERT(isColorKind(element.kind));
    const int lanes = element.kind == ElementInfo::KIND_COLOR_ALPHA ? 4 : 3;
    const char16_t* components[] = {COMPONENT_R, COMPONENT_G, COMPONENT_B, COMPONENT_A};
    for (int lane = 0; lane < lanes; ++lane) {
        auto* channel = findChannel<float>(joinChannelName(element.name, components[lane]));
        VESPRA_ASSERT(channel != nullptr && channel->data.size() >= bitmap.view().size());
        std::ranges::transform(bitmap.view(), channel->data.begin(),
                               [lane](const Rgb& pixel) { return pixel[lane]; });
    }
}

void ChannelImage::setElementPixels(const ElementInfo& element, const BitmapImpl<float>& bitmap) {
    VESPRA_ASSERT(element.kind == ElementInfo::KIND_SINGLE_CHANNEL);
    auto* channel = findChannel<float>(element.name);
    VESPRA_ASSERT(channel != nullptr && channel->width >= std::uint32_t(bitmap.width()) &&
                  channel->height >= std::uint32_t(bitmap.height()));
    for (std::int32_t y = 0; y < bitmap.height(); ++y) {
        std::copy_n(bitmap.row(y), bitmap.width(), channel->row(std::uint32_t(y)));
    }
}

Stack<ElementInfo> ChannelImage::getElements() const {
    Stack<String> floatChannelNames;
    for (const auto& [name, channel] : channels) {
        if (channel->isA<Channel<float>>()) {
            floatChannelNames.push(name);
        }
    }
    return deriveElementList(floatChannelNames, getRenderElementInfos());
}

Stack<RenderElementInfo> ChannelImage::getRenderElementInfos() const {
    if (const auto* elements = findAttribute<String>(VxrAttribute::ELEMENTS)) {
        return parseRenderElementInfos(elements->value);
    }
    if (const auto* lightMixElements = findAttribute<String>(VxrAttribute::LIGHT_MIX_ELEMENTS)) {
        return parseLightMixElementNames(lightMixElements->value);
    }
    return {};
}

Optional<RenderElementInfo> ChannelImage::getRenderElementInfo(const ElementInfo& element) const {
    return findRenderElementInfo(getRenderElementInfos(), element);
}

void ChannelImage::setRenderElementInfos(ArrayView<const RenderElementInfo> infos) {
    setAttribute(VxrAttribute::ELEMENTS, renderElementInfosToText(infos));
}

void ChannelImage::appendRenderElementInfo(const RenderElementInfo& info) {
    Stack<RenderElementInfo> infos = getRenderElementInfos();
    infos.push(info);
    setRenderElementInfos(infos);
}

bool ChannelImage::isVxrImage() const {
    const auto* mark = findAttribute<std::int32_t>(VxrAttribute::IS_VESPRA_EXR);
    return mark && mark->value == 1 && findAttribute<std::int32_t>(VxrAttribute::STATS_PASSES) &&
           findAttribute<std::int32_t>(VxrAttribute::STATS_TIME) &&
           findAttribute<std::int32_t>(VxrAttribute::STATS_RAYS_PER_SECOND) &&
           findAttribute<float>(VxrAttribute::STATS_RAYS_PER_SAMPLE);
}

void ChannelImage::sanitizeChannels() {
    Stack<Channel<float>*> planes;
    for (auto& [name, channel] : channels) {
        auto* plane = channel->as<Channel<float>>();
        if (plane && !isDenoisedName(name)) {
            planes.push(plane);
        }
    }
    parallelFor(Scheduler::highPriorityInstance(), 0, int(planes.size()), 1,
                [&](int index) { zeroNans(*planes[std::size_t(index)]); });
}

} // namespace Vespra
