#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include "apps/cmd/BatchJob.h"
#include "tests/cmd/BatchToolRunner.h"
#include "apps/samplegen/SampleRenderer.h"
#include "apps/thumbnailer/Thumbnail.h"
#include "apps/thumbnailer/ThumbnailerTool.h"
#include "base/image/ExrSaver.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;
using namespace Vespra::Cmd::Testing;

namespace {

/// An 8-bit picture as read back from a PNG file.
struct Picture {
    int width = 0;
    int height = 0;
    int channels = 0;
    std::vector<unsigned char> values;

    int at(int x, int y, int channel) const {
        return values[(std::size_t(y) * std::size_t(width) + std::size_t(x)) * std::size_t(channels) +
                      std::size_t(channel)];
    }
};

Picture readPng(const std::string& path) {
    Picture picture;
    auto input = OIIO::ImageInput::open(path);
    EXPECT_TRUE(input) << "cannot open " << path;
    if (!input) {
        return picture;
    }
    const OIIO::ImageSpec& spec = input->spec();
    EXPECT_EQ(input->format_name(), std::string("png"));
    EXPECT_EQ(spec.format, OIIO::TypeDesc::UINT8) << "an 8-bit file";
    picture.width = spec.width;
    picture.height = spec.height;
    picture.channels = spec.nchannels;
    picture.values.resize(std::size_t(spec.width) * std::size_t(spec.height) * std::size_t(spec.nchannels));
    EXPECT_TRUE(input->read_image(0, 0, 0, spec.nchannels, OIIO::TypeDesc::UINT8, picture.values.data()));
    return picture;
}

/// The mean of `picture`'s channel over the pixels (x0 + step * i, y0 + step * j), i and j in
/// 0..count-1, in 8-bit units.
double blockMean(const Picture& picture, int x0, int y0, int count, int step, int channel) {
    double sum = 0.;
    for (int j = 0; j < count; ++j) {
        for (int i = 0; i < count; ++i) {
            sum += picture.at(x0 + step * i, y0 + step * j, channel);
        }
    }
    return sum / double(count * count);
}

struct ToolResult {
    int status = -1;
    std::string out;
    std::string err;
};

ToolResult runThumbnailer(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "vespra-thumbnailer");
    std::vector<const char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    std::ostringstream out;
    std::ostringstream err;
    ToolResult result;
    result.status = Thumbnailer::run(int(argv.size()), argv.data(), out, err);
    result.out = out.str();
    result.err = err.str();
    return result;
}

class ThumbnailerTool : public ::testing::Test {
protected:
    std::string file(const std::string& name) const { return (folder.path().std() / name).string(); }

    std::string writeRender(const std::string& name, int width, int height, int passes) {
        const SampleGen::RenderJob job = SampleGen::wholeFrameJob(width, height, passes, 5);
        EXPECT_TRUE(
            ExrSaver(false).save(SampleGen::renderSampleImage(job), Io::Path(String::fromUtf8(file(name)))));
        return file(name);
    }

    /// The picture the batch tool saves of the beauty of `input`, at full size.
    Picture batchPicture(const std::string& input) {
        const std::string output = file("batch-" + std::to_string(batchCount++) + ".png");
        EXPECT_EQ(runBatchTool({input, "-o", output}), Cmd::EXIT_OK);
        return readPng(output);
    }

    Picture thumbnail(const std::string& input, int size) {
        const std::string output = file("thumbnail-" + std::to_string(thumbnailCount++) + ".png");
        const ToolResult result = runThumbnailer({input, output, std::to_string(size)});
        EXPECT_EQ(result.status, Thumbnailer::EXIT_OK) << result.err;
        EXPECT_EQ(result.err, "");
        return readPng(output);
    }

    TemporaryFolder folder;
    int batchCount = 0;
    int thumbnailCount = 0;
};

void expectSamePicture(const Picture& actual, const Picture& expected) {
    ASSERT_EQ(actual.width, expected.width);
    ASSERT_EQ(actual.height, expected.height);
    ASSERT_EQ(actual.channels, expected.channels);
    int differing = 0;
    for (std::size_t i = 0; i < actual.values.size(); ++i) {
        differing += actual.values[i] != expected.values[i];
    }
    EXPECT_EQ(differing, 0) << "of " << actual.values.size() << " values";
}

double mean(const Picture& picture, int channel) {
    double sum = 0.;
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            sum += picture.at(x, y, channel);
        }
    }
    return sum / double(picture.width * picture.height);
}

} // namespace

