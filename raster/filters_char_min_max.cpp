// CFilters::Minimum and Maximum on byte masks. Along x a register (sixteen
// rows of one column) meets its neighbours directly; along y each column is
// copied into a padded run of bytes, where the sixteen rows of an output
// register are one unaligned load at every offset of the window.

#include <algorithm>
#include <cstring>
#include <vector>

#include "raster/aligned_buffer.h"
#include "relief/CFilters.h"
#include "relief/CSSEcharMatrix.h"

namespace {

// Signed bytes compared as unsigned after flipping the sign bit.
const __m128i kSignBit = _mm_set1_epi8(static_cast<char>(0x80));

struct ByteMin {
  static __m128i Apply(__m128i a, __m128i b) { return _mm_min_epu8(a, b); }
  static constexpr unsigned char kIdentity = 0xFF;  // +127 flipped
};
struct ByteMax {
  static __m128i Apply(__m128i a, __m128i b) { return _mm_max_epu8(a, b); }
  static constexpr unsigned char kIdentity = 0x00;  // -128 flipped
};

template <class Op>
void Run(const CSSEcharMatrix& source, CSSEcharMatrix& target, int r) {
  if (!source.GetMatrixDataDirectly()) return;
  if (&source != &target && r < 1) {
    target.CopyFromOtherMatrix(const_cast<CSSEcharMatrix&>(source));
    return;
  }
  if (r < 1) return;
  const int W = source.GetSizeX(), H = source.GetSizeY(), sseY = source.GetSSESizeY();
  // Work on a flipped copy: along x it is the input, along y the output.
  CSSEcharMatrix work(W, H);
  __m128i* const* src = source.GetMatrixDataDirectly();
  __m128i** tmp = work.GetMatrixDataDirectly();
  relief::detail::AlignedBuffer rowBuffer(static_cast<std::size_t>(std::max(W, 1)));
  __m128i* row = reinterpret_cast<__m128i*>(rowBuffer.data());
  for (int k = 0; k < sseY; ++k) {  // along x
    for (int x = 0; x < W; ++x) row[x] = _mm_xor_si128(src[k][x], kSignBit);
    for (int x = 0; x < W; ++x) {
      __m128i acc = row[x];
      for (int xx = std::max(x - r, 0); xx <= std::min(x + r, W - 1); ++xx) acc = Op::Apply(acc, row[xx]);
      tmp[k][x] = acc;
    }
  }
  if (&target != &source &&
      (!target.GetMatrixDataDirectly() || target.GetSizeX() != W || target.GetSizeY() != H))
    target.Create(W, H);
  __m128i* const* dst = target.GetMatrixDataDirectly();
  // Along y: column x as a run of bytes, rows outside the raster identities.
  std::vector<unsigned char> column(static_cast<std::size_t>(16) * sseY + 2 * r + 16);
  unsigned char* rows = column.data() + r;  // rows[y] is row y
  for (int x = 0; x < W; ++x) {
    std::fill(column.begin(), column.end(), Op::kIdentity);
    for (int k = 0; k < sseY; ++k) std::memcpy(rows + 16 * k, &tmp[k][x], 16);
    std::fill(rows + H, column.data() + column.size(), Op::kIdentity);
    for (int k = 0; k < sseY; ++k) {
      const unsigned char* window = rows + 16 * k - r;
      __m128i acc = _mm_loadu_si128(reinterpret_cast<const __m128i*>(window));
      for (int d = 1; d <= 2 * r; ++d) acc = Op::Apply(acc, _mm_loadu_si128(reinterpret_cast<const __m128i*>(window + d)));
      // Spare rows of the last register end 0.
      alignas(16) unsigned char out[16];
      _mm_store_si128(reinterpret_cast<__m128i*>(out), _mm_xor_si128(acc, kSignBit));
      for (int j = 0; j < 16; ++j)
        if (16 * k + j >= H) out[j] = 0;
      dst[k][x] = _mm_load_si128(reinterpret_cast<const __m128i*>(out));
    }
  }
}

}  // namespace

void CFilters::Minimum(const CSSEcharMatrix& source, CSSEcharMatrix& target, int radius) {
  Run<ByteMin>(source, target, radius);
}

void CFilters::Maximum(const CSSEcharMatrix& source, CSSEcharMatrix& target, int radius) {
  Run<ByteMax>(source, target, radius);
}
