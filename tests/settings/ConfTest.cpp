#include <filesystem>
#include <fstream>
#include <random>

#include <gtest/gtest.h>

#include "foundation/Exception.h"
#include "settings/Conf.h"
#include "settings/PropertyCatalogue.h"
#include "settings/PropertyDescriptor.h"
#include "settings/PropertyIds.h"

using namespace Vespra;
using namespace Vespra::PropertyId;

namespace {

class CollectingLogger : public Abstract::Logger {
public:
    void log(const String& message, LogLevel) override { messages.push_back(message); }
    std::vector<String> messages;
};

/// A folder of its own for each test, removed afterwards.
class ConfFiles : public ::testing::Test {
protected:
    void SetUp() override {
        folder = std::filesystem::temp_directory_path() /
                 ("vespra-conf-" + std::to_string(::getpid()) + "-" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(folder);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    Io::Path write(const std::string& name, const std::string& bytes) const {
        std::ofstream(folder / name, std::ios::binary) << bytes;
        return Io::Path(folder / name);
    }

    std::filesystem::path folder;
};

void parseText(const std::string& text, Settings& settings, Flags<ConfParserFlag> flags = {},
               Abstract::Logger* logger = nullptr) {
    Io::TextInputStream stream = Io::TextInputStream::fromBytes(text);
    Conf::parse(stream, flags, settings, logger);
}

String parseError(const std::string& text, Settings& settings) {
    try {
        parseText(text, settings);
    } catch (const Exception& error) {
        return error.getMessage();
    }
    return u"(no error)";
}

} // namespace

TEST_F(ConfFiles, SaveThenParseGivesTheSameSettings) {
    Settings original;
    const Vec3Value colors[] = {{1.f, 0.5f, 0.25f}, {0.1f, 0.2f, 0.3f}};
    const float intensities[] = {1.f, 0.125f, 3.3f};
    const bool enabled[] = {true, false, true};
    const Vector2 nodes[] = {{0.f, 0.f}, {0.3f, 0.45f}, {1.f, 1.f}};
    original.set(DENOISE_FILTER_TYPE, 2);
    original.set(DENOISE_SENSITIVITY, 0.123456789f);
    original.set(LIGHTMIX_COLORS, ArrayView<const Vec3Value>(colors));
    original.set(LIGHTMIX_INTENSITIES, ArrayView<const float>(intensities));
    original.set(LIGHTMIX_ENABLED_LAYERS, ArrayView<const bool>(enabled));
    original.set(GLARE_STREAK_COUNT, 7);
    original.set(GLARE_ROTATION, -1e9f);
    original.set(BLOOM_GLARE_ENABLED, true);
    original.set(TINT, Rgb(0.9f, 1.f, 1.1f));
    original.set(LUT_PATH, String::fromUtf8("/luts/\xC3\xA9t\xC3\xA9 \"warm\" \\ look.cube"));
    original.set(CURVES_MASTER_NODES, ArrayView<const Vector2>(nodes));
    original.set(CURVES_RED_INTERPOLATION, 3);
    const PropertyDescriptor* regions = PropertyDescriptor::find(u"system.vfbRegions");
    const std::int32_t regionItems[] = {0, 0, 640, -480};
    original.set(regions->id, ArrayView<const std::int32_t>(regionItems));
    const PropertyDescriptor* title = PropertyDescriptor::find(u"system.vfbTitle");
    original.set(title->id, String(u"plain"));

    const Io::Path path = Io::Path(folder / "all.conf");
    ASSERT_TRUE(Conf::save(original, path).has_value());
    Settings loaded;
    Conf::parse(path, {}, loaded);
    PropertyDescriptor::enumerate([&](const PropertyDescriptor& row) {
        EXPECT_EQ(loaded.get(row.id), original.get(row.id)) << row.name;
    });

    // The enumerated values are written by name.
    std::ifstream in(path.std());
    const std::string text((std::istreambuf_iterator<char>(in)), {});
    EXPECT_NE(text.find("Int         denoise.filterType      = Full\n"), std::string::npos);
    EXPECT_NE(text.find("curves.r.interpol      = (EXP) Chordal cubic\n"), std::string::npos);
}

TEST(Conf, LinesAreReadAsTheirTypeTokenSays) {
    Settings settings;
    parseText("float colorMap.contrast = 1.5\n", settings);
    EXPECT_EQ(settings.get(CONTRAST).asFloat(), 1.5f);
    parseText("FLOAT colorMap.contrast = 2.5", settings);
    EXPECT_EQ(settings.get(CONTRAST).asFloat(), 2.5f);
    parseText("  Vec3    colorMap.tint   =0.5 0.25   2\r\n", settings);
    EXPECT_EQ(settings.get(TINT).asRgb(), Rgb(0.5f, 0.25f, 2.f));
    parseText("floatarray colorMap.lightmixIntensities = 1.0, 2.0,3.0", settings);
    const float expected[] = {1.f, 2.f, 3.f};
    EXPECT_EQ(settings.get(LIGHTMIX_INTENSITIES), Property(ArrayView<const float>(expected)));
    parseText("FloatArray colorMap.lightmixIntensities =   ", settings);
    EXPECT_EQ(settings.get(LIGHTMIX_INTENSITIES), Property(ArrayView<const float>()));
    parseText("BoolArray colorMap.lightmixEnabledLayers = 1, 0,true", settings);
    const bool layers[] = {true, false, true};
    EXPECT_EQ(settings.get(LIGHTMIX_ENABLED_LAYERS), Property(ArrayView<const bool>(layers)));
    parseText("String colorMap.lut.path = unquoted_word trailing", settings);
    EXPECT_EQ(settings.get(LUT_PATH), Property(u"unquoted_word"));
    // Enumerated properties take their value by name, whatever the type token says.
    parseText("whatever denoise.filterType = NVIDIA AI denoiser", settings);
    EXPECT_EQ(settings.get(DENOISE_FILTER_TYPE).asInt(), 4);
    // The token decides how the text is read; the value is not converted to the table's type.
    parseText("int colorMap.contrast = 3", settings);
    EXPECT_EQ(settings.get(CONTRAST), Property(3));
}

TEST(Conf, CommentsAndBlankLinesChangeNothing) {
    Settings settings;
    int calls = 0;
    auto listener = makeShared<SettingsListener>([&calls](std::int32_t, const Property&) { ++calls; });
    settings.addListener(CONTRAST, listener);
    parseText("# a comment\n\n   \t\n   # float colorMap.contrast = 5\n", settings);
    EXPECT_EQ(calls, 0);
    EXPECT_FALSE(settings.isSet(CONTRAST));
}

TEST(Conf, FailuresNameTheSourceLineAndReason) {
    Settings settings;
    const auto expectError = [&settings](const std::string& text, const char16_t* reason,
                                         const char16_t* line) {
        EXPECT_EQ(parseError(text, settings), u"Error in.conf file 'Io::TextInputStream' (line 2) : " +
                                                  String(reason) + u".\n Whole line : " + line);
    };
    expectError("# first\nfloat colorMap.contrast 1.5", u"Missing '='", u"float colorMap.contrast 1.5");
    expectError("\nfloat colorMap.contrast=1.5", u"Missing '='", u"float colorMap.contrast=1.5");
    expectError("\nfloat colorMap.nothing = 1", u"Unknown property", u"float colorMap.nothing = 1");
    expectError("\ndouble colorMap.contrast = 1", u"Unknown type: double", u"double colorMap.contrast = 1");
    expectError("\nfloat colorMap.contrast = abc", u"invalid value declaration",
                u"float colorMap.contrast = abc");
    expectError("\nbool curves.enable = yes", u"boolean needs to be 'true' or 'false'",
                u"bool curves.enable = yes");
    expectError("\nbool curves.enable =   ", u"incomplete line", u"bool curves.enable =   ");
    expectError("\nvec3 colorMap.tint = 1 2", u"invalid value declaration", u"vec3 colorMap.tint = 1 2");
    expectError("\nfloatarray colorMap.lightmixIntensities = 1.0, 2.0,3.0,", u"invalid value declaration",
                u"floatarray colorMap.lightmixIntensities = 1.0, 2.0,3.0,");
    expectError("\nfloatarray colorMap.lightmixIntensities = 1.0; 2.0", u"invalid array value declaration",
                u"floatarray colorMap.lightmixIntensities = 1.0; 2.0");
    expectError("\nstring colorMap.lut.path = \"open", u"Incorrectly escaped string",
                u"string colorMap.lut.path = \"open");
    expectError("\nint denoise.filterType = Fast",
                u"Unknown value \"Fast\", expected one of \"None\", \"Fireflies\", \"Full\", \"Gather\", "
                u"\"NVIDIA AI denoiser\"",
                u"int denoise.filterType = Fast");
    // None of the failed lines left a value behind.
    EXPECT_FALSE(settings.isSet(CONTRAST));
    EXPECT_FALSE(settings.isSet(TINT));
    EXPECT_FALSE(settings.isSet(LIGHTMIX_INTENSITIES));
    EXPECT_FALSE(settings.isSet(DENOISE_FILTER_TYPE));
}

TEST(Conf, StopsAtTheFirstBadLineUnlessToldToGoOn) {
    const std::string text =
        "float colorMap.contrast = 2\nbool curves.enable = yes\nfloat colorMap.saturation = 0.5\n";
    Settings stopped;
    EXPECT_THROW(parseText(text, stopped), Exception);
    EXPECT_EQ(stopped.get(CONTRAST).asFloat(), 2.f); // lines before the bad one stay applied
    EXPECT_FALSE(stopped.isSet(SATURATION));

    Settings goingOn;
    CollectingLogger logger;
    parseText(text, goingOn, ConfParserFlag::CONTINUE_ON_ERROR, &logger);
    EXPECT_EQ(goingOn.get(SATURATION).asFloat(), 0.5f);
    ASSERT_EQ(logger.messages.size(), 1u);
    EXPECT_TRUE(logger.messages[0].contains(u"(line 2)"));

    Settings silent;
    parseText(text, silent, ConfParserFlag::CONTINUE_ON_ERROR, nullptr);
    EXPECT_EQ(silent.get(SATURATION).asFloat(), 0.5f);
}

TEST(Conf, ParseLineAnswersValidity) {
    Settings settings;
    EXPECT_TRUE(Conf::parseLine(u"# comment", settings));
    EXPECT_TRUE(Conf::parseLine(u"bool curves.enable = true", settings));
    EXPECT_TRUE(settings.get(CURVES_ENABLE).asBool());
    EXPECT_FALSE(Conf::parseLine(u"bool curves.enable = maybe", settings));
    EXPECT_TRUE(settings.get(CURVES_ENABLE).asBool());
}

TEST_F(ConfFiles, FileErrorsNameThePath) {
    Settings settings;
    const Io::Path path = write("bad.conf", "float colorMap.contrast = 2\nbool curves.enable = yes\n");
    try {
        Conf::parse(path, {}, settings);
        FAIL() << "no exception";
    } catch (const Exception& error) {
        EXPECT_EQ(error.getMessage(),
                  u"Error in.conf file '" + path.genericStr() +
                      u"' (line 2) : boolean needs to be 'true' or 'false'.\n Whole line : bool "
                      u"curves.enable = yes");
    }

    // A missing file is an error, not a crash; with the flag it is created and read.
    const Io::Path missing = Io::Path(folder / "sub" / "missing.conf");
    EXPECT_THROW(Conf::parse(missing, {}, settings), Exception);
    std::filesystem::create_directories(folder / "sub");
    Conf::parse(missing, ConfParserFlag::CREATE_IF_MISSING, settings);
    std::ifstream created(missing.std());
    const std::string contents((std::istreambuf_iterator<char>(created)), {});
    EXPECT_EQ(String::fromUtf8(contents), String(Conf::AUTO_GENERATED_HEADER));

    // Random bytes give an error message for their first line.
    std::mt19937 random(7);
    std::string noise(4096, '\0');
    for (char& c : noise) {
        c = char(random());
    }
    Settings untouched;
    EXPECT_THROW(Conf::parse(write("noise.bin", noise), {}, untouched), Exception);
    EXPECT_NO_THROW(Conf::parse(write("noise2.bin", noise), ConfParserFlag::CONTINUE_ON_ERROR, untouched));
}

TEST_F(ConfFiles, LightMixFilterWritesExactlyItsThreeProperties) {
    Settings settings;
    const Io::Path path = Io::Path(folder / "lightmix.conf");
    ASSERT_TRUE(Conf::save(settings, path, Conf::filterOf(PropertyCatalogue::lightMixIds())).has_value());
    std::ifstream in(path.std());
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "Vec3Array   colorMap.lightmixColors      = ");
    EXPECT_EQ(lines[1], "FloatArray  colorMap.lightmixIntensities      = ");
    EXPECT_EQ(lines[2], "BoolArray   colorMap.lightmixEnabledLayers      = ");
}
