#include <cmath>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "imaging/ColorMapping.h"
#include "imaging/Lut.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;

// Tables that fuzzing found: each was accepted by its reader, and then preparing it read past the
// end of a table. They are refused now, with the message of a table of no standard format.

namespace {

constexpr Flags<LutFlag> LOADED =
    Flags<LutFlag>(LutFlag::ACTIVE) | LutFlag::GAMMA_PREPARED | LutFlag::WITH_INVERSE;

class DamagedTable : public ::testing::Test {
protected:
    // The cache knows files by their inode, which a new file in a new folder may get again.
    void SetUp() override { Lut::cache().clear(); }

    Io::Path write(const std::string& name, const std::string& bytes) const {
        const Io::Path path = folder.path() / Io::Path(String::fromUtf8(name));
        std::ofstream(path.std(), std::ios::binary) << bytes;
        return path;
    }

    Io::Path copy(const std::string& input, const std::string& name) const {
        std::ifstream file(std::filesystem::path("fuzz/regressions") / input, std::ios::binary);
        EXPECT_TRUE(file.good()) << input;
        return write(name,
                     std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()));
    }

    /// Loads the file and expects it refused as no table of standard format, with its message.
    void expectRefused(const Io::Path& path) const {
        Lut lut;
        const LutResult result = lut.load(path, 1.f, LOADED, 2.2f);
        EXPECT_EQ(result, LutResult::NONSTANDARD_FORMAT);
        EXPECT_FALSE(lut.isActive());
        EXPECT_EQ(lutLoadErrorMessage(path, result),
                  u"Error loading LUT file '" + path.nativeStr() +
                      u"': \nLUT file does not have standard format. See "
                      u"https://docs.vespra.example/image-editor/lut-files");
    }

    TemporaryFolder folder;
};

std::string cornerRows(int count) {
    std::string rows;
    for (int i = 0; i < count; ++i) {
        rows += std::to_string(i & 1) + " " + std::to_string((i >> 1) & 1) + " " +
                std::to_string((i >> 2) & 1) + "\n";
    }
    return rows;
}

} // namespace

TEST_F(DamagedTable, CubeWhoseDeclaredTableLacksRowsIsRefused) {
    expectRefused(copy("cube/declared-table-lacks-rows.cube", "fuzzed.cube"));
}

TEST_F(DamagedTable, CubeWhoseThreeDRowsAKeywordLineSentBackToTheOneDTableIsRefused) {
    // The keyword line makes the 1-D table current again: its rows fill the 1-D table anew, and
    // the colour cube keeps only two of its eight rows.
    expectRefused(
        write("both.cube",
              "LUT_1D_SIZE 2\nLUT_3D_SIZE 2\n0 0 0\n1 1 1\n0 0 0\n1 1 1\nTITLE \"x\"\n" + cornerRows(2)));
    // The same file without the keyword line is a whole table.
    Lut lut;
    EXPECT_EQ(lut.load(write("whole.cube", "LUT_1D_SIZE 2\nLUT_3D_SIZE 2\n0 0 0\n1 1 1\n" + cornerRows(8)),
                       1.f, LOADED, 2.2f),
              LutResult::OK);
}

TEST_F(DamagedTable, CubeDeclaredAgainSmallerThanItsRowsIsRefused) {
    expectRefused(write("again.cube", "LUT_1D_SIZE 4\n0 0 0\n1 1 1\n0.5 0.5 0.5\nLUT_1D_SIZE 2\n"));
}

TEST_F(DamagedTable, ThreeDlWithAValuePastEveryIntegerIsRefused) {
    // Its shaper value once made the conversion to a bit depth undefined (the sanitizer build
    // stops there).
    expectRefused(copy("3dl/huge-shaper-value.3dl", "fuzzed.3dl"));
}

TEST_F(DamagedTable, ThreeDlWithRowsPastEveryIntegerLoadsWithFiniteColours) {
    // Its largest row values once overflowed when they were added up to choose the bit depth.
    // The cube itself is whole, so it is kept, as huge but finite colours.
    Lut lut;
    ASSERT_EQ(lut.load(copy("3dl/sum-past-every-integer.3dl", "summed.3dl"), 1.f, LOADED, 2.2f), LutResult::OK);
    ASSERT_TRUE(lut.isActive());
    const Rgb mapped = lut(Rgb(0.5f, 0.25f, 1.f, 0.f));
    EXPECT_TRUE(std::isfinite(mapped.r) && std::isfinite(mapped.g) && std::isfinite(mapped.b));
}

TEST_F(DamagedTable, ThreeDlOfOneRowIsRefused) {
    expectRefused(copy("3dl/one-row.3dl", "fuzzed.3dl"));
    expectRefused(write("row.3dl", "0 64 512 1023\n1023 1023 1023\n"));
}
