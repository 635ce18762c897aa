// Bloom and glare with the default settings (3 streaks) on the sample render at 960x540,
// 1920x1080 and 3840x2160, to show that the cost grows with the pixels and not with the radii.
// The render has few passes, so one pixel in eleven is above the default threshold of 1, spread
// over the whole frame; a threshold of 4 leaves only the lamps, as in a clean render, where the
// cascade skips what stays black.
// Then a LightMix pull of the whole 1920x1080 frame, summing its 4 light-select layers, as the
// display makes it through the operator graph.

#include <future>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "apps/samplegen/SampleRenderer.h"
#include "base/image/ElementNames.h"
#include "base/pipeline/OperatorGraph.h"
#include "imaging/BloomGlare.h"

using namespace Vespra;
using namespace Vespra::Pipeline;

namespace {

constexpr int BASE_WIDTH = 960;
constexpr int BASE_HEIGHT = 540;

SampleGen::RenderJob sampleJob(int width, int height) {
    return SampleGen::wholeFrameJob(width, height, 2);
}

const ChannelImage& baseRender() {
    static const ChannelImage image = SampleGen::renderSampleImage(sampleJob(BASE_WIDTH, BASE_HEIGHT));
    return image;
}

/// The beauty of the base render, each pixel repeated `factor` times along both axes, so that
/// the larger frames show the same scene without rendering it again.
BitmapImpl<Rgb> beautyAt(int factor) {
    const BitmapImpl<Rgb> beauty =
        baseRender().getRgbBitmap(u"", Bucket::fromSize(BASE_WIDTH, BASE_HEIGHT), 1.f);
    BitmapImpl<Rgb> frame(BASE_WIDTH * factor, BASE_HEIGHT * factor);
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) {
            frame(x, y) = beauty(x / factor, y / factor);
        }
    }
    return frame;
}

void setThroughput(benchmark::State& state, Pixel size, const char* what) {
    state.SetLabel(fmt::format("{}x{} {}", size.x, size.y, what));
    state.SetItemsProcessed(state.iterations() * std::int64_t(size.x) * size.y);
    state.SetBytesProcessed(state.iterations() * std::int64_t(size.x) * size.y * std::int64_t(sizeof(Rgb)));
}

void bloomAndGlareFrame(benchmark::State& state) {
    const BitmapImpl<Rgb> source = beautyAt(int(state.range(0)));
    PostProcessData::BloomGlare params;
    params.threshold = float(state.range(1));
    // One run before the timed ones, as the editor has made one before the next: its frames of
    // scratch come back from the allocator's cache instead of as fresh pages.
    BitmapImpl<Rgb> bitmap = source;
    bloomAndGlare(ImageOperatorsFlag::PARALLEL, bitmap, params);
    for (auto _ : state) {
        state.PauseTiming();
        bitmap = source;
        state.ResumeTiming();
        bloomAndGlare(ImageOperatorsFlag::PARALLEL, bitmap, params);
        benchmark::DoNotOptimize(bitmap.data());
    }
    setThroughput(state, source.size(), fmt::format("3 streaks above {}", params.threshold).c_str());
}

void lightMixPull(benchmark::State& state) {
    const SampleGen::RenderJob job = sampleJob(2 * BASE_WIDTH, 2 * BASE_HEIGHT);
    Settings settings;
    OperatorGraph graph(settings);
    const auto loader = makeShared<LoadOperator::Loader>(
        [image = SampleGen::renderSampleImage(job)](const Io::Path&) -> Expected<ChannelImage, String> {
            return image;
        });
    graph.load.setLoader(loader);
    std::promise<void> loaded;
    graph.load.onFinished = [&](const String&) { loaded.set_value(); };
    graph.load.onError = [&](const String&) { loaded.set_value(); };
    graph.load.setInput({}, Array<Io::Path>{Io::Path(u"sample")});
    loaded.get_future().wait();
    const Bucket frame = job.dataWindow;
    if (!findElement(&graph.lightMix, LIGHT_MIX_INTERACTIVE_NAME)) {
        state.SkipWithError("the sample render did not load");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(pullColorBitmap(&graph.lightMix, LIGHT_MIX_INTERACTIVE_NAME, frame, 1.f, 0));
    }
    setThroughput(state, frame.size(), "4 layers");
}

} // namespace

BENCHMARK(bloomAndGlareFrame)
    ->Name("BloomGlare")
    ->Args({1, 1})
    ->Args({2, 1})
    ->Args({4, 1})
    ->Args({2, 4})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();
BENCHMARK(lightMixPull)
    ->Name("LightMix/pull")
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

BENCHMARK_MAIN();
