// The incremental 3D hull on quantised integers (input quantisation and
// duplicates, the degeneracy check) and the Delaunay triangulation by
// lifting onto it (lower faces, the timing message). Then the fast route
// (planes kept with the faces, vertices as doubles, exact fallback) against
// the plain route (every test through VolumeSign): both must leave the very
// same records in the very same list order, on seeded inputs built to make
// the rounding matter; the hulls must hold every point (and match a
// brute-force face enumeration on small sets in general position), the
// lifted ones must have empty circumcircles and cover their convex hull.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "predicates.h"
#include "relief/CH2DDelaunay.h"
#include "relief/CHConvexHull3D.h"
#include "relief/MessageBox.h"
#include "test_hull_reference.h"

namespace {

using namespace relief_test;

using Int = std::int64_t;
using Wide = __int128;
struct P3 {
  Int x, y, z;
  bool operator<(const P3& o) const { return x < o.x || (x == o.x && y < o.y); }  // in the plane only
  bool operator==(const P3& o) const { return x == o.x && y == o.y; }
};
using Floats = std::vector<std::array<float, 3>>;

// How the hull stores a 3D coordinate: to the nearest integer, halves up.
Int Q(float v) { return static_cast<Int>(std::floor(static_cast<double>(v) + 0.5)); }
P3 At(const tVertexStructure* v) { return {v->x, v->y, v->z}; }

std::vector<P3> Append(CHConvexHull3D& h, const Floats& pts) {
  std::vector<P3> input;
  for (const auto& p : pts) {
    h.AppendVertex3D(p[0], p[1], p[2], 0.0f);
    input.push_back({Q(p[0]), Q(p[1]), Q(p[2])});
  }
  return input;
}

int Orient(const P3& a, const P3& b, const P3& c, const P3& p) {
  const Wide ax = a.x - p.x, ay = a.y - p.y, az = a.z - p.z, bx = b.x - p.x, by = b.y - p.y, bz = b.z - p.z;
  const Wide cx = c.x - p.x, cy = c.y - p.y, cz = c.z - p.z;
  const Wide v = ax * (by * cz - bz * cy) + ay * (bz * cx - bx * cz) + az * (bx * cy - by * cx);
  return v > 0 ? 1 : (v < 0 ? -1 : 0);
}

Wide WideCross(const P3& o, const P3& a, const P3& b) {
  return Wide(a.x - o.x) * (b.y - o.y) - Wide(a.y - o.y) * (b.x - o.x);
}

// A circular record list as a vector, from its head.
template <typename T>
std::vector<const T*> Circle(const T* head) {
  std::vector<const T*> out;
  for (const T* r = head; r && (out.empty() || r != head); r = r->next) out.push_back(r);
  return out;
}

std::vector<const tFaceStructure*> Faces(const CHConvexHull3D& h) { return Circle(h.GetFaces()); }

// Collects the message-box texts while a test runs.
struct MessageCapture {
  MessageCapture() {
    SetMessageBoxHandler([this](const std::string& t) { texts.push_back(t); });
  }
  ~MessageCapture() { SetMessageBoxHandler({}); }
  std::vector<std::string> texts;
};

// Names the first broken rule of a finished hull over the given input, or "".
std::string HullViolation(CHConvexHull3D& h, const std::vector<P3>& input) {
  const auto faces = Faces(h);
  if (static_cast<int>(faces.size()) != h.GetNumFaces()) return "face count not current";
  if (!h.Consistency()) return "faces of an edge not opposite";
  if (!h.CheckEndpts()) return "edge ends outside its face";
  if (h.GetNumVertices() - h.GetNumEdges() + h.GetNumFaces() != 2) return "Euler";
  for (const tFaceStructure* f : faces)
    for (const P3& p : input)
      if (Orient(At(f->vertex[0]), At(f->vertex[1]), At(f->vertex[2]), p) < 0)
        return "an input point lies outside a face";
  return "";
}

// Each row appends its points in turn, lifted (tenths, truncating value x 10
// + 0.5; z = x^2 + y^2; the first point with index 7 and the flag set) or
// solid (nearest unit, halves up), and lists what is stored: x, y, z, index,
// flag. Ranges are inclusive; one float step beyond, NaN and the infinities
// are ignored in any coordinate, as are repeats after quantisation, and
// neither advances the index counter.
TEST(Hull3DInput, QuantisationRangesRepeatsAndTheCounter) {
  const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
  const float l = 1e8f, l1 = std::nextafter(l, inf), s = 1099511627776.0f, s1 = std::nextafter(s, inf);  // s: 2^40
  const Int S = Int(1) << 40, L = 1000000000;
  const struct {
    bool lifted;
    Floats in;
    std::vector<std::array<Int, 5>> out;
  } rows[] = {
      {false,
       {{1.04f, 2, 3}, {1, 2.4f, 2.96f}, {1.6f, 2, 3}, {-2.5f, 0, 0}},
       {{1, 2, 3, 0, 0}, {2, 2, 3, 1, 0}, {-2, 0, 0, 2, 0}}},
      {false, {{-7, 40000, -123456}, {s, -s, s}}, {{-7, 40000, -123456, 0, 0}, {S, -S, S, 1, 0}}},
      {false, {{s1, 0, 0}, {0, -s1, 0}, {0, 0, nan}, {inf, 0, 0}, {0, -inf, 0}, {1, 1, 1}}, {{1, 1, 1, 0, 0}}},
      {true,
       {{0.3f, -0.2f, 0}, {1, 1, 0}, {1.01f, 1, 0}, {2, 0, 0}},
       {{3, -1, 10, 7, 1}, {10, 10, 200, 1, 0}, {20, 0, 400, 2, 0}}},
      {true,
       {{l, l, 0}, {-l, -l, 0}, {l, 0, 0}},
       {{L, L, 2 * L * L, 7, 1}, {1 - L, 1 - L, 2 * (L - 1) * (L - 1), 1, 0}, {L, 0, L * L, 2, 0}}},
      {true,
       {{l1, 0, 0}, {0, -l1, 0}, {nan, 0, 0}, {0, inf, 0}, {-inf, 0, 0}, {3e38f, 3e38f, 0}, {1, 1, 0}},
       {{10, 10, 200, 0, 0}}},
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(testing::Message() << (r.lifted ? "lifted, " : "solid, ") << r.in.size() << " points from "
                                    << r.in[0][0]);
    CHConvexHull3D h;
    for (std::size_t i = 0; i < r.in.size(); ++i)
      r.lifted ? h.AppendVertex2D(r.in[i][0], r.in[i][1], i ? -1 : 7, i == 0)
               : h.AppendVertex3D(r.in[i][0], r.in[i][1], r.in[i][2], 0.0f);
    std::vector<std::array<Int, 5>> got;
    for (const tVertexStructure* v : Circle(h.GetVertices())) got.push_back({v->x, v->y, v->z, v->index, v->flag});
    EXPECT_EQ(got, r.out);
    EXPECT_EQ(h.CalcNumVertices(), static_cast<int>(r.out.size()));
  }
}

TEST(Hull3DInput, DegeneracyIsDecidedExactly) {
  const struct {
    const char* points;
    bool degenerate;
  } cases[] = {{"", true},
               {"0 0 0, 1 0 0, 0 1 0", true},
               {"0 0 0, 1 0 0, 0 1 0, 0.01 0 0, 0 0 0", true},  // four with a repeat
               {"0 0 0, 1 1 1, 2 2 2, 3 3 3, -5 -5 -5", true},  // collinear
               {"0 0 1, 1 0 1, 0 1 1, 1 1 1, 0.5 3 1", true},   // coplanar
               {"0 0 0, 1 0 0, 2 0 0, 0 1 0, 0 0 1", false},    // collinear start, then solid
               {"0 0 0, 1 0 0, 0 1 0, 0 0 1", false},
               {"0 0 0, 1 0 0, 0 1 0, 1 1 0.4", true},    // rounds into the plane
               {"0 0 0, 1 0 0, 0 1 0, 1 1 0.5", false}};  // rounds off it by one unit
  for (const auto& c : cases) {
    CHConvexHull3D h;
    Append(h, Tuples(c.points));
    EXPECT_EQ(h.IsDegenerate(), c.degenerate) << c.points;
  }
}

TEST(Hull3DDeathTest, CoplanarInputEndsTheProcessWithStatusZero) {
  CHConvexHull3D h;
  for (int i = 0; i < 6; ++i) h.AppendVertex3D(float(i % 3), float(i / 3), 2.0f, 0.0f);
  EXPECT_EXIT(h.CalcConvexHull(), testing::ExitedWithCode(0), "");
}

// Points on edges, faces and inside that come after the corners are never
// added; a collinear start run is skipped and its middle vertex, on the
// hull's boundary already, stays. A second build changes nothing.
TEST(Hull3D, KnownSolidsRebuildsAndCorners) {
  const struct {
    const char* points;
    int vertices, faces;
  } cases[] = {{"0 0 0, 2 0 0, 2 2 0, 0 2 0, 0 0 2, 2 0 2, 2 2 2, 0 2 2, 1 0 0, 1 1 1, 0.5 1.5 1, 1 1 0", 8, 12},
               {"0 0 0, 1 0 0, 2 0 0, 0 2 0, 0 0 2", 5, 6},
               {"0 0 0, 3 0 0, 0 3 0, 0 0 3, 1 1 1", 4, 4}};
  for (const auto& c : cases) {
    CHConvexHull3D h;
    const std::vector<P3> input = Append(h, Tuples(c.points));
    ASSERT_FALSE(h.IsDegenerate());
    h.CalcConvexHull();
    EXPECT_EQ(HullViolation(h, input), "") << c.points;
    EXPECT_TRUE(
        AllEqual({FIELD(h.GetNumVertices(), c.vertices), FIELD(h.GetNumFaces(), c.faces), FIELD(h.Checks(), true),
                  FIELD(h.GetVertices()->onhull, true), FIELD(h.GetVertices()->next->onhull, true)}))
        << c.points;
    const tFaceStructure* faces = h.GetFaces();
    h.CalcConvexHull();
    EXPECT_EQ(h.GetFaces(), faces) << "a second build changed the faces";
    EXPECT_EQ(h.GetNumFaces(), c.faces);
    if (c.faces != 4) continue;  // the tetrahedron's corners come back as given with a divisor of 1
    std::set<std::array<float, 3>> corners;
    for (const tFaceStructure* f : Faces(h))
      for (int k = 0; k < 3; ++k) {
        const SSEPoint p = h.GetVertexFromFace3D(f, k, 1.0f);
        corners.insert({p.x, p.y, p.z});
        EXPECT_TRUE(AllEqual({FIELD(p.w, 0), FIELD(h.GetVertexFromFace(f, k, 1.0f).z, 0)}));
      }
    EXPECT_EQ(corners, (std::set<std::array<float, 3>>{{0, 0, 0}, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}}));
  }
}

