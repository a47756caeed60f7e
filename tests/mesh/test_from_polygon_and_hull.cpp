// Meshes built from contours (ear clipping, refined, fan) and from the
// faces of a 3D hull and of the lifted Delaunay triangulation.

#include <set>

#include "mesh_testing.h"
#include "relief/CH2DDelaunay.h"
#include "relief/CHConvexHull3D.h"

namespace {

using namespace mesh_test;

double PlanarArea(const CHTriangulation& m) {
  double a = 0;
  for (const SSEPoint* p = m.EdgeArray; p != m.EdgeArray + 3 * m.NumTriangles; p += 3) a += AreaXY(p[0], p[1], p[2]);
  return a;
}

TEST(MeshFromPolygon, FanStartsWithTheClosingEdge) {
  CSSE3dPolygon square = Polygon({{0, 0, 1}, {2, 0, 1}, {2, 2, 3}, {0, 2, 3}}), one = Polygon({{3, 4, 5}}), none;
  CHTriangulation m(&square, 1.0f, 1.0f, 1.0f, 1, 0.0f, true, false);
  ASSERT_TRUE(ValidMesh(m, 4, kAll));
  for (int t = 0; t < 4; ++t)
    for (auto [k, p] : {std::pair{0, PointOf(square, (t + 3) % 4)}, {1, PointOf(square, t)}, {2, Point(1, 1, 2)}})
      EXPECT_TRUE(SamePoint(m.EdgeArray[3 * t + k], p)) << "triangle " << t << " corner " << k;
  SSEPoint own;
  square.GetGeometricCenter(own);
  EXPECT_EQ(own.x, 0.0f) << "the caller's polygon keeps its own centre record";
  // One point gives one degenerate triangle, none gives none.
  m.CreateSimpleFanTriangulationFromPolygon(&one);
  ASSERT_EQ(m.GetNumTriangles(), 1);
  EXPECT_TRUE(SamePoint(m.EdgeArray[0], Point(3, 4, 5)));
  EXPECT_TRUE(SamePoint(m.EdgeArray[2], Point(3, 4, 5)));
  m.CreateSimpleFanTriangulationFromPolygon(&none);
  EXPECT_EQ(m.GetNumTriangles(), 0);
}

TEST(MeshFromPolygon, EarClippingTakesTheSourcePointsThroughTheStep) {
  // An octagon with z = index; step 2 uses points 0, 2, 4, 6.
  std::vector<std::array<float, 3>> pts;
  for (int i = 0; i < 8; ++i)
    pts.push_back({float(10 * std::cos(i * 0.785398)), float(10 * std::sin(i * 0.785398)), float(i)});
  CSSE3dPolygon poly = Polygon(pts);
  for (int step : {1, 2}) {
    CHTriangulation m(&poly, 1.0f, 1.0f, 1.0f, step, 0.0f, false, false);
    ASSERT_TRUE(ValidMesh(m, 8 / step - 2, kAll)) << step;
    for (int i = 0; i < 3 * m.GetNumTriangles(); ++i)
      EXPECT_TRUE(AllEqual({FIELD(int(m.EdgeArray[i].z) % step, 0), FIELD(m.EdgeArray[i].w, 0.0f)})) << "corner " << i;
    // The search starts at the head's successor: the first ear is vertex 1.
    EXPECT_TRUE(SamePoint(m.EdgeArray[1], PointOf(poly, step))) << step;
    EXPECT_NEAR(PlanarArea(m), step == 1 ? 282.8427 : 200.0, 1e-3);
  }
}

TEST(MeshFromHull, HullFacesFaceOutwardsAndDelaunayIsFlatOrLifted) {
  Messages quiet;
  CHConvexHull3D hull, never;
  for (const auto& p :
       std::vector<std::array<float, 3>>{{0, 0, 0}, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}, {0.5f, 0.5f, 0.5f}})
    hull.AppendVertex3D(p[0], p[1], p[2], 0.0f);
  hull.CalcConvexHull();
  CHTriangulation m(&hull, 1.0f, 1.0f, 1.0f, 1.0f), halves(&hull, 1.0f, 1.0f, 1.0f, 2.0f);
  ASSERT_TRUE(ValidMesh(m, 4, kAll));
  for (int i = 0; i < 4; ++i) {
    const SSEPoint* p = m.EdgeArray + 3 * i;
    const SSEPoint& n = m.NormalArray[3 * i];
    double dot = 0;
    for (int l = 0; l < 3; ++l) dot += (&n.x)[l] * (((&p[0].x)[l] + (&p[1].x)[l] + (&p[2].x)[l]) / 3 - 0.75);
    EXPECT_GT(dot, 0.0) << "face " << i << " faces inwards";
    EXPECT_EQ(m.Triangles[i].Type, -1) << "face " << i;
  }
  // With a divisor of 1 the corners are the input points themselves; any
  // other divisor scales them.
  std::set<std::array<float, 3>> corners, expected{{0, 0, 0}, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}};
  for (int i = 0; i < 12; ++i) corners.insert({m.EdgeArray[i].x, m.EdgeArray[i].y, m.EdgeArray[i].z});
  EXPECT_EQ(corners, expected);
  EXPECT_EQ(std::max_element(halves.EdgeArray, halves.EdgeArray + 12, [](auto& p, auto& q) { return p.x < q.x; })->x,
            1.5f);

  CH2DDelaunay d;
  for (const auto& p : std::vector<std::array<float, 2>>{{0, 0}, {4, 0}, {4, 4}, {0, 4}, {1.5f, 2}})
    d.AppendVertex(p[0], p[1], -1, false);
  d.CalcDelaunayTriangulation();
  CHTriangulation flat(&d, 1.0f, 1.0f, 1.0f, true), lifted(&d, 1.0f, 1.0f, 1.0f, false);
  ASSERT_TRUE(ValidMesh(flat, 4, kAll));
  ASSERT_TRUE(ValidMesh(lifted, 4));
  for (int i = 0; i < 12; ++i) {  // the lifted z is (X^2 + Y^2) / 10 in tenths: 10 (x^2 + y^2)
    const SSEPoint& p = lifted.EdgeArray[i];
    EXPECT_EQ(flat.EdgeArray[i].z, 0.0f) << i;
    EXPECT_NEAR(p.z, 10.0f * (p.x * p.x + p.y * p.y), 1e-5f * p.z) << i;
  }
  for (int i = 0; i < 4; ++i)
    EXPECT_TRUE(AllEqual({FIELD(flat.Triangles[i].Type, 14), FIELD(lifted.Triangles[i].Type, 14)})) << i;

  // Empty sources give empty meshes.
  CHTriangulation a(&never, 1.0f, 1.0f, 1.0f, 10.0f), b;
  b.CreateTriangulationFromHull3D(nullptr, 10.0f), b.CreateTriangulationFrom2DDelaunay(nullptr, true);
  b.CreateTriangulationFromPolygon(nullptr, 1, 0.0f, false);
  EXPECT_TRUE(ValidMesh(a, 0));
  EXPECT_TRUE(ValidMesh(b, 0));
}

}  // namespace
