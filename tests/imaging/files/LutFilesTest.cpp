#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/io/Files.h"
#include "imaging/ColorMapping.h"
#include "imaging/Lut.h"

using namespace Vespra;

namespace {

const char* const LUT_FOLDER = "../shared/testdata/lut";
constexpr Flags<LutFlag> PLAIN = LutFlag::ACTIVE;

Io::Path lutFile(const char* name) {
    return Io::Path(std::filesystem::path(LUT_FOLDER) / name);
}

/// The numeric rows of a table file in file order, read without the parser under test.
std::vector<Rgb> numericRows(const char* name) {
    std::ifstream file(lutFile(name).std());
    std::vector<Rgb> rows;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        float r, g, b;
        if (words >> r >> g >> b) {
            rows.emplace_back(r, g, b);
        }
    }
    return rows;
}

Lut loaded(const char* name, Flags<LutFlag> flags = PLAIN) {
    Lut lut;
    EXPECT_EQ(lut.load(lutFile(name), 1.f, flags, 2.2f), LutResult::OK) << name;
    return lut;
}

void expectRgbNear(const Rgb& actual, const Rgb& expected, float tolerance) {
    EXPECT_NEAR(actual.r, expected.r, tolerance);
    EXPECT_NEAR(actual.g, expected.g, tolerance);
    EXPECT_NEAR(actual.b, expected.b, tolerance);
}

class LutFilesTest : public testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::is_directory(LUT_FOLDER)) {
            GTEST_SKIP() << "No test data at " << LUT_FOLDER;
        }
        // The cache keeps the tables of the first load whatever the flags of the next one.
        Lut::cache().clear();
    }
};

} // namespace

TEST_F(LutFilesTest, EveryFileLoadsOrFailsWithItsCode) {
    for (const char* name : {"noir_era.cube", "LogC_Video.cube", "ACES_Proxy_10_to_ACES.cube",
                             "eotf_sRGB_3D.cube", "resolve_1d3d.cube", "discreet-3d-lut.3dl",
                             "lustre_33x33x33.3dl", "crosstalk.3dl", "saturation.3dl"}) {
        // With everything the colour mapping asks for: gamma preparation and both inverses.
        const Lut lut = loaded(name, DEFAULT_LUT_FLAGS | LutFlag::ACTIVE);
        EXPECT_TRUE(lut.isActive()) << name;
        EXPECT_EQ(bool(lut.inverse1D), bool(lut.lut1D)) << name;
        EXPECT_EQ(bool(lut.inverse3D), bool(lut.lut3D)) << name;
    }
    Lut truncated;
    EXPECT_EQ(truncated.load(lutFile("error_truncated_file.3dl"), 1.f, PLAIN, 2.2f),
              LutResult::NONSTANDARD_FORMAT);
    EXPECT_FALSE(truncated.isActive());
    EXPECT_EQ(truncated(Rgb(0.3f)), Rgb(0.3f));
}

TEST_F(LutFilesTest, CubeFiles) {
    const Lut era = loaded("noir_era.cube");
    EXPECT_EQ(era.title, u"Era");
    ASSERT_TRUE(era.lut3D);
    EXPECT_FALSE(era.lut1D);
    EXPECT_EQ(era.lut3D->size, 33);
    const std::vector<Rgb> eraRows = numericRows("noir_era.cube");
    EXPECT_EQ(era.lut3D->table[0], eraRows[0]);
    // Negative outputs are stored as 0; red runs fastest.
    EXPECT_EQ(era.lut3D->table[5], Rgb(eraRows[5].r, 0.f, eraRows[5].b));

    // DOMAIN_MIN and DOMAIN_MAX, per channel, after the size line.
    const Lut eotf = loaded("eotf_sRGB_3D.cube");
    EXPECT_EQ(eotf.title, u"sRGB EOTF");
    EXPECT_EQ(eotf.lut3D->size, 8);
    expectRgbNear(eotf.lut3D->table[0],
                  Rgb(0.0922601f / 1.6f, (0.15f - 0.0116099f) / 2.15f, (0.2f - 0.0154799f) / 3.2f), 1e-6f);
    expectRgbNear(eotf.lut3D->table[511],
                  Rgb((2.5371552f + 0.1f) / 1.6f, (4.9538458f + 0.15f) / 2.15f, (12.8298333f + 0.2f) / 3.2f),
                  1e-5f);

    // The input ranges of both tables.
    const Lut resolve = loaded("resolve_1d3d.cube");
    EXPECT_EQ(resolve.lut1D->domainMin, -1.f);
    EXPECT_EQ(resolve.lut1D->domainMax, 3.f);
    EXPECT_EQ(resolve.lut3D->domainMin, 0.f);
    EXPECT_EQ(resolve.lut3D->domainMax, 4.f);
    // Grey 1 lies half way through -1..3: between rows 2 and 3 of the 1-D table.
    expectRgbNear((*resolve.lut1D)(Rgb(1.f)), Rgb(2.15f, 2.15f, 2.2f), 1e-6f);
    // (2, 0, 2) is grid point (1, 0, 1) of the cube over 0..4: row 1 + 9.
    expectRgbNear((*resolve.lut3D)(Rgb(2.f, 0.f, 2.f)), numericRows("resolve_1d3d.cube")[6 + 10], 1e-6f);
}

