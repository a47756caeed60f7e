// Graham's scan: the start point's tie rule, the squash of collinear
// points, the printed lines, and random point sets against an exact
// monotone-chain hull.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "relief/CHConvexHull2D.h"
#include "relief/CSSE2dPolygon.h"
#include "relief/CSSE3dPolygon.h"
#include "test_hull_reference.h"
#include "test_hull_seed.h"

namespace {

struct XY {
  float x, y;
  bool operator==(const XY& o) const { return x == o.x && y == o.y; }
  bool operator<(const XY& o) const { return x < o.x || (x == o.x && y < o.y); }
};

CSSE2dPolygon Polygon2D(const std::vector<XY>& pts) {
  CSSE2dPolygon poly;
  poly.Create(static_cast<int>(pts.size()));
  for (int i = 0; i < static_cast<int>(pts.size()); ++i) poly.SetPoint(i, pts[i].x, pts[i].y);
  return poly;
}

std::vector<XY> HullOf(const CHConvexHull2D& h) {
  CSSE2dPolygon out;
  h.ObtainConvexHull2D(&out);
  std::vector<XY> v;
  for (int i = 0; i < out.GetNumPoints(); ++i) {
    XY p{};
    out.GetPoint(i, p.x, p.y);
    v.push_back(p);
  }
  return v;
}

// Runs the hull of pts and returns what it printed.
std::string HullOutput(const std::vector<XY>& pts, std::vector<XY>* hull) {
  CSSE2dPolygon poly = Polygon2D(pts);
  testing::internal::CaptureStdout();
  CHConvexHull2D h(&poly);
  std::string printed = testing::internal::GetCapturedStdout();
  if (hull) *hull = HullOf(h);
  return printed;
}

struct LineCase {
  const char* name;
  std::vector<XY> points;
  std::string printed;
  std::vector<XY> hull;
};

class Hull2DLines : public testing::TestWithParam<LineCase> {};

TEST_P(Hull2DLines, PrintsAndBuilds) {
  std::vector<XY> hull;
  EXPECT_EQ(HullOutput(GetParam().points, &hull), GetParam().printed);
  EXPECT_EQ(hull, GetParam().hull);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Hull2DLines,
    testing::Values(
        // Equal lowest y: the smaller x (index 2) becomes point 0.
        LineCase{"tie_takes_smaller_x",
                 {{3, 0}, {2, 2}, {1, 0}, {2, 1}},
                 "Swapping 2 with 0\n",
                 {{1, 0}, {3, 0}, {2, 2}}},
        // (1, 1) and (2, 2) lie on the ray from (0, 0) to (3, 3): both squashed.
        LineCase{"collinear_ray_is_squashed",
                 {{0, 0}, {1, 1}, {4, 0}, {3, 3}, {2, 2}, {0, 4}},
                 "Swapping 0 with 0\nAfter Squash: n=4\n",
                 {{0, 0}, {4, 0}, {3, 3}, {0, 4}}},
        // Within the tolerance counts as collinear too.
        LineCase{"nearly_collinear_is_squashed",
                 {{0, 0}, {2, 0}, {1, 1.0002f}, {2, 2}},
                 "Swapping 0 with 0\nAfter Squash: n=3\n",
                 {{0, 0}, {2, 0}, {2, 2}}},
        // A repeated point: the copy with the smaller index goes.
        LineCase{"repeat_is_squashed",
                 {{0, 0}, {1, 0}, {1, 1}, {1, 1}},
                 "Swapping 0 with 0\nAfter Squash: n=3\n",
                 {{0, 0}, {1, 0}, {1, 1}}},
        LineCase{"single_point", {{5, 5}}, "Swapping 0 with 0\n", {{5, 5}}},
        LineCase{"two_points", {{5, 5}, {1, 2}}, "Swapping 1 with 0\n", {{1, 2}, {5, 5}}},
        LineCase{"empty", {}, "", {}}),
    [](const testing::TestParamInfo<LineCase>& i) { return std::string(i.param.name); });

TEST(Hull2D, CompareRulesAboutPointZero) {
  CSSE2dPolygon poly = Polygon2D({{0, 0}, {4, 0}, {0, 4}});
  testing::internal::CaptureStdout();
  CHConvexHull2D h(&poly);
  testing::internal::GetCapturedStdout();
  tPointStruc a{10, 2, 2, 0, false}, b{11, 4, 4, 0, false}, c{12, 4, 1, 0, false}, d{13, 2, 2, 0, false};
  EXPECT_EQ(h.Compare(&c, &a), -1);  // c turns less: comes first
  EXPECT_EQ(h.Compare(&a, &c), 1);
  const int before = h.GetNumDeleted();
  EXPECT_EQ(h.Compare(&a, &b), -1);  // a nearer on the same ray
  EXPECT_TRUE(a.del);
  EXPECT_FALSE(b.del);
  a.del = false;
  EXPECT_EQ(h.Compare(&b, &a), 1);
  EXPECT_TRUE(a.del);
  a.del = false;
  EXPECT_EQ(h.Compare(&d, &a), 0);  // coincident: the smaller vnum goes
  EXPECT_TRUE(a.del);
  EXPECT_FALSE(d.del);
  EXPECT_EQ(h.GetNumDeleted(), before + 3);
}

TEST(Hull2D, ThreeDimensionalPolygonKeepsZ) {
  CSSE3dPolygon poly;
  poly.Create(4);
  poly.SetPoint(0, 0, 0, 7);
  poly.SetPoint(1, 2, 0, 8);
  poly.SetPoint(2, 1, 0.5f, 9);
  poly.SetPoint(3, 1, 2, 10);
  testing::internal::CaptureStdout();
  CHConvexHull2D h(&poly);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Swapping 0 with 0\n");
  CSSE3dPolygon out;
  h.ObtainConvexHull3D(&out);
  ASSERT_EQ(out.GetNumPoints(), 3);
  float x, y, z;
  out.GetPoint(2, x, y, z);
  EXPECT_EQ(z, 10.0f);
  EXPECT_EQ(h.GetHullSize(), 3);
}

// Exact hull without collinear points (integer coordinates: exact in double).
std::vector<XY> ReferenceHull(const std::vector<XY>& p) {
  return MonotoneChainHull(p, [](const XY& o, const XY& a, const XY& b) {
    return (static_cast<double>(a.x) - o.x) * (static_cast<double>(b.y) - o.y) -
           (static_cast<double>(a.y) - o.y) * (static_cast<double>(b.x) - o.x);
  });
}

TEST(Hull2DProperty, RandomIntegerPointsMatchTheExactHull) {
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 200; ++round) {
    const int n = 3 + static_cast<int>(rng() % 300);
    const int range = round % 3 == 0 ? 8 : 1000;  // small ranges: many repeats and collinear runs
    std::uniform_int_distribution<int> coord(-range, range);
    std::vector<XY> pts;
    for (int i = 0; i < n; ++i) pts.push_back({static_cast<float>(coord(rng)), static_cast<float>(coord(rng))});
    std::vector<XY> hull;
    HullOutput(pts, &hull);
    std::vector<XY> expected = ReferenceHull(pts);
    if (expected.size() < 3) continue;  // all collinear: no 2D hull to compare
    // Same corners, same counter-clockwise cycle (the start may differ).
    ASSERT_EQ(hull.size(), expected.size()) << "round " << round << [&] {
      std::string s;
      for (const XY& p : pts) s += " (" + std::to_string(int(p.x)) + "," + std::to_string(int(p.y)) + ")";
      return s;
    }();
    const auto start = std::find(expected.begin(), expected.end(), hull[0]);
    ASSERT_NE(start, expected.end()) << "round " << round;
    std::rotate(expected.begin(), start, expected.end());
    ASSERT_EQ(hull, expected) << "round " << round;
  }
}

}  // namespace

