#include <gtest/gtest.h>

#include "foundation/Exception.h"
#include "settings/Property.h"

using namespace Vespra;

TEST(Property, EqualityIsByTypeAndValue) {
    EXPECT_EQ(Property(), Property());
    EXPECT_EQ(Property().getType(), PropertyType::NONE);
    EXPECT_NE(Property(), Property(0));
    EXPECT_NE(Property(1), Property(1.f));
    EXPECT_NE(Property(true), Property(1));
    // A Vec3 remembers its numbers, not what it was made from.
    EXPECT_EQ(Property(Rgb(1.f, 2.f, 3.f)), Property(Dir{1.f, 2.f, 3.f}));
    EXPECT_EQ(Property(Pos{1.f, 2.f, 3.f}).getType(), PropertyType::VEC3);

    const float items[] = {1.f, 2.f};
    const float other[] = {1.f, 2.5f};
    EXPECT_EQ(Property(ArrayView<const float>(items)), Property(ArrayView<const float>(items)));
    EXPECT_NE(Property(ArrayView<const float>(items)), Property(ArrayView<const float>(other)));
    EXPECT_NE(Property(ArrayView<const float>()), Property(ArrayView<const std::int32_t>()));
}

TEST(Property, ReadingUnderAnotherTypeRaises) {
    const Property value(2.5f);
    EXPECT_EQ(value.asFloat(), 2.5f);
    try {
        (void)value.asInt();
        FAIL() << "no exception";
    } catch (const Exception& error) {
        EXPECT_EQ(error.getMessage(), String(u"Invalid property type"));
    }
    EXPECT_THROW((void)Property().asBool(), Exception);
    const Property text(u"text");
    EXPECT_THROW((void)text.asStringArray(), Exception);
}

TEST(Property, TextForms) {
    EXPECT_EQ(toStr(Property(-42)), String(u"-42"));
    EXPECT_EQ(toStr(Property(0.65f)), String(u"0.65"));
    EXPECT_EQ(toStr(Property(true)), String(u"true"));
    EXPECT_EQ(toStr(Property(Rgb(1.f, 0.5f, 0.25f))), String(u"1 0.5 0.25"));
    EXPECT_EQ(toStr(Property(u"a \"b\"")), String(u"\"a \\\"b\\\"\""));
    const bool flags[] = {true, false, true};
    EXPECT_EQ(toStr(Property(ArrayView<const bool>(flags))), String(u"1, 0, 1"));
    const Vector2 nodes[] = {{0.f, 0.f}, {0.5f, 0.75f}};
    EXPECT_EQ(toStr(Property(ArrayView<const Vector2>(nodes))), String(u"0 0, 0.5 0.75"));
    EXPECT_EQ(toStr(Property(ArrayView<const float>())), String());

    // Type names are padded to one width so that the keys of a file stand in one column.
    EXPECT_EQ(Property(1).getAlignedTypeStr(), String(u"Int        "));
    EXPECT_EQ(Property(ArrayView<const String>()).getAlignedTypeStr(), String(u"StringArray"));
    EXPECT_EQ(Property().getAlignedTypeStr(), String(u"[ERROR]"));
}
