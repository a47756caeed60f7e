// Ear clipping: the tolerant predicates, the clip sequence with its
// diagonal records, the mapping back through the step, and random
// star-shaped polygons with collinear runs.

#include <gtest/gtest.h>

#include "test_hull_seed.h"

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "relief/CHPolygonTriangulator.h"
#include "relief/CHSimpleBasisFcns.h"
#include "relief/CSSE2dPolygon.h"
#include "relief/CSSE3dPolygon.h"

namespace {

using F = CHSimpleBasisFcns;

t_h2dpoint P(float x, float y) { return t_h2dpoint{x, y}; }

CSSE2dPolygon Polygon2D(const std::vector<t_h2dpoint>& pts) {
  CSSE2dPolygon poly;
  poly.Create(static_cast<int>(pts.size()));
  for (int i = 0; i < static_cast<int>(pts.size()); ++i) poly.SetPoint(i, pts[i].x, pts[i].y);
  return poly;
}

double ShoelaceArea(const std::vector<t_h2dpoint>& pts) {
  double a = 0;
  for (std::size_t i = 0; i < pts.size(); ++i) {
    const t_h2dpoint& p = pts[i];
    const t_h2dpoint& q = pts[(i + 1) % pts.size()];
    a += static_cast<double>(p.x) * q.y - static_cast<double>(q.x) * p.y;
  }
  return a / 2;
}

// Names the first broken rule of a finished triangulation of a
// counter-clockwise polygon, or "".
std::string EarClipViolation(const CHPolygonTriangulator& t, const std::vector<t_h2dpoint>& pts) {
  const int n = t.GetNumVertices();
  if (t.GetNumTriangles() != n - 2) return "triangle count " + std::to_string(t.GetNumTriangles());
  if (t.GetNumDiagonals() != n - 2) return "diagonal count";
  double area = 0;
  std::vector<int> clipped(n, 0);
  for (int i = 0; i < t.GetNumTriangles(); ++i) {
    const t_htriangleconnectivity& c = t.GetConnectivityArray()[i];
    for (int k = 0; k < 3; ++k)
      if (c.Vertex[k] < 0 || c.Vertex[k] >= n) return "index out of range";
    const t_hvertex* v = t.GetVertexArray();
    const double a = (static_cast<double>(v[c.Vertex[1]].x) - v[c.Vertex[0]].x) *
                         (static_cast<double>(v[c.Vertex[2]].y) - v[c.Vertex[0]].y) -
                     (static_cast<double>(v[c.Vertex[2]].x) - v[c.Vertex[0]].x) *
                         (static_cast<double>(v[c.Vertex[1]].y) - v[c.Vertex[0]].y);
    if (a < -1e-3) return "clockwise triangle " + std::to_string(i);
    area += a / 2;
    if (clipped[c.Vertex[1]]++) return "vertex clipped twice";
    const t_hdiagonal* d = t.GetDiagonal(i);
    if (!d->Exists || d->First != c.Vertex[0] || d->Second != c.Vertex[2]) return "diagonal record " + std::to_string(i);
  }
  if (pts.size() == static_cast<std::size_t>(n)) {
    const double expected = ShoelaceArea(pts);
    if (std::fabs(area - expected) > 1e-4 * std::fabs(expected) + 1e-3) return "areas do not sum to the polygon's";
  }
  return "";
}

// ---- predicates -------------------------------------------------------------

struct AreaCase {
  float cy;
  bool left, leftOn, collinear;
};

class EarPredicates : public testing::TestWithParam<AreaCase> {};

TEST_P(EarPredicates, ToleranceBoundsOnTheDoubledArea) {
  // a = (0, 0), b = (1, 0): the doubled area is exactly c.y.
  const t_h2dpoint a = P(0, 0), b = P(1, 0), c = P(0.25f, GetParam().cy);
  EXPECT_EQ(F::AreaSign(&a, &b, &c), GetParam().cy);
  EXPECT_EQ(F::Left(&a, &b, &c), GetParam().left);
  EXPECT_EQ(F::LeftOn(&a, &b, &c), GetParam().leftOn);
  EXPECT_EQ(F::Collinear(&a, &b, &c), GetParam().collinear);
}

INSTANTIATE_TEST_SUITE_P(Bounds, EarPredicates,
                         testing::Values(AreaCase{0.0005f, false, true, true},    // on the tolerance
                                         AreaCase{0.00051f, true, true, false},
                                         AreaCase{-0.0005f, false, true, true},   // LeftOn includes -e
                                         AreaCase{-0.00051f, false, false, false},
                                         AreaCase{0.0f, false, true, true}));

TEST(EarPredicates, AreaIsFormedInDoubleThenRounded) {
  // In float, 16777217 - 1 rounds; in double the products are exact.
  const t_h2dpoint a = P(1, 1), b = P(16777216.0f, 1), c = P(1, 3);
  EXPECT_EQ(F::AreaSign(&a, &b, &c), static_cast<float>(16777215.0 * 2.0));
}

TEST(EarPredicates, BetweenAndIntersect) {
  const t_h2dpoint a = P(0, 0), b = P(4, 0), mid = P(2, 0.0001f), end = P(4, 0), off = P(2, 1);
  EXPECT_TRUE(F::Between(&a, &b, &mid));   // within the tolerance of the line
  EXPECT_TRUE(F::Between(&a, &b, &end));   // inclusive
  EXPECT_TRUE(F::Between(&b, &a, &mid));   // either order
  EXPECT_FALSE(F::Between(&a, &b, &off));  // not collinear
  const t_h2dpoint beyond = P(5, 0);
  EXPECT_FALSE(F::Between(&a, &b, &beyond));
  // A vertical segment is judged on y.
  const t_h2dpoint v0 = P(1, 0), v1 = P(1, 3), vin = P(1, 2), vout = P(1, 4);
  EXPECT_TRUE(F::Between(&v0, &v1, &vin));
  EXPECT_FALSE(F::Between(&v0, &v1, &vout));

  const t_h2dpoint c = P(2, -1), d = P(2, 1), e = P(2, 0), f = P(6, 6);
  EXPECT_TRUE(F::IntersectProp(&a, &b, &c, &d));
  EXPECT_FALSE(F::IntersectProp(&a, &b, &e, &f));  // touches: collinear, not proper
  EXPECT_TRUE(F::Intersect(&a, &b, &e, &f));
  EXPECT_FALSE(F::Intersect(&a, &b, &off, &f));
}

TEST(EarPredicates, FlatVertexCountsAsConvexInCone) {
  // Vertex a on a straight run from a0 to a1: the cone is the upper half plane.
  t_hvertex a0{}, a{}, a1{}, up{}, down{};
  a0.x = -1;
  a.x = 0;
  a1.x = 1;
  a.previous = &a0;
  a.next = &a1;
  up.y = 1;
  down.y = -1;
  EXPECT_TRUE(F::InCone(&a, &up));
  EXPECT_FALSE(F::InCone(&a, &down));
  // A reflex vertex: everything but the notch is inside.
  t_hvertex r{}, r0{}, r1{}, notch{}, far{};
  r0.x = -1;
  r0.y = 1;
  r1.x = 1;
  r1.y = 1;
  r.previous = &r1;  // walking from (1, 1) down to r and up to (-1, 1) turns right
  r.next = &r0;
  notch.y = 5;
  far.y = -5;
  EXPECT_FALSE(F::InCone(&r, &notch));
  EXPECT_TRUE(F::InCone(&r, &far));
}

TEST(EarPredicates, VertexAlreadyThereComparesAllFourLanes) {
  SSEPoint pts[3];
  pts[0].m = _mm_set_ps(0, 3, 2, 1);
  pts[1].m = _mm_set_ps(1, 3, 2, 1);
  pts[2].m = _mm_set_ps(1, 3, 2, 1);
  SSEPoint q;
  q.m = _mm_set_ps(1, 3, 2, 1);
  EXPECT_EQ(F::VertexAlreadyThereInArray(pts, q, 3), 1);
  EXPECT_EQ(F::VertexAlreadyThereInArray(pts, q, 1), -1);
  EXPECT_EQ(F::VertexAlreadyThereInArray(pts, q, 0), -1);
  EXPECT_EQ(F::VertexAlreadyThereInArray(pts, pts[0], 3), 0);
}

// ---- the triangulator -------------------------------------------------------

struct ShapeCase {
  const char* name;
  std::vector<t_h2dpoint> points;
  int triangles;
};

class EarClipShapes : public testing::TestWithParam<ShapeCase> {};

TEST_P(EarClipShapes, BothModesGiveNMinusTwoTriangles) {
  CSSE2dPolygon poly = Polygon2D(GetParam().points);
  for (bool mode : {false, true}) {
    CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, mode);
    EXPECT_EQ(t.GetNumTriangles(), GetParam().triangles) << "mode " << mode;
    EXPECT_EQ(EarClipViolation(t, GetParam().points), "") << "mode " << mode;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, EarClipShapes,
    testing::Values(ShapeCase{"triangle", {P(0, 0), P(2, 0), P(0, 2)}, 1},
                    ShapeCase{"square", {P(0, 0), P(1, 0), P(1, 1), P(0, 1)}, 2},
                    ShapeCase{"dart", {P(0, 0), P(4, 0), P(0, 4), P(1, 1)}, 2},
                    ShapeCase{"square_with_flat_midpoints",
                              {P(0, 0), P(1, 0), P(2, 0), P(2, 1), P(2, 2), P(1, 2), P(0, 2), P(0, 1)}, 6},
                    ShapeCase{"nearly_flat_within_tolerance", {P(0, 0), P(1, 0.0001f), P(2, 0), P(2, 2), P(0, 2)}, 3},
                    ShapeCase{"comb",
                              {P(0, 0), P(6, 0), P(6, 3), P(5, 3), P(5, 1), P(4, 1), P(4, 3), P(3, 3), P(3, 1),
                               P(2, 1), P(2, 3), P(0, 3)},
                              10}),
    [](const testing::TestParamInfo<ShapeCase>& i) { return std::string(i.param.name); });

TEST(EarClip, DartDiagonalRecordsAndConvexityFlags) {
  // A(0,0) B(4,0) C(0,4) D(1,1): D is reflex, A and C are the ears.
  CSSE2dPolygon poly = Polygon2D({P(0, 0), P(4, 0), P(0, 4), P(1, 1)});
  CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, false);
  ASSERT_EQ(t.GetNumTriangles(), 2);
  // First clip at the head A: triangle (D, A, B); D reflex, B convex.
  const t_htriangleconnectivity* c = t.GetConnectivityArray();
  EXPECT_EQ(std::vector<int>(c[0].Vertex, c[0].Vertex + 3), (std::vector<int>{3, 0, 1}));
  EXPECT_EQ(std::vector<int>(c[1].Vertex, c[1].Vertex + 3), (std::vector<int>{1, 2, 3}));
  const t_hdiagonal* d0 = t.GetDiagonal(0);
  EXPECT_TRUE(d0->Exists);
  EXPECT_EQ(d0->First, 3);
  EXPECT_FALSE(d0->FirstConvex);
  EXPECT_EQ(d0->Second, 1);
  EXPECT_TRUE(d0->SecondConvex);
  const t_hdiagonal* d1 = t.GetDiagonal(1);
  EXPECT_EQ(d1->First, 1);
  EXPECT_TRUE(d1->FirstConvex);
  EXPECT_EQ(d1->Second, 3);
  EXPECT_TRUE(d1->SecondConvex);
  EXPECT_TRUE(t.DiagonalExists(1));
  EXPECT_FALSE(t.DiagonalExists(2));  // zero-filled, never written
  EXPECT_FALSE(t.DiagonalExists(4));  // outside the array
  float x1 = -9, y1 = -9, x2 = -9, y2 = -9;
  t.GetDiagonalPoints(0, x1, y1, x2, y2);
  EXPECT_EQ(std::vector<float>({x1, y1, x2, y2}), (std::vector<float>{1, 1, 4, 0}));
  t.GetDiagonalPoints(7, x1, y1, x2, y2);  // untouched
  EXPECT_EQ(x1, 1.0f);
}

