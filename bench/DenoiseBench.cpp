// The CPU denoisers on renders of the sample scene with all the features it has, at two sizes,
// so that both the time a user waits and its growth with the image size show. The "Full" runs
// report the seconds of each phase as counters.
//
// A user denoises a whole render, not one element: "Full/whole render" filters the beauty and
// the four light-select layers of a 1920x1080 render as the denoise operator does (the
// elements that fit go through one sweep together), with the seconds of each phase summed
// over the elements, and "vespra-image-cmd whole render" times the batch tool from the file to
// a saved picture, `vespra-image-cmd RENDER --denoise Full -o OUT.png`.
//
// The renders come from vespra-samplegen (8 passes) and are kept in $VESPRA_BENCH_DATA, by
// default the folder "samples" beside this program, so that only the first run renders them.
// The generator is looked for beside this program's build folder, or at $VESPRA_SAMPLEGEN, the
// batch tool likewise, or at $VESPRA_IMAGE_CMD. The machine's other work shows in the wall
// times; the processor seconds (cpu_s) say what two idle cores would need, about half of it.

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <vector>

#include <sys/resource.h>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "base/image/ChannelImage.h"
#include "base/image/ElementNames.h"
#include "base/image/ExrLoader.h"
#include "misc/adaptivitydenoising/HotPixelsDenoiser.h"
#include "misc/adaptivitydenoising/NlmDenoiser.h"

using namespace Vespra;

namespace {

constexpr int PASSES = 8;

std::filesystem::path programFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

std::filesystem::path fromEnvironment(const char* name, const std::filesystem::path& fallback) {
    const char* value = std::getenv(name);
    return value && *value ? std::filesystem::path(value) : fallback;
}

/// A program of the build tree, found beside this program's build folder or at $`variable`.
std::filesystem::path buildProgram(const char* variable, const char* folder, const char* name) {
    return fromEnvironment(variable, programFolder().parent_path() / "apps" / folder / name);
}

/// The elements a whole render denoises: the beauty and the light-select layers.
const String WHOLE_RENDER_ELEMENTS[] = {u"", u"Key light", u"Fill light", u"Window", u"Rest (unassigned)"};

/// Makes the render with vespra-samplegen unless an earlier run left it; empty on failure.
Optional<std::filesystem::path> renderFile(int width, int height) {
    const std::filesystem::path folder = fromEnvironment("VESPRA_BENCH_DATA", programFolder() / "samples");
    const std::filesystem::path file = folder / fmt::format("room_{}x{}_{}passes.vxr", width, height, PASSES);
    if (std::filesystem::exists(file)) {
        return file;
    }
    std::filesystem::create_directories(folder);
    const std::filesystem::path generator = buildProgram("VESPRA_SAMPLEGEN", "samplegen", "vespra-samplegen");
    const std::string command = fmt::format("'{}' --width {} --height {} --passes {} -o '{}' 2>/dev/null",
                                            generator.string(), width, height, PASSES, file.string());
    if (std::system(command.c_str()) != 0) {
        return std::nullopt;
    }
    return file;
}

/// The sample render of that size, loaded once a run; null when it cannot be had.
const ChannelImage* sampleRender(int width, int height) {
    static std::map<std::pair<int, int>, Optional<ChannelImage>> renders;
    auto [entry, added] = renders.try_emplace({width, height});
    if (added) {
        if (const Optional<std::filesystem::path> file = renderFile(width, height)) {
            if (Expected<ChannelImage, String> loaded = ExrLoader(true).load(Io::Path(*file))) {
                entry->second = std::move(*loaded);
            }
        }
    }
    return entry->second ? &*entry->second : nullptr;
}

BitmapImpl<Rgb> colourOf(const ChannelImage& image, const String& name) {
    const Bucket region = Bucket::fromSize(image.getDataWindow().width(), image.getDataWindow().height());
    return image.hasRgbaElement(name) ? image.getRgbaBitmap(name, region, 1.f)
                                      : image.getRgbBitmap(name, region, 1.f);
}

/// What the denoise operator hands a denoiser to make it: the passes and the features.
DenoisingData denoisingData(const ChannelImage& image) {
    DenoisingData data;
    const Bucket window = image.getDataWindow();
    data.passes =
        image.getMonoBitmap(FB_WEIGHTS_NAME, Bucket::fromSize(window.width(), window.height()), 1.f);
    for (const FeatureType type : {FeatureType::VISIBLE_DIFFUSE, FeatureType::VISIBLE_NORMALS,
                                   FeatureType::HYBRID, FeatureType::HAIR_IDS}) {
        const String name = getFeatureElementName(type);
        if (image.hasRgbElement(name) && image.hasRgbElement(squaredName(name))) {
            data.setFeature(type, FeatureBuffers{colourOf(image, name), colourOf(image, squaredName(name))});
        }
    }
    return data;
}

/// What the denoise operator hands a denoiser for the beauty of `image`.
struct DenoiserInput {
    BitmapImpl<Rgb> colour;
    BitmapImpl<Rgb> squared;
    DenoisingData data;

