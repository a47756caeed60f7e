// Resampling (densification, subsampling, removal of repeated points, noise)
// and the point-wise transforms, checked against matrices written out with the
// same float rounding.

#include <functional>

#include "polygon_fixtures.h"
#include "relief/CSSEFns.h"

using namespace contour_test;

namespace {

Pts Line(int n) {
  Pts pts;
  for (int i = 0; i < n; ++i) pts.push_back({float(i), 0, 0});
  return pts;
}

TEST(PolygonResample, CountsAfterResampling) {
  struct Case {
    const char* name;
    Pts pts;
    void (*run)(CSSE3dPolygon&);
    int expect;
  };
  auto closed = [](CSSE3dPolygon& p) { p.ReParametrize(1.0f); };
  auto open = [](CSSE3dPolygon& p) { p.ReParametrizeOpen(1.0f); };
  const Pts spur = {{0, 0, 0}, {0.5f, 0, 0}, {10, 0, 0}};
  const Case cases[] = {
      // The long-edge rule is per axis and strict.
      {"square of side 3: N = 3 on every edge", Square(0, 0, 3), closed, 4 + 4 * 3},
      {"diagonal step (0.9, 0.9) is not long", {{0, 0, 0}, {0.9f, 0.9f, 0}, {0, 0.9f, 0}}, closed, 3},
      {"exactly the spacing is not long", {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}}, closed, 3},
      {"2.5 / 1 gives N = 2 on 0->1 and 2->0", {{0, 0, 0}, {2.5f, 0, 0}, {0, 0.5f, 0}}, closed, 3 + 2 + 2},
      {"open omits the closing edge", spur, open, 3 + 9},
      {"closed", spur, closed, 3 + 9 + 10},
      {"capped at 99999 points", Square(0, 0, 100000), closed, 99999},
      {"zero spacing", Square(0, 0, 10), [](CSSE3dPolygon& p) { p.ReParametrize(0); }, 4},
      {"negative spacing", Square(0, 0, 10), [](CSSE3dPolygon& p) { p.ReParametrize(-1); }, 4},
      {"NaN spacing", Square(0, 0, 10), [](CSSE3dPolygon& p) { p.ReParametrize(NAN); }, 4},
      // Sides of 3 at spacing 0.6f: 3 / 0.6f is just below 5, so 4 extra points each.
      {"blow with resampling", Square(0, 0, 1), [](CSSE3dPolygon& p) { p.BlowLine(3, 3, 1, true); }, 4 + 4 * 4},
  };
  for (const Case& c : cases) {
    CSSE3dPolygon poly;
    Fill(poly, c.pts);
    poly.CalcBoundingBox();
    c.run(poly);
    EXPECT_EQ(poly.GetNumPoints(), c.expect) << c.name;
    if (c.expect != int(c.pts.size())) EXPECT_FALSE(poly.IsBoundingBoxCalculated()) << c.name;
  }
}

TEST(PolygonResample, PointsAtStepsOfNPlusHalf) {
  CSSE3dPolygon poly;
  Fill(poly, {{0, 0, 0}, {3, 0, 6}, {3, 0.5f, 6}});
  poly.ReParametrizeOpen(1.0f);  // only 0->1 is long: N = 3, steps of 3 / 3.5
  const Pts p = Points(poly);
  ASSERT_EQ(p.size(), 6u);
  for (int k = 1; k <= 3; ++k)
    EXPECT_EQ(p[k], (P3{static_cast<float>(k * (1.0 / 3.5) * 3.0f), 0, static_cast<float>(k * (1.0 / 3.5) * 6.0f)})) << k;
  EXPECT_EQ(p[4], (P3{3, 0, 6}));
  EXPECT_EQ(p[5], (P3{3, 0.5f, 6}));
}

TEST(PolygonResample, Subsample) {
  struct Case {
    int n, step;
    Pts expect;
  };
  for (const Case& c : {Case{10, 3, {{0, 0, 0}, {3, 0, 0}, {6, 0, 0}, {9, 0, 0}}}, Case{10, 5, {{0, 0, 0}, {5, 0, 0}}},
                        Case{9, 3, {{0, 0, 0}, {3, 0, 0}, {6, 0, 0}}}, Case{10, 1, Line(10)}, Case{10, 0, Line(10)},
                        Case{3, 5, {{0, 0, 0}}}}) {
    CSSE3dPolygon poly;
    Fill(poly, Line(c.n));
    poly.Subsample(c.step);
    EXPECT_EQ(Points(poly), c.expect) << c.n << "/" << c.step;
  }
}

