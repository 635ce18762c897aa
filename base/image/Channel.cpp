#include "base/image/Channel.h"

#include <algorithm>
#include <utility>

namespace Vespra {

template <class T>
AutoPtr<IChannel> Channel<T>::moveClone() {
    auto moved = makeAuto<Channel>(name);
    std::swap(moved->data, data);
    std::swap(moved->width, width);
    std::swap(moved->height, height);
    return moved;
}

template <class T>
void Channel<T>::resize(std::uint32_t newWidth, std::uint32_t newHeight) {
    if (newWidth == width && newHeight == height) {
        return;
    }
    const std::size_t oldCount = data.size();
    const std::size_t count = std::size_t(newWidth) * newHeight;
    if (count > data.capacity()) {
        data.reserve(std::max(count, data.capacity() + data.capacity() / 2));
    }
    data.resize(count);
    // Small shrinks keep their storage, so that a channel resized back and forth by a few
    // rows does not reallocate every time.
    if (double(count) < 0.9 * double(oldCount)) {
        data.shrinkToFit();
    }
    width = newWidth;
    height = newHeight;
}

template class Channel<float>;
template class Channel<std::uint32_t>;

} // namespace Vespra
