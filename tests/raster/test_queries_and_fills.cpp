// Bounding box, searches, patch extremes, area fills and the row fill of the
// float raster, each against a naive reference on seeded holey rasters.

#include <deque>

#include "raster_compare.h"

using namespace relief::test;

namespace {

// Few distinct values (0, 1, 2, sometimes NaN or -0) so that regions and
// holes have shapes; padding lanes hold 7 so that reading them shows.
CSSEMatrix Blotchy(int sx, int sy, std::mt19937& rng, bool withNaN) {
  CSSEMatrix m = Filled(sx, sy, 7.0f);
  for (int y = 0; y < sy; ++y)
    for (int x = 0; x < sx; ++x) {
      const unsigned r = rng() % 16;
      m.SetPoint(x, y, r < 6 ? 0.0f : r < 11 ? 1.0f : r < 15 ? 2.0f : withNaN ? kNaN : -0.0f);
    }
  return m;
}

const int kSizes[][2] = {{1, 1}, {1, 7}, {7, 1}, {3, 5}, {17, 2}, {5, 31}, {31, 17}, {33, 129}};

TEST(RasterQueries, BoundingBoxAndSearchesMatchAScan) {
  for (unsigned seed = 1; seed <= 4; ++seed)
    for (const auto& s : kSizes) {
      std::mt19937 rng(seed * 97 + s[0] * 3 + s[1]);
      CSSEMatrix m = Blotchy(s[0], s[1], rng, true);
      if (seed == 4)  // no data at all (padding lanes keep their 7)
        for (int y = 0; y < s[1]; ++y)
          for (int x = 0; x < s[0]; ++x) m.SetPoint(x, y, 0.0f);
      int bx0 = s[0], by0 = s[1], bx1 = -1, by1 = -1, fx = -1, fy = -1;
      for (int y = 0; y < s[1]; ++y)
        for (int x = 0; x < s[0]; ++x)
          if (HoldsData(m.GetPoint(x, y))) {
            bx0 = std::min(bx0, x), by0 = std::min(by0, y), bx1 = std::max(bx1, x), by1 = std::max(by1, y);
            if (fx < 0) fx = x, fy = y;
          }
      SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << s[0] << " x " << s[1]);
      int b[4] = {-5, -5, -5, -5}, f[2] = {-5, -5};
      EXPECT_EQ(m.GetValidBoundingBox(b[0], b[1], b[2], b[3]), bx1 >= 0);
      if (bx1 >= 0) EXPECT_EQ(std::vector<int>(b, b + 4), std::vector<int>({bx0, by0, bx1, by1}));
      EXPECT_EQ(m.FindFirstValidPixel(f[0], f[1]), fx >= 0);
      if (fx >= 0) EXPECT_EQ(std::pair(f[0], f[1]), std::pair(fx, fy));

      // Nearest from a few points, some outside (clamped).
      for (const auto& p : {std::pair(0, 0), std::pair(s[0] / 2, s[1] / 2), std::pair(-4, s[1] + 9)}) {
        const int cx = std::clamp(p.first, 0, s[0] - 1), cy = std::clamp(p.second, 0, s[1] - 1);
        long long best = -1;
        int nx = -1, ny = -1;
        for (int y = 0; y < s[1]; ++y)
          for (int x = 0; x < s[0]; ++x)
            if (HoldsData(m.GetPoint(x, y))) {
              const long long d = 1LL * (x - cx) * (x - cx) + 1LL * (y - cy) * (y - cy);
              if (best < 0 || d < best) best = d, nx = x, ny = y;  // row-major: ties keep smaller y, x
            }
        int gx = -5, gy = -5;
        EXPECT_EQ(m.FindNearestValidPixel(p.first, p.second, gx, gy), best >= 0);
        if (best >= 0) EXPECT_EQ(std::pair(gx, gy), std::pair(nx, ny)) << "from " << p.first << ", " << p.second;
      }

      // Along row 0 / column 0 in both directions from the far end.
      int right = -1, up = -1;
      for (int x = s[0] - 1; x >= 0 && right < 0; --x)
        if (HoldsData(m.GetPoint(x, 0))) right = x;
      for (int y = 0; y < s[1] && up < 0; ++y)
        if (HoldsData(m.GetPoint(0, y))) up = y;
      EXPECT_EQ(m.FindValidPixelInRow(0, s[0] + 5, -1), right);
      EXPECT_EQ(m.FindValidPixelInColumn(0, -3, 1), up);
    }
}

