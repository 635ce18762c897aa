// The CPU denoisers on a synthetic noisy render with all features, at two sizes, so that both
// the time a user waits and its growth with the image size show. The "Full" runs report the
// seconds of each phase as counters.

#include <cmath>
#include <random>

#include <sys/resource.h>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "misc/adaptivitydenoising/HotPixelsDenoiser.h"
#include "misc/adaptivitydenoising/NlmDenoiser.h"

using namespace Vespra;

namespace {

constexpr int PASSES = 16;

Rgb cleanPixel(int x, int y, int width) {
    const float u = float(x) / float(width);
    const float base = 0.4f + 0.3f * std::sin(float(x) * 0.02f) * std::cos(float(y) * 0.015f);
    const float edge = (x / 97 + y / 61) % 3 == 0 ? 0.5f : 0.f;
    return Rgb(base + edge, 0.7f * base + 0.2f * u, 0.5f + 0.2f * std::cos(float(x + y) * 0.01f), 1.f);
}

/// A render of `PASSES` samples a pixel with a noise of 30% of the signal, a few fireflies,
/// and the features of the "Full" mode.
struct NoisyRender {
    BitmapImpl<Rgb> colour;
    BitmapImpl<Rgb> squared;
    DenoisingData data;

    NoisyRender(int width, int height) : colour(width, height), squared(width, height) {
        std::mt19937 random(1);
        std::normal_distribution<float> gauss(0.f, 1.f);
        std::uniform_real_distribution<float> unit(0.f, 1.f);
        data.passes = BitmapImpl<float>(width, height, float(PASSES));
        FeatureBuffers diffuse{BitmapImpl<Rgb>(width, height), BitmapImpl<Rgb>(width, height)};
        FeatureBuffers normals = diffuse, hybrid = diffuse, hair = diffuse;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const Rgb clean = cleanPixel(x, y, width);
                Rgb mean, meanOfSquares;
                for (int c = 0; c < 3; ++c) {
                    const float sigma = 0.3f * clean[c];
                    const float firefly = unit(random) < 0.0005f ? 50.f : 0.f;
                    mean[c] =
                        std::max(0.f, clean[c] + sigma / std::sqrt(float(PASSES)) * gauss(random)) + firefly;
                    meanOfSquares[c] =
                        mean[c] * mean[c] + sigma * sigma + firefly * firefly * float(PASSES - 1);
                }
                colour(x, y) = mean;
                squared(x, y) = meanOfSquares;
                auto set = [&](FeatureBuffers& feature, Rgb value, float noise) {
                    const Rgb noisy(value.r + noise * gauss(random), value.g + noise * gauss(random),
                                    value.b + noise * gauss(random), value.a);
                    feature.mean(x, y) = noisy;
                    feature.squared(x, y) =
                        Rgb(noisy.r * noisy.r + noise * noise, noisy.g * noisy.g + noise * noise,
                            noisy.b * noisy.b + noise * noise, value.a * value.a);
                };
                set(diffuse, clean * 0.8f, 0.01f);
                set(normals,
                    (x / 97 + y / 61) % 3 == 0 ? Rgb(0.f, 0.f, 1.f, 0.5f) : Rgb(0.7f, 0.1f, 0.7f, 0.9f),
                    0.02f);
                set(hybrid, Rgb(edgeOf(x, y), 0.3f, 0.2f, 1.f), 0.01f);
                set(hair, x < 64 && y < 64 ? Rgb(1.f) : Rgb(0.f, 0.f, 0.f, 0.f), 0.f);
            }
        }
        data.setFeature(FeatureType::VISIBLE_DIFFUSE, std::move(diffuse));
        data.setFeature(FeatureType::VISIBLE_NORMALS, std::move(normals));
        data.setFeature(FeatureType::HYBRID, std::move(hybrid));
        data.setFeature(FeatureType::HAIR_IDS, std::move(hair));
    }

    static float edgeOf(int x, int y) { return (x / 97 + y / 61) % 3 == 0 ? 0.8f : 0.1f; }
};

/// Processor seconds of all threads of the process so far: on a busy machine the wall time of a
/// run says little, this says what two idle cores would need (about half of it).
double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec) + double(usage.ru_utime.tv_usec) * 1e-6 +
           double(usage.ru_stime.tv_sec) + double(usage.ru_stime.tv_usec) * 1e-6;
}

void setLabel(benchmark::State& state, int width, int height) {
    state.SetLabel(fmt::format("{}x{}", width, height));
    state.SetItemsProcessed(state.iterations() * std::int64_t(width) * height);
}

void fullMode(benchmark::State& state) {
    const int width = int(state.range(0));
    const int height = int(state.range(1));
    NlmPhaseTimes times;
    double processor = 0.0;
    for (auto _ : state) {
        state.PauseTiming();
        NoisyRender render(width, height);
        state.ResumeTiming();
        const double start = processorSeconds();
        NlmDenoiser denoiser(Scheduler::highPriorityInstance(), std::move(render.data));
        Optional<BitmapImpl<Rgb>> result;
        denoiser.filter(result, std::move(render.colour), std::move(render.squared), ElementType{},
                        [](float) { return false; });
        benchmark::DoNotOptimize(result);
        times = denoiser.getPhaseTimes();
        processor += processorSeconds() - start;
    }
    state.counters["processor_s"] = processor / double(state.iterations());
    state.counters["features_s"] = times.featurePreparation;
    state.counters["outliers_s"] = times.outlierRemoval;
    state.counters["triFilter_s"] = times.triFilter;
    state.counters["sure_s"] = times.sure;
    state.counters["secondPass_s"] = times.secondPass;
    state.counters["level1_s"] = times.coarseLevel;
    state.counters["merge_s"] = times.merge;
    setLabel(state, width, height);
}

void firefliesMode(benchmark::State& state) {
    const int width = int(state.range(0));
    const int height = int(state.range(1));
    double processor = 0.0;
    for (auto _ : state) {
        state.PauseTiming();
        NoisyRender render(width, height);
        state.ResumeTiming();
        const double start = processorSeconds();
        HotPixelsDenoiser denoiser(Scheduler::highPriorityInstance(), std::move(render.data));
        Optional<BitmapImpl<Rgb>> result;
        denoiser.filter(result, std::move(render.colour), std::move(render.squared), ElementType{},
                        [](float) { return false; });
        benchmark::DoNotOptimize(result);
        processor += processorSeconds() - start;
    }
    state.counters["processor_s"] = processor / double(state.iterations());
    setLabel(state, width, height);
}

} // namespace

BENCHMARK(fullMode)
    ->Name("Full")
    ->Args({960, 540})
    ->Args({1920, 1080})
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();
BENCHMARK(firefliesMode)
    ->Name("Fireflies")
    ->Args({960, 540})
    ->Args({1920, 1080})
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

BENCHMARK_MAIN();
