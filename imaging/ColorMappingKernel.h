#pragma once

#include "imaging/ColorMapping.h"
#include "imaging/ColorQuad.h"

namespace Vespra {

/// The pixel chain of a `ColorMapping` for one flavour. Pixels go through it in runs of a row:
/// a run is turned into quads of four pixels with one channel per register, and each step
/// of the chain that is active at these settings sweeps over all quads of the run before the
/// next one starts. So the choice of steps is made once per pull, every step is a short loop
/// without branches over independent quads, and the constants stay in registers: each step
/// is compiled as one piece (flattened), so that the three channels' chains interleave. The
/// results are those of the chain as written pixel by pixel, step for step.
class ColorMapping::Kernel {
public:
    Kernel(const ColorMapping& mapping, ColorMapFlavour flavour);

    /// Maps `count` pixels in place. Pixel i lies at the full-resolution display position
    /// (trunc((firstColumn + i) * zoom) + originX, y).
    void mapRun(Rgb* pixels, int count, int firstColumn, float zoom, int originX, float y) const;

    /// Pixels per run: a run's quads stay in the first-level cache between the steps.
    static constexpr int RUN_LENGTH = 128;

private:
    static constexpr int RUN_QUADS = RUN_LENGTH / 4;

    struct Run {
        ColorQuad color[RUN_QUADS];
        /// The fourth lanes, put back unchanged.
        Float4 alpha[RUN_QUADS];
        int quads = 0;

        void load(const Rgb* pixels, int count);
        void store(Rgb* pixels, int count) const;

        template <class Step>
        void forEach(Step step) {
            for (int q = 0; q < quads; ++q) {
                color[q] = step(color[q]);
            }
        }
    };

    void enter(Run& run, int firstColumn, float zoom, int originX, float y) const;
    void saturate(Run& run) const;
    void compressHighlights(Run& run) const;
    void filmic(Run& run) const;
    template <bool STEEP>
    void applyContrast(Run& run) const;
    void encode(Run& run) const;
    template <bool FAST_POWER>
    void encodeWithCurves(Run& run) const;
    template <bool FAST_POWER>
    void encodeWithoutCurves(Run& run) const;

    const ColorMapping& mapping;
    ColorMapFlavour flavour;

    bool scales;
    bool saturates;
    bool hasFilmic;
    bool tints;

    Float4 exposure;
    Float4 whiteBalance[3];
    Float4 saturation;
    Float4 whiteMultiplier;
    Float4 richShadows;
    Float4 filmicBlend;
    Float4 contrastK;
    Float4 contrastScale;
    Float4 contrastOffset;
    Float4 contrastLowClamp;
    Float4 contrastHighClamp;
    Float4 tint[3];
};

} // namespace Vespra
