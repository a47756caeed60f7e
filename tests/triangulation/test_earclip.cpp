// Ear clipping: the tolerant predicates, the clip sequence with its
// diagonal records, the mapping back through the step, the edge tree against
// the plain walk on every kind of polygon (the same ears in the same order,
// tolerances and degeneracies included; simple ones must also triangulate
// validly), and the refinement of the clipped triangles (edge limit, no
// T-junctions, area, containment, linear z).

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "predicates.h"
#include "relief/CHPolygonTriangulationRefinement.h"
#include "relief/CHPolygonTriangulator.h"
#include "relief/CHSimpleBasisFcns.h"
#include "relief/CSSE2dPolygon.h"
#include "relief/CSSE3dPolygon.h"
#include "test_hull_reference.h"

namespace {

using namespace relief_test;

using F = CHSimpleBasisFcns;
using Tri = std::array<SSEPoint, 3>;

t_h2dpoint P(float x, float y) { return t_h2dpoint{x, y}; }

CSSE2dPolygon Polygon2D(const std::vector<t_h2dpoint>& pts) {
  CSSE2dPolygon poly;
  poly.Create(static_cast<int>(pts.size()));
  for (int i = 0; i < static_cast<int>(pts.size()); ++i) poly.SetPoint(i, pts[i].x, pts[i].y);
  return poly;
}

using Poly3 = std::vector<std::array<float, 3>>;

CSSE3dPolygon Polygon3D(const Poly3& pts) {
  CSSE3dPolygon poly;
  poly.Create(static_cast<int>(pts.size()));
  for (int i = 0; i < static_cast<int>(pts.size()); ++i) poly.SetPoint(i, pts[i][0], pts[i][1], pts[i][2]);
  return poly;
}

// A random polygon, star-shaped about the origin: every angular gap stays
// below pi, so it is simple and counter-clockwise. z is random too.
Poly3 StarPolygon(std::mt19937& rng, int n, double rMin, double rMax) {
  std::uniform_real_distribution<double> u(0, 1), radius(rMin, rMax), z(-2, 2);
  Poly3 pts;
  for (int i = 0; i < n; ++i) {
    const double a = 6.283185307 * (i + 0.3 * u(rng)) / n, r = radius(rng);
    pts.push_back({float(r * std::cos(a)), float(r * std::sin(a)), float(z(rng))});
  }
  return pts;
}

// Twice the signed area of a polygon.
template <class Get>
double DoubledArea(std::size_t n, Get xy) {
  double a = 0;
  for (std::size_t i = 0; i < n; ++i) a += xy(i, 0) * xy((i + 1) % n, 1) - xy((i + 1) % n, 0) * xy(i, 1);
  return a;
}

// Names the first broken rule of the clipping of a counter-clockwise
// polygon, or "". The clipping must finish, unless what is left holds a
// vertex flat within the predicates' tolerance: the tolerant tests can then
// find no ear in it, and stop as they are meant to. Either way the clipped
// ears and what is left must make up the polygon's area.
std::string EarClipViolation(const CHPolygonTriangulator& t, const CSSE2dPolygon& poly) {
  const int n = t.GetNumVertices();
  if (t.GetNumDiagonals() != t.GetNumTriangles()) return "diagonal count";
  double area = 0;
  std::vector<int> clipped(n, 0);
  const t_hvertex* v = t.GetVertexArray();
  for (int i = 0; i < t.GetNumTriangles(); ++i) {
    const int* c = t.GetConnectivityArray()[i].Vertex;
    for (int k = 0; k < 3; ++k)
      if (c[k] < 0 || c[k] >= n) return "index out of range";
    const double a = Cross(v[c[0]], v[c[1]], v[c[2]]);
    if (a < -1e-3) return "clockwise triangle " + std::to_string(i);
    area += a;
    if (clipped[c[1]]++) return "vertex clipped twice";
    const t_hdiagonal* d = t.GetDiagonal(i);
    if (!d->Exists || d->First != c[0] || d->Second != c[2]) return "diagonal record " + std::to_string(i);
  }
  std::vector<const t_hvertex*> left;
  for (int i = 0; i < n; ++i)
    if (!clipped[i]) left.push_back(&v[i]);
  const std::size_t m = left.size();
  if (m > 2) {
    bool flat = false;
    for (std::size_t k = 0; k < m; ++k)
      flat = flat || std::fabs(Cross(*left[(k + m - 1) % m], *left[k], *left[(k + 1) % m])) <= 5e-4;
    if (!flat) return "stopped with " + std::to_string(m) + " vertices left, none of them flat";
    area += DoubledArea(m, [&](std::size_t i, int k) { return double(k ? left[i]->y : left[i]->x); });
  }
  const double expected = DoubledArea(poly.GetNumPoints(), [&](std::size_t i, int k) {
    float x, y;
    poly.GetPoint(static_cast<int>(i), x, y);
    return double(k ? y : x);
  });
  if (poly.GetNumPoints() == n && std::fabs(area - expected) > 1e-4 * std::fabs(expected) + 2e-3)
    return "areas do not sum to the polygon's";
  return "";
}

// Everything the clips leave: the counts, every triangle's corners and
// every diagonal record (exists, ends, convexity flags).
std::vector<int> Clips(const CHPolygonTriangulator& t) {
  std::vector<int> out{t.GetNumTriangles(), t.GetNumDiagonals()};
  for (int i = 0; i < t.GetNumTriangles(); ++i)
    out.insert(out.end(), t.GetConnectivityArray()[i].Vertex, t.GetConnectivityArray()[i].Vertex + 3);
  for (int i = 0; i < t.GetNumDiagonals(); ++i) {
    const t_hdiagonal& d = *t.GetDiagonal(i);
    out.insert(out.end(), {d.Exists, d.First, d.Second, d.FirstConvex, d.SecondConvex});
  }
  return out;
}

// ---- predicates -------------------------------------------------------------

// Left is strict beyond the tolerance of the doubled area, LeftOn and
// Collinear include it (LeftOn down to minus it). Between takes the
// tolerance of the line and both ends, in either order (a vertical segment
// judged on y); a touch is an intersection but not a proper one; a flat
// vertex counts as convex in InCone (its cone the upper half plane), a
// reflex one holds everything but its notch; a repeat must match in all four
// lanes. In float, 16777217 - 1 rounds; the doubled area is formed in double.
TEST(EarPredicates, TolerancesBetweenIntersectInConeAndRepeats) {
  // {Left, LeftOn, Collinear} as bits, of (0, 0), (1, 0), (0.25, cy): the doubled area is exactly cy.
  const auto sides = [](float cy) {
    const t_h2dpoint a = P(0, 0), b = P(1, 0), p = P(0.25f, cy);
    return 4.0 * F::Left(&a, &b, &p) + 2 * F::LeftOn(&a, &b, &p) + F::Collinear(&a, &b, &p);
  };
  const t_h2dpoint o = P(0, 0), x = P(1, 0), near = P(0.25f, 0.00051f);
  const auto inCone = [](t_h2dpoint prev, t_h2dpoint at, t_h2dpoint next, t_h2dpoint q) {
    t_hvertex v[4] = {};
    const t_h2dpoint xy[4] = {prev, at, next, q};
    for (int i = 0; i < 4; ++i) v[i].x = xy[i].x, v[i].y = xy[i].y;
    v[1].previous = &v[0], v[1].next = &v[2];
    return double(F::InCone(&v[1], &v[3]));
  };
  const auto between = [](t_h2dpoint a, t_h2dpoint b, t_h2dpoint c) { return double(F::Between(&a, &b, &c)); };
  const auto intersect = [](bool proper, t_h2dpoint a, t_h2dpoint b, t_h2dpoint c, t_h2dpoint d) {
    return double(proper ? F::IntersectProp(&a, &b, &c, &d) : F::Intersect(&a, &b, &c, &d));
  };
  SSEPoint pts[3], q;
  pts[0].m = _mm_set_ps(0, 3, 2, 1);
  pts[1].m = pts[2].m = q.m = _mm_set_ps(1, 3, 2, 1);
  const auto repeat = [&](const SSEPoint& p, int n) { return double(F::VertexAlreadyThereInArray(pts, p, n)); };
  const t_h2dpoint big[3] = {P(1, 1), P(16777216.0f, 1), P(1, 3)};
  const struct {
    const char* rule;
    double got, want;
  } rows[] = {{"on the tolerance", sides(0.0005f), 0b011},
              {"just past it", sides(0.00051f), 0b110},
              {"on minus the tolerance", sides(-0.0005f), 0b011},
              {"just past minus it", sides(-0.00051f), 0},
              {"collinear", sides(0), 0b011},
              {"the doubled area", F::AreaSign(&o, &x, &near), 0.00051f},
              {"between, within the tolerance", between(P(0, 0), P(4, 0), P(2, 0.0001f)), true},
              {"between, at an end", between(P(0, 0), P(4, 0), P(4, 0)), true},
              {"between, reversed", between(P(4, 0), P(0, 0), P(2, 0.0001f)), true},
              {"between, off the line", between(P(0, 0), P(4, 0), P(2, 1)), false},
              {"between, beyond an end", between(P(0, 0), P(4, 0), P(5, 0)), false},
              {"between, vertical", between(P(1, 0), P(1, 3), P(1, 2)), true},
              {"between, vertical, beyond", between(P(1, 0), P(1, 3), P(1, 4)), false},
              {"proper crossing", intersect(true, P(0, 0), P(4, 0), P(2, -1), P(2, 1)), true},
              {"a touch is not proper", intersect(true, P(0, 0), P(4, 0), P(2, 0), P(6, 6)), false},
              {"a touch intersects", intersect(false, P(0, 0), P(4, 0), P(2, 0), P(6, 6)), true},
              {"apart", intersect(false, P(0, 0), P(4, 0), P(2, 1), P(6, 6)), false},
              {"flat vertex, above", inCone(P(-1, 0), P(0, 0), P(1, 0), P(0, 1)), true},
              {"flat vertex, below", inCone(P(-1, 0), P(0, 0), P(1, 0), P(0, -1)), false},
              {"reflex vertex, notch", inCone(P(1, 1), P(0, 0), P(-1, 1), P(0, 5)), false},
              {"reflex vertex, elsewhere", inCone(P(1, 1), P(0, 0), P(-1, 1), P(0, -5)), true},
              {"repeat in all lanes", repeat(q, 3), 1},
              {"repeat beyond the count", repeat(q, 1), -1},
              {"repeat of the first", repeat(pts[0], 3), 0},
              {"area in double", F::AreaSign(&big[0], &big[1], &big[2]), static_cast<float>(16777215.0 * 2.0)}};
  for (const auto& r : rows) EXPECT_EQ(r.got, r.want) << r.rule;
}

// ---- the triangulator -------------------------------------------------------

// Simple counter-clockwise shapes give n - 2 triangles in both modes (the
// dart is the next test's, combs and stars the edge tree's; vertices -1:
// none); too
// few points, a step of 0 or one past the points give an empty object; a
// clockwise polygon finds no ear.
TEST(EarClip, ShapesAndDegenerateInput) {
  const std::vector<t_h2dpoint> five = {P(0, 0), P(1, 0), P(1, 1), P(0, 1), P(0.5f, 2)};
  const struct {
    std::vector<t_h2dpoint> pts;
    int step, vertices, triangles;
  } cases[] = {{{P(0, 0), P(1, 0.0001f), P(2, 0), P(2, 2), P(0, 2)}, 1, 5, 3},  // nearly flat, within the tolerance
               {{P(0, 0), P(1, 0)}, 1, -1, 0},
               {five, 0, -1, 0},
               {five, 9, -1, 0},
               {five, 2, 2, 0},  // 5 / 2 = 2 vertices
               {{P(0, 0), P(0, 1), P(1, 1), P(1, 0), P(0.5f, -1)}, 1, 5, 0}};
  for (const auto& c : cases) {
    CSSE2dPolygon poly = Polygon2D(c.pts);
    for (bool mode : {false, true}) {
      CHPolygonTriangulator t(&poly, c.step, 1.0f, 1.0f, mode);
      if (!t.GetVertexArray()) t.Retriangulate(true);  // an empty object stays empty
      const int vertices = t.GetVertexArray() ? t.GetNumVertices() : -1;
      EXPECT_TRUE(AllEqual({FIELD(t.GetNumTriangles(), c.triangles), FIELD(vertices, c.vertices)}))
          << c.pts.size() << " points, mode " << mode;
      if (c.triangles > 0) EXPECT_EQ(EarClipViolation(t, poly), "") << c.pts.size() << " points, mode " << mode;
    }
  }
}

TEST(EarClip, DiagonalRecordsConvexityFlagsAndSearchStart) {
  // A(0,0) B(4,0) C(0,4) D(1,1): D is reflex, A and C are the ears.
  CSSE2dPolygon poly = Polygon2D({P(0, 0), P(4, 0), P(0, 4), P(1, 1)});
  CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, false);
  // First clip at the head A: triangle (D, A, B), diagonal D-B with D reflex,
  // B convex; then (B, C, D), diagonal B-D, both convex.
  EXPECT_EQ(Clips(t), (std::vector<int>{2, 2, 3, 0, 1, 1, 2, 3, 1, 3, 1, 0, 1, 1, 1, 3, 1, 1}));
  EXPECT_TRUE(AllEqual({FIELD(t.DiagonalExists(1), true), FIELD(t.DiagonalExists(2), false),
                        FIELD(t.DiagonalExists(4), false)}));  // 2: zero-filled; 4: outside
  float x1 = -9, y1 = -9, x2 = -9, y2 = -9;
  t.GetDiagonalPoints(0, x1, y1, x2, y2);
  EXPECT_EQ(std::vector<float>({x1, y1, x2, y2}), (std::vector<float>{1, 1, 4, 0}));
  // The mode flag moves the start of the search from the head to its successor.
  CSSE2dPolygon square = Polygon2D({P(0, 0), P(1, 0), P(1, 1), P(0, 1)});
  for (bool mode : {false, true}) {
    const std::vector<int> clips = Clips(CHPolygonTriangulator(&square, 1, 1.0f, 1.0f, mode));
    EXPECT_EQ(std::vector<int>(clips.begin() + 2, clips.begin() + 5),
              mode ? (std::vector<int>{0, 1, 2}) : (std::vector<int>{3, 0, 1}));
  }
}

