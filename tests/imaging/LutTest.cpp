#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>

#include <gtest/gtest.h>

#include "foundation/io/Files.h"
#include "imaging/ColorMapping.h"
#include "imaging/KdTree.h"
#include "imaging/Lut.h"
#include "imaging/LutReader.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;
using Detail::PatternMatch;

namespace {

constexpr Flags<LutFlag> PLAIN = LutFlag::ACTIVE;

LutResult parseCube(const std::string& text, Lut& lut) {
    Io::MemoryInputStream stream(text);
    return Detail::readCube(stream, lut);
}

LutResult parse3dl(const std::string& text, Lut& lut) {
    Io::MemoryInputStream stream(text);
    return Detail::read3dl(stream, lut);
}

Io::Path writeFile(const TemporaryFolder& folder, const char* name, const std::string& text) {
    const Io::Path path = folder.path() / Io::Path(String::fromUtf8(name));
    std::ofstream(path.std(), std::ios::binary) << text;
    return path;
}

/// A cube of `size` whose entries follow an affine map of the grid position.
std::string affineCube(int size, bool withDomain = false) {
    std::string text = "TITLE \"affine\"\nLUT_3D_SIZE " + std::to_string(size) + "\n";
    if (withDomain) {
        text += "DOMAIN_MIN 0 0 0\nDOMAIN_MAX 1 1 1\n";
    }
    for (int b = 0; b < size; ++b) {
        for (int g = 0; g < size; ++g) {
            for (int r = 0; r < size; ++r) {
                const double x = r / double(size - 1), y = g / double(size - 1), z = b / double(size - 1);
                text += std::to_string(0.6 * x + 0.3 * y + 0.1 * z + 0.05) + " " +
                        std::to_string(0.2 * x + 0.7 * y + 0.1) + " " +
                        std::to_string(0.1 * x + 0.2 * y + 0.9 * z) + "\n";
            }
        }
    }
    return text;
}

Rgb affine(const Rgb& c) {
    return Rgb(0.6f * c.r + 0.3f * c.g + 0.1f * c.b + 0.05f, 0.2f * c.r + 0.7f * c.g + 0.1f,
               0.1f * c.r + 0.2f * c.g + 0.9f * c.b);
}

Lut1D rampTable(std::initializer_list<float> values) {
    Lut1D table(int(values.size()));
    int i = 0;
    for (const float v : values) {
        table.table[std::size_t(i++)] = Rgb(v, 2.f * v, 3.f * v, 0.f);
    }
    return table;
}

} // namespace

TEST(LutTest, PatternMatcherAnswers) {
    Detail::PatternValues values;
    EXPECT_EQ(Detail::matchPattern("LUT_3D_SIZE %d", "LUT_3D_SIZE  33", values), PatternMatch::FULL);
    EXPECT_EQ(values.ints[0], 33);
    EXPECT_EQ(Detail::matchPattern("LUT_3D_SIZE %d", "LUT_3D_SIZE 33 x", values), PatternMatch::LINE_LEFT);
    EXPECT_EQ(Detail::matchPattern("LUT_3D_SIZE %d", "LUT_3D_SIZE", values), PatternMatch::LINE_SHORT);
    EXPECT_EQ(Detail::matchPattern("LUT_3D_SIZE %d", "LUT_1D_SIZE 3", values), PatternMatch::MISMATCH);
    EXPECT_EQ(Detail::matchPattern("LUT_3D_SIZE %d", "LUT_3D_SIZE x", values), PatternMatch::NO_NUMBER);
    EXPECT_EQ(Detail::matchPattern("%d%d%d%d", "0 64 1023", values), PatternMatch::LINE_SHORT);
    EXPECT_EQ(values.intCount, 3);
    EXPECT_EQ(Detail::matchPattern("%d%d%d%d", "0 64 128 192 256", values), PatternMatch::LINE_LEFT);
    EXPECT_EQ(Detail::matchPattern("DOMAIN_MIN %r", "DOMAIN_MIN -0.1 +0.5 2e-1", values), PatternMatch::FULL);
    EXPECT_EQ(values.floats[0], -0.1f);
    EXPECT_EQ(values.floats[1], 0.5f);
    EXPECT_EQ(values.floats[2], 0.2f);
    EXPECT_EQ(Detail::matchPattern("TITLE %s", "TITLE \"A b c\"", values), PatternMatch::FULL);
    EXPECT_EQ(values.text, "A b c");
}

