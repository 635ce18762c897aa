#include <gtest/gtest.h>

#include "base/image/VxrMetadata.h"
#include "base/pipeline/ImageSettings.h"
#include "base/pipeline/OperatorGraph.h"
#include "settings/PropertyIds.h"
#include "tests/pipeline/PipelineTestSupport.h"

using namespace Vespra;
using namespace Vespra::Pipeline;
using namespace Vespra::Pipeline::Testing;

namespace {

constexpr Bucket FRAME{0, 0, 6, 4};

ChannelImage renderImage() {
    ChannelImage image(FRAME, FRAME, 1.f);
    addColorElement(image, u"", [](int x, int y, int c) { return float(x + y + c); });
    addMonoChannel(image, u"A", [](int, int) { return 1.f; });
    addColorElement(image, u"Key light", [](int x, int, int) { return float(x); });
    addColorElement(image, u"SqrKey light", [](int x, int, int) { return float(x * x); });
    addMonoChannel(image, u"ZDepth", [](int x, int) { return float(x); });
    addMonoChannel(image, DEFAULT_WEIGHT_CHANNEL, [](int, int) { return 4.f; });
    const RenderElementInfo infos[] = {
        {u"Key light", RenderElementFlag::COLOR_MAPPED | RenderElementFlag::BLOOM_EFFECT,
         RenderElementType::LIGHT_SELECT},
        {u"LightMix", RenderElementFlag::VIRTUAL, RenderElementType::LIGHT_MIX},
    };
    image.setRenderElementInfos(infos);
    return image;
}

/// A graph loaded with the render, whose savers write into `saved`.
struct SavingGraph {
    Settings settings;
    OperatorGraph graph{settings};
    std::map<String, ChannelImage> saved;
    std::vector<String> written;

    SavingGraph() {
        graph.load.setLoader(memoryLoader({{u"render", renderImage()}}));
        EXPECT_TRUE(runToEnd(graph.load, [this] {
                        graph.load.setInput({}, Array<Io::Path>{Io::Path(u"render")});
                    }).finished);
        const auto keep = makeShared<SaveVxrOperatorBase::Saver>([this](const ChannelImage& image, const Io::Path& path) {
            saved[path.genericStr()] = image;
            return Expected<bool, String>(true);
        });
        graph.saveVxr.setSaver(keep);
        graph.saveVxrCli.setSaver(keep);
        graph.saveSeparate.setWriter([this](const Io::Path& path, const Abstract::BitmapIterator& pixels, bool,
                                            ImageFormat, const ImageSaveSettings&) {
            written.push_back(path.genericStr() + u":" + String::fromUtf8(std::to_string(pixels.channels())));
            return Expected<bool, String>(true);
        });
    }

    RunReport saveSeparate(Array<ElementInfo> elements, const char16_t* path) {
        return runToEnd(graph.saveSeparate, [&] {
            graph.saveSeparate.setOutput(std::move(elements), Io::Path(path), ImageFormat::PNG, {});
        });
    }
    RunReport saveCli(const char16_t* path, const char16_t* element) {
        return runToEnd(graph.saveVxrCli, [&] { graph.saveVxrCli.setOutput(Io::Path(path), element); });
    }
    ElementInfo element(const char16_t* name) { return *findElement(&graph.zoom, name); }
};

} // namespace

TEST(SaveOperators, VxrKeepsElementsDescriptionsAndSettings) {
    SavingGraph saving;
    saving.settings.set(PropertyId::SIMPLE_EXPOSURE, 2.5f);
    saving.settings.set(PropertyId::CURVES_ENABLE, true);
    const RunReport report =
        runToEnd(saving.graph.saveVxr, [&] { saving.graph.saveVxr.setOutput(Io::Path(u"out/edited.vxr")); });
    ASSERT_TRUE(report.finished) << report.error;
    const ChannelImage& image = saving.saved.at(u"out/edited.vxr");
    for (const char16_t* channel : {u"R", u"G", u"B", u"Key light.R", u"SqrKey light.B", u"ZDepth", u"VESPRA_FB_WEIGHTS"}) {
        EXPECT_NE(image.findChannel<float>(channel), nullptr) << String(channel).toUtf8();
    }
    EXPECT_EQ(image.findChannel<float>(u"Key light.R")->row(0)[5], 5.f);
    const auto exposure = readPropertyAttribute(image, *PropertyDescriptor::get(PropertyId::SIMPLE_EXPOSURE));
    ASSERT_TRUE(exposure);
    EXPECT_EQ(exposure->asFloat(), 2.5f);
    EXPECT_EQ(readPropertyAttribute(image, *PropertyDescriptor::get(PropertyId::CURVES_ENABLE))->asBool(), true);
    const auto infos = image.getRenderElementInfos();
    ASSERT_FALSE(infos.empty());
    EXPECT_EQ(infos[0].name, String(u"Key light"));
}

TEST(SaveOperators, CommandLineVxrWithOneElementOrAll) {
    SavingGraph saving;
    ASSERT_TRUE(saving.saveCli(u"all.vxr", u"*").finished);
    EXPECT_NE(saving.saved.at(u"all.vxr").findChannel<float>(u"Key light.G"), nullptr);

    // One element takes the place of the beauty, with its squared counterpart and the weights.
    ASSERT_TRUE(saving.saveCli(u"key.vxr", u"Key light").finished);
    const ChannelImage& key = saving.saved.at(u"key.vxr");
    EXPECT_EQ(key.findChannel<float>(u"R")->row(1)[3], 3.f);
    EXPECT_EQ(key.findChannel<float>(u"SqrBeauty.R")->row(1)[3], 9.f);
    EXPECT_NE(key.findChannel<float>(u"VESPRA_FB_WEIGHTS"), nullptr);
    EXPECT_EQ(key.findChannel<float>(u"Key light.R"), nullptr);

    EXPECT_EQ(saving.saveCli(u"x.vxr", u"Nothing").error,
              String(u"Render element \"Nothing\" cannot be saved to Vespra EXR.\nThe element either does not exist, "
                     u"or saving such element alone is not supported."));
    EXPECT_EQ(saving.saveCli(u"", u"*").error, String(u"Well-formed output image path is expected."));
}

TEST(SaveOperators, SeparateFilesAreNamedPerElement) {
    SavingGraph saving;
    ASSERT_TRUE(saving.saveSeparate({saving.element(u""), saving.element(u"ZDepth")}, u"dir/a.png").finished);
    ASSERT_EQ(saving.written.size(), 2u);
    EXPECT_EQ(saving.written[0], String(u"dir/a.png:4")); // the beauty has alpha
    EXPECT_EQ(saving.written[1], String(u"dir/a_ZDepth.png:3"));

    // One element keeps the path as given, even when it is not the beauty.
    saving.written.clear();
    ASSERT_TRUE(saving.saveSeparate({saving.element(u"Key light")}, u"b.png").finished);
    EXPECT_EQ(saving.written.at(0), String(u"b.png:3"));

    EXPECT_EQ(saving.saveSeparate({saving.element(u"")}, u"c.").error,
              String(u"Well-formed output image path having a file extension is expected."));
    EXPECT_EQ(saving.saveSeparate({}, u"c.png").error,
              String(u"There are not selected any render elements that can be saved. You need to select at least one."));
    ElementInfo missing;
    missing.name = u"Missing";
    missing.kind = ElementInfo::KIND_COLOR;
    EXPECT_EQ(saving.saveSeparate({missing}, u"c.png").error,
              String(u"Unable to retrieve output image data of the \"Missing\" render element."));
}
