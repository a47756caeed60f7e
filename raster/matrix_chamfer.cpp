// CSSEMatrix::Chamfer (3-4 chamfer distance) and RemoveFrameArtefacts.
//
// Each pass is a recurrence: a pixel depends on its left (right) neighbour in
// the same row and on the row above (below), both already updated. A register
// holds four rows of one column, and its lanes depend on each other, so the
// passes run as a wavefront over a skewed copy of one SSE row: at step s lane
// j holds column s - j (forward) or s + 3 - j (backward). Every dependency
// then comes from the previous one or two steps or from the lane beside it,
// and the four rows advance together with no serial chain between lanes.
//
// The recurrence only touches interior pixels (1 .. size - 2 in both
// directions), whose neighbours all lie in the raster, so the clamped reads
// of the per-pixel formulation never clamp and no border path is needed.
//
// Sums: the candidate distances are defined as double sums rounded to float.
// For one addition of two floats that is exactly the float sum (double has
// more than twice float's precision), so the float additions below give the
// same bits. The minimum keeps the current value unless a candidate is
// strictly smaller (minps with the accumulator second): a NaN pixel stays
// NaN and NaN candidates are ignored, which makes the order of the four
// candidates irrelevant.

#include <algorithm>
#include <limits>
#include <utility>

#include "raster/register_walk.h"
#include "relief/CSSEMatrix.h"
#include "relief/SafeMemory.h"

namespace {

// Lane j of the result is lane j of in[j] (the skew and unskew step).
inline __m128 Gather(__m128 in0, __m128 in1, __m128 in2, __m128 in3) {
  const __m128 low = _mm_move_ss(in1, in0);                                 // in0.0 in1.1 . .
  const __m128 high = _mm_shuffle_ps(in2, in3, _MM_SHUFFLE(3, 3, 2, 2));   // . in2.2 in3.3 .
  return _mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 1, 1, 0));
}

// Lanes moved up by one (lane j takes lane j - 1), lane 0 taking lane 3 of fill.
inline __m128 LanesUp(__m128 v, __m128 fill) {
  return _mm_castsi128_ps(_mm_or_si128(_mm_slli_si128(_mm_castps_si128(v), 4),
                                       _mm_srli_si128(_mm_castps_si128(fill), 12)));
}

// Lanes moved down by one (lane j takes lane j + 1), lane 3 taking lane 0 of fill.
inline __m128 LanesDown(__m128 v, __m128 fill) {
  return _mm_castsi128_ps(_mm_or_si128(_mm_srli_si128(_mm_castps_si128(v), 4),
                                       _mm_slli_si128(_mm_castps_si128(fill), 12)));
}

inline __m128 KeepSmaller(__m128 candidate, __m128 v) { return _mm_min_ps(candidate, v); }

class ChamferPasses {
 public:
  ChamferPasses(CSSEMatrix& m)
      : m_lines(m.GetMatrixDataDirectly()),
        m_n(m.GetSizeX()),
        m_sizeY(m.GetSizeY()),
        m_sseY(m.GetSSESizeY()),
        m_skewed(static_cast<__m128*>(SafeAlignedAlloc(sizeof(__m128) * (m.GetSizeX() + 8), 16))) {}
  ~ChamferPasses() { SafeAlignedFree(m_skewed); }
  ChamferPasses(const ChamferPasses&) = delete;
  ChamferPasses& operator=(const ChamferPasses&) = delete;

  void Run() {
    if (m_n < 3 || m_sizeY < 3) return;
    const int lastK = (m_sizeY - 2) >> 2;
    for (int k = 0; k <= lastK; ++k) Forward(k);
    for (int k = lastK; k >= 0; --k) Backward(k);
  }

 private:
  // Register x of SSE row k, with x clamped into the row; out-of-range
  // positions only feed lanes whose results are discarded.
  __m128 At(int k, int x) const { return m_lines[k][std::clamp(x, 0, m_n - 1)]; }

  // Lanes whose row lies in 1 .. sizeY - 2.
  __m128i RowMask(int k) const {
    const __m128i rows = _mm_add_epi32(_mm_set1_epi32(4 * k), _mm_set_epi32(3, 2, 1, 0));
    return _mm_and_si128(_mm_cmpgt_epi32(rows, _mm_setzero_si128()),
                         _mm_cmplt_epi32(rows, _mm_set1_epi32(m_sizeY - 1)));
  }

  // Lanes whose column (given per lane) lies in 1 .. sizeX - 2, and in rowMask.
  __m128 Active(__m128i rowMask, __m128i columns) const {
    return _mm_castsi128_ps(_mm_and_si128(
        rowMask, _mm_and_si128(_mm_cmpgt_epi32(columns, _mm_setzero_si128()),
                               _mm_cmplt_epi32(columns, _mm_set1_epi32(m_n - 1)))));
  }

