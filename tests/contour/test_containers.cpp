// The polygon's companions: CSSE2dPolygon's
// deliberately odd measures, and TaCSSEVertexContainer.

#include "polygon_fixtures.h"
#include "relief/CSSE2dPolygon.h"
#include "relief/CSSEMatrix.h"
#include "relief/TaCSSEVertexContainer.h"

using namespace contour_test;

namespace {

CSSE2dPolygon Make2d(std::initializer_list<t_h2dpoint> pts) {
  CSSE2dPolygon p;
  p.Create(static_cast<int>(pts.size()));
  int i = 0;
  for (const t_h2dpoint& q : pts) p.SetPoint(i++, q.x, q.y);
  return p;  // copy constructor: deep
}

TEST(Polygon2d, OddMeasures) {
  // The minimum distance pairs x with itself and never examines a fifth point.
  EXPECT_EQ(Make2d({{0, 50}, {1, -7}, {2, 100}, {5, 0}}).GetMinEuclDistance(3, 100), std::sqrt(2.0f));
  EXPECT_EQ(Make2d({{10, 0}, {10, 0}, {10, 0}, {10, 0}, {3, 0}}).GetMinEuclDistance(3, 0), std::sqrt(2.0f * 49.0f));
  // The area takes two terms only; a pentagon: t1 from (p4, p0, x1), t2 from (p3, p4, x1).
  EXPECT_EQ(Make2d({{0, 0}, {1, 0}, {1, 1}, {0, 1}}).CalcArea(), 0.0f);
  EXPECT_EQ(Make2d({{0, 0}, {2, 0}, {0, 1}}).CalcArea(), -5.0f);
  const double t1 = ((0.0 - -1.0) - (0.0 - 3.0)) * (4.0 - 3.0), t2 = ((-1.0 - 2.0) - (3.0 - 5.0)) * (4.0 - 5.0);
  EXPECT_EQ(Make2d({{0, 0}, {4, 0}, {5, 3}, {2, 5}, {-1, 3}}).CalcArea(),
            static_cast<float>(t2 + static_cast<float>(t1)));
  // Closest point with stride two: point 1 matches exactly but odd indices are skipped.
  // Free keeps the count; without arrays everything is inert.
  CSSE2dPolygon p = Make2d({{0, 0}, {5, 5}, {9, 9}, {5, 5}});
  const std::vector<int> before = {p.ClosestPointX(5), p.ClosestPointY(1)};
  p.Free();
  EXPECT_EQ(std::vector<float>({float(before[0]), float(before[1]), float(p.GetNumPoints()), p.GetMinEuclDistance(0, 0),
                                float(p.ClosestPointX(0))}),
            std::vector<float>({2, 0, 4, 1e6f, -1}));
}

TEST(VertexContainer, CapacityExtremesAndLookups) {
  TaCSSEVertexContainer c(2);
  for (float x : {1.0f, 2.0f, 3.0f}) c.AppendVertex(Lv(V(x, x, x, 7)));  // the third does not fit
  ASSERT_EQ(c.GetNumVertices(), 2);
  EXPECT_TRUE(Same(c.GetVertex(1), V(2, 2, 2, 7)));  // all four lanes kept
  c.ReallocSize(10);
  c.AppendVertex(Lv(V(3, 3)));
  c.ReallocSize(2);  // shrinking keeps the first two instead of overrunning
  EXPECT_EQ(std::pair(c.GetNumVertices(), c.GetVertex(1).x), std::pair(2, 2.0f));
  c.CreateVertexArray(-3);  // a negative capacity holds nothing
  c.AppendVertex(Lv(V(1, 1)));
  EXPECT_EQ(c.GetNumVertices(), 0);
  c.CreateVertexArray(4);
  EXPECT_TRUE(Same(c.MinPoint(), V(999999.875f, 999999.875f, 999999.875f, 999999.875f)));
  c.AppendVertex(Lv(V(0, 5, 1, 2)));
  c.AppendVertex(Lv(V(5, 0, -1, 3)));
  SSEPoint out;
  EXPECT_EQ(c.MinPointIndex(out), -1);  // min x and min y from different vertices
  EXPECT_TRUE(Same(out, V(0, 0, -1, 2)));
  c.AppendVertex(Lv(V(-1, -1, 9, 9)));
  EXPECT_EQ(std::pair(c.MinPointIndex(out), c.PointIndex(Lv(V(5, 0, 9, 9)))), std::pair(2, 1));  // z, w not compared
}

TEST(VertexContainer, ZFromMatrixOffsetAndError) {
  CSSEMatrix m;
  m.Create(512, 512);
  m.SetPoint(0, 511, 4.5f);
  m.SetPoint(10, 20, 2.0f);
  TaCSSEVertexContainer c(3);
  c.AppendVertex(Lv(V(-3.2f, 700.6f, 0, 1)));  // clamps to (0, 511)
  c.AppendVertex(Lv(V(9.5f, 19.5f, 0)));       // (10, 20) after adding 0.5
  c.SetVertexZFromMatrix(&m);
  EXPECT_TRUE(Same(c.GetVertex(0), V(-3.2f, 700.6f, 4.5f, 1)));
  EXPECT_EQ(c.GetVertex(1).z, 2.0f);
  c.AddOffset(0.2f, -1, 1);
  EXPECT_EQ(c.GetVertex(0).x, static_cast<float>(double(-3.2f) + double(0.2f)));
  SSEPoint e = V(1, 1, 1, 100);
  c.AddError(&e);
  EXPECT_TRUE(Same(c.GetVertex(0), V(c.GetVertex(0).x, c.GetVertex(0).y, 6.5f, 1)));  // w left alone
  EXPECT_EQ(c.GetVertex(1).z, 4.0f);  // the same vector again, not e + 1
}

}  // namespace
