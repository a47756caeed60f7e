// CSSEMatrix forward differences, in place, register by register.

#include "raster/register_walk.h"
#include "relief/CSSEMatrix.h"

void CSSEMatrix::CalcDerivativeX() {
  relief::detail::ForEachRegisterWithRight(*this, [](__m128& r, __m128 right) { r = _mm_sub_ps(right, r); });
}

void CSSEMatrix::CalcDerivativeY() {
  if (!m_ppLines) return;
  // Lane j of the successor is lane j + 1 of the same register, and for lane 3
  // lane 0 of the register below: one shift and one insert per register.
  // Ascending k reads SSE row k + 1 before it is overwritten. Kept as its own
  // loop: on the register walk it measured 3 to 12 % slower.
  for (int k = 0; k + 1 < m_nSSESizeY; ++k) {
    __m128* line = m_ppLines[k];
    const __m128* below = m_ppLines[k + 1];
    for (int x = 0; x < m_nSSESizeX; ++x) {
      const __m128i v = _mm_castps_si128(line[x]);
      const __m128i next =
          _mm_or_si128(_mm_srli_si128(v, 4), _mm_slli_si128(_mm_castps_si128(below[x]), 12));
      line[x] = _mm_sub_ps(_mm_castsi128_ps(next), line[x]);
    }
  }
}
