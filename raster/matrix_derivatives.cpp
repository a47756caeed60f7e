// CSSEMatrix forward differences, in place, register by register.

#include "raster/register_walk.h"
#include "relief/CSSEMatrix.h"

void CSSEMatrix::CalcDerivativeX() {
  relief::detail::ForEachRegisterWithRight(*this, [](__m128& r, __m128 right) { r = _mm_sub_ps(right, r); });
}

void CSSEMatrix::CalcDerivativeY() {
  // Lane j of the successor is lane j + 1 of the same register, and for lane 3
  // lane 0 of the register below: one shift and one insert per register.
  relief::detail::ForEachRegisterWithBelow(*this, [](__m128& r, __m128 below) {
    const __m128i v = _mm_castps_si128(r);
    const __m128i next = _mm_or_si128(_mm_srli_si128(v, 4), _mm_slli_si128(_mm_castps_si128(below), 12));
    r = _mm_sub_ps(_mm_castsi128_ps(next), r);
  });
}
