#pragma once

#include <type_traits>

namespace Vespra {

/// A bit set over an enumeration whose values are single bits.
template <class E>
class Flags {
public:
    using Bits = std::underlying_type_t<E>;

    constexpr Flags() = default;
    constexpr Flags(E flag) : bits(Bits(flag)) {}
    static constexpr Flags fromValue(Bits value) {
        Flags flags;
        flags.bits = value;
        return flags;
    }

    constexpr bool has(E flag) const { return (bits & Bits(flag)) == Bits(flag); }
    constexpr bool hasAny(Flags other) const { return (bits & other.bits) != 0; }
    constexpr bool isEmpty() const { return bits == 0; }
    constexpr Flags& set(E flag, bool on = true) {
        bits = on ? Bits(bits | Bits(flag)) : Bits(bits & ~Bits(flag));
        return *this;
    }
    constexpr Flags& unset(E flag) { return set(flag, false); }
    constexpr Bits value() const { return bits; }

    constexpr Flags operator|(Flags other) const { return fromValue(Bits(bits | other.bits)); }
    constexpr Flags operator&(Flags other) const { return fromValue(Bits(bits & other.bits)); }
    constexpr Flags& operator|=(Flags other) { return *this = *this | other; }
    constexpr bool operator==(const Flags&) const = default;

private:
    Bits bits = 0;
};

} // namespace Vespra

/// Lets `A | B` of an enumeration give its `Flags`.
#define VESPRA_FLAGS_OPERATORS(E)                                                                            \
    constexpr ::Vespra::Flags<E> operator|(E left, E right) {                                                \
        return ::Vespra::Flags<E>(left) | right;                                                             \
    }