  // The step weights, +infinity in lanes that must keep their value: every
  // candidate there is +infinity (or NaN from -infinity + infinity), which
  // never replaces a value, so no select is needed after the minimum and the
  // step's dependency chain is one addition and two minima long.
  struct Weights {
    __m128 straight, diagonal;
  };
  Weights WeightsFor(__m128 active) const {
    return {relief::detail::Select(active, m_three, m_infinity), relief::detail::Select(active, m_four, m_infinity)};
  }

  // Forward: T(x,y) = min(T, T(x-1,y)+3, T(x,y-1)+3, T(x-1,y-1)+4, T(x-1,y+1)+4),
  // the last from the row below before it is updated.
  void Forward(int k) {
    const __m128i rowMask = RowMask(k);
    const __m128* line = m_lines[k];
    const __m128* above = m_lines[k > 0 ? k - 1 : k];  // k == 0: lane 0 is row 0, never active
    const __m128* below = m_lines[k + 1 < m_sseY ? k + 1 : k];
    const int steps = m_n + 3;  // s = 0 .. n + 2, lane j at column s - j
    // Columns s - 3 .. s are all inside the row for 3 <= s < n.
    for (int s = 0; s < steps; ++s)
      m_skewed[s] = s >= 3 && s < m_n ? Gather(line[s], line[s - 1], line[s - 2], line[s - 3])
                                      : Gather(At(k, s), At(k, s - 1), At(k, s - 2), At(k, s - 3));

    __m128 prev = m_skewed[0], prev2 = prev;
    auto step = [&](int s, const Weights& w, __m128 aboveS, __m128 aboveS1, __m128 belowS4) {
      const __m128 cur = m_skewed[s];
      // The candidates from the previous step come last: they end the chain.
      __m128 v = KeepSmaller(_mm_add_ps(LanesDown(cur, belowS4), w.diagonal), cur);
      v = KeepSmaller(_mm_add_ps(LanesUp(prev2, aboveS1), w.diagonal), v);
      v = KeepSmaller(_mm_add_ps(prev, w.straight), v);
      v = KeepSmaller(_mm_add_ps(LanesUp(prev, aboveS), w.straight), v);
      m_skewed[s] = v;
      prev2 = prev;
      prev = v;
    };
    // Out-of-range neighbour columns only feed lanes whose results are
    // discarded; the edge steps clamp them, the middle ones need not.
    const int k0 = k > 0 ? k - 1 : k, k1 = k + 1 < m_sseY ? k + 1 : k;
    int s = 1;
    // In the middle steps every lane's column is inside: only rows decide.
    auto edge = [&](int s) {
      return WeightsFor(Active(rowMask, _mm_sub_epi32(_mm_set1_epi32(s), _mm_set_epi32(3, 2, 1, 0))));
    };
    const Weights middle = WeightsFor(_mm_castsi128_ps(rowMask));
    for (; s < std::min(4, steps); ++s) step(s, edge(s), At(k0, s), At(k0, s - 1), At(k1, s - 4));
    for (; s < m_n - 1; ++s) step(s, middle, above[s], above[s - 1], below[s - 4]);
    for (; s < steps; ++s) step(s, edge(s), At(k0, s), At(k0, s - 1), At(k1, s - 4));

    __m128* out = m_lines[k];
    for (int x = 0; x < m_n; ++x) out[x] = Gather(m_skewed[x], m_skewed[x + 1], m_skewed[x + 2], m_skewed[x + 3]);
  }

