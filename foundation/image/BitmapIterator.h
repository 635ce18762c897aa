#pragma once

#include <cstdint>

#include "foundation/Bitmap.h"
#include "foundation/Pointers.h"
#include "foundation/Rgb.h"

namespace Vespra {
namespace Abstract {

/// A row-by-row source of pixels for saving: `channels()` is 3 (RGB) or 4 (RGBA); readRow writes
/// width()*channels() floats of row y (top row 0).
class BitmapIterator : public Polymorphic {
public:
    virtual std::int32_t width() const = 0;
    virtual std::int32_t height() const = 0;
    virtual std::int32_t channels() const = 0;
    virtual void readRow(std::int32_t y, float* out) const = 0;
};

} // namespace Abstract

/// Iterates a `BitmapImpl<Rgb>` (four floats a pixel), with or without its alpha lane. Keeps a
/// reference: the bitmap must outlive the iterator.
class RgbBitmapIterator : public Abstract::BitmapIterator {
public:
    RgbBitmapIterator(const BitmapImpl<Rgb>& bitmap, bool withAlpha) : bitmap(bitmap), withAlpha(withAlpha) {}

    std::int32_t width() const override { return bitmap.width(); }
    std::int32_t height() const override { return bitmap.height(); }
    std::int32_t channels() const override { return withAlpha ? 4 : 3; }
    void readRow(std::int32_t y, float* out) const override;

private:
    const BitmapImpl<Rgb>& bitmap;
    bool withAlpha;
};

} // namespace Vespra
