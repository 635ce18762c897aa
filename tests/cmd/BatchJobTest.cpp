#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "apps/cmd/BatchJob.h"
#include "tests/cmd/BatchToolRunner.h"
#include "apps/samplegen/RenderNodes.h"
#include "apps/samplegen/SampleRenderer.h"
#include "base/image/ExrLoader.h"
#include "base/image/ExrSaver.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;
using namespace Vespra::Cmd::Testing;

namespace {

constexpr int WIDTH = 40;
constexpr int HEIGHT = 28;

SampleGen::RenderJob frameJob(int passes) {
    return SampleGen::wholeFrameJob(WIDTH, HEIGHT, passes, 11);
}

class BatchTool : public ::testing::Test {
protected:
    std::string file(const std::string& name) const { return (folder.path().std() / name).string(); }

    std::string writeRender(const std::string& name, const SampleGen::RenderJob& job) {
        const ChannelImage image = SampleGen::renderSampleImage(job);
        EXPECT_TRUE(ExrSaver(false).save(image, Io::Path(String::fromUtf8(file(name)))).has_value());
        return file(name);
    }

    ChannelImage read(const std::string& path) const {
        auto loaded = ExrLoader(false).load(Io::Path(String::fromUtf8(path)));
        EXPECT_TRUE(loaded.has_value()) << (loaded ? "" : loaded.error().toUtf8());
        return loaded ? std::move(*loaded) : ChannelImage();
    }

    TemporaryFolder folder;
};

} // namespace

TEST_F(BatchTool, NodeFilesMergeIntoTheirWeightedMean) {
    const Stack<SampleGen::RenderJob> jobs = SampleGen::splitIntoNodes(frameJob(6), 3);
    std::vector<ChannelImage> nodes;
    std::vector<std::string> arguments;
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        arguments.push_back(writeRender("node" + std::to_string(i + 1) + ".vxr", jobs[i]));
        nodes.push_back(read(arguments.back()));
    }
    arguments.insert(arguments.end(), {"-o", file("merged.vxr")});
    ASSERT_EQ(runBatchToolCapturing(arguments).status, Cmd::EXIT_OK);

    // The mean weighted by each node's passes, where each node covers its own data window.
    const ChannelImage merged = read(file("merged.vxr"));
    const auto& result = merged.findChannel<float>(u"Key light.G")->data;
    int partlyCovered = 0;
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) {
            double sum = 0.0;
            double weights = 0.0;
            int covering = 0;
            for (const ChannelImage& node : nodes) {
                const Bucket window = node.getDataWindow();
                if (!window.contains(Pixel{x, y})) {
                    continue;
                }
                const std::size_t index = std::size_t((y - window.y0) * window.width() + (x - window.x0));
                const double w = node.findChannel<float>(u"VESPRA_FB_WEIGHTS")->data[index];
                sum += w * node.findChannel<float>(u"Key light.G")->data[index];
                weights += w;
                ++covering;
            }
            partlyCovered += covering < int(nodes.size());
            const double expected = weights > 0.0 ? sum / weights : 0.0;
            ASSERT_NEAR(result[std::size_t(y * WIDTH + x)], expected, 1e-5 * (1.0 + std::abs(expected)))
                << x << "," << y;
        }
    }
    EXPECT_GT(partlyCovered, 0); // one node rendered only part of the frame
    // The weight sums stay in the file: a pixel all nodes rendered has all six passes.
    const Bucket partial = SampleGen::partialNodeWindow(WIDTH, HEIGHT);
    EXPECT_EQ(
        merged.findChannel<float>(u"VESPRA_FB_WEIGHTS")->data[std::size_t(partial.y0 * WIDTH + partial.x0)],
        6.f);
}

TEST_F(BatchTool, ExitStatusesAndMessages) {
    const std::string render = writeRender("render.vxr", frameJob(1));

    EXPECT_EQ(runBatchToolCapturing({}).status, Cmd::EXIT_USAGE);
    EXPECT_EQ(runBatchToolCapturing({render, "-w", "heavy"}).status, Cmd::EXIT_USAGE);
    const CommandResult help = runBatchToolCapturing({"--help"});
    EXPECT_EQ(help.status, Cmd::EXIT_OK);
    EXPECT_NE(help.message.find("%VESPRA_FB_WEIGHTS"), std::string::npos);

    EXPECT_EQ(runBatchToolCapturing({file("missing.vxr")}).status, Cmd::EXIT_FAILED);
    EXPECT_EQ(runBatchToolCapturing({render, "-p", "colorMap.nothing=1"}).status, Cmd::EXIT_USAGE);
    EXPECT_EQ(runBatchToolCapturing({render, "-p", "bloomGlare.streakCount=9"}).status, Cmd::EXIT_USAGE);
    EXPECT_EQ(runBatchToolCapturing({render, "-p", "colorMap.contrast=abc"}).status, Cmd::EXIT_USAGE);
    EXPECT_EQ(runBatchToolCapturing({render, "-o", file("out.xyz")}).status, Cmd::EXIT_USAGE);
    EXPECT_EQ(runBatchToolCapturing({render, "-o", file("out.png"), "-e", "Nothing"}).status, Cmd::EXIT_FAILED);
    EXPECT_EQ(runBatchToolCapturing({render, "-c", file("missing.conf")}).status, Cmd::EXIT_FAILED);

    ASSERT_EQ(runBatchToolCapturing({render, "-o", file("out.png"), "-e", "BEAUTY", "-e", "ZDepth"}).status, Cmd::EXIT_OK);
    EXPECT_TRUE(std::filesystem::exists(file("out.png")));
    EXPECT_TRUE(std::filesystem::exists(file("out_ZDepth.png")));
}

