// Area fills compared with the plain per-pixel rule, and the outline, side,
// ray and distance rasterisers.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "polygon_fixtures.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

using namespace contour_test;

namespace {

int Clamp(int v, int size) { return std::max(0, std::min(size - 1, v)); }

// The fill written the slow way: every window position through the
// per-point containment test of the thinned copy.
void NaiveFill(CSSE3dPolygon& src, float value, CSSEMatrix& m, bool subsample, float yFrom, float yTo, bool coarse) {
  src.CalcBoundingBox();
  int minX, minY, maxX, maxY;
  src.GetBoundingBox2D(minX, minY, maxX, maxY);
  int low = std::min(maxY, std::max(minY, static_cast<int>(yFrom)));
  int high = std::max(low, std::min(maxY, static_cast<int>(yTo)));
  CSSE3dPolygon copy;
  copy.CreateSimilar(&src);
  if (subsample) copy.Subsample(5);
  copy.RemoveEqualPointsXY();
  copy.CalcBoundingBox();
  if (coarse) {
    for (int y = low - 9; y < high + 9; y += 3)
      for (int x = minX - 9; x < maxX + 9; x += 3)
        if (copy.PointInLineInnerArea(float(x), float(y), 1)) m.Set3x3BoxPoint(x, y, value);
    return;
  }
  low = Clamp(low, m.GetSizeY());
  high = Clamp(high, m.GetSizeY());
  minX = Clamp(minX, m.GetSizeX());
  maxX = Clamp(maxX, m.GetSizeX());
  for (int y = low - 5; y < high + 5; ++y)
    for (int x = minX - 5; x < maxX + 5; ++x)
      if (copy.PointInLineInnerArea(float(x), float(y), 1)) m.SetPoint(Clamp(x, m.GetSizeX()), Clamp(y, m.GetSizeY()), value);
}

// First differing pixel, or (-1, -1).
std::pair<int, int> FirstDifference(const CSSEMatrix& a, const CSSEMatrix& b) {
  for (int y = 0; y < a.GetSizeY(); ++y)
    for (int x = 0; x < a.GetSizeX(); ++x) {
      const float va = a.GetPoint(x, y), vb = b.GetPoint(x, y);
      if (std::memcmp(&va, &vb, sizeof va) != 0) return {x, y};
    }
  return {-1, -1};
}

int CountValue(const CSSEMatrix& m, float v) {
  int n = 0;
  for (int y = 0; y < m.GetSizeY(); ++y)
    for (int x = 0; x < m.GetSizeX(); ++x) n += m.GetPoint(x, y) == v;
  return n;
}

struct FillCase {
  Shape shape;
  int n;
  float cx, cy, r;  // placement: some cases hang over the raster border
  int sizeX, sizeY;
  bool subsample;
  float yFrom, yTo;
};

class FillAgainstPerPixel : public ::testing::TestWithParam<bool> {};  // param: coarse

TEST_P(FillAgainstPerPixel, RandomPolygons) {
  const bool coarse = GetParam();
  const unsigned seed = 1234567;
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> frac(0, 1);
  const Shape shapes[] = {Shape::Convex,       Shape::Star, Shape::Collinear,
                          Shape::PixelCentres, Shape::Wild, Shape::Slivers};
  int cases = 0;
  for (int round = 0; round < 6; ++round)
    for (Shape shape : shapes) {
      FillCase c;
      c.shape = shape;
      c.n = 3 + static_cast<int>(frac(rng) * 60);
      c.sizeX = 20 + static_cast<int>(frac(rng) * 70);
      c.sizeY = 20 + static_cast<int>(frac(rng) * 70);
      c.r = 5 + frac(rng) * 40;
      // Centres from well inside to beyond the border.
      c.cx = -10 + frac(rng) * (c.sizeX + 20);
      c.cy = -10 + frac(rng) * (c.sizeY + 20);
      c.subsample = round % 3 == 2;
      c.yFrom = round % 2 ? -1000.0f : c.cy - frac(rng) * c.r;
      c.yTo = round % 2 ? 1000.0f : c.yFrom + frac(rng) * c.r;
      const auto pts = RandomShape(c.shape, rng, c.n, c.cx, c.cy, c.r);
      CSSE3dPolygon poly;
      Fill(poly, pts);
      CSSEMatrix fast, slow;
      fast.Create(c.sizeX, c.sizeY);
      slow.Create(c.sizeX, c.sizeY);
      if (coarse)
        poly.DrawInMatrixAndFillCoarse(2.5f, &fast, c.subsample, c.yFrom, c.yTo);
      else
        poly.DrawInMatrixAndFillFine(2.5f, &fast, c.subsample, c.yFrom, c.yTo);
      CSSE3dPolygon again;
      Fill(again, pts);
      NaiveFill(again, 2.5f, slow, c.subsample, c.yFrom, c.yTo, coarse);
      const auto d = FirstDifference(fast, slow);
      ASSERT_EQ(d.first, -1) << "seed " << seed << " round " << round << " " << ShapeName(shape) << " n " << c.n
                             << " raster " << c.sizeX << "x" << c.sizeY << " pixel " << d.first << "," << d.second;
      ++cases;
    }
  EXPECT_EQ(cases, 36);
}

INSTANTIATE_TEST_SUITE_P(FineAndCoarse, FillAgainstPerPixel, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& i) { return i.param ? "Coarse" : "Fine"; });

