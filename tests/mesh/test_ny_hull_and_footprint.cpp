// The x/y hull of a mesh and the decision which triangles of one mesh lie
// within another's footprint, against naive references.

#include "mesh_testing.h"
#include "relief/CHDecideNyTriInNyTri.h"
#include "relief/NyTriangulationDynamic.h"
#include "relief/NyTriangulationStatic.h"
#include "relief/TaNyTriangulationTo2DHull.h"

using namespace mesh_test;

namespace {

// The hull is a strictly convex counter-clockwise polygon of mesh corners
// holding every corner: that makes it the convex hull.
testing::AssertionResult IsHullOf(const TaNyTriangulationTo2DHull& h, const std::vector<Tri>& tris) {
  const int n = h.GetNumPoints();
  for (int i = 0; i < n; ++i) {
    const SSEPoint a = h.GetPoint(i), b = h.GetPoint((i + 1) % n), c = h.GetPoint((i + 2) % n);
    if (n >= 3 && !(AreaXY(a, b, c) > 0))
      return testing::AssertionFailure() << "corner " << (i + 1) % n << " is not a strict left turn";
    bool fromMesh = false;
    for (const Tri& t : tris)
      for (const Corner& k : t) fromMesh |= k.x == a.x && k.y == a.y && k.z == a.z;
    if (!fromMesh) return testing::AssertionFailure() << "corner " << i << " is no mesh corner with its z";
  }
  for (const Tri& t : tris)
    for (const Corner& k : t)
      if (!h.PointInHull(k.x, k.y))
        return testing::AssertionFailure() << "mesh corner (" << k.x << ", " << k.y << ") outside the hull";
  return testing::AssertionSuccess();
}

TEST(NyHull2D, RandomMeshesAgainstTheHullProperties) {
  for (int count : {1, 2, 3, 5, 17, 129}) {
    for (uint32_t seed : {1u, 2u, 3u}) {
      SCOPED_TRACE(testing::Message() << count << " triangles, seed " << seed);
      std::mt19937 rng(seed);
      // Coordinates on a coarse lattice: repeats and collinear runs on the hull are common.
      std::uniform_int_distribution<int> u(0, 12);
      std::vector<Tri> tris;
      for (int i = 0; i < count; ++i) {
        Tri t;
        for (Corner& k : t) k = {0.5f * u(rng), 0.5f * u(rng), static_cast<float>(i), 0};
        tris.push_back(t);
      }
      CHTriangulation mesh;
      Fill(mesh, tris);
      TaNyTriangulationTo2DHull hull(&mesh);
      EXPECT_TRUE(IsHullOf(hull, tris));
      CSSE3dPolygon out;
      hull.ObtainHull(&out);
      EXPECT_EQ(out.GetNumPoints(), hull.GetNumPoints());
    }
  }
}

TEST(NyHull2D, CollinearRepeatedAndAbsentInput) {
  CHTriangulation square, line, empty;
  // A square whose sides carry extra corners, every corner twice.
  Fill(square, {Tri{{{0, 0, 1, 0}, {2, 0, 1, 0}, {4, 0, 1, 0}}}, Tri{{{4, 0, 1, 0}, {4, 2, 1, 0}, {4, 4, 1, 0}}},
                Tri{{{4, 4, 1, 0}, {2, 4, 1, 0}, {0, 4, 1, 0}}}, Tri{{{0, 4, 1, 0}, {0, 2, 1, 0}, {0, 0, 1, 0}}}});
  TaNyTriangulationTo2DHull h(&square);
  ASSERT_EQ(h.GetNumPoints(), 4);
  EXPECT_TRUE(SameXY(h.GetPoint(0), 0, 0));  // starts at the smallest x, then y
  EXPECT_TRUE(SameXY(h.GetPoint(1), 4, 0));  // counter-clockwise
  EXPECT_TRUE(AllEqual(
      {FIELD(h.PointInHull(4, 2), true), FIELD(h.PointInHull(2, 2), true), FIELD(h.PointInHull(4.001f, 2), false)}));
  Fill(line, {Tri{{{0, 0, 0, 0}, {1, 1, 0, 0}, {3, 3, 0, 0}}}});
  EXPECT_EQ(h.CalcHull(&line), 2);  // a line: its two ends
  EXPECT_FALSE(h.PointInHull(1, 1));
  NyTriangulationStatic s;
  NyTriangulationDynamic d;
  EXPECT_TRUE(AllEqual({FIELD(h.CalcHull(&empty), 0), FIELD(h.CalcHull(static_cast<CHTriangulation*>(nullptr)), 0),
                        FIELD(TaNyTriangulationTo2DHull(&s).GetNumPoints(), 0),
                        FIELD(TaNyTriangulationTo2DHull(&d).GetNumPoints(), 0)}));
}

// ---- triangles within a footprint ---------------------------------------

// The unit cells of [0, 10]^2 without the four of the open square (4, 6)^2,
// two triangles each, in either diagonal.
std::vector<Tri> HoledGrid() {
  std::vector<Tri> out;
  for (int y = 0; y < 10; ++y)
    for (int x = 0; x < 10; ++x) {
      if (x >= 4 && x < 6 && y >= 4 && y < 6) continue;
      const Corner c00{float(x), float(y), 0, 0}, c10{x + 1.0f, float(y), 0, 0}, c01{float(x), y + 1.0f, 0, 0},
          c11{x + 1.0f, y + 1.0f, 0, 0};
      const bool odd = (x + y) % 2;
      out.push_back(Tri{c00, c10, odd ? c11 : c01});
      out.push_back(Tri{odd ? c00 : c10, c11, c01});
    }
  return out;
}

// Exact reference for that footprint: the triangle lies in [0, 10]^2 and
// meets no point of the open hole (separating axes; touching is allowed).
bool InHoledGrid(const Tri& t) {
  for (const Corner& k : t)
    if (k.x < 0 || k.x > 10 || k.y < 0 || k.y > 10) return false;
  const double sq[4][2] = {{4, 4}, {6, 4}, {6, 6}, {4, 6}};
  std::vector<std::pair<double, double>> axes = {{1, 0}, {0, 1}};
  for (int i = 0; i < 3; ++i) axes.push_back({t[(i + 1) % 3].y - t[i].y, t[i].x - t[(i + 1) % 3].x});
  for (const auto& [ax, ay] : axes) {
    double tlo = 1e300, thi = -1e300, slo = 1e300, shi = -1e300;
    for (const Corner& k : t) tlo = std::min(tlo, k.x * ax + k.y * ay), thi = std::max(thi, k.x * ax + k.y * ay);
    for (const auto& c : sq) slo = std::min(slo, c[0] * ax + c[1] * ay), shi = std::max(shi, c[0] * ax + c[1] * ay);
    if (slo == shi) continue;  // a degenerate axis separates nothing
    if (thi <= slo || tlo >= shi) return true;
  }
  return false;
}

TEST(NyTriInNyTri, AgainstAnExactReferenceOnAHoledGrid) {
  CHTriangulation outer;
  Fill(outer, HoledGrid());
  for (uint32_t seed : {1u, 2u, 3u, 4u}) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 rng(seed);
    // Corners on a quarter lattice so that many triangles touch the hole or the edge.
    std::uniform_int_distribution<int> u(-4, 44), d(-8, 8);
    std::vector<Tri> tris;
    for (int i = 0; i < 400; ++i) {
      const float x = 0.25f * u(rng), y = 0.25f * u(rng);
      tris.push_back(Tri{{{x, y, 0, 0},
                          {x + 0.25f * d(rng), y + 0.25f * d(rng), 0, 0},
                          {x + 0.25f * d(rng), y + 0.25f * d(rng), 0, 0}}});
    }
    // Named cases: a cell of the grid, one touching the hole at a side, one around the whole hole.
    tris.push_back(Tri{{{3, 4, 0, 0}, {4, 4, 0, 0}, {4, 5, 0, 0}}});
    tris.push_back(Tri{{{2, 3, 0, 0}, {6, 4, 0, 0}, {4, 4, 0, 0}}});
    tris.push_back(Tri{{{1, 1, 0, 0}, {9, 1, 0, 0}, {5, 9, 0, 0}}});
    CHTriangulation inner;
    Fill(inner, tris);
    CHDecideNyTriInNyTri decide(&inner, &outer);
    ASSERT_EQ(decide.GetNumTriangles(), static_cast<int>(tris.size()));
    int inside = 0;
    for (std::size_t i = 0; i < tris.size(); ++i) {
      // Degenerate inner triangles (a segment or a point) are judged the same way.
      const bool want = InHoledGrid(tris[i]);
      inside += want;
      ASSERT_EQ(decide.IsTriangleInside(static_cast<int>(i)), want)
          << "triangle " << i << ": (" << tris[i][0].x << ", " << tris[i][0].y << ") (" << tris[i][1].x << ", "
          << tris[i][1].y << ") (" << tris[i][2].x << ", " << tris[i][2].y << ")";
    }
    EXPECT_EQ(decide.GetNumInside(), inside);
    EXPECT_GT(inside, 40) << "the cases should mix";
    EXPECT_LT(inside, 360) << "the cases should mix";
  }
}

TEST(NyTriInNyTri, AbsentInput) {
  CHTriangulation some, empty;
  Fill(some, SmallSoup());
  CHDecideNyTriInNyTri decide;
  EXPECT_TRUE(AllEqual({FIELD(decide.Decide(&some, &empty), 0), FIELD(decide.GetNumTriangles(), 3),
                        FIELD(decide.IsTriangleInside(0), false), FIELD(decide.IsTriangleInside(-1), false),
                        FIELD(decide.IsTriangleInside(3), false)}));
  EXPECT_TRUE(AllEqual({FIELD(decide.Decide(&empty, &some), 0), FIELD(decide.GetNumTriangles(), 0)}));
  EXPECT_EQ(decide.Decide(&some, &some), 3);  // a mesh lies within its own footprint
  NyTriangulationStatic s;
  NyTriangulationDynamic d;
  EXPECT_TRUE(AllEqual({FIELD(CHDecideNyTriInNyTri(&s, &s).GetNumTriangles(), 0),
                        FIELD(CHDecideNyTriInNyTri(&d, &d).GetNumTriangles(), 0)}));
}

}  // namespace
