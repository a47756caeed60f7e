// Life cycle, copies, point access and the derived quantities of CSSE3dPolygon.

#include <cstring>
#include <iterator>

#include "polygon_fixtures.h"
#include "relief/CMemoryException.h"
#include "relief/CPixelChain.h"

using namespace contour_test;

namespace {

TEST(PolygonModel, FailedCreateAndEmptyBox) {
  CSSE3dPolygon poly = Make(Square(0, 0, 1));
  EXPECT_THROW(poly.Create(-1), CMemoryException);
  EXPECT_EQ(poly.GetNumPoints(), 0);
  poly.CalcBoundingBox();  // an empty polygon's box is inverted, and flagged
  EXPECT_TRUE(Same(poly.GetTopRight(), V(-1e6f, -1e6f, -1e6f, 0)));
  EXPECT_TRUE(Same(poly.GetBottomLeft(), V(1e6f, 1e6f, 1e6f, 0)));
  EXPECT_TRUE(CSSE3dPolygon(poly).IsBoundingBoxCalculated());  // and a copy keeps the flag
}

TEST(PolygonModel, CopiesDeepAssignsShallowCreateSimilarRawOnly) {
  CSSE3dPolygon a = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {0, 1, 1}, {2, 2, 2}}), similar, shallow;
  t_resolutiondata r{2.0f, 3.0f, 4.0f};
  a.NormalizeXYZ(r);
  a.CalcBoundingBox();
  // The copy's point writes clear the flag, but the records came along.
  // CreateSimilar copies raw points, the records and the flag, not the normalized arrays.
  CSSE3dPolygon b(a);
  float x, y, z;
  similar.CreateSimilar(&a);
  similar.GetPointNormalized(0, x, y, z);
  EXPECT_EQ(std::vector<float>({float(b.IsBoundingBoxCalculated()), b.GetTopRight().x, x}),
            std::vector<float>({0, 7, 0}));
  // Assignment shares points and records: keep the target's own members aside,
  // since only one of the two objects may be destroyed.
  unsigned char own[sizeof(CSSE3dPolygon)];
  std::memcpy(own, static_cast<void*>(&shallow), sizeof shallow);
  shallow = b;
  shallow.SetPointX(1, 42.0f), shallow.CalcBoundingBox();
  EXPECT_EQ(std::pair(Points(b)[1].x, b.GetTopRight().x), std::pair(42.0f, 42.0f));
  std::memcpy(static_cast<void*>(&shallow), own, sizeof shallow);
  a.SetPoint(4, -1, -1, -1);  // the copy is deep
  EXPECT_EQ(Points(b)[4].x, 2.0f);
}

TEST(PolygonModel, AppendPointsAndFromPixelChain) {
  CSSE3dPolygon a = Make({{1, 1, 1}, {2, 2, 2}}), b = Make({{3, 3, 3}, {4, 4, 4}}), c;
  a.AppendPoints(b);
  EXPECT_EQ(Points(a), (Pts{{1, 1, 1}, {2, 2, 2}, {3, 3, 3}, {4, 4, 4}}));
  EXPECT_EQ(a.GetTopRight().x, 0.0f);  // the temporary's zero records
  b.CalcBoundingBox();
  c.AppendPoints(b);  // empty this: CreateSimilar
  EXPECT_TRUE(c.IsBoundingBoxCalculated());
  CPixelChain chain;
  for (int k = 0; k < 10; ++k) chain.AppendPixel(k, 100 + k, 0.5f * k);
  for (auto [step, count] : std::vector<std::pair<int, int>>{{3, 3}, {0, 10}, {10, 1}, {11, 0}}) {
    Pts want;
    for (int i = 0, k = 0; i < count; ++i, k += std::max(step, 1)) want.push_back({float(k), float(100 + k), 0});
    EXPECT_EQ(Points(CSSE3dPolygon(chain, step)), want) << "step " << step;
  }
}