TEST(PolygonFill, LargeStarMatchesPerPixel) {
  const unsigned seed = 31337;
  std::mt19937 rng(seed);
  const auto pts = RandomShape(Shape::Star, rng, 400, 150, 140, 130);
  CSSE3dPolygon poly, again;
  Fill(poly, pts);
  Fill(again, pts);
  CSSEMatrix fast, slow;
  fast.Create(300, 290);
  slow.Create(300, 290);
  poly.DrawInMatrixAndFillFine(1.0f, &fast, false, -1e6f, 1e6f);
  NaiveFill(again, 1.0f, slow, false, -1e6f, 1e6f, false);
  EXPECT_EQ(FirstDifference(fast, slow).first, -1) << "seed " << seed;
  EXPECT_GT(CountValue(fast, 1.0f), 20000);
}

TEST(PolygonFill, ByteRasterMatchesFloatRaster) {
  const unsigned seed = 8080;
  std::mt19937 rng(seed);
  for (int round = 0; round < 6; ++round) {
    const auto pts = RandomShape(round % 2 ? Shape::Star : Shape::PixelCentres, rng, 40 + round, 25, 20, 22);
    CSSE3dPolygon poly;
    Fill(poly, pts);
    // 37 rows: not a multiple of sixteen, so the last byte register is partial.
    CSSEMatrix f;
    f.Create(45, 37);
    CSSEcharMatrix c;
    c.Create(45, 37);
    const bool subsample = round == 3;
    poly.DrawInMatrixAndFillFine(1.0f, &f, subsample, 5.0f + round, 30.0f);
    poly.DrawInCharMatrixAndFillFine(char(-7), &c, subsample, 5.0f + round, 30.0f);
    for (int y = 0; y < 37; ++y)
      for (int x = 0; x < 45; ++x)
        ASSERT_EQ(c.GetPoint(x, y) == char(-7), f.GetPoint(x, y) == 1.0f)
            << "seed " << seed << " round " << round << " at " << x << "," << y;
  }
  CSSE3dPolygon sq;
  Fill(sq, Square(0, 0, 5));
  sq.DrawInCharMatrixAndFillFine(1, nullptr, false, 0, 5);  // null raster: nothing
}

TEST(PolygonFill, BandOfOneRowKeepsFiveRowMargin) {
  CSSE3dPolygon sq;
  Fill(sq, Square(10, 10, 40));  // inside: x 11..50, y 11..49 (half-open rule)
  CSSEMatrix m;
  m.Create(64, 64);
  sq.DrawInMatrixAndFillFine(1.0f, &m, false, 30.0f, 30.0f);
  for (int y = 0; y < 64; ++y) {
    const bool filled = m.GetPoint(30, y) == 1.0f;
    EXPECT_EQ(filled, y >= 25 && y < 35) << "row " << y;
  }
}

