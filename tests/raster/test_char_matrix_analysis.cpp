// The byte raster's correlation, analysis and resizing members.

#include <climits>

#include "raster_compare.h"
#include "relief/CSSEcharMatrix.h"

namespace {

CSSEcharMatrix FromRows(const std::vector<std::vector<int>>& rows) {
  CSSEcharMatrix m(static_cast<int>(rows[0].size()), static_cast<int>(rows.size()));
  for (int y = 0; y < m.GetSizeY(); ++y)
    for (int x = 0; x < m.GetSizeX(); ++x) m.SetPoint(x, y, static_cast<char>(rows[y][x]));
  return m;
}

std::vector<std::vector<int>> Rows(const CSSEcharMatrix& m) {
  std::vector<std::vector<int>> out(m.GetSizeY(), std::vector<int>(m.GetSizeX()));
  for (int y = 0; y < m.GetSizeY(); ++y)
    for (int x = 0; x < m.GetSizeX(); ++x) out[y][x] = static_cast<signed char>(m.GetPoint(x, y));
  return out;
}

// The error of shift s as documented, pixel by pixel.
int NaiveError(const CSSEcharMatrix& a, const CSSEcharMatrix& b, int s, int r0, int r1) {
  long long sum = 0, n = 0;
  for (int y = r0; y <= r1; ++y)
    for (int x = std::max(0, -s); x < std::min(a.GetSizeX(), b.GetSizeX() - s); ++x, ++n)
      sum += std::abs(static_cast<unsigned char>(a.GetPoint(x, y)) - static_cast<unsigned char>(b.GetPoint(x + s, y)));
  return static_cast<int>(sum * 256 / n);
}

TEST(CharCorrelation, FindsTheShiftAndMatchesTheNaiveErrors) {
  for (unsigned seed = 1; seed <= 3; ++seed) {
    std::mt19937 rng(seed);
    const int w = 37 + static_cast<int>(seed), h = 5 + 13 * static_cast<int>(seed),
              shift = static_cast<int>(seed) * 2 - 3;
    CSSEcharMatrix a(w, h), b(w + 2, h + 1);
    for (int y = 0; y < h + 1; ++y)
      for (int x = 0; x < w + 2; ++x) b.SetPoint(x, y, static_cast<char>(rng()));
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) a.SetPoint(x, y, b.GetPoint(x + shift, y));
    int best = 99, second = 99;
    EXPECT_EQ(a.Correlate(b, best, 6), 0) << "seed " << seed;
    EXPECT_EQ(best, shift);
    EXPECT_EQ(a.GetLastCorrelationError(), 0);
    // The runner-up: the first smallest error at least two shifts away.
    const int margin = a.CorrelateAmbiguityStartEnd(b, best, second, 6, 2, h - 2);
    int wantSecond = 99, wantError = INT_MAX;
    for (int s = -6; s <= 6; ++s)
      if (std::abs(s - shift) >= 2 && NaiveError(a, b, s, 2, h - 2) < wantError)
        wantError = NaiveError(a, b, s, 2, h - 2), wantSecond = s;
    EXPECT_EQ(std::pair(best, second), std::pair(shift, wantSecond)) << "seed " << seed;
    EXPECT_EQ(margin, wantError) << "seed " << seed;
  }
}

// Nothing to compare (no storage, no rows, an empty row range) gives -1 and
// shift 0; a single shift has no runner-up.
TEST(CharCorrelation, NothingToCompareGivesMinusOne) {
  CSSEcharMatrix a(4, 3), none, noRows(5, 0), one(1, 3);
  int s = 7, t = 7;
  EXPECT_EQ(
      std::vector<int>({a.Correlate(none, s, 2), s, a.GetLastCorrelationError(), a.CorrelateAmbiguity(noRows, s, t, 2),
                        a.CorrelateAmbiguityStartEnd(a, s, t, 2, 2, 1), one.CorrelateAmbiguity(one, s, t, 5), s, t}),
      std::vector<int>({-1, 0, -1, -1, -1, INT_MAX, 0, 0}));
}

TEST(CharAnalysis, ProfilesAlongX) {
  // Syllables: columns 1-2 and 4-5; 5 pixels of 18 set; column means 0, 1,
  // 8/3, 0, 2/3, 1/3: mean 7/9, variance 0.9691... -> 0; means 0, 100: variance 2500.
  CSSEcharMatrix m = FromRows({{0, 3, 3, 0, 0, 1}, {0, 0, 5, 0, 0, 0}, {0, 0, 0, 0, 2, 0}}),
                 loud = FromRows({{0, 100, 0, 100}}), none, empty(0, 4);
  EXPECT_EQ(std::vector<int>({m.CalcNumSyllables(), m.CalcPDResult(), m.CalcTimeVariance(), loud.CalcTimeVariance(),
                              none.CalcNumSyllables(), none.CalcPDResult(), empty.CalcTimeVariance()}),
            std::vector<int>({2, 27, 0, 2500, 0, 0, 0}));
}

