// The batch tool writes what the display shows: colour mapping, look-up table, curves and
// sharpening from -p and .conf reach the saved PNG.

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include "apps/cmd/BatchJob.h"
#include "base/image/ExrSaver.h"
#include "imaging/Lut.h"
#include "tests/foundation/TemporaryFolder.h"
#include "tests/pipeline/PipelineTestSupport.h"
#include "tests/samplegen/SampleImages.h"

using namespace Vespra;

namespace {

constexpr const char* LUT_FILE = "../shared/testdata/lut/saturation.3dl";
constexpr double DISPLAY_GAMMA = 2.2;
/// An 8-bit PNG holds a value to within half a step; a little more covers float rounding.
constexpr double PNG_TOLERANCE = 0.6 / 255.0;

/// A sample render, saved as a VXR file, and its linear beauty as the tool reads it.
class SampleRender {
public:
    SampleRender() : path(folder.path().std() / "render.vxr") {
        const auto saved =
            ExrSaver(false).save(SampleGen::renderSampleImage(SampleImages::tinyJob(2)), Io::Path(path));
        EXPECT_TRUE(saved.has_value()) << (saved ? "" : saved.error().toUtf8());
        Settings settings;
        Pipeline::OperatorGraph graph(settings);
        const Pipeline::Testing::RunReport report = Pipeline::Testing::runToEnd(
            graph.load, [&] { graph.load.setInput({}, Array<Io::Path>{Io::Path(path)}); });
        EXPECT_TRUE(report.finished) << report.error.toUtf8();
        Optional<Pipeline::ColorBitmap> pixels = pullColorBitmap(
            &graph.load, u"", Bucket::fromSize(SampleImages::WIDTH, SampleImages::HEIGHT), 1.f, 0);
        EXPECT_TRUE(pixels.has_value());
        if (pixels) {
            linear = std::move(*pixels);
        }
    }

    /// Runs the tool on the render with `configure`d options; answers the PNG's pixels.
    template <class Configure>
    std::vector<float> toPng(const std::string& name, Configure configure) {
        Cmd::CommandLineOptions options;
        options.inputs = {path.string()};
        options.output = (folder.path().std() / name).string();
        options.quiet = true;
        configure(options);
        std::ostringstream messages;
        EXPECT_EQ(Cmd::BatchJob(options, messages).run(), Cmd::EXIT_OK) << messages.str();
        return readRgb(options.output);
    }

    std::string writeConf(const std::string& name, const std::string& text) const {
        const std::filesystem::path conf = folder.path().std() / name;
        std::ofstream(conf) << text;
        return conf.string();
    }

    TemporaryFolder folder;
    std::filesystem::path path;
    Pipeline::ColorBitmap linear;

private:
    static std::vector<float> readRgb(const std::string& file) {
        auto input = OIIO::ImageInput::open(file);
        if (!input) {
            ADD_FAILURE() << "cannot read " << file;
            return {};
        }
        const OIIO::ImageSpec& spec = input->spec();
        EXPECT_EQ(spec.width, SampleImages::WIDTH);
        EXPECT_EQ(spec.height, SampleImages::HEIGHT);
        std::vector<float> values(spec.image_pixels() * 3);
        EXPECT_TRUE(input->read_image(0, 0, 0, 3, OIIO::TypeDesc::FLOAT, values.data()));
        return values;
    }
};

double encode(double linear) {
    return std::pow(std::max(linear, 0.0), 1.0 / DISPLAY_GAMMA);
}

double toPng(double value) {
    return std::clamp(value, 0.0, 1.0);
}

/// The master curve of the test: linear through (0, 0), (0.5, 0.7), (1, 1).
double masterCurve(double v) {
    return v < 0.5 ? 1.4 * v : 0.7 + 0.6 * (v - 0.5);
}

/// High-frequency energy: how far each inner value lies from the mean of its four neighbours.
double detail(const std::vector<float>& rgb) {
    const int w = SampleImages::WIDTH;
    double sum = 0.0;
    for (int y = 1; y + 1 < SampleImages::HEIGHT; ++y) {
        for (int x = 1; x + 1 < w; ++x) {
            for (int c = 0; c < 3; ++c) {
                const auto at = [&](int px, int py) {
                    return double(rgb[std::size_t((py * w + px) * 3 + c)]);
                };
                sum +=
                    std::abs(at(x, y) - 0.25 * (at(x - 1, y) + at(x + 1, y) + at(x, y - 1) + at(x, y + 1)));
            }
        }
    }
    return sum;
}

double mean(const std::vector<float>& values) {
    double sum = 0.0;
    for (const float v : values) {
        sum += v;
    }
    return sum / double(values.size());
}

} // namespace

