// CFilters::Median. Radii 1 and 2 run compare-exchange networks on whole
// registers (four rows at a time) for every pixel whose window lies inside
// the raster, windows with no-data holes by a second network over the whole
// window; border pixels are then selected one by one. Larger radii slide a
// sorted window along each row.

#include <algorithm>
#include <cmath>
#include <vector>

#include "raster/median_networks.h"
#include "raster/no_data.h"
#include "raster/register_walk.h"
#include "raster/separable_filter.h"
#include "relief/CFilters.h"
#include "relief/CSSEMatrix.h"

using namespace relief::detail;

namespace {

// Whether a value takes part in a window: data only, or (plain) anything
// but NaN, which would break the ordering the selection relies on.
inline bool TakesPart(float v, bool aware) { return aware ? HoldsData(v) : v == v; }

// The lower median of the clipped window of (x, y); the pixel's own value
// when it takes no part (aware) or nothing in the window does.
float MedianOfWindow(const CSSEMatrix& m, int x, int y, int r, bool aware, std::vector<float>& scratch) {
  const float centre = m.GetPoint(x, y);
  if (aware && !HoldsData(centre)) return centre;
  scratch.clear();
  const int x0 = std::max(x - r, 0), x1 = std::min(x + r, m.GetSizeX() - 1);
  const int y0 = std::max(y - r, 0), y1 = std::min(y + r, m.GetSizeY() - 1);
  for (int yy = y0; yy <= y1; ++yy)
    for (int xx = x0; xx <= x1; ++xx) {
      const float v = m.GetPoint(xx, yy);
      if (TakesPart(v, aware)) scratch.push_back(v);
    }
  if (scratch.empty()) return centre;
  const auto mid = scratch.begin() + (scratch.size() - 1) / 2;
  std::nth_element(scratch.begin(), mid, scratch.end());
  return *mid;
}

// Rows 4k + j + d of a column, d = -2 .. 2, from the registers of SSE rows
// k - 1 (above), k and k + 1 (below): one or two shuffles.
// Always inlined: d is a constant at every call, the switch must fold away.
__attribute__((always_inline)) inline __m128 ShiftRows(__m128 above, __m128 at, __m128 below, int d) {
  switch (d) {
    case -2: return _mm_shuffle_ps(above, at, _MM_SHUFFLE(1, 0, 3, 2));  // above 2, 3, at 0, 1
    case -1: {
      const __m128 t = _mm_shuffle_ps(above, at, _MM_SHUFFLE(0, 0, 3, 3));  // above 3, 3, at 0, 0
      return _mm_shuffle_ps(t, at, _MM_SHUFFLE(2, 1, 2, 0));               // above 3, at 0, 1, 2
    }
    case 1: {
      const __m128 t = _mm_shuffle_ps(at, below, _MM_SHUFFLE(0, 0, 3, 3));  // at 3, 3, below 0, 0
      return _mm_shuffle_ps(at, t, _MM_SHUFFLE(2, 0, 2, 1));                // at 1, 2, 3, below 0
    }
    case 2: return _mm_shuffle_ps(at, below, _MM_SHUFFLE(1, 0, 3, 2));  // at 2, 3, below 0, 1
    default: return at;
  }
}

// The target is written whole and not read here: stream it past the cache.
inline void Store(__m128* at, __m128 v) { _mm_stream_ps(reinterpret_cast<float*>(at), v); }

inline __m128 NoData(__m128 v) { return _mm_or_ps(_mm_cmpunord_ps(v, v), _mm_cmpeq_ps(v, _mm_setzero_ps())); }

// One lane-wise sorted column of five rows and whether any of them holds no
// data.
struct Column5 {
  __m128 v[5];
  __m128 noData;
};

inline void LoadColumn5(const __m128* above, const __m128* at, const __m128* below, int x, bool aware, Column5& c) {
  for (int d = -2; d <= 2; ++d) c.v[d + 2] = ShiftRows(above[x], at[x], below[x], d);
  c.noData = _mm_setzero_ps();
  if (aware)
    for (int i = 0; i < 5; ++i) c.noData = _mm_or_ps(c.noData, NoData(c.v[i]));
  Sort5(c.v[0], c.v[1], c.v[2], c.v[3], c.v[4]);
}

// The median of the data in each lane's window, by a network over the
// whole window: no-data values are replaced by -infinity and +infinity in
// turn (the first one by -infinity). Of h holes, ceil(h / 2) then sort below
// and floor(h / 2) above the data, which moves the window's middle rank onto
// the lower median of the data. Lanes without holes get their plain median.
template <int R>
__m128 MedianOverData(const __m128* above, const __m128* at, const __m128* below, int x) {
  constexpr int n = (2 * R + 1) * (2 * R + 1), held = n / 2 + 2;
  const __m128 low = _mm_set1_ps(-INFINITY), high = _mm_set1_ps(INFINITY);
  __m128 v[n], turn = _mm_setzero_ps();
  int i = 0;
  for (int c = x - R; c <= x + R; ++c)
    for (int d = -R; d <= R; ++d) {
      const __m128 value = ShiftRows(above[c], at[c], below[c], d), hole = NoData(value);
      v[i++] = Select(hole, Select(turn, high, low), value);
      turn = _mm_xor_ps(turn, hole);
    }
  return ForgetfulMedian<held, n - held>::Run(v, v + held);
}

// Hole flags of the windows along one SSE row, for the no-data-aware 3 x 3
// pass: holes[x] has a bit for each lane of column x's registers without
// data among the six rows a window there reads (the last lane of the
// register above, the first of the one below). Stored with a zero margin of
// 16 on both sides, so that 16 windows are tested per step.
class WindowHoles {
 public:
  explicit WindowHoles(int width) : m_Width(width), m_Flags(width + 48, 0) {}
  void Combine(const unsigned char* above, const unsigned char* at, const unsigned char* below) {
    const __m128i last = _mm_set1_epi8(8), first = _mm_set1_epi8(1);
    for (int x = 0; x < m_Width; x += 16) {
      auto load = [x](const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + x)); };
      const __m128i f =
          _mm_or_si128(_mm_or_si128(_mm_and_si128(load(above), last), load(at)), _mm_and_si128(load(below), first));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(Column() + x), f);
    }
  }
  // The first window at or after x, before end, with (or without) a hole in
  // its three columns; end if none.
  int Next(int x, int end, bool withHole) const {
    const unsigned char* f = Column();
    for (; x < end; x += 16) {
      auto load = [&](int at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(f + at)); };
      const __m128i w = _mm_or_si128(_mm_or_si128(load(x - 1), load(x)), load(x + 1));
      const int clear = _mm_movemask_epi8(_mm_cmpeq_epi8(w, _mm_setzero_si128()));
      const int found = withHole ? ~clear & 0xFFFF : clear;
      if (found) return std::min(x + __builtin_ctz(found), end);
    }
    return end;
  }

 private:
  unsigned char* Column() { return m_Flags.data() + 16; }
  const unsigned char* Column() const { return m_Flags.data() + 16; }
  int m_Width;
  std::vector<unsigned char> m_Flags;  // Combine may write up to 15 past the width
};