TEST(ThumbnailSize, TheLongerSideBecomesTheSizeAndTheAspectStays) {
    EXPECT_EQ(Thumbnailer::thumbnailSize({1920, 1080}, 256), (Pixel{256, 144}));
    EXPECT_EQ(Thumbnailer::thumbnailSize({1080, 1920}, 256), (Pixel{144, 256}));
    EXPECT_EQ(Thumbnailer::thumbnailSize({3840, 2160}, 128), (Pixel{128, 72}));
    EXPECT_EQ(Thumbnailer::thumbnailSize({500, 500}, 100), (Pixel{100, 100}));
    // 1000 * 128 / 1500 = 85.33, 1000 * 256 / 1500 = 170.67
    EXPECT_EQ(Thumbnailer::thumbnailSize({1500, 1000}, 128), (Pixel{128, 85}));
    EXPECT_EQ(Thumbnailer::thumbnailSize({1500, 1000}, 256), (Pixel{256, 171}));
    // A sliver keeps at least one pixel.
    EXPECT_EQ(Thumbnailer::thumbnailSize({4000, 3}, 64), (Pixel{64, 1}));
}

TEST(ThumbnailSize, SmallImagesAreNeverEnlarged) {
    EXPECT_EQ(Thumbnailer::thumbnailSize({200, 100}, 256), (Pixel{200, 100}));
    EXPECT_EQ(Thumbnailer::thumbnailSize({256, 100}, 256), (Pixel{256, 100}));
    EXPECT_EQ(Thumbnailer::thumbnailSize({1, 1}, 1), (Pixel{1, 1}));
}

TEST(ThumbnailSize, TheGraphIsPulledWithSeveralPixelsForEachThumbnailPixel) {
    // 3840 / (4 * 256) = 3.75: every third pixel, 1280 across for 256.
    EXPECT_EQ(Thumbnailer::pullZoom({3840, 2160}, 256), 3);
    EXPECT_EQ(Thumbnailer::pullZoom({2160, 3840}, 256), 3);
    EXPECT_EQ(Thumbnailer::pullZoom({1920, 1080}, 256), 1);
    EXPECT_EQ(Thumbnailer::pullZoom({1920, 1080}, 128), 3);
    EXPECT_EQ(Thumbnailer::pullZoom({100, 50}, 1000), 1);
    EXPECT_EQ(Thumbnailer::pullZoom({128, 96}, 8), 4);
}

TEST(ThumbnailChannels, OnlyTheBeautyAndItsDenoisedVersionAreRead) {
    for (const char16_t* name : {u"R", u"G", u"B", u"A", u"Denoised.R", u"Denoised.G", u"Denoised.B"}) {
        EXPECT_TRUE(Thumbnailer::isBeautyChannel(name)) << String(name).toUtf8();
    }
    for (const char16_t* name : {u"Albedo.R", u"SqrBeauty.R", u"Key light.G", u"ZDepth", u"VESPRA_FB_WEIGHTS",
                                 u"VisibleNormals.A", u"DenoisedKey light.R"}) {
        EXPECT_FALSE(Thumbnailer::isBeautyChannel(name)) << String(name).toUtf8();
    }
}

TEST_F(ThumbnailerTool, ASmallImageIsWhatTheBatchToolSavesOfIt) {
    const std::string render = writeRender("small.vxr", 40, 28, 2);
    const Picture picture = thumbnail(render, 256);
    EXPECT_EQ(picture.channels, 4) << "the beauty's alpha comes along";
    expectSamePicture(picture, batchPicture(render));
}

TEST_F(ThumbnailerTool, TheSettingsStoredInTheImageApply) {
    const std::string render = writeRender("plain.vxr", 40, 28, 2);
    const std::string brighter = file("brighter.vxr");
    ASSERT_EQ(runBatchTool({render, "-p", "colorMap.simpleExposure=1.5", "-o", brighter}), Cmd::EXIT_OK);

    const Picture plain = thumbnail(render, 40);
    const Picture exposed = thumbnail(brighter, 40);
    expectSamePicture(exposed, batchPicture(brighter));
    EXPECT_GT(mean(exposed, 1), mean(plain, 1) + 10.) << "one and a half stops brighter";
}

TEST_F(ThumbnailerTool, TheDenoisedBeautyThatAFileCarriesIsShown) {
    const std::string render = writeRender("noisy.vxr", 40, 28, 2);
    const std::string denoised = file("denoised.vxr");
    ASSERT_EQ(runBatchTool({render, "--denoise=Full", "-o", denoised}), Cmd::EXIT_OK);

    const Picture picture = thumbnail(denoised, 64);
    expectSamePicture(picture, batchPicture(denoised));
    // Without the denoised element the picture would be the noisy one.
    const Picture noisy = batchPicture(render);
    ASSERT_EQ(noisy.values.size(), picture.values.size());
    int differing = 0;
    for (std::size_t i = 0; i < picture.values.size(); ++i) {
        differing += i % 4 != 3 && picture.values[i] != noisy.values[i];
    }
    EXPECT_GT(differing, int(picture.values.size() / 10)) << "colour values that the denoiser changed";
}