// ---- Delaunay by lifting ------------------------------------------------------

// > 0 when d lies strictly inside the circle through the counter-clockwise a, b, c.
Wide InCircle(const P3& a, const P3& b, const P3& c, const P3& d) {
  const Wide ax = a.x - d.x, ay = a.y - d.y, bx = b.x - d.x, by = b.y - d.y, cx = c.x - d.x, cy = c.y - d.y;
  const Wide a2 = ax * ax + ay * ay, b2 = bx * bx + by * by, c2 = cx * cx + cy * cy;
  return ax * (by * c2 - b2 * cy) - ay * (bx * c2 - b2 * cx) + a2 * (bx * cy - by * cx);
}

// Names the first broken rule of a lifted triangulation of the points, or
// "": the lower faces turn clockwise seen from above, no point lies inside a
// circumcircle (when asked), and the faces cover the points' convex hull
// exactly.
std::string LiftedViolation(const CH2DDelaunay& d, const std::vector<P3>& points, bool circles) {
  if (static_cast<int>(Faces(d).size()) != d.GetNumFaces()) return "face count not current";
  Wide area = 0, hullArea = 0;
  for (const tFaceStructure* f : Faces(d)) {
    const P3 a = At(f->vertex[0]), b = At(f->vertex[1]), c = At(f->vertex[2]);
    if (WideCross(a, c, b) <= 0) return "a degenerate or upward face";
    area += WideCross(a, c, b);
    for (std::size_t i = 0; circles && i < points.size(); ++i)
      if (InCircle(a, c, b, points[i]) > 0) return "a point inside a circumcircle";
  }
  const std::vector<P3> h = MonotoneChainHull(points, WideCross);
  for (std::size_t i = 0; h.size() >= 3 && i < h.size(); ++i)
    hullArea += WideCross(P3{0, 0, 0}, h[i], h[(i + 1) % h.size()]);
  return area == hullArea ? "" : "the faces do not cover the points' hull";
}

