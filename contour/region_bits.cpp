// Region bit images from the rasters' register layouts. Both rasters keep
// several rows of one column in a register, so blocks of sixteen columns are
// transposed into rows: sixteen byte rows at a time for the byte raster (four
// rounds of byte interleaving), four float rows at a time for the float raster
// (a 4 x 4 float transpose, compare, pack to bytes); a byte mask of each row
// piece then gives sixteen bits at once.

#include "region_bits.h"

#include <emmintrin.h>
#include <xmmintrin.h>

#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

namespace relief::detail {

namespace {

RegionBits FramedBits(int width, int height) {
  RegionBits r;
  r.width = width;
  r.height = height;
  r.words = 1 + (width + 1 + 63) / 64;
  // One spare word for the unaligned neighbourhood reads at the end.
  r.bits.assign(static_cast<std::size_t>(r.words) * (height + 2) + 1, 0);
  const std::int64_t row = 64 * static_cast<std::int64_t>(r.words);
  r.rowBits = row;
  const std::int64_t offsets[8] = {1, row + 1, row, row - 1, -1, -row - 1, -row, -row + 1};
  for (int d = 0; d < 8; ++d) r.offset[d] = offsets[d];
  return r;
}

void SetBits16(RegionBits& r, int y, int x0, std::uint64_t set16) {
  r.Row(y)[x0 / 64] |= set16 << (x0 % 64);
}

void SetBit(RegionBits& r, int x, int y) { r.Row(y)[x / 64] |= std::uint64_t{1} << (x % 64); }

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

RegionBits MakeRegionBits(const CSSEcharMatrix& m, const RowBandSink& sink) {
  if (!m.GetMatrixDataDirectly() || m.GetSizeX() <= 0 || m.GetSizeY() <= 0) return FramedBits(0, 0);
  const int width = m.GetSizeX(), height = m.GetSizeY();
  RegionBits r = FramedBits(width, height);
  __m128i** lines = m.GetMatrixDataDirectly();
  const __m128i zero = _mm_setzero_si128();
  const int blocks = width / 16;
  for (int k = 0; 16 * k < height; ++k) {
    const int rows = height - 16 * k < 16 ? height - 16 * k : 16;
    for (int b = 0; b < blocks; ++b) {
      __m128i reg[16];
      for (int c = 0; c < 16; ++c) reg[c] = _mm_load_si128(lines[k] + 16 * b + c);
      Transpose16x16(reg);
      for (int j = 0; j < rows; ++j) {
        const unsigned set = ~static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(reg[j], zero))) & 0xFFFFu;
        SetBits16(r, 16 * k + j, 16 * b, set);
      }
    }
    for (int x = 16 * blocks; x < width; ++x) {
      const char* column = reinterpret_cast<const char*>(lines[k] + x);
      for (int j = 0; j < rows; ++j)
        if (column[j]) SetBit(r, x, 16 * k + j);
    }
    if (sink) sink(r, 16 * k, 16 * k + rows);
  }
  return r;
}

RegionBits MakeRegionBits(const CSSEMatrix& m, float threshold, const RowBandSink& sink) {
  if (!m.GetMatrixDataDirectly() || m.GetSizeX() <= 0 || m.GetSizeY() <= 0) return FramedBits(0, 0);
  const int width = m.GetSizeX(), height = m.GetSizeY();
  RegionBits r = FramedBits(width, height);
  const __m128* const* lines = m.GetMatrixDataDirectly();
  const __m128 t = _mm_set1_ps(threshold);
  const int blocks = width / 16;
  for (int k = 0; 4 * k < height; ++k) {
    const int rows = height - 4 * k < 4 ? height - 4 * k : 4;
    for (int b = 0; b < blocks; ++b) {
      __m128i above[4][4];  // [row][group of four columns]
      for (int g = 0; g < 4; ++g) {
        const float* base = reinterpret_cast<const float*>(lines[k] + 16 * b + 4 * g);
        __m128 c0 = _mm_load_ps(base), c1 = _mm_load_ps(base + 4), c2 = _mm_load_ps(base + 8),
               c3 = _mm_load_ps(base + 12);
        _MM_TRANSPOSE4_PS(c0, c1, c2, c3);
        above[0][g] = _mm_castps_si128(_mm_cmpgt_ps(c0, t));
        above[1][g] = _mm_castps_si128(_mm_cmpgt_ps(c1, t));
        above[2][g] = _mm_castps_si128(_mm_cmpgt_ps(c2, t));
        above[3][g] = _mm_castps_si128(_mm_cmpgt_ps(c3, t));
      }
      for (int j = 0; j < rows; ++j) {
        const __m128i lo = _mm_packs_epi32(above[j][0], above[j][1]);
        const __m128i hi = _mm_packs_epi32(above[j][2], above[j][3]);
        SetBits16(r, 4 * k + j, 16 * b, static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(lo, hi))));
      }
    }
    for (int x = 16 * blocks; x < width; ++x) {
      const float* column = reinterpret_cast<const float*>(lines[k] + x);
      for (int j = 0; j < rows; ++j)
        if (column[j] > threshold) SetBit(r, x, 4 * k + j);
    }
    if (sink) sink(r, 4 * k, 4 * k + rows);
  }
  return r;
}

}  // namespace relief::detail
