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
std::string CompareFill(const Pts& pts, int sx, int sy, bool subsample, float yFrom, float yTo, bool coarse) {
  CSSE3dPolygon poly = Make(pts);
  CSSEMatrix fast = Raster(sx, sy), slow = Raster(sx, sy);
  if (coarse)
    poly.DrawInMatrixAndFillCoarse(2.5f, &fast, subsample, yFrom, yTo);
  else
    poly.DrawInMatrixAndFillFine(2.5f, &fast, subsample, yFrom, yTo);
  NaiveFill(pts, 2.5f, slow, subsample, yFrom, yTo, coarse);
  for (int i = 0; i < sx * sy; ++i) {
    const float a = fast.GetPoint(i % sx, i / sx), b = slow.GetPoint(i % sx, i / sx);
    if (std::memcmp(&a, &b, sizeof a) != 0) return std::to_string(i % sx) + "," + std::to_string(i / sx);
  }
  return "";
}

// The same seeded polygons for the fine and the coarse fill, then a large
// star, bands beside the polygon and non-finite vertices (NaN ones silence
// their edges, infinite ones take the per-pixel path).
TEST(PolygonFill, FineAndCoarseMatchPerPixel) {
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
        ASSERT_EQ(CompareFill(pts, sx, sy, round % 3 == 2, yFrom, yTo, coarse), "")
            << (coarse ? "coarse" : "fine") << " seed " << seed << " round " << round << " " << shape << " n " << n;
      }
  }
  std::mt19937 rng(31337);
  EXPECT_EQ(CompareFill(RandomShape(Shape::Star, rng, 400, 150, 140, 130), 300, 290, false, -1e6f, 1e6f, false), "");
  for (float band : {30.0f, 200.0f}) EXPECT_EQ(CompareFill(Square(10, 10, 40), 64, 64, false, band, band, 0), "");
  for (const Pts& pts : {Pts{{1, 1, 0}, {6, 1, 0}, {NAN, 6, 0}, {1, 6, 0}},
                         Pts{{1, 1, 0}, {6, 1, 0}, {6, NAN, 0}, {1, 6, 0}, {0.5f, 3, 0}},
                         Pts{{1, 1, 0}, {6, 1, 0}, {INFINITY, 6, 0}, {1, 6, 0}},
                         Pts{{1, 1, 0}, {6, -INFINITY, 0}, {6, 6, 0}, {1, 6, 0}}})
    EXPECT_EQ(CompareFill(pts, 8, 8, false, 0, 8, false), "") << pts[2];
}

TEST(PolygonFill, ByteRasterMatchesFloatAndDegenerateInput) {
  std::mt19937 rng(8080);
  for (int round = 0; round < 6; ++round) {
    CSSE3dPolygon poly = Make(RandomShape(round % 2 ? Shape::Star : Shape::PixelCentres, rng, 40 + round, 25, 20, 22));
    // 37 rows: not a multiple of sixteen, so the last byte register is partial.
    CSSEMatrix f = Raster(45, 37);
    CSSEcharMatrix c(45, 37);
    poly.DrawInMatrixAndFillFine(1.0f, &f, round == 3, 5.0f + round, 30.0f);
    poly.DrawInCharMatrixAndFillFine(char(-7), &c, round == 3, 5.0f + round, 30.0f);
    for (int i = 0; i < 45 * 37; ++i)
      ASSERT_EQ(c.GetPoint(i % 45, i / 45) == char(-7), f.GetPoint(i % 45, i / 45) == 1.0f) << round << " " << i;
  }
  CSSEMatrix none;  // no storage, no raster, no points: nothing written, no crash
  Make(Square(1, 1, 5)).DrawInCharMatrixAndFillFine(1, nullptr, false, 0, 5);
  CSSE3dPolygon().DrawInMatrixAndFillFine(1, nullptr, false, 0, 8);
  // The caller's polygon keeps its points (thinning works on a copy) but gets its box.
  const Pts circle = RandomShape(Shape::Convex, rng, 40, 10, 10, 8);
  CSSE3dPolygon poly = Make(circle);
  poly.DrawInMatrixAndFillFine(1, &none, true, 0, 20);
  EXPECT_EQ(Points(poly), circle);
  EXPECT_TRUE(poly.IsBoundingBoxCalculated());
}

