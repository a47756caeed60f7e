// Area fills compared with the plain per-pixel rule, and the outline, side,
// ray and distance rasterisers.

#include <cstring>

#include "polygon_fixtures.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

using namespace contour_test;

namespace {

int Clamp(int v, int size) { return std::max(0, std::min(size - 1, v)); }

CSSEMatrix Raster(int sx, int sy, float value = 0) {
  CSSEMatrix m;  // returned through the deep copy constructor
  m.Create(sx, sy), m.Fill(value);
  return m;
}

int CountValue(const CSSEMatrix& m, float v) {
  int n = 0;
  for (int i = 0; i < m.GetSizeX() * m.GetSizeY(); ++i) n += m.GetPoint(i % m.GetSizeX(), i / m.GetSizeX()) == v;
  return n;
}

// The fill written the slow way: every window position through the
// per-point containment test of the thinned copy.
void NaiveFill(const Pts& pts, float value, CSSEMatrix& m, bool subsample, float yFrom, float yTo, bool coarse) {
  CSSE3dPolygon src = Make(pts), copy;
  int minX, minY, maxX, maxY;
  src.GetBoundingBox2D(minX, minY, maxX, maxY);
  int low = std::min(maxY, std::max(minY, static_cast<int>(yFrom)));
  int high = std::max(low, std::min(maxY, static_cast<int>(yTo)));
  copy.CreateSimilar(&src);
  if (subsample) copy.Subsample(5);
  copy.RemoveEqualPointsXY();
  if (coarse) {
    for (int y = low - 9; y < high + 9; y += 3)
      for (int x = minX - 9; x < maxX + 9; x += 3)
        if (copy.PointInLineInnerArea(float(x), float(y), 1)) m.Set3x3BoxPoint(x, y, value);
    return;
  }
  low = Clamp(low, m.GetSizeY()), high = Clamp(high, m.GetSizeY());
  minX = Clamp(minX, m.GetSizeX()), maxX = Clamp(maxX, m.GetSizeX());
  for (int y = low - 5; y < high + 5; ++y)
    for (int x = minX - 5; x < maxX + 5; ++x)
      if (copy.PointInLineInnerArea(float(x), float(y), 1))
        m.SetPoint(Clamp(x, m.GetSizeX()), Clamp(y, m.GetSizeY()), value);
}

// Runs the fast fill and the naive one on fresh rasters; returns the first
// differing pixel as "x,y", or "" when they agree bit for bit.
std::string CompareFill(const Pts& pts, float value, int sx, int sy, bool subsample, float yFrom, float yTo,
                        bool coarse, int* filled = nullptr) {
  CSSE3dPolygon poly = Make(pts);
  CSSEMatrix fast = Raster(sx, sy), slow = Raster(sx, sy);
  if (coarse)
    poly.DrawInMatrixAndFillCoarse(value, &fast, subsample, yFrom, yTo);
  else
    poly.DrawInMatrixAndFillFine(value, &fast, subsample, yFrom, yTo);
  NaiveFill(pts, value, slow, subsample, yFrom, yTo, coarse);
  for (int i = 0; i < sx * sy; ++i) {
    const float a = fast.GetPoint(i % sx, i / sx), b = slow.GetPoint(i % sx, i / sx);
    if (std::memcmp(&a, &b, sizeof a) != 0) return std::to_string(i % sx) + "," + std::to_string(i / sx);
  }
  if (filled) *filled = CountValue(fast, value);
  return "";
}

// The same seeded polygons for the fine and the coarse fill.
TEST(PolygonFill, FineAndCoarseMatchPerPixelOnRandomPolygons) {
  const unsigned seed = 1234567;
  for (bool coarse : {false, true}) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> frac(0, 1);
    for (int round = 0; round < 6; ++round)
      for (Shape shape : kAllShapes) {
        const int n = 3 + static_cast<int>(frac(rng) * 60);
        const int sx = 20 + static_cast<int>(frac(rng) * 70), sy = 20 + static_cast<int>(frac(rng) * 70);
        const float r = 5 + frac(rng) * 40;
        // Centres from well inside to beyond the border.
        const float cx = -10 + frac(rng) * (sx + 20), cy = -10 + frac(rng) * (sy + 20);
        const float yFrom = round % 2 ? -1000.0f : cy - frac(rng) * r;
        const float yTo = round % 2 ? 1000.0f : yFrom + frac(rng) * r;
        const Pts pts = RandomShape(shape, rng, n, cx, cy, r);
        ASSERT_EQ(CompareFill(pts, 2.5f, sx, sy, round % 3 == 2, yFrom, yTo, coarse), "")
            << (coarse ? "coarse" : "fine") << " seed " << seed << " round " << round << " " << shape << " n " << n
            << " raster " << sx << "x" << sy;
      }
  }
}