TEST(EarClip, ModeFlagMovesTheStartOfTheSearch) {
  CSSE2dPolygon poly = Polygon2D({P(0, 0), P(1, 0), P(1, 1), P(0, 1)});
  CHPolygonTriangulator fromHead(&poly, 1, 1.0f, 1.0f, false);
  CHPolygonTriangulator fromNext(&poly, 1, 1.0f, 1.0f, true);
  const int* a = fromHead.GetConnectivityArray()[0].Vertex;
  const int* b = fromNext.GetConnectivityArray()[0].Vertex;
  EXPECT_EQ(std::vector<int>(a, a + 3), (std::vector<int>{3, 0, 1}));
  EXPECT_EQ(std::vector<int>(b, b + 3), (std::vector<int>{0, 1, 2}));
}

// Exposes EarInit over the whole circle again.
class EarInitProbe : public CHPolygonTriangulator {
 public:
  using CHPolygonTriangulator::CHPolygonTriangulator;
  std::vector<bool> FlagsAfterEarInit() {
    t_hvertex* v = GetVertexArray();
    const int n = GetNumVertices();
    for (int i = 0; i < n; ++i) {
      v[i].next = &v[(i + 1) % n];
      v[i].previous = &v[(i + n - 1) % n];
      v[i].ear = false;
    }
    EarInit();
    std::vector<bool> flags;
    for (int i = 0; i < n; ++i) flags.push_back(v[i].ear);
    return flags;
  }
};

