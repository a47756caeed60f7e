// Bounding box, searches, patch extremes, area fills and the row fill of the
// float raster, each against a naive reference on seeded holey rasters.

#include <set>

#include "raster_compare.h"

using namespace relief::test;

namespace {

// Few distinct values (0, 1, 2, sometimes NaN or -0) so that regions and
// holes have shapes; padding lanes hold 7 so that reading them shows.
CSSEMatrix Blotchy(int sx, int sy, std::mt19937& rng, bool withNaN) {
  CSSEMatrix m = Filled(sx, sy, 7.0f);
  for (int i = 0; i < sx * sy; ++i) {
    const unsigned r = rng() % 16;
    m.SetPoint(i % sx, i / sx, r < 6 ? 0.0f : r < 11 ? 1.0f : r < 15 ? 2.0f : withNaN ? kNaN : -0.0f);
  }
  return m;
}

const int kSizes[][2] = {{1, 1}, {1, 7}, {7, 1}, {3, 5}, {17, 2}, {5, 31}, {31, 17}, {33, 129}};

// One row-major scan gives the box, the first pixel, the nearest pixel to a
// few points (some outside, clamped; ties keep the smaller y, then x), the
// last pixel of row 0 and the first of column 0.
TEST(RasterQueries, BoundingBoxAndSearchesMatchAScan) {
  for (unsigned seed = 1; seed <= 4; ++seed)
    for (const auto& s : kSizes) {
      std::mt19937 rng(seed * 97 + s[0] * 3 + s[1]);
      CSSEMatrix m = Blotchy(s[0], s[1], rng, true);
      if (seed == 4)  // no data at all (padding lanes keep their 7)
        for (int i = 0; i < s[0] * s[1]; ++i) m.SetPoint(i % s[0], i / s[0], 0.0f);
      const std::pair<int, int> from[] = {{0, 0}, {s[0] / 2, s[1] / 2}, {-4, s[1] + 9}};
      std::vector<int> box = {s[0], s[1], -1, -1}, first = {-1, -1}, nearest(6, -1);
      long long best[3] = {-1, -1, -1};
      int right = -1, up = -1;
      for (int y = 0; y < s[1]; ++y)
        for (int x = 0; x < s[0]; ++x) {
          if (!HoldsData(m.GetPoint(x, y))) continue;
          box = {std::min(box[0], x), std::min(box[1], y), std::max(box[2], x), std::max(box[3], y)};
          if (first[0] < 0) first = {x, y};
          if (y == 0) right = x;
          if (x == 0 && up < 0) up = y;
          for (int k = 0; k < 3; ++k) {
            const int cx = std::clamp(from[k].first, 0, s[0] - 1), cy = std::clamp(from[k].second, 0, s[1] - 1);
            const long long d = 1LL * (x - cx) * (x - cx) + 1LL * (y - cy) * (y - cy);
            if (best[k] < 0 || d < best[k]) best[k] = d, nearest[2 * k] = x, nearest[2 * k + 1] = y;
          }
        }
      SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << s[0] << " x " << s[1]);
      std::vector<int> b(4, -5), f(2, -5), n(6, -5);
      const bool any = first[0] >= 0;
      EXPECT_EQ(m.GetValidBoundingBox(b[0], b[1], b[2], b[3]), any);
      EXPECT_EQ(m.FindFirstValidPixel(f[0], f[1]), any);
      for (int k = 0; k < 3; ++k)
        EXPECT_EQ(m.FindNearestValidPixel(from[k].first, from[k].second, n[2 * k], n[2 * k + 1]), any);
      if (any)
        EXPECT_EQ(std::vector<std::vector<int>>({b, f, n}), std::vector<std::vector<int>>({box, first, nearest}));
      EXPECT_EQ(std::pair(m.FindValidPixelInRow(0, s[0] + 5, -1), m.FindValidPixelInColumn(0, -3, 1)),
                std::pair(right, up));
    }
}

TEST(RasterQueries, PatchExtremesKeepTheFirstExtremeAndSkipNoData) {
  CSSEMatrix m = Filled(6, 5, 0.0f);
  m.SetPoint(1, 1, 4.0f), m.SetPoint(4, 1, 9.0f), m.SetPoint(2, 3, 4.0f);  // same minimum later: the first stays
  m.SetPoint(3, 3, 9.0f), m.SetPoint(0, 4, kNaN);
  // Corners swapped and clamped; zeros counted; only the NaN.
  const t_patchextremes e = m.CalcPatchExtremes(5, 4, -3, 0), zeros = m.CalcPatchExtremes(0, 0, 2, 2, false),
                        none = m.CalcPatchExtremes(0, 4, 0, 4);
  EXPECT_EQ(std::vector<float>({e.fMin, e.fMax, zeros.fMin, zeros.fMax, none.fMin, none.fMax}),
            std::vector<float>({4, 9, 0, 4, 1e6f, -1e6f}));
  EXPECT_EQ(std::vector<int>(
                {e.nMinX, e.nMinY, e.nMaxX, e.nMaxY, e.nCount, zeros.nCount, none.nCount, none.nMinX, none.nMaxY}),
            std::vector<int>({1, 1, 4, 1, 4, 9, 0, -1, -1}));
}