// A square alone lifts onto one plane (its corners are cocircular), so an
// inner point makes the set solid: four lower faces, and a timing message per
// call.
TEST(LiftedDelaunay, SquareWithInnerPointGivesFourLowerFacesAndOneMessagePerCall) {
  MessageCapture messages;
  for (int call = 1; call <= 2; ++call) {
    CH2DDelaunay d;
    for (const auto& p : Tuples<2>("0 0, 4 0, 4 4, 0 4, 1.5 2")) d.AppendVertex(p[0], p[1], -1, false);
    d.CalcDelaunayTriangulation();
    EXPECT_TRUE(AllEqual({FIELD(d.GetNumFaces(), 4), FIELD(d.GetNumEdges(), 8)}));
    for (const tFaceStructure* f : Faces(d))
      EXPECT_TRUE(AllEqual({FIELD(f->lower, true), FIELD(d.NormZ(f) < 0, true)}));
    ASSERT_EQ(messages.texts.size(), static_cast<std::size_t>(call));
  }
  const std::string& text = messages.texts[0];
  EXPECT_EQ(text.rfind("Time for 2D-Delaunay ms: ", 0), 0u) << text;
  EXPECT_NE(text.find("\n Vertices: 5"), std::string::npos) << text;
}

// ---- fast and plain routes ------------------------------------------------------

