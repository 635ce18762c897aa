#pragma once

#include <smmintrin.h>

#include "foundation/Rgb.h"

namespace Vespra {

/// Four float lanes in one SSE register. Comparisons answer lane masks (all bits set
/// where true) for `select`, `any` and `all`.
class alignas(16) Float4 {
public:
    __m128 v;

    Float4() : v(_mm_setzero_ps()) {}
    Float4(__m128 value) : v(value) {}
    explicit Float4(float all) : v(_mm_set1_ps(all)) {}
    Float4(float x, float y, float z, float w) : v(_mm_setr_ps(x, y, z, w)) {}
    explicit Float4(const Rgb& c) : v(_mm_load_ps(&c.r)) {}

    static Float4 load(const float* aligned) { return _mm_load_ps(aligned); }
    static Float4 loadUnaligned(const float* p) { return _mm_loadu_ps(p); }
    void store(float* aligned) const { _mm_store_ps(aligned, v); }
    void storeUnaligned(float* p) const { _mm_storeu_ps(p, v); }
    Rgb toRgb() const {
        Rgb c;
        _mm_store_ps(&c.r, v);
        return c;
    }

    float operator[](int lane) const {
        alignas(16) float lanes[4];
        _mm_store_ps(lanes, v);
        return lanes[lane];
    }
    float x() const { return _mm_cvtss_f32(v); }

    Float4 operator+(Float4 o) const { return _mm_add_ps(v, o.v); }
    Float4 operator-(Float4 o) const { return _mm_sub_ps(v, o.v); }
    Float4 operator*(Float4 o) const { return _mm_mul_ps(v, o.v); }
    Float4 operator/(Float4 o) const { return _mm_div_ps(v, o.v); }
    Float4 operator-() const { return _mm_xor_ps(v, _mm_set1_ps(-0.f)); }
    Float4& operator+=(Float4 o) { return *this = *this + o; }
    Float4& operator-=(Float4 o) { return *this = *this - o; }
    Float4& operator*=(Float4 o) { return *this = *this * o; }
    Float4& operator/=(Float4 o) { return *this = *this / o; }

    Float4 operator<(Float4 o) const { return _mm_cmplt_ps(v, o.v); }
    Float4 operator<=(Float4 o) const { return _mm_cmple_ps(v, o.v); }
    Float4 operator>(Float4 o) const { return _mm_cmpgt_ps(v, o.v); }
    Float4 operator>=(Float4 o) const { return _mm_cmpge_ps(v, o.v); }
    Float4 operator&(Float4 o) const { return _mm_and_ps(v, o.v); }
    Float4 operator|(Float4 o) const { return _mm_or_ps(v, o.v); }
};

inline Float4 operator*(float f, Float4 a) {
    return Float4(f) * a;
}

inline Float4 min(Float4 a, Float4 b) {
    return _mm_min_ps(a.v, b.v);
}
inline Float4 max(Float4 a, Float4 b) {
    return _mm_max_ps(a.v, b.v);
}
inline Float4 clamp(Float4 a, Float4 low, Float4 high) {
    return min(max(a, low), high);
}
inline Float4 abs(Float4 a) {
    return _mm_andnot_ps(_mm_set1_ps(-0.f), a.v);
}
inline Float4 sqrt(Float4 a) {
    return _mm_sqrt_ps(a.v);
}
inline Float4 floor(Float4 a) {
    return _mm_floor_ps(a.v);
}
/// Per lane: `whenTrue` where `mask` is set, `whenFalse` elsewhere.
inline Float4 select(Float4 mask, Float4 whenTrue, Float4 whenFalse) {
    return _mm_blendv_ps(whenFalse.v, whenTrue.v, mask.v);
}
inline bool any(Float4 mask) {
    return _mm_movemask_ps(mask.v) != 0;
}
inline bool all(Float4 mask) {
    return _mm_movemask_ps(mask.v) == 0xF;
}
/// Lane mask of the lanes that hold a NaN.
inline Float4 isNan(Float4 a) {
    return _mm_cmpunord_ps(a.v, a.v);
}
/// Lane `lane` of `a` in all four lanes.
template <int lane>
inline Float4 broadcast(Float4 a) {
    return _mm_shuffle_ps(a.v, a.v, _MM_SHUFFLE(lane, lane, lane, lane));
}
/// Sum of the first three lanes, in every lane.
inline Float4 dot3(Float4 a, Float4 b) {
    return _mm_dp_ps(a.v, b.v, 0x7F);
}

} // namespace Vespra
