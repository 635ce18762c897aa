// The colour mapping of a 1920x1080 frame. First the evaluator on a synthetic HDR frame (a smooth
// gradient with a few very bright spots), mapped in place with the parallel loop of the colour-map
// operator, in its display and exact flavours, with and without a 33^3 table and curves (on the
// master curve alone, or on all four as a curve file grades). Then the whole graph: a display pull
// of a sample render from the `zoom` operator with tone mapping and the table on. Then sharpening
// and blurring of the display frame at several radii, whose cost does not depend on the radius. A
// plain copy of the frame runs in the same program as the floor set by memory bandwidth. Times are
// wall-clock; the CPU column is that of the whole process.

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <stdexcept>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "apps/samplegen/SampleRenderer.h"
#include "base/pipeline/OperatorGraph.h"
#include "imaging/ColorMapping.h"
#include "imaging/SharpenBlur.h"
#include "settings/PropertyIds.h"

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

/// The tone mapping of the benchmarks; every step of the chain is active.
void setToneMapping(PostProcessData& data) {
    data.contrast = 1.3f;
    data.saturation = 0.2f;
    data.filmicHighlights = 0.6f;
    data.richShadows = 0.2f;
    data.highlightCompression = 1.5f;
    data.colorTemp = 5500.f;
    data.vignetteIntensity = 0.4f;
}

const std::filesystem::path& gradeCube() {
    static const std::filesystem::path cube = writeGradeCube();
    return cube;
}

/// Which curves are on: none, an S-curve on the master curve alone, or a grade in all four, with
/// the node counts of a typical curve file.
enum class Curves { NONE, MASTER, ALL_FOUR };

ColorCurve gradeCurves() {
    const Vector2 master[] = {{0.f, 0.f}, {0.2f, 0.15f}, {0.45f, 0.47f}, {0.7f, 0.78f}, {1.f, 1.f}};
    const Vector2 red[] = {{0.f, 0.02f},  {0.12f, 0.1f},  {0.35f, 0.38f},
                           {0.6f, 0.66f}, {0.85f, 0.88f}, {1.f, 0.97f}};
    const Vector2 green[] = {{0.f, 0.f}, {0.3f, 0.28f}, {0.55f, 0.57f}, {1.f, 1.f}};
    const Vector2 blue[] = {{0.f, 0.08f}, {0.25f, 0.26f}, {0.5f, 0.47f}, {0.75f, 0.7f}, {1.f, 0.9f}};
    return ColorCurve(Curve(master), Curve(red, CurveInterpolation::CHORDAL_CUBIC),
                      Curve(green, CurveInterpolation::LINEAR_SPLINES), Curve(blue));
}

PostProcessData toneMapping(bool withLut, Curves curves) {
    PostProcessData data;
    data.originalImageSize = {float(WIDTH), float(HEIGHT)};
    setToneMapping(data);
    if (withLut) {
        data.lutEnabled = true;
        data.lutPath = Io::Path(gradeCube());
    }
    if (curves == Curves::MASTER) {
        data.curvesEnabled = true;
        const Vector2 nodes[] = {{0.f, 0.f}, {0.25f, 0.2f}, {0.75f, 0.8f}, {1.f, 1.f}};
        data.curves = ColorCurve(Curve(nodes), {}, {}, {});
    } else if (curves == Curves::ALL_FOUR) {
        data.curvesEnabled = true;
        data.curves = gradeCurves();
    }
    return data;
}

const BitmapImpl<Rgb>& frame() {
    static const BitmapImpl<Rgb> bitmap = hdrFrame();
    return bitmap;
}

void setThroughput(benchmark::State& state, const std::string& what) {
    state.SetLabel(fmt::format("{}x{} {}", WIDTH, HEIGHT, what));
    state.SetItemsProcessed(state.iterations() * std::int64_t(WIDTH) * HEIGHT);
    state.SetBytesProcessed(state.iterations() * std::int64_t(WIDTH) * HEIGHT * std::int64_t(sizeof(Rgb)));
}

/// What the colour-map stage of a pull of the whole frame costs: the evaluator built from the
/// record (the table from the cache) and every row mapped in parallel, in place.
void mapFrame(benchmark::State& state, ColorMapFlavour flavour, bool withLut, Curves curves) {
    const PostProcessData data = toneMapping(withLut, curves);
    const ColorMapping warmUp(data); // fills the table cache
    BitmapImpl<Rgb> bitmap(WIDTH, HEIGHT);
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(bitmap.data(), frame().data(), std::size_t(WIDTH) * HEIGHT * sizeof(Rgb));
        state.ResumeTiming();
        const ColorMapping mapping(data);
        mapping.applyToBitmap(bitmap, {0, 0}, 1.f, flavour);
        benchmark::ClobberMemory();
    }
    setThroughput(state, fmt::format("flags {}{}{}", std::uint32_t(flavour), withLut ? " +lut" : "",
                                     curves == Curves::MASTER     ? " +curves"
                                     : curves == Curves::ALL_FOUR ? " +4 curves"
                                                                  : ""));
}

