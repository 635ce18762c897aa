#pragma once

#include <cstdint>

#include "foundation/Containers.h"

namespace Vespra {

/// A closed interval of floats.
struct Range {
    float min = 0.f;
    float max = 0.f;

    constexpr float size() const { return max - min; }
    constexpr bool operator==(const Range&) const = default;
};

/// Counts of values in equal bins that split `range`, the first bin starting at its min
/// and the last ending at its max.
struct Histogram {
    Array<std::uint64_t> counts;
    Range range;

    bool operator==(const Histogram&) const = default;
};

} // namespace Vespra
