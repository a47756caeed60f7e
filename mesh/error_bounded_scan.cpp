#include "mesh/error_bounded_scan.h"

#include <emmintrin.h>

#include <algorithm>
#include <cmath>

namespace relief::detail {

namespace {

std::int64_t FloorDiv(std::int64_t n, std::int64_t d) {  // d > 0
  return n >= 0 ? n / d : -((-n + d - 1) / d);
}

// The plane through the corners, z = z0 + a (x - x0) + b (y - y0), and the
// rows' pixel spans. A pixel centre (X, Y) is inside the counter-clockwise
// triangle when, for every edge P->Q, (Q - P) x (X - P) >= 0, that is
// dy (X - Px) <= dx (Y - Py): exact in integers, so neighbouring triangles
// share the pixels of their common edge and none falls between them.
struct SPlaneAndSpans {
  explicit SPlaneAndSpans(const SScanTriangle& t) : tri(t) {
    const double dx1 = t.x[1] - t.x[0], dy1 = t.y[1] - t.y[0];
    const double dx2 = t.x[2] - t.x[0], dy2 = t.y[2] - t.y[0];
    const double dz1 = t.z[1] - t.z[0], dz2 = t.z[2] - t.z[0];
    const double det = dx1 * dy2 - dx2 * dy1;
    a = (dz1 * dy2 - dz2 * dy1) / det;
    b = (dx1 * dz2 - dx2 * dz1) / det;
    top = std::min({t.y[0], t.y[1], t.y[2]});
    bottom = std::max({t.y[0], t.y[1], t.y[2]});
    left = std::min({t.x[0], t.x[1], t.x[2]});
    right = std::max({t.x[0], t.x[1], t.x[2]});
  }
  // The covered columns of row y, or false when none.
  bool Span(int y, int& from, int& to) const {
    std::int64_t lo = left, hi = right;
    for (int k = 0; k < 3; ++k) {
      const int k1 = k == 2 ? 0 : k + 1;
      const std::int64_t dx = tri.x[k1] - tri.x[k], dy = tri.y[k1] - tri.y[k];
      const std::int64_t r = dx * (y - tri.y[k]);
      if (dy > 0) hi = std::min(hi, tri.x[k] + FloorDiv(r, dy));
      else if (dy < 0) lo = std::max(lo, tri.x[k] - FloorDiv(r, -dy));
      else if (r < 0) return false;
    }
    from = static_cast<int>(lo);
    to = static_cast<int>(hi);
    return lo <= hi;
  }
  double RowStart(int y, int x) const { return tri.z[0] + a * (x - tri.x[0]) + b * (y - tri.y[0]); }

  const SScanTriangle& tri;
  double a, b;
  int top, bottom, left, right;
};

}  // namespace

STriangleScanResult ScanTriangle(const SFieldView& field, const SScanTriangle& t) {
  const SPlaneAndSpans plane(t);
  STriangleScanResult result;
  double best = 0.0;
  const __m128d signBit = _mm_set1_pd(-0.0);
  const __m128d zero = _mm_setzero_pd();
  const __m128d slope = _mm_set1_pd(plane.a);
  __m128d anyValid = zero;
  for (int y = plane.top; y <= plane.bottom; ++y) {
    int from, to;
    if (!plane.Span(y, from, to)) continue;
    const float* row = field.data + static_cast<std::int64_t>(y) * field.width + from;
    const int n = to - from + 1;
    const double start = plane.RowStart(y, from);
    // Two pixels per step: err = valid ? |v - (start + a k)| : 0.
    const __m128d startV = _mm_set1_pd(start);
    __m128d k = _mm_set_pd(1.0, 0.0);
    const __m128d two = _mm_set1_pd(2.0);
    __m128d rowMax = zero;
    int i = 0;
    for (; i + 1 < n; i += 2) {
      const __m128d v = _mm_cvtps_pd(_mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double*>(row + i))));
      const __m128d z = _mm_add_pd(startV, _mm_mul_pd(slope, k));
      const __m128d valid = _mm_cmpneq_pd(v, zero);
      const __m128d err = _mm_and_pd(_mm_andnot_pd(signBit, _mm_sub_pd(v, z)), valid);
      rowMax = _mm_max_pd(rowMax, err);
      anyValid = _mm_or_pd(anyValid, valid);
      k = _mm_add_pd(k, two);
    }
    double rowBest = std::max(_mm_cvtsd_f64(rowMax), _mm_cvtsd_f64(_mm_unpackhi_pd(rowMax, rowMax)));
    if (i < n && row[i] != 0.0f) {
      anyValid = _mm_or_pd(anyValid, _mm_castsi128_pd(_mm_set1_epi32(-1)));
      rowBest = std::max(rowBest, std::fabs(double(row[i]) - (start + plane.a * double(i))));
    }
    if (rowBest > best) {
      // Find the first pixel of the row with that error; the same arithmetic
      // as above, so the comparison is exact.
      for (int j = 0; j < n; ++j) {
        if (row[j] == 0.0f) continue;
        if (std::fabs(double(row[j]) - (start + plane.a * double(j))) == rowBest) {
          best = rowBest;
          result.x = from + j;
          result.y = y;
          break;
        }
      }
    }
  }
  result.coversData = _mm_movemask_pd(anyValid) != 0;
  result.error = best;
  for (int c = 0; c < 3; ++c)
    if (result.x == t.x[c] && result.y == t.y[c]) {
      result.error = 0.0;
      result.x = result.y = -1;
    }
  return result;
}

void MeasureTriangle(const SFieldView& field, const SScanTriangle& t, std::uint8_t* seen, double& sumSquares,
                     double& maxError, std::int64_t& count) {
  const SPlaneAndSpans plane(t);
  for (int y = plane.top; y <= plane.bottom; ++y) {
    int from, to;
    if (!plane.Span(y, from, to)) continue;
    const std::int64_t rowAt = static_cast<std::int64_t>(y) * field.width;
    const double start = plane.RowStart(y, from);
    for (int x = from; x <= to; ++x) {
      const float v = field.data[rowAt + x];
      if (v == 0.0f || seen[rowAt + x]) continue;
      seen[rowAt + x] = 1;
      const double e = std::fabs(double(v) - (start + plane.a * double(x - from)));
      sumSquares += e * e;
      maxError = std::max(maxError, e);
      ++count;
    }
  }
}

}  // namespace relief::detail
