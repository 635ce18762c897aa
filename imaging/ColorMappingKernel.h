#pragma once

#include "imaging/ColorBlock.h"
#include "imaging/ColorMapping.h"

namespace Vespra {

/// The pixel chain of a `ColorMapping` for one flavour. Pixels go through it in blocks of a
/// row, taken apart into one array per channel, and each step of the chain that is active at
/// these settings sweeps over the whole block before the next one starts. So the choice of
/// steps is made once per pull, and every step is a short loop without branches over
/// independent lanes, which the compiler vectorises at the width of the running clone. The
/// results are those of the chain as written pixel by pixel, step for step, in every clone.
class ColorMapping::Kernel {
public:
    Kernel(const ColorMapping& mapping, ColorMapFlavour flavour);

    /// Maps `count` pixels in place. Pixel i lies at the full-resolution display position
    /// (trunc((firstColumn + i) * zoom) + originX, y).
    void mapRun(Rgb* pixels, int count, int firstColumn, float zoom, int originX, float y) const;

private:
    void enter(ColorBlock& block, int firstColumn, float zoom, int originX, float y) const;
    void vignette(ColorBlock& block, int firstColumn, float zoom, int originX, float y) const;
    void saturate(ColorBlock& block) const;
    void compressHighlights(ColorBlock& block) const;
    void filmic(ColorBlock& block) const;
    template <bool STEEP>
    void applyContrast(ColorBlock& block) const;
    void tint(ColorBlock& block) const;
    void encode(ColorBlock& block) const;
    template <bool FAST_POWER>
    void encodeWithCurves(ColorBlock& block) const;
    template <bool FAST_POWER>
    void encodeWithoutCurves(ColorBlock& block) const;
    void applyCurves(ColorBlock& block) const;

    const ColorMapping& mapping;
    ColorMapFlavour flavour;

    bool scales;
    bool saturates;
    bool hasFilmic;
    bool tints;
    LutRoots lutRoots;
};

} // namespace Vespra