// Brute force: a triple is a hull face when every other point lies strictly
// on one side (random points are in general position with overwhelming odds,
// and the test checks that they are).
std::set<std::array<int, 3>> BruteForceFaces(const std::vector<P3>& p) {
  std::set<std::array<int, 3>> faces;
  const int n = static_cast<int>(p.size());
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j)
      for (int k = j + 1; k < n; ++k) {
        int pos = 0, neg = 0;
        for (int m = 0; m < n; ++m) {
          if (m == i || m == j || m == k) continue;
          const int s = Orient(p[i], p[j], p[k], p[m]);
          if (s == 0) return {};  // not in general position: signal with an empty set
          (s > 0 ? pos : neg)++;
        }
        if (pos == 0 || neg == 0) faces.insert({i, j, k});
      }
  return faces;
}

template <typename T>
std::map<const T*, std::int64_t> Ordinals(const std::vector<const T*>& records) {
  std::map<const T*, std::int64_t> out{{nullptr, -1}};
  for (std::size_t i = 0; i < records.size(); ++i) out[records[i]] = static_cast<std::int64_t>(i);
  return out;
}

// Every record of a hull as numbers: the counts, then every vertex
// (coordinates, index, flags; kVertex numbers), every face (corners, edges,
// flags; kFace) and every edge (ends, faces, flags; kEdge), each pointer as
// its record's place in its list.
constexpr std::size_t kCounts = 6, kVertex = 8, kFace = 8, kEdge = 6;
std::vector<std::int64_t> Records(const CHConvexHull3D& h) {
  const auto v = Circle(h.GetVertices());
  const auto e = Circle(h.GetEdges());
  const auto f = Circle(h.GetFaces());
  const auto vo = Ordinals(v);
  const auto eo = Ordinals(e);
  const auto fo = Ordinals(f);
  std::vector<std::int64_t> out{std::int64_t(v.size()), std::int64_t(e.size()), std::int64_t(f.size()),
                                h.GetNumVertices(),     h.GetNumEdges(),        h.GetNumFaces()};
  for (const tVertexStructure* a : v)
    out.insert(out.end(), {a->x, a->y, a->z, a->index, a->flag, a->onhull, a->processed, a->duplicate != nullptr});
  for (const tFaceStructure* a : f)
    out.insert(out.end(), {vo.at(a->vertex[0]), vo.at(a->vertex[1]), vo.at(a->vertex[2]), eo.at(a->edge[0]),
                           eo.at(a->edge[1]), eo.at(a->edge[2]), a->visible, a->lower});
  for (const tEdgeStructure* a : e)
    out.insert(out.end(), {vo.at(a->endpts[0]), vo.at(a->endpts[1]), fo.at(a->adjface[0]), fo.at(a->adjface[1]), a->del,
                           a->newface != nullptr});
  return out;
}

