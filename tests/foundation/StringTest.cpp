#include <sstream>

#include <gtest/gtest.h>

#include "foundation/Containers.h"
#include "foundation/String.h"

using namespace Vespra;

TEST(String, Utf8RoundTripKeepsNonAsciiText) {
    // Latin, Cyrillic, CJK and a character outside the basic plane (a surrogate pair).
    const std::string utf8 = "Sv\xC4\x9Btlo \xD0\xA1\xD0\xB2\xD0\xB5\xD1\x82 \xE5\x85\x89 \xF0\x9F\x8C\x9E";
    const String text = String::fromUtf8(utf8);
    EXPECT_EQ(text.length(), 16); // the sun is two code units
    EXPECT_EQ(text[2], u'\u011B');
    EXPECT_EQ(text.toUtf8(), utf8);
    EXPECT_EQ(String::fromWide(text.toWide()), text);
    EXPECT_EQ(text.toAscii('_'), "Sv_tlo ____ _ _");
}

TEST(String, MalformedUtf8BecomesReplacementCharacters) {
    const String text = String::fromUtf8("a\xC3(b\xE2\x82");
    EXPECT_EQ(text, String(u"a\uFFFD(b\uFFFD"));
}

TEST(String, SearchAndEditing) {
    String text(u"render.element.R");
    EXPECT_EQ(text.find(u"."), 6);
    EXPECT_EQ(text.find(u"x"), String::NOT_FOUND);
    EXPECT_EQ(text.findLastOf(u"."), 14);
    EXPECT_EQ(text.findFirstOf(u".R", 7), 14);
    EXPECT_EQ(text.findLastOf(u".", 13), 6);
    EXPECT_EQ(text.getSubstr(7, 7), String(u"element"));
    EXPECT_EQ(text.getSubstr(15), String(u"R"));
    EXPECT_EQ(text.getSubstr(20, 3), String());
    EXPECT_EQ(String(text).erase(6), String(u"render"));

    String repeated(u"aXbXXc");
    EXPECT_EQ(repeated.replaceAll(u"X", u"--"), 3);
    EXPECT_EQ(repeated, String(u"a--b----c"));
    EXPECT_EQ(repeated.replaceAll(u"", u"y"), 0);

    EXPECT_EQ(String(u"  \t a b \r\n").trim(), String(u"a b"));
    EXPECT_EQ(String(u"Ab\u00C9").toLowerCase(), String(u"ab\u00E9"));
    EXPECT_EQ(String(u"Ab\u00E9").toUpperCase(), String(u"AB\u00C9"));
    EXPECT_EQ(String(u"3d light.R").toIdentifier(), String(u"_3d_light_R"));
}

TEST(String, ExplodeKeepsOrSkipsEmptyPieces) {
    const String text(u"1,,2,");
    const Stack<String> all = text.explode(u",");
    ASSERT_EQ(all.size(), 4u);
    EXPECT_EQ(all[1], String());
    EXPECT_EQ(all[2], String(u"2"));
    const Stack<String> some = text.explode(u",", ExplodeMode::SKIP_EMPTY);
    ASSERT_EQ(some.size(), 2u);
    EXPECT_EQ(some[1], String(u"2"));
}

TEST(String, StreamsWriteUtf8AndReadOneWord) {
    std::ostringstream out;
    out << String(u"\u00E9t\u00E9");
    EXPECT_EQ(out.str(), "\xC3\xA9t\xC3\xA9");

    std::wistringstream in(L"  first second");
    String word;
    in >> word;
    EXPECT_EQ(word, String(u"first"));
    in >> word;
    EXPECT_EQ(word, String(u"second"));
}