TEST_F(ThumbnailerTool, AReducedImageAveragesWhatTheBatchToolShows) {
    // 64 x 48 into 16: each thumbnail pixel is the mean of 4 x 4 shown pixels.
    const std::string render = writeRender("medium.vxr", 64, 48, 4);
    const Picture picture = thumbnail(render, 16);
    const Picture shown = batchPicture(render);
    ASSERT_EQ(picture.width, 16);
    ASSERT_EQ(picture.height, 12);
    ASSERT_EQ(picture.channels, shown.channels);
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            for (int channel = 0; channel < picture.channels; ++channel) {
                const double expected = blockMean(shown, 4 * x, 4 * y, 4, 1, channel);
                ASSERT_LE(std::abs(picture.at(x, y, channel) - expected), 1.)
                    << "pixel " << x << ", " << y << ", channel " << channel;
            }
        }
    }
}

TEST_F(ThumbnailerTool, ALargeImageIsPulledReducedAndAveraged) {
    // 128 x 96 into 8: the graph is pulled at zoom 4 (every fourth pixel, 32 x 24), and each
    // thumbnail pixel is the mean of 4 x 4 of those.
    const std::string render = writeRender("large.vxr", 128, 96, 4);
    const Picture picture = thumbnail(render, 8);
    const Picture shown = batchPicture(render);
    ASSERT_EQ(picture.width, 8);
    ASSERT_EQ(picture.height, 6);
    ASSERT_EQ(picture.channels, shown.channels);
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            for (int channel = 0; channel < picture.channels; ++channel) {
                const double expected = blockMean(shown, 16 * x, 16 * y, 4, 4, channel);
                ASSERT_LE(std::abs(picture.at(x, y, channel) - expected), 1.)
                    << "pixel " << x << ", " << y << ", channel " << channel;
            }
        }
    }
}

TEST_F(ThumbnailerTool, AnUnreadableImageFailsWithItsName) {
    const ToolResult missing = runThumbnailer({file("missing.vxr"), file("out.png"), "128"});
    EXPECT_EQ(missing.status, Thumbnailer::EXIT_FAILED);
    EXPECT_NE(missing.err.find("\"" + file("missing.vxr") + "\""), std::string::npos) << missing.err;
    EXPECT_FALSE(std::filesystem::exists(file("out.png")));

    std::ofstream(file("text.vxr")) << std::string(300, 'x');
    const ToolResult text = runThumbnailer({file("text.vxr"), file("out.png"), "128"});
    EXPECT_EQ(text.status, Thumbnailer::EXIT_FAILED);
    EXPECT_EQ(text.err, "Error: Cannot read image file \"" + file("text.vxr") +
                            "\". File is not a supported image file.\n");
    EXPECT_FALSE(std::filesystem::exists(file("out.png")));
}

TEST_F(ThumbnailerTool, AnUnwritableOutputFails) {
    const std::string render = writeRender("tiny.vxr", 8, 6, 1);
    const ToolResult result = runThumbnailer({render, file("no folder/out.png"), "128"});
    EXPECT_EQ(result.status, Thumbnailer::EXIT_FAILED);
    EXPECT_NE(result.err.find("Cannot save image"), std::string::npos) << result.err;
}

TEST_F(ThumbnailerTool, TheOutputIsAPngWhateverItsName) {
    const std::string render = writeRender("tiny.vxr", 8, 6, 1);
    const ToolResult result = runThumbnailer({render, file("thumbnail.tmp"), "4"});
    ASSERT_EQ(result.status, Thumbnailer::EXIT_OK) << result.err;
    const Picture picture = readPng(file("thumbnail.tmp"));
    EXPECT_EQ(picture.width, 4);
    EXPECT_EQ(picture.height, 3);
}

TEST_F(ThumbnailerTool, UsageErrorsAnswerTwo) {
    const std::string render = writeRender("tiny.vxr", 8, 6, 1);
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                      {render},
                                                      {render, file("a.png")},
                                                      {render, file("a.png"), "0"},
                                                      {render, file("a.png"), "-5"},
                                                      {render, file("a.png"), "big"},
                                                      {render, file("a.png"), "64", "extra"},
                                                      {"--size", "3", render, file("a.png")}}) {
        const ToolResult result = runThumbnailer(arguments);
        EXPECT_EQ(result.status, Thumbnailer::EXIT_USAGE) << testing::PrintToString(arguments);
        EXPECT_NE(result.err.find("--help"), std::string::npos) << result.err;
        EXPECT_EQ(result.out, "");
    }
    EXPECT_FALSE(std::filesystem::exists(file("a.png")));

    const ToolResult help = runThumbnailer({"--help"});
    EXPECT_EQ(help.status, Thumbnailer::EXIT_OK);
    EXPECT_NE(help.out.find("INPUT OUTPUT SIZE"), std::string::npos) << help.out;
    EXPECT_EQ(help.err, "");
}
