// The curve files of ../shared/testdata/acv, written by other programs.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/io/AcvFile.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;
using namespace Vespra::Io;

namespace {

const std::filesystem::path SAMPLES = "../shared/testdata/acv";
constexpr float STEP = 0.003921569f;

std::vector<Path> sampleFiles() {
    std::vector<Path> files;
    if (std::filesystem::is_directory(SAMPLES)) {
        for (const auto& entry : std::filesystem::directory_iterator(SAMPLES)) {
            files.push_back(Path(entry.path()));
        }
    }
    return files;
}

Vector2 point(int input, int output) {
    return {float(input) * STEP, float(output) * STEP};
}

} // namespace

TEST(AcvSamples, EverySampleLoadsAndComesBackFromASave) {
    const std::vector<Path> files = sampleFiles();
    if (files.empty()) {
        GTEST_SKIP() << "The sample folder " << SAMPLES << " is not there.";
    }
    TemporaryFolder folder;
    for (const Path& file : files) {
        SCOPED_TRACE(file.nativeStr().toUtf8());
        const Expected<AcvCurves> loaded = loadAcv(file);
        ASSERT_TRUE(loaded) << loaded.error().toUtf8();
        ASSERT_EQ(loaded->size(), 4u);
        for (const Array<Vector2>& nodes : *loaded) {
            ASSERT_GE(nodes.size(), 2u);
            EXPECT_EQ(nodes[0].x, 0.f);
            EXPECT_FLOAT_EQ(nodes[nodes.size() - 1].x, 1.f);
        }
        const Path copy = folder.path() / Path(u"copy.acv");
        const auto saved = saveAcv(copy, *loaded);
        ASSERT_TRUE(saved) << saved.error().message.toUtf8();
        const Expected<AcvCurves> again = loadAcv(copy);
        ASSERT_TRUE(again) << again.error().toUtf8();
        ASSERT_EQ(again->size(), 4u);
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_TRUE((*again)[i] == (*loaded)[i]) << "curve " << i;
        }
    }
}

TEST(AcvSamples, TheToneCurveSampleHasAnSCurveOnTheMaster) {
    // Words: 4 5 | 4: (0 0) (111 58) (224 168) (255 255) | three times 2: (0 0) (255 255) | a fifth
    // curve, whose points are not read.
    const std::filesystem::path file = SAMPLES / "tone_cuver_sample.acv";
    if (!std::filesystem::exists(file)) {
        GTEST_SKIP() << "The sample is not there.";
    }
    const Expected<AcvCurves> loaded = loadAcv(Path(file));
    ASSERT_TRUE(loaded) << loaded.error().toUtf8();
    const Array<Vector2> master{point(0, 0), point(58, 111), point(168, 224), point(255, 255)};
    EXPECT_TRUE((*loaded)[0] == master);
    const Array<Vector2> identity{point(0, 0), point(255, 255)};
    for (std::size_t i = 1; i < 4; ++i) {
        EXPECT_TRUE((*loaded)[i] == identity) << "curve " << i;
    }
}

TEST(AcvSamples, TheRedSampleMovesTheRedCurveOnly) {
    // Words: 4 5 | 2: (0 0) (255 255) | 2: (32 5) (245 240) | 4: (0 26) (122 132) (178 167)
    // (255 254) | 4: ... The red and the green curve stop short of the ends and gain flat ends.
    const std::filesystem::path file = SAMPLES / "red.acv";
    if (!std::filesystem::exists(file)) {
        GTEST_SKIP() << "The sample is not there.";
    }
    const Expected<AcvCurves> loaded = loadAcv(Path(file));
    ASSERT_TRUE(loaded) << loaded.error().toUtf8();
    const Array<Vector2> red{{0.f, 32.f * STEP}, point(5, 32), point(240, 245), {1.f, 245.f * STEP}};
    EXPECT_TRUE((*loaded)[1] == red);
    const Array<Vector2> green{{0.f, 0.f},      point(26, 0),    point(132, 122),
                               point(167, 178), point(254, 255), {1.f, 255.f * STEP}};
    EXPECT_TRUE((*loaded)[2] == green);
}
