#pragma once

#include <cfloat>
#include <limits>
#include <numbers>

#include "foundation/Float4.h"

/// Exponentials, logarithms and trigonometry on four lanes at once, for the display path.
/// Each function is a short polynomial after an exact range reduction: no tables, no calls.
/// The tests measure their worst errors against the standard library: all are within a few
/// units of float rounding, except powApprox, which carries the rounding of y log2 x (about
/// 1e-5 relative on the ranges colour corrections use).
namespace Vespra {

namespace Detail {

/// Horner's scheme on coefficients given from the highest power down.
template <class... Lower>
inline Float4 horner(Float4 x, float highest, Lower... lower) {
    Float4 result(highest);
    ((result = result * x + Float4(lower)), ...);
    return result;
}

/// Clamps to [low, high] and lets NaN through: minps and maxps answer their second
/// operand when either operand is NaN, so the lane being clamped goes second.
inline Float4 clampKeepingNan(Float4 x, float low, float high) {
    return _mm_max_ps(_mm_set1_ps(low), _mm_min_ps(_mm_set1_ps(high), x.v));
}

inline Float4 roundToNearest(Float4 x) {
    return _mm_round_ps(x.v, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
}

/// 2^e for integer lanes e in [-126, 127], built directly in the exponent field.
inline Float4 pow2(__m128i e) {
    return _mm_castsi128_ps(_mm_slli_epi32(_mm_add_epi32(e, _mm_set1_epi32(127)), 23));
}

/// x * 2^n for integer lanes n in [-252, 254]. Two factors keep each one a normal float,
/// so results that fall below the normal range still round to the right denormal, and
/// results above it overflow to infinity.
inline Float4 scaleByPow2(Float4 x, __m128i n) {
    const __m128i half = _mm_srai_epi32(n, 1);
    return x * pow2(half) * pow2(_mm_sub_epi32(n, half));
}

/// Splits positive, finite x into x = m * 2^e with m in [sqrt(1/2), sqrt(2)), and answers
/// ln(m) with e as floats. Denormals are scaled into the normal range first.
inline Float4 logOfMantissa(Float4 x, Float4& exponent) {
    const Float4 tiny = _mm_cmplt_ps(x.v, _mm_set1_ps(FLT_MIN));
    x = select(tiny, x * Float4(8388608.f), x); // 2^23
    const __m128i bits = _mm_castps_si128(x.v);
    const __m128i sqrtHalfBits = _mm_set1_epi32(0x3F3504F3);
    const __m128i e = _mm_srai_epi32(_mm_sub_epi32(bits, sqrtHalfBits), 23);
    const Float4 m = _mm_castsi128_ps(_mm_sub_epi32(bits, _mm_slli_epi32(e, 23)));
    exponent = Float4(_mm_cvtepi32_ps(e)) - (tiny & Float4(23.f));
    // ln(m) = 2 atanh(z); with |z| <= 0.1716 the series to z^7 is within 3e-8.
    const Float4 z = (m - Float4(1.f)) / (m + Float4(1.f));
    const Float4 z2 = z * z;
    return z * horner(z2, 2.f / 7.f, 2.f / 5.f, 2.f / 3.f, 2.f);
}

/// The logarithm's answer for the inputs logOfMantissa does not cover: +inf stays +inf,
/// zero gives -inf, negative numbers and NaN give NaN.
inline Float4 fixLogEdgeCases(Float4 x, Float4 result) {
    const Float4 inf(std::numeric_limits<float>::infinity());
    result = select(_mm_cmpeq_ps(x.v, inf.v), inf, result);
    result = select(_mm_cmpeq_ps(x.v, _mm_setzero_ps()), -inf, result);
    return select(_mm_cmpge_ps(x.v, _mm_setzero_ps()), result,
                  Float4(std::numeric_limits<float>::quiet_NaN()));
}

/// sin and cos of r in [-pi/4, pi/4].
inline void sinCosReduced(Float4 r, Float4& s, Float4& c) {
    const Float4 r2 = r * r;
    s = r + r * r2 * horner(r2, -1.9515295891e-4f, 8.3321608736e-3f, -1.6666654611e-1f);
    c = Float4(1.f) - Float4(0.5f) * r2 +
        r2 * r2 * horner(r2, 2.443315711809948e-5f, -1.388731625493765e-3f, 4.166664568298827e-2f);
}

/// asin of a in [0, 1/2], with z = a * a.
inline Float4 asinSmall(Float4 a, Float4 z) {
    return a + a * z *
                   horner(z, 4.2163199048e-2f, 2.4181311049e-2f, 4.5470025998e-2f, 7.4953002686e-2f,
                          1.6666752422e-1f);
}

inline Float4 signMask(Float4 x) {
    return _mm_and_ps(x.v, _mm_set1_ps(-0.f));
}

} // namespace Detail

/// 2^x. Above 128 it is +inf, below -150 it is 0, the denormal range in between comes out
/// as denormals, and NaN stays NaN. Worst relative error about 2e-7.
inline Float4 exp2Approx(Float4 x) {
    x = Detail::clampKeepingNan(x, -151.f, 129.f);
    const Float4 whole = Detail::roundToNearest(x);
    const Float4 f = x - whole;
    // Minimax fit of (2^f - 1) / f on [-1/2, 1/2], for relative error.
    const Float4 p = Float4(1.f) + f * Detail::horner(f, 1.3264726901981337e-3f, 9.671512660416407e-3f,
                                                      5.550733744226303e-2f, 2.4022242084922213e-1f,
                                                      6.931469775984952e-1f);
    return Detail::scaleByPow2(p, _mm_cvttps_epi32(whole.v));
}

/// log2(x). log2(0) is -inf, log2(+inf) is +inf, negative x and NaN give NaN; denormals
/// have their exact logarithm (about -126 to -149). Worst absolute error 2e-7 for x in
/// [1/2, 2]; beyond, a few units of the result's float rounding.
inline Float4 log2Approx(Float4 x) {
    Float4 exponent;
    const Float4 lnMantissa = Detail::logOfMantissa(x, exponent);
    return Detail::fixLogEdgeCases(x, exponent + lnMantissa * Float4(std::numbers::log2e_v<float>));
}

/// x^y as 2^(y log2 x), for display corrections such as gamma and contrast. Edge cases:
/// y = 0 gives 1 for any x (NaN included); negative x is treated as 0, so x <= 0 gives 0 for
/// y > 0 and +inf for y < 0; NaN in x or in y (with y != 0) gives NaN. Worst relative error
/// about 1e-5 for x in [1e-6, 1e4] and y in [0.05, 10].
inline Float4 powApprox(Float4 x, Float4 y) {
    const Float4 nonNegative = _mm_max_ps(_mm_setzero_ps(), x.v); // NaN passes, see clampKeepingNan
    const Float4 result = exp2Approx(y * log2Approx(nonNegative));
    return select(_mm_cmpeq_ps(y.v, _mm_setzero_ps()), Float4(1.f), result);
}

/// 1/x within about 3e-7 relative: the hardware estimate refined by one Newton step.
/// 1/0 is +inf, 1/inf is 0 (the Newton step alone would give NaN there).
inline Float4 fastReciprocal(Float4 x) {
    const Float4 estimate = _mm_rcp_ps(x.v);
    const Float4 refined = estimate * (Float4(2.f) - x * estimate);
    return select(isNan(refined), estimate, refined);
}

/// 1/sqrt(x) within about 3e-7 relative: the hardware estimate refined by one Newton step.
/// 0 gives +inf, +inf gives 0, negative x gives NaN.
inline Float4 fastRsqrt(Float4 x) {
    const Float4 estimate = _mm_rsqrt_ps(x.v);
    const Float4 refined = Float4(0.5f) * estimate * (Float4(3.f) - x * estimate * estimate);
    return select(isNan(refined), estimate, refined);
}

/// e^x within a few units of float rounding. Above 88.8 it is +inf, below -104 it is 0.
inline Float4 exp(Float4 x) {
    x = Detail::clampKeepingNan(x, -104.f, 89.f);
    const Float4 n = Detail::roundToNearest(x * Float4(std::numbers::log2e_v<float>));
    // Subtract n ln2 in two parts: the first has few enough bits that n times it is exact.
    const Float4 r = x - n * Float4(0.693359375f) + n * Float4(2.12194440e-4f);
    const Float4 p = Float4(1.f) + r +
                     r * r *
                         Detail::horner(r, 1.9875691500e-4f, 1.3981999507e-3f, 8.3334519073e-3f,
                                        4.1665795894e-2f, 1.6666665459e-1f, 5.0000001201e-1f);
    return Detail::scaleByPow2(p, _mm_cvttps_epi32(n.v));
}

/// Natural logarithm, with the edge cases of log2Approx.
inline Float4 log(Float4 x) {
    Float4 exponent;
    const Float4 lnMantissa = Detail::logOfMantissa(x, exponent);
    return Detail::fixLogEdgeCases(x, exponent * Float4(std::numbers::ln2_v<float>) + lnMantissa);
}

/// sin and cos together, within a few units of float rounding for |x| up to about 8000;
/// beyond that the reduction by pi/2 loses precision.
inline void sincos(Float4 x, Float4& s, Float4& c) {
    const Float4 quadrant = Detail::roundToNearest(x * Float4(std::numbers::inv_pi_v<float> * 2.f));
    // x - quadrant * pi/2, with pi/2 in three parts so that the first two products are exact.
    const Float4 r = ((x - quadrant * Float4(1.5703125f)) - quadrant * Float4(4.837512969970703125e-4f)) -
                     quadrant * Float4(7.54978995489188216e-8f);
    Float4 sinR, cosR;
    Detail::sinCosReduced(r, sinR, cosR);
    // Quadrant q: sin x is sin r, cos r, -sin r, -cos r for q mod 4 = 0, 1, 2, 3.
    const __m128i q = _mm_cvttps_epi32(quadrant.v);
    const Float4 swap =
        _mm_castsi128_ps(_mm_cmpeq_epi32(_mm_and_si128(q, _mm_set1_epi32(1)), _mm_set1_epi32(1)));
    const Float4 sinSign = _mm_castsi128_ps(_mm_slli_epi32(_mm_and_si128(q, _mm_set1_epi32(2)), 30));
    const Float4 cosSign = _mm_castsi128_ps(
        _mm_slli_epi32(_mm_and_si128(_mm_add_epi32(q, _mm_set1_epi32(1)), _mm_set1_epi32(2)), 30));
    s = _mm_xor_ps(select(swap, cosR, sinR).v, sinSign.v);
    c = _mm_xor_ps(select(swap, sinR, cosR).v, cosSign.v);
}

inline Float4 cos(Float4 x) {
    Float4 s, c;
    sincos(x, s, c);
    return c;
}

/// acos(x) in [0, pi]; NaN outside [-1, 1].
inline Float4 acos(Float4 x) {
    const Float4 a = abs(x);
    const Float4 large = a > Float4(0.5f);
    // Near |x| = 1, acos |x| = 2 asin(sqrt((1 - |x|) / 2)) keeps the precision.
    const Float4 z = select(large, Float4(0.5f) * (Float4(1.f) - a), a * a);
    const Float4 asinArg = select(large, sqrt(z), a);
    const Float4 p = Detail::asinSmall(asinArg, z);
    const Float4 negative = x < Float4(0.f);
    const Float4 largeResult = select(negative, Float4(std::numbers::pi_v<float>) - p - p, p + p);
    const Float4 smallResult =
        Float4(std::numbers::pi_v<float> / 2.f) - Float4(_mm_xor_ps(p.v, Detail::signMask(x).v));
    return select(large, largeResult, smallResult);
}

/// atan(x) in [-pi/2, pi/2].
inline Float4 atan(Float4 x) {
    const Float4 a = abs(x);
    const Float4 beyond3PiOver8 = a > Float4(2.414213562373095f);
    const Float4 beyondPiOver8 = a > Float4(0.4142135623730950f);
    // Reduce to |r| <= tan(pi/8) by atan a = pi/2 + atan(-1/a) or pi/4 + atan((a - 1) / (a + 1)).
    const Float4 numerator = select(beyond3PiOver8, Float4(-1.f), select(beyondPiOver8, a - Float4(1.f), a));
    const Float4 denominator = select(beyond3PiOver8, a, select(beyondPiOver8, a + Float4(1.f), Float4(1.f)));
    const Float4 r = numerator / denominator;
    const Float4 offset = select(beyond3PiOver8, Float4(std::numbers::pi_v<float> / 2.f),
                                 select(beyondPiOver8, Float4(std::numbers::pi_v<float> / 4.f), Float4(0.f)));
    const Float4 r2 = r * r;
    const Float4 atanR = r + r * r2 *
                                 Detail::horner(r2, 8.05374449538e-2f, -1.38776856032e-1f, 1.99777106478e-1f,
                                                -3.33329491539e-1f);
    return _mm_xor_ps((offset + atanR).v, Detail::signMask(x).v);
}

/// Scalar forms, for settings and one-off values.
inline float exp2Approx(float x) {
    return exp2Approx(Float4(x)).x();
}
inline float log2Approx(float x) {
    return log2Approx(Float4(x)).x();
}
inline float powApprox(float x, float y) {
    return powApprox(Float4(x), Float4(y)).x();
}

} // namespace Vespra
