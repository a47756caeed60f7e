// Point-wise transforms of CSSE3dPolygon, checked against matrices written out
// with the same float rounding.

#include <gtest/gtest.h>

#include <cmath>

#include "polygon_fixtures.h"
#include "relief/CSSEFns.h"

using namespace contour_test;

namespace {

float Sf(double a) { return static_cast<float>(std::sin(a)); }
float Cf(double a) { return static_cast<float>(std::cos(a)); }

// Row-by-row application as the library defines it: each output is the
// paired four-lane scalar product of one row with (x, y, z, 0).
P3 Apply(const float m[3][3], P3 p) {
  const __m128 v = _mm_setr_ps(p.x, p.y, p.z, 0);
  P3 r;
  r.x = CSSEFns::scalarproduct(_mm_setr_ps(m[0][0], m[0][1], m[0][2], 0), v);
  r.y = CSSEFns::scalarproduct(_mm_setr_ps(m[1][0], m[1][1], m[1][2], 0), v);
  r.z = CSSEFns::scalarproduct(_mm_setr_ps(m[2][0], m[2][1], m[2][2], 0), v);
  return r;
}

const std::vector<P3> kShape = {{1, 0, 0}, {0, 2, 1}, {-3, 1, 2}, {2.5f, -1.5f, -4}, {7, 3, 0.25f}};

void ExpectPoints(const CSSE3dPolygon& poly, const std::vector<P3>& want, const char* what) {
  const auto got = Points(poly);
  ASSERT_EQ(got.size(), want.size()) << what;
  for (size_t i = 0; i < got.size(); ++i) {
    EXPECT_EQ(got[i].x, want[i].x) << what << " point " << i;
    EXPECT_EQ(got[i].y, want[i].y) << what << " point " << i;
    EXPECT_EQ(got[i].z, want[i].z) << what << " point " << i;
  }
}

TEST(PolygonTransform, RotateZIsClockwiseForPositiveAngle) {
  CSSE3dPolygon poly;
  Fill(poly, {{1, 0, 5}, {0, 1, 5}, {1, 1, 5}});
  poly.RotateZ(static_cast<float>(M_PI / 2));
  float x, y, z;
  poly.GetPoint(0, x, y, z);
  // (1, 0) goes to (cos, -sin) = (0, -1): clockwise with y up.
  EXPECT_NEAR(x, 0.0f, 1e-7);
  EXPECT_EQ(y, -1.0f);
  EXPECT_EQ(z, 5.0f);
  EXPECT_FALSE(poly.IsBoundingBoxCalculated());
}

TEST(PolygonTransform, MatricesMatchTheirDefinitions) {
  const float a = 0.3f, b = -0.7f, c = 1.1f;
  const float ca = Cf(a), sa = Sf(a), cb = Cf(b), sb = Sf(b), cc = Cf(c), sc = Sf(c);
  const float rz[3][3] = {{cc, sc, 0}, {-sc, cc, 0}, {0, 0, 1}};
  const float rxyz[3][3] = {{cb * cc, ca * sc - sa * sb * cc, ca * sb * cc + sa * sc},
                            {-cb * sc, ca * cc + sa * sb * sc, sa * cc - ca * sb * sc},
                            {-sb, -sa * cb, ca * cb}};
  const float tv[3][3] = {{ca * cb, -sa, -sa * cb}, {sa * cb, ca, -sa * sb}, {sb, 0, cb}};
  struct Case {
    const char* name;
    void (*run)(CSSE3dPolygon&, float, float, float);
    const float (*m)[3];
  };
  const Case cases[] = {
      {"RotateZ", [](CSSE3dPolygon& p, float, float, float c) { p.RotateZ(c); }, rz},
      {"RotateXYZ", [](CSSE3dPolygon& p, float a, float b, float c) { p.RotateXYZ(a, b, c); }, rxyz},
      {"TransformVertices", [](CSSE3dPolygon& p, float a, float b, float) { p.TransformVertices(a, b); }, tv},
  };
  for (const Case& k : cases) {
    CSSE3dPolygon poly;
    Fill(poly, kShape);
    k.run(poly, a, b, c);
    std::vector<P3> want;
    for (const P3& p : kShape) want.push_back(Apply(k.m, p));
    ExpectPoints(poly, want, k.name);
  }
}

TEST(PolygonTransform, RotateXYZReducesToRotateZ) {
  CSSE3dPolygon p1, p2;
  Fill(p1, kShape);
  Fill(p2, kShape);
  p1.RotateXYZ(0, 0, 0.9f);
  p2.RotateZ(0.9f);
  ExpectPoints(p1, Points(p2), "RotateXYZ(0, 0, c)");
}

TEST(PolygonTransform, TransformVerticesIsNotARotation) {
  // (0, 0, 1) maps to (-sa cb, -sa sb, cb), of squared length sa^2 + cb^2,
  // which is not 1 for a != b: the matrix does not preserve lengths.
  CSSE3dPolygon poly;
  Fill(poly, {{0, 0, 1}, {1, 0, 0}, {0, 1, 0}});
  poly.TransformVertices(0.5f, 0.4f);
  float x, y, z;
  poly.GetPoint(0, x, y, z);
  EXPECT_GT(std::fabs(std::sqrt(x * x + y * y + z * z) - 1.0f), 0.01f);
  EXPECT_TRUE(poly.IsBoundingBoxCalculated());
}

TEST(PolygonTransform, AboutCentreVariants) {
  CSSE3dPolygon poly;
  Fill(poly, kShape);
  poly.CalcGeometricCenter();
  SSEPoint c;
  poly.GetGeometricCenter(c);
  const float a = 0.25f, b = 0.5f;
  const float ca = Cf(a), sa = Sf(a), cb = Cf(b), sb = Sf(b);
  const float tv[3][3] = {{ca * cb, -sa, -sa * cb}, {sa * cb, ca, -sa * sb}, {sb, 0, cb}};
  std::vector<P3> want;
  for (const P3& p : kShape) {
    P3 q = Apply(tv, {p.x - c.x, p.y - c.y, p.z - c.z});
    want.push_back({q.x + c.x, q.y + c.y, q.z + c.z});
  }
  poly.TransformVerticesAboutCenter(a, b);
  ExpectPoints(poly, want, "TransformVerticesAboutCenter");

  CSSE3dPolygon blown;
  Fill(blown, kShape);
  blown.BlowLineAroundCenter(2, 3, 4, false);
  want.clear();
  for (const P3& p : kShape) want.push_back({(p.x - c.x) * 2 + c.x, (p.y - c.y) * 3 + c.y, (p.z - c.z) * 4 + c.z});
  ExpectPoints(blown, want, "BlowLineAroundCenter");
}

TEST(PolygonTransform, ShiftAndBlow) {
  CSSE3dPolygon poly;
  Fill(poly, kShape);
  poly.ShiftLine(1, -2, 0.5f);
  EXPECT_TRUE(poly.IsBoundingBoxCalculated());
  std::vector<P3> want;
  for (const P3& p : kShape) want.push_back({p.x + 1, p.y - 2, p.z + 0.5f});
  ExpectPoints(poly, want, "ShiftLine");
  EXPECT_EQ(poly.GetTopRight().x, 8.0f);

  CSSE3dPolygon empty;
  empty.ShiftLine(1, 1, 1);
  EXPECT_TRUE(empty.IsBoundingBoxCalculated());

  Fill(poly, kShape);
  poly.BlowLine(2, 0.5f, -1, false);
  want.clear();
  for (const P3& p : kShape) want.push_back({p.x * 2, p.y * 0.5f, -p.z});
  ExpectPoints(poly, want, "BlowLine");
}

TEST(PolygonTransform, BlowWithReparametrizeDensifies) {
  CSSE3dPolygon poly;
  Fill(poly, Square(0, 0, 1));
  // Sides of 3 at spacing 0.6f: 3 / 0.6f is just below 5, so 4 extra points each.
  poly.BlowLine(3, 3, 1, true);
  EXPECT_EQ(poly.GetNumPoints(), 4 + 4 * 4);
  EXPECT_FALSE(poly.IsBoundingBoxCalculated());
}

TEST(PolygonTransform, FlipOrientationZ) {
  struct Case {
    bool mirror;
    std::vector<float> z;
  };
  for (const Case& c : {Case{false, {1, 0, -1}}, Case{true, {3, 2, 1}}}) {
    CSSE3dPolygon poly;
    Fill(poly, {{0, 0, 1}, {1, 0, 2}, {1, 1, 3}});
    poly.FlipOrientationZ(c.mirror);
    for (int i = 0; i < 3; ++i) {
      float z;
      poly.GetPointZ(i, z);
      EXPECT_EQ(z, c.z[i]) << "mirror " << c.mirror << " point " << i;
    }
  }
}

}  // namespace
