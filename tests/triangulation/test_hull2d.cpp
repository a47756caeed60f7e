// Graham's scan: the start point's tie rule, the squash of collinear
// points, the printed lines, and random point sets against an exact
// monotone-chain hull.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "predicates.h"
#include "relief/CHConvexHull2D.h"
#include "relief/CSSE2dPolygon.h"
#include "relief/CSSE3dPolygon.h"
#include "test_hull_reference.h"

namespace {

using namespace relief_test;

struct XY {
  float x, y;
  bool operator==(const XY& o) const { return x == o.x && y == o.y; }
  bool operator<(const XY& o) const { return x < o.x || (x == o.x && y < o.y); }
};

double Cross(const XY& o, const XY& a, const XY& b) {
  return (static_cast<double>(a.x) - o.x) * (static_cast<double>(b.y) - o.y) -
         (static_cast<double>(a.y) - o.y) * (static_cast<double>(b.x) - o.x);
}

// Runs the hull of pts; returns what it printed and, in hull, its corners.
std::string HullOutput(const std::vector<XY>& pts, std::vector<XY>& hull) {
  CSSE2dPolygon poly, out;
  poly.Create(static_cast<int>(pts.size()));
  for (int i = 0; i < static_cast<int>(pts.size()); ++i) poly.SetPoint(i, pts[i].x, pts[i].y);
  testing::internal::CaptureStdout();
  CHConvexHull2D h(&poly);
  const std::string printed = testing::internal::GetCapturedStdout();
  h.ObtainConvexHull2D(&out);
  hull.assign(out.GetNumPoints(), XY{});
  for (int i = 0; i < out.GetNumPoints(); ++i) out.GetPoint(i, hull[i].x, hull[i].y);
  return printed;
}

TEST(Hull2D, PrintsAndBuilds) {
  const struct {
    std::vector<XY> points;
    std::string printed;
    std::vector<XY> hull;
  } cases[] = {
      // Equal lowest y: the smaller x (index 2) becomes point 0.
      {{{3, 0}, {2, 2}, {1, 0}, {2, 1}}, "Swapping 2 with 0\n", {{1, 0}, {3, 0}, {2, 2}}},
      // (1, 1) and (2, 2) lie on the ray from (0, 0) to (3, 3): both squashed.
      {{{0, 0}, {1, 1}, {4, 0}, {3, 3}, {2, 2}, {0, 4}},
       "Swapping 0 with 0\nAfter Squash: n=4\n",
       {{0, 0}, {4, 0}, {3, 3}, {0, 4}}},
      // Within the tolerance counts as collinear too.
      {{{0, 0}, {2, 0}, {1, 1.0002f}, {2, 2}}, "Swapping 0 with 0\nAfter Squash: n=3\n", {{0, 0}, {2, 0}, {2, 2}}},
      // A repeated point: the copy with the smaller index goes.
      {{{0, 0}, {1, 0}, {1, 1}, {1, 1}}, "Swapping 0 with 0\nAfter Squash: n=3\n", {{0, 0}, {1, 0}, {1, 1}}},
      {{{5, 5}}, "Swapping 0 with 0\n", {{5, 5}}},
      {{{5, 5}, {1, 2}}, "Swapping 1 with 0\n", {{1, 2}, {5, 5}}},
      {{}, "", {}}};
  for (const auto& c : cases) {
    std::vector<XY> hull;
    EXPECT_EQ(HullOutput(c.points, hull), c.printed) << c.points.size() << " points";
    EXPECT_EQ(hull, c.hull) << c.printed;
  }
}

TEST(Hull2D, ThreeDimensionalPolygonKeepsZ) {
  CSSE3dPolygon poly, out;
  poly.Create(4);
  const float pts[4][3] = {{0, 0, 7}, {2, 0, 8}, {1, 0.5f, 9}, {1, 2, 10}};
  for (int i = 0; i < 4; ++i) poly.SetPoint(i, pts[i][0], pts[i][1], pts[i][2]);
  testing::internal::CaptureStdout();
  CHConvexHull2D h(&poly);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Swapping 0 with 0\n");
  h.ObtainConvexHull3D(&out);
  ASSERT_EQ(out.GetNumPoints(), 3);
  float x, y, z;
  out.GetPoint(2, x, y, z);
  EXPECT_TRUE(AllEqual({FIELD(h.GetHullSize(), 3), FIELD(z, 10.0f)}));
}

// Integer points (exact in double, many repeats and collinear runs in small
// ranges) must give the exact hull; every hull must turn strictly left and
// hold all points.
TEST(Hull2DProperty, RandomPointsGiveAConvexHullEqualToTheExactOne) {
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 300; ++round) {
    const bool integer = round % 3 != 2;
    const int n = 3 + static_cast<int>(rng() % (integer ? 300 : 500));
    const int range = round % 3 == 0 ? 8 : 1000;
    std::uniform_int_distribution<int> coord(-range, range);
    std::normal_distribution<float> g(0.0f, round % 2 ? 1.0f : 300.0f);
    std::vector<XY> pts, hull;
    for (int i = 0; i < n; ++i)
      pts.push_back(integer ? XY{static_cast<float>(coord(rng)), static_cast<float>(coord(rng))} : XY{g(rng), g(rng)});
    HullOutput(pts, hull);
    std::vector<XY> expected = MonotoneChainHull(pts, Cross);
    if (expected.size() < 3) continue;  // all collinear: no 2D hull to compare
    const std::string where = "round " + std::to_string(round);
    ASSERT_GE(hull.size(), 3u) << where;
    for (std::size_t i = 0; i < hull.size(); ++i) {
      const XY &a = hull[i], &b = hull[(i + 1) % hull.size()];
      ASSERT_GT(Cross(a, b, hull[(i + 2) % hull.size()]), 0.0005) << where << ": not a strict left turn at " << i;
      // A nearly collinear corner dropped within the tolerance of its own
      // triple may sit a little further out of the longer final edge.
      for (const XY& p : pts) ASSERT_GE(Cross(a, b, p), -0.005) << where << ": a point outside hull edge " << i;
    }
    if (!integer) continue;
    // Same corners, same counter-clockwise cycle (the start may differ).
    ASSERT_EQ(hull.size(), expected.size()) << where;
    const auto start = std::find(expected.begin(), expected.end(), hull[0]);
    ASSERT_NE(start, expected.end()) << where;
    std::rotate(expected.begin(), start, expected.end());
    ASSERT_EQ(hull, expected) << where;
  }
}

}  // namespace
