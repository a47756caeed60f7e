// Refinement of ear-clipped triangles: edge limit, conformity (no
// T-junctions), area, containment and linear z.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "relief/CHPolygonTriangulationRefinement.h"
#include "relief/CHPolygonTriangulator.h"
#include "relief/CSSE3dPolygon.h"
#include "test_hull_seed.h"

namespace {

struct V3 {
  float x, y, z;
};

CSSE3dPolygon Polygon3D(const std::vector<V3>& pts) {
  CSSE3dPolygon poly;
  poly.Create(static_cast<int>(pts.size()));
  for (int i = 0; i < static_cast<int>(pts.size()); ++i) poly.SetPoint(i, pts[i].x, pts[i].y, pts[i].z);
  return poly;
}

std::vector<std::array<SSEPoint, 3>> Chain(CHPolygonTriangulationRefinement& r) {
  std::vector<std::array<SSEPoint, 3>> out;
  std::array<SSEPoint, 3> t;
  for (bool ok = r.GetFirstTriangle3D(t[0], t[1], t[2]); ok; ok = r.GetNextTriangle3D(t[0], t[1], t[2]))
    out.push_back(t);
  return out;
}

double Cross(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c) {
  return (static_cast<double>(b.x) - a.x) * (static_cast<double>(c.y) - a.y) -
         (static_cast<double>(c.x) - a.x) * (static_cast<double>(b.y) - a.y);
}

double Length(const SSEPoint& a, const SSEPoint& b) { return std::hypot(double(b.x) - a.x, double(b.y) - a.y); }

bool InsidePolygon(const std::vector<V3>& poly, const SSEPoint& p, double tol) {
  // On the boundary (within tol) counts as inside; otherwise even-odd.
  bool in = false;
  for (std::size_t i = 0, j = poly.size() - 1; i < poly.size(); j = i++) {
    const V3 &a = poly[j], &b = poly[i];
    const double ex = double(b.x) - a.x, ey = double(b.y) - a.y;
    const double t = std::clamp(((p.x - a.x) * ex + (p.y - a.y) * ey) / (ex * ex + ey * ey), 0.0, 1.0);
    if (std::hypot(a.x + t * ex - p.x, a.y + t * ey - p.y) <= tol) return true;
    if ((a.y > p.y) != (b.y > p.y) && p.x < a.x + (p.y - a.y) * ex / ey) in = !in;
  }
  return in;
}

// Names the first broken rule of a refined triangulation, or "".
std::string RefinementViolation(const std::vector<std::array<SSEPoint, 3>>& tris, const std::vector<V3>& poly,
                                double limit, bool limitMustHold) {
  double area = 0, expected = 0;
  for (std::size_t i = 0; i < poly.size(); ++i) {
    const V3 &a = poly[i], &b = poly[(i + 1) % poly.size()];
    expected += (double(a.x) * b.y - double(b.x) * a.y) / 2;
  }
  std::vector<SSEPoint> corners;
  for (const auto& t : tris) {
    const double a = Cross(t[0], t[1], t[2]) / 2;
    if (a < -1e-6) return "clockwise triangle";
    area += a;
    for (int k = 0; k < 3; ++k) {
      if (!InsidePolygon(poly, t[k], 1e-3)) return "corner outside the polygon";
      if (limitMustHold && Length(t[k], t[(k + 1) % 3]) > limit * (1 + 1e-6)) return "edge longer than the limit";
      corners.push_back(t[k]);
    }
  }
  if (std::fabs(area - expected) > 1e-4 * std::fabs(expected)) return "areas do not sum to the polygon's";
  // No T-junction: no corner lies strictly inside another triangle's edge.
  for (const auto& t : tris) {
    for (int k = 0; k < 3; ++k) {
      const SSEPoint &a = t[k], &b = t[(k + 1) % 3];
      for (const SSEPoint& p : corners) {
        if ((p.x == a.x && p.y == a.y) || (p.x == b.x && p.y == b.y)) continue;
        const double along = ((p.x - a.x) * (double(b.x) - a.x) + (p.y - a.y) * (double(b.y) - a.y)) /
                             (Length(a, b) * Length(a, b));
        if (along > 1e-6 && along < 1 - 1e-6 && std::fabs(Cross(a, b, p)) / Length(a, b) < 1e-5)
          return "T-junction";
      }
    }
  }
  return "";
}

TEST(EarClipRefinement, SquareIsCutUntilNoEdgeIsLongerThanTheLimit) {
  const std::vector<V3> pts{{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}};
  CSSE3dPolygon poly = Polygon3D(pts);
  CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, 1.0f, true);
  CHPolygonTriangulationRefinement r(&t, 3.0f, 14);
  const auto tris = Chain(r);
  EXPECT_EQ(static_cast<int>(tris.size()), r.GetNumTriangles());
  EXPECT_GT(r.GetNumRounds(), 1);
  EXPECT_EQ(RefinementViolation(tris, pts, 3.0, true), "");
}

