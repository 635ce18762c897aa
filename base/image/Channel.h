#pragma once

#include <cstdint>

#include "base/image/ItemInterfaceCommon.h"
#include "foundation/Containers.h"
#include "foundation/Pixel.h"
#include "foundation/String.h"

namespace Vespra {

/// One named plane of pixels of an image.
class IChannel : public ItemInterfaceCommon<IChannel> {
public:
    ~IChannel() override = default;

    virtual AutoPtr<IChannel> clone() const = 0;
    /// A channel of the same name that takes the pixels over; this one is left empty (0 by 0).
    virtual AutoPtr<IChannel> moveClone() = 0;
    virtual const String& getName() const = 0;
    virtual std::uint32_t getWidth() const = 0;
    virtual std::uint32_t getHeight() const = 0;
    /// Width times height.
    virtual std::uint32_t getSize() const = 0;
    virtual void resize(Pixel size) = 0;
    /// Keeps the storage on small shrinks and does not clear the pixels.
    virtual void resize(std::uint32_t width, std::uint32_t height) = 0;
};

/// A row-major plane of `T`, one allocation per channel so that loops over a plane vectorise.
/// `T` is `float` or `std::uint32_t`.
template <class T>
class Channel final : public IChannel {
public:
    String name;
    Stack<T> data;
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    explicit Channel(String name) : name(std::move(name)) {}

    AutoPtr<IChannel> clone() const override { return makeAuto<Channel>(*this); }
    AutoPtr<IChannel> moveClone() override;
    const String& getName() const override { return name; }
    std::uint32_t getWidth() const override { return width; }
    std::uint32_t getHeight() const override { return height; }
    std::uint32_t getSize() const override { return std::uint32_t(data.size()); }
    void resize(Pixel size) override { resize(std::uint32_t(size.x), std::uint32_t(size.y)); }
    void resize(std::uint32_t newWidth, std::uint32_t newHeight) override;

    T* row(std::uint32_t y) { return data.data() + std::size_t(y) * width; }
    const T* row(std::uint32_t y) const { return data.data() + std::size_t(y) * width; }
};

extern template class Channel<float>;
extern template class Channel<std::uint32_t>;

} // namespace Vespra
