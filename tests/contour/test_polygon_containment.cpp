// Containment: the crossing rule and its box pre-test against the plain rule,
// the SSE and normalized variants, and the point filters built on it.

#include "polygon_fixtures.h"

using namespace contour_test;

namespace {

TEST(PolygonContainment, SquarePins) {
  CSSE3dPolygon sq, two, empty;
  Fill(sq, Square(0, 0, 10));
  struct Case {
    float x, y;
    bool inside;
    const char* why;
  };
  const Case cases[] = {
      {5, 5, true, "interior"},
      {10, 5, true, "right box edge: straddles (0, 10] of the top edge"},
      {0, 5, false, "left box edge: 0 is not in (0, 10]"},
      {5, 0, true, "on the bottom edge: only the top edge passes above"},
      {5, 10, false, "on the top edge: the edge does not pass above"},
      {11, 5, false, "outside by the pre-test"},
      {5, -0.001f, false, "below the box"},
  };
  for (const Case& c : cases) EXPECT_EQ(sq.PointInLineInnerArea(c.x, c.y, 1), c.inside) << c.why;
  Fill(two, {{0, 0, 0}, {10, 10, 0}});
  EXPECT_FALSE(two.PointInLineInnerArea(5, 5, 1));
  EXPECT_FALSE(empty.PointInLineInnerArea(0, 0, 1));
  // The SSE variant tests all four lanes (z ignored, w must be 0) and leaves the point alone.
  SSEPoint p = V(5, 5, 1000, 0);
  EXPECT_TRUE(sq.PointInLineInnerArea(p, 1));
  for (float w : {1.0f, -1.0f}) {
    p.w = w;
    EXPECT_FALSE(sq.PointInLineInnerArea(p, 1)) << w;
  }
  EXPECT_EQ(p.z, 1000.0f);
  // A stale box is recomputed on demand.
  sq.CalcBoundingBox();
  sq.SetPointX(1, 20);
  sq.SetPointX(2, 20);
  EXPECT_TRUE(sq.PointInLineInnerArea(15, 5, 1));
  EXPECT_TRUE(sq.IsBoundingBoxCalculated());
}

TEST(PolygonContainment, NormalizedUsesRawBoxAndStaleArrays) {
  CSSE3dPolygon sq;
  Fill(sq, Square(0, 0, 10));
  t_resolutiondata r{2, 2, 2};
  sq.NormalizeXYZ(r);
  EXPECT_TRUE(sq.PointInLineInnerAreaNormalized(9, 9, 1));    // inside 0..20 and the raw box
  EXPECT_FALSE(sq.PointInLineInnerAreaNormalized(15, 5, 1));  // inside 0..20 but outside the raw box
  EXPECT_TRUE(sq.PointInLineInnerAreaNormalized(Lv(V(9, 9)), 1));
  sq.SetPoint(0, 5, 5, 0);
  EXPECT_TRUE(sq.PointInLineInnerAreaNormalized(1, 1, 1));  // the normalized arrays are not refreshed
}

TEST(PolygonContainment, MatchesNaiveRuleOnRandomPolygons) {
  const unsigned seed = 4242;
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(-2, 42);
  for (Shape shape : kAllShapes)
    for (int n : {3, 4, 5, 6, 7, 8, 12, 31, 257}) {
      const Pts pts = RandomShape(shape, rng, n, 20, 20, 15);
      CSSE3dPolygon poly;
      Fill(poly, pts);
      for (int q = 0; q < 300; ++q) {
        // Half the queries on integer positions, where vertices and edges sit.
        float x = u(rng), y = u(rng);
        if (q % 2) x = std::round(x), y = std::round(y);
        ASSERT_EQ(poly.PointInLineInnerArea(x, y, 1), NaiveInside(pts, x, y))
            << "seed " << seed << " " << ShapeName(shape) << " n " << n << " at " << x << "," << y;
      }
    }
}

TEST(PolygonContainment, StepTestsCoarserPolygonWithinFullBox) {
  const unsigned seed = 99;
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(0, 40);
  for (int step : {2, 3, 5}) {
    const Pts pts = RandomShape(Shape::Star, rng, 23, 20, 20, 18);
    CSSE3dPolygon poly;
    Fill(poly, pts);
    // The coarser polygon written out: every step-th point, then the last one.
    Pts coarse;
    for (size_t i = 0; i + step <= pts.size(); i += step) coarse.push_back(pts[i]);
    coarse.push_back(pts.back());
    float minX = 1e9f, maxX = -1e9f, minY = 1e9f, maxY = -1e9f;
    for (const P3& p : pts) minX = std::fmin(minX, p.x), maxX = std::fmax(maxX, p.x), minY = std::fmin(minY, p.y),
                            maxY = std::fmax(maxY, p.y);
    for (int q = 0; q < 400; ++q) {
      const float x = u(rng), y = u(rng);
      const bool box = !(x < minX || x > maxX || y < minY || y > maxY);  // the full polygon's box
      ASSERT_EQ(poly.PointInLineInnerArea(x, y, step), box && NaiveInside(coarse, x, y))
          << "seed " << seed << " step " << step << " at " << x << "," << y;
    }
  }
}

TEST(PolygonContainment, PolygonAndPointFilters) {
  CSSE3dPolygon outer, inner, crossing, empty;
  Fill(outer, Square(0, 0, 10));
  Fill(inner, Square(2, 2, 3));
  Fill(crossing, Square(8, 8, 5));
  EXPECT_TRUE(outer.PolygonInThisPolygon(inner));
  EXPECT_FALSE(outer.PolygonInThisPolygon(crossing));
  EXPECT_FALSE(inner.PolygonInThisPolygon(outer));
  EXPECT_FALSE(outer.PolygonInThisPolygon(empty));
  EXPECT_FALSE(empty.PolygonInThisPolygon(outer));

  CSSE3dPolygon pts, below, ref;
  Fill(pts, {{1, 1, 1}, {20, 1, 2}, {5, 5, 3}, {-1, 5, 4}});
  pts.KeepPointsInInner(outer);
  EXPECT_EQ(Points(pts), (Pts{{1, 1, 1}, {5, 5, 3}}));
  Fill(pts, {{50, 50, 0}});
  pts.KeepPointsInInner(outer);
  EXPECT_EQ(pts.GetNumPoints(), 0);
  // Below: against the closest reference point, strictly.
  Fill(ref, {{0, 10, 0}, {10, 10, 0}, {20, 0, 0}});
  Fill(below, {{1, 5, 1}, {1, 12, 2}, {19, 1, 3}, {19, -1, 4}});
  below.KeepPointsBelow(ref);
  EXPECT_EQ(Points(below), (Pts{{1, 5, 1}, {19, -1, 4}}));
  Fill(below, {{0, 0, 0}});
  below.KeepPointsBelow(empty);
  EXPECT_EQ(below.GetNumPoints(), 0);
}

}  // namespace
