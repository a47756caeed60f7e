// Resampling (densification, subsampling, removal of repeated points, noise)
// and the point-wise transforms, checked against matrices written out with the
// same float rounding.

#include <array>
#include <functional>

#include "polygon_fixtures.h"
#include "relief/CSSEFns.h"

using namespace contour_test;

namespace {

using Edit = std::function<void(CSSE3dPolygon&)>;

TEST(PolygonResample, CountsAfterResampling) {
  Edit closed = [](CSSE3dPolygon& p) { p.ReParametrize(1.0f); };
  auto spacing = [](float s) { return Edit([s](CSSE3dPolygon& p) { p.ReParametrize(s); }); };
  const Pts spur = {{0, 0, 0}, {0.5f, 0, 0}, {10, 0, 0}};
  const std::tuple<const char*, Pts, Edit, int> cases[] = {
      // The long-edge rule is per axis and strict.
      {"square of side 3: N = 3 on every edge", Square(0, 0, 3), closed, 4 + 4 * 3},
      {"exactly the spacing is not long", {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}}, closed, 3},
      {"2.5 / 1 gives N = 2 on 0->1 and 2->0", {{0, 0, 0}, {2.5f, 0, 0}, {0, 0.5f, 0}}, closed, 3 + 2 + 2},
      {"open omits the closing edge", spur, [](CSSE3dPolygon& p) { p.ReParametrizeOpen(1.0f); }, 3 + 9},
      {"capped at 99999 points", Square(0, 0, 100000), closed, 99999},
      {"NaN spacing", Square(0, 0, 10), spacing(NAN), 4},
      // Sides of 3 at spacing 0.6f: 3 / 0.6f is just below 5, so 4 extra points each.
      {"blow with resampling", Square(0, 0, 1), [](CSSE3dPolygon& p) { p.BlowLine(3, 3, 1, true); }, 4 + 4 * 4},
  };
  for (const auto& [name, pts, edit, expect] : cases) {
    CSSE3dPolygon poly = Make(pts);
    poly.CalcBoundingBox();
    edit(poly);
    EXPECT_EQ(poly.GetNumPoints(), expect) << name;
    if (expect != int(pts.size())) EXPECT_FALSE(poly.IsBoundingBoxCalculated()) << name;
  }
  for (auto [step, count] : std::vector<std::pair<int, int>>{{3, 4}, {0, 10}, {11, 1}}) {
    Pts line, want;
    for (int i = 0; i < 10; ++i) line.push_back({float(i), 0, 0});
    for (int k = 0; k < count; ++k) want.push_back(line[k * std::max(step, 1)]);
    CSSE3dPolygon poly = Make(line);
    poly.Subsample(step);  // keeps 0, step, 2 step, ...; step <= 1 does nothing
    EXPECT_EQ(Points(poly), want) << "step " << step;
  }
  CSSE3dPolygon poly = Make({{0, 0, 0}, {3, 0, 6}, {3, 0.5f, 6}});
  poly.ReParametrizeOpen(1.0f);  // only 0->1 is long: N = 3, steps of 3 / (N + 0.5)
  Pts want = {{0, 0, 0}};
  for (int k = 1; k <= 3; ++k) want.push_back({float(k * (1.0 / 3.5) * 3.0f), 0, float(k * (1.0 / 3.5) * 6.0f)});
  want.insert(want.end(), {{3, 0, 6}, {3, 0.5f, 6}});
  EXPECT_EQ(Points(poly), want);
}

TEST(PolygonResample, RemoveEqualPointsMatchesQuadraticReference) {
  const unsigned seed = 777;
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(-6, 6);
  auto naive = [](const Pts& in) {  // compare with every point kept so far
    Pts kept;
    for (const P3& p : in) {
      bool repeated = false;
      for (const P3& k : kept) repeated |= std::fabs(p.x - k.x) < 1.0f && std::fabs(p.y - k.y) < 1.0f;
      if (!repeated) kept.push_back(p);
    }
    return kept;
  };
  for (int round = 0; round < 40; ++round) {
    Pts pts;
    for (int i = 0; i < 5 + round * 3; ++i) {
      // Mix of integer and fractional positions, some exactly 1.0 apart.
      float x = u(rng), y = u(rng);
      if (i % 3 == 0) x = std::round(x), y = std::round(y);
      pts.push_back({x, y, float(i)});
    }
    CSSE3dPolygon poly = Make(pts);
    poly.RemoveEqualPointsXY();
    ASSERT_EQ(Points(poly), naive(pts)) << "seed " << seed << " round " << round;
  }
  // NaN points are never within 1.0 of anything.
  CSSE3dPolygon poly = Make({{0, 0, 0}, {NAN, 0, 1}, {NAN, 0, 2}});
  poly.RemoveEqualPointsXY();
  EXPECT_EQ(poly.GetNumPoints(), 3);
}