// Each edit on (0, 0, 0), (1, 2, 3), (5, 5, 5) with a calculated box: point 1
// after it, and whether the box flag is cleared (setters) or not promised.
TEST(PolygonAccess, EditsWriteOnlyTheirCoordinates) {
  using Set = void (*)(CSSE3dPolygon&);
  const std::tuple<Set, P3, bool> cases[] = {
      {[](CSSE3dPolygon& p) { p.SetPointZY(1, 9, 8); }, {1, 8, 9}, true},
      {[](CSSE3dPolygon& p) { p.SetPointSSE(1, Lv(V(7, 8, 9, 10))); }, {7, 8, 9}, true},
      {[](CSSE3dPolygon& p) { p.SetPointNormalized(1, 7, 8, 9); }, {1, 2, 3}, true},
      {[](CSSE3dPolygon& p) { p.AddValueToAllXValues(0.1f); }, {float(double(1.0f) + double(0.1f)), 2, 3}, false},
      {[](CSSE3dPolygon& p) { p.FlipOrientationAndMoveCoordsZ(10.0f); }, {1, 2, 10.0f - 3.0f}, false},
  };
  for (size_t k = 0; k < std::size(cases); ++k) {
    CSSE3dPolygon poly = Make({{0, 0, 0}, {1, 2, 3}, {5, 5, 5}});
    poly.CalcBoundingBox();
    std::get<0>(cases[k])(poly);
    EXPECT_EQ(Points(poly)[1], std::get<1>(cases[k])) << "edit " << k;
    if (std::get<2>(cases[k])) EXPECT_FALSE(poly.IsBoundingBoxCalculated()) << "edit " << k;
  }
}

TEST(PolygonAccess, SSELanesClosedIndexAndBadIndices) {
  CSSE3dPolygon poly = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  t_resolutiondata r{10, 100, 1000};
  poly.NormalizeXYZ(r);
  poly.CalcBoundingBox();
  using Get = void (CSSE3dPolygon::*)(int, SSEPoint&) const;
  const Get plain = &CSSE3dPolygon::GetPointSSE, xy = &CSSE3dPolygon::GetPointXYSSE,
            norm = &CSSE3dPolygon::GetPointNormalizedSSE, closed = &CSSE3dPolygon::GetPointSSEClosed;
  // The closed index's remainder truncates: -1 and -4 give negative remainders
  // (the zero point), -3 leaves remainder 0. Bad indices give the zero point,
  // except the normalized getter, which leaves all four lanes alone.
  const std::tuple<Get, int, SSEPoint> cases[] = {
      {plain, 1, V(4, 5, 6, 0)},       {xy, 1, V(4, 5, 0, 0)}, {norm, 2, V(70, 800, 9000, -1)},
      {closed, 7, V(4, 5, 6)},         {closed, -1, V(0, 0)},  {closed, -4, V(0, 0)},
      {closed, -3, V(1, 2, 3)},        {plain, -1, V(0, 0)},   {xy, 3, V(0, 0)},
      {norm, 1000, V(-1, -1, -1, -1)},
  };
  for (size_t k = 0; k < std::size(cases); ++k) {
    SSEPoint p = V(-1, -1, -1, -1);
    (poly.*std::get<0>(cases[k]))(std::get<1>(cases[k]), p);
    EXPECT_TRUE(Same(p, std::get<2>(cases[k]))) << "case " << k;
  }
  float x = -7, y = -7, z = -7;
  for (int i : {-1, 3}) {  // ignored writes leave points and flag alone
    poly.SetPoint(i, 9, 9, 9);
    poly.GetPoint(i, x, y, z);
    EXPECT_EQ(P3({x, y, z}), (P3{-7, -7, -7})) << i;
  }
  EXPECT_TRUE(poly.IsBoundingBoxCalculated());
}

TEST(PolygonBox, BoxesTruncateRecomputeWhenStaleCentreDividesFirst) {
  CSSE3dPolygon poly = Make({{-1.5f, 2.7f, 1}, {3.9f, 4.2f, -8}, {0, 3, 2}});
  int minX, minY, maxX, maxY;
  poly.GetBoundingBox2D(minX, minY, maxX, maxY);  // toward zero
  EXPECT_EQ(std::vector<int>({minX, minY, maxX, maxY}), std::vector<int>({-1, 2, 3, 4}));
  poly.SetPointX(1, 9);  // stale now: the stored corner as it stands, the 2D box recomputed
  const float corner = poly.GetTopRight().x;
  poly.GetBoundingBox2D(minX, minY, maxX, maxY);
  EXPECT_EQ(std::pair(corner, maxX), std::pair(3.9f, 9));
  // The centre divides each point first: 1/3 three times in float is not 1.
  Fill(poly, {{1, 0, 1}, {1, 0, 2}, {1, 0, 3}});
  poly.CalcGeometricCenter();
  SSEPoint centre;
  poly.GetGeometricCenter(centre);
  const float third = 1.0f / 3.0f;
  EXPECT_TRUE(Same(centre, V(third + third + third, 0, 1.0f / 3.0f + 2.0f / 3.0f + 3.0f / 3.0f, 0)));
}

}  // namespace