/// The display frame, gamma-encoded: mostly within [0, 1], the lamps above.
const BitmapImpl<Rgb>& displayFrame() {
    static const BitmapImpl<Rgb> bitmap = [] {
        BitmapImpl<Rgb> encoded = frame();
        for (Rgb& pixel : encoded.view()) {
            pixel = Rgb(std::pow(pixel.r, 1.f / 2.2f), std::pow(pixel.g, 1.f / 2.2f),
                        std::pow(pixel.b, 1.f / 2.2f));
        }
        return encoded;
    }();
    return bitmap;
}

/// The sharpen-and-blur stage of a pull of the whole frame at zoom 1: a blur and an unsharp
/// mask of the same radius, in full-image pixels, rows and columns in parallel.
void sharpenBlurFrame(benchmark::State& state, float radius) {
    SharpenBlur filter;
    filter.configure(true, 0.5f, radius, radius);
    BitmapImpl<Rgb> bitmap;
    for (auto _ : state) {
        state.PauseTiming();
        bitmap = displayFrame();
        state.ResumeTiming();
        filter.apply(true, bitmap, 1);
        benchmark::ClobberMemory();
    }
    setThroughput(state, fmt::format("radius {}", radius));
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

/// The operator graph with a one-pass sample render loaded.
class LoadedGraph {
public:
    LoadedGraph() {
        const SampleGen::RenderJob job = SampleGen::wholeFrameJob(WIDTH, HEIGHT, 1);
        graph.load.setLoader(makeShared<Pipeline::LoadOperator::Loader>(
            [image = SampleGen::renderSampleImage(job)](const Io::Path&) -> Expected<ChannelImage, String> {
                return image;
            }));
        std::promise<String> loaded;
        graph.load.onFinished = [&loaded](const String&) { loaded.set_value({}); };
        graph.load.onError = [&loaded](const String& message) { loaded.set_value(message); };
        graph.load.setInput({}, Array<Io::Path>{Io::Path(u"sample.vxr")});
        const String error = loaded.get_future().get();
        graph.load.onFinished = {};
        graph.load.onError = {};
        if (!error.isEmpty()) {
            throw std::runtime_error(error.toUtf8());
        }
    }

    /// Tone mapping at its defaults or with every step active, and the table on. Loading
    /// restored the settings stored in the image; these come after.
    void configure(bool everyStep) {
        namespace Id = PropertyId;
        PostProcessData data;
        if (everyStep) {
            setToneMapping(data);
        }
        settings.set(Id::CONTRAST, data.contrast);
        settings.set(Id::SATURATION, data.saturation);
        settings.set(Id::FILMIC_HIGHLIGHT_COMPRESSION, data.filmicHighlights);
        settings.set(Id::FILMIC_RICH_SHADOWS, data.richShadows);
        settings.set(Id::HIGHLIGHT_COMPRESSION, data.highlightCompression);
        settings.set(Id::COLOR_TEMP, data.colorTemp);
        settings.set(Id::VIGNETTE_INTENSITY, data.vignetteIntensity);
        settings.set(Id::LUT_ENABLE, true);
        settings.set(Id::LUT_PATH, String::fromUtf8(gradeCube().string()));
        settings.set(Id::CURVES_ENABLE, false);
        settings.set(Id::SHARPENING_BLURRING_ENABLE, false);
        settings.set(Id::BLOOM_GLARE_ENABLED, false);
    }

    Settings settings;
    Pipeline::OperatorGraph graph{settings};
};

LoadedGraph& loadedGraph() {
    static LoadedGraph loaded;
    return loaded;
}

enum class Pull { LOAD_ONLY, DEFAULTS_AND_LUT, EVERY_STEP_AND_LUT };

/// A pull of the whole frame at zoom 1 for the display, from the end of the graph (`zoom`)
/// with sharpen and blur off, or, to show what reading the image alone costs, from its source
/// (`load`). With `tile` the frame comes in pulls of tiles of that side, as an image view asks for
/// it, which adds what each pull costs besides its pixels.
void pullFrame(benchmark::State& state, Pull pull, int tile) {
    LoadedGraph& loaded = loadedGraph();
    loaded.configure(pull == Pull::EVERY_STEP_AND_LUT);
    Pipeline::IOperator* target =
        pull == Pull::LOAD_ONLY ? static_cast<Pipeline::IOperator*>(&loaded.graph.load) : &loaded.graph.zoom;
    const Bucket frame = Bucket::fromSize(WIDTH, HEIGHT);
    const Pixel tileSize = tile > 0 ? Pixel{tile, tile} : frame.size();
    for (auto _ : state) {
        for (std::int32_t y = 0; y < HEIGHT; y += tileSize.y) {
            for (std::int32_t x = 0; x < WIDTH; x += tileSize.x) {
                const Bucket region = Bucket{x, y, x + tileSize.x, y + tileSize.y}.intersect(frame);
                Optional<Pipeline::ColorBitmap> pixels =
                    Pipeline::pullColorBitmap(target, u"", region, 1.f, Pipeline::PullFlag::DISPLAY);
                if (!pixels || pixels->size() != region.size()) {
                    state.SkipWithError("the graph delivered no frame");
                    return;
                }
                benchmark::DoNotOptimize(pixels->data());
            }
        }
    }
    const std::string what = pull == Pull::LOAD_ONLY          ? "load only"
                             : pull == Pull::DEFAULTS_AND_LUT ? "flags 1 defaults +lut"
                                                              : "flags 1 all steps +lut";
    setThroughput(state, tile > 0 ? fmt::format("{} in {}x{} tiles", what, tile, tile) : what);
}

/// Wall-clock milliseconds, and beside them the processor time of the whole process.
void inMillisecondsWithProcessTime(benchmark::internal::Benchmark* registered) {
    registered->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
}

} // namespace