TEST(PolygonDraw, OutlineProjectionsAndSideFill) {
  CSSE3dPolygon dot = Make({{5.4f, 6.5f, 3.0f}}), side = Make({{5, 0, 6}}), far = Make({{5, 0, 1e9f}, {7, 0, NAN}});
  const int cases[][5] = {{0, 0, 7, 6, 9}, {1, 1, 7, 2, 9}, {1, 0, 3, 7, 1}};  // zy, xz, x, y, count (zy: no offsets)
  for (const auto& c : cases) {
    CSSEMatrix m = Raster(16, 16);
    dot.DrawInMatrix(9.0f, &m, c[0], 2.0f, -1.0f, c[1]);
    EXPECT_EQ(std::pair(m.GetPoint(c[2], c[3]), CountValue(m, 9.0f)), std::pair(9.0f, c[4])) << c[0] << c[1];
  }
  CSSEMatrix back = Raster(12, 12), front = Raster(12, 12), f = Raster(12, 12);
  side.DrawInMatrixAndFillToOneSideFront(1, &back, 0, 0, false);
  side.DrawInMatrixAndFillToOneSideFront(1, &front, 0, 0, true);
  for (int y = 0; y < 12; ++y)  // boxes at rows 6 .. 10 (back) and 6 .. 2 (front)
    EXPECT_EQ((back.GetPoint(5, y) == 1) + 2 * (front.GetPoint(5, y) == 1), (y >= 5) + 2 * (y >= 1 && y <= 7)) << y;
  // Far-away and NaN rows give the strokes of the nearest border row at once
  // (NaN z: row INT_MIN, stamped from the top).
  far.DrawInMatrixAndFillToOneSideFront(1, &f, 0, 0, true);
  far.DrawInMatrixAndFillToOneSideFront(2, &f, 0, 0, false);
  EXPECT_EQ(std::vector<float>({f.GetPoint(5, 1), f.GetPoint(5, 0), f.GetPoint(7, 0)}), std::vector<float>({1, 0, 2}));
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
  EXPECT_EQ(std::pair(out.GetPoint(10, 0), out.GetPoint(10, 10)), std::pair(1.0f, 0.0f));
  // Five vertices: only the first four take part; runs stop at a wall of
  // magnitude 1 and pass weak (0.5) pixels to the raster border.
  m.SetPoint(2, 5, -1.0f);
  Make({{2, 2, 0}, {8, 2, 0}, {8, 8, 0}, {2, 8, 0}, {5, 5, 0}}).DrawInMatrixAndFill(0.5f, &m);
  EXPECT_EQ(std::vector<float>({m.GetPoint(2, 3), m.GetPoint(2, 4), m.GetPoint(2, 5), m.GetPoint(2, 6)}),
            std::vector<float>({0.5f, 0.5f, -1.0f, 0.0f}));
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
    // (2, 2) lies outside the box plus 4; on the contour (24, 16), within
    // 0.35, the planar distance itself (0): skip = trunc(0.1 / 0.125 + 0.5) = 1.
    EXPECT_EQ(std::vector<float>({t.GetPoint(16, 16), t.GetPoint(2, 2), t.GetPoint(24, 16)}),
              std::vector<float>({40, 3, 0}));
    // Farther out, a blend: (12, 16) lies four pixels (0.5) from the contour
    // (the transform leaves the polygon normalized by r).
    const float d = poly.GetMinEuclDistanceXY(12 * 0.125f, 16 * 0.125f, 1);
    ASSERT_GT(d, 0.35f);
    const float w = std::min(1.0f, steep ? 2 * d : 0.5f * d);
    const float spatial = poly.GetMinEuclDistance(12 * 0.125f, 16 * 0.125f, 0.5f, 2);
    EXPECT_EQ(t.GetPoint(12, 16), w * spatial + (1 - w) * d) << steep;
  }
}

}  // namespace
