// CPixelChain: every region's outer boundary. The raster becomes a framed
// bit image; one pass over its rows labels the regions by runs (union-find
// over the runs of consecutive rows, the smaller label winning, so each
// region's label is that of its first run in scan order), and each region is
// then walked once from its first pixel. Each band of rows is labelled as
// soon as it is converted, and uniform stretches pass 64 pixels at a time;
// the work is one pass over the raster plus the length of the borders.

#include <cstdint>
#include <utility>
#include <vector>

#include "moore_walk.h"
#include "region_bits.h"
#include "relief/CPixelChain.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

using relief::detail::RegionBits;

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
  // Appends the runs of one row, given as bit sets of 64 columns, to runs.
  static void FindRuns(const std::uint64_t* bits, int words, int width, std::vector<Run>& runs) {
    bool inside = false;
    int begin = 0;
    for (int k = 0; k < words; ++k) {
      const std::uint64_t set = bits[k];
      if (set == (inside ? ~std::uint64_t{0} : 0)) continue;
      // Bits where the pixel differs from its left neighbour.
      std::uint64_t change = set ^ ((set << 1) | (inside ? 1u : 0u));
      while (change) {
        const int x = 64 * k + __builtin_ctzll(change);
        change &= change - 1;
        if (!inside) {
          begin = x;
        } else {
          runs.push_back({begin, x - 1, -1});
        }
        inside = !inside;
      }
      inside = (set >> 63) != 0;
    }
    if (inside) runs.push_back({begin, width - 1, -1});
  }

  // Labels rows [y0, y1) of the mask, continuing from the rows above.
  void LabelRows(const RegionBits& mask, int y0, int y1) {
    const int words = (mask.width + 63) / 64;
    for (int y = y0; y < y1; ++y) {
      m_Current.clear();
      FindRuns(mask.Row(y), words, mask.width, m_Current);
      std::size_t j = 0;
      for (Run& run : m_Current) {
        // 8-connected: a run above touches when it reaches one column past either end.
        while (j < m_Above.size() && m_Above[j].end < run.begin - 1) ++j;
        for (std::size_t k = j; k < m_Above.size() && m_Above[k].begin <= run.end + 1; ++k) {
          run.label = run.label < 0 ? Find(m_Above[k].label) : Unite(run.label, m_Above[k].label);
        }
        if (run.label < 0) {
          run.label = static_cast<int>(m_Parent.size());
          m_Parent.push_back(run.label);
          m_Start.push_back({run.begin, y});
        }
      }
      m_Above.swap(m_Current);
    }
  }

  // The first pixel of each region, in scan order.
  std::vector<RegionStart> Starts() const {
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

  std::vector<Run> m_Above, m_Current;
  std::vector<int> m_Parent;
  std::vector<RegionStart> m_Start;
};

// The bit image is built band by band and each band labelled while it is hot;
// then every region is walked once from its first pixel.
template <class MakeMask, class Value>
std::vector<CPixelChain> TraceAll(MakeMask&& makeMask, Value&& value) {
  RunLabeler labeler;
  const RegionBits mask = makeMask([&](const RegionBits& m, int y0, int y1) { labeler.LabelRows(m, y0, y1); });
  std::vector<CPixelChain> chains;
  if (mask.width <= 0 || mask.height <= 0) return chains;
  const std::vector<RegionStart> starts = labeler.Starts();
  chains.resize(starts.size());
  const std::int64_t limit = 4 * static_cast<std::int64_t>(mask.width) * mask.height + 4;
  for (std::size_t i = 0; i < starts.size(); ++i) {
    CPixelChain& chain = chains[i];
    relief::detail::WalkOuterBorder(mask, starts[i].x, starts[i].y, limit, [&](int x, int y, std::int64_t) {
      chain.AppendPixel(x, y, value(x, y));
    });
  }
  return chains;
}

}  // namespace

std::vector<CPixelChain> CPixelChain::TraceAllOuterBoundaries(const CSSEMatrix& m, float threshold) {
  return TraceAll([&](const auto& sink) { return relief::detail::MakeRegionBits(m, threshold, sink); },
                  [&](int x, int y) { return m.GetPoint(x, y); });
}

std::vector<CPixelChain> CPixelChain::TraceAllOuterBoundaries(const CSSEcharMatrix& m) {
  return TraceAll([&](const auto& sink) { return relief::detail::MakeRegionBits(m, sink); },
                  [&](int x, int y) { return static_cast<float>(static_cast<signed char>(m.GetPoint(x, y))); });
}
