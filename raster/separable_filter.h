#pragma once

// The driver of the separable window filters (box mean, minimum, maximum):
// one pass over the raster, strip of columns by strip of columns.
//
// Within a strip, every SSE row is reduced along x directly on its
// registers (their lanes are four image rows), the results are transposed
// 4 x 4 into column buffers (lanes become four image columns), the column
// buffers are reduced along y, and the results are transposed back and
// finished into the target. A strip's column buffers stay in the second
// level cache, so source and target are each touched once.
//
// A policy says what a filter reduces and how it finishes:
//   static constexpr int kChannels;            // 1 or 2 reductions side by side
//   using Op = AddOp / MinOp / MaxOp;
//   void Prepare(__m128 v, __m128* ch) const;  // source register -> channel values
//   static constexpr bool kKeepsNoData;       // pixels without data keep their value
//   __m128 Finish(const __m128* ch, int x, int k) const;  // channels -> result
//   static constexpr int kCountDigits;         // optional, see below
// Prepare must not let NaN through (the window scheme would spread it).
// With kCountDigits = P > 0 (one channel only), the driver also counts the
// window pixels whose prepared value is not 0, as P digits to a lane
// (raster/packed_counts.h), and divides the channel by that count before
// Finish, in the column buffers.
// With kKeepsNoData, the lanes of source registers that hold no data are
// noted while the strip is read (where they hold +0, the usual no data,
// they are restored as 0), and only registers with other values there
// (-0, NaN) are read again when finishing: the source is long out of the
// cache by then.

#include <emmintrin.h>

#include <algorithm>
#include <type_traits>
#include <vector>

#include "raster/aligned_buffer.h"
#include "raster/no_data.h"
#include "raster/packed_counts.h"
#include "raster/register_walk.h"
#include "raster/sliding_window.h"
#include "relief/CSSEMatrix.h"

