// A block of colours gives bit for bit what one colour at a time gives: the colour mapping
// relies on it for its exact flavour.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <utility>

#include <gtest/gtest.h>

#include "imaging/Lut.h"

using namespace Vespra;

namespace {

/// A cube with uneven, non-negative entries, so that every tetrahedron and every slope
/// beyond the domain differ.
Lut3D randomCube(int size, std::mt19937& random) {
    std::uniform_real_distribution<float> entry(0.f, 1.3f);
    Lut3D cube(size);
    for (Rgb& value : cube.table) {
        value = Rgb(entry(random), entry(random), entry(random), 0.f);
    }
    return cube;
}

Lut1D randomCurves(int size, std::mt19937& random) {
    std::uniform_real_distribution<float> step(0.f, 0.4f);
    Lut1D curves(size);
    Rgb level(0.f, 0.f, 0.f, 0.f);
    for (Rgb& value : curves.table) {
        level = level + Rgb(step(random), step(random), step(random), 0.f);
        value = level;
    }
    return curves;
}

/// Colours within and above the domain, with ties between channels and on grid points; in
/// some blocks none lies above the domain, in others one channel or several do.
ColorBlock randomBlock(std::mt19937& random) {
    std::uniform_real_distribution<float> value(-0.1f, 1.6f);
    std::uniform_int_distribution<int> kind(0, 5);
    const bool withinDomain = std::uniform_int_distribution<int>(0, 3)(random) == 0;
    ColorBlock block;
    for (int i = 0; i < ColorBlock::SIZE; ++i) {
        float c[3] = {value(random), value(random), value(random)};
        switch (withinDomain ? 2 : kind(random)) {
        case 0: // two channels equal
            c[1] = c[0];
            break;
        case 1: // on a grid point of a cube of 5
            c[2] = 0.75f;
            break;
        case 2: // within the domain
            c[0] = std::min(std::abs(c[0]), 1.f);
            c[1] = std::min(std::abs(c[1]), 1.f);
            c[2] = std::min(std::abs(c[2]), 1.f);
            break;
        default:
            break;
        }
        block.setPixel(i, Float4(c[0], c[1], c[2], 0.f));
    }
    return block;
}

void expectSameBits(const ColorBlock& mapped, const ColorBlock& input,
                    const std::function<Float4(Float4)>& single) {
    for (int i = 0; i < ColorBlock::SIZE; ++i) {
        const Float4 expected = single(input.pixel(i));
        const Float4 actual = mapped.pixel(i);
        for (int c = 0; c < 3; ++c) {
            ASSERT_EQ(std::bit_cast<std::uint32_t>(actual[c]), std::bit_cast<std::uint32_t>(expected[c]))
                << "colour " << i << " channel " << c << " of (" << input.r[i] << ", " << input.g[i] << ", "
                << input.b[i] << ")";
        }
    }
}

} // namespace

TEST(LutBlockTest, TablesOfABlockMatchOneColourAtATime) {
    std::mt19937 random(11);
    const Lut3D cube = randomCube(5, random);
    Lut1D curves = randomCurves(9, random);
    curves.domainMax = 1.25f;
    for (int round = 0; round < 100; ++round) {
        const ColorBlock input = randomBlock(random);
        ColorBlock mapped = input;
        cube.evaluate(mapped);
        expectSameBits(mapped, input, [&](Float4 p) { return cube.evaluate(p); });
        mapped = input;
        curves.evaluate(mapped);
        expectSameBits(mapped, input, [&](Float4 p) { return curves.evaluate(p); });
    }
}

TEST(LutBlockTest, LookUpOfABlockMatchesOneColourAtATime) {
    std::mt19937 random(5);
    Lut lut;
    lut.lut1D = randomCurves(9, random);
    lut.lut3D = randomCube(5, random);
    lut.opacity = 0.7f;
    for (const Flags<LutFlag> flags :
         {Flags<LutFlag>(LutFlag::ACTIVE), LutFlag::ACTIVE | LutFlag::GAMMA_PREPARED | LutFlag::LOG_INPUT}) {
        lut.flags = flags;
        for (int round = 0; round < 60; ++round) {
            const ColorBlock input = randomBlock(random);
            ColorBlock mapped = input;
            lut.apply(mapped);
            expectSameBits(mapped, input, [&](Float4 p) { return lut.apply(p); });
            // The display's rounded square roots stay close to the estimates.
            mapped = input;
            lut.apply(mapped, LutRoots::ROUNDED);
            for (int i = 0; i < ColorBlock::SIZE; ++i) {
                const Float4 expected = lut.apply(input.pixel(i));
                for (int c = 0; c < 3; ++c) {
                    ASSERT_NEAR(mapped.pixel(i)[c], expected[c],
                                1e-5f * std::max(std::abs(expected[c]), 1.f));
                }
            }
        }
    }
}

// Cubes large enough that the foot of the extrapolation lies cells below the top, blocks where
// whole runs of colours lie above the domain in every channel (they share their feet), and NaN
// beside a channel above (it counts as the top), over domains whose span is a power of two and
// one whose span is not.
TEST(LutBlockTest, BrightColoursOfALargeCubeMatchOneColourAtATime) {
    std::mt19937 random(23);
    Lut3D cube = randomCube(33, random);
    std::uniform_real_distribution<float> value(-0.2f, 2.5f);
    std::uniform_int_distribution<int> kind(0, 7);
    for (const auto& [low, high] : {std::pair(0.f, 1.f), std::pair(-1.f, 1.f), std::pair(0.1f, 1.3f)}) {
        cube.domainMin = low;
        cube.domainMax = high;
        for (int round = 0; round < 40; ++round) {
            ColorBlock input;
            for (int i = 0; i < ColorBlock::SIZE; ++i) {
                float c[3] = {value(random), value(random), value(random)};
                switch (kind(random)) {
                case 0: // above in every channel
                case 1:
                    c[0] = high + std::abs(c[0]);
                    c[1] = high + std::abs(c[1]);
                    c[2] = high + std::abs(c[2]);
                    break;
                case 2: // NaN beside a channel above
                    c[0] = high + 0.5f;
                    c[1] = NAN;
                    break;
                case 3: // within the domain
                    c[0] = std::clamp(c[0], low, high);
                    c[1] = std::clamp(c[1], low, high);
                    c[2] = std::clamp(c[2], low, high);
                    break;
                default:
                    break;
                }
                input.setPixel(i, Float4(c[0], c[1], c[2], 0.f));
            }
            ColorBlock mapped = input;
            cube.evaluate(mapped);
            expectSameBits(mapped, input, [&](Float4 p) { return cube.evaluate(p); });
        }
    }
}
