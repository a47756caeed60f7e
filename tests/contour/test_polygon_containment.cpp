// Containment: the crossing rule, its box pre-test, the SSE and normalized
// variants, and the point filters built on it.

#include <gtest/gtest.h>

#include <random>

#include "polygon_fixtures.h"

using namespace contour_test;

namespace {

TEST(PolygonContainment, UnitSquareCases) {
  CSSE3dPolygon sq;
  Fill(sq, {{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}});
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
      {9.999f, 9.999f, true, "near the corner"},
  };
  for (const Case& c : cases) EXPECT_EQ(sq.PointInLineInnerArea(c.x, c.y, 1), c.inside) << c.why;
}

TEST(PolygonContainment, FewerThanThreePointsNeverInside) {
  CSSE3dPolygon two, empty, sq;
  Fill(two, {{0, 0, 0}, {10, 10, 0}});
  EXPECT_FALSE(two.PointInLineInnerArea(5, 5, 1));
  EXPECT_FALSE(empty.PointInLineInnerArea(0, 0, 1));
  Fill(sq, Square(0, 0, 10));
  EXPECT_FALSE(sq.PolygonInThisPolygon(empty));
  EXPECT_FALSE(empty.PolygonInThisPolygon(sq));
}

TEST(PolygonContainment, ComputesStaleBoxOnDemand) {
  CSSE3dPolygon sq;
  Fill(sq, Square(0, 0, 10));
  sq.CalcBoundingBox();
  sq.SetPointX(1, 20);
  sq.SetPointX(2, 20);
  EXPECT_TRUE(sq.PointInLineInnerArea(15, 5, 1));
  EXPECT_TRUE(sq.IsBoundingBoxCalculated());
}

TEST(PolygonContainment, SSEVariantChecksAllLanes) {
  CSSE3dPolygon sq;
  Fill(sq, Square(0, 0, 10));
  SSEPoint p;
  p.m = _mm_setr_ps(5, 5, 1000, 0);  // z ignored
  EXPECT_TRUE(sq.PointInLineInnerArea(p, 1));
  p.w = 1;
  EXPECT_FALSE(sq.PointInLineInnerArea(p, 1));
  p.w = -1;
  EXPECT_FALSE(sq.PointInLineInnerArea(p, 1));
  EXPECT_EQ(p.z, 1000.0f);  // the caller's point is not modified
}

TEST(PolygonContainment, NormalizedUsesRawBox) {
  CSSE3dPolygon sq;
  Fill(sq, Square(0, 0, 10));
  t_resolutiondata r{2, 2, 2};
  sq.NormalizeXYZ(r);
  EXPECT_TRUE(sq.PointInLineInnerAreaNormalized(9, 9, 1));    // inside 0..20 and the raw box
  EXPECT_FALSE(sq.PointInLineInnerAreaNormalized(15, 5, 1));  // inside 0..20 but outside the raw box
  SSEPoint p;
  p.m = _mm_setr_ps(9, 9, 0, 0);
  EXPECT_TRUE(sq.PointInLineInnerAreaNormalized(p, 1));
  // Stale normalized arrays are what the test sees.
  sq.SetPoint(0, 5, 5, 0);
  EXPECT_TRUE(sq.PointInLineInnerAreaNormalized(1, 1, 1));
}

// Reference for a step > 1: the coarser polygon written out explicitly.
std::vector<P3> Coarse(const std::vector<P3>& p, int step) {
  std::vector<P3> out;
  const int n = static_cast<int>(p.size());
  for (int i = 0; i <= n - step; i += step) out.push_back(p[i]);
  if (step > 1) out.push_back(p[n - 1]);
  return out;
}

TEST(PolygonContainment, MatchesNaiveRuleOnRandomPolygons) {
  const unsigned seed = 4242;
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(-2, 42);
  const Shape shapes[] = {Shape::Convex,       Shape::Star, Shape::Collinear,
                          Shape::PixelCentres, Shape::Wild, Shape::Slivers};
  for (Shape shape : shapes)
    for (int n : {3, 4, 5, 6, 7, 8, 12, 31, 257}) {
      const auto pts = RandomShape(shape, rng, n, 20, 20, 15);
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

TEST(PolygonContainment, StepTestsCoarserPolygon) {
  const unsigned seed = 99;
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(0, 40);
  for (int step : {2, 3, 5}) {
    const auto pts = RandomShape(Shape::Star, rng, 23, 20, 20, 18);
    CSSE3dPolygon poly;
    Fill(poly, pts);
    const auto coarse = Coarse(pts, step);
    for (int q = 0; q < 400; ++q) {
      const float x = u(rng), y = u(rng);
      // The box pre-test still uses the full polygon's box.
      float minX = 1e9f, maxX = -1e9f, minY = 1e9f, maxY = -1e9f;
      for (const P3& p : pts) minX = std::fmin(minX, p.x), maxX = std::fmax(maxX, p.x), minY = std::fmin(minY, p.y),
                              maxY = std::fmax(maxY, p.y);
      const bool box = !(x < minX || x > maxX || y < minY || y > maxY);
      ASSERT_EQ(poly.PointInLineInnerArea(x, y, step), box && NaiveInside(coarse, x, y))
          << "seed " << seed << " step " << step << " at " << x << "," << y;
    }
  }
}

TEST(PolygonContainment, PolygonInThisPolygon) {
  CSSE3dPolygon outer, inner, crossing;
  Fill(outer, Square(0, 0, 10));
  Fill(inner, Square(2, 2, 3));
  Fill(crossing, Square(8, 8, 5));
  EXPECT_TRUE(outer.PolygonInThisPolygon(inner));
  EXPECT_FALSE(outer.PolygonInThisPolygon(crossing));
  EXPECT_FALSE(inner.PolygonInThisPolygon(outer));
}

TEST(PolygonContainment, KeepPointsInInner) {
  CSSE3dPolygon sq, pts;
  Fill(sq, Square(0, 0, 10));
  Fill(pts, {{1, 1, 1}, {20, 1, 2}, {5, 5, 3}, {-1, 5, 4}});
  pts.KeepPointsInInner(sq);
  const auto p = Points(pts);
  ASSERT_EQ(p.size(), 2u);
  EXPECT_EQ(p[0].z, 1.0f);
  EXPECT_EQ(p[1].z, 3.0f);
  CSSE3dPolygon none;
  Fill(none, {{50, 50, 0}});
  none.KeepPointsInInner(sq);
  EXPECT_EQ(none.GetNumPoints(), 0);
}

TEST(PolygonContainment, KeepPointsBelow) {
  CSSE3dPolygon ref, pts;
  Fill(ref, {{0, 10, 0}, {10, 10, 0}, {20, 0, 0}});
  Fill(pts, {{1, 5, 1}, {1, 12, 2}, {19, 1, 3}, {19, -1, 4}});
  pts.KeepPointsBelow(ref);
  const auto p = Points(pts);
  ASSERT_EQ(p.size(), 2u);
  EXPECT_EQ(p[0].z, 1.0f);  // 10 > 5
  EXPECT_EQ(p[1].z, 4.0f);  // closest (20, 0): 0 > -1
  CSSE3dPolygon empty, some;
  Fill(some, {{0, 0, 0}});
  some.KeepPointsBelow(empty);
  EXPECT_EQ(some.GetNumPoints(), 0);
}

}  // namespace
