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

template <class Combine>
void ScanConvert(const CHTriangulation& mesh, CSSEMatrix* out, float zOffset, const SSEPoint& min, const SSEPoint& max,
                 float fill, Combine combine) {
  if (!out || mesh.NumTriangles < 1) return;
  const float resX = mesh.ScanConvResX, resY = mesh.ScanConvResY;
  const double w = (static_cast<double>(max.x) - min.x) / resX + 0.5;
  const double h = (static_cast<double>(max.y) - min.y) / resY + 0.5;
  // Below one cell (or NaN): nothing to do. A size no raster can have is
  // reported like any other impossible allocation.
  if (!(w >= 1.0) || !(h >= 1.0)) return;
  if (w >= 2147483648.0 || h >= 2147483648.0) AfxThrowMemoryException();
  const int width = static_cast<int>(w), height = static_cast<int>(h);
  // A raster that already has the size is filled in place: every lane is
  // overwritten anyway, and its pages are already mapped.
  if (!out->GetMatrixDataDirectly() || out->GetSizeX() != width || out->GetSizeY() != height)
    out->CreateNoClear(width, height);
  out->Fill(fill);

  // Samples are checked against the inner region before stamping, so the
  // five cross pixels always lie inside the raster: the stamp can address
  // storage directly instead of going through the clamping accessors. (Whole
  // register updates with lane masks were tried and were slower: the chains
  // of overlapping crosses then run through wider read-modify-writes.)
  __m128** lines = out->GetMatrixDataDirectly();
  auto stamp = [&](int col, int row, float value) {
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
  };

  const double diagonal = mesh.ScanConvDiagonal;
  // Cell coordinates of both lanes at once: (q - min) / res in float, as
  // the scalar formula, then + 0.5 in double and truncation. The truncating
  // conversion gives INT_MIN for NaN and out-of-range values, which the ring
  // test drops.
  const __m128 origin = _mm_set_ps(0.0f, 0.0f, min.y, min.x);
  const __m128 resolution = _mm_set_ps(1.0f, 1.0f, resY, resX);
  // Dividing by a power of two and multiplying by its reciprocal round the
  // same exact value, so for such resolutions (1 among them) the division
  // leaves the sample loop.
  const bool byReciprocal = PowerOfTwo(resX) && PowerOfTwo(resY);
  const __m128 reciprocal = _mm_set_ps(1.0f, 1.0f, 1.0f / resY, 1.0f / resX);
  const __m128d half = _mm_set1_pd(0.5);
  const unsigned innerWidth = width > 2 ? unsigned(width - 2) : 0u;
  const unsigned innerHeight = height > 2 ? unsigned(height - 2) : 0u;
  // The walk is instantiated once per way of scaling, so the choice is not
  // made again for every sample.
  auto walk = [&](auto scale) {
    for (int i = 0; i < mesh.NumTriangles; ++i) {
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
      for (float u = 0.0f; u < 1.0f; u = Advance(u, step)) {
        const __m128 base = _mm_add_ps(p0, _mm_mul_ps(_mm_set1_ps(u), s));
        const double vEnd = 1.0 - u;
        for (float v = 0.0f; v < vEnd; v = Advance(v, step)) {
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
