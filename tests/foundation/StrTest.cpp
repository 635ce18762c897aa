#include <sstream>

#include <gtest/gtest.h>

#include "foundation/Exception.h"
#include "foundation/Str.h"

using namespace Vespra;

namespace {

String readOne(const std::wstring& input) {
    std::wistringstream stream(input);
    return Str::readExportedString(stream);
}

} // namespace

TEST(Str, FormatsSizesTimesAndNames) {
    EXPECT_EQ(Str::getFormatted("{}-{:.2f}-{}", 3, 0.5, String(u"\u00E9")), String(u"3-0.50-\u00E9"));
    EXPECT_EQ(Str::getFormattedMemorySize(512), String(u"512 B"));
    EXPECT_EQ(Str::getFormattedMemorySize(1536), String(u"1.5 KB"));
    EXPECT_EQ(Str::getFormattedMemorySize(3 * 1024 * 1024 / 2), String(u"1.5 MB"));
    EXPECT_EQ(Str::getFormattedMemorySize(std::int64_t(5) << 40), String(u"5.0 TB"));
    EXPECT_EQ(Str::getTime(12.34), String(u"12.3 s"));
    EXPECT_EQ(Str::getTime(123), String(u"2m 03s"));
    EXPECT_EQ(Str::getTime(3600 + 2 * 60 + 3), String(u"1h 02m 03s"));

    const String stamp = Str::getTimestamp();
    ASSERT_EQ(stamp.length(), 19);
    EXPECT_EQ(stamp[4], u'-');
    EXPECT_EQ(stamp[10], u' ');
    EXPECT_EQ(stamp[16], u':');

    EXPECT_EQ(Str::escapeFilename(u"a/b\\c:d*e?\"<>|\u00E9\t"), String(u"a_b_c_d_e_____\u00E9_"));
}

TEST(Str, EllipsizeKeepsTheRequestedLength) {
    const String text(u"abcdefghij");
    EXPECT_EQ(Str::ellipsize(text, 10), text);
    EXPECT_EQ(Str::ellipsize(text, 7, Str::EllipsisPosition::END), String(u"abcd..."));
    EXPECT_EQ(Str::ellipsize(text, 7, Str::EllipsisPosition::START), String(u"...ghij"));
    EXPECT_EQ(Str::ellipsize(text, 8, Str::EllipsisPosition::MIDDLE), String(u"abc...ij"));
    EXPECT_EQ(Str::ellipsize(text, 2), String(u".."));
}

TEST(Str, ExportedStringsRoundTrip) {
    EXPECT_EQ(Str::getExportString(u"a\"b\\c"), String(u"\"a\\\"b\\\\c\""));
    const Stack<String> items{u"x y", u"\"", u""};
    EXPECT_EQ(Str::getExportStringArray(items), String(u"\"x y\", \"\\\"\", \"\""));
    EXPECT_EQ(Str::getExportStringArray({}), String());

    const Stack<String> values{u"plain", u"two words",         u"\"quoted\"",    u"back\\slash\\",
                               u"",      u"\u5149 \U0001F31E", u"tab\tand\nline"};
    std::wstring written;
    for (const String& value : values) {
        written += Str::getExportString(value).toWide() + L" \t";
    }
    std::wistringstream stream(written);
    for (const String& value : values) {
        EXPECT_EQ(Str::readExportedString(stream), value);
    }

    std::wistringstream bare(L"  bare word\"s");
    EXPECT_EQ(Str::readExportedString(bare), String(u"bare"));
    EXPECT_EQ(bare.peek(), L' ');
    EXPECT_EQ(Str::readExportedString(bare), String(u"word\"s"));
    EXPECT_EQ(readOne(L"\"a\\b\""), String(u"ab"));
}

TEST(Str, UnterminatedExportedStringsThrow) {
    for (const std::wstring input : {L"\"open", L"\"ends with escape\\", L"\"escaped end\\\""}) {
        try {
            readOne(input);
            ADD_FAILURE() << "no exception";
        } catch (const Exception& exception) {
            EXPECT_EQ(exception.getMessage(), String(u"Incorrectly escaped string"));
        }
    }
}