BENCHMARK_CAPTURE(mapFrame, display, ColorMapFlavour::FAST_POWER, false, Curves::NONE)
    ->Name("ColorMap/frame/display")
    ->Apply(inMillisecondsWithProcessTime);
BENCHMARK_CAPTURE(mapFrame, displayLut, ColorMapFlavour::FAST_POWER, true, Curves::NONE)
    ->Name("ColorMap/frame/display+lut")
    ->Apply(inMillisecondsWithProcessTime);
BENCHMARK_CAPTURE(mapFrame, exactLut, ColorMapFlavour::EXACT, true, Curves::NONE)
    ->Name("ColorMap/frame/exact+lut")
    ->Apply(inMillisecondsWithProcessTime);
BENCHMARK_CAPTURE(mapFrame, displayLutCurves, ColorMapFlavour::FAST_POWER, true, Curves::MASTER)
    ->Name("ColorMap/frame/display+lut+curves")
    ->Apply(inMillisecondsWithProcessTime);
BENCHMARK_CAPTURE(mapFrame, displayLutFourCurves, ColorMapFlavour::FAST_POWER, true, Curves::ALL_FOUR)
    ->Name("ColorMap/frame/display+lut+4curves")
    ->Apply(inMillisecondsWithProcessTime);
BENCHMARK_CAPTURE(mapFrame, exactLutFourCurves, ColorMapFlavour::EXACT, true, Curves::ALL_FOUR)
    ->Name("ColorMap/frame/exact+lut+4curves")
    ->Apply(inMillisecondsWithProcessTime);
BENCHMARK_CAPTURE(pullFrame, load, Pull::LOAD_ONLY, 0)
    ->Name("Graph/loadPull")
    ->Apply(inMillisecondsWithProcessTime);
BENCHMARK_CAPTURE(pullFrame, defaults, Pull::DEFAULTS_AND_LUT, 0)
    ->Name("Graph/displayPull/defaults+lut")
    ->Apply(inMillisecondsWithProcessTime);
BENCHMARK_CAPTURE(pullFrame, tiles, Pull::DEFAULTS_AND_LUT, 256)
    ->Name("Graph/displayPull/defaults+lut/tiles256")
    ->Apply(inMillisecondsWithProcessTime);
BENCHMARK_CAPTURE(pullFrame, everyStep, Pull::EVERY_STEP_AND_LUT, 0)
    ->Name("Graph/displayPull/everyStep+lut")
    ->Apply(inMillisecondsWithProcessTime);
BENCHMARK_CAPTURE(sharpenBlurFrame, radius1, 1.f)
    ->Name("SharpenBlur/frame/radius1")
    ->Apply(inMillisecondsWithProcessTime);
BENCHMARK_CAPTURE(sharpenBlurFrame, radius10, 10.f)
    ->Name("SharpenBlur/frame/radius10")
    ->Apply(inMillisecondsWithProcessTime);
BENCHMARK_CAPTURE(sharpenBlurFrame, radius50, 50.f)
    ->Name("SharpenBlur/frame/radius50")
    ->Apply(inMillisecondsWithProcessTime);
BENCHMARK(frameCopy)->Name("ColorMap/copy")->Apply(inMillisecondsWithProcessTime);

BENCHMARK_MAIN();
