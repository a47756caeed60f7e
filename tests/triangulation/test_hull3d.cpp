// The incremental 3D hull on quantised integers (input quantisation and
// duplicates, the degeneracy check, random hulls against a brute-force face
// enumeration) and the Delaunay triangulation by lifting onto it (lower
// faces, the timing message, random point sets checked for empty
// circumcircles and for covering their convex hull).

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
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

Wide Cross(const P3& o, const P3& a, const P3& b) {
  return Wide(a.x - o.x) * (b.y - o.y) - Wide(a.y - o.y) * (b.x - o.x);
}

std::vector<const tFaceStructure*> Faces(const CHConvexHull3D& h) {
  std::vector<const tFaceStructure*> out;
  for (const tFaceStructure* f = h.GetFaces(); f && (out.empty() || f != h.GetFaces()); f = f->next) out.push_back(f);
  return out;
}

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

TEST(Hull3DInput, Stores3DAsGivenLiftsTenthsWithSquareSumIgnoresRepeats) {
  CHConvexHull3D h, lifted;
  Append(h, {{1.04f, 2.0f, 3.0f},
             {1.0f, 2.4f, 2.96f},
             {1.6f, 2.0f, 3.0f},
             {-7.0f, 40000.0f, -123456.0f},
             {-2.5f, 0, 0}});  // the second: same units
  const tVertexStructure* v = h.GetVertices();
  EXPECT_TRUE(AllEqual({FIELD(v->x, 1), FIELD(v->y, 2), FIELD(v->z, 3), FIELD(v->next->x, 2 /* 1.6 + 0.5 */),
                        FIELD(h.CalcNumVertices(), 4)}));
  EXPECT_TRUE(
      AllEqual({FIELD(v->prev->prev->x, -7), FIELD(v->prev->prev->y, 40000), FIELD(v->prev->prev->z, -123456)}));
  EXPECT_EQ(v->prev->x, -2);  // halves round up
  lifted.AppendVertex2D(0.3f, -0.2f, 7, true);
  lifted.AppendVertex2D(1.0f, 1.0f, -1, false);   // counter: one vertex stored before
  lifted.AppendVertex2D(1.01f, 1.0f, -1, false);  // duplicate after quantisation
  lifted.AppendVertex2D(2.0f, 0.0f, -1, false);   // counter did not grow for the duplicate
  v = lifted.GetVertices();
  EXPECT_TRUE(AllEqual({FIELD(v->x, 3), FIELD(v->y, -1 /* -1.5 truncates */), FIELD(v->z, 10), FIELD(v->index, 7),
                        FIELD(v->flag, true)}));
  EXPECT_TRUE(AllEqual({FIELD(v->next->index, 1), FIELD(v->next->z, 200), FIELD(v->next->next->index, 2),
                        FIELD(lifted.CalcNumVertices(), 3)}));
}

// The accepted ranges are inclusive; one float step beyond, NaN and the
// infinities are ignored in any coordinate and do not advance the counter.
TEST(Hull3DInput, RangeBoundsAreInclusiveAndEverythingBeyondIsIgnored) {
  const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
  const float lifted = 1e8f, solid = 1099511627776.0f;  // 2^40
  const struct {
    float a, b;
    bool stored;
  } lifts[] = {{lifted, lifted, true},
               {-lifted, -lifted, true},
               {lifted, 0, true},
               {std::nextafter(lifted, inf), 0, false},
               {0, -std::nextafter(lifted, inf), false},
               {nan, 0, false},
               {0, inf, false},
               {-inf, 0, false},
               {3e38f, 3e38f, false}};
  for (const auto& c : lifts) {
    CHConvexHull3D h;
    h.AppendVertex2D(c.a, c.b, -1, false);
    h.AppendVertex2D(1, 1, -1, false);
    ASSERT_EQ(h.CalcNumVertices(), c.stored ? 2 : 1) << c.a << ", " << c.b;
    EXPECT_EQ(h.GetVertices()->prev->index, c.stored ? 1 : 0) << "the counter grows only when a point is stored";
    if (!c.stored) continue;
    const tVertexStructure* v = h.GetVertices();
    EXPECT_TRUE(AllEqual({FIELD(v->x, Int(double(c.a) * 10 + 0.5)), FIELD(v->z, v->x * v->x + v->y * v->y)})) << c.a;
  }
  const struct {
    float x, y, z;
    bool stored;
  } solids[] = {{solid, -solid, solid, true},
                {std::nextafter(solid, inf), 0, 0, false},
                {0, -std::nextafter(solid, inf), 0, false},
                {0, 0, nan, false},
                {inf, 0, 0, false},
                {0, -inf, 0, false}};
  for (const auto& c : solids) {
    CHConvexHull3D h;
    h.AppendVertex3D(c.x, c.y, c.z, 0.0f);
    ASSERT_EQ(h.CalcNumVertices(), c.stored ? 1 : 0) << c.x << ", " << c.y << ", " << c.z;
    if (c.stored)
      EXPECT_TRUE(AllEqual({FIELD(h.GetVertices()->x, Int(1) << 40), FIELD(h.GetVertices()->y, -(Int(1) << 40))}));
  }
}