// Quadratic reference: compare with every point kept so far.
Pts NaiveRemoveEqual(const Pts& in) {
  Pts kept;
  for (const P3& p : in) {
    bool repeated = false;
    for (const P3& k : kept) repeated |= std::fabs(p.x - k.x) < 1.0f && std::fabs(p.y - k.y) < 1.0f;
    if (!repeated) kept.push_back(p);
  }
  return kept;
}

TEST(PolygonResample, RemoveEqualPointsMatchesQuadraticReference) {
  const unsigned seed = 777;
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(-6, 6);
  for (int round = 0; round < 40; ++round) {
    Pts pts;
    for (int i = 0; i < 5 + round * 3; ++i) {
      // Mix of integer and fractional positions, some exactly 1.0 apart.
      float x = u(rng), y = u(rng);
      if (i % 3 == 0) x = std::round(x), y = std::round(y);
      pts.push_back({x, y, float(i)});
    }
    CSSE3dPolygon poly;
    Fill(poly, pts);
    poly.RemoveEqualPointsXY();
    ASSERT_EQ(Points(poly), NaiveRemoveEqual(pts)) << "seed " << seed << " round " << round;
  }
  // Exactly 1.0 apart is not "within"; a non-adjacent repeat goes too; NaN
  // points are never within 1.0 of anything.
  CSSE3dPolygon poly;
  Fill(poly, {{0, 0, 0}, {1, 0, 1}, {0.5f, 0.99f, 2}, {0.2f, 0.2f, 3}, {NAN, 0, 4}, {NAN, 0, 5}});
  poly.RemoveEqualPointsXY();
  const Pts p = Points(poly);
  ASSERT_EQ(p.size(), 4u);
  EXPECT_EQ(p[1].z, 1.0f);
  EXPECT_EQ(p[2].z, 4.0f);
}

TEST(PolygonResample, NoiseIsReproducibleAndBounded) {
  Pts pts;
  for (int i = 0; i < 50; ++i) pts.push_back({float(i), float(2 * i), 7});
  CSSE3dPolygon a, b;
  Fill(a, pts);
  Fill(b, pts);
  std::srand(1);
  a.AddNoiseXY(0.5f);
  std::srand(99);
  b.AddNoiseXY(0.5f);  // its own seeded generator: the C generator plays no part
  const Pts pa = Points(a);
  EXPECT_EQ(pa, Points(b));
  bool moved = false;
  for (size_t i = 0; i < pts.size(); ++i) {
    EXPECT_EQ(pa[i].z, 7.0f);
    EXPECT_LE(std::fabs(pa[i].x - pts[i].x), 0.5f);
    EXPECT_LE(std::fabs(pa[i].y - pts[i].y), 0.5f);
    moved |= pa[i].x != pts[i].x;
  }
  EXPECT_TRUE(moved);
}

// ---- transforms ----------------------------------------------------------------

// Row-by-row application: each output is the paired four-lane scalar product
// of one row with (x, y, z, 0).
P3 Apply(const float m[3][3], P3 p) {
  const __m128 v = _mm_setr_ps(p.x, p.y, p.z, 0);
  auto row = [&](int i) { return CSSEFns::scalarproduct(_mm_setr_ps(m[i][0], m[i][1], m[i][2], 0), v); };
  return {row(0), row(1), row(2)};
}

const Pts kShape = {{1, 0, 0}, {0, 2, 1}, {-3, 1, 2}, {2.5f, -1.5f, -4}, {7, 3, 0.25f}};

