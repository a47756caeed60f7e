// Region masks from the rasters' register layouts. Both rasters keep several
// rows of one column in a register, so whole blocks of registers are
// transposed into image rows: sixteen byte rows at a time for the byte raster
// (four rounds of byte interleaving), four float rows at a time for the float
// raster (a 4 x 4 float transpose, compare, pack to bytes).

#include "region_mask.h"

#include <emmintrin.h>
#include <xmmintrin.h>

#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

namespace relief::detail {
namespace {

RegionMask EmptyMask(int width, int height) {
  RegionMask mask;
  mask.width = width;
  mask.height = height;
  mask.stride = width + 2;
  mask.bytes.assign(static_cast<std::size_t>(width + 2) * (height + 2), 0);
  return mask;
}

// In-place transpose of a 16 x 16 byte block (register i, byte j) -> (j, i).
// One round of interleaving pairs (i, i + 8) rotates the eight index bits by
// one, so four rounds exchange register and byte index.
void Transpose16x16(__m128i r[16]) {
  for (int round = 0; round < 4; ++round) {
    __m128i t[16];
    for (int i = 0; i < 8; ++i) {
      t[2 * i] = _mm_unpacklo_epi8(r[i], r[i + 8]);
      t[2 * i + 1] = _mm_unpackhi_epi8(r[i], r[i + 8]);
    }
    for (int i = 0; i < 16; ++i) r[i] = t[i];
  }
}

}  // namespace

RegionMask MakeRegionMask(const CSSEcharMatrix& m) {
  if (!m.GetMatrixDataDirectly() || m.GetSizeX() <= 0 || m.GetSizeY() <= 0) return EmptyMask(0, 0);
  const int width = m.GetSizeX(), height = m.GetSizeY();
  RegionMask mask = EmptyMask(width, height);
  __m128i** lines = m.GetMatrixDataDirectly();
  const __m128i zero = _mm_setzero_si128(), one = _mm_set1_epi8(1);
  const int blocks = width / 16;
  for (int k = 0; 16 * k < height; ++k) {
    const int rows = height - 16 * k < 16 ? height - 16 * k : 16;
    std::uint8_t* out = mask.bytes.data() + static_cast<std::size_t>(16 * k + 1) * mask.stride + 1;
    for (int b = 0; b < blocks; ++b) {
      __m128i r[16];
      for (int c = 0; c < 16; ++c) r[c] = _mm_load_si128(lines[k] + 16 * b + c);
      Transpose16x16(r);
      for (int j = 0; j < rows; ++j) {
        const __m128i set = _mm_andnot_si128(_mm_cmpeq_epi8(r[j], zero), one);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + static_cast<std::size_t>(j) * mask.stride + 16 * b), set);
      }
    }
    for (int x = 16 * blocks; x < width; ++x) {
      const char* column = reinterpret_cast<const char*>(lines[k] + x);
      for (int j = 0; j < rows; ++j) out[static_cast<std::size_t>(j) * mask.stride + x] = column[j] != 0;
    }
  }
  return mask;
}

RegionMask MakeRegionMask(const CSSEMatrix& m, float threshold) {
  if (!m.GetMatrixDataDirectly() || m.GetSizeX() <= 0 || m.GetSizeY() <= 0) return EmptyMask(0, 0);
  const int width = m.GetSizeX(), height = m.GetSizeY();
  RegionMask mask = EmptyMask(width, height);
  __m128** lines = m.GetMatrixDataDirectly();
  const __m128 t = _mm_set1_ps(threshold);
  const __m128i one = _mm_set1_epi8(1);
  const int blocks = width / 16;
  for (int k = 0; 4 * k < height; ++k) {
    const int rows = height - 4 * k < 4 ? height - 4 * k : 4;
    std::uint8_t* out = mask.bytes.data() + static_cast<std::size_t>(4 * k + 1) * mask.stride + 1;
    for (int b = 0; b < blocks; ++b) {
      __m128i above[4][4];  // [row][group of four columns]
      for (int g = 0; g < 4; ++g) {
        __m128 c0 = _mm_load_ps(reinterpret_cast<const float*>(lines[k] + 16 * b + 4 * g));
        __m128 c1 = _mm_load_ps(reinterpret_cast<const float*>(lines[k] + 16 * b + 4 * g + 1));
        __m128 c2 = _mm_load_ps(reinterpret_cast<const float*>(lines[k] + 16 * b + 4 * g + 2));
        __m128 c3 = _mm_load_ps(reinterpret_cast<const float*>(lines[k] + 16 * b + 4 * g + 3));
        _MM_TRANSPOSE4_PS(c0, c1, c2, c3);
        above[0][g] = _mm_castps_si128(_mm_cmpgt_ps(c0, t));
        above[1][g] = _mm_castps_si128(_mm_cmpgt_ps(c1, t));
        above[2][g] = _mm_castps_si128(_mm_cmpgt_ps(c2, t));
        above[3][g] = _mm_castps_si128(_mm_cmpgt_ps(c3, t));
      }
      for (int j = 0; j < rows; ++j) {
        const __m128i lo = _mm_packs_epi32(above[j][0], above[j][1]);
        const __m128i hi = _mm_packs_epi32(above[j][2], above[j][3]);
        const __m128i set = _mm_and_si128(_mm_packs_epi16(lo, hi), one);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + static_cast<std::size_t>(j) * mask.stride + 16 * b), set);
      }
    }
    for (int x = 16 * blocks; x < width; ++x) {
      const float* column = reinterpret_cast<const float*>(lines[k] + x);
      for (int j = 0; j < rows; ++j) out[static_cast<std::size_t>(j) * mask.stride + x] = column[j] > threshold;
    }
  }
  return mask;
}

}  // namespace relief::detail
