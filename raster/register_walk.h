#pragma once

// The register walks that every bulk raster operation is written through.
// A raster is a table of SSE rows, each an array of registers. Operations are
// small lambdas over one register (or a pair of registers at the same storage
// position); the walks own the loops, so the loop structure and the handling
// of rasters without storage live in one place. Everything here inlines.

#include <emmintrin.h>

#include <algorithm>
#include <type_traits>

namespace relief::detail {

// The part of a raster's storage a walk covers, in registers x SSE rows.
struct Extent {
  int sseX;
  int sseY;
};

// The walks take any raster with a row table (CSSEMatrix: __m128 rows, four
// image rows of a column per register; CSSEcharMatrix: __m128i rows,
// sixteen). A const raster gives const rows, so one walk serves rasters that
// are written and rasters that are only read: op receives a reference to
// the register, and takes it as `__m128&` to write or by value to read.

template <class M>
inline Extent WholeExtent(const M& m) {
  return {m.GetSSESizeX(), m.GetSSESizeY()};
}

// The overlap of two rasters paired top-left by storage position.
template <class A, class B>
inline Extent SmallerExtent(const A& a, const B& b) {
  return {std::min(a.GetSSESizeX(), b.GetSSESizeX()), std::min(a.GetSSESizeY(), b.GetSSESizeY())};
}

// op(reg, k, x) when op asks for the position (SSE row k, register x), else op(reg).
template <class Op, class Reg>
inline void VisitRegister(Op& op, Reg& reg, int k, int x) {
  if constexpr (std::is_invocable_v<Op&, Reg&, int, int>)
    op(reg, k, x);
  else
    op(reg);
}

// op on the registers of columns [x0, x1) of SSE rows [k0, k1), SSE row by
// SSE row, column by column. Nothing happens without storage.
template <class M, class Op>
inline void ForEachRegisterInBlock(M& m, int x0, int x1, int k0, int k1, Op&& op) {
  const auto lines = m.GetMatrixDataDirectly();
  if (!lines) return;
  for (int k = k0; k < k1; ++k) {
    const auto row = lines[k];
#pragma GCC unroll 4
    for (int x = x0; x < x1; ++x) VisitRegister(op, row[x], k, x);
  }
}

// op on the registers of columns [x0, x1) of every SSE row.
template <class M, class Op>
inline void ForEachRegisterInColumns(M& m, int x0, int x1, Op&& op) {
  ForEachRegisterInBlock(m, x0, x1, 0, m.GetSSESizeY(), op);
}

// op on every register of SSE rows [k0, k1).
template <class M, class Op>
inline void ForEachRegisterInRows(M& m, int k0, int k1, Op&& op) {
  ForEachRegisterInBlock(m, 0, m.GetSSESizeX(), k0, k1, op);
}

// op on every register of the raster.
template <class M, class Op>
inline void ForEachRegister(M& m, Op&& op) {
  ForEachRegisterInColumns(m, 0, m.GetSSESizeX(), op);
}

// op(a, b) for the registers of a and b at the same storage position over the
// extent e (which must lie inside both rasters); b is only read.
template <class A, class B, class Op>
inline void ForEachRegisterPair(A& a, const B& b, Extent e, Op&& op) {
  const auto la = a.GetMatrixDataDirectly();
  const auto lb = b.GetMatrixDataDirectly();
  if (!la || !lb) return;
  for (int k = 0; k < e.sseY; ++k) {
    const auto ra = la[k];
    const auto rb = lb[k];
#pragma GCC unroll 4
    for (int x = 0; x < e.sseX; ++x) op(ra[x], rb[x]);
  }
}

// op(reg, right) for every register but the last of each SSE row, in
// ascending x, right being the register after it as it was before the walk
// reached it: in-place differences along x read their successor first.
template <class M, class Op>
inline void ForEachRegisterWithRight(M& m, Op&& op) {
  const auto lines = m.GetMatrixDataDirectly();
  if (!lines) return;
  const Extent e = WholeExtent(m);
  for (int k = 0; k < e.sseY; ++k) {
    const auto row = lines[k];
    for (int x = 0; x + 1 < e.sseX; ++x) op(row[x], row[x + 1]);
  }
}

// Image row y of a float raster's row table: its pixels lie four floats
// apart, pixel x at [4 * x] (lane y & 3 of each register).
inline float* ImageRow(__m128* const* lines, int y) { return reinterpret_cast<float*>(lines[y >> 2]) + (y & 3); }
inline const float* ImageRow(const __m128* const* lines, int y) {
  return reinterpret_cast<const float*>(lines[y >> 2]) + (y & 3);
}

// op(x, y, pixel) for every pixel of a float raster (not the padding), image
// row by image row; pixel is a float& when the raster is written.
template <class M, class Op>
inline void ForEachPixel(M& m, Op&& op) {
  const auto lines = m.GetMatrixDataDirectly();
  if (!lines) return;
  for (int y = 0; y < m.GetSizeY(); ++y) {
    const auto row = ImageRow(lines, y);
    for (int x = 0; x < m.GetSizeX(); ++x) op(x, y, row[4 * x]);
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
