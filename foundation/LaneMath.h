#pragma once

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

/// The lane operations of `Float4` in scalar form, for loops over float arrays that the compiler
/// vectorises at the width of each clone (see VectorClones.h). Each gives the bits its `Float4`
/// counterpart gives: minimum and maximum answer their second operand when either is NaN, as
/// minps and maxps do, and choices are bit masks rather than branches, since the vectoriser
/// gives up on loops with branches on floats.
namespace Vespra::Detail {

inline float laneSelect(bool condition, float whenTrue, float whenFalse) {
    const std::int32_t mask = -std::int32_t(condition);
    return std::bit_cast<float>((mask & std::bit_cast<std::int32_t>(whenTrue)) |
                                (~mask & std::bit_cast<std::int32_t>(whenFalse)));
}

inline float laneMin(float a, float b) {
    return laneSelect(a < b, a, b);
}

inline float laneMax(float a, float b) {
    return laneSelect(a > b, a, b);
}

/// Rounds to the nearest integer, ties to even, for |x| below 2^22: adding 1.5 * 2^23 leaves no
/// fraction bits. A zero result is +0 where roundps would keep the sign of a negative input.
inline float laneRoundToNearest(float x) {
    constexpr float SHIFT = 12582912.f;
    return (x + SHIFT) - SHIFT;
}

/// 2^e for integer e in [-126, 127], built directly in the exponent field.
inline float lanePow2(std::int32_t e) {
    return std::bit_cast<float>((e + 127) << 23);
}

/// Horner's scheme on coefficients given from the highest power down.
template <class... Lower>
inline float laneHorner(float x, float highest, Lower... lower) {
    float result = highest;
    ((result = result * x + lower), ...);
    return result;
}

/// x * 2^n for integer n in [-252, 254], in two factors as `Detail::scaleByPow2`. A NaN x
/// stays NaN whatever n is; its n is taken as 0, as converting NaN is undefined.
inline float laneScaleByPow2(float x, float n) {
    const auto whole = std::int32_t(laneSelect(n == n, n, 0.f));
    const std::int32_t half = whole >> 1;
    return x * lanePow2(half) * lanePow2(whole - half);
}

/// `exp2Approx(Float4)` of FastMath.h, lane for lane.
inline float laneExp2Approx(float x) {
    x = laneMax(-151.f, laneMin(129.f, x)); // NaN passes: it is the second operand
    const float whole = laneRoundToNearest(x);
    const float f = x - whole;
    const float p =
        1.f + f * laneHorner(f, 1.3264726901981337e-3f, 9.671512660416407e-3f, 5.550733744226303e-2f,
                             2.4022242084922213e-1f, 6.931469775984952e-1f);
    return laneScaleByPow2(p, whole);
}

/// `exp(Float4)` of FastMath.h, lane for lane.
inline float laneExp(float x) {
    x = laneMax(-104.f, laneMin(89.f, x)); // NaN passes: it is the second operand
    const float n = laneRoundToNearest(x * std::numbers::log2e_v<float>);
    const float r = x - n * 0.693359375f + n * 2.12194440e-4f;
    const float p = 1.f + r +
                    r * r *
                        laneHorner(r, 1.9875691500e-4f, 1.3981999507e-3f, 8.3334519073e-3f, 4.1665795894e-2f,
                                   1.6666665459e-1f, 5.0000001201e-1f);
    return laneScaleByPow2(p, n);
}

/// `log(Float4)` of FastMath.h, lane for lane, edge cases included.
inline float laneLog(float x) {
    const bool tiny = x < FLT_MIN;
    const float scaled = laneSelect(tiny, x * 8388608.f, x); // 2^23
    // Unsigned arithmetic wraps for negative inputs as the register form does; their result
    // is replaced below.
    const auto bits = std::bit_cast<std::uint32_t>(scaled);
    const auto e = std::int32_t(bits - 0x3F3504F3u) >> 23;
    const auto m = std::bit_cast<float>(bits - (std::uint32_t(e) << 23));
    const float exponent = float(e) - laneSelect(tiny, 23.f, 0.f);
    const float z = (m - 1.f) / (m + 1.f);
    const float lnMantissa = z * laneHorner(z * z, 2.f / 7.f, 2.f / 5.f, 2.f / 3.f, 2.f);
    const float inf = std::numeric_limits<float>::infinity();
    float result = exponent * std::numbers::ln2_v<float> + lnMantissa;
    result = laneSelect(x == inf, inf, result);
    result = laneSelect(x == 0.f, -inf, result);
    return laneSelect(x >= 0.f, result, std::numeric_limits<float>::quiet_NaN());
}

} // namespace Vespra::Detail