// One SSE row of the 3 x 3 pass: the registers its windows read, where the
// medians go, and the row read ahead of them (see Median3x3Pass): with
// kAhead, the hole bits of its registers are written to aheadBits.
struct Row3x3 {
  const __m128 *above, *at, *below, *first;
  __m128* out;
  unsigned char* aheadBits;
};

template <bool kAhead>
__attribute__((always_inline)) inline void ReadAhead(const __m128* first, unsigned char* aheadBits, int x) {
  _mm_prefetch(reinterpret_cast<const char*>(first + x + 64), _MM_HINT_T0);
  if (kAhead) aheadBits[x] = static_cast<unsigned char>(_mm_movemask_ps(NoData(first[x])));
}

// Outputs x0 .. x1-1 by the networks. Sorted columns roll through registers
// and serve three windows each; two outputs at a time share the middle
// columns' larger minimum, smaller maximum and the order of their medians
// (median(a, b, v) with a <= b is max(a, min(b, v))).
template <bool kAhead>
void PlainRun3x3(const Row3x3& row, int x0, int x1) {
  const __m128 *above = row.above, *at = row.at, *below = row.below, *first = row.first;
  __m128* out = row.out;
  unsigned char* aheadBits = row.aheadBits;
  auto sorted = [=](int x, __m128& lo, __m128& mid, __m128& hi) {
    lo = ShiftRows(above[x], at[x], below[x], -1);
    mid = at[x];
    hi = ShiftRows(above[x], at[x], below[x], 1);
    CompareExchange(lo, mid);
    CompareExchange(mid, hi);
    CompareExchange(lo, mid);
  };
  __m128 l0, m0, h0, l1, m1, h1, l2, m2, h2, l3, m3, h3;
  sorted(x0 - 1, l0, m0, h0);
  sorted(x0, l1, m1, h1);
  int x = x0;
  for (; x + 1 < x1; x += 2) {
    ReadAhead<kAhead>(first, aheadBits, x);
    ReadAhead<kAhead>(first, aheadBits, x + 1);
    sorted(x + 1, l2, m2, h2);
    sorted(x + 2, l3, m3, h3);
    const __m128 lo = _mm_max_ps(l1, l2), hi = _mm_min_ps(h1, h2);
    const __m128 a = _mm_min_ps(m1, m2), b = _mm_max_ps(m1, m2);
    Store(out + x, Median3(_mm_max_ps(l0, lo), _mm_max_ps(a, _mm_min_ps(b, m0)), _mm_min_ps(h0, hi)));
    Store(out + x + 1, Median3(_mm_max_ps(lo, l3), _mm_max_ps(a, _mm_min_ps(b, m3)), _mm_min_ps(hi, h3)));
    l0 = l2, m0 = m2, h0 = h2;
    l1 = l3, m1 = m3, h1 = h3;
  }
  if (x < x1) {
    ReadAhead<kAhead>(first, aheadBits, x);
    sorted(x + 1, l2, m2, h2);
    const __m128 lo = _mm_max_ps(_mm_max_ps(l0, l1), l2), hi = _mm_min_ps(_mm_min_ps(h0, h1), h2);
    Store(out + x, Median3(lo, Median3(m0, m1, m2), hi));
  }
}

