#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "apps/samplegen/RenderNodes.h"
#include "apps/samplegen/SampleRenderer.h"
#include "base/image/ExrSaver.h"

using namespace Vespra;
using namespace Vespra::SampleGen;

namespace {

constexpr char USAGE[] =
    "Renders one fixed room scene with a small path tracer and writes it as a VXR file, laid out as the\n"
    "renderer writes its output: beauty and alpha, a light-select layer per light group (\"Key light\",\n"
    "\"Fill light\", \"Window\", \"Rest (unassigned)\" for the emitters of no group), the denoising\n"
    "features VisibleDiffuse, VisibleNormals (its A the object identifier, over 32) and Hybrid, the data\n"
    "elements ZDepth, Albedo and Normals, the \"Sqr\" element of every denoisable one, and the passes per\n"
    "pixel in VESPRA_FB_WEIGHTS.\n"
    "\n"
    "The room holds what makes denoising hard: a fine black-and-white checker floor under a glossy\n"
    "varnish, fine noise on the back wall, rods and a neon wire thinner than a pixel, a mirror and a glass\n"
    "ball under a small bright lamp (caustics, fireflies), and a hard-edged sun patch far above 1 whose\n"
    "light reaches the rest of the room through few paths.\n"
    "\n"
    "Each pass averages --spp samples per pixel; the file stores the mean of the passes and, for the\n"
    "Sqr elements, the mean of their squares. The same seed gives the same pixels.\n"
    "\n"
    "With --nodes K the passes are split among K render nodes, written as OUT_node1.vxr ...\n"
    "OUT_nodeK.vxr; the last of several covers only part of the frame. Merged by their weights, the\n"
    "node files give the picture of the single file.\n"
    "\n"
    "--reference renders {} times the passes from an independent stream: a ground truth for the\n"
    "noisy file of the same options.\n"
    "\n"
    "Example: vespra-samplegen --width 1920 --height 1080 --passes 8 -o room.vxr";

constexpr int MAX_SIZE = 1 << 15;
constexpr int MAX_COUNT = 1 << 16;

struct Options {
    int width = 1920;
    int height = 1080;
    int passes = 8;
    int samplesPerPass = 1;
    std::uint64_t seed = 1;
    int nodes = 0;
    bool reference = false;
    std::string output;
};

/// Percentages on one line of a terminal, or a line every tenth when stderr is a file.
class ProgressPrinter {
public:
    explicit ProgressPrinter(std::string label) : label(std::move(label)), terminal(isatty(STDERR_FILENO)) {}

    void operator()(float fraction) {
        const int step = terminal ? 1 : 10;
        const int percent = int(fraction * 100.f) / step * step;
        int shown = lastShown.load();
        while (percent > shown) {
            if (lastShown.compare_exchange_weak(shown, percent)) {
                fmt::print(stderr, "{}{}: {:3}%{}", terminal ? "\r" : "", label, percent,
                           terminal ? "" : "\n");
                return;
            }
        }
    }

    void finish() const {
        if (terminal) {
            fmt::print(stderr, "\n");
        }
    }

private:
    std::string label;
    bool terminal;
    std::atomic<int> lastShown = -1;
};

bool renderAndSave(const RenderJob& job, const Io::Path& path) {
    const std::string label = path.nativeStr().toUtf8();
    ProgressPrinter printer(label);
    const auto start = std::chrono::steady_clock::now();
    const ChannelImage image = renderSampleImage(job, [&](float fraction) { printer(fraction); });
    printer.finish();
    const auto rendered = std::chrono::steady_clock::now();
    const auto saved = ExrSaver(true).save(image, path);
    if (!saved) {
        fmt::print(stderr, "{}\n", saved.error().toUtf8());
        return false;
    }
    const std::chrono::duration<double> renderTime = rendered - start;
    const std::chrono::duration<double> saveTime = std::chrono::steady_clock::now() - rendered;
    fmt::print(stderr, "{}: {}x{} pixels of {}x{}, passes {}..{}: rendered in {:.2f} s, saved in {:.2f} s\n",
               label, job.dataWindow.width(), job.dataWindow.height(), job.width, job.height,
               job.firstPass + 1, job.firstPass + job.passCount, renderTime.count(), saveTime.count());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app(fmt::format(USAGE, REFERENCE_PASS_FACTOR), "vespra-samplegen");
    Options options;
    app.option_defaults()->always_capture_default();
    app.add_option("--width", options.width, "Frame width in pixels")->check(CLI::Range(1, MAX_SIZE));
    app.add_option("--height", options.height, "Frame height in pixels")->check(CLI::Range(1, MAX_SIZE));
    app.add_option("--passes", options.passes, "Passes over the frame, in all nodes together")
        ->check(CLI::Range(1, MAX_COUNT));
    app.add_option("--spp", options.samplesPerPass, "Samples per pixel in each pass")
        ->check(CLI::Range(1, MAX_COUNT));
    app.add_option("--seed", options.seed, "Seed of the random samples");
    app.add_option("--nodes", options.nodes, "Write the passes as this many render node files (0: one file)")
        ->check(CLI::Range(0, MAX_COUNT));
    app.add_flag("--reference", options.reference, "Render a low-noise ground truth");
    app.add_option("-o,--output", options.output, "The VXR file to write")->required();
    try {
        app.parse(argc, argv);
        if (options.nodes > options.passes) {
            throw CLI::ValidationError("--nodes", "each node needs at least one pass; raise --passes");
        }
    } catch (const CLI::ParseError& error) {
        const int status = app.exit(error);
        return status == 0 ? 0 : 2;
    }

    RenderJob frame = wholeFrameJob(options.width, options.height, options.passes, options.seed);
    frame.samplesPerPass = options.samplesPerPass;
    if (options.reference) {
        frame = referenceJob(frame);
    }

    const Io::Path output(String::fromUtf8(options.output));
    if (options.nodes == 0) {
        return renderAndSave(frame, output) ? 0 : 1;
    }
    const Stack<RenderJob> jobs = splitIntoNodes(frame, options.nodes);
    for (std::size_t index = 0; index < jobs.size(); ++index) {
        if (!renderAndSave(jobs[index], nodeOutputPath(output, int(index) + 1))) {
            return 1;
        }
    }
    return 0;
}