TEST(PolygonFill, LargeStarAndNonFiniteVerticesMatchPerPixel) {
  const unsigned seed = 31337;
  std::mt19937 rng(seed);
  int filled = 0;
  EXPECT_EQ(
      CompareFill(RandomShape(Shape::Star, rng, 400, 150, 140, 130), 1, 300, 290, false, -1e6f, 1e6f, false, &filled),
      "")
      << "seed " << seed;
  EXPECT_GT(filled, 20000);
  // NaN vertices silence their edges, infinite ones take the per-pixel path;
  // either way the fill agrees with the per-pixel rule.
  const Pts odd[] = {
      {{1, 1, 0}, {6, 1, 0}, {NAN, 6, 0}, {1, 6, 0}},
      {{1, 1, 0}, {6, 1, 0}, {6, NAN, 0}, {1, 6, 0}, {0.5f, 3, 0}},
      {{1, 1, 0}, {6, 1, 0}, {INFINITY, 6, 0}, {1, 6, 0}},
      {{1, 1, 0}, {6, -INFINITY, 0}, {6, 6, 0}, {1, 6, 0}},
  };
  for (const Pts& pts : odd) EXPECT_EQ(CompareFill(pts, 1, 8, 8, false, 0, 8, false), "") << pts[2];
}

TEST(PolygonFill, ByteRasterMatchesFloatRaster) {
  const unsigned seed = 8080;
  std::mt19937 rng(seed);
  for (int round = 0; round < 6; ++round) {
    CSSE3dPolygon poly = Make(RandomShape(round % 2 ? Shape::Star : Shape::PixelCentres, rng, 40 + round, 25, 20, 22));
    // 37 rows: not a multiple of sixteen, so the last byte register is partial.
    CSSEMatrix f = Raster(45, 37);
    CSSEcharMatrix c;
    c.Create(45, 37);
    poly.DrawInMatrixAndFillFine(1.0f, &f, round == 3, 5.0f + round, 30.0f);
    poly.DrawInCharMatrixAndFillFine(char(-7), &c, round == 3, 5.0f + round, 30.0f);
    for (int i = 0; i < 45 * 37; ++i)
      ASSERT_EQ(c.GetPoint(i % 45, i / 45) == char(-7), f.GetPoint(i % 45, i / 45) == 1.0f)
          << "seed " << seed << " pixel " << i;
  }
}

