// CSSEMatrix reductions: counts against thresholds or another raster, extremes
// of the inner region, sums of values and magnitudes.

#include <limits>

#include "raster/register_walk.h"
#include "relief/CSSEFns.h"
#include "relief/CSSEMatrix.h"

using relief::detail::ForEachRegisterPairValue;
using relief::detail::ForEachRegisterValue;
using relief::detail::MagnitudeBySquare;

namespace {

// Set lanes of a 4-bit comparison mask.
constexpr int kLanesSet[16] = {0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4};

template <class Compare>
int CountLanes(const CSSEMatrix& m, Compare compare) {
  int count = 0;
  ForEachRegisterValue(m, [&](__m128 r) { count += kLanesSet[_mm_movemask_ps(compare(r))]; });
  return count;
}

template <class Compare>
int CountLanesAgainst(const CSSEMatrix& m, const CSSEMatrix* other, Compare compare) {
  if (!other) return 0;
  // Rasters of equal size (the intended use) are counted whole; a smaller
  // other raster limits the count to the overlap instead of being read past.
  int count = 0;
  ForEachRegisterPairValue(m, *other, relief::detail::SmallerExtent(m, *other),
                           [&](__m128 a, __m128 b) { count += kLanesSet[_mm_movemask_ps(compare(a, b))]; });
  return count;
}

// Lane-wise extremes over SSE rows 1 .. sseY-2 and columns 3 .. sseX-4.
//
// The result must be that of one accumulator per lane updated register by
// register with acc = (v < acc) ? v : acc: the first occurrence of the
// extreme wins (which decides the sign of a zero result), and lanes that are
// NaN or `excluded` take no part. To break the dependency chain, four
// registers are first reduced pairwise with the same strict rule, the earlier
// register winning ties, and NaN/excluded lanes are replaced by an infinity
// that can never win; that gives exactly the same bits.
template <class Excluded>
void InnerExtremes(const CSSEMatrix& m, float* maximum, float* minimum, Excluded excluded) {
  using relief::detail::Select;
  __m128 lo = _mm_set1_ps(1000000.0f);
  __m128 hi = _mm_set1_ps(-1000000.0f);
  const __m128 inf = _mm_set1_ps(std::numeric_limits<float>::infinity());
  const __m128 minusInf = _mm_set1_ps(-std::numeric_limits<float>::infinity());
  // Candidates of one register for the minimum and for the maximum.
  auto split = [&](__m128 v, __m128& forMin, __m128& forMax) {
    const __m128 skip = _mm_or_ps(_mm_cmpunord_ps(v, v), excluded(v));
    forMin = Select(skip, inf, v);
    forMax = Select(skip, minusInf, v);
  };
  // The earlier operand (b) wins ties: strict comparison against it.
  auto firstMin = [](__m128 later, __m128 earlier) { return _mm_min_ps(later, earlier); };
  auto firstMax = [](__m128 later, __m128 earlier) { return _mm_max_ps(later, earlier); };

  __m128** lines = m.GetMatrixDataDirectly();
  if (lines && m.GetSSESizeY() >= 3 && m.GetSSESizeX() >= 7) {
    const int x0 = 3, x1 = m.GetSSESizeX() - 3;  // [x0, x1)
    for (int k = 1; k <= m.GetSSESizeY() - 2; ++k) {
      const __m128* row = lines[k];
      int x = x0;
      for (; x + 4 <= x1; x += 4) {
        __m128 n0, n1, n2, n3, h0, h1, h2, h3;
        split(row[x], n0, h0);
        split(row[x + 1], n1, h1);
        split(row[x + 2], n2, h2);
        split(row[x + 3], n3, h3);
        lo = firstMin(firstMin(firstMin(n3, n2), firstMin(n1, n0)), lo);
        hi = firstMax(firstMax(firstMax(h3, h2), firstMax(h1, h0)), hi);
      }
      for (; x < x1; ++x) {
        __m128 n, h;
        split(row[x], n, h);
        lo = firstMin(n, lo);
        hi = firstMax(h, hi);
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
  ForEachRegisterValue(m, [&](__m128 r) { sum = _mm_add_ps(sum, term(r)); });
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
