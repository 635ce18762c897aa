#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/io/AcvFile.h"
#include "tests/foundation/FileSystemFaults.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;
using namespace Vespra::Io;

namespace {

/// The factor with which words become coordinates.
constexpr float STEP = 0.003921569f;

std::vector<std::byte> words(std::initializer_list<std::uint16_t> values) {
    std::vector<std::byte> bytes;
    for (const std::uint16_t value : values) {
        bytes.push_back(std::byte(value >> 8));
        bytes.push_back(std::byte(value & 0xFF));
    }
    return bytes;
}

/// Version 4 with four curves: a master curve of three points, the others the identity.
std::vector<std::byte> fourCurves() {
    return words(
        {4, 4, 3, 0, 0, 200, 128, 255, 255, 2, 0, 0, 255, 255, 2, 0, 0, 255, 255, 2, 0, 0, 255, 255});
}

std::string asString(const std::vector<std::byte>& bytes) {
    return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

} // namespace

TEST(AcvFile, PointsAreOutputThenInputTimes255) {
    const Expected<AcvCurves> curves = parseAcv(fourCurves());
    ASSERT_TRUE(curves) << curves.error().toUtf8();
    ASSERT_EQ(curves->size(), 4u);
    const Array<Vector2>& master = (*curves)[0];
    ASSERT_EQ(master.size(), 3u);
    EXPECT_EQ(master[1], (Vector2{128.f * STEP, 200.f * STEP}));
    EXPECT_EQ(master[2], (Vector2{255.f * STEP, 255.f * STEP}));
    EXPECT_FLOAT_EQ(master[2].x, 1.f);
    EXPECT_EQ((*curves)[3][1], (Vector2{255.f * STEP, 255.f * STEP}));
}

TEST(AcvFile, CurvesThatStopShortGetFlatEnds) {
    // One curve, from input 64 (output 32) to input 192 (output 224), given in reverse order.
    const Expected<AcvCurves> curves = parseAcv(words({4, 1, 2, 224, 192, 32, 64}));
    ASSERT_TRUE(curves) << curves.error().toUtf8();
    ASSERT_EQ(curves->size(), 1u);
    const Array<Vector2>& nodes = (*curves)[0];
    ASSERT_EQ(nodes.size(), 4u);
    EXPECT_EQ(nodes[0], (Vector2{0.f, 32.f * STEP}));
    EXPECT_EQ(nodes[1], (Vector2{64.f * STEP, 32.f * STEP}));
    EXPECT_EQ(nodes[2], (Vector2{192.f * STEP, 224.f * STEP}));
    EXPECT_EQ(nodes[3], (Vector2{1.f, 224.f * STEP}));
}

TEST(AcvFile, CurvesBeyondTheFourthHaveOnlyTheirCountRead) {
    // Six curves: after the four, two words are taken as the counts of curves five and six.
    std::vector<std::byte> bytes = fourCurves();
    bytes[3] = std::byte(6);
    const std::vector<std::byte> counts = words({2, 0});
    std::vector<std::byte> complete = bytes;
    complete.insert(complete.end(), counts.begin(), counts.end());
    const Expected<AcvCurves> curves = parseAcv(complete);
    ASSERT_TRUE(curves) << curves.error().toUtf8();
    EXPECT_EQ(curves->size(), 4u);

    std::vector<std::byte> oneShort = bytes;
    oneShort.insert(oneShort.end(), counts.begin(), counts.begin() + 2);
    const Expected<AcvCurves> failed = parseAcv(oneShort);
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error(), String(u"The file is damaged: it ends inside curve 6."));
}

TEST(AcvFile, ForeignAndDamagedFilesSayWhatIsWrong) {
    EXPECT_EQ(parseAcv({}).error(), String(u"The file is too short to be a curve file."));
    EXPECT_EQ(parseAcv(words({5, 4})).error(),
              String(u"This is not a curve file: it starts with the word 5, where curve files have 4."));
    // A text file: "Ve" is the word 0x5665.
    const std::string text = "Vespra";
    const std::span<const std::byte> textBytes(reinterpret_cast<const std::byte*>(text.data()), text.size());
    EXPECT_EQ(parseAcv(textBytes).error(),
              String(u"This is not a curve file: it starts with the word 22117, where curve files have 4."));
    EXPECT_EQ(parseAcv(words({4})).error(),
              String(u"The file is damaged: it ends before the count of its curves."));
    EXPECT_EQ(parseAcv(words({4, 0})).error(), String(u"The file holds no curves."));
    EXPECT_EQ(parseAcv(words({4, 2, 2, 0, 0, 255, 255, 0})).error(),
              String(u"The file is damaged: curve 2 has no points."));
    // Every shorter part of a good file ends inside a curve.
    const std::vector<std::byte> whole = fourCurves();
    for (std::size_t length = 4; length < whole.size(); ++length) {
        const Expected<AcvCurves> curves = parseAcv(std::span(whole).first(length));
        ASSERT_FALSE(curves) << length << " bytes";
        EXPECT_TRUE(curves.error().toUtf8().starts_with("The file is damaged: it ends inside curve "))
            << length;
    }
}