TEST(PolygonTransform, MatchesWrittenOutMatrices) {
  const float a = 0.3f, b = -0.7f, c = 1.1f;
  auto cf = [](float v) { return static_cast<float>(std::cos(double(v))); };
  auto sf = [](float v) { return static_cast<float>(std::sin(double(v))); };
  const float ca = cf(a), sa = sf(a), cb = cf(b), sb = sf(b), cc = cf(c), sc = sf(c);
  // RotateZ is clockwise for a positive angle with y up.
  const float rz[3][3] = {{cc, sc, 0}, {-sc, cc, 0}, {0, 0, 1}};
  const float rxyz[3][3] = {{cb * cc, ca * sc - sa * sb * cc, ca * sb * cc + sa * sc},
                            {-cb * sc, ca * cc + sa * sb * sc, sa * cc - ca * sb * sc},
                            {-sb, -sa * cb, ca * cb}};
  // Not a rotation: (0, 0, 1) maps to a vector of squared length sa^2 + cb^2.
  const float tv[3][3] = {{ca * cb, -sa, -sa * cb}, {sa * cb, ca, -sa * sb}, {sb, 0, cb}};
  struct Case {
    const char* name;
    void (*run)(CSSE3dPolygon&, float, float, float);
    const float (*m)[3];
    bool keepsBox;
  };
  const Case cases[] = {
      {"RotateZ", [](CSSE3dPolygon& p, float, float, float c) { p.RotateZ(c); }, rz, false},
      {"RotateXYZ", [](CSSE3dPolygon& p, float a, float b, float c) { p.RotateXYZ(a, b, c); }, rxyz, false},
      {"RotateXYZ(0, 0, c)", [](CSSE3dPolygon& p, float, float, float c) { p.RotateXYZ(0, 0, c); }, rz, false},
      {"TransformVertices", [](CSSE3dPolygon& p, float a, float b, float) { p.TransformVertices(a, b); }, tv, true},
  };
  for (const Case& k : cases) {
    CSSE3dPolygon poly;
    Fill(poly, kShape);
    k.run(poly, a, b, c);
    Pts want;
    for (const P3& p : kShape) want.push_back(Apply(k.m, p));
    EXPECT_EQ(Points(poly), want) << k.name;
    EXPECT_EQ(poly.IsBoundingBoxCalculated(), k.keepsBox) << k.name;
  }
}

TEST(PolygonTransform, AboutCentreShiftBlowFlip) {
  CSSE3dPolygon poly;
  Fill(poly, kShape);
  poly.CalcGeometricCenter();
  SSEPoint c;
  poly.GetGeometricCenter(c);
  const float a = 0.25f, b = 0.5f;
  const float ca = std::cos(double(a)), sa = std::sin(double(a)), cb = std::cos(double(b)), sb = std::sin(double(b));
  const float tv[3][3] = {{ca * cb, -sa, -sa * cb}, {sa * cb, ca, -sa * sb}, {sb, 0, cb}};
  struct Case {
    const char* name;
    void (*run)(CSSE3dPolygon&);
    std::function<P3(P3)> expect;
  };
  const Case cases[] = {
      {"TransformVerticesAboutCenter", [](CSSE3dPolygon& p) { p.TransformVerticesAboutCenter(0.25f, 0.5f); },
       [&](P3 p) {
         const P3 q = Apply(tv, {p.x - c.x, p.y - c.y, p.z - c.z});
         return P3{q.x + c.x, q.y + c.y, q.z + c.z};
       }},
      {"BlowLineAroundCenter", [](CSSE3dPolygon& p) { p.BlowLineAroundCenter(2, 3, 4, false); },
       [&](P3 p) { return P3{(p.x - c.x) * 2 + c.x, (p.y - c.y) * 3 + c.y, (p.z - c.z) * 4 + c.z}; }},
      {"ShiftLine", [](CSSE3dPolygon& p) { p.ShiftLine(1, -2, 0.5f); },
       [](P3 p) { return P3{p.x + 1, p.y - 2, p.z + 0.5f}; }},
      {"BlowLine", [](CSSE3dPolygon& p) { p.BlowLine(2, 0.5f, -1, false); },
       [](P3 p) { return P3{p.x * 2, p.y * 0.5f, -p.z}; }},
  };
  for (const Case& k : cases) {
    CSSE3dPolygon q;
    Fill(q, kShape);
    k.run(q);
    Pts want;
    for (const P3& p : kShape) want.push_back(k.expect(p));
    EXPECT_EQ(Points(q), want) << k.name;
  }
  // The shift ends with a calculated box, also for an empty polygon.
  CSSE3dPolygon shifted, empty;
  Fill(shifted, kShape);
  shifted.ShiftLine(1, -2, 0.5f);
  EXPECT_TRUE(shifted.IsBoundingBoxCalculated());
  EXPECT_EQ(shifted.GetTopRight().x, 8.0f);
  empty.ShiftLine(1, 1, 1);
  EXPECT_TRUE(empty.IsBoundingBoxCalculated());
  // Flip about the centre's z: cz - z (not a mirror), or the mirror 2 cz - z.
  for (bool mirror : {false, true}) {
    Fill(poly, {{0, 0, 1}, {1, 0, 2}, {1, 1, 3}});
    poly.FlipOrientationZ(mirror);
    const Pts want = mirror ? Pts{{0, 0, 3}, {1, 0, 2}, {1, 1, 1}} : Pts{{0, 0, 1}, {1, 0, 0}, {1, 1, -1}};
    EXPECT_EQ(Points(poly), want) << "mirror " << mirror;
  }
}

}  // namespace
