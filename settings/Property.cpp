#include "settings/Property.h"

#include <algorithm>

#include <fmt/format.h>

#include "foundation/Exception.h"
#include "foundation/Str.h"

namespace Vespra {

namespace {

struct TypeName {
    PropertyType type;
    const char16_t* name;
};

// The order in which the .conf reader tries the names.
constexpr TypeName TYPE_NAMES[] = {
    {PropertyType::INT, u"Int"},
    {PropertyType::FLOAT, u"Float"},
    {PropertyType::BOOL, u"Bool"},
    {PropertyType::VEC3, u"Vec3"},
    {PropertyType::STRING, u"String"},
    {PropertyType::VEC3_ARRAY, u"Vec3Array"},
    {PropertyType::FLOAT_ARRAY, u"FloatArray"},
    {PropertyType::VEC2_ARRAY, u"Vec2Array"},
    {PropertyType::INT_ARRAY, u"IntArray"},
    {PropertyType::BOOL_ARRAY, u"BoolArray"},
    {PropertyType::STRING_ARRAY, u"StringArray"},
};

constexpr PropertyType NAMED_TYPES[] = {
    PropertyType::INT,       PropertyType::FLOAT,      PropertyType::BOOL,         PropertyType::VEC3,
    PropertyType::STRING,    PropertyType::VEC3_ARRAY, PropertyType::FLOAT_ARRAY,  PropertyType::VEC2_ARRAY,
    PropertyType::INT_ARRAY, PropertyType::BOOL_ARRAY, PropertyType::STRING_ARRAY,
};

template <class Item, class Format>
String joinItems(ArrayView<const Item> items, Format format) {
    std::string text;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i > 0) {
            text += ", ";
        }
        text += format(items[i]);
    }
    return String::fromUtf8(text);
}

template <class Source>
Array<Vec3Value> toVec3Values(ArrayView<const Source> items) {
    Array<Vec3Value> values(items.size());
    std::transform(items.begin(), items.end(), values.begin(),
                   [](const Source& item) { return Vec3Value(item); });
    return values;
}

std::string formatVec3(const Vec3Value& v) {
    return fmt::format("{} {} {}", v.x, v.y, v.z);
}

} // namespace

BoolArray::BoolArray(ArrayView<const bool> source) : items(new bool[source.size()]), count(source.size()) {
    std::copy(source.begin(), source.end(), items.get());
}

bool BoolArray::operator==(const BoolArray& other) const {
    return std::ranges::equal(view(), other.view());
}

Property::Property(ArrayView<const Rgb> items) : value(toVec3Values(items)) {}
Property::Property(ArrayView<const Dir> items) : value(toVec3Values(items)) {}
Property::Property(ArrayView<const Pos> items) : value(toVec3Values(items)) {}

PropertyType Property::getType() const {
    return value.index() == 0 ? PropertyType::NONE : PropertyType(std::int32_t(value.index()) * 100 + 7);
}

void Property::throwIfTypeNot(PropertyType type) const {
    if (getType() != type) {
        throw Exception(u"Invalid property type");
    }
}

Array<Rgb> Property::asRgbArray() const {
    const auto& items = get<Array<Vec3Value>>(PropertyType::VEC3_ARRAY);
    Array<Rgb> colors(items.size());
    std::transform(items.begin(), items.end(), colors.begin(), [](const Vec3Value& v) { return v.toRgb(); });
    return colors;
}

String Property::getAlignedTypeStr() const {
    constexpr int WIDTH = 11; // the longest name, "StringArray"
    String name = getTypeName(getType());
    if (name.isEmpty()) {
        return u"[ERROR]";
    }
    return name + String(WIDTH - name.length(), u' ');
}

String getTypeName(PropertyType type) {
    for (const TypeName& row : TYPE_NAMES) {
        if (row.type == type) {
            return row.name;
        }
    }
    return {};
}

ArrayView<const PropertyType> getNamedTypes() {
    return NAMED_TYPES;
}

String toStr(const Property& property) {
    switch (property.getType()) {
    case PropertyType::INT:
        return String::fromUtf8(fmt::format("{}", property.asInt()));
    case PropertyType::FLOAT:
        // The shortest text that reads back to the same float.
        return String::fromUtf8(fmt::format("{}", property.asFloat()));
    case PropertyType::BOOL:
        return property.asBool() ? u"true" : u"false";
    case PropertyType::VEC3:
        return String::fromUtf8(formatVec3(property));
    case PropertyType::STRING:
        return Str::getExportString(property.asString());
    case PropertyType::VEC3_ARRAY:
        return joinItems(ArrayView<const Vec3Value>(property), formatVec3);
    case PropertyType::FLOAT_ARRAY:
        return joinItems(property.asFloatArray(), [](float f) { return fmt::format("{}", f); });
    case PropertyType::VEC2_ARRAY:
        return joinItems(property.asVec2Array(), [](Vector2 v) { return fmt::format("{} {}", v.x, v.y); });
    case PropertyType::INT_ARRAY:
        return joinItems(property.asIntArray(), [](std::int32_t i) { return fmt::format("{}", i); });
    case PropertyType::BOOL_ARRAY:
        return joinItems(property.asBoolArray(), [](bool b) { return std::string(b ? "1" : "0"); });
    case PropertyType::STRING_ARRAY:
        return Str::getExportStringArray(property.asStringArray());
    case PropertyType::NONE:
        break;
    }
    return {};
}

} // namespace Vespra