TEST(LutTest, TetrahedralInterpolationReproducesAnAffineMap) {
    Lut lut;
    ASSERT_EQ(parseCube(affineCube(5), lut), LutResult::OK);
    EXPECT_EQ(lut.title, u"affine");
    ASSERT_TRUE(lut.lut3D);
    EXPECT_FALSE(lut.lut1D);
    std::mt19937 random(7);
    std::uniform_real_distribution<float> unit(0.f, 1.f);
    for (int i = 0; i < 500; ++i) {
        const Rgb in(unit(random), unit(random), unit(random));
        const Rgb out = (*lut.lut3D)(in);
        const Rgb expected = affine(in);
        // The file holds six decimals.
        for (int channel = 0; channel < 3; ++channel) {
            EXPECT_NEAR(out[channel], expected[channel], 2e-6f);
        }
    }
    // Above the domain each channel continues along its own axis.
    const Rgb beyond = (*lut.lut3D)(Rgb(1.5f, 0.5f, 2.f));
    const Rgb expected = affine(Rgb(1.5f, 0.5f, 2.f));
    for (int channel = 0; channel < 3; ++channel) {
        EXPECT_NEAR(beyond[channel], expected[channel], 1e-5f);
    }
}

TEST(LutTest, OneDimensionalEvaluationAndExtrapolation) {
    const Lut1D table = rampTable({0.f, 0.1f, 0.4f, 0.9f, 1.f});
    // Each channel on its own: red at 0.3 is 0.2 of the way from entry 1 to 2, green at 0.6
    // is 0.4 of the way from entry 2 to 3.
    const Rgb out = table(Rgb(0.3f, 0.6f, 1.f));
    EXPECT_NEAR(out.r, 0.1f + 0.2f * 0.3f, 1e-6f);
    EXPECT_NEAR(out.g, 2.f * (0.4f + 0.4f * 0.5f), 1e-6f);
    EXPECT_NEAR(out.b, 3.f * 1.f, 1e-5f);
    // Above 1 the slope of the last 0.2 continues: (1 - 0.76) / 0.2 = 1.2 for red.
    const float at08 = 0.9f + 0.2f * 0.1f;
    const Rgb above = table(Rgb(1.5f, 0.f, 0.f));
    EXPECT_NEAR(above.r, 1.f + 0.5f * (1.f - at08) / 0.2f, 1e-4f);
    EXPECT_EQ(above.g, 0.f);
    // Never below zero, even along a falling slope.
    const Lut1D falling = rampTable({1.f, 0.5f, 0.f});
    EXPECT_EQ(falling(Rgb(40.f, 0.f, 0.f)).r, 0.f);
}