TEST(AcvFile, WritingTruncatesTimes255AndAlwaysWritesFourCurves) {
    const Array<Vector2> master{{0.f, 0.f}, {0.5f, 0.25f}, {1.f, 1.f}};
    const Array<Vector2> red{{0.f, 0.1f}, {2.f, -0.5f}};
    const std::vector<std::byte> bytes = formatAcv(std::vector<Array<Vector2>>{master, red});
    // x = 0.5 is input word 127 (127.5 truncated), y = 0.25 output 63; y = 0.1 is 25; a value
    // below 0 is written as 0, x = 2 as 510; the curves not given are the identity.
    EXPECT_EQ(bytes, words({4, 4,   3, 0, 0, 63,  127, 255, 255, 2, 25,  0,
                            0, 510, 2, 0, 0, 255, 255, 2,   0,   0, 255, 255}));
}

TEST(AcvFile, WordsComeBackAsTheyWereWritten) {
    // Every coordinate a file can hold, spread over the four curves, each from x = 0 to x = 1.
    std::vector<Array<Vector2>> curves;
    for (int curve = 0; curve < 4; ++curve) {
        Stack<Vector2> nodes;
        nodes.push({0.f, float(10 * curve) * STEP});
        for (int word = 1 + curve; word < 255; word += 4) {
            nodes.push({float(word) * STEP, float(255 - word) * STEP});
        }
        nodes.push({255.f * STEP, 0.f});
        curves.push_back(Array<Vector2>(nodes.view()));
    }
    const Expected<AcvCurves> read = parseAcv(formatAcv(curves));
    ASSERT_TRUE(read) << read.error().toUtf8();
    ASSERT_EQ(read->size(), 4u);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_TRUE((*read)[i] == curves[i]) << "curve " << i;
    }
}

TEST(AcvFile, LoadNamesTheFileInItsMessages) {
    TemporaryFolder folder;
    const Path missing = folder.path() / u"missing.acv";
    EXPECT_EQ(loadAcv(missing).error(),
              u"Cannot read the file \"" + missing.nativeStr() + u"\": No such file or directory.");
    const Path foreign = folder.path() / u"foreign.acv";
    TestFiles::writeBytes(foreign, asString(words({5, 4})));
    EXPECT_EQ(loadAcv(foreign).error(), u"The curves of \"" + foreign.nativeStr() +
                                            u"\" cannot be loaded. This is not a curve file: it starts with "
                                            u"the word 5, where curve files have 4.");
}

TEST(AcvFile, SavingWritesTheWholeFileOrLeavesTheOldOne) {
    TemporaryFolder folder;
    const Path target = folder.path() / u"grade.acv";
    const std::vector<Array<Vector2>> curves{Array<Vector2>{{0.f, 0.f}, {0.5f, 0.25f}, {1.f, 1.f}}};
    const auto saved = saveAcv(target, curves);
    ASSERT_TRUE(saved) << saved.error().message.toUtf8();
    EXPECT_EQ(TestFiles::readBytes(target), asString(formatAcv(curves)));

    const std::string old = TestFiles::readBytes(target);
    const std::vector<Array<Vector2>> longer{Array<Vector2>(std::size_t(100), Vector2{0.5f, 0.5f})};
    {
        // A file may not grow past 16 bytes: the save fails half way.
        const FileSizeLimit limit(16);
        const auto failed = saveAcv(target, longer);
        ASSERT_FALSE(failed);
        EXPECT_EQ(failed.error().reason, String(u"File too large"));
    }
    EXPECT_EQ(TestFiles::readBytes(target), old);
    EXPECT_EQ(TestFiles::listNames(folder.path()), std::vector<std::string>{"grade.acv"});
}