TEST(PolygonFill, BandOutsideCollapsesOntoBoxRow) {
  CSSE3dPolygon sq;
  Fill(sq, Square(10, 10, 40));
  CSSEMatrix m;
  m.Create(64, 64);
  sq.DrawInMatrixAndFillFine(1.0f, &m, false, 200.0f, 300.0f);  // collapses onto row 50
  EXPECT_EQ(m.GetPoint(30, 49), 1.0f);
  EXPECT_EQ(m.GetPoint(30, 45), 1.0f);
  EXPECT_EQ(m.GetPoint(30, 44), 0.0f);  // beyond the 5-row margin
}

TEST(PolygonFill, PolygonBeyondRasterFillsBorder) {
  // Inside positions outside the raster land on its border pixels.
  CSSE3dPolygon sq;
  Fill(sq, Square(-20, -20, 30));
  CSSEMatrix m;
  m.Create(16, 16);
  sq.DrawInMatrixAndFillFine(3.0f, &m, false, -1e6f, 1e6f);
  EXPECT_EQ(m.GetPoint(0, 0), 3.0f);
  EXPECT_EQ(m.GetPoint(10, 9), 3.0f);  // x = 10 is inside: (x0, x1] in x
  EXPECT_EQ(m.GetPoint(11, 9), 0.0f);
  EXPECT_EQ(m.GetPoint(10, 10), 0.0f);  // y = 10 lies on the top edge
}

TEST(PolygonFill, DegenerateInputDrawsNothing) {
  CSSEMatrix m;
  m.Create(8, 8);
  CSSE3dPolygon empty, two, nan;
  empty.DrawInMatrixAndFillFine(1, &m, false, 0, 8);
  Fill(two, {{0, 0, 0}, {7, 7, 0}});
  two.DrawInMatrixAndFillFine(1, &m, false, 0, 8);
  two.DrawInMatrixAndFillCoarse(1, &m, false, 0, 8);
  EXPECT_EQ(CountValue(m, 1), 0);
  empty.DrawInMatrixAndFillFine(1, nullptr, false, 0, 8);
  CSSEMatrix none;
  Fill(nan, {{1, 1, 0}, {6, 1, 0}, {NAN, 6, 0}, {1, 6, 0}});
  nan.DrawInMatrixAndFillFine(1, &none, false, 0, 8);  // no storage: nothing written, no crash
  // NaN vertices silence their edges, infinite ones take the per-pixel path;
  // either way the fill agrees with the per-pixel rule.
  const std::vector<P3> odd[] = {
      {{1, 1, 0}, {6, 1, 0}, {NAN, 6, 0}, {1, 6, 0}},
      {{1, 1, 0}, {6, 1, 0}, {6, NAN, 0}, {1, 6, 0}, {0.5f, 3, 0}},
      {{1, 1, 0}, {6, 1, 0}, {INFINITY, 6, 0}, {1, 6, 0}},
      {{1, 1, 0}, {6, -INFINITY, 0}, {6, 6, 0}, {1, 6, 0}},
  };
  for (const auto& pts : odd) {
    CSSE3dPolygon poly, again;
    Fill(poly, pts);
    Fill(again, pts);
    CSSEMatrix fast, slow;
    fast.Create(8, 8);
    slow.Create(8, 8);
    poly.DrawInMatrixAndFillFine(1, &fast, false, 0, 8);
    NaiveFill(again, 1, slow, false, 0, 8, false);
    EXPECT_EQ(FirstDifference(fast, slow).first, -1) << pts[2].x << "," << pts[2].y;
  }
}

TEST(PolygonFill, CallerPolygonKeepsPointsButGetsBox) {
  CSSE3dPolygon poly;
  std::vector<P3> pts;
  for (int i = 0; i < 40; ++i) pts.push_back({10 + 8 * std::cos(i * 0.157f), 10 + 8 * std::sin(i * 0.157f), 0});
  Fill(poly, pts);
  CSSEMatrix m;
  m.Create(20, 20);
  poly.DrawInMatrixAndFillFine(1, &m, true, 0, 20);
  EXPECT_EQ(poly.GetNumPoints(), 40);
  EXPECT_TRUE(poly.IsBoundingBoxCalculated());
}

