// CHTriangulation to height field: every triangle is sampled in its own
// parameter space and each sample is stamped into the raster as a cross that
// keeps the maximum (upper surface) or the minimum (lower surface).

#include <emmintrin.h>

#include <cmath>

#include "relief/CHTriangulation.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEFns.h"
#include "relief/CSSEMatrix.h"

namespace {

// Fill values: the floats nearest -999999.9 and +999999.9. Cells still
// holding them at the end were never reached and become 0 (no data).
constexpr float kMaxFill = -999999.875f;
constexpr float kMinFill = 999999.875f;

// The combine rules of the raster's cross stamps, NaN behaviour included (a
// comparison with NaN is false, so the new value is stored).
struct KeepMaximum {
  float operator()(float old, float value) const { return old > value ? old : value; }
};
struct KeepMinimum {
  float operator()(float old, float value) const { return value > old ? old : value; }
};

// Float to cell: add 0.5 (in double, so the sum is exact), truncate toward
// zero. Offsets far outside the raster (a stale or caller-given box) or NaN
// map to -1, which the ring test drops.
inline int ToCell(float offset) {
  const double d = static_cast<double>(offset) + 0.5;
  return d > -1.0 && d < 2147483647.0 ? static_cast<int>(d) : -1;
}

// The next parameter value, or +infinity (ending the loop) when adding the
// step does not change the float.
inline float Advance(float p, double step) {
  const float next = static_cast<float>(p + step);
  return next > p ? next : HUGE_VALF;
}

template <class Combine>
void ScanConvert(const CHTriangulation& mesh, CSSEMatrix* out, float zOffset, const SSEPoint& min,
                 const SSEPoint& max, float fill, Combine combine) {
  if (!out || mesh.NumTriangles < 1) return;
  const float resX = mesh.ScanConvResX, resY = mesh.ScanConvResY;
  const double w = (static_cast<double>(max.x) - min.x) / resX + 0.5;
  const double h = (static_cast<double>(max.y) - min.y) / resY + 0.5;
  // Below one cell (or NaN): nothing to do. A size no raster can have is
  // reported like any other impossible allocation.
  if (!(w >= 1.0) || !(h >= 1.0)) return;
  if (w >= 2147483648.0 || h >= 2147483648.0) AfxThrowMemoryException();
  const int width = static_cast<int>(w), height = static_cast<int>(h);
  out->CreateNoClear(width, height);
  out->Fill(fill);

  // Samples are checked against the inner region before stamping, so the
  // five cross pixels always lie inside the raster: the stamp can address
  // storage directly instead of going through the clamping accessors.
  __m128** lines = out->GetMatrixDataDirectly();
  auto cell = [lines](int col, int row) { return reinterpret_cast<float*>(lines[row >> 2] + col) + (row & 3); };
  auto stamp = [&](int col, int row, float value) {
    float* centre = cell(col, row);
    centre[-4] = combine(centre[-4], value);  // (col - 1, row): one register to the left
    *centre = combine(*centre, value);
    centre[4] = combine(centre[4], value);
    float* up = cell(col, row - 1);
    *up = combine(*up, value);
    float* down = cell(col, row + 1);
    *down = combine(*down, value);
  };

  const double diagonal = mesh.ScanConvDiagonal;
  const float minX = min.x, minY = min.y;
  for (int i = 0; i < mesh.NumTriangles; ++i) {
    const __m128 p0 = mesh.EdgeArray[3 * i].m;
    const __m128 s = mesh.SArray[i].m;
    const __m128 t = mesh.TArray[i].m;
    // Consecutive samples lie about one raster diagonal apart along the
    // longer of S and T; the cross closes the gaps between them.
    const float lenS = CSSEFns::vectorlen(s), lenT = CSSEFns::vectorlen(t);
    const double step = diagonal / (lenS > lenT ? lenS : lenT);
    // A step too small to move u or v on (a triangle many orders of
    // magnitude larger than the resolution, or a zero resolution) would
    // never end; such a walk stops where it stalls.
    for (float u = 0.0f; u < 1.0f; u = Advance(u, step)) {
      const __m128 base = _mm_add_ps(p0, _mm_mul_ps(_mm_set1_ps(u), s));
      const double vEnd = 1.0 - u;
      for (float v = 0.0f; v < vEnd; v = Advance(v, step)) {
        SSEPoint q;
        q.m = _mm_add_ps(base, _mm_mul_ps(_mm_set1_ps(v), t));
        const int col = ToCell((q.x - minX) / resX);
        const int row = ToCell((q.y - minY) / resY);
        // The outermost ring is dropped.
        if (col < 1 || col >= width - 1 || row < 1 || row >= height - 1) continue;
        stamp(col, row, q.z + zOffset);
      }
    }
  }
  out->ReplaceValueWithValue(fill, 0.0f, 1.0f);
}

}  // namespace

void CHTriangulation::ScanConvertTriangulationMax(CSSEMatrix* out, float zOffset) {
  if (!PointArray) return;
  ScanConvert(*this, out, zOffset, PointArray[0], PointArray[1], kMaxFill, KeepMaximum());
}

void CHTriangulation::ScanConvertTriangulationMin(CSSEMatrix* out, float zOffset) {
  if (!PointArray) return;
  ScanConvert(*this, out, zOffset, PointArray[0], PointArray[1], kMinFill, KeepMinimum());
}

void CHTriangulation::ScanConvertTriangulationMax_MinMaxPoint(CSSEMatrix* out, float zOffset, SSEPoint& min,
                                                              SSEPoint& max) {
  ScanConvert(*this, out, zOffset, min, max, kMaxFill, KeepMaximum());
}

void CHTriangulation::ScanConvertTriangulationMin_MinMaxPoint(CSSEMatrix* out, float zOffset, SSEPoint& min,
                                                              SSEPoint& max) {
  ScanConvert(*this, out, zOffset, min, max, kMinFill, KeepMinimum());
}