TEST(EarClip, EarInitLeavesTheLastVertexOut) {
  CSSE2dPolygon poly = Polygon2D({P(0, 0), P(2, 0), P(3, 1), P(1, 3), P(-1, 1)});
  EarInitProbe t(&poly, 1, 1.0f, 1.0f, false);
  EXPECT_EQ(t.FlagsAfterEarInit(), (std::vector<bool>{true, true, true, true, false}));
}

TEST(EarClip, StepAndScaleMapBackToTheSourcePoints) {
  // Eight points of a convex octagon with distinct z; step 2 uses 0, 2, 4, 6.
  CSSE3dPolygon poly;
  poly.Create(8);
  for (int i = 0; i < 8; ++i) {
    const double a = i * 3.14159265358979 / 4;
    poly.SetPoint(i, static_cast<float>(10 * std::cos(a)), static_cast<float>(10 * std::sin(a)), 100.0f + i);
  }
  CHPolygonTriangulator t(&poly, 2, 0.5f, 2.0f, 3.0f, true);
  ASSERT_TRUE(t.Is3DTriangulation());
  EXPECT_EQ(t.GetNumVertices(), 4);
  EXPECT_EQ(t.GetNumTriangles(), 2);
  EXPECT_EQ(t.GetScaleZ(), 3.0f);
  float x = 0, y = 0, px = 0, py = 0, pz = 0;
  t.GetPoint(1, x, y);
  poly.GetPoint(2, px, py, pz);
  EXPECT_EQ(x, static_cast<float>(0.5 * px));
  EXPECT_EQ(y, static_cast<float>(2.0 * py));
  for (int i = 0; i < 2; ++i) {
    SSEPoint c[3];
    t.GetTriangle3D(i, c[0], c[1], c[2]);
    for (int k = 0; k < 3; ++k) {
      SSEPoint expected;
      poly.GetPointSSE(2 * t.GetConnectivityArray()[i].Vertex[k], expected);
      EXPECT_EQ(_mm_movemask_ps(_mm_cmpeq_ps(c[k].m, expected.m)), 0xF) << i << "," << k;
      EXPECT_EQ(static_cast<int>(c[k].z - 100.0f) % 2, 0);  // only even source points
    }
  }
  SSEPoint untouched;
  untouched.m = _mm_set1_ps(7.0f);
  SSEPoint u1 = untouched, u2 = untouched;
  t.GetTriangle3D(2, untouched, u1, u2);
  EXPECT_EQ(untouched.x, 7.0f);
  t.GetPoint(4, x, y);  // out of range: unchanged
  EXPECT_EQ(x, static_cast<float>(0.5 * px));
}

