#include "apps/samplegen/SampleRenderer.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cmath>

#include "apps/samplegen/PathTracer.h"
#include "base/image/ElementNames.h"
#include "base/image/VxrMetadata.h"
#include "foundation/ParallelFor.h"

namespace Vespra::SampleGen {

namespace {

using Sums = std::array<double, Slot::COUNT>;

/// A plane of the output and the value it takes.
struct ChannelTarget {
    float* pixels = nullptr;
    int slot = 0;
    /// Takes the mean of the squared pass values instead of their mean.
    bool squared = false;
};

float* addPlane(ChannelImage& image, const String& name, Pixel size) {
    Channel<float>& channel = image.addChannel<float>(name);
    channel.resize(size);
    return channel.data.data();
}

Stack<ChannelTarget> addElementChannels(ChannelImage& image, Pixel size) {
    Stack<ChannelTarget> targets;
    for (const SampleElement& element : sampleElements()) {
        const Stack<String> components = componentNames(element.componentCount);
        for (int index = 0; index < element.componentCount; ++index) {
            const String& component = components[std::size_t(index)];
            targets.push(
                {addPlane(image, joinChannelName(element.name, component), size), element.slot + index});
            if (index < element.squaredComponentCount) {
                targets.push({addPlane(image, joinChannelName(squaredName(element.name), component), size),
                              element.slot + index, true});
            }
        }
    }
    return targets;
}

/// Sums over the passes of one pixel of the pass values and of their squares. A pass value
/// is the mean of the pass's samples.
void renderPixel(const PathTracer& tracer, const RenderJob& job, Pixel pixel, Sums& sum, Sums& sumOfSquares,
                 std::uint64_t& rayCount) {
    const auto pixelIndex = std::uint64_t(pixel.y) * std::uint64_t(job.width) + std::uint64_t(pixel.x);
    const std::uint64_t seedState = mixBits(job.seed);
    sum.fill(0.);
    sumOfSquares.fill(0.);
    for (int pass = job.firstPass; pass < job.firstPass + job.passCount; ++pass) {
        Pcg32 random(mixBits(mixBits(seedState + std::uint64_t(pass)) + pixelIndex), pixelIndex);
        Sums passSum{};
        for (int sample = 0; sample < job.samplesPerPass; ++sample) {
            const float jitterX = random.uniform();
            const float x = float(pixel.x) + jitterX;
            const float y = float(pixel.y) + random.uniform();
            const SampleValues values = tracer.trace(x, y, job.width, job.height, random, rayCount);
            for (std::size_t slot = 0; slot < values.size(); ++slot) {
                passSum[slot] += values[slot];
            }
        }
        for (std::size_t slot = 0; slot < passSum.size(); ++slot) {
            const double value = passSum[slot] / job.samplesPerPass;
            sum[slot] += value;
            sumOfSquares[slot] += value * value;
        }
    }
}

void setStatistics(ChannelImage& image, const RenderJob& job, double seconds, std::uint64_t rayCount) {
    const double samples = double(job.dataWindow.area()) * job.passCount * job.samplesPerPass;
    image.setAttribute<std::int32_t>(VxrAttribute::IS_VESPRA_EXR, 1);
    image.setAttribute<std::int32_t>(VxrAttribute::STATS_PASSES, job.passCount);
    image.setAttribute<std::int32_t>(VxrAttribute::STATS_TIME, std::int32_t(std::lround(seconds)));
    image.setAttribute<std::int32_t>(VxrAttribute::STATS_RAYS_PER_SECOND,
                                     std::int32_t(std::min(double(rayCount) / std::max(seconds, 1e-3), 2e9)));
    image.setAttribute<float>(VxrAttribute::STATS_RAYS_PER_SAMPLE, float(double(rayCount) / samples));
}

} // namespace

RenderJob wholeFrameJob(int width, int height, int passes, std::uint64_t seed) {
    RenderJob job;
    job.width = width;
    job.height = height;
    job.dataWindow = Bucket::fromSize(width, height);
    job.passCount = passes;
    job.seed = seed;
    return job;
}

RenderJob referenceJob(const RenderJob& job) {
    constexpr std::uint64_t REFERENCE_STREAM = 0x5245464552454e43ull;
    RenderJob reference = job;
    reference.firstPass = job.firstPass * REFERENCE_PASS_FACTOR;
    reference.passCount = job.passCount * REFERENCE_PASS_FACTOR;
    reference.seed = job.seed ^ REFERENCE_STREAM;
    return reference;
}

ChannelImage renderSampleImage(const RenderJob& job, const Function<void(float)>& progress) {
    const auto start = std::chrono::steady_clock::now();
    const Bucket& window = job.dataWindow;
    ChannelImage image(Bucket::fromSize(job.width, job.height), window, 1.f);
    const Stack<ChannelTarget> targets = addElementChannels(image, window.size());
    Channel<float>& weights = image.addChannel<float>(FB_WEIGHTS_NAME);
    weights.resize(window.size());
    weights.data.fill(float(job.passCount));

    const SampleScene scene;
    const PathTracer tracer(scene);
    std::atomic<std::uint64_t> rayCount = 0;
    std::atomic<int> rowsDone = 0;
    parallelFor(Scheduler::highPriorityInstance(), window.y0, window.y1, 1, [&](int y) {
        Sums sum;
        Sums sumOfSquares;
        std::uint64_t rowRays = 0;
        const std::size_t rowStart = std::size_t(y - window.y0) * std::size_t(window.width());
        for (int x = window.x0; x < window.x1; ++x) {
            renderPixel(tracer, job, {x, y}, sum, sumOfSquares, rowRays);
            const std::size_t index = rowStart + std::size_t(x - window.x0);
            for (const ChannelTarget& target : targets) {
                const double total =
                    target.squared ? sumOfSquares[std::size_t(target.slot)] : sum[std::size_t(target.slot)];
                target.pixels[index] = float(total / job.passCount);
            }
        }
        rayCount += rowRays;
        const int done = ++rowsDone;
        if (progress) {
            progress(float(done) / float(window.height()));
        }
    });

    image.setRenderElementInfos(sampleRenderElementInfos());
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    setStatistics(image, job, elapsed.count(), rayCount);
    return image;
}

} // namespace Vespra::SampleGen
