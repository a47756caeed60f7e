// CSSEMatrix reductions: counts against thresholds or another raster, extremes
// of the inner region, sums of values and magnitudes.

#include <limits>

#include "raster/register_walk.h"
#include "relief/CSSEFns.h"
#include "relief/CSSEMatrix.h"

using relief::detail::ForEachRegisterPair;
using relief::detail::ForEachRegister;
using relief::detail::MagnitudeBySquare;

namespace {

int SumOfLanes(__m128i counts) {
  alignas(16) int lanes[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(lanes), counts);
  return lanes[0] + lanes[1] + lanes[2] + lanes[3];
}

// Counts are exact in any order, so each lane keeps its own integer count
// (a passing lane's mask is -1) and the four are summed at the end.
template <class Compare>
int CountLanes(const CSSEMatrix& m, Compare compare) {
  __m128i counts = _mm_setzero_si128();
  ForEachRegister(m, [&](__m128 r) { counts = _mm_sub_epi32(counts, _mm_castps_si128(compare(r))); });
  return SumOfLanes(counts);
}

template <class Compare>
int CountLanesAgainst(const CSSEMatrix& m, const CSSEMatrix* other, Compare compare) {
  if (!other) return 0;
  // Rasters of equal size (the intended use) are counted whole; a smaller
  // other raster limits the count to the overlap instead of being read past.
  __m128i counts = _mm_setzero_si128();
  ForEachRegisterPair(m, *other, relief::detail::SmallerExtent(m, *other), [&](__m128 a, __m128 b) {
    counts = _mm_sub_epi32(counts, _mm_castps_si128(compare(a, b)));
  });
  return SumOfLanes(counts);
}

// Lane-wise extremes over SSE rows 1 .. sseY-2 and columns 3 .. sseX-4.
//
// The result must be that of one accumulator per lane updated register by
// register with acc = (v < acc) ? v : acc: the first occurrence of the
// extreme wins (which decides the sign of a zero result), and lanes that are
// NaN or `excluded` take no part. To break that dependency chain, groups of
// four registers are reduced first with the same strict rule, the earlier
// operand winning ties, which gives the same bits:
//   _mm_min_ps(later, earlier) keeps `earlier` on ties and when `later` is
//   NaN; a NaN in `earlier` is first turned into +infinity (min(NaN, inf)
//   is inf), which never wins against the accumulator (at most 1e6).
// Excluded lanes are turned into that infinity too. Maximum likewise with -inf.
template <class Excluded>
void InnerExtremes(const CSSEMatrix& m, float* maximum, float* minimum, Excluded excluded) {
  using relief::detail::Select;
  const __m128 inf = _mm_set1_ps(std::numeric_limits<float>::infinity());
  const __m128 minusInf = _mm_set1_ps(-std::numeric_limits<float>::infinity());
  __m128 lo = _mm_set1_ps(1000000.0f);
  __m128 hi = _mm_set1_ps(-1000000.0f);

  const __m128* const* lines = m.GetMatrixDataDirectly();
  if (lines && m.GetSSESizeY() >= 3 && m.GetSSESizeX() >= 7) {
    const int x0 = 3, x1 = m.GetSSESizeX() - 3;  // columns [x0, x1)
    for (int k = 1; k <= m.GetSSESizeY() - 2; ++k) {
      const __m128* row = lines[k];
      int x = x0;
      for (; x + 4 <= x1; x += 4) {
        __m128 n[4], h[4];
        for (int i = 0; i < 4; ++i) {
          const __m128 skip = excluded(row[x + i]);
          n[i] = Select(skip, inf, row[x + i]);
          h[i] = Select(skip, minusInf, row[x + i]);
        }
        const __m128 n01 = _mm_min_ps(n[1], _mm_min_ps(n[0], inf));
        const __m128 n23 = _mm_min_ps(n[3], _mm_min_ps(n[2], inf));
        const __m128 h01 = _mm_max_ps(h[1], _mm_max_ps(h[0], minusInf));
        const __m128 h23 = _mm_max_ps(h[3], _mm_max_ps(h[2], minusInf));
        lo = _mm_min_ps(_mm_min_ps(n23, n01), lo);
        hi = _mm_max_ps(_mm_max_ps(h23, h01), hi);
      }
      for (; x < x1; ++x) {
        const __m128 skip = excluded(row[x]);
        lo = _mm_min_ps(Select(skip, inf, row[x]), lo);
        hi = _mm_max_ps(Select(skip, minusInf, row[x]), hi);
      }
    }
  }
  CSSEFns::max_of_m128(hi, maximum);
  CSSEFns::min_of_m128(lo, minimum);
}

// Four lane accumulators, each register added in walk order, reduced with the
// library's pairing (lane0 + lane3) + (lane1 + lane2).
template <class Term>
float SumLanes(const CSSEMatrix& m, Term term) {
  __m128 sum = _mm_setzero_ps();
  ForEachRegister(m, [&](__m128 r) { sum = _mm_add_ps(sum, term(r)); });
  return CSSEFns::internal_addition_of_m128(sum);
}

}  // namespace

int CSSEMatrix::NumValuesAbove(float threshold) const {
  const __m128 t = _mm_set1_ps(threshold);
  return CountLanes(*this, [=](__m128 r) { return _mm_cmpgt_ps(r, t); });
}

int CSSEMatrix::NumValuesBelow(float threshold) const {
  const __m128 t = _mm_set1_ps(threshold);
  return CountLanes(*this, [=](__m128 r) { return _mm_cmplt_ps(r, t); });
}

int CSSEMatrix::NumValuesAbove(CSSEMatrix* other) const {
  return CountLanesAgainst(*this, other, [](__m128 a, __m128 b) { return _mm_cmpgt_ps(a, b); });
}

int CSSEMatrix::NumValuesBelow(CSSEMatrix* other) const {
  return CountLanesAgainst(*this, other, [](__m128 a, __m128 b) { return _mm_cmplt_ps(a, b); });
}

void CSSEMatrix::CalcMinMaxValues(float* first, float* second) const {
  InnerExtremes(*this, first, second, [](__m128) { return _mm_setzero_ps(); });
}

void CSSEMatrix::CalcMinMaxValuesExcludeZero(float* first, float* second) const {
  const __m128 lo = _mm_set1_ps(-0.002f), hi = _mm_set1_ps(0.002f);
  InnerExtremes(*this, first, second,
                [=](__m128 v) { return _mm_and_ps(_mm_cmpgt_ps(v, lo), _mm_cmplt_ps(v, hi)); });
}

float CSSEMatrix::IntegrateMatrix() const {
  return SumLanes(*this, [](__m128 r) { return r; });
}

float CSSEMatrix::IntegrateMatrixAbsolute() const {
  return SumLanes(*this, [](__m128 r) { return MagnitudeBySquare(r); });
}

float CSSEMatrix::IntegrateMatrixAbsolute(float a, float b) const {
  const __m128 factor = _mm_set1_ps(a * b);  // the product rounded to float once
  return SumLanes(*this, [=](__m128 r) { return _mm_mul_ps(MagnitudeBySquare(r), factor); });
}
