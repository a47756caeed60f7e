#include "mesh/error_bounded_scan.h"

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>
#include <vector>

namespace relief::detail {

namespace {

// Rows ahead of the scan that are fetched early.
constexpr int kAhead = 2;

// floor(n / d) for d > 0: a double division, corrected in integers (the
// quotient of a double division can be one off near an integer).
std::int64_t FloorDiv(std::int64_t n, std::int64_t d) {
  std::int64_t q = static_cast<std::int64_t>(std::floor(static_cast<double>(n) / static_cast<double>(d)));
  while (n - q * d < 0) --q;
  while (n - q * d >= d) ++q;
  return q;
}

// floor(dx (y - py) / dy) for y = first, first + 1, ... without a division
// per row: quotient and remainder step by dx's own.
class CEdgeStepper {
 public:
  CEdgeStepper() = default;
  CEdgeStepper(std::int64_t dx, std::int64_t dy, std::int64_t rows) : m_dy(dy) {
    const std::int64_t n = dx * rows;
    m_q = FloorDiv(n, dy);
    m_r = n - m_q * dy;
    m_stepQ = FloorDiv(dx, dy);
    m_stepR = dx - m_stepQ * dy;
  }
  std::int64_t Value() const { return m_q; }
  void Step() {
    // Without a branch: whether the remainder carries is as good as random.
    m_r += m_stepR;
    const std::int64_t carry = m_r >= m_dy ? 1 : 0;
    m_q += m_stepQ + carry;
    m_r -= carry * m_dy;
  }

 private:
  std::int64_t m_dy = 1, m_q = 0, m_r = 0, m_stepQ = 0, m_stepR = 0;
};

// The plane through the corners, z = z0 + a (x - x0) + b (y - y0), and the
// rows' pixel spans, top to bottom. A pixel centre (X, Y) is inside the
// counter-clockwise triangle when, for every edge P->Q, (Q - P) x (X - P) >= 0,
// that is dy (X - Px) <= dx (Y - Py): an edge going down (dy > 0) bounds X
// from above, one going up from below, and a level one holds for every row of
// the triangle. Exact in integers, so neighbouring triangles share the pixels
// of their common edge and none falls between them.
class CRowSpans {
 public:
  explicit CRowSpans(const SScanTriangle& t) : m_t(t) {
    const double dx1 = t.x[1] - t.x[0], dy1 = t.y[1] - t.y[0];
    const double dx2 = t.x[2] - t.x[0], dy2 = t.y[2] - t.y[0];
    const double dz1 = t.z[1] - t.z[0], dz2 = t.z[2] - t.z[0];
    const double det = dx1 * dy2 - dx2 * dy1;
    a = (dz1 * dy2 - dz2 * dy1) / det;
    b = (dx1 * dz2 - dx2 * dz1) / det;
    top = std::min({t.y[0], t.y[1], t.y[2]});
    bottom = std::max({t.y[0], t.y[1], t.y[2]});
    for (int k = 0; k < 3; ++k) {
      const int k1 = k == 2 ? 0 : k + 1;
      const std::int64_t dx = t.x[k1] - t.x[k], dy = t.y[k1] - t.y[k];
      if (dy > 0) m_upper[m_nUpper++] = {CEdgeStepper(dx, dy, top - t.y[k]), t.x[k]};
      else if (dy < 0) m_lower[m_nLower++] = {CEdgeStepper(dx, -dy, top - t.y[k]), t.x[k]};
    }
  }
  // The covered columns of the current row (top first); false when none.
  bool Span(int& from, int& to) const {
    std::int64_t hi = m_upper[0].x + m_upper[0].q.Value(), lo = m_lower[0].x - m_lower[0].q.Value();
    if (m_nUpper > 1) hi = std::min(hi, m_upper[1].x + m_upper[1].q.Value());
    if (m_nLower > 1) lo = std::max(lo, m_lower[1].x - m_lower[1].q.Value());
    from = static_cast<int>(lo);
    to = static_cast<int>(hi);
    return lo <= hi;
  }
  void NextRow() {
    for (int i = 0; i < m_nUpper; ++i) m_upper[i].q.Step();
    for (int i = 0; i < m_nLower; ++i) m_lower[i].q.Step();
  }
  double RowStart(int y, int x) const { return m_t.z[0] + a * (x - m_t.x[0]) + b * (y - m_t.y[0]); }

  double a, b;
  int top, bottom;