// The fill's definition: every pixel reachable from the seed through 4- (or
// 8-) neighbours that pass `inside`.
template <class Inside>
int NaiveFill(CSSEMatrix& m, int x0, int y0, bool eight, float value, Inside inside) {
  const int dx[] = {1, -1, 0, 0, 1, 1, -1, -1}, dy[] = {0, 0, 1, -1, 1, -1, 1, -1};
  std::set<std::pair<int, int>> seen{{x0, y0}}, region;
  std::vector<std::pair<int, int>> todo{{x0, y0}};
  while (!todo.empty()) {
    const auto [x, y] = todo.back();
    todo.pop_back();
    if (!inside(x, y, m.GetPoint(x, y))) continue;
    region.insert({x, y});
    for (int d = 0; d < (eight ? 8 : 4); ++d) {
      const int nx = x + dx[d], ny = y + dy[d];
      if (nx >= 0 && ny >= 0 && nx < m.GetSizeX() && ny < m.GetSizeY() && seen.insert({nx, ny}).second)
        todo.push_back({nx, ny});
    }
  }
  for (const auto& [x, y] : region) m.SetPoint(x, y, value);
  return static_cast<int>(region.size());
}

// Plain fills with a new value and with the region's own (which must still
// end), and the cylinder fill on a ramp that the height band cuts.
TEST(AreaFills, MatchTheReachableRegion) {
  for (unsigned seed = 1; seed <= 3; ++seed)
    for (const auto& s : kSizes)
      for (bool eight : {false, true}) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << s[0] << " x " << s[1] << (eight ? ", 8" : ", 4"));
        std::mt19937 rng(seed * 31 + s[0] * 5 + s[1]);
        const CSSEMatrix m = Blotchy(s[0], s[1], rng, false);
        const int x = static_cast<int>(rng() % s[0]), y = static_cast<int>(rng() % s[1]);
        const float seedValue = m.GetPoint(x, y);
        for (float value : {5.0f, seedValue}) {
          CSSEMatrix got(m), want(m);
          EXPECT_EQ(got.FillArea(x, y, value, eight),
                    NaiveFill(want, x, y, eight, value, [=](int, int, float v) { return v == seedValue; }));
          EXPECT_TRUE(SameStorage(got, want));
        }
        CSSEMatrix ramp(m);
        for (int i = 0; i < s[0] * s[1]; ++i)
          ramp.SetPoint(i % s[0], i / s[0], 0.5f * (i % s[0]) + 0.25f * (rng() % 3));
        CSSEMatrix want(ramp);
        const float radius = 1.0f + static_cast<float>(rng() % 9), centre = ramp.GetPoint(x, y);
        EXPECT_EQ(ramp.FillAreaZylindrical(x, y, radius, 1.0f, -1.0f),
                  NaiveFill(want, x, y, false, -1.0f, [&](int px, int py, float v) {
                    return 1.0 * (px - x) * (px - x) + 1.0 * (py - y) * (py - y) <= 1.0 * radius * radius &&
                           std::fabs(v - centre) <= 1.0f;
                  }));
        EXPECT_TRUE(SameStorage(ramp, want)) << "cylinder";
      }
}

TEST(AreaFills, BadSeedsAndArgumentsFillNothing) {
  CSSEMatrix m = Filled(5, 5, 1.0f), none;
  m.SetPoint(2, 2, kNaN);
  const CSSEMatrix before(m);
  // Seeds outside, a NaN seed, a negative radius, a NaN height, no storage.
  EXPECT_EQ(
      std::vector<int>({m.FillArea(-1, 2, 3.0f), m.FillArea(2, 5, 3.0f), m.FillArea(2, 2, 3.0f),
                        m.FillAreaZylindrical(0, 0, -1.0f, 1.0f, 3.0f), m.FillAreaZylindrical(0, 0, 2.0f, kNaN, 3.0f),
                        m.FillAreaZylindrical(7, 0, 2.0f, 1.0f, 3.0f), none.FillArea(0, 0, 1.0f)}),
      std::vector<int>(7, 0));
  EXPECT_TRUE(SameStorage(m, before));
  // The NaN pixel is not part of the region; radius 0: the seed alone.
  EXPECT_EQ(std::vector<int>({m.FillArea(0, 0, 1.0f, true), m.FillAreaZylindrical(0, 0, 0.0f, 0.0f, 3.0f)}),
            std::vector<int>({24, 1}));
}

TEST(RowFill, EveryRowBecomesTheProcessedRowPaddingIncluded) {
  std::mt19937 rng(5);
  for (int row : {-3, 0, 5, 6, 40}) {
    CSSEMatrix m = RandomRaster(9, 7, rng, Uniform(-5.0f, 5.0f)), before(m);
    m.SetRowProcessed(row);
    m.FillMatrixWithProcessedRow();
    ForEachLane(before, [&](float& v, int x, int) { v = before.GetPoint(x, std::clamp(row, 0, 6)); });
    EXPECT_TRUE(SameStorage(m, before)) << "row " << row;
  }
}

}  // namespace
