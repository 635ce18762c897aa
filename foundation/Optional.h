#pragma once

#include <any>
#include <expected>
#include <optional>
#include <variant>

#include "foundation/Exception.h"

namespace Vespra {

/// An optional value whose empty read raises `Exception` with "bad_optional_access".
template <class T>
class Optional : public std::optional<T> {
    using Base = std::optional<T>;

public:
    using Base::Base;
    Optional(const Base& other) : Base(other) {}
    Optional(Base&& other) : Base(std::move(other)) {}

    T& value() & { return checked(), Base::operator*(); }
    const T& value() const& { return checked(), Base::operator*(); }
    T&& value() && { return checked(), std::move(Base::operator*()); }
    T& operator*() & { return value(); }
    const T& operator*() const& { return value(); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }

private:
    void checked() const {
        if (!this->has_value()) {
            throw Exception(u"bad_optional_access");
        }
    }
};

/// A value or an error; the error is a `String` throughout this system.
template <class T, class E = String>
using Expected = std::expected<T, E>;

/// The error side of an `Expected`.
inline std::unexpected<String> makeUnexpected(String message) {
    return std::unexpected<String>(std::move(message));
}

template <class... Types>
using Variant = std::variant<Types...>;

using Any = std::any;

} // namespace Vespra
