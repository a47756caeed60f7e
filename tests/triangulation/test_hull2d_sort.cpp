// The 2D hull's block-wise sort against QuickSort itself (referenceScans):
// the same point order, delete flags, deletion count and hull, on inputs
// where the tolerance makes many pairs collinear and some points coincide.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "relief/CHConvexHull2D.h"
#include "relief/CSSE2dPolygon.h"

namespace {

struct XY {
  float x, y;
};

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
  std::vector<XY> p(n);
  for (int i = 0; i < n; ++i) {
    if (kind == "uniform") {
      p[i] = {u(rng), u(rng)};
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
  for (const std::string kind : {"uniform", "tiny", "grid", "rays", "ulp", "far"})
    for (const int n : {3, 9, 10, 31, 200, 3000, 40000})
      for (const unsigned seed : {1u, 2u, 3u}) {
        if (n == 40000 && seed > 1) continue;
        SCOPED_TRACE(kind + ", n " + std::to_string(n) + ", seed " + std::to_string(seed));
        const std::vector<XY> pts = MakePoints(kind, n, seed);
        CSSE2dPolygon poly;
        poly.Create(n);
        for (int i = 0; i < n; ++i) poly.SetPoint(i, pts[i].x, pts[i].y);
        testing::internal::CaptureStdout();
        const CHConvexHull2D plain(&poly, true);
        const std::string plainPrinted = testing::internal::GetCapturedStdout();
        testing::internal::CaptureStdout();
        const CHConvexHull2D fast(&poly);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), plainPrinted);
        ASSERT_TRUE(SameState(fast, plain));
      }
}

}  // namespace
