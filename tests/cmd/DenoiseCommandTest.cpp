#include <sstream>

#include <gtest/gtest.h>

#include "apps/cmd/BatchJob.h"
#include "tests/cmd/BatchToolRunner.h"
#include "apps/samplegen/SampleRenderer.h"
#include "base/image/ExrLoader.h"
#include "base/image/ExrSaver.h"
#include "base/pipeline/ImageSettings.h"
#include "settings/PropertyCatalogue.h"
#include "settings/PropertyIds.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;
using namespace Vespra::Cmd::Testing;

namespace {

constexpr int WIDTH = 40;
constexpr int HEIGHT = 28;

class DenoiseCommand : public ::testing::Test {
protected:
    std::string file(const std::string& name) const { return (folder.path().std() / name).string(); }

    std::string writeRender(const std::string& name, int passes) {
        const SampleGen::RenderJob job = SampleGen::wholeFrameJob(WIDTH, HEIGHT, passes, 3);
        EXPECT_TRUE(
            ExrSaver(false).save(SampleGen::renderSampleImage(job), Io::Path(String::fromUtf8(file(name)))));
        return file(name);
    }

    ChannelImage read(const std::string& path) const {
        auto loaded = ExrLoader(false).load(Io::Path(String::fromUtf8(path)));
        EXPECT_TRUE(loaded.has_value()) << (loaded ? "" : loaded.error().toUtf8());
        return loaded ? std::move(*loaded) : ChannelImage();
    }

    /// The denoising mode that a saved file carries in its settings.
    DenoisingMode savedMode(const std::string& path) const {
        const ChannelImage image = read(path);
        const Optional<Property> mode =
            Pipeline::readPropertyAttribute(image, *PropertyDescriptor::get(PropertyId::DENOISE_FILTER_TYPE));
        return mode ? DenoisingMode(mode->asInt()) : DenoisingMode::NONE;
    }

    TemporaryFolder folder;
};

} // namespace

TEST_F(DenoiseCommand, DenoisedElementsAreSavedInTheChosenOrBestMode) {
    const std::string render = writeRender("render.vxr", 8);
    ASSERT_EQ(runBatchTool({render, "--denoise", "-o", file("best.vxr")}), Cmd::EXIT_OK);
    EXPECT_EQ(savedMode(file("best.vxr")), DenoisingMode::FULL);
    const ChannelImage best = read(file("best.vxr"));
    for (const char16_t* element : {u"Denoised", u"DenoisedKey light", u"DenoisedWindow"}) {
        EXPECT_TRUE(best.hasRgbElement(element)) << String(element).toUtf8();
    }
    // The denoised pixels differ from the noisy ones they came from.
    EXPECT_NE(best.findChannel<float>(u"DenoisedKey light.R")->data,
              best.findChannel<float>(u"Key light.R")->data);

    ASSERT_EQ(runBatchTool({render, "--denoise=Fireflies", "-o", file("fireflies.vxr")}), Cmd::EXIT_OK);
    EXPECT_EQ(savedMode(file("fireflies.vxr")), DenoisingMode::FIREFLIES);
    EXPECT_TRUE(read(file("fireflies.vxr")).hasRgbElement(u"Denoised"));

    // Without --denoise nothing is denoised.
    ASSERT_EQ(runBatchTool({render, "-o", file("plain.vxr")}), Cmd::EXIT_OK);
    EXPECT_FALSE(read(file("plain.vxr")).hasRgbElement(u"Denoised"));
}

TEST_F(DenoiseCommand, BadModesAreUsageErrorsAndFailuresExitWithOne) {
    const std::string render = writeRender("render.vxr", 8);
    EXPECT_EQ(runBatchTool({render, "--denoise=Fulll", "-o", file("out.vxr")}), Cmd::EXIT_USAGE);
    // Modes that filter nothing are no choice for --denoise.
    EXPECT_EQ(runBatchTool({render, "--denoise=None", "-o", file("out.vxr")}), Cmd::EXIT_USAGE);
    EXPECT_EQ(runBatchTool({render, "--denoise=Gather", "-o", file("out.vxr")}), Cmd::EXIT_USAGE);
    EXPECT_EQ(Cmd::parseDenoisingMode("NVIDIA AI denoiser"), DenoisingMode::NVIDIA_AI);

    // One pass a pixel: no mode runs.
    const std::string preview = writeRender("preview.vxr", 1);
    EXPECT_EQ(runBatchTool({preview, "--denoise", "-o", file("out.vxr")}), Cmd::EXIT_FAILED);
    // The sample render has no features for the GPU mode.
    EXPECT_EQ(runBatchTool({render, "--denoise=NVIDIA AI denoiser", "-o", file("out.vxr")}), Cmd::EXIT_FAILED);
}
