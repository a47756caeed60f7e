// Life cycle, copies, point access and the derived quantities of CSSE3dPolygon.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "polygon_fixtures.h"
#include "relief/CMemoryException.h"
#include "relief/CPixelChain.h"
#include "relief/CSSE3dPolygon.h"

using namespace contour_test;

namespace {

bool Aligned16(const void* p) { return (reinterpret_cast<std::uintptr_t>(p) & 15) == 0; }

TEST(PolygonLifeCycle, DefaultIsEmptyWithZeroRecords) {
  CSSE3dPolygon poly;
  EXPECT_EQ(poly.GetNumPoints(), 0);
  EXPECT_FALSE(poly.IsBoundingBoxCalculated());
  EXPECT_EQ(poly.GetXArray(), nullptr);
  SSEPoint c;
  c.m = _mm_set1_ps(7.0f);
  poly.GetGeometricCenter(c);
  EXPECT_EQ(c.x, 0.0f);
  EXPECT_EQ(c.w, 0.0f);
  EXPECT_EQ(poly.GetTopRight().x, 0.0f);
}

TEST(PolygonLifeCycle, CreatePadsToFourAlignedAndZeroed) {
  for (int n : {1, 2, 3, 4, 5, 7, 8, 9, 17}) {
    CSSE3dPolygon poly;
    poly.Create(n);
    ASSERT_EQ(poly.GetNumPoints(), n);
    const int padded = (n + 3) / 4 * 4;
    for (float* a : {poly.GetXArray(), poly.GetYArray(), poly.GetZArray()}) {
      ASSERT_TRUE(Aligned16(a)) << n;
      for (int i = 0; i < padded; ++i) EXPECT_EQ(a[i], 0.0f) << "n " << n << " lane " << i;
    }
  }
}

TEST(PolygonLifeCycle, NegativeCreateThrowsAndLeavesEmpty) {
  CSSE3dPolygon poly;
  Fill(poly, Square(0, 0, 1));
  EXPECT_THROW(poly.Create(-1), CMemoryException);
  EXPECT_EQ(poly.GetNumPoints(), 0);
}

TEST(PolygonLifeCycle, FreeClearsFlagAndCount) {
  CSSE3dPolygon poly;
  Fill(poly, Square(0, 0, 1));
  poly.CalcBoundingBox();
  poly.Free();
  EXPECT_EQ(poly.GetNumPoints(), 0);
  EXPECT_FALSE(poly.IsBoundingBoxCalculated());
  EXPECT_EQ(poly.GetXArray(), nullptr);
}

TEST(PolygonCopies, CopyConstructorIsDeepAndCopiesNormalized) {
  CSSE3dPolygon a;
  Fill(a, {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  t_resolutiondata r{2.0f, 3.0f, 4.0f};
  a.NormalizeXYZ(r);
  a.CalcBoundingBox();
  CSSE3dPolygon b(a);
  EXPECT_NE(b.GetXArray(), a.GetXArray());
  EXPECT_FALSE(b.IsBoundingBoxCalculated());  // point writes clear the flag
  EXPECT_EQ(b.GetTopRight().x, 7.0f);         // but the records came along
  float x, y, z;
  b.GetPointNormalized(2, x, y, z);
  EXPECT_EQ(x, 14.0f);
  EXPECT_EQ(y, 24.0f);
  EXPECT_EQ(z, 36.0f);
  a.SetPoint(0, -1, -1, -1);
  b.GetPoint(0, x, y, z);
  EXPECT_EQ(x, 1.0f);
}

TEST(PolygonCopies, CopyOfEmptyKeepsFlag) {
  CSSE3dPolygon a;
  a.CalcBoundingBox();
  CSSE3dPolygon b(a);
  EXPECT_TRUE(b.IsBoundingBoxCalculated());
  EXPECT_EQ(b.GetNumPoints(), 0);
}

TEST(PolygonCopies, AssignmentSharesStorage) {
  CSSE3dPolygon a;
  Fill(a, Square(0, 0, 2));
  CSSE3dPolygon b;
  // Keep b's own members aside: after the shallow assignment only one of the
  // two objects may be destroyed, so b gets them back before it goes.
  unsigned char own[sizeof(CSSE3dPolygon)];
  std::memcpy(own, static_cast<void*>(&b), sizeof b);
  b = a;
  EXPECT_EQ(b.GetXArray(), a.GetXArray());
  b.SetPointX(1, 42.0f);
  float x;
  a.GetPointX(1, x);
  EXPECT_EQ(x, 42.0f);
  b.CalcBoundingBox();
  EXPECT_EQ(a.GetTopRight().x, 42.0f);  // the record block is shared too
  std::memcpy(static_cast<void*>(&b), own, sizeof b);
}

TEST(PolygonCopies, CreateSimilarCopiesRawRecordsAndFlagButNotNormalized) {
  CSSE3dPolygon a;
  Fill(a, {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {0, 1, 1}, {2, 2, 2}});
  t_resolutiondata r{2.0f, 2.0f, 2.0f};
  a.NormalizeXYZ(r);
  a.CalcBoundingBox();
  a.CalcGeometricCenter();
  CSSE3dPolygon b;
  b.CreateSimilar(&a);
  EXPECT_TRUE(b.IsBoundingBoxCalculated());
  EXPECT_EQ(b.GetBottomLeft().y, 1.0f);
  float nx = -1, ny = -1, nz = -1;
  b.GetPointNormalized(0, nx, ny, nz);
  EXPECT_EQ(nx, 0.0f);  // not copied
  const auto pa = Points(a), pb = Points(b);
  for (size_t i = 0; i < pa.size(); ++i) EXPECT_EQ(std::memcmp(&pa[i], &pb[i], sizeof(P3)), 0);
}

TEST(PolygonCopies, AppendPointsCases) {
  CSSE3dPolygon a, b, empty;
  Fill(a, {{1, 1, 1}, {2, 2, 2}});
  Fill(b, {{3, 3, 3}, {4, 4, 4}, {5, 5, 5}});
  a.CalcBoundingBox();
  a.AppendPoints(empty);
  EXPECT_EQ(a.GetNumPoints(), 2);
  EXPECT_TRUE(a.IsBoundingBoxCalculated());  // nothing happened

  a.AppendPoints(b);
  ASSERT_EQ(a.GetNumPoints(), 5);
  EXPECT_FALSE(a.IsBoundingBoxCalculated());
  EXPECT_EQ(a.GetTopRight().x, 0.0f);  // the temporary's zero records
  for (int i = 0; i < 5; ++i) {
    float x;
    a.GetPointX(i, x);
    EXPECT_EQ(x, float(i + 1));
  }

  CSSE3dPolygon c;
  b.CalcBoundingBox();
  c.AppendPoints(b);  // empty this: CreateSimilar
  EXPECT_EQ(c.GetNumPoints(), 3);
  EXPECT_TRUE(c.IsBoundingBoxCalculated());
}

TEST(PolygonCopies, FromPixelChain) {
  CPixelChain chain;
  for (int k = 0; k < 10; ++k) chain.AppendPixel(k, 100 + k, 0.5f * k);
  struct Case {
    int step;
    std::vector<int> pixels;
  };
  for (const Case& c : {Case{3, {0, 3, 6}}, Case{1, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
                        Case{0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}}, Case{10, {0}}, Case{11, {}}}) {
    CSSE3dPolygon poly(chain, c.step);
    ASSERT_EQ(poly.GetNumPoints(), static_cast<int>(c.pixels.size())) << "step " << c.step;
    for (size_t i = 0; i < c.pixels.size(); ++i) {
      float x, y, z;
      poly.GetPoint(static_cast<int>(i), x, y, z);
      EXPECT_EQ(x, float(c.pixels[i]));
      EXPECT_EQ(y, float(100 + c.pixels[i]));
      EXPECT_EQ(z, 0.0f);
    }
  }
  CPixelChain none;
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
      {"SetPointSSE",
       [](CSSE3dPolygon& p) {
         SSEPoint q;
         q.m = _mm_setr_ps(7, 8, 9, 10);
         p.SetPointSSE(1, q);
       },
       {7, 8, 9}},
      {"SetPointNormalized", [](CSSE3dPolygon& p) { p.SetPointNormalized(1, 7, 8, 9); }, {1, 2, 3}},
  };
  for (const Case& c : cases) {
    CSSE3dPolygon poly;
    Fill(poly, {{0, 0, 0}, {1, 2, 3}, {5, 5, 5}});
    poly.CalcBoundingBox();
    c.set(poly);
    EXPECT_FALSE(poly.IsBoundingBoxCalculated()) << c.name;
    float x, y, z;
    poly.GetPoint(1, x, y, z);
    EXPECT_EQ(x, c.expect.x) << c.name;
    EXPECT_EQ(y, c.expect.y) << c.name;
    EXPECT_EQ(z, c.expect.z) << c.name;
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
    EXPECT_EQ(x, -7.0f);
    EXPECT_EQ(y, -7.0f);
    EXPECT_EQ(z, -7.0f);
    SSEPoint p;
    p.m = _mm_set1_ps(5.0f);
    poly.GetPointSSE(i, p);
    EXPECT_EQ(_mm_movemask_ps(_mm_cmpeq_ps(p.m, _mm_setzero_ps())), 0xF);
    p.m = _mm_set1_ps(5.0f);
    poly.GetPointXYSSE(i, p);
    EXPECT_EQ(p.x, 0.0f);
    p.m = _mm_set1_ps(5.0f);
    poly.GetPointNormalizedSSE(i, p);  // untouched, all four lanes
    EXPECT_EQ(_mm_movemask_ps(_mm_cmpeq_ps(p.m, _mm_set1_ps(5.0f))), 0xF);
  }
  EXPECT_TRUE(poly.IsBoundingBoxCalculated());  // ignored writes leave the flag alone
}

TEST(PolygonAccess, SSEGettersLanes) {
  CSSE3dPolygon poly;
  Fill(poly, {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  t_resolutiondata r{10, 100, 1000};
  poly.NormalizeXYZ(r);
  SSEPoint p;
  p.m = _mm_set1_ps(-1);
  poly.GetPointSSE(1, p);
  EXPECT_EQ(p.x, 4);
  EXPECT_EQ(p.z, 6);
  EXPECT_EQ(p.w, 0);
  poly.GetPointXYSSE(1, p);
  EXPECT_EQ(p.y, 5);
  EXPECT_EQ(p.z, 0);
  p.m = _mm_set1_ps(-1);
  poly.GetPointNormalizedSSE(2, p);
  EXPECT_EQ(p.x, 70);
  EXPECT_EQ(p.y, 800);
  EXPECT_EQ(p.z, 9000);
  EXPECT_EQ(p.w, -1);  // w kept
  p.m = _mm_set1_ps(-1);
  poly.GetPointNormalizedXYSSE(2, p);
  EXPECT_EQ(p.y, 800);
  EXPECT_EQ(p.z, 0);
  EXPECT_EQ(p.w, 0);
}

// The remainder truncates: -1 and -4 give negative remainders (the zero
// point), while -3 leaves remainder 0 and so point 0.
TEST(PolygonAccess, ClosedIndexWraps) {
  CSSE3dPolygon poly;
  Fill(poly, {{1, 1, 1}, {2, 2, 2}, {3, 3, 3}});
  struct Case {
    int i;
    float x;
  };
  for (const Case& c : {Case{0, 1}, Case{2, 3}, Case{3, 1}, Case{7, 2}, Case{-1, 0}, Case{-4, 0}, Case{-3, 1}}) {
    SSEPoint p;
    p.m = _mm_set1_ps(9);
    poly.GetPointSSEClosed(c.i, p);
    EXPECT_EQ(p.x, c.x) << c.i;
    EXPECT_EQ(p.w, 0) << c.i;
  }
  CSSE3dPolygon empty;
  SSEPoint p;
  p.m = _mm_set1_ps(9);
  empty.GetPointSSEClosed(3, p);
  EXPECT_EQ(p.x, 0.0f);
}

TEST(PolygonAccess, StaleNormalizedAfterRawWrite) {
  CSSE3dPolygon poly;
  Fill(poly, {{1, 1, 1}, {2, 2, 2}, {3, 3, 3}, {4, 4, 4}});
  t_resolutiondata r{0.5f, 0.5f, 0.5f};
  poly.NormalizeXYZ(r);
  poly.SetPoint(0, 100, 100, 100);
  float x, y, z;
  poly.GetPointNormalized(0, x, y, z);
  EXPECT_EQ(x, 0.5f);
  // The min-distance searches see the stale arrays too.
  EXPECT_EQ(poly.GetMinEuclDistanceXY(0.5f, 0.5f, 0), 0.0f);
}

TEST(PolygonAccess, WholePolygonSetters) {
  CSSE3dPolygon poly;
  Fill(poly, {{1, 2, 3}, {4, 5, 6}});
  poly.AddValueToAllXValues(0.1f);
  poly.AddValueToAllYValues(-2.0f);
  poly.SwapYandZCoord();
  poly.FlipOrientationAndMoveCoordsZ(10.0f);
  float x, y, z;
  poly.GetPoint(1, x, y, z);
  EXPECT_EQ(x, float(double(4.0f) + double(0.1f)));
  EXPECT_EQ(y, 6.0f);
  EXPECT_EQ(z, 10.0f - 3.0f);
  poly.SwapXandZCoord();
  poly.SetAllYValues(-1);
  poly.CalcBoundingBox();
  poly.SetAllZValues(2);
  EXPECT_FALSE(poly.IsBoundingBoxCalculated());
  poly.GetPoint(0, x, y, z);
  EXPECT_EQ(x, 10.0f - 0.0f);
  EXPECT_EQ(y, -1.0f);
  EXPECT_EQ(z, 2.0f);
}

// ---- derived quantities -----------------------------------------------------

TEST(PolygonBox, EmptyPolygonGetsInvertedBoxAndFlag) {
  CSSE3dPolygon poly;
  poly.CalcBoundingBox();
  EXPECT_TRUE(poly.IsBoundingBoxCalculated());
  EXPECT_EQ(poly.GetTopRight().x, -1e6f);
  EXPECT_EQ(poly.GetBottomLeft().z, 1e6f);
  EXPECT_EQ(poly.GetTopRight().w, 0.0f);
}

TEST(PolygonBox, TwoDBoxTruncatesTowardZero) {
  CSSE3dPolygon poly;
  Fill(poly, {{-1.5f, 2.7f, 1}, {3.9f, 4.2f, -8}, {0, 3, 2}});
  int minX, minY, maxX, maxY;
  poly.GetBoundingBox2D(minX, minY, maxX, maxY);
  EXPECT_EQ(minX, -1);
  EXPECT_EQ(minY, 2);
  EXPECT_EQ(maxX, 3);
  EXPECT_EQ(maxY, 4);
  float a, b, c, d, e, f;
  poly.GetBoundingBox3D(a, b, c, d, e, f);
  EXPECT_EQ(c, -8.0f);
  EXPECT_EQ(f, 2.0f);
  EXPECT_EQ(d, 3.9f);
}

TEST(PolygonBox, RecomputedOnlyWhenStale) {
  CSSE3dPolygon poly;
  Fill(poly, Square(0, 0, 4));
  poly.CalcBoundingBox();
  int a, b, c, d;
  poly.GetBoundingBox2D(a, b, c, d);
  EXPECT_EQ(c, 4);
  poly.SetPointX(1, 9);  // stale now
  EXPECT_EQ(poly.GetTopRight().x, 4.0f);  // the stored corner as it stands
  poly.GetBoundingBox2D(a, b, c, d);
  EXPECT_EQ(c, 9);
}

TEST(PolygonBox, CentreDividesEachPointFirst) {
  CSSE3dPolygon poly;
  Fill(poly, {{1, 0, 1}, {1, 0, 2}, {1, 0, 3}});
  poly.CalcGeometricCenter();
  SSEPoint c;
  poly.GetGeometricCenter(c);
  // 1/3 three times in float is not 1.
  const float third = 1.0f / 3.0f;
  EXPECT_EQ(c.x, third + third + third);
  EXPECT_EQ(c.z, 1.0f / 3.0f + 2.0f / 3.0f + 3.0f / 3.0f);
  EXPECT_EQ(c.w, 0.0f);
  CSSE3dPolygon empty;
  empty.CalcGeometricCenter();
  empty.GetGeometricCenter(c);
  EXPECT_EQ(c.x, 0.0f);
}

TEST(PolygonBox, NormalizeCoversPaddingAndKeepsFlag) {
  CSSE3dPolygon poly;
  Fill(poly, {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {1, 1, 1}, {2, 2, 2}});
  poly.CalcBoundingBox();
  t_resolutiondata r{0.1f, 0.2f, 0.3f};
  poly.NormalizeXYZ(r);
  EXPECT_TRUE(poly.IsBoundingBoxCalculated());
  float x, y, z;
  poly.GetPointNormalized(4, x, y, z);
  EXPECT_EQ(x, 2.0f * 0.1f);
  EXPECT_EQ(y, 2.0f * 0.2f);
  EXPECT_EQ(z, 2.0f * 0.3f);
}

}  // namespace