TEST(EarClip, TwoDimensionalSourceWritesNo3DTriangle) {
  CSSE2dPolygon poly = Polygon2D({P(0, 0), P(1, 0), P(0, 1)});
  CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, false);
  EXPECT_FALSE(t.Is3DTriangulation());
  SSEPoint a, b, c;
  a.m = b.m = c.m = _mm_set1_ps(3.0f);
  t.GetTriangle3D(0, a, b, c);
  EXPECT_EQ(a.x, 3.0f);
}

TEST(EarClip, DegenerateInputLeavesAnEmptyObject) {
  CSSE2dPolygon two = Polygon2D({P(0, 0), P(1, 0)});
  CSSE2dPolygon five = Polygon2D({P(0, 0), P(1, 0), P(1, 1), P(0, 1), P(0.5f, 2)});
  const CHPolygonTriangulator fewPoints(&two, 1, 1.0f, 1.0f, false);
  const CHPolygonTriangulator zeroStep(&five, 0, 1.0f, 1.0f, false);
  const CHPolygonTriangulator hugeStep(&five, 9, 1.0f, 1.0f, false);
  const CHPolygonTriangulator twoLeft(&five, 2, 1.0f, 1.0f, false);  // 5 / 2 = 2 vertices
  for (const CHPolygonTriangulator* t : {&fewPoints, &zeroStep, &hugeStep}) {
    EXPECT_EQ(t->GetNumTriangles(), 0);
    EXPECT_EQ(t->GetVertexArray(), nullptr);
  }
  EXPECT_EQ(twoLeft.GetNumVertices(), 2);
  EXPECT_EQ(twoLeft.GetNumTriangles(), 0);
}

