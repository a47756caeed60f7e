// CSSEcharMatrix analysis along x and per-byte arithmetic: pixel density,
// variation of the column means, runs of active columns, difference of two
// rasters, forward difference, row clearing.

#include <algorithm>
#include <vector>

#include "raster/register_walk.h"
#include "relief/CSSEcharMatrix.h"

namespace {

// Bytes of SSE row q that are pixels (rows < sizeY).
__m128i PixelByteMask(int q, int sizeY) {
  alignas(16) unsigned char m[16];
  for (int j = 0; j < 16; ++j) m[j] = 16 * q + j < sizeY ? 0xFF : 0;
  return _mm_load_si128(reinterpret_cast<const __m128i*>(m));
}

// Number of non-zero pixels of column x.
int NonZeroInColumn(CSSEcharMatrix& m, int x) {
  __m128i** lines = m.GetMatrixDataDirectly();
  int count = 0;
  for (int q = 0; 16 * q < m.GetSizeY(); ++q) {
    const __m128i v = _mm_and_si128(lines[q][x], PixelByteMask(q, m.GetSizeY()));
    const int zero = _mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128()));
    count += 16 - __builtin_popcount(zero);
  }
  return count;
}

}  // namespace

int CSSEcharMatrix::CalcPDResult() {
  if (!m_ppLines || SizeX < 1 || SizeY < 1) return 0;
  long long nonZero = 0;
  for (int x = 0; x < SizeX; ++x) nonZero += NonZeroInColumn(*this, x);
  return static_cast<int>(nonZero * 100 / (static_cast<long long>(SizeX) * SizeY));
}

int CSSEcharMatrix::CalcTimeVariance() {
  if (!m_ppLines || SizeX < 2 || SizeY < 1) return 0;
  std::vector<double> means(SizeX);
  for (int x = 0; x < SizeX; ++x) {
    long long sum = 0;
    for (int y = 0; y < SizeY; ++y) sum += static_cast<signed char>(GetPoint(x, y));
    means[x] = static_cast<double>(sum) / SizeY;
  }
  double mean = 0.0;
  for (double v : means) mean += v;
  mean /= SizeX;
  double variance = 0.0;
  for (double v : means) variance += (v - mean) * (v - mean);
  return static_cast<int>(variance / SizeX);
}

int CSSEcharMatrix::CalcNumSyllables() {
  if (!m_ppLines || SizeY < 1) return 0;
  int runs = 0;
  bool active = false;
  for (int x = 0; x < SizeX; ++x) {
    const bool now = NonZeroInColumn(*this, x) > 0;
    runs += now && !active;
    active = now;
  }
  return runs;
}

void CSSEcharMatrix::SubMatrix(CSSEcharMatrix& other) {
  relief::detail::ForEachRegisterPair(*this, other, relief::detail::SmallerExtent(*this, other),
                                      [](__m128i& a, __m128i b) { a = _mm_subs_epi8(a, b); });
}

void CSSEcharMatrix::CalcDerivative() {
  relief::detail::ForEachRegisterWithRight(*this, [](__m128i& r, __m128i right) { r = _mm_subs_epi8(right, r); });
}

void CSSEcharMatrix::ClearRow(int y, unsigned char value) {
  if (!m_ppLines || SizeY < 1) return;
  for (int x = 0; x < SizeX; ++x) SetPoint(x, y, static_cast<char>(value));
}