namespace relief::detail {

// A strip touches about a kilobyte per SSE row, rows 16 x sizeX bytes apart:
// too short a run for the hardware prefetcher to pick up, so each SSE row
// asks for the one `ahead` rows further down while it is processed.
inline void PrefetchRun(const __m128* row, int from, int to) {
  const char* p = reinterpret_cast<const char*>(row + std::max(from, 0));
  const char* end = reinterpret_cast<const char*>(row + to);
  for (; p < end; p += 64) _mm_prefetch(p, _MM_HINT_T0);
}
constexpr int kPrefetchRowsAhead = 2;

// Lanes of SSE row k that are pixels (rows < sizeY) all ones, others zero.
inline __m128 PixelLaneMask(int k, int sizeY) {
  const int rows = std::clamp(sizeY - 4 * k, 0, 4);
  alignas(16) static const unsigned kMasks[5][4] = {
      {0, 0, 0, 0}, {~0u, 0, 0, 0}, {~0u, ~0u, 0, 0}, {~0u, ~0u, ~0u, 0}, {~0u, ~0u, ~0u, ~0u}};
  return _mm_load_ps(reinterpret_cast<const float*>(kMasks[rows]));
}

// All-ones in the lanes whose bit is set in bits (bit j: lane j).
inline __m128 LaneMask(int bits) {
  const __m128i lane = _mm_set_epi32(8, 4, 2, 1);
  const __m128i set = _mm_and_si128(_mm_set1_epi32(bits), lane);
  return _mm_castsi128_ps(_mm_cmpeq_epi32(set, lane));
}

// Gives target the source's size (fresh storage only when it differs).
inline void MatchSize(const CSSEMatrix& source, CSSEMatrix& target) {
  if (&target == &source) return;
  if (!target.GetMatrixDataDirectly() || target.GetSizeX() != source.GetSizeX() ||
      target.GetSizeY() != source.GetSizeY())
    target.CreateNoClear(source.GetSizeX(), source.GetSizeY());
}

template <class Policy, class = void>
struct CountDigitsOf : std::integral_constant<int, 0> {};
template <class Policy>
struct CountDigitsOf<Policy, std::void_t<decltype(Policy::kCountDigits)>>
    : std::integral_constant<int, Policy::kCountDigits> {};

template <class Policy>
void RunSeparableFilter(const CSSEMatrix& source, CSSEMatrix& target, int r, const Policy& policy) {
  using Op = typename Policy::Op;
  constexpr int C = Policy::kChannels;
  constexpr int P = CountDigitsOf<Policy>::value;
  static_assert(P == 0 || C == 1, "counts go with one channel");
  const int W = source.GetSizeX(), H = source.GetSizeY();
  const int sseY = source.GetSSESizeY(), kReal = (H + 3) >> 2;
  const int w = 2 * r + 1;

  // Column buffers of up to 16 groups of four columns, within ~1.5 MiB.
  // (+4: the write-back reads whole SSE rows, spare lanes included.)
  const int lv = WindowInputLength(std::max(H, 1), r) + 4;
  const long budget = 3L << 19;
  // (With counts, P float groups share one count group, and a strip is
  // whole count groups of P digits.)
  const long perGroup = P ? 16L * lv * (P + 1) / P : 16L * C * lv;
  const int groupsMax = P ? std::max(static_cast<int>(std::min(budget / perGroup, 16L)) / P * P, P)
                          : static_cast<int>(std::clamp(budget / perGroup, 1L, 16L));
  const int stripWidth = 4 * groupsMax;
  const bool inPlace = &source == &target;
  if (inPlace && r > stripWidth) {  // the halo below would reach past one strip
    CSSEMatrix copy(source);
    RunSeparableFilter(copy, target, r, policy);
    return;
  }
  MatchSize(source, target);
  const __m128* const* src = source.GetMatrixDataDirectly();
  __m128* const* dst = target.GetMatrixDataDirectly();
  if (W == 0 || H == 0) {
    target.Clear();
    return;
  }

  const int hLen = WindowInputLength(stripWidth, r);
  AlignedBuffer seg(static_cast<std::size_t>(C) * hLen);
  // Column buffers: C channels of groupsMax groups; with counts, then
  // groupsMax / P count groups and the packed count segment of the
  // super-columns (one allocation: a call allocates little, and alike).
  const std::size_t sumLen = static_cast<std::size_t>(C) * groupsMax * lv;
  const std::size_t countLen = P ? static_cast<std::size_t>(groupsMax / std::max(P, 1)) * lv : 0;
  const int cLen = P ? stripWidth / std::max(P, 1) + 2 * r : 0;
  AlignedBuffer col(sumLen + countLen + cLen);
  AlignedBuffer suffix(w);
  // In place, the r source columns left of a strip are overwritten by the
  // previous strip before they are read: keep them.
  AlignedBuffer halo(inPlace ? static_cast<std::size_t>(r) * sseY : 0);
  // Per group of four registers of the strip, the lanes without data
  // (kKeepsNoData; NoDataBits), and of those the lanes that are not +0
  // (-0, NaN), which are restored from the source.
  std::vector<unsigned short> keep(Policy::kKeepsNoData ? static_cast<std::size_t>(groupsMax) * sseY : 0);
  std::vector<unsigned short> keepSource(keep.size());
  auto colBuf = [&](int c, int g) { return col.data() + (static_cast<std::size_t>(c) * groupsMax + g) * lv; };
  auto cntBuf = [&](int g) { return col.data() + sumLen + static_cast<std::size_t>(g) * lv; };
  __m128* const cseg = col.data() + sumLen + countLen;
  const __m128 identity = Op::Identity();

  for (int x0 = 0; x0 < W; x0 += stripWidth) {
    const int xs = std::min(stripWidth, W - x0);
    const int groups = (xs + 3) >> 2;
    // Super-columns per digit (whole groups of four) and their groups.
    const int q = P ? (xs + 4 * P - 1) / (4 * P) * 4 : 0;
    const int countGroups = q / 4;

    // Along x, SSE row by SSE row, then into the column buffers.
    for (int k = 0; k < kReal; ++k) {
      const __m128* row = src[k];
      if (k + kPrefetchRowsAhead < kReal) PrefetchRun(src[k + kPrefetchRowsAhead], x0 - r, std::min(x0 + xs + r, W));
      // seg[j] holds column x0 - r + j: identities outside the raster, the
      // kept halo left of the strip when working in place.
      const int jFirst = std::max(0, r - x0), jEnd = std::min(hLen, W - x0 + r);
      const int jHalo = inPlace ? std::min(r, jEnd) : jFirst;
      for (int c = 0; c < C; ++c) {
        std::fill(seg.data() + c * hLen, seg.data() + c * hLen + jFirst, identity);
        std::fill(seg.data() + c * hLen + jEnd, seg.data() + (c + 1) * hLen, identity);
      }
      auto prepare = [&](int j, __m128 v) {
        __m128 ch[C];
        policy.Prepare(v, ch);
        for (int c = 0; c < C; ++c) seg[c * hLen + j] = ch[c];
      };
      for (int j = jFirst; j < jHalo; ++j) prepare(j, halo[static_cast<std::size_t>(k) * r + j]);
      const __m128* from = row + x0 - r;
      for (int j = std::max(jFirst, jHalo); j < jEnd; ++j) prepare(j, from[j]);
      unsigned short* noData = keep.data() + static_cast<std::size_t>(k) * groupsMax;
      if constexpr (P > 0) {
        PackValidity<P>(seg.data(), q, r, cseg, noData);
        WindowCountSums(cseg, q, r);
        for (int g = 0; g < countGroups; ++g) {
          __m128 a = cseg[4 * g], b = cseg[4 * g + 1], d = cseg[4 * g + 2], e = cseg[4 * g + 3];
          _MM_TRANSPOSE4_PS(a, b, d, e);
          __m128* out = cntBuf(g) + r + 4 * k;
          out[0] = a;
          out[1] = b;
          out[2] = d;
          out[3] = e;
        }
      } else if (Policy::kKeepsNoData) {
        for (int g = 0; g < groups; ++g) {
          __m128 holds[4];
          for (int i = 0; i < 4; ++i)
            holds[i] = 4 * g + i < xs ? HoldsData(row[x0 + 4 * g + i]) : _mm_castsi128_ps(_mm_set1_epi32(-1));
          noData[g] = static_cast<unsigned short>(NoDataBits(holds));
        }
      }
      if (Policy::kKeepsNoData)
        for (int g = 0; g < groups; ++g)
          if (noData[g]) {
            __m128i plusZero[4];  // all-ones lanes: +0
            for (int i = 0; i < 4; ++i)
              plusZero[i] = 4 * g + i < xs ? _mm_cmpeq_epi32(_mm_castps_si128(row[x0 + 4 * g + i]), _mm_setzero_si128())
                                           : _mm_set1_epi32(-1);
            const __m128 isPlusZero[4] = {_mm_castsi128_ps(plusZero[0]), _mm_castsi128_ps(plusZero[1]),
                                          _mm_castsi128_ps(plusZero[2]), _mm_castsi128_ps(plusZero[3])};
            // (NoDataBits of "is +0" gives the lanes that are not +0.)
            keepSource[static_cast<std::size_t>(k) * groupsMax + g] =
                static_cast<unsigned short>(noData[g] & NoDataBits(isPlusZero));
          }
      __m128* segs[C];
      for (int c = 0; c < C; ++c) segs[c] = seg.data() + c * hLen;
      WindowReduceChannels<Op, C>(segs, xs, r, suffix.data());
      for (int c = 0; c < C; ++c) {
        const __m128* s = segs[c];
        for (int g = 0; g < groups; ++g) {
          __m128 a = s[4 * g], b = s[4 * g + 1], d = s[4 * g + 2], e = s[4 * g + 3];
          _MM_TRANSPOSE4_PS(a, b, d, e);
          __m128* out = colBuf(c, g) + r + 4 * k;
          out[0] = a;
          out[1] = b;
          out[2] = d;
          out[3] = e;
        }
      }
    }

    // Along y, in the column buffers (rows past the raster are identities).
    for (int g = 0; g < groups; ++g) {
      __m128* cols[C];
      for (int c = 0; c < C; ++c) {
        cols[c] = colBuf(c, g);
        std::fill(cols[c], cols[c] + r, identity);
        std::fill(cols[c] + r + H, cols[c] + lv, identity);
      }
      WindowReduceChannels<Op, C>(cols, H, r, suffix.data());
    }
    if constexpr (P > 0) {
      for (int g = 0; g < countGroups; ++g) {
        __m128* counts = cntBuf(g);
        std::fill(counts, counts + r, _mm_setzero_ps());
        std::fill(counts + r + H, counts + lv, _mm_setzero_ps());
        WindowCountSums(counts, H, r);
      }
    }

    if (inPlace && x0 + xs < W)
      for (int k = 0; k < sseY; ++k)
        for (int j = 0; j < r; ++j) halo[static_cast<std::size_t>(k) * r + j] = src[k][x0 + xs - r + j];

    // Back to registers, finished into the target (with counts, the sums of
    // group g are divided by digit g / countGroups of count group g %
    // countGroups).
    for (int k = 0; k < sseY; ++k) {
      const __m128 lanes = PixelLaneMask(k, H);
      __m128* out = dst[k];
      const __m128* in = src[k];
      // A separate target is written whole and not read again here: stream
      // it past the cache instead of reading each line first.
      auto store = [&](int x, __m128 v) {
        if (inPlace)
          out[x] = v;
        else
          _mm_stream_ps(reinterpret_cast<float*>(out + x), v);
      };
      for (int g = 0; g < groups; ++g) {
        const std::size_t kg = static_cast<std::size_t>(k) * groupsMax + g;
        const int n = std::min(4, xs - 4 * g);
        const int noData = Policy::kKeepsNoData && k < kReal ? keep[kg] : 0;
        if (noData == 0xFFFF && !keepSource[kg]) {  // no data, all +0 (a scan's rim)
          for (int i = 0; i < n; ++i) store(x0 + 4 * g + i, _mm_setzero_ps());
          continue;
        }
        __m128 t[C][4];
        for (int c = 0; c < C; ++c) {
          const __m128* b = colBuf(c, g) + 4 * k;
          t[c][0] = b[0];
          t[c][1] = b[1];
          t[c][2] = b[2];
          t[c][3] = b[3];
          // Divided here, between the stores, the division's long issue
          // interval hides (a loop of divisions alone would wait on it).
          if constexpr (P > 0)
            if (noData != 0xFFFF) DivideByCountDigit<P>(t[c], cntBuf(g % countGroups) + 4 * k, g / countGroups);
          _MM_TRANSPOSE4_PS(t[c][0], t[c][1], t[c][2], t[c][3]);
        }
        for (int i = 0; i < n; ++i) {
          const int x = x0 + 4 * g + i;
          __m128 ch[C];
          for (int c = 0; c < C; ++c) ch[c] = t[c][i];
          __m128 result = policy.Finish(ch, x, k);
          if (noData)
            if (const int bits = (noData >> (4 * i)) & 0xF) {
              const __m128 mask = LaneMask(bits);
              result = (keepSource[kg] >> (4 * i)) & 0xF ? Select(mask, in[x], result) : _mm_andnot_ps(mask, result);
            }
          store(x, _mm_and_ps(lanes, result));
        }
      }
    }
  }
  _mm_sfence();
}

}  // namespace relief::detail