namespace {

TEST(Hull2DProperty, RandomFloatPointsLieInsideTheHull) {
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 100; ++round) {
    const int n = 3 + static_cast<int>(rng() % 500);
    std::normal_distribution<float> g(0.0f, round % 2 ? 1.0f : 300.0f);
    std::vector<XY> pts;
    for (int i = 0; i < n; ++i) pts.push_back({g(rng), g(rng)});
    std::vector<XY> hull;
    HullOutput(pts, &hull);
    ASSERT_GE(hull.size(), 3u) << "round " << round;
    for (std::size_t i = 0; i < hull.size(); ++i) {
      const XY &a = hull[i], &b = hull[(i + 1) % hull.size()], &c = hull[(i + 2) % hull.size()];
      const double turn = (double(b.x) - a.x) * (double(c.y) - a.y) - (double(c.x) - a.x) * (double(b.y) - a.y);
      ASSERT_GT(turn, 0.0005) << "round " << round << ": not a strict left turn at " << i;
      for (const XY& p : pts) {
        const double side = (double(b.x) - a.x) * (double(p.y) - a.y) - (double(p.x) - a.x) * (double(b.y) - a.y);
        ASSERT_GE(side, -0.0005) << "round " << round << ": a point outside hull edge " << i;
      }
    }
  }
}

}  // namespace
