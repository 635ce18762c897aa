#include <gtest/gtest.h>

#include "foundation/RegExp.h"

using namespace Vespra;

TEST(RegExp, GroupsArePositionsInTheString) {
    // The sun takes two code units, so every position after it is one more than its code point index.
    const String text(u"\u00E9\U0001F31E render_12.exr light_3.exr");
    const RegExp expression(u"([a-z]+)_(\\d+)(x)?");
    ASSERT_TRUE(expression.isValid());

    const Optional<RegExpMatch> match = expression.search(text);
    ASSERT_TRUE(match);
    ASSERT_EQ(match->groups.size(), 4u);
    EXPECT_EQ(match->groups[0].start, 4);
    EXPECT_EQ(match->groups[0].length, 9);
    EXPECT_EQ(match->groups[0].text, String(u"render_12"));
    EXPECT_EQ(match->groups[2].start, 11);
    EXPECT_EQ(match->groups[2].text, String(u"12"));
    EXPECT_EQ(match->groups[3].start, String::NOT_FOUND);
    EXPECT_EQ(text.getSubstr(match->groups[1].start, match->groups[1].length), String(u"render"));

    const Optional<RegExpMatch> next = expression.search(text, 5);
    ASSERT_TRUE(next);
    EXPECT_EQ(next->groups[0].text, String(u"ender_12"));
    const Optional<RegExpMatch> later = expression.search(text, 14);
    ASSERT_TRUE(later);
    EXPECT_EQ(later->groups[0].start, 18);
    EXPECT_EQ(later->groups[0].text, String(u"light_3"));
    EXPECT_FALSE(expression.search(text, 26));
    EXPECT_FALSE(expression.search(text, 100));

    // "^" and "\b" see the text before the start.
    EXPECT_FALSE(RegExp(u"^ender").search(u"render", 1));
    EXPECT_FALSE(RegExp(u"\\bender").search(u"render", 1));
    EXPECT_TRUE(RegExp(u"\\U0001F31E|.").isValid());
    EXPECT_EQ(RegExp(u"^.$").search(u"\U0001F31E")->groups[0].length, 2);
}

TEST(RegExp, ReplaceAllAndInvalidPatterns) {
    const RegExp expression(u"(\\w+)=(\\d+)");
    EXPECT_EQ(expression.replaceAll(u"\u017E a=1, b=22", u"$2:$1"), String(u"\u017E 1:a, 22:b"));
    EXPECT_EQ(RegExp(u"x").replaceAll(u"\u5149x\u5149x", u"[$&]"), String(u"\u5149[x]\u5149[x]"));

    const RegExp invalid(u"(unclosed");
    EXPECT_FALSE(invalid.isValid());
    EXPECT_TRUE(invalid.errorMessage().contains(u"(unclosed"));
    EXPECT_FALSE(invalid.search(u"(unclosed"));
    EXPECT_EQ(invalid.replaceAll(u"text", u"x"), String(u"text"));
}
