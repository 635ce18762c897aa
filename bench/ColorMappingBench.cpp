// The colour mapping on a synthetic 1920x1080 HDR frame (a smooth gradient with a few very bright
// spots): the evaluator alone on one thread in its display and exact flavours, with and without a
// 33^3 table and curves; then a whole frame mapped in place with the parallel loop of the
// colour-map operator, next to a plain copy of the frame as the floor set by memory bandwidth.

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "imaging/ColorMapping.h"

using namespace Vespra;

namespace {

constexpr int WIDTH = 1920;
constexpr int HEIGHT = 1080;
constexpr int LUT_SIZE = 33;

BitmapImpl<Rgb> hdrFrame() {
    BitmapImpl<Rgb> frame(WIDTH, HEIGHT);
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) {
            const float u = float(x) / WIDTH;
            const float v = float(y) / HEIGHT;
            Rgb pixel(0.02f + 1.2f * u * v, 0.05f + 0.8f * u, 0.1f + 0.6f * (1.f - v), 1.f);
            // A few lamps far above white.
            if ((x / 240 + y / 180) % 5 == 0 &&
                (x % 240 - 120) * (x % 240 - 120) + (y % 180 - 90) * (y % 180 - 90) < 64) {
                pixel = Rgb(40.f, 30.f, 20.f, 1.f);
            }
            frame(x, y) = pixel;
        }
    }
    return frame;
}

/// A mild grade: a little crosstalk between the channels and a soft shoulder.
std::filesystem::path writeGradeCube() {
    const std::filesystem::path path = std::filesystem::temp_directory_path() / "vespra-bench-grade.cube";
    std::ofstream file(path);
    file << "TITLE \"bench grade\"\nLUT_3D_SIZE " << LUT_SIZE << "\n";
    for (int b = 0; b < LUT_SIZE; ++b) {
        for (int g = 0; g < LUT_SIZE; ++g) {
            for (int r = 0; r < LUT_SIZE; ++r) {
                const float x = float(r) / (LUT_SIZE - 1), y = float(g) / (LUT_SIZE - 1),
                            z = float(b) / (LUT_SIZE - 1);
                const auto shoulder = [](float c) { return c / (0.15f + c) * 1.15f; };
                file << shoulder(0.9f * x + 0.1f * y) << ' ' << shoulder(0.05f * x + 0.9f * y + 0.05f * z)
                     << ' ' << shoulder(0.1f * y + 0.9f * z) << '\n';
            }
        }
    }
    return path;
}

PostProcessData toneMapping(bool withLutAndCurves) {
    PostProcessData data;
    data.originalImageSize = {float(WIDTH), float(HEIGHT)};
    data.contrast = 1.3f;
    data.saturation = 0.2f;
    data.filmicHighlights = 0.6f;
    data.richShadows = 0.2f;
    data.highlightCompression = 1.5f;
    data.colorTemp = 5500.f;
    data.vignetteIntensity = 0.4f;
    if (withLutAndCurves) {
        static const std::filesystem::path cube = writeGradeCube();
        data.lutEnabled = true;
        data.lutPath = Io::Path(cube);
        data.curvesEnabled = true;
        const Vector2 nodes[] = {{0.f, 0.f}, {0.25f, 0.2f}, {0.75f, 0.8f}, {1.f, 1.f}};
        data.curves = ColorCurve(Curve(nodes), {}, {}, {});
    }
    return data;
}

const BitmapImpl<Rgb>& frame() {
    static const BitmapImpl<Rgb> bitmap = hdrFrame();
    return bitmap;
}

void setThroughput(benchmark::State& state, const char* what) {
    state.SetLabel(fmt::format("{}x{} {}", WIDTH, HEIGHT, what));
    state.SetItemsProcessed(state.iterations() * std::int64_t(WIDTH) * HEIGHT);
    state.SetBytesProcessed(state.iterations() * std::int64_t(WIDTH) * HEIGHT * std::int64_t(sizeof(Rgb)));
}

/// One thread, pixel by pixel, as the evaluator's own cost.
void evaluate(benchmark::State& state, ColorMapFlavour flavour, bool withLutAndCurves) {
    const ColorMapping mapping(toneMapping(withLutAndCurves));
    const BitmapImpl<Rgb>& source = frame();
    for (auto _ : state) {
        Rgb sum(0.f);
        for (int y = 0; y < HEIGHT; ++y) {
            const Rgb* row = source.row(y);
            for (int x = 0; x < WIDTH; ++x) {
                sum += mapping(row[x], {x, y}, flavour);
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    setThroughput(state, withLutAndCurves ? "lut+curves" : "plain");
}

/// What a display pull of the whole frame costs in the colour-map stage: the evaluator built
/// from the record (the table from the cache) and every row mapped in parallel, in place.
void frameInParallel(benchmark::State& state) {
    const PostProcessData data = toneMapping(true);
    const ColorMapping warmUp(data); // fills the table cache
    BitmapImpl<Rgb> bitmap(WIDTH, HEIGHT);
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(bitmap.data(), frame().data(), std::size_t(WIDTH) * HEIGHT * sizeof(Rgb));
        state.ResumeTiming();
        const ColorMapping mapping(data);
        mapping.applyToBitmap(bitmap, {0, 0}, 1.f, colorMapFlavour(1));
        benchmark::ClobberMemory();
    }
    setThroughput(state, "flags 1, lut");
}

/// The floor: reading and writing the frame once.
void frameCopy(benchmark::State& state) {
    BitmapImpl<Rgb> target(WIDTH, HEIGHT);
    for (auto _ : state) {
        std::memcpy(target.data(), frame().data(), std::size_t(WIDTH) * HEIGHT * sizeof(Rgb));
        benchmark::ClobberMemory();
    }
    setThroughput(state, "memcpy");
}

} // namespace

BENCHMARK_CAPTURE(evaluate, display, ColorMapFlavour::FAST_POWER, false)
    ->Name("ColorMap/display")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(evaluate, exact, ColorMapFlavour::EXACT, false)
    ->Name("ColorMap/exact")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(evaluate, displayLut, ColorMapFlavour::FAST_POWER, true)
    ->Name("ColorMap/display+lut")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(evaluate, exactLut, ColorMapFlavour::EXACT, true)
    ->Name("ColorMap/exact+lut")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(frameInParallel)->Name("ColorMap/frame")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(frameCopy)->Name("ColorMap/copy")->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