TEST(LutTest, CubeKeywordsAndRowCounts) {
    Lut lut;
    // Both tables: the 1-D rows come first, then the cube's.
    std::string both = "LUT_1D_SIZE 2\nLUT_3D_SIZE 2\n0 0 0\n0.5 0.5 0.5\n";
    for (int i = 0; i < 8; ++i) {
        both += std::to_string(i % 2) + " " + std::to_string(i / 2 % 2) + " " + std::to_string(i / 4) + "\n";
    }
    ASSERT_EQ(parseCube(both, lut), LutResult::OK);
    EXPECT_EQ(lut.lut1D->table[1], Rgb(0.5f));
    EXPECT_EQ(lut.lut3D->table[5], Rgb(1.f, 0.f, 1.f));

    // Outputs are brought into the domain of DOMAIN_MIN and DOMAIN_MAX, per channel.
    ASSERT_EQ(parseCube("DOMAIN_MIN 0 -1 0\nDOMAIN_MAX 2 1 4\nLUT_1D_SIZE 2\n1 0 -2\n2 1 4\n", lut = Lut()),
              LutResult::OK);
    EXPECT_EQ(lut.lut1D->table[0], Rgb(0.5f, 0.5f, 0.f));
    EXPECT_EQ(lut.lut1D->table[1], Rgb(1.f, 1.f, 1.f));
    // Input ranges apply in order only.
    ASSERT_EQ(parseCube("LUT_1D_SIZE 2\nLUT_1D_INPUT_RANGE 3 1\n0 0 0\n1 1 1\n", lut = Lut()), LutResult::OK);
    EXPECT_EQ(lut.lut1D->domainMax, 1.f);
    ASSERT_EQ(parseCube("LUT_1D_SIZE 2\nLUT_1D_INPUT_RANGE -1 3\n0 0 0\n1 1 1\n", lut = Lut()),
              LutResult::OK);
    EXPECT_EQ(lut.lut1D->domainMin, -1.f);
    EXPECT_EQ(lut.lut1D->domainMax, 3.f);
    // Comments may follow the data; CR LF ends lines too.
    EXPECT_EQ(parseCube("LUT_1D_SIZE 2\r\n0 0 0\r\n# note\r\n1 1 1\r\n", lut = Lut()), LutResult::OK);

    const auto code = [](const std::string& text) {
        Lut fresh;
        return parseCube(text, fresh);
    };
    EXPECT_EQ(code("LUT_1D_SIZE 3\n0 0 0\n1 1 1\n"), LutResult::NONSTANDARD_FORMAT);
    EXPECT_EQ(code("LUT_1D_SIZE 2\n0 0 0\n1 1 1\n1 1 1\n"), LutResult::NONSTANDARD_FORMAT);
    EXPECT_EQ(code("0 0 0\n1 1 1\nLUT_1D_SIZE 2\n"), LutResult::NONSTANDARD_FORMAT);
    EXPECT_EQ(code("DOMAIN_MIN 0 1 0\nDOMAIN_MAX 1 1 1\nLUT_1D_SIZE 2\n0 0 0\n1 1 1\n"),
              LutResult::NONSTANDARD_FORMAT);
    EXPECT_EQ(code(""), LutResult::NONSTANDARD_FORMAT);
    EXPECT_EQ(code("TITLE \"" + std::string(1100, 'x') + "\"\nLUT_1D_SIZE 2\n0 0 0\n1 1 1\n"),
              LutResult::NONSTANDARD_FORMAT);
}

TEST(LutTest, ThreeDlDepthsAndShaper) {
    const auto cubeOf = [](int largest) {
        std::string text = "0 " + std::to_string(largest / 3) + " " + std::to_string(largest / 2) + " " +
                           std::to_string(largest) + "\n";
        for (int i = 0; i < 8; ++i) {
            text += std::to_string(i / 4 * largest) + " " + std::to_string(i / 2 % 2 * largest) + " " +
                    std::to_string(i % 2 * largest) + "\n";
        }
        return text;
    };
    // 1023 and 1000 give 1024, 2047 gives 1024 too, 4095 gives 4096, 65535 gives 65536.
    const std::pair<int, float> cases[] = {{1023, 1024.f}, {1000, 1024.f},   {2047, 1024.f},
                                           {4095, 4096.f}, {65535, 65536.f}, {100, 256.f}};
    for (const auto& [largest, depth] : cases) {
        Lut lut;
        ASSERT_EQ(parse3dl(cubeOf(largest), lut), LutResult::OK);
        ASSERT_EQ(lut.lut3D->size, 2);
        ASSERT_EQ(lut.lut1D->size, 4);
        EXPECT_FLOAT_EQ(lut.lut1D->table[3].g, float(largest) / (depth - 1.f)) << largest;
        // Rows run with blue fastest: row 1 is (0, 0, top) at blue 1.
        EXPECT_FLOAT_EQ(lut.lut3D->table[lut.lut3D->index(0, 0, 1)].b, float(largest) / (depth - 1.f));
        EXPECT_FLOAT_EQ(lut.lut3D->table[lut.lut3D->index(1, 0, 0)].r, float(largest) / (depth - 1.f));
    }
    Lut lut;
    EXPECT_EQ(parse3dl("0 0 0\n1 1 1\n", lut), LutResult::NONSTANDARD_FORMAT);
    EXPECT_EQ(parse3dl("0 256 512 1O23\n" + cubeOf(1023).substr(cubeOf(1023).find('\n') + 1), lut),
              LutResult::NONSTANDARD_FORMAT);
    EXPECT_EQ(parse3dl("", lut), LutResult::NONSTANDARD_FORMAT);
}

