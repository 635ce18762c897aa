#pragma once

#include <cstdint>
#include <memory>
#include <variant>

#include "foundation/Containers.h"
#include "foundation/Rgb.h"
#include "foundation/String.h"
#include "foundation/Vector2.h"
#include "foundation/Vector3.h"

namespace Vespra {

/// Type codes of `Property`. The numbers are part of the design: code compares against
/// them, and files carry the names of `getTypeName`.
enum class PropertyType : std::int32_t {
    INT = 107,
    FLOAT = 207,
    BOOL = 307,
    VEC3 = 407,
    STRING = 507,
    VEC3_ARRAY = 607,
    FLOAT_ARRAY = 707,
    VEC2_ARRAY = 807,
    INT_ARRAY = 907,
    BOOL_ARRAY = 1007,
    STRING_ARRAY = 1107,
    NONE = 666,
};

/// The three floats of a "Vec3" property, whatever they were made from.
struct Vec3Value {
    float x = 0.f;
    float y = 0.f;
    float z = 0.f;

    Vec3Value() = default;
    Vec3Value(float x, float y, float z) : x(x), y(y), z(z) {}
    Vec3Value(const Rgb& c) : x(c.r), y(c.g), z(c.b) {}
    template <class Tag>
    Vec3Value(const Vector3<Tag>& v) : x(v.x), y(v.y), z(v.z) {}

    Rgb toRgb() const { return {x, y, z}; }
    Dir toDir() const { return {x, y, z}; }
    Pos toPos() const { return {x, y, z}; }
    bool operator==(const Vec3Value&) const = default;
};

/// An array of booleans with contiguous storage (unlike `std::vector<bool>`), so that it
/// can be viewed as `ArrayView<const bool>`.
class BoolArray {
public:
    BoolArray() = default;
    explicit BoolArray(ArrayView<const bool> items);
    BoolArray(const BoolArray& other) : BoolArray(other.view()) {}
    BoolArray(BoolArray&&) noexcept = default;
    BoolArray& operator=(const BoolArray& other) { return *this = BoolArray(other); }
    BoolArray& operator=(BoolArray&&) noexcept = default;

    ArrayView<const bool> view() const { return {items.get(), count}; }
    bool operator==(const BoolArray& other) const;

private:
    std::unique_ptr<bool[]> items;
    std::size_t count = 0;
};

/// A typed value: one of the types of `PropertyType`, or nothing (type `NONE`).
class Property {
public:
    Property() = default;
    Property(std::int32_t value) : value(value) {}
    Property(float value) : value(value) {}
    Property(bool value) : value(value) {}
    Property(const Rgb& value) : value(Vec3Value(value)) {}
    Property(const Dir& value) : value(Vec3Value(value)) {}
    Property(const Pos& value) : value(Vec3Value(value)) {}
    Property(const Vec3Value& value) : value(value) {}
    Property(const String& value) : value(value) {}
    Property(const char16_t* value) : value(String(value)) {}
    Property(const wchar_t* value) : value(String::fromWide(value)) {}
    Property(ArrayView<const Rgb> items);
    Property(ArrayView<const Dir> items);
    Property(ArrayView<const Pos> items);
    Property(ArrayView<const Vec3Value> items) : value(Array<Vec3Value>(items)) {}
    Property(ArrayView<const float> items) : value(Array<float>(items)) {}
    Property(ArrayView<const Vector2> items) : value(Array<Vector2>(items)) {}
    Property(ArrayView<const std::int32_t> items) : value(Array<std::int32_t>(items)) {}
    Property(ArrayView<const bool> items) : value(BoolArray(items)) {}
    Property(ArrayView<const String> items) : value(Array<String>(items)) {}

    PropertyType getType() const;
    bool isNone() const { return getType() == PropertyType::NONE; }

    /// Raises `Exception` with "Invalid property type" unless the value is of `type`.
    void throwIfTypeNot(PropertyType type) const;

