#pragma once

#include <stdexcept>

#include "apps/samplegen/SampleRenderer.h"
#include "base/image/ChannelImage.h"

namespace SampleImages {

/// A frame small enough to render in a blink.
constexpr int WIDTH = 32;
constexpr int HEIGHT = 24;

inline Vespra::SampleGen::RenderJob tinyJob(int passCount, std::uint64_t seed = 7) {
    Vespra::SampleGen::RenderJob job;
    job.width = WIDTH;
    job.height = HEIGHT;
    job.dataWindow = Vespra::Bucket::fromSize(WIDTH, HEIGHT);
    job.passCount = passCount;
    job.seed = seed;
    return job;
}

inline const Vespra::Stack<float>& pixels(const Vespra::ChannelImage& image, const Vespra::String& name) {
    const auto* channel = image.findChannel<float>(name);
    if (channel == nullptr) {
        throw std::runtime_error("missing channel " + name.toUtf8());
    }
    return channel->data;
}

/// Float results of the same sums, divided or summed in another order, agree to this share.
inline bool nearlyEqual(double a, double b) {
    return std::abs(a - b) <= 1e-5 * std::max(std::abs(a), std::abs(b)) + 1e-7;
}

} // namespace SampleImages
