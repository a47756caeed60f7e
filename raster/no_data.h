#pragma once

// The no-data test of the filters, searches and fills: a pixel holds data
// when it is neither 0 (of either sign) nor NaN. Negative values are data.

#include <emmintrin.h>

namespace relief::detail {

inline bool HoldsData(float v) { return v == v && v != 0.0f; }

// All-ones lanes where the value holds data. cmpneq alone would pass NaN.
inline __m128 HoldsData(__m128 v) { return _mm_and_ps(_mm_cmpord_ps(v, v), _mm_cmpneq_ps(v, _mm_setzero_ps())); }

}  // namespace relief::detail