// ---- outlines and side fill ---------------------------------------------------

TEST(PolygonDraw, OutlineProjections) {
  CSSE3dPolygon poly;
  Fill(poly, {{5.4f, 6.5f, 3.0f}});
  struct Case {
    const char* name;
    bool zy, xz;
    int cx, cy;   // expected centre pixel
    bool box;     // 3x3 box or single pixel
  };
  for (const Case& c : {Case{"xy", false, false, 5 + 2, 7 - 1, true}, Case{"xz", true, true, 5 + 2, 3 - 1, true},
                        Case{"zy ignores offsets", true, false, 3, 7, false}}) {
    CSSEMatrix m;
    m.Create(16, 16);
    poly.DrawInMatrix(9.0f, &m, c.zy, 2.0f, -1.0f, c.xz);
    EXPECT_EQ(m.GetPoint(c.cx, c.cy), 9.0f) << c.name;
    EXPECT_EQ(CountValue(m, 9.0f), c.box ? 9 : 1) << c.name;
  }
  CSSEMatrix m;
  m.Create(4, 4);
  Fill(poly, {{-3, 1.49f, 7}, {10, 10, 8}});
  poly.DrawInMatrix(&m);
  EXPECT_EQ(m.GetPoint(0, 1), 7.0f);
  EXPECT_EQ(m.GetPoint(3, 3), 8.0f);
}

TEST(PolygonDraw, FillToOneSide) {
  CSSE3dPolygon poly;
  Fill(poly, {{5, 0, 6}});
  CSSEMatrix back, front;
  back.Create(12, 12);
  front.Create(12, 12);
  poly.DrawInMatrixAndFillToOneSideFront(1, &back, 0, 0, false);
  poly.DrawInMatrixAndFillToOneSideFront(1, &front, 0, 0, true);
  for (int y = 0; y < 12; ++y) {
    EXPECT_EQ(back.GetPoint(5, y) == 1, y >= 5) << y;   // boxes at rows 6 .. 10
    EXPECT_EQ(front.GetPoint(5, y) == 1, y >= 1 && y <= 7) << y;  // boxes at rows 6 .. 2
  }
  EXPECT_EQ(back.GetPoint(4, 11), 1.0f);
  // Far-away and NaN rows give the strokes of the nearest border row at once.
  Fill(poly, {{5, 0, 1e9f}, {7, 0, NAN}});
  CSSEMatrix far;
  far.Create(12, 12);
  poly.DrawInMatrixAndFillToOneSideFront(1, &far, 0, 0, true);
  EXPECT_EQ(far.GetPoint(5, 1), 1.0f);
  EXPECT_EQ(far.GetPoint(5, 0), 0.0f);
  poly.DrawInMatrixAndFillToOneSideFront(2, &far, 0, 0, false);
  EXPECT_EQ(far.GetPoint(7, 0), 2.0f);  // NaN z: row INT_MIN, stamped from the top
}

// A dense rectangular contour, one vertex per pixel, in the given sense.
std::vector<P3> DenseRectangle(int x0, int y0, int x1, int y1, bool positiveArea) {
  std::vector<P3> pts;
  for (int x = x0; x < x1; ++x) pts.push_back({float(x), float(y0), 0});
  for (int y = y0; y < y1; ++y) pts.push_back({float(x1), float(y), 0});
  for (int x = x1; x > x0; --x) pts.push_back({float(x), float(y1), 0});
  for (int y = y1; y > y0; --y) pts.push_back({float(x0), float(y), 0});
  if (!positiveArea) std::reverse(pts.begin(), pts.end());
  return pts;
}

TEST(PolygonDraw, RayFillEntersCounterClockwiseInterior) {
  CSSE3dPolygon poly;
  Fill(poly, DenseRectangle(4, 5, 20, 17, true));  // 56 vertices, a multiple of four
  CSSEMatrix m;
  m.Create(24, 24);
  poly.DrawInMatrixAndFill(1.0f, &m);
  for (int y = 0; y < 24; ++y)
    for (int x = 0; x < 24; ++x)
      EXPECT_EQ(m.GetPoint(x, y) == 1.0f, x >= 4 && x <= 20 && y >= 5 && y <= 17) << x << "," << y;
}