TEST_F(LutFilesTest, OneDimensionalThenCubeInThatOrder) {
    const Lut lut = loaded("LogC_Video.cube");
    ASSERT_EQ(lut.lut1D->size, 16);
    ASSERT_EQ(lut.lut3D->size, 4);
    const std::vector<Rgb> rows = numericRows("LogC_Video.cube");
    // Grey 0.5 lies at 7.5 entries of the grey 1-D table; its result, grey too, lies on the
    // cube's diagonal, where tetrahedral interpolation mixes two diagonal corners only.
    const float shaped = 0.5f * rows[7].r + 0.5f * rows[8].r;
    const float position = shaped * 3.f;
    const int cell = int(position);
    const float fraction = position - float(cell);
    const Rgb& low = rows[16 + std::size_t(cell * (1 + 4 + 16))];
    const Rgb& high = rows[16 + std::size_t((cell + 1) * (1 + 4 + 16))];
    expectRgbNear(lut(Rgb(0.5f)), low * (1.f - fraction) + high * fraction, 2e-6f);
}

TEST_F(LutFilesTest, ExtrapolationAboveTheDomain) {
    const Lut lut = loaded("ACES_Proxy_10_to_ACES.cube");
    ASSERT_EQ(lut.lut1D->size, 32);
    const std::vector<Rgb> rows = numericRows("ACES_Proxy_10_to_ACES.cube");
    const auto plain = [&](float x) {
        const float s = std::min(x, 0.999999f) * 31.f;
        const int i = int(s);
        return rows[std::size_t(i)].r * (1.f - (s - float(i))) + rows[std::size_t(i) + 1].r * (s - float(i));
    };
    EXPECT_NEAR(lut(Rgb(0.4f)).g, plain(0.4f), 1e-5f);
    const float slope = (plain(1.f) - plain(0.8f)) / 0.2f;
    EXPECT_NEAR(lut(Rgb(1.5f)).b, plain(1.f) + 0.5f * slope, 0.01f);
    EXPECT_GT(lut(Rgb(1.5f)).b, 704.3f);
}

TEST_F(LutFilesTest, ThreeDlDepths) {
    // Shaper 0..1023 (1024), rows up to 4095 (4096); rows run with blue fastest.
    const Lut discreet = loaded("discreet-3d-lut.3dl");
    ASSERT_EQ(discreet.lut1D->size, 17);
    EXPECT_FLOAT_EQ(discreet.lut1D->table[16].g, 1.f);
    EXPECT_FLOAT_EQ(discreet.lut1D->table[1].g, 64.f / 1023.f);
    ASSERT_EQ(discreet.lut3D->size, 17);
    expectRgbNear(discreet.lut3D->table[discreet.lut3D->index(0, 2, 7)], Rgb(54.f, 323.f, 597.f) / 4095.f,
                  1e-7f);
    expectRgbNear(discreet.lut3D->table[discreet.lut3D->index(15, 15, 1)], Rgb(4025.f, 3426.f, 0.f) / 4095.f,
                  1e-7f);

    const Lut lustre = loaded("lustre_33x33x33.3dl");
    EXPECT_FALSE(lustre.lut1D);
    ASSERT_EQ(lustre.lut3D->size, 33);
    expectRgbNear(lustre.lut3D->table[0], Rgb(2.f, 4.f, 4.f) / 4095.f, 1e-7f);

    const Lut crosstalk = loaded("crosstalk.3dl");
    EXPECT_FLOAT_EQ(crosstalk.lut1D->table[16].r, 1.f);
    EXPECT_FLOAT_EQ(crosstalk.lut3D->table[crosstalk.lut3D->index(0, 0, 1)].b, 2374.f / 65535.f);

    // Shaper with irregular steps and a trailing blank; output depth 10 bits.
    const Lut saturation = loaded("saturation.3dl");
    EXPECT_FLOAT_EQ(saturation.lut1D->table[9].r, 575.f / 1023.f);
    EXPECT_FLOAT_EQ(saturation.lut3D->table[saturation.lut3D->index(0, 0, 1)].b, 94.f / 1023.f);
}

TEST_F(LutFilesTest, InTheColourMappingWithOpacityAndCache) {
    PostProcessData data;
    const Rgb in(0.3f, 0.2f, 0.1f, 1.f);
    const Rgb without = ColorMapping(data)(in, {});
    data.lutEnabled = true;
    data.lutPath = lutFile("noir_era.cube");
    data.lutOpacity = 0.f;
    EXPECT_EQ(ColorMapping(data)(in, {}), without);
    const Optional<std::uint64_t> id = Io::fileId(data.lutPath);
    ASSERT_TRUE(id);
    const Optional<Lut> cached = Lut::cache().find<Lut>(*id);
    ASSERT_TRUE(cached);
    EXPECT_EQ(cached->entryCount(), 2u * 33u * 33u * 33u);

    data.lutOpacity = 1.f;
    const Rgb graded = ColorMapping(data)(in, {});
    EXPECT_GT(std::abs(graded.r - without.r) + std::abs(graded.b - without.b), 0.01f);
    // A second load comes from the cache: a gamma of 1 still finds the tables made for 2.2.
    data.gamma = 1.f;
    const ColorMapping again(data);
    EXPECT_EQ(again.getLut().gamma, 2.2f);
    EXPECT_EQ(again.getLut().lut3D->table, cached->lut3D->table);
    EXPECT_EQ(Lut::cache().size(), 1u);
}