// Hulls at the edges of both ranges: the orientation tests stay exact (an
// overflow would turn faces inside out or lose the inner points' sides).
TEST(Hull3DInput, HullsAtTheRangeLimitsAreCorrect) {
  const float s = 1099511627776.0f;
  CHConvexHull3D h;
  const std::vector<P3> input =
      Append(h, {{-s, -s, -s}, {s, -s, -s}, {-s, s, -s}, {-s, -s, s}, {s, s, s}, {1, 2, 3}, {s, s, -s}});
  ASSERT_FALSE(h.IsDegenerate());
  h.CalcConvexHull();
  EXPECT_EQ(HullViolation(h, input), "");
  EXPECT_EQ(h.GetNumVertices(), 6);
  MessageCapture quiet;
  CH2DDelaunay d;
  const float l = 1e8f;
  for (const auto& p : std::vector<std::array<float, 2>>{{-l, -l}, {l, -l}, {l, l}, {-l, l}, {1, -3}})
    d.AppendVertex(p[0], p[1], -1, false);
  ASSERT_FALSE(d.IsDegenerate());
  d.CalcDelaunayTriangulation();
  EXPECT_TRUE(AllEqual({FIELD(d.GetNumFaces(), 4), FIELD(d.GetNumVertices(), 5)}));
  for (const tFaceStructure* f : Faces(d)) EXPECT_LT(d.NormZ(f), 0);
}

// Lifted points far out (z beyond 2^53, where a double no longer holds the
// stored integer) close together: the volume sign must still be exact.
TEST(Hull3DInput, VolumeSignOfLiftedClustersFarOutIsExact) {
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  CHConvexHull3D h;
  for (int round = 0; round < 200000; ++round) {
    // z between 2^53 and 2^54 (doubles step by 2 there), points 5 tenths apart.
    tVertexStructure v[4] = {};
    for (tVertexStructure& p : v) {
      p.x = 80000000 + 5 * Int(rng() % 20);
      p.y = (round % 2 ? 80000000 : -79000000) + 5 * Int(rng() % 20);
      p.z = p.x * p.x + p.y * p.y;
    }
    tFaceStructure f = {};
    f.vertex[0] = &v[0];
    f.vertex[1] = &v[1];
    f.vertex[2] = &v[2];
    ASSERT_EQ(h.VolumeSign(&f, &v[3]), Orient(At(&v[0]), At(&v[1]), At(&v[2]), At(&v[3]))) << "round " << round;
  }
}