// Outputs x0 .. x1-1 whose windows have holes: lanes with data take the
// median of the data, the others keep their value.
template <bool kAhead>
void HoleRun3x3(const Row3x3& row, int x0, int x1) {
  for (int x = x0; x < x1; ++x) {
    ReadAhead<kAhead>(row.first, row.aheadBits, x);
    const __m128 centre = row.at[x], holds = HoldsData(centre);
    const bool anyData = _mm_movemask_ps(holds) != 0;
    Store(row.out + x, anyData ? Select(holds, MedianOverData<1>(row.above, row.at, row.below, x), centre) : centre);
  }
}

// An aware SSE row: runs of windows without holes take the plain networks.
template <bool kAhead>
void AwareRow3x3(const Row3x3& row, const WindowHoles& holes, int W) {
  for (int x = 1; x < W - 1;) {
    const int hole = holes.Next(x, W - 1, true);
    if (hole > x) PlainRun3x3<kAhead>(row, x, hole);
    x = holes.Next(hole, W - 1, false);
    if (x > hole) HoleRun3x3<kAhead>(row, hole, x);
  }
}

// The 3 x 3 network pass over columns 1 .. sizeX-2 of every SSE row; rows
// whose window is clipped are redone by BorderPass.
//
// No-data aware, each SSE row is cut into runs of windows without holes,
// which take the plain networks, and runs with holes. The hole bits (lanes
// without data) of each register are found two SSE rows ahead of their
// first use, inside the row's loop, so that a row's first trip from memory
// overlaps the networks instead of stalling a separate pass.
void Median3x3Pass(const CSSEMatrix& source, CSSEMatrix& target, bool aware) {
  const int W = source.GetSizeX(), H = source.GetSizeY(), kReal = (H + 3) >> 2, sseY = source.GetSSESizeY();
  if (W < 3) return;
  const __m128* const* src = source.GetMatrixDataDirectly();
  __m128* const* dst = target.GetMatrixDataDirectly();
  // Hole bits of SSE row q in slot q mod 4 (rows k - 1 .. k + 2 at once),
  // with room for whole 16-byte steps.
  std::vector<unsigned char> bits[4];
  WindowHoles holes(W);
  if (aware) {
    for (auto& b : bits) b.resize(W + 16, 0);
    for (int q = 0; q < 2 && q < sseY; ++q)
      for (int x = 0; x < W; ++x) ReadAhead<true>(src[q], bits[q].data(), x);
  }
  for (int k = 0; k < kReal; ++k) {
    const int qAbove = k > 0 ? k - 1 : k, qBelow = k + 1 < sseY ? k + 1 : k, qAhead = k + 2;
    const bool ahead = aware && qAhead < sseY;
    // The first read from memory: the row whose bits are found, or (plain)
    // the row below, a kilobyte ahead: the hardware prefetcher alone falls
    // behind.
    const Row3x3 row{
        src[qAbove], src[k], src[qBelow], ahead ? src[qAhead] : src[qBelow], dst[k], bits[qAhead & 3].data()};
    if (!aware) {
      PlainRun3x3<false>(row, 1, W - 1);
      continue;
    }
    holes.Combine(bits[qAbove & 3].data(), bits[k & 3].data(), bits[qBelow & 3].data());
    if (ahead) {
      ReadAhead<true>(row.first, row.aheadBits, 0);
      ReadAhead<true>(row.first, row.aheadBits, W - 1);
      AwareRow3x3<true>(row, holes, W);
    } else {
      AwareRow3x3<false>(row, holes, W);
    }
  }
  _mm_sfence();
}