    explicit DenoiserInput(const ChannelImage& image)
        : colour(colourOf(image, u"")), squared(colourOf(image, squaredName(u""))),
          data(denoisingData(image)) {}
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

/// Runs `Denoiser` on the beauty of the sample render; `afterRun` sees each denoiser.
template <class Denoiser, class AfterRun>
void runDenoiser(benchmark::State& state, AfterRun afterRun) {
    const int width = int(state.range(0));
    const int height = int(state.range(1));
    const ChannelImage* image = sampleRender(width, height);
    if (!image) {
        state.SkipWithError("vespra-samplegen could not make the render");
        return;
    }
    double processor = 0.0;
    for (auto _ : state) {
        state.PauseTiming();
        DenoiserInput input(*image);
        state.ResumeTiming();
        const double start = processorSeconds();
        Denoiser denoiser(Scheduler::highPriorityInstance(), std::move(input.data));
        Optional<BitmapImpl<Rgb>> result;
        denoiser.filter(result, std::move(input.colour), std::move(input.squared), ElementType{},
                        [](float) { return false; });
        benchmark::DoNotOptimize(result);
        processor += processorSeconds() - start;
        afterRun(denoiser);
    }
    state.counters["cpu_s"] = processor / double(state.iterations());
    setLabel(state, width, height);
}

void fullMode(benchmark::State& state) {
    NlmPhaseTimes times;
    runDenoiser<NlmDenoiser>(state, [&](const NlmDenoiser& denoiser) { times = denoiser.getPhaseTimes(); });
    state.counters["features_s"] = times.featurePreparation;
    state.counters["outliers_s"] = times.outlierRemoval;
    state.counters["triFilter_s"] = times.triFilter;
    state.counters["sure_s"] = times.sure;
    state.counters["secondPass_s"] = times.secondPass;
    state.counters["level1_s"] = times.coarseLevel;
    state.counters["merge_s"] = times.merge;
}

void firefliesMode(benchmark::State& state) {
    runDenoiser<HotPixelsDenoiser>(state, [](const HotPixelsDenoiser&) {});
}

/// The beauty and the light-select layers of a 1920x1080 render through `filterElements`, each
/// element's pixels read from the loaded render when the denoiser asks for them.
void wholeRender(benchmark::State& state) {
    const int width = int(state.range(0));
    const int height = int(state.range(1));
    const ChannelImage* image = sampleRender(width, height);
    if (!image) {
        state.SkipWithError("vespra-samplegen could not make the render");
        return;
    }
    std::vector<DenoiseElement> elements;
    for (const String& name : WHOLE_RENDER_ELEMENTS) {
        elements.push_back({[image, name](BitmapImpl<Rgb>& colour, BitmapImpl<Rgb>& squared) {
                                squared = colourOf(*image, squaredName(name));
                                colour = colourOf(*image, name);
                            },
                            ElementType{}});
    }
    double processor = 0.0;
    double features = 0.0;
    NlmPhaseTimes times;
    for (auto _ : state) {
        state.PauseTiming();
        DenoisingData data = denoisingData(*image);
        state.ResumeTiming();
        const double start = processorSeconds();
        const auto built = std::chrono::steady_clock::now();
        NlmDenoiser denoiser(Scheduler::highPriorityInstance(), std::move(data));
        features += std::chrono::duration<double>(std::chrono::steady_clock::now() - built).count();
        int stored = 0;
        denoiser.filterElements(
            elements, [](float) { return false; },
            [&](std::size_t, BitmapImpl<Rgb>&& result) {
                benchmark::DoNotOptimize(result);
                ++stored;
            });
        processor += processorSeconds() - start;
        times = denoiser.getPhaseTimes();
        if (stored != int(elements.size())) {
            state.SkipWithError("an element was not filtered");
        }
    }
    state.counters["cpu_s"] = processor / double(state.iterations());
    state.counters["features_s"] = features / double(state.iterations());
    state.counters["outliers_s"] = times.outlierRemoval;
    state.counters["triFilter_s"] = times.triFilter;
    state.counters["sure_s"] = times.sure;
    state.counters["secondPass_s"] = times.secondPass;
    state.counters["level1_s"] = times.coarseLevel;
    state.counters["merge_s"] = times.merge;
    state.counters["per_sweep"] = std::min<double>(
        double(elements.size()), NlmDenoiser::groupSize(std::size_t(width) * std::size_t(height)));
    state.SetLabel(fmt::format("{}x{}, {} elements", width, height, elements.size()));
    state.SetItemsProcessed(state.iterations() * std::int64_t(width) * height *
                            std::int64_t(elements.size()));
}

/// Processor seconds of the finished children of this process.
double childProcessorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return double(usage.ru_utime.tv_sec) + double(usage.ru_utime.tv_usec) * 1e-6 +
           double(usage.ru_stime.tv_sec) + double(usage.ru_stime.tv_usec) * 1e-6;
}

/// The batch tool from the render file to a saved picture: load, denoise the five elements,
/// colour-map and save.
void batchToolWholeRender(benchmark::State& state) {
    const int width = int(state.range(0));
    const int height = int(state.range(1));
    const Optional<std::filesystem::path> file = renderFile(width, height);
    if (!file) {
        state.SkipWithError("vespra-samplegen could not make the render");
        return;
    }
    const std::filesystem::path tool = buildProgram("VESPRA_IMAGE_CMD", "cmd", "vespra-image-cmd");
    const std::filesystem::path output = file->parent_path() / "whole_render_denoised.png";
    const std::string command =
        fmt::format("'{}' '{}' --denoise Full -o '{}' -q", tool.string(), file->string(), output.string());
    double processor = 0.0;
    for (auto _ : state) {
        const double start = childProcessorSeconds();
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("vespra-image-cmd failed");
            return;
        }
        processor += childProcessorSeconds() - start;
    }
    state.counters["cpu_s"] = processor / double(state.iterations());
    state.SetLabel(fmt::format("{}x{}, 5 elements", width, height));
    state.SetItemsProcessed(state.iterations() * std::int64_t(width) * height * 5);
}

} // namespace

BENCHMARK(wholeRender)
    ->Name("Full/whole render, 5 elements")
    ->Args({1920, 1080})
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();
BENCHMARK(batchToolWholeRender)
    ->Name("vespra-image-cmd whole render")
    ->Args({1920, 1080})
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();
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
