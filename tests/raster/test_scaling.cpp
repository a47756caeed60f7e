// Scaling against a per-pixel reference of the centre-aligned mapping; factor 1 copies.

#include "raster_compare.h"

using namespace relief::test;

namespace {

using ToSize = void (CSSEMatrix::*)(CSSEMatrix&, int, int);
using ByFactors = void (CSSEMatrix::*)(CSSEMatrix&, float, float);
ToSize ScaleTo(bool linear) { return linear ? &CSSEMatrix::ScaleBilinear : &CSSEMatrix::ScaleNearest; }
ByFactors ScaleBy(bool linear) {
  return linear ? &CSSEMatrix::ScaleBilinearByFactors : &CSSEMatrix::ScaleNearestByFactors;
}

// Source position of target position i along an axis of `from` -> `to`.
double Position(int i, int from, int to) { return std::clamp((i + 0.5) * from / to - 0.5, 0.0, from - 1.0); }

float ReferenceBilinear(const CSSEMatrix& s, int x, int y, int w, int h) {
  const double px = Position(x, s.GetSizeX(), w), py = Position(y, s.GetSizeY(), h);
  const int x0 = static_cast<int>(px), y0 = static_cast<int>(py);
  const double fx = px - x0, fy = py - y0;
  auto at = [&](int xx, int yy) { return static_cast<double>(s.GetPoint(xx, yy)); };  // clamped reads
  const double top = at(x0, y0) + (at(x0 + 1, y0) - at(x0, y0)) * fx;
  const double bottom = at(x0, y0 + 1) + (at(x0 + 1, y0 + 1) - at(x0, y0 + 1)) * fx;
  return static_cast<float>(top + (bottom - top) * fy);
}

float ReferenceNearest(const CSSEMatrix& s, int x, int y, int w, int h) {
  auto nearest = [](int i, int from, int to) {
    return std::min(static_cast<int>(std::floor((i + 0.5) * from / to)), from - 1);
  };
  return s.GetPoint(nearest(x, s.GetSizeX(), w), nearest(y, s.GetSizeY(), h));
}

testing::AssertionResult MatchesReference(const CSSEMatrix& source, const CSSEMatrix& got, bool linear) {
  const int w = got.GetSizeX(), h = got.GetSizeY();
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const float want = linear ? ReferenceBilinear(source, x, y, w, h) : ReferenceNearest(source, x, y, w, h);
      const float have = got.GetPoint(x, y);
      if (!(std::fabs(want - have) <= (linear ? 1e-4f : 0.0f)))
        return testing::AssertionFailure() << (linear ? "bilinear" : "nearest") << " at (" << x << ", " << y << ") of "
                                           << w << " x " << h << ": " << have << ", reference " << want;
    }
  for (int row = h; row < 4 * got.GetSSESizeY(); ++row)
    for (int x = 0; x < w; ++x)
      if (Lane(got, x, row) != 0.0f)
        return testing::AssertionFailure() << "padding lane (" << x << ", " << row << ") not 0";
  return testing::AssertionSuccess();
}

TEST(Scaling, MatchesTheCentreAlignedReference) {
  const int sizes[][4] = {{1, 1, 3, 2},    {5, 7, 2, 3},     {5, 7, 13, 17},
                          {31, 17, 7, 33}, {17, 31, 31, 17}, {33, 9, 129, 5}};
  for (const auto& s : sizes)
    for (bool linear : {false, true}) {
      std::mt19937 rng(s[0] * 100 + s[1] + linear);
      CSSEMatrix source = RandomRaster(s[0], s[1], rng, WithSpecials(-10.0f, 10.0f)), target;
      for (int y = 0; y < s[1]; ++y)  // no 1e30 special: differences of it overflow the tolerance
        for (int x = 0; x < s[0]; ++x)
          if (std::fabs(source.GetPoint(x, y)) > 100.0f) source.SetPoint(x, y, 3.0f);
      (target.*ScaleTo(linear))(source, s[2], s[3]);
      EXPECT_TRUE(MatchesReference(source, target, linear)) << s[0] << " x " << s[1] << " -> " << s[2] << " x " << s[3];
    }
}

// By factors: the size rounds (int(19 * 0.3 + 0.5), int(23 * 0.45 + 0.5)) and
// the pixels follow the same reference; factor 1 copies bit for bit.
TEST(Scaling, ByFactorsRoundsTheSizeAndFactorOneCopies) {
  std::mt19937 rng(11);
  for (bool linear : {false, true}) {
    CSSEMatrix source = RandomRaster(19, 23, rng, Uniform(0.0f, 50.0f)), copy, down;
    for (int x = 0; x < 19; ++x) Lane(source, x, 23) = 0.0f;  // padding 0, as the scaler writes it
    (copy.*ScaleBy(linear))(source, 1.0f, 1.0f);
    EXPECT_TRUE(SameStorage(copy, source)) << (linear ? "bilinear" : "nearest");
    (down.*ScaleBy(linear))(source, 0.3f, 0.45f);
    EXPECT_EQ(std::pair(down.GetSizeX(), down.GetSizeY()), std::pair(6, 10));
    EXPECT_TRUE(MatchesReference(source, down, linear));
  }
}

TEST(Scaling, BadArgumentsChangeNothingAndSourceMayBeTarget) {
  CSSEMatrix m = Filled(4, 3, 2.0f), none;
  const CSSEMatrix before(m);
  m.ScaleBilinearByFactors(m, 0.0f, 1.0f);
  m.ScaleNearestByFactors(m, 1.0f, -2.0f);
  m.ScaleBilinearByFactors(m, kNaN, 1.0f);
  m.ScaleNearestByFactors(m, 0.01f, 1.0f);  // a width of 0
  m.ScaleBilinear(m, 0, 5);
  m.ScaleNearest(none, 5, 5);
  EXPECT_TRUE(SameStorage(m, before));
  m.SetPoint(3, 2, 6.0f);
  m.ScaleNearest(m, 8, 6);  // in place
  EXPECT_EQ(std::pair(m.GetSizeX(), m.GetSizeY()), std::pair(8, 6));
  EXPECT_EQ(std::vector<float>({m.GetPoint(7, 5), m.GetPoint(6, 4), m.GetPoint(5, 5)}),
            std::vector<float>({6.0f, 6.0f, 2.0f}));
}

}  // namespace