TEST(PolygonFill, BandMarginsBorderAndDegenerateInput) {
  struct Case {
    const char* name;
    Pts pts;
    float yFrom, yTo;
    std::vector<std::pair<int, int>> set, clear;
  };
  const Case cases[] = {
      // Inside x 11..50, y 11..49 (half-open rule); one band row keeps a 5-row margin.
      {"one-row band", Square(10, 10, 40), 30, 30, {{30, 25}, {30, 34}}, {{30, 24}, {30, 35}}},
      {"band beyond collapses onto row 50", Square(10, 10, 40), 200, 300, {{30, 49}, {30, 45}}, {{30, 44}}},
      // Inside positions outside the raster land on its border pixels.
      {"beyond the raster", Square(-20, -20, 30), -1e6f, 1e6f, {{0, 0}, {10, 9}}, {{11, 9}, {10, 10}}},
  };
  for (const Case& c : cases) {
    CSSE3dPolygon poly = Make(c.pts);
    CSSEMatrix m = Raster(64, 64);
    poly.DrawInMatrixAndFillFine(3.0f, &m, false, c.yFrom, c.yTo);
    for (auto [x, y] : c.set) EXPECT_EQ(m.GetPoint(x, y), 3.0f) << c.name << " " << x << "," << y;
    for (auto [x, y] : c.clear) EXPECT_EQ(m.GetPoint(x, y), 0.0f) << c.name << " " << x << "," << y;
  }
  CSSEMatrix none;  // no storage, no raster, no points: nothing written, no crash
  Make(Square(1, 1, 5)).DrawInMatrixAndFillFine(1, &none, false, 0, 8);
  Make(Square(1, 1, 5)).DrawInCharMatrixAndFillFine(1, nullptr, false, 0, 5);
  CSSE3dPolygon().DrawInMatrixAndFillFine(1, nullptr, false, 0, 8);
  // The caller's polygon keeps its points (thinning works on a copy) but gets its box.
  std::mt19937 rng(5);
  const Pts circle = RandomShape(Shape::Convex, rng, 40, 10, 10, 8);
  CSSE3dPolygon poly = Make(circle);
  poly.DrawInMatrixAndFillFine(1, &none, true, 0, 20);
  EXPECT_EQ(Points(poly), circle);
  EXPECT_TRUE(poly.IsBoundingBoxCalculated());
}

// ---- outlines, side fill and ray fill -----------------------------------------

TEST(PolygonDraw, OutlineProjectionsAndSideFill) {
  CSSE3dPolygon dot = Make({{5.4f, 6.5f, 3.0f}}), side = Make({{5, 0, 6}}), far = Make({{5, 0, 1e9f}, {7, 0, NAN}});
  struct Case {
    const char* name;
    bool zy, xz;
    int cx, cy, count;
  };
  for (const Case& c : {Case{"xy", false, false, 5 + 2, 7 - 1, 9}, Case{"xz", true, true, 5 + 2, 3 - 1, 9},
                        Case{"zy ignores offsets", true, false, 3, 7, 1}}) {
    CSSEMatrix m = Raster(16, 16);
    dot.DrawInMatrix(9.0f, &m, c.zy, 2.0f, -1.0f, c.xz);
    EXPECT_EQ(m.GetPoint(c.cx, c.cy), 9.0f) << c.name;
    EXPECT_EQ(CountValue(m, 9.0f), c.count) << c.name;
  }
  CSSEMatrix back = Raster(12, 12), front = Raster(12, 12), f = Raster(12, 12);
  side.DrawInMatrixAndFillToOneSideFront(1, &back, 0, 0, false);
  side.DrawInMatrixAndFillToOneSideFront(1, &front, 0, 0, true);
  for (int y = 0; y < 12; ++y)  // boxes at rows 6 .. 10 (back) and 6 .. 2 (front)
    EXPECT_EQ((back.GetPoint(5, y) == 1) + 2 * (front.GetPoint(5, y) == 1), (y >= 5) + 2 * (y >= 1 && y <= 7)) << y;
  // Far-away and NaN rows give the strokes of the nearest border row at once.
  far.DrawInMatrixAndFillToOneSideFront(1, &f, 0, 0, true);
  EXPECT_EQ(f.GetPoint(5, 1), 1.0f);
  EXPECT_EQ(f.GetPoint(5, 0), 0.0f);
  far.DrawInMatrixAndFillToOneSideFront(2, &f, 0, 0, false);
  EXPECT_EQ(f.GetPoint(7, 0), 2.0f);  // NaN z: row INT_MIN, stamped from the top
}

