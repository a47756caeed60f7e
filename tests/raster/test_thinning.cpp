// ZhangSuen against a per-pixel reference, and the rule's deliberate details.

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "raster_compare.h"
#include "relief/CSSEMatrix.h"

using relief::test::FillBlobs;
using relief::test::Lane;
using relief::test::StorageDifference;

namespace {

// The thinning written as plainly as possible: int images, clamped reads,
// one pixel at a time.
void NaiveZhangSuen(CSSEMatrix& m, float threshold) {
  const int sx = m.GetSizeX(), sy = m.GetSizeY();
  std::vector<int> image(static_cast<std::size_t>(sx) * sy), marks(image.size());
  auto at = [&](std::vector<int>& v, int x, int y) -> int& {
    x = std::clamp(x, 0, sx - 1);
    y = std::clamp(y, 0, sy - 1);
    return v[static_cast<std::size_t>(y) * sx + x];
  };
  for (int y = 0; y < sy; ++y)
    for (int x = 0; x < sx; ++x) at(image, x, y) = m.GetPoint(x, y) > threshold ? 1 : 0;

  auto test = [&](int x, int y, bool first) {
    const int p[9] = {at(image, x, y - 1),     at(image, x + 1, y - 1), at(image, x + 1, y),
                      at(image, x + 1, y + 1), at(image, x, y + 1),     at(image, x - 1, y + 1),
                      at(image, x - 1, y),     at(image, x - 1, y - 1), at(image, x, y - 1)};
    int b = 0, a = 0;
    for (int i = 0; i < 8; ++i) {
      b += p[i];
      a += p[i] == 0 && p[i + 1] == 1;
    }
    const int p2 = p[0], p4 = p[2], p6 = p[4], p8 = p[6];
    const bool rule = first ? (p2 * p4 * p6 == 0 && p4 * p6 * p8 == 0) : (p2 * p4 * p8 == 0 && p2 * p6 * p8 == 0);
    return b >= 3 && b <= 6 && a == 1 && rule;
  };
  auto deleteMarked = [&] {
    int deleted = 0;
    for (int y = 1; y <= sy - 2; ++y)
      for (int x = 1; x <= sx - 2; ++x)
        if (at(marks, x, y)) {
          at(image, x, y) = 0;
          at(marks, x, y) = 0;
          ++deleted;
        }
    return deleted;
  };
  for (int iteration = 0; iteration < 1000 && sy >= 3; ++iteration) {
    for (int y = 1; y <= sy - 2; ++y)
      for (int x = 1; x <= sx - 2; ++x)
        if (at(image, x, y) && test(x, y, true)) at(marks, x, y) = 1;
    if (deleteMarked() == 0) break;
    for (int y = sy - 2; y >= 1; --y)
      for (int x = sx - 2; x >= 1; --x)
        if (at(image, x, y) && test(x, y, false)) at(marks, x, y) = 1;
    if (deleteMarked() == 0) break;
  }
  m.Clear();
  for (int y = 1; y <= sy - 2; ++y)
    for (int x = 1; x <= sx - 2; ++x)
      if (at(image, x, y)) m.SetPoint(x, y, 1.0f);
}

// Raster from rows of '#' (above the threshold 0.5) and '.'.
CSSEMatrix FromPicture(const std::vector<std::string>& rows) {
  CSSEMatrix m;
  m.Create(static_cast<int>(rows[0].size()), static_cast<int>(rows.size()));
  for (int y = 0; y < m.GetSizeY(); ++y)
    for (int x = 0; x < m.GetSizeX(); ++x) m.SetPoint(x, y, rows[y][x] == '#' ? 1.0f : 0.0f);
  return m;
}

std::vector<std::string> ToPicture(CSSEMatrix& m) {
  std::vector<std::string> rows(m.GetSizeY(), std::string(m.GetSizeX(), '.'));
  for (int y = 0; y < m.GetSizeY(); ++y)
    for (int x = 0; x < m.GetSizeX(); ++x) {
      const float v = m.GetPoint(x, y);
      rows[y][x] = v == 1.0f ? '#' : v == 0.0f ? '.' : '?';
    }
  return rows;
}

struct Picture {
  const char* name;
  std::vector<std::string> in, out;
};

void PrintTo(const Picture& p, std::ostream* os) { *os << p.name; }

class ThinningPicture : public testing::TestWithParam<Picture> {};

TEST_P(ThinningPicture, GivesTheExpectedSkeleton) {
  CSSEMatrix m = FromPicture(GetParam().in);
  m.ZhangSuen(0.5f);
  EXPECT_EQ(ToPicture(m), GetParam().out);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, ThinningPicture,
    testing::Values(
        Picture{"IsolatedPixelStays", {".....", "..#..", "....."}, {".....", "..#..", "....."}},
        Picture{"StraightLineStays", {".......", ".#####.", "......."}, {".......", ".#####.", "......."}},
        // Every pixel of the L has two neighbours: the textbook rule (B >= 2)
        // would erode it, this one keeps end points.
        Picture{"TwoNeighbourEndPointsStay",
                {".....", ".##..", "..#..", "....."},
                {".....", ".##..", "..#..", "....."}},
        Picture{"FilledSquareLosesItsCorners",
                {".....", ".###.", ".###.", ".###.", "....."},
                {".....", "..#..", ".##..", ".....", "....."}},
        Picture{"BorderPixelsEndZero", {"####", "####", "####"}, {"....", ".##.", "...."}},
        Picture{"TwoRowsEndAllZero", {"####", "####"}, {"....", "...."}},
        Picture{"OneColumnEndsZero", {"#", "#", "#"}, {".", ".", "."}}),
    [](const testing::TestParamInfo<Picture>& info) { return info.param.name; });

TEST(ZhangSuen, ClearsPaddingLanesAndIgnoresThemAsInput) {
  CSSEMatrix m;
  m.Create(6, 5);  // padding rows 5, 6, 7
  m.Fill(9.0f);
  m.ZhangSuen(0.5f);
  CSSEMatrix expected;
  expected.Create(6, 5);
  expected.Fill(9.0f);
  NaiveZhangSuen(expected, 0.5f);
  EXPECT_EQ(StorageDifference(m, expected), "");
  EXPECT_EQ(Lane(m, 2, 6), 0.0f);
}

TEST(ZhangSuen, ThresholdIsStrict) {
  CSSEMatrix m;
  m.Create(5, 3);
  m.SetPoint(2, 1, 0.5f);
  m.ZhangSuen(0.5f);
  EXPECT_EQ(m.GetPoint(2, 1), 0.0f);
  m.SetPoint(2, 1, 0.50001f);
  m.ZhangSuen(0.5f);
  EXPECT_EQ(m.GetPoint(2, 1), 1.0f);
}

TEST(ZhangSuen, RasterWithoutStorageIsLeftAlone) {
  CSSEMatrix m;
  m.ZhangSuen(0.0f);
  EXPECT_EQ(m.GetMatrixDataDirectly(), nullptr);
}

// The word-parallel thinning against the per-pixel one on blobs and on noise,
// with sizes that straddle the 64-pixel words and the 4-row registers.
TEST(ZhangSuen, MatchesPerPixelReferenceOnRandomMasks) {
  const int sizes[][2] = {{1, 1},   {3, 3},   {5, 7},   {63, 9},  {64, 17}, {65, 31},
                          {129, 5}, {31, 129}, {127, 63}, {200, 77}, {3, 200}};
  for (unsigned seed = 1; seed <= 6; ++seed)
    for (const auto& size : sizes) {
      std::mt19937 rng(seed * 7919u + size[0] * 31u + size[1]);
      CSSEMatrix m;
      m.Create(size[0], size[1]);
      if (seed % 2)
        FillBlobs(m, rng, 1 + size[0] * size[1] / 300, 12, 2.0f, 0.0f);
      else
        relief::test::FillLanes(m, rng, [](std::mt19937& r) { return std::uniform_real_distribution<float>(0, 1)(r); });
      CSSEMatrix expected(m);
      const float threshold = seed % 2 ? 1.0f : 0.3f;
      m.ZhangSuen(threshold);
      NaiveZhangSuen(expected, threshold);
      ASSERT_EQ(StorageDifference(m, expected), "")
          << "seed " << seed << ", size " << size[0] << " x " << size[1];
    }
}

}  // namespace
