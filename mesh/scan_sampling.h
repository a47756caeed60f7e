#pragma once

// The sampling and stamping shared by every scan conversion of a
// CHTriangulation into a height field. Each triangle is sampled at P0 + u S
// + v T with a step of about one raster diagonal along its longer edge; each
// sample maps to the nearest cell of a frame (origin, resolution, size);
// samples in the frame's outermost ring are dropped, so that a five-pixel
// cross around the sample always lies inside the raster. The members differ
// only in the frame, in how a sample is stamped and in what happens to the
// raster before and after.

#include <emmintrin.h>

#include <cmath>

#include "relief/CHTriangulation.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEFns.h"
#include "relief/CSSEMatrix.h"

namespace relief::detail {

// Fill values: the floats nearest -999999.9 and +999999.9. Cells still
// holding them at the end were never reached and become 0 (no data).
constexpr float kScanMaxFill = -999999.875f;
constexpr float kScanMinFill = 999999.875f;

// The combine rules of the raster's cross stamps, NaN behaviour included (a
// comparison with NaN is false, so the new value is stored).
struct KeepMaximum {
  float operator()(float old, float value) const { return old > value ? old : value; }
};
struct KeepMinimum {
  float operator()(float old, float value) const { return value > old ? old : value; }
};

// Cell (c, r) lies at (originX + c resX, originY + r resY).
struct ScanFrame {
  float originX, originY;
  float resX, resY;
  int width, height;
};

// The frame of a box: width = trunc((max.x - min.x) / resX + 0.5) in double,
// height likewise. False when it is below one cell (or NaN); a size no
// raster can have throws CMemoryException.
inline bool FrameOfBox(const SSEPoint& min, const SSEPoint& max, float resX, float resY, ScanFrame& frame) {
  const double w = (static_cast<double>(max.x) - min.x) / resX + 0.5;
  const double h = (static_cast<double>(max.y) - min.y) / resY + 0.5;
  if (!(w >= 1.0) || !(h >= 1.0)) return false;
  if (w >= 2147483648.0 || h >= 2147483648.0) AfxThrowMemoryException();
  frame = {min.x, min.y, resX, resY, static_cast<int>(w), static_cast<int>(h)};
  return true;
}

// Writes value into cell (col, row) and its four edge neighbours through
// combine(old, value). The cross must lie inside the raster (the sampler
// drops the outermost ring), so storage is addressed directly instead of
// through the clamping accessors. (Whole-register updates with lane masks
// were tried and were slower: chains of overlapping crosses then run
// through wider read-modify-writes.)
template <class Combine>
struct CrossStamp {
  __m128** lines;
  Combine combine;
  void operator()(int col, int row, float value) const {
    const int j = row & 3;
    float* centre = reinterpret_cast<float*>(lines[row >> 2] + col) + j;
    // The rows above and below lie in the same register except at its
    // first and last lane, where they are in the neighbouring SSE row.
    float* up = j ? centre - 1 : reinterpret_cast<float*>(lines[(row >> 2) - 1] + col) + 3;
    float* down = j != 3 ? centre + 1 : reinterpret_cast<float*>(lines[(row >> 2) + 1] + col);
    centre[-4] = combine(centre[-4], value);  // (col - 1, row): one register to the left
    *centre = combine(*centre, value);
    centre[4] = combine(centre[4], value);
    *up = combine(*up, value);
    *down = combine(*down, value);
  }
};

// A normal power of two whose reciprocal is a normal float too.
inline bool PowerOfTwo(float v) {
  int exponent;
  return v > 0.0f && std::isfinite(v) && std::frexp(v, &exponent) == 0.5f && exponent > -125 && exponent < 127;
}

// The next parameter value, or +infinity (ending the loop) when adding the
// step does not change the float.
inline float Advance(float p, double step) {
  const float next = static_cast<float>(p + step);
  return next > p ? next : HUGE_VALF;
}

// Calls stamp(col, row, z + zOffset) for every sample of every triangle i
// with useTriangle(i), in index order, that falls inside the frame's inner
// region (1 <= col < width - 1, likewise row). diagonal sets the sample
// spacing (the mesh's ScanConvDiagonal for the plain conversions); the
// parameters start at start x step in u and in v (0 for the plain lattice,
// 0.5 for the lattice in between). Needs current S and T.
template <class UseTriangle, class Stamp>
void SampleTriangles(const CHTriangulation& mesh, const ScanFrame& frame, double diagonal, float zOffset,
                     UseTriangle useTriangle, Stamp stamp, double start = 0.0) {
  const float resX = frame.resX, resY = frame.resY;
  // Cell coordinates of both lanes at once: (q - origin) / res in float, as
  // the scalar formula, then + 0.5 in double and truncation. The truncating
  // conversion gives INT_MIN for NaN and out-of-range values, which the ring
  // test drops.
  const __m128 origin = _mm_set_ps(0.0f, 0.0f, frame.originY, frame.originX);
  const __m128 resolution = _mm_set_ps(1.0f, 1.0f, resY, resX);
  // Dividing by a power of two and multiplying by its reciprocal round the
  // same exact value, so for such resolutions (1 among them) the division
  // leaves the sample loop.
  const bool byReciprocal = PowerOfTwo(resX) && PowerOfTwo(resY);
  const __m128 reciprocal = _mm_set_ps(1.0f, 1.0f, 1.0f / resY, 1.0f / resX);
  const __m128d half = _mm_set1_pd(0.5);
  const unsigned innerWidth = frame.width > 2 ? unsigned(frame.width - 2) : 0u;
  const unsigned innerHeight = frame.height > 2 ? unsigned(frame.height - 2) : 0u;
  // The walk is instantiated once per way of scaling, so the choice is not
  // made again for every sample.
  auto walk = [&](auto scale) {
    for (int i = 0; i < mesh.NumTriangles; ++i) {
      if (!useTriangle(i)) continue;
      const __m128 p0 = mesh.EdgeArray[3 * i].m;
      const __m128 s = mesh.SArray[i].m;
      const __m128 t = mesh.TArray[i].m;
      // Consecutive samples lie about one raster diagonal apart along the
      // longer of S and T; the cross closes the gaps between them.
      // |S| > |T| is decided on the squares: the rounded root is monotonic,
      // so where the squares differ but the roots tie either root is the
      // same value, and a NaN square falls to |T| like a NaN length would.
      const float squareS = CSSEFns::scalarproduct(s, s), squareT = CSSEFns::scalarproduct(t, t);
      const double step = diagonal / std::sqrt(squareS > squareT ? squareS : squareT);
      // A step too small to move u or v on (a triangle many orders of
      // magnitude larger than the resolution, or a zero resolution) would
      // never end; such a walk stops where it stalls.
      // (The plain lattice starts at exactly 0 even for an infinite step.)
      const float first = start == 0.0 ? 0.0f : static_cast<float>(start * step);
      for (float u = first; u < 1.0f; u = Advance(u, step)) {
        const __m128 base = _mm_add_ps(p0, _mm_mul_ps(_mm_set1_ps(u), s));
        const double vEnd = 1.0 - u;
        for (float v = first; v < vEnd; v = Advance(v, step)) {
          const __m128 q = _mm_add_ps(base, _mm_mul_ps(_mm_set1_ps(v), t));
          const __m128 offset = _mm_sub_ps(q, origin);
          const __m128 scaled = scale(offset);
          const __m128i cells = _mm_cvttpd_epi32(_mm_add_pd(_mm_cvtps_pd(scaled), half));
          const int col = _mm_cvtsi128_si32(cells);
          const int row = _mm_cvtsi128_si32(_mm_shuffle_epi32(cells, _MM_SHUFFLE(1, 1, 1, 1)));
          // The outermost ring is dropped: 1 <= col < width - 1, likewise row,
          // as one unsigned comparison each.
          if (unsigned(col) - 1u >= innerWidth || unsigned(row) - 1u >= innerHeight) continue;
          stamp(col, row, _mm_cvtss_f32(_mm_movehl_ps(q, q)) + zOffset);
        }
      }
    }
  };
  if (byReciprocal)
    walk([reciprocal](__m128 o) { return _mm_mul_ps(o, reciprocal); });
  else
    walk([resolution](__m128 o) { return _mm_div_ps(o, resolution); });
}

struct EveryTriangle {
  bool operator()(int) const { return true; }
};

// The plain conversion over a frame: out re-created at the frame's size
// (kept when it already has it: every lane is overwritten anyway) and
// filled with fill, every sample stamped as a cross through combine, and
// cells still holding fill turned into 0. useTriangle picks the triangles.
template <class Combine, class UseTriangle = EveryTriangle>
void ScanConvertFrame(const CHTriangulation& mesh, CSSEMatrix& out, const ScanFrame& frame, float zOffset, float fill,
                      Combine combine, UseTriangle useTriangle = {}) {
  if (!out.GetMatrixDataDirectly() || out.GetSizeX() != frame.width || out.GetSizeY() != frame.height)
    out.CreateNoClear(frame.width, frame.height);
  out.Fill(fill);
  SampleTriangles(mesh, frame, mesh.ScanConvDiagonal, zOffset, useTriangle,
                  CrossStamp<Combine>{out.GetMatrixDataDirectly(), combine});
  out.ReplaceValueWithValue(fill, 0.0f, 1.0f);
}

// Stamps into out as it stands while treating cells holding 0 (no data) as
// empty: they are turned into fill first, sample(stamp) runs with the plain
// cross stamp, and cells still near fill end as 0 again, as in the plain
// conversion. (A cell that held a value within 1 of fill beforehand ends
// as 0 too.)
template <class Combine, class Sample>
void StampOverNoData(CSSEMatrix& out, float fill, Combine combine, Sample sample) {
  out.ReplaceValueWithValue(0.0f, fill);
  sample(CrossStamp<Combine>{out.GetMatrixDataDirectly(), combine});
  out.ReplaceValueWithValue(fill, 0.0f, 1.0f);
}

}  // namespace relief::detail