 private:
  struct SBound {
    CEdgeStepper q;
    std::int64_t x;
  };
  const SScanTriangle& m_t;
  // A counter-clockwise triangle has one or two edges going down and one or
  // two going up.
  SBound m_upper[2], m_lower[2];
  int m_nUpper = 0, m_nLower = 0;
};

// |v - (start + a k)| in double, the exact figure the float screening stands in for.
inline double ExactError(float v, double start, double a, int k) { return std::fabs(double(v) - (start + a * k)); }

}  // namespace

STriangleScanResult ScanTriangle(const SFieldView& field, const SScanTriangle& t, std::vector<SScannedRow>& scratch) {
  CRowSpans rows(t);
  STriangleScanResult result;
  const __m128 signBit = _mm_set1_ps(-0.0f);
  const __m128 zero = _mm_setzero_ps();
  const __m128 slope = _mm_set1_ps(static_cast<float>(rows.a));
  const __m128 four = _mm_set1_ps(4.0f);
  const __m128 lanes = _mm_set_ps(3.0f, 2.0f, 1.0f, 0.0f);
  __m128i validCount = _mm_setzero_si128();
  // Pass 1 screens every row in float, four pixels per step:
  // err = (valid and inside) ? |v - (start + a k)| : 0.
  scratch.resize(static_cast<size_t>(rows.bottom - rows.top + 1));
  float screenedBest = 0.0f;
  for (int y = rows.top; y <= rows.bottom; ++y, rows.NextRow()) {
    SScannedRow& line = scratch[y - rows.top];
    line.screened = -1.0f;
    if (!rows.Span(line.from, line.to)) continue;
    const float* row = field.data + static_cast<std::int64_t>(y) * field.width + line.from;
    const int n = line.to - line.from + 1;
    // Rows lie a whole field width apart: ask for the rows ahead early.
    if (y + kAhead <= rows.bottom) {
      _mm_prefetch(reinterpret_cast<const char*>(row + kAhead * field.width), _MM_HINT_T0);
      _mm_prefetch(reinterpret_cast<const char*>(row + kAhead * field.width + n), _MM_HINT_T0);
    }
    const __m128 startV = _mm_set1_ps(static_cast<float>(rows.RowStart(y, line.from)));
    const __m128 count = _mm_set1_ps(static_cast<float>(n));
    __m128 k = lanes, rowMax = zero;
    for (int i = 0; i < n; i += 4) {
      const __m128 v = _mm_loadu_ps(row + i);
      const __m128 z = _mm_add_ps(startV, _mm_mul_ps(slope, k));
      const __m128 valid = _mm_and_ps(_mm_cmpneq_ps(v, zero), _mm_cmplt_ps(k, count));
      rowMax = _mm_max_ps(rowMax, _mm_and_ps(_mm_andnot_ps(signBit, _mm_sub_ps(v, z)), valid));
      validCount = _mm_sub_epi32(validCount, _mm_castps_si128(valid));  // a set lane is -1
      k = _mm_add_ps(k, four);
    }
    rowMax = _mm_max_ps(rowMax, _mm_movehl_ps(rowMax, rowMax));
    rowMax = _mm_max_ss(rowMax, _mm_shuffle_ps(rowMax, rowMax, 1));
    line.screened = _mm_cvtss_f32(rowMax);
    screenedBest = std::max(screenedBest, line.screened);
  }
  // Every corner pixel lies in its own triangle: data beyond the corners
  // means more valid pixels than valid corners.
  alignas(16) std::int32_t counts[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(counts), validCount);
  int validCorners = 0;
  for (int c = 0; c < 3; ++c)
    validCorners += field.data[static_cast<std::int64_t>(t.y[c]) * field.width + t.x[c]] != 0.0f ? 1 : 0;
  result.coversData = std::int64_t(counts[0]) + counts[1] + counts[2] + counts[3] > validCorners;
  // A screened lane is off its exact figure by at most four roundings of
  // 2^-24 of a magnitude below |start| + |a| n + |v| (start lies between the
  // corner heights, n within the triangle's width); twice that is the slack.
  double cornerHeight = 0.0;
  for (int c = 0; c < 3; ++c) cornerHeight = std::max(cornerHeight, std::fabs(t.z[c]));
  const int width = std::max({t.x[0], t.x[1], t.x[2]}) - std::min({t.x[0], t.x[1], t.x[2]}) + 1;
  const double slack = 8.0 * 5.960464477539063e-08 * (cornerHeight + std::fabs(rows.a) * width + field.largestHeight);
  // Pass 2: only rows whose screened worst may reach the exact worst are
  // measured in double, row by row, so the first worst pixel wins ties.
  const double floor = double(screenedBest) - slack;
  double best = 0.0;
  for (int y = rows.top; y <= rows.bottom; ++y) {
    const SScannedRow& line = scratch[y - rows.top];
    if (line.screened < 0.0f || double(line.screened) + slack < floor) continue;
    const float* row = field.data + static_cast<std::int64_t>(y) * field.width + line.from;
    const double start = rows.RowStart(y, line.from);
    for (int j = 0; j <= line.to - line.from; ++j) {
      if (row[j] == 0.0f) continue;
      const double e = ExactError(row[j], start, rows.a, j);
      if (e > best) {
        best = e;
        result.x = line.from + j;
        result.y = y;
      }
    }
  }
  result.error = best;
  for (int c = 0; c < 3; ++c)
    if (result.x == t.x[c] && result.y == t.y[c]) {
      result.error = 0.0;
      result.x = result.y = -1;
    }
  return result;
}

bool NearestDataPixel(const SFieldView& field, const SScanTriangle& t, int cornerMask, int& x, int& y) {
  CRowSpans rows(t);
  const int top = rows.top, count = rows.bottom - rows.top + 1;
  std::vector<std::pair<int, int>> spans(static_cast<size_t>(count), {1, 0});
  for (int r = 0; r < count; ++r, rows.NextRow()) rows.Span(spans[r].first, spans[r].second);
  auto isCorner = [&t](int px, int py) {
    return (px == t.x[0] && py == t.y[0]) || (px == t.x[1] && py == t.y[1]) || (px == t.x[2] && py == t.y[2]);
  };
  // Ordered by distance, then row, then column.
  std::int64_t best = -1;
  auto better = [&](std::int64_t d, int px, int py) {
    return best < 0 || d < best || (d == best && (py < y || (py == y && px < x)));
  };
  for (int c = 0; c < 3; ++c) {
    if (!(cornerMask >> c & 1)) continue;
    const int cx = t.x[c], cy = t.y[c];
    // Rows outward from the corner's, each searched outward from the
    // corner's column; both walks end once they cannot come nearer.
    auto searchRow = [&](int py) {
      const std::int64_t dy2 = std::int64_t(py - cy) * (py - cy);
      if (best >= 0 && dy2 > best) return false;
      const auto [from, to] = spans[py - top];
      if (from > to) return true;
      const float* row = field.data + static_cast<std::int64_t>(py) * field.width;
      const int x0 = std::min(std::max(cx, from), to);
      for (int d = 0; x0 - d >= from || x0 + d <= to; ++d) {
        const std::int64_t dx = std::abs(x0 - d - cx) < std::abs(x0 + d - cx) ? x0 - d - cx : x0 + d - cx;
        if (best >= 0 && dx * dx + dy2 > best) break;
        for (const int px : {x0 - d, x0 + d}) {
          if (px < from || px > to || (d == 0 && px != x0 - d) || row[px] == 0.0f || isCorner(px, py)) continue;
          const std::int64_t dist = std::int64_t(px - cx) * (px - cx) + dy2;
          if (better(dist, px, py)) {
            best = dist;
            x = px;
            y = py;
          }
        }
      }
      return true;
    };
    for (int py = std::max(cy, top); py <= rows.bottom && searchRow(py); ++py) {
    }
    for (int py = std::min(cy - 1, rows.bottom); py >= top && searchRow(py); --py) {
    }
  }
  return best >= 0;
}

void MeasureTriangle(const SFieldView& field, const SScanTriangle& t, float* errors) {
  CRowSpans rows(t);
  const __m128d signBit = _mm_set1_pd(-0.0);
  const __m128d slope = _mm_set1_pd(rows.a);
  const __m128d two = _mm_set1_pd(2.0);
  for (int y = rows.top; y <= rows.bottom; ++y, rows.NextRow()) {
    int from, to;
    if (!rows.Span(from, to)) continue;
    const std::int64_t at = static_cast<std::int64_t>(y) * field.width + from;
    const double start = rows.RowStart(y, from);
    const int n = to - from + 1;
    // ExactError two pixels at a time, the same operations in the same order.
    const __m128d startV = _mm_set1_pd(start);
    __m128d k = _mm_set_pd(1.0, 0.0);
    int j = 0;
    for (; j + 1 < n; j += 2) {
      const __m128d v =
          _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(field.data + at + j))));
      const __m128d e = _mm_andnot_pd(signBit, _mm_sub_pd(v, _mm_add_pd(startV, _mm_mul_pd(slope, k))));
      // Two floats, unaligned: the 64-bit integer moves allow any address.
      _mm_storel_epi64(reinterpret_cast<__m128i*>(errors + at + j), _mm_castps_si128(_mm_cvtpd_ps(e)));
      k = _mm_add_pd(k, two);
    }
    if (j < n) errors[at + j] = static_cast<float>(ExactError(field.data[at + j], start, rows.a, j));
  }
}

}  // namespace relief::detail