TEST(PolygonDraw, RayFillDirectionAndWalls) {
  // A dense rectangle (4, 5) .. (20, 17), one vertex per pixel, 56 vertices.
  Pts rect;
  for (int i = 0; i < 56; ++i)
    rect.push_back(i < 16   ? P3{4.0f + i, 5, 0}
                   : i < 28 ? P3{20, i - 11.0f, 0}
                   : i < 44 ? P3{48.0f - i, 17, 0}
                            : P3{4, 61.0f - i, 0});
  CSSEMatrix in = Raster(24, 24), out = Raster(24, 24), m = Raster(12, 12);
  Make(rect).DrawInMatrixAndFill(1.0f, &in);  // counter-clockwise: enters the interior
  EXPECT_EQ(CountValue(in, 1.0f), 17 * 13);
  EXPECT_EQ(in.GetPoint(4, 5) + in.GetPoint(20, 17) + in.GetPoint(3, 5) + in.GetPoint(20, 18), 2.0f);
  std::reverse(rect.begin(), rect.end());
  Make(rect).DrawInMatrixAndFill(1.0f, &out);  // clockwise: runs outward, from the top side toward row 0
  EXPECT_EQ(out.GetPoint(10, 0), 1.0f);
  EXPECT_EQ(out.GetPoint(10, 10), 0.0f);
  // Five vertices: only the first four take part; runs stop at a wall of
  // magnitude 1 and pass weak (0.5) pixels to the raster border.
  m.SetPoint(2, 5, -1.0f);
  Make({{2, 2, 0}, {8, 2, 0}, {8, 8, 0}, {2, 8, 0}, {5, 5, 0}}).DrawInMatrixAndFill(0.5f, &m);
  const float column[] = {0.5f, 0.5f, -1.0f, 0.0f};  // rows 3 .. 6 of column 2
  for (int k = 0; k < 4; ++k) EXPECT_EQ(m.GetPoint(2, 3 + k), column[k]) << "row " << 3 + k;
}

TEST(PolygonDistance, NearPixelsTakePlanarDistanceFarOnesBlend) {
  Pts pts;
  for (int i = 0; i < 64; ++i)
    pts.push_back({float(16 + 8 * std::cos(i * M_PI / 32)), float(16 + 8 * std::sin(i * M_PI / 32))});
  CSSE3dPolygon poly = Make(pts);
  CSSEMatrix heights = Raster(32, 32, 0.5f);
  t_resolutiondata r{0.125f, 0.125f, 1.0f};  // factors of 1/8 keep the accumulated positions exact
  for (bool steep : {false, true}) {
    CSSEMatrix t = Raster(32, 32, 3.0f);
    t.SetPoint(16, 16, 40.0f);  // |40 - 3| >= 20: untouched
    poly.InternalAreaDistanceTransform(3.0f, &heights, &t, r, steep);
    EXPECT_EQ(t.GetPoint(16, 16), 40.0f);
    EXPECT_EQ(t.GetPoint(2, 2), 3.0f);  // outside the box plus 4
    // On the contour (24, 16): within 0.35, the planar distance itself (0);
    // skip = trunc(0.1 / 0.125 + 0.5) = 1. Farther out, a blend.
    EXPECT_EQ(t.GetPoint(24, 16), 0.0f);
    // The centre row, x = 12, lies four pixels (0.5) from the contour (the
    // transform leaves the polygon normalized by r).
    const float d = poly.GetMinEuclDistanceXY(12 * 0.125f, 16 * 0.125f, 1);
    ASSERT_GT(d, 0.35f);
    const float w = std::min(1.0f, steep ? 2 * d : 0.5f * d);
    const float spatial = poly.GetMinEuclDistance(12 * 0.125f, 16 * 0.125f, 0.5f, 2);
    EXPECT_EQ(t.GetPoint(12, 16), w * spatial + (1 - w) * d) << steep;
  }
}

}  // namespace