// Names the first record in which the two hulls differ, each compared by its
// place in its list.
testing::AssertionResult SameRecords(const CHConvexHull3D& fast, const CHConvexHull3D& plain) {
  const auto a = Records(fast), b = Records(plain);
  std::size_t k = std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin();
  if (k == a.size() && a.size() == b.size()) return testing::AssertionSuccess();
  if (k < kCounts) return testing::AssertionFailure() << "counts (V, E, F, stored V, E, F) differ at " << k;
  k -= kCounts;
  const std::size_t vertices = kVertex * b[0], faces = kFace * b[2];
  if (k < vertices) return testing::AssertionFailure() << "vertex " << k / kVertex << " field " << k % kVertex;
  if (k - vertices < faces)
    return testing::AssertionFailure() << "face " << (k - vertices) / kFace << " field " << (k - vertices) % kFace;
  k -= vertices + faces;
  return testing::AssertionFailure() << "edge " << k / kEdge << " field " << k % kEdge;
}

using Points3 = std::vector<std::array<float, 3>>;

// Builds the hull of the same points on both routes and compares them; up
// to 1,000 points the hull must hold them all, and up to 33 points in
// general position its faces must be the brute-force enumeration's.
testing::AssertionResult RoutesAgree3D(const Points3& pts) {
  CHConvexHull3D fast, plain;
  plain.SetReferenceScans(true);
  const std::vector<P3> input = Append(fast, pts);
  Append(plain, pts);
  if (plain.IsDegenerate()) return testing::AssertionSuccess();
  fast.CalcConvexHull();
  plain.CalcConvexHull();
  if (plain.GetNumFaces() < 4) return testing::AssertionFailure() << "no solid built";
  if (auto same = SameRecords(fast, plain); !same || pts.size() > 1000) return same;
  if (const std::string why = HullViolation(fast, input); !why.empty()) return testing::AssertionFailure() << why;
  const auto expected = pts.size() <= 33 ? BruteForceFaces(input) : std::set<std::array<int, 3>>{};
  std::set<std::array<int, 3>> got;
  for (const tFaceStructure* f : Faces(fast)) {
    std::array<int, 3> idx{f->vertex[0]->index, f->vertex[1]->index, f->vertex[2]->index};
    std::sort(idx.begin(), idx.end());
    got.insert(idx);
  }
  if (expected.empty() || got == expected) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "faces differ from the brute-force enumeration";
}

// The same for the lifted triangulation; up to 1,000 points it must also
// cover their hull with lower faces, and be Delaunay when asked (the exact
// in-circle test fits in 128 bits for differences below 2^25 tenths).
testing::AssertionResult RoutesAgreeLifted(const std::vector<std::array<float, 2>>& pts, bool circles) {
  CH2DDelaunay fast, plain;
  plain.SetReferenceScans(true);
  std::vector<P3> points;
  for (std::size_t i = 0; i < pts.size(); ++i) {
    const bool flag = i % 3 == 0;
    fast.AppendVertex(pts[i][0], pts[i][1], i % 5 == 0 ? static_cast<int>(i) : -1, flag);
    plain.AppendVertex(pts[i][0], pts[i][1], i % 5 == 0 ? static_cast<int>(i) : -1, flag);
    points.push_back({Int(double(pts[i][0]) * 10 + 0.5), Int(double(pts[i][1]) * 10 + 0.5), 0});
  }
  if (plain.IsDegenerate()) return testing::AssertionSuccess();
  fast.CalcDelaunayTriangulation();
  plain.CalcDelaunayTriangulation();
  if (auto same = SameRecords(fast, plain); !same || pts.size() > 1000) return same;
  return NoViolation(LiftedViolation(fast, points, circles));
}

// Seeded 3D inputs: point i of each kind drawn by its generator.
using Draw = std::function<std::array<float, 3>(std::mt19937&, int)>;

// Integer points with x^2 + y^2 + z^2 = 65^2: many cospherical.
const Points3& Sphere() {
  static const Points3 all = [] {
    Points3 out;
    for (int x = -65; x <= 65; ++x)
      for (int y = -65; y <= 65; ++y)
        for (int z = 0; z <= 65; ++z)
          if (x * x + y * y + z * z == 65 * 65)
            out.insert(out.end(), {{float(x), float(y), float(z)}, {float(x), float(y), float(-z)}});
    return out;
  }();
  return all;
}

