// CSSEMatrix::ZhangSuen: two-sub-iteration parallel thinning.
//
// The region is held as one bit per pixel, 64 pixels of a row per word, and a
// sub-iteration evaluates the thinning test for all 64 pixels of a word at
// once with bitwise logic: the eight neighbours are the word and the words
// above and below, shifted by one column (carrying the neighbouring word's
// edge bit). The neighbour count B is summed with bit-sliced adders; the
// 0-to-1 steps A are eight bit planes of which exactly one must be set.
//
// A pixel's test depends only on its 3 x 3 neighbourhood, so a word whose
// neighbourhood has not changed since the last time it was tested under the
// same sub-iteration's rule gives no new marks. Each rule keeps a "dirty"
// flag per word; deleting pixels sets the flags of the words around them.
// After the first pass only the shrinking boundary of the region is tested.
//
// Marks are collected over the whole scan and applied afterwards, so the scan
// order, like in the per-pixel formulation, does not change the result.

#include <cstdint>
#include <cstring>
#include <vector>

#include "relief/CMemoryException.h"
#include "relief/CSSEMatrix.h"

namespace {

using Word = std::uint64_t;
constexpr int kMaxIterations = 1000;

// One bit image with a zero guard word left and right of every row.
struct BitImage {
  int words = 0;   // words per row that hold pixels
  int stride = 0;  // words + 2 guards
  int rows = 0;
  std::vector<Word> bits;
  Word* Row(int y) { return bits.data() + static_cast<std::size_t>(y) * stride + 1; }
};

// The pixels that one sub-iteration marks in a word. c* are the pixel row,
// n* the row above, s* the row below; *p and *n the words left and right.
template <bool kFirst>
inline Word Marks(Word np, Word n, Word nn, Word cp, Word c, Word cn, Word sp, Word s, Word sn) {
  const Word p2 = n;
  const Word p3 = (n >> 1) | (nn << 63);
  const Word p4 = (c >> 1) | (cn << 63);
  const Word p5 = (s >> 1) | (sn << 63);
  const Word p6 = s;
  const Word p7 = (s << 1) | (sp >> 63);
  const Word p8 = (c << 1) | (cp >> 63);
  const Word p9 = (n << 1) | (np >> 63);

  // B = p2 + ... + p9 per bit, as ones o, twos t, fours f, eights e.
  const Word x1 = p2 ^ p3, s1 = x1 ^ p4, c1 = (p2 & p3) | (p4 & x1);
  const Word x2 = p5 ^ p6, s2 = x2 ^ p7, c2 = (p5 & p6) | (p7 & x2);
  const Word s3 = p8 ^ p9, c3 = p8 & p9;
  const Word x4 = s1 ^ s2, o = x4 ^ s3, c4 = (s1 & s2) | (s3 & x4);
  const Word x5 = c1 ^ c2, t1 = x5 ^ c3, c5 = (c1 & c2) | (c3 & x5);
  const Word t = t1 ^ c4, c6 = t1 & c4;
  const Word f = c5 ^ c6, e = c5 & c6;
  // 3 <= B <= 6: 3 is 0011; 4, 5, 6 are 01xx except 0111.
  const Word countOk = ~e & ((f & ~(t & o)) | (~f & t & o));

  // A = 1: exactly one 0-to-1 step around P2, P3, ..., P9, P2.
  const Word steps[8] = {~p2 & p3, ~p3 & p4, ~p4 & p5, ~p5 & p6, ~p6 & p7, ~p7 & p8, ~p8 & p9, ~p9 & p2};
  Word any = 0, twice = 0;
  for (Word step : steps) {
    twice |= any & step;
    any |= step;
  }
  const Word oneStep = any & ~twice;

  const Word rule = kFirst ? ~(p2 & p4 & p6) & ~(p4 & p6 & p8) : ~(p2 & p4 & p8) & ~(p2 & p6 & p8);
  return c & countOk & oneStep & rule;
}

class Thinning {
 public:
  Thinning(int sizeX, int sizeY) : m_sizeX(sizeX), m_sizeY(sizeY) {
    m_image.words = (sizeX + 63) >> 6;
    m_image.stride = m_image.words + 2;
    m_image.rows = sizeY;
    const std::size_t n = static_cast<std::size_t>(m_image.stride) * sizeY;
    m_image.bits.assign(n, 0);
    m_marks.assign(n, 0);
    m_dirty[0].assign(n, 1);
    m_dirty[1].assign(n, 1);
    // Columns 1 .. sizeX-2 are tested; the outermost columns only count as
    // neighbours.
    m_interior.assign(m_image.words, 0);
    for (int x = 1; x < sizeX - 1; ++x) m_interior[x >> 6] |= Word(1) << (x & 63);
  }

  BitImage& Image() { return m_image; }

  void Run() {
    if (m_sizeY < 3 || m_sizeX < 3) return;
    for (int i = 0; i < kMaxIterations; ++i) {
      if (SubIteration<true>() == 0) return;
      if (SubIteration<false>() == 0) return;
    }
  }