TEST_F(BatchTool, ATableThatCannotBeReadFailsThePictureAndWritesNothing) {
    const std::filesystem::path realTable = "../shared/testdata/lut/saturation.3dl";
    if (!std::filesystem::exists(realTable)) {
        GTEST_SKIP() << realTable << " is not there";
    }
    const std::string render = writeRender("render.vxr", frameJob(1));
    // A real table cut off halfway through its rows, as an interrupted copy leaves it.
    std::ifstream whole(realTable);
    const std::string text((std::istreambuf_iterator<char>(whole)), std::istreambuf_iterator<char>());
    std::ofstream(file("truncated.3dl")) << text.substr(0, text.size() / 2);
    std::ofstream(file("table.txt")) << "not a table\n";
    const std::pair<std::string, std::string> cases[] = {
        {file("truncated.3dl"), "LUT file does not have standard format"},
        {file("missing.cube"), "File not found or cannot be opened"},
        {file("table.txt"), "Unsupported file format (must be either .cube or .3dl)"},
    };
    for (const auto& [table, reason] : cases) {
        std::filesystem::remove(file("out.png"));
        ::testing::internal::CaptureStderr();
        const CommandResult result = runBatchToolCapturing(
            {render, "-p", "colorMap.lut.enable=true", "-p", "colorMap.lut.path=" + table, "-o", file("out.png")});
        const std::string messages = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(result.status, Cmd::EXIT_FAILED) << table;
        EXPECT_NE(messages.find("Error loading LUT file '" + table + "': \n" + reason), std::string::npos)
            << messages;
        EXPECT_FALSE(std::filesystem::exists(file("out.png"))) << table;
    }
    // Switched off, the same broken table is no reason to fail.
    EXPECT_EQ(runBatchToolCapturing({render, "-p", "colorMap.lut.path=" + file("missing.cube"), "-o", file("out.png")}).status,
              Cmd::EXIT_OK);
}

TEST_F(BatchTool, ListsElementsAndSettingsAndKeepsThemInAVxr) {
    const std::string render = writeRender("render.vxr", frameJob(1));
    const CommandResult listed = runBatchToolCapturing({render, "--list-elements", "--json"});
    ASSERT_EQ(listed.status, Cmd::EXIT_OK);
    EXPECT_NE(listed.out.find("{\"name\": \"Key light\", \"kind\": \"color\""), std::string::npos)
        << listed.out;
    EXPECT_NE(listed.out.find("{\"name\": \"ZDepth\", \"kind\": \"mono\""), std::string::npos);
    EXPECT_EQ(listed.out.find("VESPRA_FB_WEIGHTS"), std::string::npos); // internal

    ASSERT_EQ(runBatchToolCapturing({render, "-p", "colorMap.contrast=1.75", "-p", "colorMap.lightmixIntensities=1,0.5,2,1",
                       "-o", file("edited.vxr")})
                  .status,
              Cmd::EXIT_OK);
    // The saved file has the same elements, with the same kinds and flags, as the render.
    EXPECT_EQ(runBatchToolCapturing({file("edited.vxr"), "--list-elements"}).out, runBatchToolCapturing({render, "--list-elements"}).out);
    const ChannelImage edited = read(file("edited.vxr"));
    const ChannelImage original = read(render);
    // Every description but alpha's, whose channel travels with the beauty, stays with its element.
    for (const RenderElementInfo& info : original.getRenderElementInfos()) {
        const auto saved = edited.getRenderElementInfos();
        const bool kept = std::ranges::any_of(saved, [&](const RenderElementInfo& s) { return s == info; });
        EXPECT_EQ(kept, info.name != u"Alpha") << info.toString().toUtf8();
    }
    const CommandResult printed = runBatchToolCapturing({file("edited.vxr"), "--print-settings"});
    ASSERT_EQ(printed.status, Cmd::EXIT_OK);
    EXPECT_NE(printed.out.find("Float       colorMap.contrast      = 1.75\n"), std::string::npos)
        << printed.out;
    EXPECT_NE(printed.out.find("FloatArray  colorMap.lightmixIntensities      = 1, 0.5, 2, 1\n"),
              std::string::npos);
    // A render without stored settings shows the defaults, its last line ended like the others.
    const std::string defaults = runBatchToolCapturing({render, "--print-settings"}).out;
    EXPECT_NE(defaults.find("Float       colorMap.contrast      = 1\n"), std::string::npos);
    ASSERT_FALSE(defaults.empty());
    EXPECT_EQ(defaults.back(), '\n');
}