TEST(EarClip, ClockwisePolygonFindsNoEar) {
  CSSE2dPolygon poly = Polygon2D({P(0, 0), P(0, 1), P(1, 1), P(1, 0), P(0.5f, -1)});
  CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, false);
  EXPECT_EQ(t.GetNumTriangles(), 0);
}

TEST(EarClip, CopiesAreDeepAndRelinked) {
  CSSE2dPolygon poly = Polygon2D({P(0, 0), P(4, 0), P(0, 4), P(1, 1)});
  CHPolygonTriangulator a(&poly, 1, 1.0f, 1.0f, false);
  CHPolygonTriangulator b(a);
  CSSE2dPolygon other = Polygon2D({P(0, 0), P(1, 0), P(0, 1)});
  CHPolygonTriangulator c(&other, 1, 1.0f, 1.0f, false);
  c = a;
  for (const CHPolygonTriangulator* t : {&b, &c}) {
    EXPECT_NE(t->GetVertexArray(), a.GetVertexArray());
    EXPECT_EQ(t->GetNumTriangles(), 2);
    const t_hvertex* v = t->GetVertexArray();
    for (int i = 0; i < 4; ++i) {
      EXPECT_GE(v[i].next, v);
      EXPECT_LT(v[i].next, v + 4);
    }
    EXPECT_EQ(t->GetConnectivityArray()[1].Vertex[2], 3);
  }
}

// ---- random star-shaped polygons --------------------------------------------

TEST(EarClipProperty, StarPolygonsWithCollinearRuns) {
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 60; ++round) {
    const int corners = 3 + static_cast<int>(rng() % 40);
    std::uniform_real_distribution<double> radius(5.0, 50.0);
    std::vector<double> angles;
    for (int i = 0; i < corners; ++i) angles.push_back(std::uniform_real_distribution<double>(0, 6.283)(rng));
    std::sort(angles.begin(), angles.end());
    std::vector<t_h2dpoint> corner;
    for (double a : angles) {
      const double r = radius(rng);
      corner.push_back(P(static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a))));
    }
    // Some edges get points along them: collinear runs.
    std::vector<t_h2dpoint> pts;
    for (int i = 0; i < corners; ++i) {
      const t_h2dpoint a = corner[i], b = corner[(i + 1) % corners];
      pts.push_back(a);
      if (rng() % 3 == 0) {
        const int extra = 1 + static_cast<int>(rng() % 3);
        for (int k = 1; k <= extra; ++k) {
          const float t = static_cast<float>(k) / (extra + 1);
          pts.push_back(P(a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t));
        }
      }
    }
    // The polygon is simple and star-shaped about the origin only while no
    // angular gap reaches pi; angles too close give needle corners. Skip
    // such rounds.
    bool separated = true;
    for (int i = 0; i + 1 < corners; ++i) separated &= angles[i + 1] - angles[i] > 1e-3 && angles[i + 1] - angles[i] < 3.0;
    const double wrap = angles.front() + 6.283185307 - angles.back();
    separated &= wrap > 1e-3 && wrap < 3.0;
    if (!separated) continue;
    CSSE2dPolygon poly = Polygon2D(pts);
    CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, round % 2 == 0);
    ASSERT_EQ(EarClipViolation(t, pts), "") << "round " << round << ", " << pts.size() << " vertices" << [&] {
      std::string s;
      for (const auto& p : pts) s += " (" + std::to_string(p.x) + ", " + std::to_string(p.y) + ")";
      return s;
    }();
  }
}

}  // namespace