TEST(CharAnalysis, SaturatingDifferencesAndRowClearing) {
  CSSEcharMatrix a = FromRows({{100, -100, 5}, {1, 2, 3}}), b = FromRows({{-100, 100, 5}, {0, 0, 0}});
  a.SubMatrix(b);
  EXPECT_EQ(Rows(a), (std::vector<std::vector<int>>{{127, -128, 0}, {1, 2, 3}}));
  CSSEcharMatrix d = FromRows({{1, 4, 9, 16}, {-100, 100, 0, 0}});
  d.CalcDerivative();
  EXPECT_EQ(Rows(d), (std::vector<std::vector<int>>{{3, 5, 7, 16}, {127, -100, 0, 0}}));
  d.ClearRow(-5, 200);
  d.ClearRow(9, 7);
  EXPECT_EQ(Rows(d), (std::vector<std::vector<int>>{{-56, -56, -56, -56}, {7, 7, 7, 7}}));
}

TEST(CharShape, StackingFramingWideningAndEnlarging) {
  CSSEcharMatrix top = FromRows({{1, 2, 3}}), bottom = FromRows({{4}, {5}});
  CSSEcharMatrix m(top);
  CSSEcharMatrix b(bottom);
  m.CombineYDir(b);
  EXPECT_EQ(Rows(m), (std::vector<std::vector<int>>{{1, 2, 3}, {4, 0, 0}, {5, 0, 0}}));
  CSSEcharMatrix fast(top);
  fast.CombineYDirFast(b);
  EXPECT_EQ(std::pair(fast.GetSizeX(), fast.GetSizeY()), std::pair(3, 18));
  EXPECT_EQ(std::vector<int>({fast.GetPoint(0, 0), fast.GetPoint(0, 1), fast.GetPoint(0, 15), fast.GetPoint(0, 16),
                              fast.GetPoint(0, 17), fast.GetPoint(1, 17)}),
            std::vector<int>({1, 0, 0, 4, 5, 0}));
  CSSEcharMatrix self(top);
  self.CombineYDir(self);
  EXPECT_EQ(Rows(self), (std::vector<std::vector<int>>{{1, 2, 3}, {1, 2, 3}}));

  CSSEcharMatrix f(bottom);
  f.EmbedinValueFrame(1, 2, 9);
  EXPECT_EQ(Rows(f), (std::vector<std::vector<int>>{{9, 9, 9}, {9, 9, 9}, {9, 4, 9}, {9, 5, 9}, {9, 9, 9}, {9, 9, 9}}));
  f.EmbedinValueFrame(-1, 0, 0);  // no change
  EXPECT_EQ(std::pair(f.GetSizeX(), f.GetSizeY()), std::pair(3, 6));

  CSSEcharMatrix e(top);
  e.ElongateRight(2);
  e.ElongateLeft(1);
  e.ElongateLeft(0);
  EXPECT_EQ(Rows(e), (std::vector<std::vector<int>>{{1, 1, 2, 3, 3, 3}}));

  CSSEcharMatrix up = FromRows({{0, 40}, {80, 120}});
  up.InterpolateUp(2, 1);
  EXPECT_EQ(Rows(up), (std::vector<std::vector<int>>{{0, 10, 30, 40}, {80, 90, 110, 120}}));
  CSSEcharMatrix flat(5, 3);
  flat.Clear(-7);
  flat.InterpolateUp(3, 4);
  EXPECT_EQ(std::pair(flat.GetSizeX(), flat.GetSizeY()), std::pair(15, 12));
  for (int y = 0; y < 12; ++y)
    for (int x = 0; x < 15; ++x) ASSERT_EQ(flat.GetPoint(x, y), -7);
  flat.InterpolateUp(0, 2);  // no change
  EXPECT_EQ(flat.GetSizeY(), 12);
}

TEST(CharShape, RastersWithoutStorageOrPixelsStayAsTheyAre) {
  CSSEcharMatrix none, other(3, 2), noColumns(0, 5);
  none.CombineYDir(other);
  none.CombineYDirFast(other);
  none.SubMatrix(other);
  none.CalcDerivative();
  none.ClearRow(0, 1);
  none.InterpolateUp(2, 2);
  none.EmbedinValueFrame(1, 1, 3);
  none.ElongateRight(2);
  none.ElongateLeft(2);
  EXPECT_EQ(none.GetMatrixDataDirectly(), nullptr);
  noColumns.ElongateRight(2);  // new columns of a raster without columns are 0
  EXPECT_EQ(std::pair(noColumns.GetSizeX(), noColumns.GetSizeY()), std::pair(2, 5));
  EXPECT_EQ(noColumns.GetPoint(1, 4), 0);
  noColumns.InterpolateUp(2, 2);
  EXPECT_EQ(noColumns.GetSizeX(), 4);
}

}  // namespace
