// CSSE2dPolygon: storage quirks and the two deliberately odd measures.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include "relief/CMemoryException.h"
#include "relief/CSSE2dPolygon.h"

namespace {

CSSE2dPolygon Make(std::initializer_list<t_h2dpoint> pts) {
  CSSE2dPolygon p;
  p.Create(static_cast<int>(pts.size()));
  int i = 0;
  for (const t_h2dpoint& q : pts) p.SetPoint(i++, q.x, q.y);
  return p;  // copy constructor: deep
}

TEST(Polygon2d, CreateAllocatesAlignedZeroedPairs) {
  for (int n : {1, 2, 3, 4, 5, 7, 8}) {
    CSSE2dPolygon p;
    p.Create(n);
    ASSERT_EQ(p.GetNumPoints(), n);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p.GetXArray()) & 15, 0u);
    const int floats = (n + 1) / 2 * 4;  // ((n + 1) div 2) * 16 bytes
    for (int i = 0; i < floats; ++i) EXPECT_EQ(p.GetYArray()[i], 0.0f) << n;
  }
  CSSE2dPolygon bad;
  EXPECT_THROW(bad.Create(-2), CMemoryException);
}

TEST(Polygon2d, FreeKeepsCount) {
  CSSE2dPolygon p = Make({{1, 2}, {3, 4}, {5, 6}});
  p.Free();
  EXPECT_EQ(p.GetNumPoints(), 3);
  EXPECT_EQ(p.GetXArray(), nullptr);
  float x = -1, y = -1;
  p.GetPoint(0, x, y);  // no arrays: outputs untouched, no crash
  EXPECT_EQ(x, -1.0f);
  p.SetPoint(0, 1, 1);
  EXPECT_EQ(p.GetMinEuclDistance(0, 0), 1e6f);
  EXPECT_EQ(p.CalcArea(), 0.0f);
  EXPECT_EQ(p.ClosestPointX(0), -1);
  CSSE2dPolygon fresh;
  EXPECT_EQ(fresh.GetNumPoints(), 0);
}

TEST(Polygon2d, AccessAndBadIndices) {
  CSSE2dPolygon p = Make({{1, 2}, {3, 4}});
  t_h2dpoint q{-1, -1};
  p.GetPoint(1, q);
  EXPECT_EQ(q.x, 3.0f);
  EXPECT_EQ(q.y, 4.0f);
  for (int i : {-1, 2}) {
    p.SetPoint(i, 9, 9);
    t_h2dpoint r{-5, -5};
    p.GetPoint(i, r);
    EXPECT_EQ(r.x, -5.0f);
  }
}

TEST(Polygon2d, CopiesDeepAssignsShallow) {
  CSSE2dPolygon a = Make({{1, 2}, {3, 4}});
  CSSE2dPolygon b(a);
  EXPECT_NE(b.GetXArray(), a.GetXArray());
  CSSE2dPolygon c;
  unsigned char own[sizeof(CSSE2dPolygon)];
  std::memcpy(own, static_cast<void*>(&c), sizeof c);
  c = a;
  EXPECT_EQ(c.GetXArray(), a.GetXArray());
  std::memcpy(static_cast<void*>(&c), own, sizeof c);  // only one owner may be destroyed
}

TEST(Polygon2d, MinDistancePairsXWithItself) {
  CSSE2dPolygon p = Make({{0, 50}, {1, -7}, {2, 100}, {5, 0}});
  EXPECT_EQ(p.GetMinEuclDistance(3, 100), std::sqrt(2.0f));  // from x = 2; y plays no part
  CSSE2dPolygon five = Make({{10, 0}, {10, 0}, {10, 0}, {10, 0}, {3, 0}});
  EXPECT_EQ(five.GetMinEuclDistance(3, 0), std::sqrt(2.0f * 49.0f));  // the fifth point is never examined
  CSSE2dPolygon three = Make({{3, 0}, {3, 0}, {3, 0}});
  EXPECT_EQ(three.GetMinEuclDistance(3, 0), 1e6f);
}

TEST(Polygon2d, CalcAreaTwoTermsOnly) {
  struct Case {
    const char* name;
    CSSE2dPolygon p;
    float expect;
  };
  Case cases[] = {
      {"square", Make({{0, 0}, {1, 0}, {1, 1}, {0, 1}}), 0.0f},
      {"triangle", Make({{0, 0}, {2, 0}, {0, 1}}), -5.0f},
      {"two points", Make({{0, 0}, {2, 0}}), 0.0f},
  };
  for (Case& c : cases) EXPECT_EQ(c.p.CalcArea(), c.expect) << c.name;
  // A pentagon: t1 from (p4, p0, x1), t2 from (p3, p4, x1).
  CSSE2dPolygon pent = Make({{0, 0}, {4, 0}, {5, 3}, {2, 5}, {-1, 3}});
  const double t1 = ((0.0 - -1.0) - (0.0 - 3.0)) * (4.0 - 3.0);
  const double t2 = ((-1.0 - 2.0) - (3.0 - 5.0)) * (4.0 - 5.0);
  EXPECT_EQ(pent.CalcArea(), static_cast<float>(t2 + static_cast<float>(t1)));
}

TEST(Polygon2d, ClosestPointStrideTwo) {
  CSSE2dPolygon p = Make({{0, 0}, {5, 5}, {9, 9}, {5, 5}});
  EXPECT_EQ(p.ClosestPointX(5), 2);  // point 1 matches exactly but odd indices are skipped
  EXPECT_EQ(p.ClosestPointY(1), 0);
  CSSE2dPolygon one = Make({{0, 0}});
  EXPECT_EQ(one.ClosestPointX(0), -1);
}

}  // namespace
