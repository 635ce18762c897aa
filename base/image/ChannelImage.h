#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "base/image/Attribute.h"
#include "base/image/Channel.h"
#include "base/image/ElementInfo.h"
#include "base/image/RenderElementInfo.h"
#include "foundation/Bitmap.h"
#include "foundation/Bucket.h"
#include "foundation/Containers.h"
#include "foundation/Optional.h"
#include "foundation/Rgb.h"
#include "foundation/io/Path.h"

namespace Vespra {

/// A rendered image in memory: named planar channels and named typed attributes, each kept in
/// name order. A render element is a group of channels named element "." component.
class ChannelImage {
public:
    using AttributeMap = std::map<String, AutoPtr<IAttribute>>;
    using ChannelMap = std::map<String, AutoPtr<IChannel>>;

    class ILoader : public Polymorphic {
    public:
        virtual Expected<ChannelImage, String> load(const Io::Path& path) = 0;
    };

    class ISaver : public Polymorphic {
    public:
        virtual Expected<bool, String> save(const ChannelImage& image, const Io::Path& path) = 0;
    };

    /// Each key equals the item's `getName()`.
    AttributeMap attributes;
    ChannelMap channels;

    ChannelImage() = default;
    /// No channels, and the attributes "displayWindow", "dataWindow" and "gamma".
    ChannelImage(const Bucket& displayWindow, const Bucket& dataWindow, float gamma);
    /// Copies clone every item.
    ChannelImage(const ChannelImage& other);
    ChannelImage& operator=(const ChannelImage& other);
    ChannelImage(ChannelImage&&) noexcept = default;
    ChannelImage& operator=(ChannelImage&&) noexcept = default;

    /// No channels and no attributes.
    bool isEmpty() const { return channels.empty() && attributes.empty(); }

    template <class T>
    Attribute<T>* findAttribute(const String& name);
    template <class T>
    const Attribute<T>* findAttribute(const String& name) const;
    /// Inserts the attribute, or replaces the one of that name whatever its type.
    template <class T>
    void setAttribute(const String& name, T value);

    template <class T>
    Channel<T>* findChannel(const String& name);
    template <class T>
    const Channel<T>* findChannel(const String& name) const;
    /// A new empty channel, replacing the one of that name.
    template <class T>
    Channel<T>& addChannel(const String& name);

    /// The windows; an empty `Bucket` when the attribute is missing.
    Bucket getDisplayWindow() const;
    Bucket getDataWindow() const;

    bool hasMonoElement(const String& name) const;
    bool hasRgbElement(const String& name) const;
    bool hasRgbaElement(const String& name) const;
    /// Whether the channels of `element`'s kind exist.
    bool hasElement(const ElementInfo& element) const;

    // The pixels of `region` of an element at `zoom` (see `resample`). The region counts from
    // the first pixel of the data window. The element must exist.

    /// Alpha is 1.
    BitmapImpl<Rgb> getRgbBitmap(const String& name, const Bucket& region, float zoom) const;
    BitmapImpl<Rgb> getRgbaBitmap(const String& name, const Bucket& region, float zoom) const;
    BitmapImpl<float> getMonoBitmap(const String& name, const Bucket& region, float zoom) const;

    /// Creates the missing float channels of `element`'s kind, sized to the data window.
    void addElementChannels(const ElementInfo& element);
    /// Sizes every channel to the data window.
    void resizeToDataWindow();
    /// Copies the colour (and for kind 1 alpha) of `bitmap` into the channels of `element`.
    void setElementPixels(const ElementInfo& element, const BitmapImpl<Rgb>& bitmap);
    /// Copies `bitmap` row by row, each row as wide as the channel.
    void setElementPixels(const ElementInfo& element, const BitmapImpl<float>& bitmap);

    /// The render elements, with their flags, in the order of the element list.
    Stack<ElementInfo> getElements() const;
    /// The renderer's descriptions of the elements, from "vespra.elements" or the older
    /// "vespra.lightmix.elements".
    Stack<RenderElementInfo> getRenderElementInfos() const;
    Optional<RenderElementInfo> getRenderElementInfo(const ElementInfo& element) const;
    /// Rewrites "vespra.elements" with `infos`.
    void setRenderElementInfos(ArrayView<const RenderElementInfo> infos);
    /// Adds `info` to the descriptions in "vespra.elements".
    void appendRenderElementInfo(const RenderElementInfo& info);

    /// Written by the renderer: it carries the format mark and the render statistics.
    bool isVxrImage() const;

    /// Replaces every NaN of the float channels by 0, except in the denoised elements, whose
    /// values the denoiser wrote. Infinities stay.
    void sanitizeChannels();

private:
    template <class T>
    const T* findItem(const auto& map, const String& name) const;
    const Channel<float>& floatChannel(const String& name) const;
    BitmapImpl<Rgb> colorBitmap(const String& name, bool withAlpha, const Bucket& region, float zoom) const;
};

template <class T>
const T* ChannelImage::findItem(const auto& map, const String& name) const {
    const auto found = map.find(name);
    return found == map.end() ? nullptr : found->second->template as<T>();
}

template <class T>
Attribute<T>* ChannelImage::findAttribute(const String& name) {
    return const_cast<Attribute<T>*>(std::as_const(*this).findAttribute<T>(name));
}

template <class T>
const Attribute<T>* ChannelImage::findAttribute(const String& name) const {
    return findItem<Attribute<T>>(attributes, name);
}

template <class T>
void ChannelImage::setAttribute(const String& name, T value) {
    attributes.insert_or_assign(name, makeAuto<Attribute<T>>(name, std::move(value)));
}

template <class T>
Channel<T>* ChannelImage::findChannel(const String& name) {
    return const_cast<Channel<T>*>(std::as_const(*this).findChannel<T>(name));
}

template <class T>
const Channel<T>* ChannelImage::findChannel(const String& name) const {
    return findItem<Channel<T>>(channels, name);
}

template <class T>
Channel<T>& ChannelImage::addChannel(const String& name) {
    auto channel = makeAuto<Channel<T>>(name);
    Channel<T>& added = *channel;
    channels.insert_or_assign(name, std::move(channel));
    return added;
}

} // namespace Vespra