 private:
  // Marks every pixel the rule removes, then removes them; returns how many.
  template <bool kFirst>
  long SubIteration() {
    std::vector<std::uint8_t>& dirty = m_dirty[kFirst ? 0 : 1];
    const int stride = m_image.stride;
    m_marked.clear();
    for (int y = 1; y <= m_sizeY - 2; ++y) {
      const Word* n = m_image.Row(y - 1);
      const Word* c = m_image.Row(y);
      const Word* s = m_image.Row(y + 1);
      const std::size_t base = static_cast<std::size_t>(y) * stride + 1;
      for (int w = 0; w < m_image.words; ++w) {
        if (!dirty[base + w]) continue;
        dirty[base + w] = 0;
        if (!c[w]) continue;
        const Word m = Marks<kFirst>(n[w - 1], n[w], n[w + 1], c[w - 1], c[w], c[w + 1], s[w - 1], s[w], s[w + 1]) &
                       m_interior[w];
        if (m) {
          m_marks[base + w] = m;
          m_marked.push_back(base + w);
        }
      }
    }
    long removed = 0;
    for (std::size_t at : m_marked) {
      const Word m = m_marks[at];
      m_marks[at] = 0;
      m_image.bits[at] &= ~m;
      removed += __builtin_popcountll(m);
      // The words whose pixels have a removed pixel among their neighbours.
      for (std::size_t row : {at - stride, at, at + stride}) {
        for (auto& d : m_dirty) {
          d[row] = 1;
          if (m & 1) d[row - 1] = 1;
          if (m >> 63) d[row + 1] = 1;
        }
      }
    }
    return removed;
  }

  int m_sizeX, m_sizeY;
  BitImage m_image;
  std::vector<Word> m_marks;
  std::vector<Word> m_interior;
  std::vector<std::uint8_t> m_dirty[2];
  std::vector<std::size_t> m_marked;
};

// Pixel (4k + j, x) of the 16 lane patterns: lane j is all ones when bit j is set.
const __m128 kLaneMasks[16] = {
#define RELIEF_LANES(i)                                                                                     \
  _mm_castsi128_ps(_mm_set_epi32((i)&8 ? -1 : 0, (i)&4 ? -1 : 0, (i)&2 ? -1 : 0, (i)&1 ? -1 : 0))
    RELIEF_LANES(0),  RELIEF_LANES(1),  RELIEF_LANES(2),  RELIEF_LANES(3),  RELIEF_LANES(4),  RELIEF_LANES(5),
    RELIEF_LANES(6),  RELIEF_LANES(7),  RELIEF_LANES(8),  RELIEF_LANES(9),  RELIEF_LANES(10), RELIEF_LANES(11),
    RELIEF_LANES(12), RELIEF_LANES(13), RELIEF_LANES(14), RELIEF_LANES(15),
#undef RELIEF_LANES
};

}  // namespace

void CSSEMatrix::ZhangSuen(float threshold) {
  if (!m_ppLines) return;
  // All working memory is taken before the raster is touched, so that an
  // allocation failure leaves it unchanged.
  Thinning thinning = [&] {
    try {
      return Thinning(m_nSizeX, m_nSizeY);
    } catch (const std::bad_alloc&) {
      AfxThrowMemoryException();
    }
  }();

  // Binarise four rows per register: the comparison mask's bits are the rows.
  BitImage& image = thinning.Image();
  const __m128 t = _mm_set1_ps(threshold);
  for (int k = 0; k < m_nSSESizeY; ++k) {
    const __m128* line = m_ppLines[k];
    Word* rows[4];
    int valid = 0;
    for (int j = 0; j < 4 && 4 * k + j < m_nSizeY; ++j, ++valid) rows[j] = image.Row(4 * k + j);
    if (valid == 0) break;
    for (int x = 0; x < m_nSSESizeX; ++x) {
      const int bits = _mm_movemask_ps(_mm_cmpgt_ps(line[x], t));
      for (int j = 0; j < valid; ++j) rows[j][x >> 6] |= Word((bits >> j) & 1) << (x & 63);
    }
  }

  thinning.Run();

  // Write back: everything 0, then 1.0 on the interior pixels that remain.
  const __m128 one = _mm_set1_ps(1.0f);
  for (int k = 0; k < m_nSSESizeY; ++k) {
    __m128* line = m_ppLines[k];
    const Word* rows[4] = {};
    for (int j = 0; j < 4; ++j) {
      const int y = 4 * k + j;
      if (y >= 1 && y <= m_nSizeY - 2) rows[j] = image.Row(y);
    }
    for (int x = 0; x < m_nSSESizeX; ++x) {
      int bits = 0;
      if (x >= 1 && x <= m_nSizeX - 2)
        for (int j = 0; j < 4; ++j)
          if (rows[j]) bits |= static_cast<int>((rows[j][x >> 6] >> (x & 63)) & 1) << j;
      line[x] = _mm_and_ps(kLaneMasks[bits], one);
    }
  }
}
