#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "apps/cmd/BatchJob.h"
#include "apps/samplegen/RenderNodes.h"
#include "apps/samplegen/SampleRenderer.h"
#include "base/image/ExrSaver.h"
#include "settings/PropertyDescriptor.h"
#include "tests/cmd/BatchToolRunner.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;

namespace {

String errorOf(const std::string& text) {
    const Expected<Cmd::PropertyAssignment, String> assignment = Cmd::parsePropertyAssignment(text);
    EXPECT_FALSE(assignment.has_value()) << text;
    return assignment ? String() : assignment.error();
}

} // namespace

TEST(PropertyAssignment, AKnownKeyTakesItsValueInTheConfForm) {
    const Expected<Cmd::PropertyAssignment, String> assignment =
        Cmd::parsePropertyAssignment("curves.master.nodes=0 0, 0.5 0.7, 1 1");
    ASSERT_TRUE(assignment.has_value()) << assignment.error().toUtf8();
    EXPECT_EQ(assignment->id, PropertyDescriptor::find(u"curves.master.nodes")->id);
    const Vector2 nodes[] = {{0.f, 0.f}, {0.5f, 0.7f}, {1.f, 1.f}};
    EXPECT_EQ(assignment->value, Property(ArrayView<const Vector2>(nodes)));
}

TEST(PropertyAssignment, WhatIsWrongIsSaid) {
    EXPECT_EQ(errorOf("colorMap.nothing=1"), u"Unknown property \"colorMap.nothing\"; expected KEY=VALUE "
                                             u"with a key such as colorMap.simpleExposure.");
    EXPECT_EQ(errorOf("colorMap.contrast"),
              u"Unknown property \"colorMap.contrast\"; expected KEY=VALUE with a key such as "
              u"colorMap.simpleExposure.");
    EXPECT_EQ(errorOf("colorMap.contrast=abc"), u"Property colorMap.contrast: invalid value declaration.");
    EXPECT_EQ(errorOf("bloomGlare.streakCount=9"),
              u"Property bloomGlare.streakCount is invalid. Value is expected to be between 1 and 8");
}

TEST(PropertyAssignment, AValueWithALineBreakIsRefused) {
    // Found by fuzzing: a text holding a carriage return was accepted, and the settings the tool
    // printed as .conf lines then did not read back.
    std::ifstream file("fuzz/regressions/property/line-break-in-text", std::ios::binary);
    ASSERT_TRUE(file.good());
    const std::string fuzzed((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const String refused =
        u"Property colorMap.lut.path: a value in the .conf form is one line; this one holds a "
        u"line break.";
    EXPECT_EQ(errorOf(fuzzed), refused);
    EXPECT_EQ(errorOf("colorMap.lut.path=\"looks/a\nb.cube\""), refused);
    EXPECT_TRUE(Cmd::parsePropertyAssignment("colorMap.lut.path=\"looks/a b.cube\"").has_value());
}

TEST(PropertyAssignment, AConfValueOfAnotherTypeFailsTheRunInsteadOfEndingTheTool) {
    // Found by fuzzing: the batch tool ended with an uncaught exception when the colour mapping
    // read the integer that the file stored as the contrast.
    TemporaryFolder folder;
    const std::filesystem::path render = folder.path().std() / "render.vxr";
    const ChannelImage image = SampleGen::renderSampleImage(SampleGen::wholeFrameJob(16, 12, 1, 3));
    ASSERT_TRUE(ExrSaver(false).save(image, Io::Path(render)).has_value());
    const std::filesystem::path conf = folder.path().std() / "look.conf";
    std::ofstream(conf) << "Int colorMap.contrast = 2\n";
    const std::filesystem::path picture = folder.path().std() / "out.png";
    EXPECT_EQ(Cmd::Testing::runBatchTool({render.string(), "-c", conf.string(), "-o", picture.string()}),
              Cmd::EXIT_FAILED);
    EXPECT_FALSE(std::filesystem::exists(picture));
}
