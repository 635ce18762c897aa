#pragma once

#include <algorithm>
#include <cstdint>

namespace Vespra {

/// The pixels [begin, end) of a row: where it holds light, or where it is looked at.
struct RowSpan {
    std::int32_t begin = 0;
    std::int32_t end = 0;

    bool isEmpty() const { return begin >= end; }

    RowSpan united(RowSpan other) const {
        if (isEmpty()) {
            return other;
        }
        return other.isEmpty() ? *this : RowSpan{std::min(begin, other.begin), std::max(end, other.end)};
    }
    RowSpan intersected(RowSpan other) const {
        return {std::max(begin, other.begin), std::min(end, other.end)};
    }
    /// Grown by `margin` on both sides, within [0, limit).
    RowSpan widened(std::int32_t margin, std::int32_t limit) const {
        return isEmpty() ? *this : RowSpan{std::max(0, begin - margin), std::min(limit, end + margin)};
    }
};

} // namespace Vespra
