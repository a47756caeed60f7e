// CPixelChain: every region's outer boundary. The raster becomes a framed
// byte mask; one pass over its rows labels the regions by runs (union-find
// over the runs of consecutive rows, the smaller label winning, so each
// region's label is that of its first run in scan order), and each region is
// then walked once from its first pixel. The work is one pass over the
// pixels (skipping uniform stretches sixteen bytes at a time) plus the
// length of the borders.

#include <emmintrin.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "moore_walk.h"
#include "region_mask.h"
#include "relief/CPixelChain.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

using relief::detail::RegionMask;

namespace {

struct Run {
  int begin;  // first column
  int end;    // last column
  int label;
};

struct RegionStart {
  int x, y;
};

class RunLabeler {
 public:
  // Appends the runs of one mask row to runs.
  static void FindRuns(const std::uint8_t* row, int width, std::vector<Run>& runs) {
    const __m128i zero = _mm_setzero_si128();
    bool inside = false;
    int begin = 0;
    int x = 0;
    for (; x + 16 <= width; x += 16) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + x));
      unsigned set = ~static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, zero))) & 0xFFFFu;
      if (set == (inside ? 0xFFFFu : 0u)) continue;
      // Bits where the pixel differs from its left neighbour.
      unsigned change = set ^ ((set << 1) | (inside ? 1u : 0u));
      change &= 0xFFFFu;
      while (change) {
        const int bit = __builtin_ctz(change);
        change &= change - 1;
        if (!inside) {
          begin = x + bit;
        } else {
          runs.push_back({begin, x + bit - 1, -1});
        }
        inside = !inside;
      }
    }
    for (; x < width; ++x) {
      if (row[x] && !inside) begin = x;
      if (!row[x] && inside) runs.push_back({begin, x - 1, -1});
      inside = row[x] != 0;
    }
    if (inside) runs.push_back({begin, width - 1, -1});
  }

  // Labels the whole mask; returns the first pixel of each region in scan order.
  std::vector<RegionStart> Label(const RegionMask& mask) {
    std::vector<Run> above, current;
    for (int y = 0; y < mask.height; ++y) {
      current.clear();
      FindRuns(mask.Row(y), mask.width, current);
      std::size_t j = 0;
      for (Run& run : current) {
        // 8-connected: a run above touches when it reaches one column past either end.
        while (j < above.size() && above[j].end < run.begin - 1) ++j;
        for (std::size_t k = j; k < above.size() && above[k].begin <= run.end + 1; ++k) {
          run.label = run.label < 0 ? Find(above[k].label) : Unite(run.label, above[k].label);
        }
        if (run.label < 0) {
          run.label = static_cast<int>(m_Parent.size());
          m_Parent.push_back(run.label);
          m_Start.push_back({run.begin, y});
        }
      }
      above.swap(current);
    }
    std::vector<RegionStart> starts;
    for (int label = 0; label < static_cast<int>(m_Parent.size()); ++label)
      if (m_Parent[label] == label) starts.push_back(m_Start[label]);
    return starts;
  }

 private:
  int Find(int a) {
    while (m_Parent[a] != a) {
      m_Parent[a] = m_Parent[m_Parent[a]];
      a = m_Parent[a];
    }
    return a;
  }
  int Unite(int a, int b) {
    a = Find(a);
    b = Find(b);
    if (a == b) return a;
    if (b < a) std::swap(a, b);
    m_Parent[b] = a;
    return a;
  }

  std::vector<int> m_Parent;
  std::vector<RegionStart> m_Start;
};

template <class Value>
std::vector<CPixelChain> TraceAll(const RegionMask& mask, Value&& value) {
  std::vector<CPixelChain> chains;
  if (mask.width <= 0 || mask.height <= 0) return chains;
  const std::vector<RegionStart> starts = RunLabeler().Label(mask);
  chains.resize(starts.size());
  const std::int64_t limit = 4 * static_cast<std::int64_t>(mask.width) * mask.height + 4;
  for (std::size_t i = 0; i < starts.size(); ++i) {
    CPixelChain& chain = chains[i];
    relief::detail::WalkOuterBorder(mask, starts[i].x, starts[i].y, limit,
                                    [&](int x, int y) { chain.AppendPixel(x, y, value(x, y)); });
  }
  return chains;
}

}  // namespace

std::vector<CPixelChain> CPixelChain::TraceAllOuterBoundaries(const CSSEMatrix& m, float threshold) {
  return TraceAll(relief::detail::MakeRegionMask(m, threshold), [&](int x, int y) { return m.GetPoint(x, y); });
}

std::vector<CPixelChain> CPixelChain::TraceAllOuterBoundaries(const CSSEcharMatrix& m) {
  return TraceAll(relief::detail::MakeRegionMask(m), [&](int x, int y) {
    return static_cast<float>(static_cast<signed char>(m.GetPoint(x, y)));
  });
}
