// Graham's scan: the start point's tie rule, the squash of collinear
// points, the printed lines, random point sets against an exact
// monotone-chain hull, and the block-wise sort against QuickSort itself
// (referenceScans): the same point order, delete flags, deletion count and
// hull, on inputs where the tolerance makes many pairs collinear and some
// points coincide.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
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

CSSE2dPolygon Polygon(const std::vector<XY>& pts) {
  CSSE2dPolygon poly;
  poly.Create(static_cast<int>(pts.size()));
  for (int i = 0; i < static_cast<int>(pts.size()); ++i) poly.SetPoint(i, pts[i].x, pts[i].y);
  return poly;
}

// Runs the hull of pts; returns what it printed and, in hull, its corners.
std::string HullOutput(const std::vector<XY>& pts, std::vector<XY>& hull) {
  CSSE2dPolygon poly = Polygon(pts), out;
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
  const auto pts = Tuples("0 0 7, 2 0 8, 1 0.5 9, 1 2 10");
  poly.Create(4);
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

// The hull turns strictly left at every corner and holds every point (up to
// the tolerance); from integer points (exact in double) it has the corners
// of the exact hull in the same counter-clockwise cycle.
testing::AssertionResult ConvexHullOf(const std::vector<XY>& pts, const std::vector<XY>& hull, bool integer) {
  std::vector<XY> expected = MonotoneChainHull(pts, Cross<XY, XY, XY>);
  if (expected.size() < 3) return testing::AssertionSuccess();  // all collinear: no 2D hull to compare
  if (hull.size() < 3) return testing::AssertionFailure() << hull.size() << " hull corners";
  for (std::size_t i = 0; i < hull.size(); ++i) {
    const XY &a = hull[i], &b = hull[(i + 1) % hull.size()];
    if (!(Cross(a, b, hull[(i + 2) % hull.size()]) > 0.0005))
      return testing::AssertionFailure() << "not a strict left turn at " << i;
    // A nearly collinear corner dropped within the tolerance of its own
    // triple may sit a little further out of the longer final edge.
    for (const XY& p : pts)
      if (Cross(a, b, p) < -0.005)
        return testing::AssertionFailure() << "(" << p.x << ", " << p.y << ") outside hull edge " << i;
  }
  if (!integer) return testing::AssertionSuccess();
  const auto start = std::find(expected.begin(), expected.end(), hull[0]);
  if (start != expected.end()) std::rotate(expected.begin(), start, expected.end());
  if (hull == expected) return testing::AssertionSuccess();
  return testing::AssertionFailure() << hull.size() << " corners, the exact hull has " << expected.size();
}

// Names the first field in which the two hulls' state differs.
testing::AssertionResult SameState(const CHConvexHull2D& fast, const CHConvexHull2D& plain) {
  if (fast.GetNumPoints() != plain.GetNumPoints())
    return testing::AssertionFailure() << fast.GetNumPoints() << " points kept, expected " << plain.GetNumPoints();
  if (fast.GetNumDeleted() != plain.GetNumDeleted())
    return testing::AssertionFailure() << "deletion count " << fast.GetNumDeleted() << ", expected "
                                       << plain.GetNumDeleted();
  for (int i = 0; i < plain.GetNumPoints(); ++i) {
    const tPointStruc &a = fast.GetPoints()[i], &e = plain.GetPoints()[i];
    if (a.vnum != e.vnum || std::memcmp(&a.x, &e.x, 3 * sizeof(float)) != 0 || a.del != e.del)
      return testing::AssertionFailure() << "point " << i << " is #" << a.vnum << " (" << a.x << ", " << a.y
                                         << (a.del ? ", flagged" : "") << "), expected #" << e.vnum << " (" << e.x
                                         << ", " << e.y << (e.del ? ", flagged" : "") << ")";
  }
  const tStackCell *a = fast.GetStackTop(), *e = plain.GetStackTop();
  for (int k = 0; a || e; ++k, a = a->next, e = e->next) {
    if (!a || !e) return testing::AssertionFailure() << "hull lengths differ at stack cell " << k;
    if (a->p->vnum != e->p->vnum)
      return testing::AssertionFailure() << "stack cell " << k << " holds #" << a->p->vnum << ", expected #"
                                         << e->p->vnum;
  }
  return testing::AssertionSuccess();
}

std::vector<XY> MakePoints(const std::string& kind, int n, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(0.0f, 1000.0f), tiny(0.0f, 0.05f), unit(0.0f, 1.0f);
  std::uniform_int_distribution<int> cell(0, 30), ray(1, 40), dir(0, 5);
  std::normal_distribution<float> g(0.0f, 1.0f);
  std::vector<XY> p(n);
  for (int i = 0; i < n; ++i) {
    if (kind == "uniform") {
      p[i] = {u(rng), u(rng)};
    } else if (kind == "normal") {  // dense near the origin: many triples within the tolerance
      p[i] = {g(rng), g(rng)};
    } else if (kind == "tiny") {  // most pairs within the area tolerance
      p[i] = {tiny(rng), tiny(rng)};
    } else if (kind == "grid") {  // integer points, many repeated
      p[i] = {static_cast<float>(cell(rng)), static_cast<float>(cell(rng))};
    } else if (kind == "rays") {  // points on six rays from (0, 0), plus the origin now and then
      static const int kDir[6][2] = {{1, 0}, {3, 1}, {1, 1}, {1, 3}, {0, 1}, {-2, 1}};
      const int d = dir(rng), k = i % 17 == 0 ? 0 : ray(rng);
      p[i] = {static_cast<float>(k * kDir[d][0]), static_cast<float>(k * kDir[d][1])};
    } else if (kind == "ulp") {  // a line through the lowest point, nudged by an ulp or two
      const float t = 1.0f + 100.0f * unit(rng);
      const int nudge = static_cast<int>(rng() % 5) - 2;
      float y = t * 0.75f;
      for (int s = 0; s < std::abs(nudge); ++s) y = std::nextafter(y, nudge > 0 ? 1e9f : -1e9f);
      p[i] = {t, y};
    } else {  // far from the origin: float spacing 0.0625 there
      p[i] = {5e5f + std::floor(u(rng)) / 16.0f, 5e5f + std::floor(u(rng)) / 16.0f};
    }
  }
  return p;
}

TEST(Hull2DSort, BlockPartitionsMatchQuickSort) {
  for (const std::string kind : {"uniform", "normal", "tiny", "grid", "rays", "ulp", "far"})
    for (const int n : {3, 9, 10, 31, 200, 3000, 40000})
      for (const unsigned seed : {1u, 2u, 3u}) {
        if (n == 40000 && seed > 1) continue;
        SCOPED_TRACE(kind + ", n " + std::to_string(n) + ", seed " + std::to_string(seed));
        const std::vector<XY> pts = MakePoints(kind, n, seed);
        CSSE2dPolygon poly = Polygon(pts);
        testing::internal::CaptureStdout();
        const CHConvexHull2D plain(&poly, true);
        const std::string plainPrinted = testing::internal::GetCapturedStdout();
        testing::internal::CaptureStdout();
        const CHConvexHull2D fast(&poly);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), plainPrinted);
        ASSERT_TRUE(SameState(fast, plain));
        if (kind == "tiny" || kind == "ulp" || kind == "far") continue;  // the tolerance decides there
        std::vector<XY> hull;
        HullOutput(pts, hull);
        ASSERT_TRUE(ConvexHullOf(pts, hull, kind == "grid" || kind == "rays"));
      }
}

}  // namespace
