// Chamfer, RemoveFrameArtefacts and the derivatives against per-pixel
// references, plus the values callers depend on.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "raster_compare.h"
#include "relief/CSSEMatrix.h"

using relief::test::Lane;
using relief::test::StorageDifference;

namespace {

// Every lane whose register lies in the frame becomes value, written out
// register by register from the frame's definition.
void NaiveFrame(CSSEMatrix& m, int frameX, int frameY, float value) {
  const int sx = m.GetSSESizeX(), sseY = m.GetSSESizeY();
  for (int k = 0; k < sseY; ++k)
    for (int x = 0; x < sx; ++x) {
      const bool left = x < std::min(frameX, sx);
      const bool right = x >= std::max(sx - frameX - 1, 0);
      const bool top = k < std::min(frameY >> 2, sseY);
      const bool bottom = k >= std::max(sseY - (frameY >> 2) - 1, 0);
      if (left || right || top || bottom)
        for (int j = 0; j < 4; ++j) Lane(m, x, 4 * k + j) = value;
    }
}

// The distance transform one pixel at a time: clamped reads, sums in double
// rounded to float, strictly smaller candidates win.
void NaiveChamfer(CSSEMatrix& m) {
  CSSEMatrix t(m);
  for (int row = 0; row < 4 * t.GetSSESizeY(); ++row)
    for (int x = 0; x < t.GetSSESizeX(); ++x) {
      float& v = Lane(t, x, row);
      if (v > -0.002f && v < 0.002f)
        v = 99999.9f;
      else if (v > 1.0f - 0.002f && v < 1.0f + 0.002f)
        v = 0.0f;
    }
  auto relax = [&](int x, int y, const int (&dx)[4], const int (&dy)[4], const double (&w)[4]) {
    float v = t.GetPoint(x, y);
    for (int i = 0; i < 4; ++i) {
      const float c = static_cast<float>(static_cast<double>(t.GetPoint(x + dx[i], y + dy[i])) + w[i]);
      if (c < v) v = c;
    }
    t.SetPoint(x, y, v);
  };
  const double w[4] = {3, 3, 4, 4};
  const int sx = t.GetSizeX(), sy = t.GetSizeY();
  for (int y = 1; y <= sy - 2; ++y)
    for (int x = 1; x <= sx - 2; ++x) relax(x, y, {-1, 0, -1, -1}, {0, -1, -1, 1}, w);
  for (int y = sy - 2; y >= 1; --y)
    for (int x = sx - 2; x >= 1; --x) relax(x, y, {1, 0, 1, 1}, {0, 1, 1, -1}, w);
  NaiveFrame(t, 4, 4, 0.0f);
  m.CopyFromSSEMatrix(t);
}

TEST(Chamfer, OneSeedGivesThreePerStepAndFourPerDiagonal) {
  CSSEMatrix m;
  m.Create(30, 30);
  m.SetPoint(10, 10, 1.0f);
  m.Chamfer();
  EXPECT_EQ(m.GetPoint(10, 10), 0.0f);
  EXPECT_EQ(m.GetPoint(11, 10), 3.0f);
  EXPECT_EQ(m.GetPoint(11, 11), 4.0f);
  EXPECT_EQ(m.GetPoint(9, 9), 4.0f);
  EXPECT_EQ(m.GetPoint(10, 13), 9.0f);
  EXPECT_EQ(m.GetPoint(13, 12), 3.0f * 1 + 4.0f * 2);
  EXPECT_EQ(m.GetPoint(24, 10), 42.0f);  // last column outside the frame
  // The frame: 4 columns left, 5 right, 4 rows on top, 2 SSE rows (30 rows
  // give SSE rows 0..7, rows 24..31) at the bottom.
  for (int y = 0; y < 30; ++y) {
    for (int x : {0, 3, 25, 29}) EXPECT_EQ(m.GetPoint(x, y), 0.0f) << x << "," << y;
  }
  for (int x = 0; x < 30; ++x)
    for (int y : {0, 3, 24, 29}) EXPECT_EQ(m.GetPoint(x, y), 0.0f) << x << "," << y;
  EXPECT_NE(m.GetPoint(4, 4), 0.0f);
  EXPECT_NE(m.GetPoint(24, 23), 0.0f);
}

TEST(Chamfer, ForwardMaskReachesBelowLeftNotAboveRight) {
  // A seed reaches (x+1, y-1) in the forward pass only through the below-left
  // neighbour of that pixel's mask; the result is symmetric either way, so
  // check the whole map against the reference instead of one value.
  CSSEMatrix m, expected;
  m.Create(17, 13);
  m.SetPoint(8, 6, 1.0f);
  expected.CopyFromSSEMatrix(m);
  m.Chamfer();
  NaiveChamfer(expected);
  EXPECT_EQ(StorageDifference(m, expected), "");
  EXPECT_EQ(m.GetPoint(9, 5), 4.0f);
}

TEST(Chamfer, OtherValuesActAsGivenDistances) {
  CSSEMatrix m;
  m.Create(20, 20);
  m.Fill(7.0f);
  m.SetPoint(10, 10, 2.0f);
  m.Chamfer();
  EXPECT_EQ(m.GetPoint(10, 10), 2.0f);
  EXPECT_EQ(m.GetPoint(11, 10), 5.0f);
  EXPECT_EQ(m.GetPoint(12, 12), 7.0f);  // 2 + 4 + 4 = 10 is not smaller
  EXPECT_EQ(m.GetPoint(6, 6), 7.0f);
}

TEST(Chamfer, UnreachedPixelsKeepTheUnknownDistance) {
  CSSEMatrix m;
  m.Create(12, 12);
  m.Chamfer();
  EXPECT_EQ(m.GetPoint(6, 6), 99999.8984375f);
  EXPECT_EQ(m.GetPoint(1, 6), 0.0f);  // frame
}

TEST(Chamfer, SmallRastersOnlyGetReplacementsAndFrame) {
  CSSEMatrix m;
  m.Create(2, 9);
  m.SetPoint(0, 5, 1.0f);
  m.Chamfer();
  for (int y = 0; y < 9; ++y) EXPECT_EQ(m.GetPoint(0, y), 0.0f);
}

// The wavefront passes against the per-pixel reference on seeds, given
// distances, unknown pixels and NaNs, for sizes around the register and
// SSE-row boundaries.
TEST(Chamfer, MatchesPerPixelReferenceOnRandomMasks) {
  const int sizes[][2] = {{1, 1},  {3, 3},  {4, 4},   {5, 9},   {7, 5},   {9, 6},    {13, 7},
                          {17, 8}, {33, 13}, {65, 31}, {31, 65}, {127, 3}, {3, 127}, {101, 99}};
  for (unsigned seed = 1; seed <= 5; ++seed)
    for (const auto& size : sizes) {
      std::mt19937 rng(seed * 104729u + size[0] * 613u + size[1]);
      CSSEMatrix m;
      m.Create(size[0], size[1]);
      std::uniform_int_distribution<int> kind(0, 99);
      std::uniform_real_distribution<float> distance(0.0f, 60.0f);
      relief::test::FillLanes(m, rng, [&](std::mt19937& r) {
        const int k = kind(r);
        if (k < 3) return 1.0f;
        if (k < 80) return 0.0f;
        if (k < 81 && seed == 5) return std::numeric_limits<float>::quiet_NaN();
        if (k < 83) return 1e30f;  // sums round: (1e30 + 3) + 3 is not 1e30 + 6
        return distance(r);
      });
      CSSEMatrix expected(m);
      m.Chamfer();
      NaiveChamfer(expected);
      ASSERT_EQ(StorageDifference(m, expected), "") << "seed " << seed << ", size " << size[0] << " x " << size[1];
    }
}

struct Frame {
  int sizeX, sizeY, frameX, frameY;
};

void PrintTo(const Frame& f, std::ostream* os) {
  *os << f.sizeX << "x" << f.sizeY << " frame " << f.frameX << "," << f.frameY;
}

class FrameArtefacts : public testing::TestWithParam<Frame> {};

TEST_P(FrameArtefacts, OverwritesWholeRegistersOfTheFrame) {
  const Frame f = GetParam();
  CSSEMatrix m, expected;
  m.Create(f.sizeX, f.sizeY);
  std::mt19937 rng(f.sizeX * 100 + f.sizeY);
  relief::test::FillLanes(m, rng, [](std::mt19937& r) { return std::uniform_real_distribution<float>(1, 2)(r); });
  expected.CopyFromSSEMatrix(m);
  m.RemoveFrameArtefacts(f.frameX, f.frameY, -5.0f);
  NaiveFrame(expected, f.frameX, f.frameY, -5.0f);
  EXPECT_EQ(StorageDifference(m, expected), "");
}

INSTANTIATE_TEST_SUITE_P(Frames, FrameArtefacts,
                         testing::Values(Frame{10, 10, 4, 4}, Frame{10, 12, 0, 0}, Frame{10, 12, 1, 3},
                                         Frame{3, 5, 4, 4}, Frame{9, 40, 2, 9}, Frame{9, 40, -3, -8},
                                         Frame{5, 7, 100, 100}, Frame{0, 3, 2, 2}));

TEST(RemoveFrameArtefacts, RightFrameIsOneColumnWiderAndBottomOneSseRowTaller) {
  CSSEMatrix m;
  m.Create(10, 16);  // SSE rows 0..4, the last one spare
  m.Fill(1.0f);
  m.RemoveFrameArtefacts(2, 4, 0.0f);
  EXPECT_EQ(m.GetPoint(1, 8), 0.0f);
  EXPECT_EQ(m.GetPoint(2, 8), 1.0f);
  EXPECT_EQ(m.GetPoint(6, 8), 1.0f);
  EXPECT_EQ(m.GetPoint(7, 8), 0.0f);
  EXPECT_EQ(m.GetPoint(5, 3), 0.0f);
  EXPECT_EQ(m.GetPoint(5, 4), 1.0f);
  EXPECT_EQ(m.GetPoint(5, 11), 1.0f);
  EXPECT_EQ(m.GetPoint(5, 12), 0.0f);  // SSE row 3 as well as the spare row 4
}

// Derivatives written lane by lane over the whole storage.
void NaiveDerivative(CSSEMatrix& m, bool alongX) {
  CSSEMatrix old(m);
  const int rows = 4 * m.GetSSESizeY();
  for (int row = 0; row < rows; ++row)
    for (int x = 0; x < m.GetSSESizeX(); ++x) {
      if (alongX && x + 1 < m.GetSSESizeX()) Lane(m, x, row) = Lane(old, x + 1, row) - Lane(old, x, row);
      if (!alongX && row < rows - 4) Lane(m, x, row) = Lane(old, x, row + 1) - Lane(old, x, row);
    }
}

TEST(Derivatives, MatchLaneByLaneReference) {
  for (int sy : {1, 3, 4, 5, 8, 13, 130})
    for (int sx : {1, 2, 7}) {
      std::mt19937 rng(sx * 1000 + sy);
      CSSEMatrix m;
      m.Create(sx, sy);
      relief::test::FillLanes(m, rng, [](std::mt19937& r) { return std::uniform_real_distribution<float>(-9, 9)(r); });
      for (bool alongX : {true, false}) {
        CSSEMatrix got(m), expected(m);
        if (alongX)
          got.CalcDerivativeX();
        else
          got.CalcDerivativeY();
        NaiveDerivative(expected, alongX);
        EXPECT_EQ(StorageDifference(got, expected), "") << sx << " x " << sy << (alongX ? " along x" : " along y");
      }
    }
}

TEST(Derivatives, AlongYCrossesSseRows) {
  CSSEMatrix m;
  m.Create(2, 9);
  for (int y = 0; y < 9; ++y) m.SetPoint(1, y, static_cast<float>(y * y));
  m.CalcDerivativeY();
  EXPECT_EQ(m.GetPoint(1, 3), 16.0f - 9.0f);  // lane 3 reads lane 0 of the next SSE row
  EXPECT_EQ(m.GetPoint(1, 7), 64.0f - 49.0f);
  EXPECT_EQ(m.GetPoint(1, 8), 64.0f);  // last SSE row keeps its values
}

TEST(Derivatives, AlongXKeepsLastColumn) {
  CSSEMatrix m;
  m.Create(3, 2);
  m.SetPoint(0, 1, 1.0f);
  m.SetPoint(1, 1, 4.0f);
  m.SetPoint(2, 1, 10.0f);
  m.CalcDerivativeX();
  EXPECT_EQ(m.GetPoint(0, 1), 3.0f);
  EXPECT_EQ(m.GetPoint(1, 1), 6.0f);
  EXPECT_EQ(m.GetPoint(2, 1), 10.0f);
}

}  // namespace