TEST(Hull3DRoutes, FastRouteLeavesThePlainRoutesRecords) {
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> cube(-50000, 50000), wide(-1000000, 1000000), centre(-100000, 100000);
  std::uniform_real_distribution<float> full(-1099511627776.0f, 1099511627776.0f);
  std::normal_distribution<float> g(0.0f, 3.0f);
  float cx = 0, cy = 0, cz = 0;
  const float o = 549755813888.0f, u = 65536.0f;  // 2^39: floats step by 2^16 there
  const std::pair<const char*, Draw> kinds[] = {
      {"uniform cube",
       [&](std::mt19937& r, int) {
         return std::array<float, 3>{float(cube(r)), float(cube(r)), float(cube(r))};
       }},
      {"integer points on a sphere", [&](std::mt19937& r, int) { return Sphere()[r() % Sphere().size()]; }},
      {"grid (coplanar and collinear runs)",
       [](std::mt19937& r, int) {
         return std::array<float, 3>{float(r() % 7), float(r() % 5), float(r() % 4)};
       }},
      {"clusters of 50",
       [&](std::mt19937& r, int i) {
         if (i % 50 == 0) cx = float(centre(r)), cy = float(centre(r)), cz = float(centre(r));
         return std::array<float, 3>{std::round(cx + g(r)), std::round(cy + g(r)), std::round(cz + g(r))};
       }},
      {"a plane 3x - 2y + 5z = 0 with one-unit bumps",
       [&](std::mt19937& r, int) {
         const float x = float(wide(r)), y = float(wide(r));
         return std::array<float, 3>{x, y, std::round((2 * y - 3 * x) / 5) + float(int(r() % 3) - 1)};
       }},
      {"2^39 offset, small spread",
       [&](std::mt19937& r, int) {
         return std::array<float, 3>{o + u * float(r() % 64), -o + u * float(r() % 64), o - u * float(r() % 64)};
       }},
      {"full range (the plain route throughout)",
       [&](std::mt19937& r, int) {
         return std::array<float, 3>{full(r), full(r), full(r)};
       }},
  };
  for (const auto& [name, draw] : kinds)
    for (const int n : {4, 5, 7, 17, 31, 129, 1000, 20000}) {
      Points3 pts(n);
      for (int i = 0; i < n; ++i) pts[i] = draw(rng, i);
      ASSERT_TRUE(RoutesAgree3D(pts)) << name << ", n " << n;
    }
}

TEST(Hull3DRoutes, LiftedFastRouteLeavesThePlainRoutesRecords) {
  MessageCapture quiet;
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  const struct {
    const char* name;
    float origin, step;
    int spread;
    bool circles;
  } cases[] = {
      {"uniform tenths", 0.0f, 0.1f, 100000, true},
      {"small grid (cocircular)", 0.0f, 1.0f, 12, true},
      {"far out, frame still exact", 5.0e6f, 0.5f, 2000, true},
      {"far out, z beyond 2^53", -8.0e6f, 0.5f, 40, true},  // the plain route's VolumeSign must stay exact there
      {"both signs at the range limit", -1.0e8f, 8.0f, 25000000, false},
  };
  for (const auto& c : cases)
    for (const int n : {4, 5, 7, 17, 31, 129, 1000, 20000}) {
      std::vector<std::array<float, 2>> pts(n);
      for (auto& p : pts)
        p = {c.origin + c.step * float(rng() % c.spread), c.origin + c.step * float(rng() % c.spread)};
      ASSERT_TRUE(RoutesAgreeLifted(pts, c.circles)) << c.name << ", n " << n;
    }
}

// A class with its own VolumeSign keeps it: the fast route is not taken.
TEST(Hull3DRoutes, OwnVolumeSignIsHonoured) {
  struct Counting : CHConvexHull3D {
    mutable int calls = 0;
    int VolumeSign(const tFaceStructure* f, const tVertexStructure* p) const override {
      ++calls;
      return CHConvexHull3D::VolumeSign(f, p);
    }
  };
  Counting h;
  for (int i = 0; i < 50; ++i) h.AppendVertex3D(float(i * 7 % 11), float(i * 5 % 13), float(i * 3 % 17), 0.0f);
  const int before = h.calls;
  h.CalcConvexHull();
  EXPECT_GT(h.calls - before, 50);
}

}  // namespace