TEST(Hull3DInput, DegeneracyIsDecidedExactly) {
  const struct {
    Floats points;
    bool degenerate;
  } cases[] = {{{}, true},
               {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, true},
               {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0.01f, 0, 0}, {0, 0, 0}}, true},  // four with a repeat
               {{{0, 0, 0}, {1, 1, 1}, {2, 2, 2}, {3, 3, 3}, {-5, -5, -5}}, true},   // collinear
               {{{0, 0, 1}, {1, 0, 1}, {0, 1, 1}, {1, 1, 1}, {0.5f, 3, 1}}, true},   // coplanar
               {{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}, {0, 0, 1}}, false},     // collinear start, then solid
               {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, false},
               {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0.4f}}, true},    // rounds into the plane
               {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0.5f}}, false}};  // rounds off it by one unit
  for (const auto& c : cases) {
    CHConvexHull3D h;
    Append(h, c.points);
    EXPECT_EQ(h.IsDegenerate(), c.degenerate) << c.points.size() << " points";
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
    Floats points;
    int vertices, faces;
  } cases[] = {{{{0, 0, 0},
                 {2, 0, 0},
                 {2, 2, 0},
                 {0, 2, 0},
                 {0, 0, 2},
                 {2, 0, 2},
                 {2, 2, 2},
                 {0, 2, 2},
                 {1, 0, 0},
                 {1, 1, 1},
                 {0.5f, 1.5f, 1},
                 {1, 1, 0}},
                8,
                12},
               {{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 2, 0}, {0, 0, 2}}, 5, 6},
               {{{0, 0, 0}, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}, {1, 1, 1}}, 4, 4}};
  for (const auto& c : cases) {
    CHConvexHull3D h;
    const std::vector<P3> input = Append(h, c.points);
    ASSERT_FALSE(h.IsDegenerate());
    h.CalcConvexHull();
    EXPECT_EQ(HullViolation(h, input), "") << c.points.size() << " points";
    EXPECT_TRUE(
        AllEqual({FIELD(h.GetNumVertices(), c.vertices), FIELD(h.GetNumFaces(), c.faces), FIELD(h.Checks(), true),
                  FIELD(h.GetVertices()->onhull, true), FIELD(h.GetVertices()->next->onhull, true)}))
        << c.points.size() << " points";
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

TEST(Hull3DProperty, RandomPointsMatchBruteForce) {
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> coord(-500, 500);
  for (int round = 0; round < 40; ++round) {
    const int n = 4 + round % 30;
    Floats pts;
    std::set<std::array<float, 3>> seen;
    while (static_cast<int>(pts.size()) < n) {
      const int x = coord(rng), y = coord(rng), z = coord(rng);
      if (seen.insert({float(x), float(y), float(z)}).second) pts.push_back({float(x), float(y), float(z)});
    }
    CHConvexHull3D h;
    const std::vector<P3> input = Append(h, pts);
    const auto expected = BruteForceFaces(input);
    if (expected.empty() || h.IsDegenerate()) continue;
    h.CalcConvexHull();
    ASSERT_EQ(HullViolation(h, input), "") << "round " << round;
    std::set<std::array<int, 3>> got;
    for (const tFaceStructure* f : Faces(h)) {
      std::array<int, 3> idx{f->vertex[0]->index, f->vertex[1]->index, f->vertex[2]->index};
      std::sort(idx.begin(), idx.end());
      got.insert(idx);
    }
    ASSERT_EQ(got, expected) << "round " << round << " n " << n;
  }
}

// ---- Delaunay by lifting ------------------------------------------------------

// > 0 when d lies strictly inside the circle through the counter-clockwise a, b, c.
Wide InCircle(const P3& a, const P3& b, const P3& c, const P3& d) {
  const Wide ax = a.x - d.x, ay = a.y - d.y, bx = b.x - d.x, by = b.y - d.y, cx = c.x - d.x, cy = c.y - d.y;
  const Wide a2 = ax * ax + ay * ay, b2 = bx * bx + by * by, c2 = cx * cx + cy * cy;
  return ax * (by * c2 - b2 * cy) - ay * (bx * c2 - b2 * cx) + a2 * (bx * cy - by * cx);
}

// Corners of the lower faces in the plane (z of the lift dropped).
std::vector<std::array<P3, 3>> Triangles(const CH2DDelaunay& d) {
  std::vector<std::array<P3, 3>> out;
  for (const tFaceStructure* f : Faces(d)) {
    out.push_back({At(f->vertex[0]), At(f->vertex[1]), At(f->vertex[2])});
    for (P3& p : out.back()) p.z = 0;
  }
  return out;
}

TEST(LiftedDelaunay, SquareWithInnerPointGivesFourLowerFacesAndOneMessagePerCall) {
  // A square alone lifts onto one plane (its corners are cocircular), so an
  // inner point makes the set solid.
  MessageCapture messages;
  for (int call = 1; call <= 2; ++call) {
    CH2DDelaunay d;
    for (const auto& p : std::vector<std::array<float, 2>>{{0, 0}, {4, 0}, {4, 4}, {0, 4}, {1.5f, 2}})
      d.AppendVertex(p[0], p[1], -1, false);
    d.CalcDelaunayTriangulation();
    EXPECT_TRUE(AllEqual({FIELD(d.GetNumFaces(), 4), FIELD(d.GetNumVertices(), 5), FIELD(d.GetNumEdges(), 8)}));
    for (const tFaceStructure* f : Faces(d))
      EXPECT_TRUE(AllEqual({FIELD(f->lower, true), FIELD(d.NormZ(f) < 0, true)}));
    ASSERT_EQ(messages.texts.size(), static_cast<std::size_t>(call));
  }
  const std::string& text = messages.texts[0];
  EXPECT_EQ(text.rfind("Time for 2D-Delaunay ms: ", 0), 0u) << text;
  EXPECT_NE(text.find("\n Vertices: 5"), std::string::npos) << text;
}

TEST(LiftedDelaunayProperty, EmptyCircumcirclesCoveringTheHull) {
  MessageCapture quiet;
  const unsigned seed = TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 30; ++round) {
    const int n = 5 + static_cast<int>(rng() % 120);
    std::uniform_int_distribution<int> tenth(0, round % 2 ? 60 : 3000);  // small ranges force cocircular sets
    CH2DDelaunay d;
    std::vector<P3> points;
    for (int i = 0; i < n; ++i) {
      const int x = tenth(rng), y = tenth(rng);
      d.AppendVertex(x / 10.0f, y / 10.0f, -1, false);
      points.push_back({x, y, 0});
    }
    if (d.IsDegenerate()) continue;
    d.CalcDelaunayTriangulation();
    const auto tris = Triangles(d);
    ASSERT_EQ(static_cast<int>(tris.size()), d.GetNumFaces());
    Wide area = 0, hullArea = 0;
    for (const auto& t : tris) {
      const Wide a = -Cross(t[0], t[1], t[2]);  // clockwise seen from above
      ASSERT_GT(a, 0) << "round " << round << ": a degenerate or upward face";
      area += a;
      for (const P3& p : points)
        ASSERT_LE(InCircle(t[0], t[2], t[1], p), 0) << "round " << round << ": a point inside a circumcircle";
    }
    const std::vector<P3> h = MonotoneChainHull(points, Cross);
    for (std::size_t i = 0; h.size() >= 3 && i < h.size(); ++i)
      hullArea += Cross(P3{0, 0, 0}, h[i], h[(i + 1) % h.size()]);
    ASSERT_EQ(area, hullArea) << "round " << round;
  }
}

}  // namespace
