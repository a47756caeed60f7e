#pragma once

// The box of the pixels that hold data, and optionally their count, in one
// pass over the registers. The raster's own bounding box and the meshers'
// valid box are this scan with their own data tests.

#include <emmintrin.h>

#include <algorithm>
#include <cstdint>

#include "raster/separable_filter.h"
#include "relief/CSSEMatrix.h"

namespace relief::detail {

struct DataBox {
  int minX, minY, maxX, maxY;  // inclusive; maxX < 0 when no pixel holds data
  std::int64_t pixels;         // pixels with data, when counted (else 0)
};

// holds(__m128) gives all-ones lanes where a register's pixels hold data;
// the padding lanes of the last SSE row never count.
template <bool kCount, class Holds>
inline DataBox ScanDataBox(const CSSEMatrix& m, Holds holds) {
  const int width = m.GetSizeX(), height = m.GetSizeY();
  DataBox box{width, height, -1, -1, 0};
  const __m128* const* lines = m.GetMatrixDataDirectly();
  if (!lines) return box;
  for (int k = 0; 4 * k < height; ++k) {
    const __m128 pixels = PixelLaneMask(k, height);
    const __m128* line = lines[k];
    int rowBits = 0, first = -1, last = -1;  // lanes with data somewhere in this SSE row
    __m128i count = _mm_setzero_si128();
    for (int x = 0; x < width; ++x) {
      const __m128 valid = _mm_and_ps(pixels, holds(line[x]));
      if (kCount) count = _mm_sub_epi32(count, _mm_castps_si128(valid));
      const int bits = _mm_movemask_ps(valid);
      if (!bits) continue;
      rowBits |= bits;
      if (first < 0) first = x;
      last = x;
    }
    if (kCount) {
      alignas(16) std::int32_t counts[4];
      _mm_store_si128(reinterpret_cast<__m128i*>(counts), count);
      box.pixels += std::int64_t(counts[0]) + counts[1] + counts[2] + counts[3];
    }
    if (!rowBits) continue;
    box.minX = std::min(box.minX, first);
    box.maxX = std::max(box.maxX, last);
    box.minY = std::min(box.minY, 4 * k + __builtin_ctz(rowBits));
    box.maxY = 4 * k + 31 - __builtin_clz(rowBits);
  }
  return box;
}

}  // namespace relief::detail