TEST(LutTest, ApplicationOpacityLogAndGamma) {
    Lut lut;
    ASSERT_EQ(parseCube("LUT_1D_SIZE 3\n0 0 0\n0.25 0.25 0.25\n0.5 0.5 0.5\n", lut), LutResult::OK);
    lut.flags = PLAIN; // halves every value
    EXPECT_NEAR(lut(Rgb(0.6f)).r, 0.3f, 1e-6f);
    lut.opacity = 0.25f;
    EXPECT_NEAR(lut(Rgb(0.6f)).r, 0.75f * 0.6f + 0.25f * 0.3f, 1e-6f);
    // Opacity 0 gives the input exactly, even a negative one that the table never sees.
    lut.opacity = 0.f;
    EXPECT_EQ(lut(Rgb(-0.7f, 0.3f, 5.f)), Rgb(-0.7f, 0.3f, 5.f));
    lut.opacity = 1.f;
    EXPECT_EQ(lut(Rgb(-0.7f)).r, 0.f);
    // Log input: log(x * (192.01418 - 2.0733216) + 2.0733216) / 7.85, not converted back.
    lut.flags = LutFlag::ACTIVE | LutFlag::LOG_INPUT;
    EXPECT_NEAR(lut(Rgb(0.5f)).g, 0.5 * std::log(0.5 * (192.01418 - 2.0733216) + 2.0733216) / 7.85, 1e-6);
    // Inactive is the identity.
    lut.flags = {};
    EXPECT_EQ(lut(Rgb(0.6f)).r, 0.6f);

    // Prepared for gamma, the table acts on gamma-encoded values: x -> L(x^(1/2.2))^2.2.
    std::string curve = "LUT_1D_SIZE 33\n";
    for (int i = 0; i < 33; ++i) {
        curve += std::to_string(std::pow(i / 32.0, 0.7)) + " 0 0\n";
    }
    Lut prepared;
    ASSERT_EQ(parseCube(curve, prepared), LutResult::OK);
    const Lut1D original = *prepared.lut1D;
    prepared.flags = LutFlag::ACTIVE | LutFlag::GAMMA_PREPARED;
    prepared.gamma = 2.2f;
    ASSERT_EQ(prepared.prepare(), LutResult::OK);
    for (const float x : {0.05f, 0.18f, 0.5f, 0.9f}) {
        const double expected = std::pow(original(Rgb(std::pow(x, 1.f / 2.2f))).r, 2.2);
        EXPECT_NEAR(prepared(Rgb(x)).r, expected, 0.003) << x;
    }
}

TEST(LutTest, InverseTables) {
    const Lut1D forward = rampTable({0.f, 0.3f, 0.55f, 0.8f, 1.f});
    const InverseLut1D inverse(forward, false);
    const InverseLut1D parallelInverse(forward, true);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(inverse.table[std::size_t(i)], parallelInverse.table[std::size_t(i)]);
    }
    for (const float x : {0.1f, 0.4f, 0.7f, 0.95f}) {
        EXPECT_NEAR(inverse(forward(Rgb(x))).r, x, 1.f / 5.f);
    }

    Lut lut;
    ASSERT_EQ(parseCube(affineCube(9), lut), LutResult::OK);
    const InverseLut3D inverse3D(*lut.lut3D, true);
    for (const Rgb in : {Rgb(0.3f, 0.4f, 0.5f), Rgb(0.6f, 0.5f, 0.2f)}) {
        const Rgb back = inverse3D(affine(in));
        for (int channel = 0; channel < 3; ++channel) {
            EXPECT_NEAR(back[channel], in[channel], 0.06f);
        }
    }

    // Through Lut::inverse, with the whole loading path.
    lut.flags = LutFlag::ACTIVE | LutFlag::WITH_INVERSE;
    ASSERT_EQ(lut.prepare(), LutResult::OK);
    ASSERT_TRUE(lut.inverse3D);
    const Rgb back = lut.inverse(lut(Rgb(0.3f, 0.4f, 0.5f, 0.9f)));
    EXPECT_NEAR(back.g, 0.4f, 0.06f);
    EXPECT_EQ(back.a, 0.9f);
}

