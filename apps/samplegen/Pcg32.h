#pragma once

#include <cstdint>

namespace Vespra::SampleGen {

/// Mixes a 64-bit value into a well-spread one (the SplitMix64 finaliser); used to derive
/// independent random streams from a seed and the indices of a sample.
constexpr std::uint64_t mixBits(std::uint64_t value) {
    value += 0x9e3779b97f4a7c15ull;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9ull;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebull;
    return value ^ (value >> 31);
}

/// The PCG32 generator (XSH-RR output of a 64-bit LCG). Each pixel and pass gets its own
/// stream, so the samples do not depend on which thread renders them or in which order.
class Pcg32 {
public:
    Pcg32(std::uint64_t seed, std::uint64_t stream) : increment((stream << 1u) | 1u) {
        next();
        state += seed;
        next();
    }

    std::uint32_t next() {
        const std::uint64_t old = state;
        state = old * 6364136223846793005ull + increment;
        const auto shifted = std::uint32_t(((old >> 18u) ^ old) >> 27u);
        const auto rotation = std::uint32_t(old >> 59u);
        return (shifted >> rotation) | (shifted << ((32u - rotation) & 31u));
    }

    /// Uniform in [0, 1).
    float uniform() { return float(next() >> 8) * 0x1p-24f; }

private:
    std::uint64_t state = 0;
    std::uint64_t increment;
};

} // namespace Vespra::SampleGen
