#include <gtest/gtest.h>

#include "foundation/Csv.h"
#include "foundation/TranslationTable.h"

using namespace Vespra;

namespace {

ArrayView<const std::uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

} // namespace

TEST(Csv, QuotedFieldsAndLineEnds) {
    const Stack<Stack<String>> rows = parseCsv("\xEF\xBB\xBF"
                                               "a,\"b, \"\"c\"\"\",\r\n\n"
                                               "\"multi\nline\",\xC3\xA9\r\n\"open");
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0], (Stack<String>{u"a", u"b, \"c\"", u""}));
    EXPECT_EQ(rows[1], (Stack<String>{u"multi\nline", u"\u00E9"}));
    EXPECT_EQ(rows[2], Stack<String>{String(u"open")});
}

TEST(TranslationTable, TranslatesRegisteredRowsInTheChosenLanguage) {
    TranslationTable& table = TranslationTable::getInstance();
    const String previous = table.getLanguage();
    table.registerResource(bytesOf("en,xa,xb\n"
                                   "Exposure,Belichtung,\n"
                                   "\"Open, then save\",\"\xC3\x96"
                                   "ffnen, dann speichern\",Ouvrir\n"));

    table.setLanguage(u"xa");
    EXPECT_EQ(table.getLocalized(u"Exposure"), String(u"Belichtung"));
    EXPECT_EQ(table.getLocalized(u"Open, then save"), String(u"\u00D6ffnen, dann speichern"));
    EXPECT_EQ(table.getLocalized(u"Unknown text"), String(u"Unknown text"));

    table.setLanguage(u"xb");
    EXPECT_EQ(table.getLocalized(u"Exposure"), String(u"Exposure")); // empty cell: no translation
    EXPECT_EQ(table.getLocalized(u"Open, then save"), String(u"Ouvrir"));

    table.setLanguage(u"en");
    EXPECT_EQ(table.getLocalized(u"Exposure"), String(u"Exposure"));
    table.setLanguage(previous);
}