TEST(LutTest, SizeLimitOfTheInverse) {
    Lut lut;
    lut.lut3D.emplace().size = Lut::INVERSE_SIZE_LIMIT;
    lut.flags = LutFlag::ACTIVE | LutFlag::WITH_INVERSE;
    EXPECT_EQ(lut.prepare(), LutResult::TOO_LARGE_FOR_INVERSE);
    EXPECT_EQ(lutLoadErrorMessage(Io::Path(u"/luts/big.cube"), LutResult::TOO_LARGE_FOR_INVERSE),
              u"Error loading LUT file '/luts/big.cube': \nLUT file is too large, try simplifying it.. See "
              u"https://docs.vespra.example/image-editor/lut-files");
    // Without inverses the size does not matter.
    lut.flags = PLAIN;
    EXPECT_EQ(lut.prepare(), LutResult::OK);
}

TEST(LutTest, LoadFailuresAndTheirMessages) {
    // Files of earlier tests are gone, and a new file may get the number of one of them.
    Lut::cache().clear();
    TemporaryFolder folder;
    const Io::Path good = writeFile(folder, "good.cube", "LUT_1D_SIZE 2\n0 0 0\n1 1 1\n");
    const Io::Path truncated = writeFile(folder, "short.cube", "LUT_1D_SIZE 3\n0 0 0\n");
    const Io::Path text = writeFile(folder, "table.txt", "LUT_1D_SIZE 2\n0 0 0\n1 1 1\n");
    const Io::Path directory = folder.path() / Io::Path(u"folder.cube");
    std::filesystem::create_directory(directory.std());
    const Io::Path missing = folder.path() / Io::Path(u"missing.3dl");

    const auto load = [](const Io::Path& path, Flags<LutFlag> flags = DEFAULT_LUT_FLAGS | LutFlag::ACTIVE) {
        Lut lut;
        const LutResult result = lut.load(path, 1.f, flags, 2.2f);
        EXPECT_EQ(lut.isActive(), result == LutResult::OK && !path.isEmpty() && flags.has(LutFlag::ACTIVE));
        return result;
    };
    EXPECT_EQ(load(good), LutResult::OK);
    EXPECT_EQ(load(missing), LutResult::CANNOT_OPEN);
    EXPECT_EQ(load(text), LutResult::UNSUPPORTED_FORMAT);
    EXPECT_EQ(load(truncated), LutResult::NONSTANDARD_FORMAT);
    EXPECT_EQ(load(directory), LutResult::READ_ERROR);
    EXPECT_EQ(load(Io::Path()), LutResult::OK);
    EXPECT_EQ(load(missing, DEFAULT_LUT_FLAGS), LutResult::OK);

    const String prefix = u"Error loading LUT file '" + missing.nativeStr() + u"': \n";
    const String link = u". See https://docs.vespra.example/image-editor/lut-files";
    EXPECT_EQ(lutLoadErrorMessage(missing, LutResult::CANNOT_OPEN),
              prefix + u"File not found or cannot be opened" + link);
    EXPECT_EQ(lutLoadErrorMessage(missing, LutResult::UNSUPPORTED_FORMAT),
              prefix + u"Unsupported file format (must be either .cube or .3dl)" + link);
    EXPECT_EQ(lutLoadErrorMessage(missing, LutResult::NONSTANDARD_FORMAT),
              prefix + u"LUT file does not have standard format" + link);
    EXPECT_EQ(lutLoadErrorMessage(missing, LutResult::READ_ERROR),
              prefix + u"Error occurred while reading the file" + link);
    EXPECT_THROW(lutLoadErrorMessage(missing, LutResult::OK), Exception);
    EXPECT_THROW(lutLoadErrorMessage(missing, LutResult(5)), Exception);

    // The colour mapping reports a broken table when asked to, and maps without it.
    PostProcessData data;
    data.lutEnabled = true;
    data.lutPath = truncated;
    Optional<String> reported;
    const ColorMapping mapping(data, [&](const String& message) { reported = message; });
    ASSERT_TRUE(reported);
    EXPECT_EQ(*reported, lutLoadErrorMessage(truncated, LutResult::NONSTANDARD_FORMAT));
    EXPECT_NEAR(mapping(Rgb(0.18f), {}).r, std::pow(0.18f, 1.f / 2.2f), 1e-6f);
}