// The 5 x 5 network pass over columns 2 .. sizeX-3 of every SSE row. Each
// SSE row's columns are sorted once into `columns`; neighbouring windows are
// taken in pairs that share four of them.
void Median5x5Pass(const CSSEMatrix& source, CSSEMatrix& target, bool aware) {
  const int W = source.GetSizeX(), H = source.GetSizeY(), kReal = (H + 3) >> 2;
  if (W < 5) return;
  const __m128* const* src = source.GetMatrixDataDirectly();
  __m128* const* dst = target.GetMatrixDataDirectly();
  std::vector<Column5> columns(W);
  for (int k = 0; k < kReal; ++k) {
    const __m128* above = src[k > 0 ? k - 1 : k];
    const __m128* at = src[k];
    const __m128* below = src[k + 1 < source.GetSSESizeY() ? k + 1 : k];
    // The window at x holds columns window[0 .. 5).
    auto store = [&](int x, __m128 median, const Column5* window) {
      if (!aware) return Store(dst[k] + x, median);
      const __m128 centre = at[x], holds = HoldsData(centre);
      __m128 noData = window[0].noData;
      for (int i = 1; i < 5; ++i) noData = _mm_or_ps(noData, window[i].noData);
      // Lanes with data whose window has a hole take the median of the data.
      const bool holes = _mm_movemask_ps(_mm_and_ps(noData, holds)) != 0;
      Store(dst[k] + x, Select(holds, holes ? MedianOverData<2>(above, at, below, x) : median, centre));
    };
    for (int x = 0; x < W; ++x) {
      _mm_prefetch(reinterpret_cast<const char*>(below + x + 64), _MM_HINT_T0);
      LoadColumn5(above, at, below, x, aware, columns[x]);
    }
    auto rankOf = [](const Column5* window) { return [window](int i, int rank) { return window[i].v[rank]; }; };
    int x = 2;
    for (; x + 1 < W - 2; x += 2) {
      const Column5* window = &columns[x - 2];
      __m128 left, right;
      Median25OfSortedColumnsPair(rankOf(window), left, right);
      store(x, left, window);
      store(x + 1, right, window + 1);
    }
    if (x < W - 2) store(x, Median25OfSortedColumns(rankOf(&columns[x - 2])), &columns[x - 2]);
  }
  _mm_sfence();
}