    operator std::int32_t() const { return get<std::int32_t>(PropertyType::INT); }
    operator float() const { return get<float>(PropertyType::FLOAT); }
    operator bool() const { return get<bool>(PropertyType::BOOL); }
    operator Vec3Value() const { return get<Vec3Value>(PropertyType::VEC3); }
    operator Rgb() const { return get<Vec3Value>(PropertyType::VEC3).toRgb(); }
    operator Dir() const { return get<Vec3Value>(PropertyType::VEC3).toDir(); }
    operator Pos() const { return get<Vec3Value>(PropertyType::VEC3).toPos(); }
    operator const String&() const& { return get<String>(PropertyType::STRING); }
    operator ArrayView<const Vec3Value>() const& { return get<Array<Vec3Value>>(PropertyType::VEC3_ARRAY); }
    operator ArrayView<const float>() const& { return get<Array<float>>(PropertyType::FLOAT_ARRAY); }
    operator ArrayView<const Vector2>() const& { return get<Array<Vector2>>(PropertyType::VEC2_ARRAY); }
    operator ArrayView<const std::int32_t>() const& {
        return get<Array<std::int32_t>>(PropertyType::INT_ARRAY);
    }
    operator ArrayView<const bool>() const& { return get<BoolArray>(PropertyType::BOOL_ARRAY).view(); }
    operator ArrayView<const String>() const& { return get<Array<String>>(PropertyType::STRING_ARRAY); }
    // Texts and arrays are views into the property: a temporary one, such as what
    // `Settings::get` answers, must be held in a variable first.
    operator const String&() && = delete;
    operator ArrayView<const Vec3Value>() && = delete;
    operator ArrayView<const float>() && = delete;
    operator ArrayView<const Vector2>() && = delete;
    operator ArrayView<const std::int32_t>() && = delete;
    operator ArrayView<const bool>() && = delete;
    operator ArrayView<const String>() && = delete;

    std::int32_t asInt() const { return *this; }
    float asFloat() const { return *this; }
    bool asBool() const { return *this; }
    Rgb asRgb() const { return *this; }
    const String& asString() const& { return *this; }
    const String& asString() && = delete;
    /// The items of a "Vec3Array" as colours.
    Array<Rgb> asRgbArray() const;
    ArrayView<const float> asFloatArray() const& { return *this; }
    ArrayView<const float> asFloatArray() && = delete;
    ArrayView<const Vector2> asVec2Array() const& { return *this; }
    ArrayView<const Vector2> asVec2Array() && = delete;
    ArrayView<const std::int32_t> asIntArray() const& { return *this; }
    ArrayView<const std::int32_t> asIntArray() && = delete;
    ArrayView<const bool> asBoolArray() const& { return *this; }
    ArrayView<const bool> asBoolArray() && = delete;
    ArrayView<const String> asStringArray() const& { return *this; }
    ArrayView<const String> asStringArray() && = delete;

    /// Equal when the types and the values are equal; floats compare with `==`.
    bool operator==(const Property& other) const { return value == other.value; }

    /// The type's name in text, padded with blanks to one common width, so that keys
    /// written after it stand in one column. An unknown code gives "[ERROR]".
    String getAlignedTypeStr() const;

private:
    template <class T>
    const T& get(PropertyType type) const {
        throwIfTypeNot(type);
        return std::get<T>(value);
    }

    // The alternatives stand in the order of the type codes, so that the index gives the code.
    std::variant<std::monostate, std::int32_t, float, bool, Vec3Value, String, Array<Vec3Value>, Array<float>,
                 Array<Vector2>, Array<std::int32_t>, BoolArray, Array<String>>
        value;
};

/// The name of a type code in text ("Int", "Float", ...); empty for an unknown code.
String getTypeName(PropertyType type);

/// All type codes that have a name, in the order the .conf reader matches them.
ArrayView<const PropertyType> getNamedTypes();

/// The value in the text form of .conf files.
String toStr(const Property& property);

} // namespace Vespra
