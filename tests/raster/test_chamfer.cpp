// Chamfer, RemoveFrameArtefacts and the derivatives against per-pixel and
// per-lane references, plus the values callers depend on.

#include "raster_compare.h"

using namespace relief::test;

namespace {

// Every lane whose register lies in the frame becomes value: frameX columns
// on the left, one more on the right, frameY >> 2 SSE rows on top, one more
// at the bottom.
void NaiveFrame(CSSEMatrix& m, int frameX, int frameY, float value) {
  const int sx = m.GetSSESizeX(), sseY = m.GetSSESizeY();
  ForEachLane(m, [&](float& v, int x, int row) {
    const int k = row >> 2;
    if (x < std::min(frameX, sx) || x >= std::max(sx - frameX - 1, 0) || k < std::min(frameY >> 2, sseY) ||
        k >= std::max(sseY - (frameY >> 2) - 1, 0))
      v = value;
  });
}

// The distance transform one pixel at a time: clamped reads, sums in double
// rounded to float, strictly smaller candidates win.
void NaiveChamfer(CSSEMatrix& m) {
  ForEachLane(m, [](float& v, int, int) {
    if (v > -0.002f && v < 0.002f)
      v = 99999.9f;
    else if (v > 1.0f - 0.002f && v < 1.0f + 0.002f)
      v = 0.0f;
  });
  auto relax = [&](int x, int y, const int(&dx)[4], const int(&dy)[4]) {
    const double w[4] = {3, 3, 4, 4};
    float v = m.GetPoint(x, y);
    for (int i = 0; i < 4; ++i) {
      const float c = static_cast<float>(static_cast<double>(m.GetPoint(x + dx[i], y + dy[i])) + w[i]);
      if (c < v) v = c;
    }
    m.SetPoint(x, y, v);
  };
  const int sx = m.GetSizeX(), sy = m.GetSizeY();
  for (int y = 1; y <= sy - 2; ++y)
    for (int x = 1; x <= sx - 2; ++x) relax(x, y, {-1, 0, -1, -1}, {0, -1, -1, 1});
  for (int y = sy - 2; y >= 1; --y)
    for (int x = sx - 2; x >= 1; --x) relax(x, y, {1, 0, 1, 1}, {0, 1, 1, -1});
  NaiveFrame(m, 4, 4, 0.0f);
}

// The wavefront passes against the per-pixel reference on seeds, given
// distances, unknown pixels and NaNs, for sizes around the register and
// SSE-row boundaries.
TEST(Chamfer, MatchesPerPixelReferenceOnRandomMasks) {
  const int sizes[][2] = {{1, 1},   {3, 3},   {4, 4},   {5, 9},   {7, 5},   {9, 6},    {13, 7}, {17, 8},
                          {33, 13}, {65, 31}, {31, 65}, {127, 3}, {3, 127}, {101, 99}, {2, 9},  {17, 13}};
  for (unsigned seed = 1; seed <= 5; ++seed)
    for (const auto& size : sizes) {
      std::mt19937 rng(seed * 104729u + size[0] * 613u + size[1]);
      CSSEMatrix m = RandomRaster(size[0], size[1], rng, [&](std::mt19937& r) {
        const int k = std::uniform_int_distribution<int>(0, 99)(r);
        if (k < 3) return 1.0f;
        if (k < 80) return 0.0f;
        if (k < 81 && seed == 5) return std::numeric_limits<float>::quiet_NaN();
        if (k < 83) return 1e30f;  // sums round: (1e30 + 3) + 3 is not 1e30 + 6
        return std::uniform_real_distribution<float>(0.0f, 60.0f)(r);
      });
      CSSEMatrix expected(m);
      m.Chamfer();
      NaiveChamfer(expected);
      ASSERT_TRUE(SameStorage(m, expected)) << "seed " << seed << ", size " << size[0] << " x " << size[1];
    }
}

TEST(RemoveFrameArtefacts, OverwritesWholeRegistersOfTheFrame) {
  const int frames[][4] = {{10, 10, 4, 4},  {10, 12, 0, 0},   {10, 12, 1, 3}, {3, 5, 4, 4},  {9, 40, 2, 9},
                           {9, 40, -3, -8}, {5, 7, 100, 100}, {0, 3, 2, 2},   {10, 16, 2, 4}};
  for (const auto& f : frames) {
    std::mt19937 rng(f[0] * 100 + f[1]);
    CSSEMatrix m = RandomRaster(f[0], f[1], rng, Uniform(1, 2)), expected(m);
    m.RemoveFrameArtefacts(f[2], f[3], -5.0f);
    NaiveFrame(expected, f[2], f[3], -5.0f);
    EXPECT_TRUE(SameStorage(m, expected)) << f[0] << "x" << f[1] << " frame " << f[2] << "," << f[3];
  }
}

// Forward differences lane by lane over the whole storage; the last column
// and the last SSE row keep their values.
void NaiveDerivative(CSSEMatrix& m, bool alongX) {
  CSSEMatrix old(m);
  const int rows = 4 * m.GetSSESizeY();
  ForEachLane(m, [&](float& v, int x, int row) {
    if (alongX && x + 1 < m.GetSSESizeX()) v = Lane(old, x + 1, row) - Lane(old, x, row);
    if (!alongX && row < rows - 4) v = Lane(old, x, row + 1) - Lane(old, x, row);
  });
}

TEST(Derivatives, MatchLaneByLaneReference) {
  for (int sy : {1, 3, 4, 5, 8, 13, 130})
    for (int sx : {1, 2, 7})
      for (bool alongX : {true, false}) {
        std::mt19937 rng(sx * 1000 + sy);
        CSSEMatrix got = RandomRaster(sx, sy, rng, Uniform(-9, 9)), expected(got);
        alongX ? got.CalcDerivativeX() : got.CalcDerivativeY();
        NaiveDerivative(expected, alongX);
        EXPECT_TRUE(SameStorage(got, expected)) << sx << " x " << sy << (alongX ? " along x" : " along y");
      }
}

}  // namespace
