#pragma once

// The register walks that every bulk raster operation is written through.
// A raster is a table of SSE rows, each an array of __m128 registers (four
// image rows of one column). Operations are small lambdas over one register
// (or a pair of registers at the same storage position); the walks own the
// loops, so the loop structure and the handling of rasters without storage
// live in one place. Everything here inlines.

#include <emmintrin.h>

#include <algorithm>

#include "relief/CSSEMatrix.h"

namespace relief::detail {

// The part of a raster's storage a walk covers, in registers x SSE rows.
struct Extent {
  int sseX;
  int sseY;
};

inline Extent WholeExtent(const CSSEMatrix& m) { return {m.GetSSESizeX(), m.GetSSESizeY()}; }

// The overlap of two rasters paired top-left by storage position.
inline Extent SmallerExtent(const CSSEMatrix& a, const CSSEMatrix& b) {
  return {std::min(a.GetSSESizeX(), b.GetSSESizeX()), std::min(a.GetSSESizeY(), b.GetSSESizeY())};
}

// op(__m128& reg) for the registers of columns [x0, x1) of every SSE row, SSE
// row by SSE row, column by column.
template <class Op>
inline void ForEachRegisterInColumns(CSSEMatrix& m, int x0, int x1, Op&& op) {
  __m128** lines = m.GetMatrixDataDirectly();
  if (!lines) return;
  const int sseY = m.GetSSESizeY();
  for (int k = 0; k < sseY; ++k) {
    __m128* row = lines[k];
#pragma GCC unroll 4
    for (int x = x0; x < x1; ++x) op(row[x]);
  }
}

// op(__m128& reg) for every register of the raster.
template <class Op>
inline void ForEachRegister(CSSEMatrix& m, Op&& op) {
  ForEachRegisterInColumns(m, 0, m.GetSSESizeX(), op);
}

// op(__m128 reg) for every register of a raster that is only read.
template <class Op>
inline void ForEachRegisterValue(const CSSEMatrix& m, Op&& op) {
  const __m128* const* lines = m.GetMatrixDataDirectly();
  if (!lines) return;
  const Extent e = WholeExtent(m);
  for (int k = 0; k < e.sseY; ++k) {
    const __m128* row = lines[k];
#pragma GCC unroll 4
    for (int x = 0; x < e.sseX; ++x) op(row[x]);
  }
}

// op(__m128& a, __m128 b) for the registers of a and b at the same storage
// position over the extent e (which must lie inside both rasters).
template <class Op>
inline void ForEachRegisterPair(CSSEMatrix& a, const CSSEMatrix& b, Extent e, Op&& op) {
  __m128** la = a.GetMatrixDataDirectly();
  const __m128* const* lb = b.GetMatrixDataDirectly();
  if (!la || !lb) return;
  for (int k = 0; k < e.sseY; ++k) {
    __m128* ra = la[k];
    const __m128* rb = lb[k];
#pragma GCC unroll 4
    for (int x = 0; x < e.sseX; ++x) op(ra[x], rb[x]);
  }
}

// op(__m128 a, __m128 b) for two rasters that are only read.
template <class Op>
inline void ForEachRegisterPairValue(const CSSEMatrix& a, const CSSEMatrix& b, Extent e, Op&& op) {
  const __m128* const* la = a.GetMatrixDataDirectly();
  const __m128* const* lb = b.GetMatrixDataDirectly();
  if (!la || !lb) return;
  for (int k = 0; k < e.sseY; ++k) {
    const __m128* ra = la[k];
    const __m128* rb = lb[k];
#pragma GCC unroll 4
    for (int x = 0; x < e.sseX; ++x) op(ra[x], rb[x]);
  }
}

// Lane-wise select: mask lanes (all ones) take `yes`, the others `no`. Gives
// the same bits as "store the whole register when every lane passes,
// otherwise clear and store the passing lanes one by one".
inline __m128 Select(__m128 mask, __m128 yes, __m128 no) {
  return _mm_or_ps(_mm_and_ps(mask, yes), _mm_andnot_ps(mask, no));
}

// sqrt(v * v): the magnitude as the library defines it, so squares that
// overflow give infinity and squares that underflow give 0 (not |v|).
inline __m128 MagnitudeBySquare(__m128 v) { return _mm_sqrt_ps(_mm_mul_ps(v, v)); }

}  // namespace relief::detail
