#pragma once

#include <cstdint>

#include "foundation/Containers.h"
#include "foundation/Exception.h"
#include "foundation/Pixel.h"

namespace Vespra {

/// A width, a height, and row-major pixels of `T`. `T` is `Rgb` (four lanes a pixel)
/// or `float` in this system. The second parameter is the border of the library's
/// bitmaps; this system uses only bitmaps without one.
template <class T, int Border = 0>
class BitmapImpl {
    static_assert(Border == 0, "only bitmaps without a border are used");

public:
    BitmapImpl() = default;
    BitmapImpl(std::int32_t width, std::int32_t height) { resize(width, height); }
    BitmapImpl(std::int32_t width, std::int32_t height, const T& value) : BitmapImpl(width, height) {
        pixels.fill(value);
    }
    /// Pixels left unwritten (see `Array(count, UNINITIALIZED)`): for bitmaps whose every pixel
    /// the caller writes before any is read.
    BitmapImpl(std::int32_t width, std::int32_t height, Uninitialized)
        : w(checkedSide(width)), h(checkedSide(height)),
          pixels(std::size_t(w) * std::size_t(h), UNINITIALIZED) {}

    std::int32_t width() const { return w; }
    std::int32_t height() const { return h; }
    Pixel size() const { return {w, h}; }
    bool isEmpty() const { return w == 0 || h == 0; }

    /// New pixels are value-initialised.
    void resize(std::int32_t width, std::int32_t height) {
        VESPRA_ASSERT(width >= 0 && height >= 0);
        w = width;
        h = height;
        pixels.resize(std::size_t(width) * std::size_t(height));
    }

    T& operator()(std::int32_t x, std::int32_t y) { return pixels[index(x, y)]; }
    const T& operator()(std::int32_t x, std::int32_t y) const { return pixels[index(x, y)]; }
    T* row(std::int32_t y) { return pixels.data() + std::size_t(y) * std::size_t(w); }
    const T* row(std::int32_t y) const { return pixels.data() + std::size_t(y) * std::size_t(w); }
    T* data() { return pixels.data(); }
    const T* data() const { return pixels.data(); }
    ArrayView<T> view() { return pixels.view(); }
    ArrayView<const T> view() const { return pixels.view(); }
    void fill(const T& value) { pixels.fill(value); }

    bool operator==(const BitmapImpl&) const = default;

private:
    static std::int32_t checkedSide(std::int32_t side) {
        VESPRA_ASSERT(side >= 0);
        return side;
    }

    std::size_t index(std::int32_t x, std::int32_t y) const {
        return std::size_t(y) * std::size_t(w) + std::size_t(x);
    }

    std::int32_t w = 0;
    std::int32_t h = 0;
    Array<T> pixels;
};

} // namespace Vespra
