// CSSEcharMatrix from float rasters (thresholding) and its column profile.

#include <algorithm>

#include "raster/register_walk.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"
#include "relief/SafeMemory.h"

namespace {

// One byte register covers four float SSE rows of the same column: rows 16k
// .. 16k+15 are float SSE rows 4k .. 4k+3. pass(r) gives all-ones lanes for
// the pixels that take the value; the four masks are packed to bytes (the
// saturating packs keep -1 as -1 and 0 as 0).
template <class Pass>
void ThresholdInto(CSSEcharMatrix& dst, CSSEMatrix& src, char value, Pass pass) {
  dst.CreateSimilar(src);
  __m128* const* in = src.GetMatrixDataDirectly();
  if (!in) return;
  const int floatRows = src.GetSSESizeY();
  const int sizeY = dst.GetSizeY();
  const __m128i v = _mm_set1_epi8(value);
  // Rows at or beyond sizeY are spare storage, not pixels: they stay 0.
  alignas(16) signed char keep[16];
  for (int i = 0; i < 16; ++i) keep[i] = i < (sizeY & 15) ? -1 : 0;
  const __m128i lastRowKeep = _mm_load_si128(reinterpret_cast<const __m128i*>(keep));
  const int lastRow = sizeY >> 4;

  relief::detail::ForEachRegister(dst, [&](__m128i& r, int k, int x) {
    __m128i lanes[4];
    for (int j = 0; j < 4; ++j) {
      const int row = 4 * k + j;
      lanes[j] = row < floatRows ? _mm_castps_si128(pass(in[row][x])) : _mm_setzero_si128();
    }
    __m128i mask = _mm_packs_epi16(_mm_packs_epi32(lanes[0], lanes[1]), _mm_packs_epi32(lanes[2], lanes[3]));
    if (k == lastRow) mask = _mm_and_si128(mask, lastRowKeep);
    r = _mm_and_si128(mask, v);
  });
}

}  // namespace

void CSSEcharMatrix::CopyAndTresholdAbove(CSSEMatrix& source, float threshold, char value) {
  const __m128 t = _mm_set1_ps(threshold);
  ThresholdInto(*this, source, value, [t](__m128 r) { return _mm_cmpgt_ps(r, t); });
}

void CSSEcharMatrix::CopyAndTresholdBelow(CSSEMatrix& source, float threshold, char value) {
  const __m128 t = _mm_set1_ps(threshold);
  ThresholdInto(*this, source, value, [t](__m128 r) { return _mm_cmplt_ps(r, t); });
}

t_intvector CSSEcharMatrix::GetIntegralVectorFromMatrix(int offset, int rowLimit) {
  t_intvector result{0, static_cast<int*>(SafeMalloc(0))};
  if (!m_ppLines) return result;
  SafeFree(result.pValues);
  result.nCount = SSESizeX;
  result.pValues = static_cast<int*>(SafeMalloc(sizeof(int) * static_cast<std::size_t>(SSESizeX)));
  std::fill(result.pValues, result.pValues + SSESizeX, 0);

  const int rows = std::min(SSESizeY, rowLimit >> 4);
  // Subtracting the offset modulo 256 is a byte-wise wrapping subtraction; the
  // signed bytes are then widened and summed in 32-bit lanes.
  const __m128i off = _mm_set1_epi8(static_cast<char>(offset));
  const __m128i zero = _mm_setzero_si128();
  for (int x = 0; x < SSESizeX; ++x) {
    __m128i acc = zero;
    for (int k = 0; k < rows; ++k) {
      const __m128i b = _mm_sub_epi8(m_ppLines[k][x], off);
      const __m128i lo16 = _mm_srai_epi16(_mm_unpacklo_epi8(zero, b), 8);
      const __m128i hi16 = _mm_srai_epi16(_mm_unpackhi_epi8(zero, b), 8);
      const __m128i w = _mm_add_epi16(lo16, hi16);  // at most 2 x 128 per lane
      acc = _mm_add_epi32(acc, _mm_srai_epi32(_mm_unpacklo_epi16(zero, w), 16));
      acc = _mm_add_epi32(acc, _mm_srai_epi32(_mm_unpackhi_epi16(zero, w), 16));
    }
    alignas(16) int lanes[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), acc);
    const int sum = lanes[0] + lanes[1] + lanes[2] + lanes[3];
    result.pValues[x] = sum / (16 * SSESizeY);
  }
  return result;
}
