#pragma once

// The register walk of the byte raster: sixteen image rows of one column per
// __m128i. Kept beside the float raster's walk so that every bulk byte
// operation is a lambda over one loop.

#include <emmintrin.h>

#include "relief/CSSEcharMatrix.h"

namespace relief::detail {

// op(__m128i& reg, int k, int x) for every register of the raster, SSE row by
// SSE row, column by column. Nothing happens without storage.
template <class Op>
inline void ForEachCharRegister(CSSEcharMatrix& m, Op&& op) {
  __m128i** lines = m.GetMatrixDataDirectly();
  if (!lines) return;
  const int sseX = m.GetSSESizeX(), sseY = m.GetSSESizeY();
  for (int k = 0; k < sseY; ++k) {
    __m128i* row = lines[k];
    for (int x = 0; x < sseX; ++x) op(row[x], k, x);
  }
}

}  // namespace relief::detail
