#pragma once

// Helpers shared by the contour sources: padded SIMD coordinate arrays, and
// the float-to-pixel conversions every subsystem shares.

#include <cstddef>
#include <cstring>

#include "core/pixel_rounding.h"
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

}  // namespace relief::detail