TEST(PolygonResample, NoiseIsReproducibleAndBounded) {
  Pts pts;
  for (int i = 0; i < 50; ++i) pts.push_back({float(i), float(2 * i), 7});
  CSSE3dPolygon a = Make(pts), b = Make(pts);
  std::srand(1);
  a.AddNoiseXY(0.5f);
  std::srand(99);
  b.AddNoiseXY(0.5f);  // its own seeded generator: the C generator plays no part
  const Pts pa = Points(a);
  EXPECT_EQ(pa, Points(b));
  EXPECT_NE(pa, pts);
  for (size_t i = 0; i < pts.size(); ++i)
    EXPECT_TRUE(relief_test::AllEqual({FIELD(pa[i].z, 7.0f), FIELD(std::fabs(pa[i].x - pts[i].x) <= 0.5f, true),
                                       FIELD(std::fabs(pa[i].y - pts[i].y) <= 0.5f, true)}))
        << i;
}

// ---- transforms ----------------------------------------------------------------

// Row-by-row application: each output is the paired four-lane scalar product
// of one row with (x, y, z, 0).
using M3 = std::array<std::array<float, 3>, 3>;
P3 Apply(const M3& m, P3 p) {
  const __m128 v = _mm_setr_ps(p.x, p.y, p.z, 0);
  auto row = [&](int i) { return CSSEFns::scalarproduct(_mm_setr_ps(m[i][0], m[i][1], m[i][2], 0), v); };
  return {row(0), row(1), row(2)};
}

TEST(PolygonTransform, MatchesWrittenOutMatrices) {
  const Pts shape = {{1, 0, 0}, {0, 2, 1}, {-3, 1, 2}, {2.5f, -1.5f, -4}, {7, 3, 0.25f}};
  CSSE3dPolygon centred = Make(shape);
  centred.CalcGeometricCenter();
  SSEPoint c;
  centred.GetGeometricCenter(c);
  // Angles go through double sin and cos, rounded to float before the matrix is formed.
  auto cs = [](float v) { return std::pair<float, float>(std::cos(double(v)), std::sin(double(v))); };
  const auto [ca, sa] = cs(0.3f);
  const auto [cb, sb] = cs(-0.7f);
  const auto [cc, sc] = cs(1.1f);
  const M3 rz = {{{cc, sc, 0}, {-sc, cc, 0}, {0, 0, 1}}};  // clockwise for a positive angle, y up
  const M3 rxyz = {{{cb * cc, ca * sc - sa * sb * cc, ca * sb * cc + sa * sc},
                    {-cb * sc, ca * cc + sa * sb * sc, sa * cc - ca * sb * sc},
                    {-sb, -sa * cb, ca * cb}}};
  // Not a rotation: (0, 0, 1) maps to a vector of squared length sa^2 + cb^2.
  const M3 tv = {{{ca * cb, -sa, -sa * cb}, {sa * cb, ca, -sa * sb}, {sb, 0, cb}}};
  const M3 id = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  const P3 o = {0, 0, 0}, centre = {c.x, c.y, c.z};
  // Each point: moved by -about, through the matrix, back by about, then shifted.
  const std::tuple<const char*, Edit, M3, P3, P3, int> cases[] = {
      {"RotateZ", [](CSSE3dPolygon& p) { p.RotateZ(1.1f); }, rz, o, o, 0},
      {"RotateXYZ", [](CSSE3dPolygon& p) { p.RotateXYZ(0.3f, -0.7f, 1.1f); }, rxyz, o, o, -1},
      {"TransformVertices", [](CSSE3dPolygon& p) { p.TransformVertices(0.3f, -0.7f); }, tv, o, o, 1},
      {"TransformVerticesAboutCenter", [](CSSE3dPolygon& p) { p.TransformVerticesAboutCenter(0.3f, -0.7f); }, tv,
       centre, o, 1},
      {"ShiftLine", [](CSSE3dPolygon& p) { p.ShiftLine(1, -2, 0.5f); }, id, o, {1, -2, 0.5f}, 1},
  };
  for (const auto& [name, edit, m, about, shift, boxAfter] : cases) {
    CSSE3dPolygon poly = Make(shape);
    edit(poly);
    Pts want;
    for (const P3& p : shape) {
      const P3 q = Apply(m, {p.x - about.x, p.y - about.y, p.z - about.z});
      want.push_back({q.x + about.x + shift.x, q.y + about.y + shift.y, q.z + about.z + shift.z});
    }
    EXPECT_EQ(Points(poly), want) << name;
    if (boxAfter >= 0) EXPECT_EQ(poly.IsBoundingBoxCalculated(), boxAfter == 1) << name;  // -1: not promised
  }
  // Flip about the centre's z: cz - z (not a mirror), or the mirror 2 cz - z.
  for (bool mirror : {false, true}) {
    CSSE3dPolygon poly = Make({{0, 0, 1}, {1, 0, 2}, {1, 1, 3}});
    poly.FlipOrientationZ(mirror);
    const Pts want = mirror ? Pts{{0, 0, 3}, {1, 0, 2}, {1, 1, 1}} : Pts{{0, 0, 1}, {1, 0, 0}, {1, 1, -1}};
    EXPECT_EQ(Points(poly), want) << "mirror " << mirror;
  }
}

}  // namespace