TEST(RasterQueries, PatchExtremesKeepTheFirstExtremeAndSkipNoData) {
  CSSEMatrix m = Filled(6, 5, 0.0f);
  m.SetPoint(1, 1, 4.0f);
  m.SetPoint(4, 1, 9.0f);
  m.SetPoint(2, 3, 4.0f);  // same minimum later: the first stays
  m.SetPoint(3, 3, 9.0f);
  m.SetPoint(0, 4, kNaN);
  // Corners swapped and clamped; zeros counted; only the NaN.
  const t_patchextremes e = m.CalcPatchExtremes(5, 4, -3, 0), zeros = m.CalcPatchExtremes(0, 0, 2, 2, false),
                        none = m.CalcPatchExtremes(0, 4, 0, 4);
  EXPECT_EQ(std::vector<float>({e.fMin, e.fMax, zeros.fMin, zeros.fMax, none.fMin, none.fMax}),
            std::vector<float>({4, 9, 0, 4, 1e6f, -1e6f}));
  EXPECT_EQ(std::vector<int>(
                {e.nMinX, e.nMinY, e.nMaxX, e.nMaxY, e.nCount, zeros.nCount, none.nCount, none.nMinX, none.nMaxY}),
            std::vector<int>({1, 1, 4, 1, 4, 9, 0, -1, -1}));
}

// The fill's definition: breadth-first over neighbours that pass `inside`.
template <class Inside>
int NaiveFill(CSSEMatrix& m, int sx, int sy, bool eight, float value, Inside inside) {
  const int W = m.GetSizeX(), H = m.GetSizeY();
  std::vector<char> seen(static_cast<std::size_t>(W) * H, 0);
  std::vector<std::pair<int, int>> region;
  std::deque<std::pair<int, int>> queue{{sx, sy}};
  seen[sy * W + sx] = 1;
  while (!queue.empty()) {
    const auto [x, y] = queue.front();
    queue.pop_front();
    if (!inside(x, y, m.GetPoint(x, y))) continue;
    region.emplace_back(x, y);
    for (int dy = -1; dy <= 1; ++dy)
      for (int dx = -1; dx <= 1; ++dx) {
        const int nx = x + dx, ny = y + dy;
        if ((dx == 0) == (dy == 0) && !(eight && dx != 0 && dy != 0)) continue;
        if (nx < 0 || ny < 0 || nx >= W || ny >= H || seen[ny * W + nx]) continue;
        seen[ny * W + nx] = 1;
        queue.emplace_back(nx, ny);
      }
  }
  for (const auto& p : region) m.SetPoint(p.first, p.second, value);
  return static_cast<int>(region.size());
}

TEST(AreaFills, MatchABreadthFirstFill) {
  for (unsigned seed = 1; seed <= 3; ++seed)
    for (const auto& s : kSizes)
      for (bool eight : {false, true}) {
        std::mt19937 rng(seed * 31 + s[0] * 5 + s[1]);
        const CSSEMatrix m = Blotchy(s[0], s[1], rng, false);
        const int x = static_cast<int>(rng() % s[0]), y = static_cast<int>(rng() % s[1]);
        const float seedValue = m.GetPoint(x, y);
        for (float value : {5.0f, seedValue}) {  // a fill value equal to the region's must still end
          CSSEMatrix got(m), want(m);
          const int n = got.FillArea(x, y, value, eight);
          const int wantN = NaiveFill(want, x, y, eight, value, [=](int, int, float v) { return v == seedValue; });
          EXPECT_EQ(n, wantN) << "seed " << seed << ", " << s[0] << " x " << s[1] << (eight ? ", 8" : ", 4");
          EXPECT_TRUE(SameStorage(got, want)) << "seed " << seed << ", " << s[0] << " x " << s[1];
        }
        // The cylinder: a ramp so that the height band cuts it.
        CSSEMatrix ramp(m), want(m);
        for (int yy = 0; yy < s[1]; ++yy)
          for (int xx = 0; xx < s[0]; ++xx)
            ramp.SetPoint(xx, yy, 0.5f * xx + 0.25f * (rng() % 3)), want.SetPoint(xx, yy, ramp.GetPoint(xx, yy));
        const float radius = 1.0f + static_cast<float>(rng() % 9), height = 1.0f, centre = ramp.GetPoint(x, y);
        const int n = ramp.FillAreaZylindrical(x, y, radius, height, -1.0f);
        const int wantN = NaiveFill(want, x, y, false, -1.0f, [&](int px, int py, float v) {
          return 1.0 * (px - x) * (px - x) + 1.0 * (py - y) * (py - y) <= 1.0 * radius * radius &&
                 std::fabs(v - centre) <= height;
        });
        EXPECT_EQ(n, wantN) << "cylinder seed " << seed << ", " << s[0] << " x " << s[1];
        EXPECT_TRUE(SameStorage(ramp, want)) << "cylinder seed " << seed;
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