// Pixels within r of the border, one by one.
void BorderPass(const CSSEMatrix& source, CSSEMatrix& target, int r, bool aware, std::vector<float>& scratch) {
  const int W = source.GetSizeX(), H = source.GetSizeY();
  for (int y = 0; y < H; ++y) {
    const bool edgeRow = y < r || y >= H - r;
    for (int x = 0; x < W; ++x) {
      if (!edgeRow && x == r && W - r > r) x = W - r;  // skip the interior
      target.SetPoint(x, y, MedianOfWindow(source, x, y, r, aware, scratch));
    }
  }
}

// Radii above 2: a sorted window per row, one column out and one in per step.
void SortedWindowPass(const CSSEMatrix& source, CSSEMatrix& target, int r, bool aware) {
  const int W = source.GetSizeX(), H = source.GetSizeY();
  std::vector<float> window;
  auto addColumn = [&](int x, int y, bool insert) {
    if (x < 0 || x >= W) return;
    for (int yy = std::max(y - r, 0); yy <= std::min(y + r, H - 1); ++yy) {
      const float v = source.GetPoint(x, yy);
      if (!TakesPart(v, aware)) continue;
      if (insert)
        window.insert(std::upper_bound(window.begin(), window.end(), v), v);
      else
        window.erase(std::lower_bound(window.begin(), window.end(), v));
    }
  };
  for (int y = 0; y < H; ++y) {
    window.clear();
    for (int x = 0; x < r; ++x) addColumn(x, y, true);
    for (int x = 0; x < W; ++x) {
      addColumn(x + r, y, true);
      const float centre = source.GetPoint(x, y);
      const bool keep = (aware && !HoldsData(centre)) || window.empty();
      target.SetPoint(x, y, keep ? centre : window[(window.size() - 1) / 2]);
      addColumn(x - r, y, false);
    }
  }
}

void ZeroPaddingLanes(CSSEMatrix& m) {
  __m128** lines = m.GetMatrixDataDirectly();
  const int k = m.GetSSESizeY() - 1;
  for (int kk = m.GetSizeY() >> 2; kk <= k; ++kk) {
    const __m128 lanes = PixelLaneMask(kk, m.GetSizeY());
    for (int x = 0; x < m.GetSSESizeX(); ++x) lines[kk][x] = _mm_and_ps(lines[kk][x], lanes);
  }
}

}  // namespace

void CFilters::Median(const CSSEMatrix& source, CSSEMatrix& target, int radius, bool zeroIsNoData) {
  if (!source.GetMatrixDataDirectly()) return;
  if (radius < 1) {
    if (&source != &target) target.CopyFromSSEMatrix(const_cast<CSSEMatrix&>(source));
    return;
  }
  if (&source == &target) {  // every pass reads neighbours it would have overwritten
    const CSSEMatrix copy(source);
    Median(copy, target, radius, zeroIsNoData);
    return;
  }
  MatchSize(source, target);
  std::vector<float> scratch;
  if (radius > 2) {
    SortedWindowPass(source, target, radius, zeroIsNoData);
  } else {
    if (radius == 1)
      Median3x3Pass(source, target, zeroIsNoData);
    else
      Median5x5Pass(source, target, zeroIsNoData);
    BorderPass(source, target, radius, zeroIsNoData, scratch);
  }
  ZeroPaddingLanes(target);
}

void CFilters::Median(CSSEMatrix& matrix, int radius, bool zeroIsNoData) { Median(matrix, matrix, radius, zeroIsNoData); }