TEST(ColorSettingsCmd, ExposureBrightensBeforeGamma) {
    SampleRender render;
    const std::vector<float> plain = render.toPng("plain.png", [](Cmd::CommandLineOptions&) {});
    const std::vector<float> brighter = render.toPng("brighter.png", [](Cmd::CommandLineOptions& options) {
        options.properties = {"colorMap.simpleExposure=1"};
    });
    ASSERT_EQ(plain.size(), std::size_t(SampleImages::WIDTH * SampleImages::HEIGHT * 3));
    ASSERT_EQ(brighter.size(), plain.size());
    int unclipped = 0;
    for (int y = 0; y < SampleImages::HEIGHT; ++y) {
        for (int x = 0; x < SampleImages::WIDTH; ++x) {
            for (int c = 0; c < 3; ++c) {
                const std::size_t i = std::size_t((y * SampleImages::WIDTH + x) * 3 + c);
                const double linear = render.linear(x, y)[c];
                ASSERT_NEAR(plain[i], toPng(encode(linear)), PNG_TOLERANCE) << x << "," << y;
                // One stop doubles the linear value: 2^(1/2.2) times brighter once encoded.
                ASSERT_NEAR(brighter[i], toPng(encode(2.0 * linear)), PNG_TOLERANCE) << x << "," << y;
                unclipped += encode(2.0 * linear) < 0.95 && linear > 0.02;
            }
        }
    }
    EXPECT_GT(unclipped, SampleImages::WIDTH * SampleImages::HEIGHT);
}

TEST(ColorSettingsCmd, ConfWithTableCurvesAndSharpening) {
    if (!std::filesystem::exists(LUT_FILE)) {
        GTEST_SKIP() << LUT_FILE << " is not there";
    }
    SampleRender render;
    const std::string graded = "Bool colorMap.lut.enable = true\n"
                               "String colorMap.lut.path = " +
                               std::string(LUT_FILE) +
                               "\n"
                               "Bool curves.enable = true\n"
                               "Vec2Array curves.master.nodes = 0 0, 0.5 0.7, 1 1\n"
                               "Int curves.master.interpol = Linear splines\n";
    const std::string gradedConf = render.writeConf("graded.conf", graded);
    const std::vector<float> gradedPng = render.toPng(
        "graded.png", [&](Cmd::CommandLineOptions& options) { options.confFiles = {gradedConf}; });

    // The table acts on linear values, the curve on encoded ones.
    Lut lut;
    ASSERT_EQ(lut.load(Io::Path(std::filesystem::path(LUT_FILE)), 1.f, DEFAULT_LUT_FLAGS | LutFlag::ACTIVE,
                       float(DISPLAY_GAMMA)),
              LutResult::OK);
    ASSERT_EQ(gradedPng.size(), std::size_t(SampleImages::WIDTH * SampleImages::HEIGHT * 3));
    double lutEffect = 0.0;
    for (int y = 0; y < SampleImages::HEIGHT; ++y) {
        for (int x = 0; x < SampleImages::WIDTH; ++x) {
            const Rgb linear = render.linear(x, y);
            const Rgb withTable =
                lut(Rgb(std::max(linear.r, 0.f), std::max(linear.g, 0.f), std::max(linear.b, 0.f)));
            for (int c = 0; c < 3; ++c) {
                const std::size_t i = std::size_t((y * SampleImages::WIDTH + x) * 3 + c);
                ASSERT_NEAR(gradedPng[i], toPng(masterCurve(encode(withTable[c]))), PNG_TOLERANCE)
                    << x << "," << y;
                lutEffect += std::abs(withTable[c] - linear[c]);
            }
        }
    }
    EXPECT_GT(lutEffect, 0.5) << "the table should change the picture";

    // Sharpening on top keeps the brightness, up to what the clipping at 0 and 1 takes away,
    // and adds detail.
    const std::string sharpConf =
        render.writeConf("sharp.conf", graded + "Bool sharpening.blurring.enable = true\n"
                                                "Float sharpening.amount = 1\n"
                                                "Float sharpening.radius = 1.5\n"
                                                "Float blurring.radius = 0\n");
    const std::vector<float> sharpPng =
        render.toPng("sharp.png", [&](Cmd::CommandLineOptions& options) { options.confFiles = {sharpConf}; });
    EXPECT_NEAR(mean(sharpPng), mean(gradedPng), 0.03);
    EXPECT_GT(detail(sharpPng), 1.2 * detail(gradedPng));
}
