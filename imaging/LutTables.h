#pragma once

#include <cstddef>

#include "foundation/Containers.h"
#include "foundation/Float4.h"
#include "foundation/Pointers.h"
#include "foundation/Rgb.h"
#include "imaging/ColorBlock.h"

namespace Vespra {

/// Entries of a colour table and the input range they span. Entries hold red, green and
/// blue in their first three lanes; the fourth lane is 0.
class LutBase : public Polymorphic {
public:
    Array<Rgb> table;
    /// Input that maps to the first entry.
    float domainMin = 0.f;
    /// Input that maps to the last entry.
    float domainMax = 1.f;
    /// Entries per axis.
    int size = 0;

protected:
    LutBase() = default;
    explicit LutBase(int size) : size(size) {}

    /// Per lane: the input's place in the domain, limited to [0, 0.999999] so that the upper
    /// neighbour always exists, in units of entries.
    Float4 gridPosition(Float4 input) const {
        const Float4 t = (input - Float4(domainMin)) / Float4(domainMax - domainMin);
        // max() answers its second operand for NaN, so a NaN input lands on the first entry.
        return clamp(t, Float4(0.f), Float4(0.999999f)) * Float4(float(size - 1));
    }
    /// Whether any of red, green and blue lies above the domain.
    bool exceedsDomain(Float4 input) const;
};

/// A table per channel: each channel is interpolated linearly on its own.
class Lut1D : public LutBase {
public:
    Lut1D() = default;
    /// `size` entries, all black.
    explicit Lut1D(int size);

    Rgb operator()(const Rgb& input) const { return evaluate(Float4(input)).toRgb(); }
    /// Inputs above the domain continue along the slope of the table's last 0.2.
    Float4 evaluate(Float4 input) const;
    /// `evaluate` of every colour of `colors`, with the same results.
    void evaluate(ColorBlock& colors) const;
    /// Within the domain only: the input is first brought into it.
    Float4 interpolate(Float4 input) const;
};

/// A colour cube, interpolated tetrahedrally. The entry of grid point (r, g, b) is at
/// index r + size * g + size * size * b.
class Lut3D : public LutBase {
public:
    Lut3D() = default;
    /// `size` cubed entries, all black.
    explicit Lut3D(int size);

    std::size_t index(int r, int g, int b) const {
        return std::size_t(r) + std::size_t(size) * (std::size_t(g) + std::size_t(size) * std::size_t(b));
    }
    std::size_t entryCount() const { return std::size_t(size) * std::size_t(size) * std::size_t(size); }

    Rgb operator()(const Rgb& input) const { return evaluate(Float4(input)).toRgb(); }
    /// Each channel above the domain adds the slope of the table's last 0.2 along its axis.
    Float4 evaluate(Float4 input) const;
    /// `evaluate` of every colour of `colors`, with the same results.
    void evaluate(ColorBlock& colors) const;
    /// Within the domain only: the input is first brought into it.
    Float4 interpolate(Float4 input) const;

private:
    /// The channels of a block's colours that lie above the domain (LutTables.cpp).
    class Excesses;

    /// `interpolate` of the first `count` colours given by their channels, whose lanes are
    /// readable to the end of the last group. Results go four at a time to
    /// `store(index, p0, p1, p2, p3)`, which may overwrite the inputs.
    template <class Store>
    void interpolate(const float* red, const float* green, const float* blue, int count, Store store) const;
    /// `evaluate` of the outliers of `excesses` in `colors`, which hold their interpolation
    /// limited to the domain.
    void extrapolate(const Excesses& excesses, ColorBlock& colors) const;
};

/// The table that undoes a 1-D table, found by bisection to within one entry's width.
class InverseLut1D : public Lut1D {
public:
    InverseLut1D(const Lut1D& forward, bool parallel);
};

/// The table that undoes a colour cube: each grid colour is the weighted mean of the grid
/// positions whose entries lie nearest to it.
class InverseLut3D : public Lut3D {
public:
    InverseLut3D(const Lut3D& forward, bool parallel);
};

} // namespace Vespra
