// CSSEcharMatrix correlation along x: the shift that best aligns another
// byte raster with this one, by the mean absolute difference.

#include <algorithm>
#include <climits>
#include <vector>

#include "relief/CSSEcharMatrix.h"

namespace {

struct ShiftErrors {
  int first = 0;            // shift of errors[0]
  std::vector<int> errors;  // one per shift; empty when nothing is compared
};

// Bytes of SSE row q whose rows lie in [r0, r1], as a byte mask.
__m128i RowMask(int q, int r0, int r1) {
  alignas(16) unsigned char m[16];
  for (int j = 0; j < 16; ++j) m[j] = 16 * q + j >= r0 && 16 * q + j <= r1 ? 0xFF : 0;
  return _mm_load_si128(reinterpret_cast<const __m128i*>(m));
}

ShiftErrors Errors(CSSEcharMatrix& a, CSSEcharMatrix& b, int maxShift, int r0, int r1) {
  ShiftErrors out;
  __m128i** la = a.GetMatrixDataDirectly();
  __m128i** lb = b.GetMatrixDataDirectly();
  const int wa = a.GetSizeX(), wb = b.GetSizeX();
  r0 = std::max(r0, 0);
  r1 = std::min(r1, std::min(a.GetSizeY(), b.GetSizeY()) - 1);
  if (!la || !lb || wa < 1 || wb < 1 || r0 > r1) return out;
  maxShift = std::max(maxShift, 0);
  const int sMin = std::max(-maxShift, -(wa - 1)), sMax = std::min(maxShift, wb - 1);
  out.first = sMin;
  const long long rows = r1 - r0 + 1;
  for (int s = sMin; s <= sMax; ++s) {
    const int x0 = std::max(0, -s), x1 = std::min(wa, wb - s);
    __m128i sum = _mm_setzero_si128();
    for (int q = r0 >> 4; q <= r1 >> 4; ++q) {
      const __m128i mask = RowMask(q, r0, r1);
      const __m128i* ra = la[q];
      const __m128i* rb = lb[q];
      for (int x = x0; x < x1; ++x)
        sum = _mm_add_epi64(sum, _mm_sad_epu8(_mm_and_si128(ra[x], mask), _mm_and_si128(rb[x + s], mask)));
    }
    alignas(16) long long parts[2];
    _mm_store_si128(reinterpret_cast<__m128i*>(parts), sum);
    out.errors.push_back(static_cast<int>((parts[0] + parts[1]) * 256 / (rows * (x1 - x0))));
  }
  return out;
}

// Index of the first smallest error among those accepted by keep(i).
template <class Keep>
int FirstMinimum(const std::vector<int>& e, Keep keep) {
  int best = -1;
  for (int i = 0; i < static_cast<int>(e.size()); ++i)
    if (keep(i) && (best < 0 || e[i] < e[best])) best = i;
  return best;
}

}  // namespace

int CSSEcharMatrix::Correlate(CSSEcharMatrix& other, int& shift, int maxShift) {
  int second = 0;
  CorrelateAmbiguityStartEnd(other, shift, second, maxShift, 0, INT_MAX);
  return m_nLastCorrelationError;
}

int CSSEcharMatrix::CorrelateAmbiguity(CSSEcharMatrix& other, int& shift, int& secondShift, int maxShift) {
  return CorrelateAmbiguityStartEnd(other, shift, secondShift, maxShift, 0, INT_MAX);
}

int CSSEcharMatrix::CorrelateAmbiguityStartEnd(CSSEcharMatrix& other, int& shift, int& secondShift, int maxShift,
                                               int rowStart, int rowEnd) {
  const ShiftErrors e = Errors(*this, other, maxShift, rowStart, rowEnd);
  if (e.errors.empty()) {
    shift = secondShift = 0;
    m_nLastCorrelationError = -1;
    return -1;
  }
  const int best = FirstMinimum(e.errors, [](int) { return true; });
  const int second = FirstMinimum(e.errors, [best](int i) { return i - best >= 2 || best - i >= 2; });
  shift = e.first + best;
  m_nLastCorrelationError = e.errors[best];
  if (second < 0) {
    secondShift = shift;
    return INT_MAX;
  }
  secondShift = e.first + second;
  return e.errors[second] - e.errors[best];
}
