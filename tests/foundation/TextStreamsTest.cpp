#include <fstream>
#include <random>

#include <gtest/gtest.h>

#include "foundation/io/TextStreams.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;
using namespace Vespra::Io;

namespace {

Stack<String> readLines(TextInputStream& stream) {
    Stack<String> lines;
    while (Optional<String> line = stream.readLine()) {
        lines.push(*line);
    }
    return lines;
}

Stack<String> readLines(std::string bytes) {
    TextInputStream stream = TextInputStream::fromBytes(std::move(bytes));
    return readLines(stream);
}

/// UTF-16 of "a\u00E9\n\u5149" with the byte order of `bigEndian`.
std::string utf16Sample(bool bigEndian) {
    const char16_t units[] = {u'a', u'\u00E9', u'\n', u'\u5149'};
    std::string bytes;
    for (const char16_t unit : units) {
        const char high = char(unit >> 8);
        const char low = char(unit & 0xFF);
        bytes += bigEndian ? std::string{high, low} : std::string{low, high};
    }
    return bytes;
}

} // namespace

TEST(TextInputStream, DetectsUtf8AndUtf16) {
    const Stack<String> expected{u"a\u00E9", u"\u5149"};
    EXPECT_EQ(readLines("a\xC3\xA9\n\xE5\x85\x89"), expected);
    EXPECT_EQ(readLines("\xEF\xBB\xBF"
                        "a\xC3\xA9\n\xE5\x85\x89"),
              expected);
    EXPECT_EQ(readLines("\xFF\xFE" + utf16Sample(false)), expected);
    EXPECT_EQ(readLines("\xFE\xFF" + utf16Sample(true)), expected);

    const Stack<String> ascii{u"key", u"value"};
    const auto asUtf16 = [](std::string_view text, bool bigEndian) {
        std::string bytes;
        for (const char c : text) {
            bytes += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
        }
        return bytes;
    };
    EXPECT_EQ(readLines(asUtf16("key\r\nvalue", false)), ascii);
    EXPECT_EQ(readLines(asUtf16("key\r\nvalue", true)), ascii);
}

TEST(TextInputStream, SplitsEveryKindOfLineEnd) {
    EXPECT_EQ(readLines("a\nb\r\nc\rd\n\ne\n"), (Stack<String>{u"a", u"b", u"c", u"d", u"", u"e"}));
    EXPECT_EQ(readLines("\r\n"), Stack<String>{String()});
    EXPECT_TRUE(readLines("").empty());

    TextInputStream stream = TextInputStream::fromBytes("first\nsecond\r\nthird");
    EXPECT_EQ(stream.readLine(), String(u"first"));
    EXPECT_EQ(stream.readAll(), String(u"second\r\nthird"));
    EXPECT_FALSE(stream.readLine());
    EXPECT_EQ(stream.readAll(), String());
}

TEST(TextInputStream, DamagedAndBinaryBytesAreReadWithoutHarm) {
    EXPECT_EQ(readLines("ok\xFF\xC3"), Stack<String>{String(u"ok\uFFFD\uFFFD")});
    // A lone high surrogate and an odd last byte in UTF-16.
    EXPECT_EQ(readLines(std::string("\xFF\xFE"
                                    "a\0\x00\xD8"
                                    "b",
                                    7)),
              Stack<String>{String(u"a\uFFFD\uFFFD")});
    EXPECT_EQ(readLines(std::string("a\0b", 3)), Stack<String>{String(std::u16string(u"a\0b", 3))});

    std::mt19937 random(7);
    std::string binary(1 << 16, '\0');
    for (char& byte : binary) {
        byte = char(random() % 4 == 0 ? 0 : random());
    }
    TemporaryFolder folder;
    const Path path = folder.path() / u"noise.bin";
    std::ofstream(path.std(), std::ios::binary) << binary;
    TextInputStream stream(path);
    ASSERT_TRUE(stream.isOpen());
    std::size_t characters = 0;
    for (const String& line : readLines(stream)) {
        characters += std::size_t(line.length());
    }
    EXPECT_GT(characters, 0u);
}

TEST(TextInputStream, MissingFileSaysWhy) {
    TemporaryFolder folder;
    const Path path = folder.path() / u"gone.txt";
    TextInputStream stream(path);
    EXPECT_FALSE(stream.isOpen());
    EXPECT_EQ(stream.errorMessage(), u"Cannot open file '" + path.nativeStr() + u"' for reading.");
    EXPECT_FALSE(stream.readLine());
    EXPECT_FALSE(TextInputStream(folder.path()).isOpen());
}

TEST(TextOutputStream, RoundTripsNonAsciiTextAsUtf8) {
    TemporaryFolder folder;
    const Path path = folder.path() / u"\u0161um.txt";
    const String text(u"\u017Elu\u0165ou\u010Dk\u00FD k\u016F\u0148\n\u5149 \U0001F31E\r\nend");
    TextOutputStream output;
    ASSERT_TRUE(output.open(path));
    EXPECT_TRUE(output.write(text));
    EXPECT_TRUE(output.close());
    EXPECT_FALSE(output.isOpen());
    EXPECT_FALSE(output.write(u"late"));

    std::ifstream raw(path.std(), std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(raw), {}), text.toUtf8());
    EXPECT_EQ(TextInputStream(path).readAll(), text);

    ASSERT_TRUE(output.open(path, OutputFlag::APPEND));
    EXPECT_TRUE(output.write(u"+"));
    EXPECT_TRUE(output.close());
    EXPECT_EQ(TextInputStream(path).readAll(), text + u"+");

    TextOutputStream memory = TextOutputStream::toMemory();
    EXPECT_TRUE(memory.write(u"\u00E9"));
    EXPECT_TRUE(memory.close());
    EXPECT_EQ(memory.memoryContents(), "\xC3\xA9");
}

TEST(TextOutputStream, FailuresAreReported) {
    TemporaryFolder folder;
    TextOutputStream output;
    EXPECT_FALSE(output.open(folder.path() / u"missing/file.txt"));
    EXPECT_FALSE(output.write(u"x"));
    EXPECT_FALSE(output.close());

    if (std::filesystem::exists("/dev/full")) {
        ASSERT_TRUE(output.open(Path(u"/dev/full")));
        output.write(u"bytes that will not fit");
        EXPECT_FALSE(output.close());
    }
}