TEST(PolygonDraw, RayFillOfClockwiseContourRunsOutward) {
  CSSE3dPolygon poly;
  Fill(poly, DenseRectangle(4, 5, 20, 17, false));
  CSSEMatrix m;
  m.Create(24, 24);
  poly.DrawInMatrixAndFill(1.0f, &m);
  EXPECT_EQ(m.GetPoint(10, 0), 1.0f);  // from the top side toward row 0
  EXPECT_EQ(m.GetPoint(10, 10), 0.0f);
}

TEST(PolygonDraw, RayFillStopsAtStrongPixelsAndSkipsRemainder) {
  CSSE3dPolygon poly;
  // Five vertices: only the first four take part.
  Fill(poly, {{2, 2, 0}, {8, 2, 0}, {8, 8, 0}, {2, 8, 0}, {5, 5, 0}});
  CSSEMatrix m;
  m.Create(12, 12);
  m.SetPoint(2, 5, -1.0f);  // a wall of magnitude 1 in the run from vertex 0
  poly.DrawInMatrixAndFill(0.5f, &m);
  EXPECT_EQ(m.GetPoint(2, 3), 0.5f);
  EXPECT_EQ(m.GetPoint(2, 4), 0.5f);
  EXPECT_EQ(m.GetPoint(2, 5), -1.0f);
  EXPECT_EQ(m.GetPoint(2, 6), 0.0f);
  // Runs continue through weak (0.5) pixels to the raster border.
  EXPECT_EQ(m.GetPoint(8, 11), 0.0f);
  EXPECT_EQ(m.GetPoint(0, 8), 0.0f);
}

// ---- distance transform -------------------------------------------------------

TEST(PolygonDistance, NearPixelsTakePlanarDistanceFarOnesBlend) {
  std::vector<P3> pts;
  for (int i = 0; i < 64; ++i) {
    const double a = 6.283185307179586 * i / 64;
    pts.push_back({float(16 + 8 * std::cos(a)), float(16 + 8 * std::sin(a)), 0});
  }
  CSSE3dPolygon poly;
  Fill(poly, pts);
  CSSEMatrix heights, target;
  heights.Create(32, 32);
  heights.Fill(0.5f);
  target.Create(32, 32);
  target.Fill(3.0f);
  target.SetPoint(16, 16, 40.0f);  // |40 - 3| >= 20: untouched
  // Factors of 1/8 keep the accumulated positions exact: nx = 24 / 8 exactly.
  t_resolutiondata r{0.125f, 0.125f, 1.0f};
  for (bool steep : {false, true}) {
    CSSEMatrix t;
    t.CopyFromSSEMatrix(target);
    poly.InternalAreaDistanceTransform(3.0f, &heights, &t, r, steep);
    EXPECT_EQ(t.GetPoint(16, 16), 40.0f);
    EXPECT_EQ(t.GetPoint(2, 2), 3.0f);  // outside the box plus 4
    EXPECT_NE(t.GetPoint(5, 5), 3.0f);  // inside the margin
    // On the contour (24, 16): within 0.35, the planar distance itself.
    // skip = trunc(0.1 / 0.125 + 0.5) = 1.
    EXPECT_EQ(t.GetPoint(24, 16), poly.GetMinEuclDistanceXY(24 * 0.125f, 16 * 0.125f, 1));
    EXPECT_EQ(t.GetPoint(24, 16), 0.0f);
    // At the centre row, x = 12: four pixels (0.5) from the contour, a blend.
    const float d = poly.GetMinEuclDistanceXY(12 * 0.125f, 16 * 0.125f, 1);
    ASSERT_GT(d, 0.35f);
    const float w = std::min(1.0f, steep ? 2 * d : 0.5f * d);
    const float d3 = poly.GetMinEuclDistance(12 * 0.125f, 16 * 0.125f, 0.5f, 2);
    EXPECT_EQ(t.GetPoint(12, 16), w * d3 + (1 - w) * d) << steep;
  }
}

}  // namespace
