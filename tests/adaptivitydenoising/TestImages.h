#pragma once

#include <cmath>
#include <random>

#include "foundation/Bitmap.h"
#include "foundation/Rgb.h"
#include "misc/adaptivitydenoising/DenoisingTypes.h"

namespace Vespra::Testing {

/// A smooth picture with an edge: what the noisy images of the tests scatter around.
inline Rgb cleanPixel(int x, int y) {
    const float base = 0.5f + 0.3f * std::sin(float(x) * 0.4f) * std::cos(float(y) * 0.3f);
    const float edge = x > y ? 0.4f : 0.f;
    return Rgb(base + edge, 0.8f * base, 0.6f + 0.2f * std::cos(float(x + y) * 0.2f), 1.f);
}

/// A render of `passes` samples a pixel around `cleanPixel`, with its squared element.
struct NoisyRender {
    BitmapImpl<Rgb> clean;
    BitmapImpl<Rgb> colour;
    BitmapImpl<Rgb> squared;
    BitmapImpl<float> passes;
};

inline NoisyRender makeNoisyRender(int width, int height, int passes, float sigma, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<float> noise(0.f, sigma);
    NoisyRender render{BitmapImpl<Rgb>(width, height), BitmapImpl<Rgb>(width, height),
                       BitmapImpl<Rgb>(width, height), BitmapImpl<float>(width, height, float(passes))};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Rgb clean = cleanPixel(x, y);
            Rgb sum(0.f, 0.f, 0.f, 0.f), squares(0.f, 0.f, 0.f, 0.f);
            for (int s = 0; s < passes; ++s) {
                for (int c = 0; c < 3; ++c) {
                    const float sample = std::max(0.f, clean[c] + noise(random));
                    sum[c] += sample;
                    squares[c] += sample * sample;
                }
            }
            render.clean(x, y) = clean;
            render.colour(x, y) =
                Rgb(sum.r / float(passes), sum.g / float(passes), sum.b / float(passes), 1.f);
            render.squared(x, y) =
                Rgb(squares.r / float(passes), squares.g / float(passes), squares.b / float(passes), 1.f);
        }
    }
    return render;
}

/// Features following the clean picture: diffuse colour, normals, a hybrid and hair ids (a
/// small patch of hair in one corner).
inline void addFeatures(DenoisingData& data, int width, int height, bool withHair) {
    auto feature = [&](auto&& value) {
        FeatureBuffers buffers{BitmapImpl<Rgb>(width, height), BitmapImpl<Rgb>(width, height)};
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const Rgb v = value(x, y);
                buffers.mean(x, y) = v;
                buffers.squared(x, y) =
                    Rgb(v.r * v.r * 1.01f, v.g * v.g * 1.01f, v.b * v.b * 1.01f, v.a * v.a);
            }
        }
        return buffers;
    };
    data.setFeature(FeatureType::VISIBLE_DIFFUSE, feature([](int x, int y) {
                        return cleanPixel(x, y) * 0.9f + Rgb(0.05f, 0.05f, 0.05f, 1.f);
                    }));
    data.setFeature(FeatureType::VISIBLE_NORMALS, feature([](int x, int y) {
                        return x > y ? Rgb(0.f, 0.f, 1.f, 0.5f) : Rgb(0.6f, 0.f, 0.8f, 0.7f);
                    }));
    data.setFeature(FeatureType::HYBRID,
                    feature([](int x, int y) { return Rgb(x > y ? 0.7f : 0.2f, 0.3f, 0.1f, 1.f); }));
    if (withHair) {
        data.setFeature(FeatureType::HAIR_IDS, feature([](int x, int y) {
                            return x < 3 && y < 3 ? Rgb(1.f, 1.f, 1.f, 1.f) : Rgb(0.f, 0.f, 0.f, 0.f);
                        }));
    }
}

} // namespace Vespra::Testing
