#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Csv.h"
#include "foundation/TranslationTable.h"
#include "resources/Resources.h"

using namespace Vespra;

namespace {

// The tests run in the repository root.
const std::filesystem::path RESOURCE_FOLDER = "resources";

const std::vector<std::string> TOOLBAR_ICONS = {
    "open",
    "merge",
    "save",
    "save-all",
    "zoom-in",
    "zoom-out",
    "zoom-reset",
    "side-panel-shown",
    "side-panel-hidden",
};

std::vector<std::string> iconNames() {
    std::vector<std::string> names;
    for (const std::string& icon : TOOLBAR_ICONS) {
        names.push_back("icons/toolbar/" + icon + ".svg");
        names.push_back("icons/toolbar/" + icon + "-pressed.svg");
    }
    for (const char* name : {"icons/vespra.svg", "icons/error.svg", "icons/warning.svg", "icons/copy.svg",
                             "icons/copy-pressed.svg", "icons/clear.svg", "icons/clear-pressed.svg",
                             "icons/dropdown-arrow.svg", "icons/collapsed.svg", "icons/expanded.svg"}) {
        names.emplace_back(name);
    }
    return names;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    EXPECT_TRUE(stream) << path;
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string_view textOf(ArrayView<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::vector<std::string> embeddedNames() {
    std::vector<std::string> names;
    for (const String& name : Resources::names()) {
        names.push_back(name.toUtf8());
    }
    return names;
}

/// The value of the attribute `name` of the root element, or "" without one.
std::string rootAttribute(std::string_view svg, std::string_view name) {
    const std::size_t root = svg.find("<svg");
    const std::size_t end = svg.find('>', root);
    if (root == std::string_view::npos || end == std::string_view::npos) {
        return {};
    }
    const std::string_view element = svg.substr(root, end - root);
    const std::string key = " " + std::string(name) + "=\"";
    const std::size_t start = element.find(key);
    if (start == std::string_view::npos) {
        return {};
    }
    const std::size_t valueStart = start + key.size();
    const std::size_t valueEnd = element.find('"', valueStart);
    return valueEnd == std::string_view::npos
               ? std::string()
               : std::string(element.substr(valueStart, valueEnd - valueStart));
}

} // namespace

TEST(Resources, EveryIconIsEmbedded) {
    for (const std::string& name : iconNames()) {
        const Optional<ArrayView<const std::uint8_t>> bytes = Resources::find(name);
        ASSERT_TRUE(bytes.has_value()) << name;
        EXPECT_GT(bytes->size(), 100u) << name;
    }
}

TEST(Resources, TranslationTableHasTheBytesOfItsFile) {
    const std::string onDisk = readFile(RESOURCE_FOLDER / "StringsVespraCore.csv");
    const Optional<ArrayView<const std::uint8_t>> bytes = Resources::find("StringsVespraCore.csv");
    ASSERT_TRUE(bytes.has_value());
    EXPECT_EQ(textOf(*bytes), onDisk);
    // The data is followed by one 0 byte, so that a text can be read as a C string.
    EXPECT_EQ(bytes->data()[bytes->size()], 0);
}

TEST(Resources, EveryFileOfTheFolderIsEmbeddedWithItsBytes) {
    const std::set<std::string> buildFiles = {"CMakeLists.txt", "Resources.h", "Resources.cpp",
                                              "EmbedResources.cmake", ".gitkeep"};
    std::vector<std::string> onDisk;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(RESOURCE_FOLDER)) {
        const std::string name = entry.path().lexically_relative(RESOURCE_FOLDER).generic_string();
        if (!entry.is_regular_file() || buildFiles.contains(entry.path().filename().string()) ||
            name.starts_with("desktop/") || name.starts_with("luts/")) {
            continue;
        }
        onDisk.push_back(name);
        const Optional<ArrayView<const std::uint8_t>> bytes = Resources::find(name);
        ASSERT_TRUE(bytes.has_value()) << name;
        EXPECT_EQ(textOf(*bytes), readFile(entry.path())) << name;
    }
    std::sort(onDisk.begin(), onDisk.end());
    EXPECT_EQ(embeddedNames(), onDisk);
}

TEST(Resources, NamesAreSortedAndListEveryResource) {
    const std::vector<std::string> names = embeddedNames();
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
    EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
    std::vector<std::string> expected = iconNames();
    expected.push_back("StringsVespraCore.csv");
    for (const std::string& name : expected) {
        EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << name;
    }
    for (const char* buildFile : {"CMakeLists.txt", "Resources.h", "Resources.cpp", "EmbedResources.cmake"}) {
        EXPECT_EQ(std::find(names.begin(), names.end(), buildFile), names.end()) << buildFile;
    }
    // Every listed name is found again, including the first and the last of the table.
    for (const std::string& name : names) {
        EXPECT_TRUE(Resources::find(name).has_value()) << name;
    }
}

TEST(Resources, UnknownNamesGiveNothing) {
    for (const char* name : {"", "icons", "icons/", "icons/toolbar/open", "icons/toolbar/open.svgz",
                             "Icons/toolbar/open.svg", "/icons/toolbar/open.svg", "icons\\toolbar\\open.svg",
                             "icons/missing.svg", "\x01", "\xFF\xFF", "CMakeLists.txt"}) {
        EXPECT_FALSE(Resources::find(name).has_value()) << name;
    }
}

TEST(Resources, IconsAreSvgThatTheRendererUnderstands) {
    int icons = 0;
    for (const std::string& name : embeddedNames()) {
        if (!name.ends_with(".svg")) {
            continue;
        }
        ++icons;
        const std::string_view svg = textOf(*Resources::find(name));
        EXPECT_TRUE(svg.starts_with("<svg") || svg.starts_with("<?xml")) << name;
        EXPECT_NE(svg.find("</svg>"), std::string_view::npos) << name;
        EXPECT_FALSE(rootAttribute(svg, "width").empty()) << name;
        EXPECT_FALSE(rootAttribute(svg, "height").empty()) << name;
        EXPECT_FALSE(rootAttribute(svg, "viewBox").empty()) << name;
        for (const char* unsupported : {"<text", "<style", "currentColor", "<filter", "<mask", "<clipPath"}) {
            EXPECT_EQ(svg.find(unsupported), std::string_view::npos) << name << " uses " << unsupported;
        }
    }
    EXPECT_GE(icons, int(iconNames().size()));
}

TEST(Resources, IconsHaveTheirDrawingSizes) {
    auto viewBoxOf = [](const std::string& name) {
        const Optional<ArrayView<const std::uint8_t>> bytes = Resources::find(name);
        return bytes.has_value() ? rootAttribute(textOf(*bytes), "viewBox") : std::string("(missing)");
    };
    for (const std::string& icon : TOOLBAR_ICONS) {
        EXPECT_EQ(viewBoxOf("icons/toolbar/" + icon + ".svg"), "0 0 24 24") << icon;
        EXPECT_EQ(viewBoxOf("icons/toolbar/" + icon + "-pressed.svg"), "0 0 24 24") << icon;
    }
    for (const char* name : {"icons/error.svg", "icons/warning.svg", "icons/copy.svg", "icons/clear.svg"}) {
        EXPECT_EQ(viewBoxOf(name), "0 0 24 24") << name;
    }
    for (const char* name : {"icons/dropdown-arrow.svg", "icons/collapsed.svg", "icons/expanded.svg"}) {
        EXPECT_EQ(viewBoxOf(name), "0 0 16 16") << name;
    }
    EXPECT_EQ(viewBoxOf("icons/vespra.svg"), "0 0 256 256");
}

TEST(Resources, PressedIconsDifferFromTheirNormalOnes) {
    std::vector<std::string> pairs;
    for (const std::string& icon : TOOLBAR_ICONS) {
        pairs.push_back("icons/toolbar/" + icon);
    }
    pairs.push_back("icons/copy");
    pairs.push_back("icons/clear");
    for (const std::string& base : pairs) {
        const Optional<ArrayView<const std::uint8_t>> normal = Resources::find(base + ".svg");
        const Optional<ArrayView<const std::uint8_t>> pressed = Resources::find(base + "-pressed.svg");
        ASSERT_TRUE(normal.has_value() && pressed.has_value()) << base;
        EXPECT_NE(textOf(*normal), textOf(*pressed)) << base;
    }
}

TEST(Resources, TranslationTableIsAWellFormedTable) {
    const Stack<Stack<String>> rows = parseCsv(textOf(*Resources::find("StringsVespraCore.csv")));
    ASSERT_GE(rows.size(), 2u);
    EXPECT_EQ(rows[0], (Stack<String>{u"en", u"de"}));
    for (std::size_t row = 1; row < rows.size(); ++row) {
        EXPECT_EQ(rows[row].size(), rows[0].size()) << rows[row][0].toUtf8();
        for (const String& field : rows[row]) {
            EXPECT_FALSE(field.isEmpty()) << "row " << row;
            EXPECT_EQ(field.trim(), field) << field.toUtf8();
        }
    }
}

TEST(Resources, TranslationTableTranslatesIntoGerman) {
    TranslationTable& table = TranslationTable::getInstance();
    const String previous = table.getLanguage();
    table.registerResource(*Resources::find("StringsVespraCore.csv"));

    table.setLanguage(u"de");
    EXPECT_EQ(table.getLocalized(u"Open"), String(u"\u00D6ffnen"));
    EXPECT_EQ(table.getLocalized(u"Save all"), String(u"Alle speichern"));
    EXPECT_EQ(table.getLocalized(u"Ignore similar messages"), String(u"\u00C4hnliche Meldungen ignorieren"));
    EXPECT_EQ(table.getLocalized(u"Vespra Image Editor"), String(u"Vespra Image Editor"));
    EXPECT_EQ(table.getLocalized(u"Not in the table"), String(u"Not in the table"));

    table.setLanguage(u"en");
    EXPECT_EQ(table.getLocalized(u"Open"), String(u"Open"));
    table.setLanguage(previous);
}