TEST(EarClipRefinement, RoundsAreCapped) {
  const std::vector<V3> pts{{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}};
  CSSE3dPolygon poly = Polygon3D(pts);
  CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, 1.0f, true);
  CHPolygonTriangulationRefinement one(&t, 0.01f, 1);
  EXPECT_EQ(one.GetNumRounds(), 1);
  EXPECT_EQ(one.GetNumTriangles(), 8);  // two triangles, all edges cut once
  EXPECT_EQ(RefinementViolation(Chain(one), pts, 0, false), "");
}

TEST(EarClipRefinement, NoLimitOrNoRoundsKeepsTheEarClipping) {
  const std::vector<V3> pts{{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}, {-3, 5, 0}};
  CSSE3dPolygon poly = Polygon3D(pts);
  CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, 1.0f, true);
  for (auto [limit, rounds] : std::vector<std::pair<float, int>>{{0.0f, 14}, {-1.0f, 14}, {NAN, 14}, {1.0f, 0}}) {
    CHPolygonTriangulationRefinement r(&t, limit, rounds);
    EXPECT_EQ(r.GetNumTriangles(), 3);
    EXPECT_EQ(r.GetNumRounds(), 0);
    // The triangles are the ear clipper's, corner for corner.
    const auto tris = Chain(r);
    SSEPoint a, b, c;
    t.GetTriangle3D(1, a, b, c);
    EXPECT_EQ(tris[1][2].x, c.x);
    EXPECT_EQ(tris[1][2].y, c.y);
  }
}

TEST(EarClipRefinement, NewPointsFollowZLinearly) {
  // z = x + 2y on every corner: every split point must stay on that plane.
  std::vector<V3> pts{{0, 0, 0}, {8, 0, 8}, {8, 4, 16}, {4, 2, 8}, {0, 6, 12}};
  CSSE3dPolygon poly = Polygon3D(pts);
  CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, 1.0f, true);
  CHPolygonTriangulationRefinement r(&t, 1.5f, 14);
  const auto tris = Chain(r);
  ASSERT_GT(tris.size(), 20u);
  for (const auto& tri : tris)
    for (const SSEPoint& p : tri) EXPECT_NEAR(p.z, p.x + 2 * p.y, 1e-4) << p.x << "," << p.y;
  EXPECT_EQ(RefinementViolation(tris, pts, 1.5, true), "");
}

TEST(EarClipRefinement, StepIsHonouredAndTheChainIsReleased) {
  std::vector<V3> pts{{0, 0, 1}, {5, -1, 1}, {10, 0, 1}, {11, 5, 1}, {10, 10, 1}, {5, 11, 1}, {0, 10, 1}, {-1, 5, 1}};
  CSSE3dPolygon poly = Polygon3D(pts);
  CHPolygonTriangulator t(&poly, 2, 1.0f, 1.0f, 1.0f, true);
  CHPolygonTriangulationRefinement r(&t, 4.0f, 14);
  const std::vector<V3> even{pts[0], pts[2], pts[4], pts[6]};
  EXPECT_EQ(RefinementViolation(Chain(r), even, 4.0, true), "");
  r.ReleaseTriangles();
  EXPECT_EQ(r.GetNumTriangles(), 0);
  EXPECT_EQ(r.GetTriangleChain(), nullptr);
  SSEPoint a, b, c;
  EXPECT_FALSE(r.GetFirstTriangle3D(a, b, c));
  EXPECT_FALSE(r.GetNextTriangle3D(a, b, c));
}

TEST(EarClipRefinementProperty, RandomStarPolygons) {
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 12; ++round) {
    const int n = 4 + static_cast<int>(rng() % 16);
    std::vector<V3> pts;
    for (int i = 0; i < n; ++i) {
      const double a = 6.283185307 * (i + 0.3 * std::uniform_real_distribution<double>(0, 1)(rng)) / n;
      const double r = std::uniform_real_distribution<double>(4, 20)(rng);
      pts.push_back({static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a)),
                     static_cast<float>(std::uniform_real_distribution<double>(-2, 2)(rng))});
    }
    CSSE3dPolygon poly = Polygon3D(pts);
    CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, 1.0f, true);
    if (t.GetNumTriangles() != n - 2) continue;  // covered by the ear-clipping tests
    const float limit = std::uniform_real_distribution<float>(2.0f, 8.0f)(rng);
    CHPolygonTriangulationRefinement r(&t, limit, 14);
    ASSERT_EQ(RefinementViolation(Chain(r), pts, limit, true), "") << "round " << round;
  }
}

}  // namespace
