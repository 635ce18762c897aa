#pragma once

#include <bit>
#include <cstdint>

// The pixel arithmetic of the filters one float at a time, for kernels written as plain loops
// that the compiler vectorises at any width (see VectorClones.h). It gives the numbers that the
// same steps give on four lanes: `a < b ? a : b` is what minps answers (its second operand when
// either is NaN), and `a > b ? a : b` what maxps answers.

namespace Vespra::Detail {

[[gnu::always_inline]] inline float minLane(float a, float b) {
    return a < b ? a : b;
}
[[gnu::always_inline]] inline float maxLane(float a, float b) {
    return a > b ? a : b;
}

/// 2^e for e in [-126, 127].
[[gnu::always_inline]] inline float pow2Lane(std::int32_t e) {
    return std::bit_cast<float>(std::uint32_t(e + 127) << 23);
}

/// `negativeExp` of one lane.
[[gnu::always_inline]] inline float negativeExpLane(float x) {
    // Adding and taking away 1.5 * 2^23 rounds to the nearest integer, ties to even, as roundps
    // does, on the clamped range.
    constexpr float ROUNDER = 12582912.f;
    const float y = maxLane(-151.f, minLane(129.f, x * -1.442695f));
    const float whole = (y + ROUNDER) - ROUNDER;
    const float f = y - whole;
    float h = 1.3264726901981337e-3f;
    h = h * f + 9.671512660416407e-3f;
    h = h * f + 5.550733744226303e-2f;
    h = h * f + 2.4022242084922213e-1f;
    h = h * f + 6.931469775984952e-1f;
    const float p = 1.f + f * h;
    const std::int32_t n = std::int32_t(whole);
    const std::int32_t half = n >> 1;
    return p * pow2Lane(half) * pow2Lane(n - half);
}

/// The colour distance of lane a of one pixel to lane b of another with variances va and vb.
/// It is asymmetric: the neighbour's variance counts at most 1000 times the centre's, so that a
/// very noisy neighbour cannot draw close to a clean pixel. A 0/0 counts as 0.
[[gnu::always_inline]] inline float pairDistanceLane(float a, float b, float va, float vb, float alpha,
                                                     float epsilon) {
    const float difference = a - b;
    const float numerator = difference * difference - alpha * (minLane(va, vb) + va);
    const float denominator = epsilon + va + minLane(vb, 1000.f * va);
    return maxLane(numerator / denominator, 0.f);
}

} // namespace Vespra::Detail
