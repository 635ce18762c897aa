#pragma once

#include "foundation/Float4.h"
#include "foundation/Rgb.h"

namespace Vespra {

/// A block of colours with one array per channel. A step of the colour chain is a loop over
/// whole arrays, of a length known at compile time, which the compiler vectorises at the width
/// of the clone that runs (see VectorClones.h) without a remainder loop. Blocks filled from
/// fewer pixels hold zeros in the remaining lanes, so that every lane holds a finite value.
struct ColorBlock {
    static constexpr int SIZE = 128;
    /// Lanes of the widest registers. A loop over part of a block runs over whole groups, each
    /// an inner loop of this many lanes, whose length the vectoriser knows.
    static constexpr int GROUP = 16;

    /// The lanes of the groups that hold the first `count`.
    static constexpr int groupedLanes(int count) { return (count + GROUP - 1) / GROUP * GROUP; }

    alignas(64) float r[SIZE];
    alignas(64) float g[SIZE];
    alignas(64) float b[SIZE];

    /// Red, green or blue for 0, 1 or 2.
    float* channel(int index) { return index == 0 ? r : index == 1 ? g : b; }
    const float* channel(int index) const { return index == 0 ? r : index == 1 ? g : b; }

    /// Calls `step(channel)` with the array of red, green and blue in turn.
    template <class Step>
    void forEachChannel(Step step) {
        step(r);
        step(g);
        step(b);
    }

    /// Replaces every value `v` of every channel by `function(v)`.
    template <class Function>
    void map(Function function) {
        forEachChannel([&function](float* channel) {
            for (int i = 0; i < SIZE; ++i) {
                channel[i] = function(channel[i]);
            }
        });
    }

    /// Replaces every value of every channel, four lanes at a time, by `function(Float4)`: for
    /// the steps built on the `Float4` approximations, which stay four lanes wide in every clone.
    template <class Function>
    void mapQuads(Function function) {
        forEachChannel([&function](float* channel) {
            for (int i = 0; i < SIZE; i += 4) {
                function(Float4::load(channel + i)).store(channel + i);
            }
        });
    }

    /// Colour `i`, with 0 in the fourth lane.
    Float4 pixel(int i) const { return Float4(r[i], g[i], b[i], 0.f); }
    void setPixel(int i, Float4 value) {
        alignas(16) float lanes[4];
        value.store(lanes);
        r[i] = lanes[0];
        g[i] = lanes[1];
        b[i] = lanes[2];
    }

    /// Sets colours i to i + 3 from four pixels; their fourth lanes are dropped.
    void setQuad(int i, Float4 p0, Float4 p1, Float4 p2, Float4 p3) {
        _MM_TRANSPOSE4_PS(p0.v, p1.v, p2.v, p3.v);
        p0.store(r + i);
        p1.store(g + i);
        p2.store(b + i);
    }

    /// Takes `count` (at most SIZE) pixels apart into the channels; `fourth` receives their
    /// fourth lanes. Four pixels at a time go through one 4x4 transposition.
    void load(const Rgb* pixels, int count, float* fourth) {
        int i = 0;
        for (; i + 4 <= count; i += 4) {
            transposeIn(Float4(pixels[i]), Float4(pixels[i + 1]), Float4(pixels[i + 2]),
                        Float4(pixels[i + 3]), i, fourth);
        }
        for (; i < SIZE; i += 4) {
            Float4 tail[4];
            for (int k = 0; k < 4 && i + k < count; ++k) {
                tail[k] = Float4(pixels[i + k]);
            }
            transposeIn(tail[0], tail[1], tail[2], tail[3], i, fourth);
        }
    }

    /// Puts the first `count` colours back as pixels with `fourth` in their fourth lanes.
    void store(Rgb* pixels, int count, const float* fourth) const {
        int i = 0;
        for (; i + 4 <= count; i += 4) {
            transposeOut(i, fourth, &pixels[i]);
        }
        if (i < count) {
            Rgb tail[4];
            transposeOut(i, fourth, tail);
            for (int k = 0; i + k < count; ++k) {
                pixels[i + k] = tail[k];
            }
        }
    }

private:
    void transposeIn(Float4 p0, Float4 p1, Float4 p2, Float4 p3, int i, float* fourth) {
        _MM_TRANSPOSE4_PS(p0.v, p1.v, p2.v, p3.v);
        p0.store(r + i);
        p1.store(g + i);
        p2.store(b + i);
        p3.store(fourth + i);
    }

    void transposeOut(int i, const float* fourth, Rgb* target) const {
        Float4 p0 = Float4::load(r + i), p1 = Float4::load(g + i), p2 = Float4::load(b + i),
               p3 = Float4::load(fourth + i);
        _MM_TRANSPOSE4_PS(p0.v, p1.v, p2.v, p3.v);
        p0.store(&target[0].r);
        p1.store(&target[1].r);
        p2.store(&target[2].r);
        p3.store(&target[3].r);
    }
};

} // namespace Vespra
