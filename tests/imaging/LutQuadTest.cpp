// Four colours side by side give bit for bit what one colour at a time gives: the colour
// mapping relies on it for its exact flavour.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <random>

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

/// Colours within and above the domain, with ties between channels and on grid points.
ColorQuad randomQuad(std::mt19937& random, Float4 pixels[4]) {
    std::uniform_real_distribution<float> value(-0.1f, 1.6f);
    std::uniform_int_distribution<int> kind(0, 5);
    for (int k = 0; k < 4; ++k) {
        float c[3] = {value(random), value(random), value(random)};
        switch (kind(random)) {
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
        pixels[k] = Float4(c[0], c[1], c[2], 0.f);
    }
    return ColorQuad::fromPixels(pixels[0], pixels[1], pixels[2], pixels[3]);
}

void expectSameBits(const ColorQuad& quad, const Float4 pixels[4],
                    const std::function<Float4(Float4)>& single) {
    alignas(16) float channels[3][4];
    quad.r.store(channels[0]);
    quad.g.store(channels[1]);
    quad.b.store(channels[2]);
    for (int k = 0; k < 4; ++k) {
        const Float4 expected = single(pixels[k]);
        for (int c = 0; c < 3; ++c) {
            ASSERT_EQ(std::bit_cast<std::uint32_t>(channels[c][k]), std::bit_cast<std::uint32_t>(expected[c]))
                << "colour " << k << " channel " << c << " of (" << pixels[k][0] << ", " << pixels[k][1]
                << ", " << pixels[k][2] << ")";
        }
    }
}

} // namespace

TEST(LutQuadTest, CubeOfFourColoursMatchesOneAtATime) {
    std::mt19937 random(11);
    const Lut3D cube = randomCube(5, random);
    for (int round = 0; round < 500; ++round) {
        Float4 pixels[4];
        const ColorQuad quad = randomQuad(random, pixels);
        expectSameBits(cube.evaluate(quad), pixels, [&](Float4 p) { return cube.evaluate(p); });
    }
}

TEST(LutQuadTest, TableOfFourColoursMatchesOneAtATime) {
    std::mt19937 random(5);
    Lut lut;
    lut.lut1D = randomCurves(9, random);
    lut.lut3D = randomCube(5, random);
    lut.opacity = 0.7f;
    for (const Flags<LutFlag> flags :
         {Flags<LutFlag>(LutFlag::ACTIVE), LutFlag::ACTIVE | LutFlag::GAMMA_PREPARED | LutFlag::LOG_INPUT}) {
        lut.flags = flags;
        for (int round = 0; round < 300; ++round) {
            Float4 pixels[4];
            const ColorQuad quad = randomQuad(random, pixels);
            expectSameBits(lut.apply(quad), pixels, [&](Float4 p) { return lut.apply(p); });
        }
    }
}
