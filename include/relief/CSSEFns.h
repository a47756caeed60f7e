#pragma once

#include <emmintrin.h>

#include "relief/Export.h"
#include "relief/SSEPoint.h"

// Vector functions on single registers. Every function uses all four lanes.
// Horizontal sums are paired as (lane0 + lane3) + (lane1 + lane2), and
// minimum/maximum as op(op(y, w), op(x, z)); that pairing fixes the rounding
// (and the lane whose value wins on NaN), so a plain loop over the lanes is
// not a substitute. None of the functions checks its input.
class RELIEF_API CSSEFns {
 public:
  // Smallest lane, written to *out. With a NaN lane the result depends on its position.
  static void min_of_m128(__m128 v, float* out) {
    const __m128 pairs = _mm_min_ps(v, _mm_movehl_ps(v, v));  // (min(x,z), min(y,w), ..)
    _mm_store_ss(out, _mm_min_ss(Lane1(pairs), pairs));
  }
  // Largest lane, written to *out.
  static void max_of_m128(__m128 v, float* out) {
    const __m128 pairs = _mm_max_ps(v, _mm_movehl_ps(v, v));
    _mm_store_ss(out, _mm_max_ss(Lane1(pairs), pairs));
  }
  // (x + w) + (y + z).
  static float internal_addition_of_m128(__m128 v) { return _mm_cvtss_f32(HSum(v)); }
  // hsum(a * b) over all four lanes: (1,2,3,4).(5,6,7,8) is 70.
  static float scalarproduct(__m128 a, __m128 b) { return _mm_cvtss_f32(HSum(_mm_mul_ps(a, b))); }
  static float vectorlen(__m128 v) { return _mm_cvtss_f32(_mm_sqrt_ss(HSum(_mm_mul_ps(v, v)))); }
  // Every lane divided by the length; the zero vector gives four NaN lanes.
  static __m128 normalizevector(__m128 v) {
    const __m128 len = _mm_sqrt_ss(HSum(_mm_mul_ps(v, v)));
    return _mm_div_ps(v, _mm_shuffle_ps(len, len, 0));
  }
  static float euclideandistance(__m128 a, __m128 b) {
    const __m128 d = _mm_sub_ps(a, b);
    return _mm_cvtss_f32(_mm_sqrt_ss(HSum(_mm_mul_ps(d, d))));
  }
  static float euclideansqr(__m128 a, __m128 b) {
    const __m128 d = _mm_sub_ps(a, b);
    return _mm_cvtss_f32(HSum(_mm_mul_ps(d, d)));
  }
  // (hsum(row0*v), hsum(row1*v), hsum(row2*v), 0).
  static __m128 transform(__m128 v, const t_ssematrix3& m) {
    const __m128 x = HSum(_mm_mul_ps(m.row[0], v));
    const __m128 y = HSum(_mm_mul_ps(m.row[1], v));
    const __m128 z = HSum(_mm_mul_ps(m.row[2], v));
    const __m128 xy = _mm_unpacklo_ps(x, y);                           // (x, y, ., .)
    const __m128 z0 = _mm_move_ss(_mm_setzero_ps(), z);                // (z, 0, 0, 0)
    return _mm_movelh_ps(xy, z0);                                      // (x, y, z, 0)
  }
  // a x b, with w = aw*bw - aw*bw (0 for finite input).
  static __m128 vectorproduct(__m128 a, __m128 b) {
    const __m128 a120 = _mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 0, 2, 1));
    const __m128 b201 = _mm_shuffle_ps(b, b, _MM_SHUFFLE(3, 1, 0, 2));
    const __m128 a201 = _mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 1, 0, 2));
    const __m128 b120 = _mm_shuffle_ps(b, b, _MM_SHUFFLE(3, 0, 2, 1));
    return _mm_sub_ps(_mm_mul_ps(a120, b201), _mm_mul_ps(a201, b120));
  }
  // a . (b x c): the parallelepiped's signed volume (six times the tetrahedron's).
  static float volume(__m128 a, __m128 b, __m128 c) { return scalarproduct(a, vectorproduct(b, c)); }

 private:
  static __m128 Lane1(__m128 v) { return _mm_shuffle_ps(v, v, _MM_SHUFFLE(1, 1, 1, 1)); }
  // Lane 0 of the result is (v0 + v3) + (v1 + v2).
  static __m128 HSum(__m128 v) {
    const __m128 t = _mm_add_ps(v, _mm_shuffle_ps(v, v, _MM_SHUFFLE(0, 1, 2, 3)));
    return _mm_add_ss(t, _mm_movehl_ps(t, t));
  }
};
