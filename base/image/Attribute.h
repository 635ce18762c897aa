#pragma once

#include <cstdint>

#include "base/image/ItemInterfaceCommon.h"
#include "foundation/Bucket.h"
#include "foundation/Pixel.h"
#include "foundation/Rgb.h"
#include "foundation/String.h"

namespace Vespra {

/// One named value in the header of an image.
class IAttribute : public ItemInterfaceCommon<IAttribute> {
public:
    ~IAttribute() override = default;

    virtual AutoPtr<IAttribute> clone() const = 0;
    /// An attribute of the same name that takes the value over.
    virtual AutoPtr<IAttribute> moveClone() = 0;
    virtual const String& getName() const = 0;
    /// Same value type, same name and the same value. Floats are the same when neither is less
    /// and neither is greater, so two NaNs are.
    virtual bool equals(const IAttribute& other) const = 0;
};

namespace Detail {

template <class T>
bool sameAttributeValue(const T& a, const T& b) {
    return a == b;
}
template <>
inline bool sameAttributeValue(const float& a, const float& b) {
    return !(a < b) && !(a > b);
}
template <>
inline bool sameAttributeValue(const double& a, const double& b) {
    return !(a < b) && !(a > b);
}
template <>
inline bool sameAttributeValue(const Rgb& a, const Rgb& b) {
    return sameAttributeValue(a.r, b.r) && sameAttributeValue(a.g, b.g) && sameAttributeValue(a.b, b.b);
}

} // namespace Detail

/// `T` is one of `std::int32_t`, `float`, `double`, `Bucket`, `Rgb`, `Pixel` and `String`: the
/// types the image file can carry.
template <class T>
class Attribute final : public IAttribute {
public:
    String name;
    T value;

    Attribute(String name, T value) : name(std::move(name)), value(std::move(value)) {}

    AutoPtr<IAttribute> clone() const override { return makeAuto<Attribute>(*this); }
    AutoPtr<IAttribute> moveClone() override { return makeAuto<Attribute>(name, std::move(value)); }
    const String& getName() const override { return name; }
    bool equals(const IAttribute& other) const override {
        const auto* same = other.as<Attribute>();
        return same && same->name == name && Detail::sameAttributeValue(same->value, value);
    }
};

} // namespace Vespra