  // Backward, the mirror: T(x,y) = min(T, T(x+1,y)+3, T(x,y+1)+3,
  // T(x+1,y+1)+4, T(x+1,y-1)+4), the last from the row above before it is
  // updated. Lane j at step s holds column s + 3 - j; m_skewed[s + 3].
  void Backward(int k) {
    const __m128i rowMask = RowMask(k);
    const __m128* line = m_lines[k];
    const int k0 = k > 0 ? k - 1 : k, k1 = k + 1 < m_sseY ? k + 1 : k;
    const __m128* above = m_lines[k0];
    const __m128* below = m_lines[k1];
    __m128* skewed = m_skewed + 3;  // s = -3 .. n - 1
    for (int s = -3; s < m_n; ++s)
      skewed[s] = s >= 0 && s + 3 < m_n ? Gather(line[s + 3], line[s + 2], line[s + 1], line[s])
                                        : Gather(At(k, s + 3), At(k, s + 2), At(k, s + 1), At(k, s));

    __m128 prev = skewed[m_n - 1], prev2 = prev;
    auto step = [&](int s, const Weights& w, __m128 belowS, __m128 belowS1, __m128 aboveS4) {
      const __m128 cur = skewed[s];
      __m128 v = KeepSmaller(_mm_add_ps(LanesUp(cur, aboveS4), w.diagonal), cur);
      v = KeepSmaller(_mm_add_ps(LanesDown(prev2, belowS1), w.diagonal), v);
      v = KeepSmaller(_mm_add_ps(prev, w.straight), v);
      v = KeepSmaller(_mm_add_ps(LanesDown(prev, belowS), w.straight), v);
      skewed[s] = v;
      prev2 = prev;
      prev = v;
    };
    auto edge = [&](int s) {
      return WeightsFor(Active(rowMask, _mm_sub_epi32(_mm_set1_epi32(s + 3), _mm_set_epi32(3, 2, 1, 0))));
    };
    const Weights middle = WeightsFor(_mm_castsi128_ps(rowMask));
    int s = m_n - 2;
    for (; s >= std::max(m_n - 4, -3); --s) step(s, edge(s), At(k1, s), At(k1, s + 1), At(k0, s + 4));
    for (; s >= 1; --s) step(s, middle, below[s], below[s + 1], above[s + 4]);
    for (; s >= -3; --s) step(s, edge(s), At(k1, s), At(k1, s + 1), At(k0, s + 4));

    __m128* out = m_lines[k];
    for (int x = 0; x < m_n; ++x) out[x] = Gather(skewed[x - 3], skewed[x - 2], skewed[x - 1], skewed[x]);
  }

  __m128** m_lines;
  int m_n, m_sizeY, m_sseY;
  __m128* m_skewed;
  const __m128 m_three = _mm_set1_ps(3.0f), m_four = _mm_set1_ps(4.0f);
  const __m128 m_infinity = _mm_set1_ps(std::numeric_limits<float>::infinity());
};

}  // namespace

void CSSEMatrix::Chamfer() {
  if (!m_ppLines) return;
  // The distance map is built in place: the only allocation (the skewed row)
  // happens before anything is written, so a failure leaves the raster as it
  // was, just as building it in a copy would.
  ChamferPasses passes(*this);
  // Unknown pixels (0) start far away, seeds (1.0) at distance 0; any other
  // value is a given initial distance. The two bands are disjoint, so the two
  // replacements (0 -> 99999.9, stored as 99999.8984375, then 1 -> 0) are one
  // pass; both band ends are rounded to float like ReplaceValueWithValue's.
  const __m128 lo0 = _mm_set1_ps(0.0f - 0.002f), hi0 = _mm_set1_ps(0.0f + 0.002f);
  const __m128 lo1 = _mm_set1_ps(1.0f - 0.002f), hi1 = _mm_set1_ps(1.0f + 0.002f);
  const __m128 unknown = _mm_set1_ps(99999.9f);
  relief::detail::ForEachRegister(*this, [=](__m128& r) {
    const __m128 isUnknown = _mm_and_ps(_mm_cmpgt_ps(r, lo0), _mm_cmplt_ps(r, hi0));
    const __m128 isSeed = _mm_and_ps(_mm_cmpgt_ps(r, lo1), _mm_cmplt_ps(r, hi1));
    r = _mm_andnot_ps(isSeed, relief::detail::Select(isUnknown, unknown, r));
  });
  passes.Run();
  RemoveFrameArtefacts(4, 4, 0.0f);
}

void CSSEMatrix::RemoveFrameArtefacts(int frameX, int frameY, float value) {
  if (!m_ppLines) return;
  const __m128 v = _mm_set1_ps(value);
  auto set = [v](__m128& r) { r = v; };
  using relief::detail::ForEachRegisterInColumns;
  // Left frameX columns, right frameX + 1 columns (deliberately one wider).
  ForEachRegisterInColumns(*this, 0, std::clamp(frameX, 0, m_nSizeX), set);
  ForEachRegisterInColumns(*this, std::clamp(m_nSizeX - frameX - 1, 0, m_nSizeX), m_nSizeX, set);
  // Top frameY >> 2 SSE rows, bottom one more (the spare SSE row is one of them).
  const int top = std::clamp(frameY >> 2, 0, m_nSSESizeY);
  const int bottom = std::clamp(m_nSSESizeY - (frameY >> 2) - 1, 0, m_nSSESizeY);
  relief::detail::ForEachRegisterInRows(*this, 0, top, set);
  relief::detail::ForEachRegisterInRows(*this, bottom, m_nSSESizeY, set);
}
