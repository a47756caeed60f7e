#pragma once

// The no-data test of the filters, searches and fills: a pixel holds data
// when it is neither 0 (of either sign) nor NaN. Negative values are data.

#include <emmintrin.h>

namespace relief::detail {

inline bool HoldsData(float v) { return v == v && v != 0.0f; }

// All-ones lanes where the value holds data. cmpneq alone would pass NaN.
inline __m128 HoldsData(__m128 v) { return _mm_and_ps(_mm_cmpord_ps(v, v), _mm_cmpneq_ps(v, _mm_setzero_ps())); }

// The lanes without data of four registers (holds: all-ones lanes hold
// data), as bit 4 i + lane for register i.
inline int NoDataBits(const __m128* holds) {
  const __m128i a = _mm_packs_epi32(_mm_castps_si128(holds[0]), _mm_castps_si128(holds[1]));
  const __m128i b = _mm_packs_epi32(_mm_castps_si128(holds[2]), _mm_castps_si128(holds[3]));
  return _mm_movemask_epi8(_mm_packs_epi16(a, b)) ^ 0xFFFF;
}

}  // namespace relief::detail