// Exposes EarInit over the whole circle again.
class EarInitProbe : public CHPolygonTriangulator {
 public:
  using CHPolygonTriangulator::CHPolygonTriangulator;
  std::vector<bool> FlagsAfterEarInit() {
    t_hvertex* v = GetVertexArray();
    const int n = GetNumVertices();
    for (int i = 0; i < n; ++i) v[i].next = &v[(i + 1) % n], v[i].previous = &v[(i + n - 1) % n], v[i].ear = false;
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
  std::vector<std::array<float, 3>> octagon;
  for (int i = 0; i < 8; ++i)
    octagon.push_back({float(10 * std::cos(i * 0.785398)), float(10 * std::sin(i * 0.785398)), 100.0f + i});
  CSSE3dPolygon poly = Polygon3D(octagon);
  CHPolygonTriangulator t(&poly, 2, 0.5f, 2.0f, 3.0f, true);
  ASSERT_TRUE(AllEqual({FIELD(t.Is3DTriangulation(), true), FIELD(t.GetNumVertices(), 4), FIELD(t.GetNumTriangles(), 2),
                        FIELD(t.GetScaleZ(), 3.0f)}));
  float x = 0, y = 0;
  t.GetPoint(1, x, y);
  EXPECT_TRUE(
      AllEqual({FIELD(x, static_cast<float>(0.5 * octagon[2][0])), FIELD(y, static_cast<float>(2.0 * octagon[2][1]))}));
  for (int i = 0; i < 2; ++i) {
    SSEPoint c[3], expected;
    t.GetTriangle3D(i, c[0], c[1], c[2]);
    for (int k = 0; k < 3; ++k) {
      poly.GetPointSSE(2 * t.GetConnectivityArray()[i].Vertex[k], expected);
      EXPECT_TRUE(SamePoint(c[k], expected)) << "triangle " << i << ", corner " << k;
    }
  }
}

// ---- the edge tree against the plain walk ---------------------------------

using Points = std::vector<std::pair<double, double>>;

Points Star(std::mt19937& rng, int n, double noise) {
  std::uniform_real_distribution<double> u(1.0 - noise, 1.0);
  Points p;
  for (int i = 0; i < n; ++i) {
    const double a = 6.283185307179586 * i / n, r = 100 * u(rng);
    p.emplace_back(r * std::cos(a), r * std::sin(a));
  }
  for (int i = 4; i + 1 < n; i += 5)  // collinear runs
    p[i] = {0.5 * (p[i - 1].first + p[i + 1].first), 0.5 * (p[i - 1].second + p[i + 1].second)};
  return p;
}

Points WavyCircle(std::mt19937& rng, int n, double) {
  const int waves = 5 + int(rng() % 40);
  Points p;
  for (int i = 0; i < n; ++i) {
    const double a = 6.283185307179586 * i / n, r = 100 * (1 + 0.1 * std::sin(waves * a));
    p.emplace_back(r * std::cos(a), r * std::sin(a));
  }
  return p;
}

// Deep teeth along the bottom of a box: many reflex vertices, long thin ears.
Points Comb(std::mt19937& rng, int n, double) {
  Points p;
  const int teeth = std::max(2, (n - 2) / 2);
  std::uniform_real_distribution<double> depth(5, 95);
  for (int i = 0; i < teeth; ++i) {
    p.emplace_back(i * 2.0, 0.0);
    p.emplace_back(i * 2.0 + 1.0, depth(rng));
  }
  p.emplace_back(teeth * 2.0, 100.0);
  p.emplace_back(-1.0, 100.0);
  return p;
}

// Square whose sides are runs of nearly collinear points a few ulps off the
// line, with repeated and nearly repeated points.
Points RaggedSquare(std::mt19937& rng, int n, double) {
  Points p;
  const int side = std::max(2, n / 4);
  std::uniform_int_distribution<int> ulps(-3, 3);
  auto jitter = [&](double v) {
    float f = float(v);
    for (int k = ulps(rng); k != 0; k += k > 0 ? -1 : 1) f = std::nextafter(f, k > 0 ? 1e9f : -1e9f);
    return double(f);
  };
  const double c[5][2] = {{0, 0}, {50, 0}, {50, 50}, {0, 50}, {0, 0}};
  for (int s = 0; s < 4; ++s)
    for (int i = 0; i < side; ++i) {
      const double t = double(i) / side;
      const double x = c[s][0] + t * (c[s + 1][0] - c[s][0]), y = c[s][1] + t * (c[s + 1][1] - c[s][1]);
      p.emplace_back(jitter(x), jitter(y));
      if (rng() % 17 == 0) p.emplace_back(p.back());  // a repeated point
    }
  return p;
}

// The edge tree's clips against the plain walk's, record for record; a
// simple counter-clockwise polygon must also triangulate validly.
std::string Compare(const Points& pts, double dx, double dy, bool mode, bool reverse, bool simple = false) {
  CSSE2dPolygon poly;
  const int n = int(pts.size());
  poly.Create(n);
  for (int i = 0; i < n; ++i) {
    const auto& q = pts[reverse ? n - 1 - i : i];
    poly.SetPoint(i, float(q.first + dx), float(q.second + dy));
  }
  CHPolygonTriangulator fast(&poly, 1, 1.0f, 1.0f, mode);
  CHPolygonTriangulator plain(fast);
  plain.Retriangulate(true);
  const std::vector<int> a = Clips(fast), b = Clips(plain);
  if (a != b) {
    const long k = std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin(), corners = 3 * b[0];
    return k < 2             ? "counts differ"
           : k - 2 < corners ? "triangle " + std::to_string((k - 2) / 3) + " differs"
                             : "diagonal record " + std::to_string((k - 2 - corners) / 5) + " differs";
  }
  return simple && !reverse ? EarClipViolation(fast, poly) : "";
}

TEST(EarClipTree, SameClipsAsTheWalkOnEveryKindOfPolygon) {
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  struct Shape {
    const char* name;
    std::function<Points(std::mt19937&, int, double)> make;
    bool simple;  // counter-clockwise and simple, without repeated points
  };
  const Shape shapes[] = {{"noisy star", Star, true},
                          {"wavy circle", WavyCircle, true},
                          {"comb", Comb, true},
                          {"ragged square", RaggedSquare, false}};
  // Offsets: at the origin, far from it while the tree still answers, and
  // beyond its coordinate bound (the walk answers).
  const double offsets[] = {0.0, 4.0e4, 3.0e5};
  for (const Shape& shape : shapes)
    for (int n : {3, 4, 5, 7, 17, 64, 300, 1500})
      for (double offset : offsets)
        for (int variant = 0; variant < 4; ++variant) {
          const Points pts = shape.make(rng, n, 0.4 + 0.15 * variant);
          const bool reverse = variant == 3;  // clockwise: no ear, an early stop
          ASSERT_EQ(Compare(pts, offset, -offset / 2, variant % 2 == 0, reverse, shape.simple && offset == 0), "")
              << shape.name << ", " << pts.size() << " vertices, offset " << offset << ", variant " << variant;
        }
}

TEST(EarClipTree, TinyAndDegenerateSegmentsReachFarInTheTolerantSense) {
  // A segment of length 1e-4 that is "between"-collinear with points up to
  // 5 units off its line, and vertical and horizontal runs with repeats.
  const Points cases[] = {
      {{0, 0}, {10, 0}, {10, 10}, {5, 10}, {5.0001, 10.00001}, {0, 10}},
      {{0, 0}, {10, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 10}, {0, 5}},
      {{0, 0}, {4, 0.00001}, {8, 0}, {8, 8}, {4, 8.00001}, {0, 8}},
      {{0, 0}, {1, 0}, {1, 1e-4}, {2, 1e-4}, {2, 3}, {0, 3}},
  };
  for (const Points& pts : cases)
    for (bool mode : {false, true}) EXPECT_EQ(Compare(pts, 0, 0, mode, false), "") << pts.size() << " points";
}

// ---- refinement of the clipped triangles ------------------------------------

std::vector<Tri> Chain(CHPolygonTriangulationRefinement& r) {
  std::vector<Tri> out;
  Tri t;
  for (bool ok = r.GetFirstTriangle3D(t[0], t[1], t[2]); ok; ok = r.GetNextTriangle3D(t[0], t[1], t[2]))
    out.push_back(t);
  return out;
}

double Length(const SSEPoint& a, const SSEPoint& b) { return std::hypot(double(b.x) - a.x, double(b.y) - a.y); }

// On the boundary (within tol) counts as inside; otherwise even-odd.
bool InsidePolygon(const Poly3& poly, const SSEPoint& p, double tol) {
  bool in = false;
  for (std::size_t i = 0, j = poly.size() - 1; i < poly.size(); j = i++) {
    const auto &a = poly[j], &b = poly[i];
    const double ex = double(b[0]) - a[0], ey = double(b[1]) - a[1];
    const double t = std::clamp(((p.x - a[0]) * ex + (p.y - a[1]) * ey) / (ex * ex + ey * ey), 0.0, 1.0);
    if (std::hypot(a[0] + t * ex - p.x, a[1] + t * ey - p.y) <= tol) return true;
    if ((a[1] > p.y) != (b[1] > p.y) && p.x < a[0] + (p.y - a[1]) * ex / ey) in = !in;
  }
  return in;
}

// Names the first broken rule of a refined triangulation, or "". A limit
// <= 0 is not checked; planar: every corner must keep z = x + 2y.
std::string RefinementViolation(const std::vector<Tri>& tris, const Poly3& poly, double limit, bool planar = false) {
  const double expected = DoubledArea(poly.size(), [&](std::size_t i, int k) { return double(poly[i][k]); }) / 2;
  double area = 0;
  std::vector<SSEPoint> corners;
  for (const Tri& t : tris) {
    const double a = Cross(t[0], t[1], t[2]) / 2;
    if (a < -1e-6) return "clockwise triangle";
    area += a;
    for (int k = 0; k < 3; ++k) {
      if (!InsidePolygon(poly, t[k], 1e-3)) return "corner outside the polygon";
      if (limit > 0 && Length(t[k], t[(k + 1) % 3]) > limit * (1 + 1e-6)) return "edge longer than the limit";
      if (planar && std::fabs(t[k].z - (t[k].x + 2 * t[k].y)) > 1e-4) return "corner off the plane";
      corners.push_back(t[k]);
    }
  }
  if (std::fabs(area - expected) > 1e-4 * std::fabs(expected)) return "areas do not sum to the polygon's";
  // No T-junction: no corner lies strictly inside another triangle's edge.
  for (const Tri& t : tris)
    for (int k = 0; k < 3; ++k) {
      const SSEPoint &a = t[k], &b = t[(k + 1) % 3];
      for (const SSEPoint& p : corners) {
        if ((p.x == a.x && p.y == a.y) || (p.x == b.x && p.y == b.y)) continue;
        const double along =
            ((p.x - a.x) * (double(b.x) - a.x) + (p.y - a.y) * (double(b.y) - a.y)) / (Length(a, b) * Length(a, b));
        if (along > 1e-6 && along < 1 - 1e-6 && std::fabs(Cross(a, b, p)) / Length(a, b) < 1e-5) return "T-junction";
      }
    }
  return "";
}

// Cuts until no edge is longer than the limit or the rounds run out; no
// limit (0, negative, NaN) or no rounds keeps the ear clipper's triangles.
TEST(EarClipRefinement, CutsUntilTheLimitHoldsOrTheRoundsRunOutThenReleases) {
  const Poly3 square{{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}},
      notched{{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}, {-3, 5, 0}};
  const Poly3 ring{{0, 0, 1}, {5, -1, 1}, {10, 0, 1}, {11, 5, 1}, {10, 10, 1}, {5, 11, 1}, {0, 10, 1}, {-1, 5, 1}};
  // triangles, roundsDone -1: any count, more than one round. The 0.01 row is capped at one round: two
  // triangles, all edges cut once. The five-point row lies on z = x + 2y.
  const struct {
    Poly3 pts;
    int step;
    float limit;
    int rounds, triangles, roundsDone;
    bool planar;
  } cases[] = {{square, 1, 3.0f, 14, -1, -1, false},
               {square, 1, 0.01f, 1, 8, 1, false},
               {{{0, 0, 0}, {8, 0, 8}, {8, 4, 16}, {4, 2, 8}, {0, 6, 12}}, 1, 1.5f, 14, -1, -1, true},
               {ring, 2, 4.0f, 14, -1, -1, false},
               {notched, 1, 0.0f, 14, 3, 0, false},
               {notched, 1, -1.0f, 14, 3, 0, false},
               {notched, 1, NAN, 14, 3, 0, false},
               {notched, 1, 1.0f, 0, 3, 0, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "limit " << c.limit << ", rounds " << c.rounds);
    CSSE3dPolygon poly = Polygon3D(c.pts);
    CHPolygonTriangulator t(&poly, c.step, 1.0f, 1.0f, 1.0f, true);
    CHPolygonTriangulationRefinement r(&t, c.limit, c.rounds);
    const auto tris = Chain(r);
    EXPECT_EQ(static_cast<int>(tris.size()), r.GetNumTriangles());
    if (c.triangles >= 0)
      EXPECT_TRUE(AllEqual({FIELD(r.GetNumTriangles(), c.triangles), FIELD(r.GetNumRounds(), c.roundsDone)}));
    if (c.triangles < 0) EXPECT_GT(r.GetNumRounds(), 1);
    Poly3 used;
    for (std::size_t i = 0; i < c.pts.size(); i += c.step) used.push_back(c.pts[i]);
    EXPECT_EQ(RefinementViolation(tris, used, c.triangles >= 0 ? 0 : c.limit, c.planar), "");
    Tri e;
    for (int i = 0; c.roundsDone == 0 && i < static_cast<int>(tris.size()); ++i) {  // corner for corner
      t.GetTriangle3D(i, e[0], e[1], e[2]);
      for (int k = 0; k < 3; ++k)
        EXPECT_TRUE(SameXY(e[k], tris[i][k].x, tris[i][k].y)) << "triangle " << i << ", corner " << k;
    }
    r.ReleaseTriangles();
    EXPECT_EQ(r.GetNumTriangles(), 0);
    EXPECT_EQ(r.GetTriangleChain(), nullptr);
    EXPECT_FALSE(r.GetFirstTriangle3D(e[0], e[1], e[2]) || r.GetNextTriangle3D(e[0], e[1], e[2]));
  }
}

TEST(EarClipRefinementProperty, RandomStarPolygons) {
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 12; ++round) {
    const int n = 4 + static_cast<int>(rng() % 16);
    const Poly3 pts = StarPolygon(rng, n, 4, 20);
    CSSE3dPolygon poly = Polygon3D(pts);
    CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, 1.0f, true);
    if (t.GetNumTriangles() != n - 2) continue;  // covered by the ear-clipping tests
    const float limit = std::uniform_real_distribution<float>(2.0f, 8.0f)(rng);
    CHPolygonTriangulationRefinement r(&t, limit, 14);
    ASSERT_EQ(RefinementViolation(Chain(r), pts, limit), "") << "round " << round;
  }
}

}  // namespace
