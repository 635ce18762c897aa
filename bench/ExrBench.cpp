// Load and save of a large multi-channel image, and the read of the same file by OpenImageIO's
// command-line tool as the peer figure.

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>

#include <sys/resource.h>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "base/image/ExrLoader.h"
#include "base/image/ExrSaver.h"

using namespace Vespra;

namespace {

constexpr std::int32_t WIDTH = 1920;
constexpr std::int32_t HEIGHT = 1080;
constexpr int CHANNELS = 40;
constexpr std::int64_t PIXELS = std::int64_t(WIDTH) * HEIGHT;
constexpr std::int64_t PIXEL_BYTES = PIXELS * CHANNELS * 4;

/// Smooth gradients with a little noise, kept to steps of 1/1024 like a converged render in
/// a bounded range: it compresses, but not to nothing.
ChannelImage makeImage() {
    ChannelImage image(Bucket::fromSize(WIDTH, HEIGHT), Bucket::fromSize(WIDTH, HEIGHT), 1.f);
    std::uint32_t seed = 12345;
    for (int c = 0; c < CHANNELS; ++c) {
        const String name = c < 3 ? String(c == 0   ? u"R"
                                           : c == 1 ? u"G"
                                                    : u"B")
                                  : String::fromUtf8(fmt::format("Layer{:02}.{}", c / 3, "RGB"[c % 3]));
        Channel<float>& channel = image.addChannel<float>(name);
        channel.resize(WIDTH, HEIGHT);
        for (std::int32_t y = 0; y < HEIGHT; ++y) {
            float* row = channel.row(std::uint32_t(y));
            for (std::int32_t x = 0; x < WIDTH; ++x) {
                seed = seed * 1664525u + 1013904223u;
                const float noise = float(seed >> 28) / 1024.f;
                const float value = float(x) / WIDTH * float(c + 1) + std::sin(float(y) * 0.01f) + noise;
                row[x] = std::round(value * 1024.f) / 1024.f;
            }
        }
    }
    return image;
}

struct Fixture {
    std::filesystem::path folder;
    Io::Path file;
    ChannelImage image;

    Fixture() : folder(std::filesystem::temp_directory_path() / "vespra-bench-exr"), image(makeImage()) {
        std::filesystem::create_directories(folder);
        // The peer tool picks its reader by the extension.
        file = Io::Path(folder / "bench.exr");
        if (!ExrSaver(true).save(image, file)) {
            std::abort();
        }
    }
    ~Fixture() {
        std::error_code error;
        std::filesystem::remove_all(folder, error);
    }
};

Fixture& fixture() {
    static Fixture instance;
    return instance;
}

/// Processor seconds used by `who` (this process with all its threads, or its finished children).
/// On a busy machine they compare two readers better than the wall-clock time.
double processorSeconds(int who) {
    rusage usage{};
    getrusage(who, &usage);
    const auto seconds = [](const timeval& t) { return double(t.tv_sec) + double(t.tv_usec) * 1e-6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void report(benchmark::State& state, double processorTime) {
    state.counters["cpu_s"] = processorTime / double(state.iterations());
    state.SetLabel(fmt::format("{}x{}x{}", WIDTH, HEIGHT, CHANNELS));
    state.SetItemsProcessed(state.iterations() * PIXELS);
    state.SetBytesProcessed(state.iterations() * PIXEL_BYTES);
    state.counters["file_MB"] = double(std::filesystem::file_size(fixture().file.std())) / 1e6;
}

void exrLoad(benchmark::State& state) {
    const Io::Path& file = fixture().file;
    const double start = processorSeconds(RUSAGE_SELF);
    for (auto _ : state) {
        auto loaded = ExrLoader(true).load(file);
        if (!loaded) {
            state.SkipWithError(loaded.error().toUtf8().c_str());
            break;
        }
        benchmark::DoNotOptimize(loaded->channels.size());
    }
    report(state, processorSeconds(RUSAGE_SELF) - start);
}

void exrSave(benchmark::State& state) {
    const Io::Path target(fixture().folder / "saved.exr");
    const double start = processorSeconds(RUSAGE_SELF);
    for (auto _ : state) {
        const auto saved = ExrSaver(true).save(fixture().image, target);
        if (!saved) {
            state.SkipWithError(saved.error().toUtf8().c_str());
            break;
        }
    }
    report(state, processorSeconds(RUSAGE_SELF) - start);
}

/// The whole read of the same file by oiiotool: --printstats visits every pixel.
void oiiotoolRead(benchmark::State& state) {
    const std::string command =
        fmt::format("oiiotool \"{}\" --printstats > /dev/null 2>&1", fixture().file.nativeStr());
    const double startChildren = processorSeconds(RUSAGE_CHILDREN);
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const int status = std::system(command.c_str());
        const auto end = std::chrono::steady_clock::now();
        if (status != 0) {
            state.SkipWithError("oiiotool failed or is not installed");
            break;
        }
        state.SetIterationTime(std::chrono::duration<double>(end - start).count());
    }
    report(state, processorSeconds(RUSAGE_CHILDREN) - startChildren);
}

} // namespace

BENCHMARK(exrLoad)->Name("ExrLoad")->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(oiiotoolRead)->Name("OiiotoolRead")->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(2.0);
BENCHMARK(exrSave)->Name("ExrSave")->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

BENCHMARK_MAIN();
