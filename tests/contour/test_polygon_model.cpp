// Life cycle, copies, point access and the derived quantities of CSSE3dPolygon.

#include <cstdint>
#include <cstring>

#include "polygon_fixtures.h"
#include "relief/CMemoryException.h"
#include "relief/CPixelChain.h"

using namespace contour_test;

namespace {

bool AllLanes(const SSEPoint& p, float v) { return _mm_movemask_ps(_mm_cmpeq_ps(p.m, _mm_set1_ps(v))) == 0xF; }

TEST(PolygonLifeCycle, CreateFreeAndEmpty) {
  CSSE3dPolygon poly;
  SSEPoint c = V(7, 7, 7, 7);
  poly.GetGeometricCenter(c);
  EXPECT_TRUE(AllLanes(c, 0));  // zero records from the start
  EXPECT_EQ(poly.GetTopRight().x, 0.0f);
  for (int n : {1, 2, 3, 4, 5, 7, 8, 9, 17}) {  // padded to four, aligned and zeroed
    poly.Create(n);
    ASSERT_EQ(poly.GetNumPoints(), n);
    for (float* a : {poly.GetXArray(), poly.GetYArray(), poly.GetZArray()}) {
      ASSERT_EQ(reinterpret_cast<std::uintptr_t>(a) & 15, 0u) << n;
      for (int i = 0; i < (n + 3) / 4 * 4; ++i) EXPECT_EQ(a[i], 0.0f) << "n " << n << " lane " << i;
    }
  }
  poly.CalcBoundingBox();
  poly.Free();
  EXPECT_EQ(poly.GetNumPoints(), 0);
  EXPECT_FALSE(poly.IsBoundingBoxCalculated());
  EXPECT_EQ(poly.GetXArray(), nullptr);
  Fill(poly, Square(0, 0, 1));
  EXPECT_THROW(poly.Create(-1), CMemoryException);
  EXPECT_EQ(poly.GetNumPoints(), 0);
  // An empty polygon's box is inverted, and flagged.
  poly.CalcBoundingBox();
  EXPECT_TRUE(poly.IsBoundingBoxCalculated());
  EXPECT_EQ(poly.GetTopRight().x, -1e6f);
  EXPECT_EQ(poly.GetBottomLeft().z, 1e6f);
  EXPECT_EQ(poly.GetTopRight().w, 0.0f);
  CSSE3dPolygon copy(poly);  // a copy of an empty polygon keeps the flag
  EXPECT_TRUE(copy.IsBoundingBoxCalculated());
}

TEST(PolygonCopies, CopyIsDeepCreateSimilarRawOnly) {
  CSSE3dPolygon a, similar;
  Fill(a, {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {0, 1, 1}, {2, 2, 2}});
  t_resolutiondata r{2.0f, 3.0f, 4.0f};
  a.NormalizeXYZ(r);
  a.CalcBoundingBox();
  CSSE3dPolygon b(a);
  EXPECT_NE(b.GetXArray(), a.GetXArray());
  EXPECT_FALSE(b.IsBoundingBoxCalculated());  // point writes clear the flag
  EXPECT_EQ(b.GetTopRight().x, 7.0f);         // but the records came along
  float x, y, z;
  b.GetPointNormalized(2, x, y, z);
  EXPECT_EQ(P3({x, y, z}), (P3{14, 24, 36}));
  a.SetPoint(4, -1, -1, -1);
  b.GetPoint(4, x, y, z);
  EXPECT_EQ(x, 2.0f);
  // CreateSimilar copies raw points, the records and the flag, not the normalized arrays.
  similar.CreateSimilar(&b);
  EXPECT_FALSE(similar.IsBoundingBoxCalculated());
  b.CalcBoundingBox();
  similar.CreateSimilar(&b);
  EXPECT_TRUE(similar.IsBoundingBoxCalculated());
  EXPECT_EQ(similar.GetBottomLeft().y, 1.0f);
  similar.GetPointNormalized(0, x, y, z);
  EXPECT_EQ(x, 0.0f);
  EXPECT_EQ(Points(similar), Points(b));
}

TEST(PolygonCopies, AssignmentSharesStorage) {
  CSSE3dPolygon a, b;
  Fill(a, Square(0, 0, 2));
  // Keep b's own members aside: after the shallow assignment only one of the
  // two objects may be destroyed, so b gets them back before it goes.
  unsigned char own[sizeof(CSSE3dPolygon)];
  std::memcpy(own, static_cast<void*>(&b), sizeof b);
  b = a;
  EXPECT_EQ(b.GetXArray(), a.GetXArray());
  b.SetPointX(1, 42.0f);
  b.CalcBoundingBox();
  EXPECT_EQ(Points(a)[1].x, 42.0f);
  EXPECT_EQ(a.GetTopRight().x, 42.0f);  // the record block is shared too
  std::memcpy(static_cast<void*>(&b), own, sizeof b);
}

TEST(PolygonCopies, AppendPointsCases) {
  CSSE3dPolygon a, b, c, empty;
  Fill(a, {{1, 1, 1}, {2, 2, 2}});
  Fill(b, {{3, 3, 3}, {4, 4, 4}, {5, 5, 5}});
  a.CalcBoundingBox();
  a.AppendPoints(empty);
  EXPECT_EQ(a.GetNumPoints(), 2);
  EXPECT_TRUE(a.IsBoundingBoxCalculated());  // nothing happened
  a.AppendPoints(b);
  EXPECT_EQ(Points(a), (Pts{{1, 1, 1}, {2, 2, 2}, {3, 3, 3}, {4, 4, 4}, {5, 5, 5}}));
  EXPECT_FALSE(a.IsBoundingBoxCalculated());
  EXPECT_EQ(a.GetTopRight().x, 0.0f);  // the temporary's zero records
  b.CalcBoundingBox();
  c.AppendPoints(b);  // empty this: CreateSimilar
  EXPECT_EQ(c.GetNumPoints(), 3);
  EXPECT_TRUE(c.IsBoundingBoxCalculated());
}

TEST(PolygonCopies, FromPixelChain) {
  CPixelChain chain, none;
  for (int k = 0; k < 10; ++k) chain.AppendPixel(k, 100 + k, 0.5f * k);
  struct Case {
    int step;
    std::vector<int> pixels;
  };
  for (const Case& c : {Case{3, {0, 3, 6}}, Case{1, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
                        Case{0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}}, Case{10, {0}}, Case{11, {}}}) {
    Pts want;
    for (int k : c.pixels) want.push_back({float(k), float(100 + k), 0});
    EXPECT_EQ(Points(CSSE3dPolygon(chain, c.step)), want) << "step " << c.step;
  }
  EXPECT_EQ(CSSE3dPolygon(none, 1).GetNumPoints(), 0);
}

// ---- point access ----------------------------------------------------------

TEST(PolygonAccess, SettersWriteOnlyTheirCoordinatesAndClearFlag) {
  struct Case {
    const char* name;
    void (*set)(CSSE3dPolygon&);
    P3 expect;
  };
  const Case cases[] = {
      {"SetPoint", [](CSSE3dPolygon& p) { p.SetPoint(1, 7, 8, 9); }, {7, 8, 9}},
      {"SetPointXY", [](CSSE3dPolygon& p) { p.SetPointXY(1, 7, 8); }, {7, 8, 3}},
      {"SetPointXZ", [](CSSE3dPolygon& p) { p.SetPointXZ(1, 7, 9); }, {7, 2, 9}},
      {"SetPointZY", [](CSSE3dPolygon& p) { p.SetPointZY(1, 9, 8); }, {1, 8, 9}},
      {"SetPointX", [](CSSE3dPolygon& p) { p.SetPointX(1, 7); }, {7, 2, 3}},
      {"SetPointY", [](CSSE3dPolygon& p) { p.SetPointY(1, 8); }, {1, 8, 3}},
      {"SetPointZ", [](CSSE3dPolygon& p) { p.SetPointZ(1, 9); }, {1, 2, 9}},
      {"SetPointSSE", [](CSSE3dPolygon& p) { p.SetPointSSE(1, Lv(V(7, 8, 9, 10))); }, {7, 8, 9}},
      {"SetPointNormalized", [](CSSE3dPolygon& p) { p.SetPointNormalized(1, 7, 8, 9); }, {1, 2, 3}},
  };
  for (const Case& c : cases) {
    CSSE3dPolygon poly;
    Fill(poly, {{0, 0, 0}, {1, 2, 3}, {5, 5, 5}});
    poly.CalcBoundingBox();
    c.set(poly);
    EXPECT_FALSE(poly.IsBoundingBoxCalculated()) << c.name;
    EXPECT_EQ(Points(poly)[1], c.expect) << c.name;
  }
}

TEST(PolygonAccess, BadIndicesAreIgnored) {
  CSSE3dPolygon poly;
  Fill(poly, {{1, 2, 3}, {4, 5, 6}});
  poly.CalcBoundingBox();
  for (int i : {-1, 2, 1000}) {
    poly.SetPoint(i, 9, 9, 9);
    poly.SetPointNormalized(i, 9, 9, 9);
    float x = -7, y = -7, z = -7;
    poly.GetPoint(i, x, y, z);
    poly.GetPointXY(i, x, y);
    poly.GetPointZY(i, z, y);
    poly.GetPointX(i, x);
    EXPECT_EQ(P3({x, y, z}), (P3{-7, -7, -7})) << i;
    SSEPoint p = V(5, 5, 5, 5);
    poly.GetPointSSE(i, p);  // the zero point
    EXPECT_TRUE(AllLanes(p, 0)) << i;
    p = V(5, 5, 5, 5);
    poly.GetPointXYSSE(i, p);
    EXPECT_TRUE(AllLanes(p, 0)) << i;
    p = V(5, 5, 5, 5);
    poly.GetPointNormalizedSSE(i, p);  // untouched, all four lanes
    EXPECT_TRUE(AllLanes(p, 5)) << i;
  }
  EXPECT_TRUE(poly.IsBoundingBoxCalculated());  // ignored writes leave the flag alone
}

TEST(PolygonAccess, SSEGettersLanesAndClosedIndex) {
  CSSE3dPolygon poly, empty;
  Fill(poly, {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  t_resolutiondata r{10, 100, 1000};
  poly.NormalizeXYZ(r);
  struct Case {
    const char* name;
    void (CSSE3dPolygon::*get)(int, SSEPoint&) const;
    int i;
    SSEPoint expect;
  };
  const Case cases[] = {
      {"GetPointSSE", &CSSE3dPolygon::GetPointSSE, 1, V(4, 5, 6, 0)},
      {"GetPointXYSSE", &CSSE3dPolygon::GetPointXYSSE, 1, V(4, 5, 0, 0)},
      {"GetPointNormalizedSSE keeps w", &CSSE3dPolygon::GetPointNormalizedSSE, 2, V(70, 800, 9000, -1)},
      {"GetPointNormalizedXYSSE", &CSSE3dPolygon::GetPointNormalizedXYSSE, 2, V(70, 800, 0, 0)},
      // The remainder truncates: -1 and -4 give negative remainders (the zero
      // point), while -3 leaves remainder 0 and so point 0.
      {"closed 3", &CSSE3dPolygon::GetPointSSEClosed, 3, V(1, 2, 3)},
      {"closed 7", &CSSE3dPolygon::GetPointSSEClosed, 7, V(4, 5, 6)},
      {"closed -1", &CSSE3dPolygon::GetPointSSEClosed, -1, V(0, 0)},
      {"closed -4", &CSSE3dPolygon::GetPointSSEClosed, -4, V(0, 0)},
      {"closed -3", &CSSE3dPolygon::GetPointSSEClosed, -3, V(1, 2, 3)},
  };
  for (const Case& c : cases) {
    SSEPoint p = V(-1, -1, -1, -1);
    (poly.*c.get)(c.i, p);
    EXPECT_EQ(_mm_movemask_ps(_mm_cmpeq_ps(p.m, c.expect.m)), 0xF) << c.name;
  }
  SSEPoint p = V(9, 9, 9, 9);
  empty.GetPointSSEClosed(3, p);
  EXPECT_TRUE(AllLanes(p, 0));
}

TEST(PolygonAccess, StaleNormalizedAndWholePolygonSetters) {
  CSSE3dPolygon poly;
  Fill(poly, {{1, 1, 1}, {2, 2, 2}, {3, 3, 3}, {4, 4, 4}});
  t_resolutiondata r{0.5f, 0.5f, 0.5f};
  poly.NormalizeXYZ(r);
  poly.SetPoint(0, 100, 100, 100);
  float x, y, z;
  poly.GetPointNormalized(0, x, y, z);
  EXPECT_EQ(x, 0.5f);
  EXPECT_EQ(poly.GetMinEuclDistanceXY(0.5f, 0.5f, 0), 0.0f);  // the searches see the stale arrays too

  Fill(poly, {{1, 2, 3}, {4, 5, 6}});
  poly.AddValueToAllXValues(0.1f);
  poly.AddValueToAllYValues(-2.0f);
  poly.SwapYandZCoord();
  poly.FlipOrientationAndMoveCoordsZ(10.0f);
  EXPECT_EQ(Points(poly)[1], (P3{float(double(4.0f) + double(0.1f)), 6, 10.0f - 3.0f}));
  poly.SwapXandZCoord();
  poly.SetAllYValues(-1);
  poly.CalcBoundingBox();
  poly.SetAllZValues(2);
  EXPECT_FALSE(poly.IsBoundingBoxCalculated());
  EXPECT_EQ(Points(poly)[0], (P3{10, -1, 2}));
}

// ---- derived quantities -----------------------------------------------------

TEST(PolygonBox, BoxesTruncateAndRecomputeOnlyWhenStale) {
  CSSE3dPolygon poly;
  Fill(poly, {{-1.5f, 2.7f, 1}, {3.9f, 4.2f, -8}, {0, 3, 2}});
  int minX, minY, maxX, maxY;
  poly.GetBoundingBox2D(minX, minY, maxX, maxY);  // toward zero
  EXPECT_EQ(std::vector<int>({minX, minY, maxX, maxY}), std::vector<int>({-1, 2, 3, 4}));
  float a, b, c, d, e, f;
  poly.GetBoundingBox3D(a, b, c, d, e, f);
  EXPECT_EQ(std::vector<float>({a, b, c, d, e, f}), std::vector<float>({-1.5f, 2.7f, -8, 3.9f, 4.2f, 2}));
  poly.SetPointX(1, 9);                      // stale now
  EXPECT_EQ(poly.GetTopRight().x, 3.9f);     // the stored corner as it stands
  poly.GetBoundingBox2D(minX, minY, maxX, maxY);
  EXPECT_EQ(maxX, 9);
}

TEST(PolygonBox, CentreDividesEachPointFirstAndNormalizeCoversPadding) {
  CSSE3dPolygon poly, empty;
  Fill(poly, {{1, 0, 1}, {1, 0, 2}, {1, 0, 3}});
  poly.CalcGeometricCenter();
  SSEPoint c;
  poly.GetGeometricCenter(c);
  const float third = 1.0f / 3.0f;  // 1/3 three times in float is not 1
  EXPECT_EQ(c.x, third + third + third);
  EXPECT_EQ(c.z, 1.0f / 3.0f + 2.0f / 3.0f + 3.0f / 3.0f);
  EXPECT_EQ(c.w, 0.0f);
  empty.CalcGeometricCenter();
  empty.GetGeometricCenter(c);
  EXPECT_EQ(c.x, 0.0f);

  Fill(poly, {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {1, 1, 1}, {2, 2, 2}});
  poly.CalcBoundingBox();
  t_resolutiondata r{0.1f, 0.2f, 0.3f};
  poly.NormalizeXYZ(r);
  EXPECT_TRUE(poly.IsBoundingBoxCalculated());
  float x, y, z;
  poly.GetPointNormalized(4, x, y, z);
  EXPECT_EQ(P3({x, y, z}), (P3{2.0f * 0.1f, 2.0f * 0.2f, 2.0f * 0.3f}));
}

}  // namespace
