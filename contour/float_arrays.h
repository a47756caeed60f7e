#pragma once

// Helpers shared by the contour sources: padded SIMD coordinate arrays and the
// float-to-pixel conversions.

#include <climits>
#include <cstddef>
#include <cstring>

#include "relief/SafeMemory.h"

namespace relief::detail {

// Points rounded up to whole groups of four.
inline std::size_t PaddedCount(int n) { return (static_cast<std::size_t>(n) + 3) & ~static_cast<std::size_t>(3); }

// A zero-filled, 16-byte aligned float array with room for n points rounded up
// to four. Zero padding keeps every SIMD pass over the padding lanes
// reproducible. Throws CMemoryException.
inline float* AllocPaddedFloats(int n) {
  const std::size_t count = PaddedCount(n);
  void* p = SafeAlignedAlloc(count * sizeof(float) + (count == 0 ? 16 : 0), 16);
  std::memset(p, 0, count * sizeof(float));
  return static_cast<float*>(p);
}

// Truncation toward zero as the processor's conversion does it: values outside
// the int range (and NaN) give INT_MIN, never undefined behaviour.
inline int TruncToInt(double v) {
  if (!(v > -2147483649.0 && v < 2147483648.0)) return INT_MIN;
  return static_cast<int>(v);
}

// A float coordinate's pixel: add 0.5 in double, truncate toward zero.
inline int PixelOf(float v) { return TruncToInt(static_cast<double>(v) + 0.5); }

// v limited to 0 .. size - 1 (upper bound first, so size 0 gives 0).
inline int ClampIndex(int v, int size) {
  v = v > size - 1 ? size - 1 : v;
  return v < 0 ? 0 : v;
}

}  // namespace relief::detail
