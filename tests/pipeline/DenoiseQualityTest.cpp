// The "Full" mode through the pipeline on renders of the sample scene, measured against a
// ground truth with many times the passes: the beauty and every light-select layer, at few and
// at more passes. Pixels whose ground truth goes above 5 (the lamp, its caustics, the sun patch)
// are measured apart: the outlier removal of the filter takes some of their brightness for
// fireflies, and their error says little about the rest of the picture.

#include <algorithm>
#include <cstdint>
#include <iostream>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "apps/samplegen/SampleRenderer.h"
#include "base/pipeline/OperatorGraph.h"
#include "settings/PropertyIds.h"
#include "tests/pipeline/PipelineTestSupport.h"

using namespace Vespra;
using namespace Vespra::Pipeline;
using namespace Vespra::Pipeline::Testing;

namespace {

constexpr int WIDTH = 96;
constexpr int HEIGHT = 72;
/// The two pass counts compared; the ground truth is made for the smaller. At fewer passes the
/// variance that guides the filter is too rough to take out two thirds of the error of the beauty.
constexpr int FEW_PASSES = 8;
constexpr int MORE_PASSES = 32;
/// Keeps the relative error of dark pixels finite.
constexpr double DARK_OFFSET = 0.01;
/// Pixels whose ground truth is brighter than this in some colour are measured apart.
constexpr float HIGHLIGHT = 5.f;

SampleGen::RenderJob frameJob(int passes) {
    return SampleGen::wholeFrameJob(WIDTH, HEIGHT, passes, 5);
}

/// Mean of (x - ref)^2 / (ref^2 + 0.01) over the colour lanes, of the pixels whose reference
/// stays at most `HIGHLIGHT` in all colours (`highlights` false) or goes above it (true).
double relativeError(const ColorBitmap& image, const ColorBitmap& reference, bool highlights) {
    double sum = 0.0;
    long count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const Rgb ref = reference(x, y);
            if ((std::max({ref.r, ref.g, ref.b}) > HIGHLIGHT) != highlights) {
                continue;
            }
            for (int c = 0; c < 3; ++c) {
                const double d = image(x, y)[c] - ref[c];
                sum += d * d / (double(ref[c]) * ref[c] + DARK_OFFSET);
            }
            count += 3;
        }
    }
    return count > 0 ? sum / double(count) : 0.0;
}

struct Errors {
    double noisy = 0.0;
    double denoised = 0.0;
    double noisyHighlights = 0.0;
    double denoisedHighlights = 0.0;
};

/// Loads `render`, denoises it in "Full" mode and measures `elements` before and after.
std::map<String, Errors> measure(ChannelImage render, const ChannelImage& reference,
                                 ArrayView<const String> elements) {
    Settings settings;
    OperatorGraph graph(settings);
    graph.load.setLoader(memoryLoader({{u"render", std::move(render)}}));
    EXPECT_TRUE(runToEnd(graph.load, [&] {
                    graph.load.setInput({}, Array<Io::Path>{Io::Path(u"render")});
                }).finished);
    settings.set(PropertyId::DENOISE_FILTER_TYPE, std::int32_t(DenoisingMode::FULL));
    const RunReport report = runToEnd(graph.denoise, [&] { graph.denoise.start(); });
    EXPECT_TRUE(report.finished) << report.error;

    const Bucket frame = Bucket::fromSize(WIDTH, HEIGHT);
    std::map<String, Errors> errors;
    for (const String& name : elements) {
        const ColorBitmap truth = reference.getRgbBitmap(name, frame, 1.f);
        const Optional<ColorBitmap> noisy = pullColorBitmap(&graph.load, name, frame, 1.f, 0);
        const Optional<ColorBitmap> denoised = pullColorBitmap(&graph.denoise, name, frame, 1.f, 0);
        EXPECT_TRUE(noisy && denoised) << name.toUtf8();
        if (noisy && denoised) {
            errors[name] = {relativeError(*noisy, truth, false), relativeError(*denoised, truth, false),
                            relativeError(*noisy, truth, true), relativeError(*denoised, truth, true)};
        }
    }
    return errors;
}

} // namespace

TEST(DenoiseQuality, FullModeCutsTheErrorOfEveryLayerOfTheSampleSceneToAThirdOrLess) {
    const ChannelImage reference =
        SampleGen::renderSampleImage(SampleGen::referenceJob(frameJob(FEW_PASSES)));
    const String elements[] = {u"", u"Key light", u"Fill light", u"Window", u"Rest (unassigned)"};
    for (const int passes : {FEW_PASSES, MORE_PASSES}) {
        const std::map<String, Errors> errors =
            measure(SampleGen::renderSampleImage(frameJob(passes)), reference, elements);
        for (const String& name : elements) {
            const Errors& e = errors.at(name);
            std::cout << fmt::format("{:>17} {:>3} passes: noisy relMSE {:.5f}, denoised {:.5f} ({:.1f}x); "
                                     "above {}: noisy {:.4f}, denoised {:.4f}\n",
                                     name.isEmpty() ? "beauty" : name.toUtf8(), passes, e.noisy, e.denoised,
                                     e.noisy / e.denoised, HIGHLIGHT, e.noisyHighlights,
                                     e.denoisedHighlights);
            EXPECT_LE(e.denoised, e.noisy / 3.0) << name.toUtf8() << ", " << passes << " passes";
        }
    }
}