TEST(LutTest, SecondLoadComesFromTheCache) {
    Lut::cache().clear();
    TemporaryFolder folder;
    const Io::Path path = writeFile(folder, "halve.cube", "LUT_1D_SIZE 2\n0 0 0\n0.5 0.5 0.5\n");
    const Optional<std::uint64_t> id = Io::fileId(path);
    ASSERT_TRUE(id);
    Lut first;
    ASSERT_EQ(first.load(path, 1.f, PLAIN, 2.2f), LutResult::OK);
    EXPECT_NEAR(first(Rgb(0.8f)).r, 0.4f, 1e-6f);
    ASSERT_TRUE(Lut::cache().find<Lut>(*id));

    // The same file, rewritten in place: a second load still has the first tables, with the
    // opacity and flags of the second call.
    std::ofstream(path.std(), std::ios::binary | std::ios::trunc) << "LUT_1D_SIZE 2\n0 0 0\n1 1 1\n";
    ASSERT_EQ(*Io::fileId(path), *id);
    Lut second;
    ASSERT_EQ(second.load(path, 0.5f, PLAIN | LutFlag::LOG_INPUT, 1.f), LutResult::OK);
    EXPECT_EQ(second.opacity, 0.5f);
    EXPECT_TRUE(second.flags.has(LutFlag::LOG_INPUT));
    EXPECT_EQ(second.lut1D->table[1].r, 0.5f);
    EXPECT_EQ(second.gamma, 2.2f);
    // Loads from the cache share its tables instead of copying them: the colour mapping loads
    // its table at every pull.
    EXPECT_EQ(&*second.lut1D, &*first.lut1D);
    EXPECT_EQ(Lut::cache().find<Lut>(*id)->entryCount(), 2u);

    // A failed load is not cached.
    const Io::Path broken = writeFile(folder, "broken.cube", "LUT_1D_SIZE 2\n");
    Lut lut;
    EXPECT_EQ(lut.load(broken, 1.f, PLAIN, 2.2f), LutResult::NONSTANDARD_FORMAT);
    EXPECT_FALSE(Lut::cache().find<Lut>(*Io::fileId(broken)));
}

TEST(LutTest, KdTreeFindsWhatBruteForceFinds) {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> unit(0.f, 1.f);
    Array<Rgb> points(500);
    for (Rgb& p : points) {
        p = Rgb(unit(random), unit(random), unit(random));
    }
    const KdTree tree(points.view());
    for (int q = 0; q < 50; ++q) {
        const Rgb query(unit(random), unit(random), unit(random));
        Stack<std::pair<float, int>> all;
        for (int i = 0; i < 500; ++i) {
            const Rgb d = points[std::size_t(i)] - query;
            all.push({d.r * d.r + d.g * d.g + d.b * d.b, i});
        }
        std::sort(all.begin(), all.end());
        StaticArray<KdTree::Neighbour, 16> found;
        const int count = tree.findWithin(query, 0.2f, found);
        const int expectedCount = int(std::count_if(all.begin(), all.begin() + 16,
                                                    [](const auto& item) { return item.first <= 0.04f; }));
        ASSERT_EQ(count, expectedCount);
        for (int k = 0; k < count; ++k) {
            EXPECT_EQ(found[std::size_t(k)].index, all[std::size_t(k)].second);
        }
        EXPECT_EQ(tree.findNearest(query), all[0].second);
    }
}
