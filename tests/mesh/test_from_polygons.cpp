// Meshes from polygons: fans, ear clipping, the loft between two border
// polygons and the joins of a mesh or of the lifted Delaunay triangulation
// to border lines; and meshes from the faces of a 3D hull and of the
// (lifted) Delaunay triangulation.

#include <set>

#include "edge_use.h"
#include "mesh_testing.h"
#include "relief/CH2DDelaunay.h"
#include "relief/CHConvexHull3D.h"

namespace {

using namespace mesh_test;

constexpr double kPi = 3.141592653589793;

// A closed ring of n points r(angle) around the z axis at height z, from
// angle `phase` on, counter-clockwise or not.
template <class Radius>
void Ring(CSSE3dPolygon& p, int n, float z, double phase, bool ccw, Radius r) {
  p.Create(n);
  for (int i = 0; i < n; ++i) {
    const double a = phase + (ccw ? 1 : -1) * 2 * kPi * i / n;
    p.SetPoint(i, float(r(a) * std::cos(a)), float(r(a) * std::sin(a)), z);
  }
}

void Circle(CSSE3dPolygon& p, int n, float z, double radius, double phase = 0.0, bool ccw = true) {
  Ring(p, n, z, phase, ccw, [=](double) { return radius; });
}

// Every triangle faces away from the z axis (sign +1) or toward it (-1):
// a band around the axis without folds. Names the first triangle that does not.
testing::AssertionResult FacesRadially(const CHTriangulation& m, int sign) {
  for (int i = 0; i < m.NumTriangles; ++i) {
    const SSEPoint &a = m.EdgeArray[3 * i], &b = m.EdgeArray[3 * i + 1], &c = m.EdgeArray[3 * i + 2];
    const auto n = Cross(a, b, c);
    const double mx = (double(a.x) + b.x + c.x) / 3, my = (double(a.y) + b.y + c.y) / 3;
    if (sign * (n[0] * mx + n[1] * my) <= 0)
      return testing::AssertionFailure() << "triangle " << i << " at (" << mx << ", " << my << ") folds over";
  }
  return testing::AssertionSuccess();
}

// Every point of the polygon is a corner of the mesh.
testing::AssertionResult UsesEveryPoint(const CHTriangulation& m, const CSSE3dPolygon& p) {
  std::set<CornerKey> corners;
  for (int i = 0; i < 3 * m.NumTriangles; ++i) corners.insert(KeyOf(m.EdgeArray[i]));
  for (int i = 0; i < p.GetNumPoints(); ++i)
    if (!corners.count(KeyOf(PointOf(p, i)))) return testing::AssertionFailure() << "point " << i << " is not used";
  return testing::AssertionSuccess();
}

// Closed at both ends, the band between concentric circles is a solid with the frustum's volume.
TEST(MeshLoft, FrustumBetweenConcentricCircles) {
  const double r1 = 10, r2 = 6, h = 8;
  CSSE3dPolygon low, high;
  Circle(low, 200, 0.0f, r1);
  Circle(high, 150, float(h), r2, 1.234);
  CHTriangulation solid(&low, &high, 1, 1, 1, false, true);
  EXPECT_TRUE(EdgesUsed(solid, kClosed));
  const double volume = kPi * h / 3 * (r1 * r1 + r1 * r2 + r2 * r2);
  EXPECT_NEAR(EnclosedVolume(solid), volume, 0.01 * volume);
  // Every second point, scaled.
  CHTriangulation coarse(&low, &high, 2, 2, 1, 2, false, true);
  EXPECT_EQ(coarse.NumTriangles, 2 * (100 + 75));
  EXPECT_TRUE(EdgesUsed(coarse, kClosed));
  EXPECT_NEAR(EnclosedVolume(coarse), 4 * volume, 0.02 * 4 * volume);
}

TEST(MeshLoft, StarShapedPairsGiveBandsWithoutFolds) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    // Radii with a few lobes, the upper ring inside, outside or crossing the lower.
    const double a1 = 0.3 * u(rng), a2 = 0.3 * u(rng), base2 = 4 + 8 * u(rng);
    const int k1 = 1 + rng() % 5, k2 = 1 + rng() % 5;
    CSSE3dPolygon low, high;
    Ring(low, 3 + rng() % 300, 0.0f, 7 * u(rng), true, [&](double a) { return 8 * (1 + a1 * std::sin(k1 * a)); });
    Ring(high, 3 + rng() % 300, float(1 + 10 * u(rng)), 7 * u(rng), rng() % 2,
         [&](double a) { return base2 * (1 + a2 * std::cos(k2 * a)); });
    CHTriangulation band(&low, &high, 1, 1, 1, false, false);
    EXPECT_EQ(band.NumTriangles, low.GetNumPoints() + high.GetNumPoints()) << "seed " << seed;
    EXPECT_TRUE(EdgesUsed(band, kBand)) << "seed " << seed;
    EXPECT_TRUE(UsesEveryPoint(band, low)) << "seed " << seed;
    EXPECT_TRUE(UsesEveryPoint(band, high)) << "seed " << seed;
    // A fold shows as a triangle facing the axis (only meaningful when the
    // band does not lie flat: the rings differ in height by at least 1).
    EXPECT_TRUE(FacesRadially(band, 1)) << "seed " << seed;
    CHTriangulation flipped(&low, &high, 1, 1, 1, true, false);
    EXPECT_TRUE(FacesRadially(flipped, -1)) << "seed " << seed;
    CHTriangulation solid(&low, &high, 1, 1, 1, false, true);
    EXPECT_TRUE(EdgesUsed(solid, kClosed)) << "seed " << seed;
    EXPECT_GT(EnclosedVolume(solid), 0) << "seed " << seed;
  }
}

TEST(MeshLoft, BadPolygonsGiveEmptyOrDegenerateBands) {
  CSSE3dPolygon circle, empty, two = Polygon({{0, 0, 1}, {1, 0, 1}});
  CSSE3dPolygon line = Polygon({{0, 0, 3}, {1, 1, 3}, {2, 2, 3}, {3, 3, 3}});  // zero area
  Circle(circle, 12, 0.0f, 5);
  for (CSSE3dPolygon* p : {&two, &empty, static_cast<CSSE3dPolygon*>(nullptr)}) {
    CHTriangulation a(&circle, p, 1, 1, 1, false, true), b(p, &circle, 1, 1, 1, 3, true, false);
    EXPECT_TRUE(AllEqual({FIELD(a.NumTriangles, 0), FIELD(b.NumTriangles, 0)}));
  }
  CHTriangulation flat(&circle, &line, 1, 1, 1, false, false);
  EXPECT_EQ(flat.NumTriangles, 16);
  EXPECT_TRUE(EdgesUsed(flat, kBand));
  CHTriangulation huge(&circle, &circle, 1, 1, 1, 1 << 30, false, false);  // one point per ring
  EXPECT_EQ(huge.NumTriangles, 0);
}

TEST(MeshLoft, JoinsAMeshToABorderLine) {
  Messages quiet;
  CSSE3dPolygon top, margin;
  Circle(top, 64, 8.0f, 6);
  Circle(margin, 90, 0.0f, 10, 0.5, false);  // runs the other way round
  // A cap over the top ring (fan around its centre, facing up).
  CHTriangulation cap(&top, 1, 1, 1, 1, 0.0f, true, false);
  ASSERT_EQ(cap.NumTriangles, 64);
  CH2DDelaunay d;
  CHTriangulation joined;
  d.LoftWith3DTriangulation(&cap, &margin, &joined);
  EXPECT_EQ(joined.NumTriangles, 64 + 64 + 90);
  EXPECT_TRUE(EdgesUsed(joined, kBand));
  EXPECT_TRUE(UsesEveryPoint(joined, margin));
  // What is left open is exactly the margin.
  int open = 0;
  for (const auto& [edge, use] : EdgeUses(joined))
    if (use.count == 1) open += std::get<2>(edge.first) == 0.0f && std::get<2>(edge.second) == 0.0f ? 1 : 1000;
  EXPECT_EQ(open, 90);
  // A border line of fewer than three points leaves the surface alone.
  CSSE3dPolygon two;
  two.Create(2);
  d.LoftWith3DTriangulation(&cap, &two, &joined);
  EXPECT_EQ(joined.NumTriangles, 64);
  d.LoftWith3DTriangulation(nullptr, &margin, &joined);
  EXPECT_EQ(joined.NumTriangles, 64);
}

TEST(MeshLoft, DelaunayBandBetweenTwoBorderPolygons) {
  Messages quiet;
  // Points on the hull's grid of tenths, away from the origin, so that its
  // quantisation keeps them where they are.
  auto onGrid = [](int n, float z, double r, double phase) {
    std::vector<std::array<float, 3>> pts;
    for (int i = 0; i < n; ++i) {
      const double a = phase + 2 * kPi * i / n, x = 20 + r * std::cos(a), y = 20 + r * std::sin(a);
      pts.push_back({float(std::round(10 * x) / 10), float(std::round(10 * y) / 10), z});
    }
    return Polygon(pts);
  };
  CSSE3dPolygon top = onGrid(60, 7.0f, 6, 0.1), bottom = onGrid(100, 0.0f, 10, 0);
  CH2DDelaunay d;
  CHTriangulation band;
  d.CreateTriangulationFromTwoBorderPolygons(&top, &bottom, &band);
  ASSERT_GT(band.NumTriangles, 0);
  EXPECT_EQ(quiet.texts.size(), 1u);
  EXPECT_TRUE(EdgesUsed(band, kBand));
  EXPECT_TRUE(UsesEveryPoint(band, top));
  EXPECT_TRUE(UsesEveryPoint(band, bottom));
  // Counter-clockwise seen from above, covering the annulus between the polygons.
  double projected = 0;
  for (int i = 0; i < band.NumTriangles; ++i) {
    const double area = AreaXY(band.EdgeArray[3 * i], band.EdgeArray[3 * i + 1], band.EdgeArray[3 * i + 2]);
    ASSERT_GT(area, 0) << "triangle " << i;
    projected += area;
  }
  auto shoelace = [](const CSSE3dPolygon& p) {  // a fan from the first point
    double a = 0;
    for (int i = 2; i < p.GetNumPoints(); ++i) a += AreaXY(PointOf(p, 0), PointOf(p, i - 1), PointOf(p, i));
    return a;
  };
  const double annulus = shoelace(bottom) - shoelace(top);
  EXPECT_NEAR(projected, annulus, 1e-6 * annulus);
  CSSE3dPolygon upper, lower;
  d.GetBorderPointsTop(&upper);
  d.GetBorderPointsBottom(&lower);
  EXPECT_TRUE(AllEqual({FIELD(upper.GetNumPoints(), 60), FIELD(lower.GetNumPoints(), 100)}));
  float x, y, z;
  lower.GetPoint(0, x, y, z);
  EXPECT_TRUE(AllEqual({FIELD(x, 30.0f), FIELD(y, 20.0f), FIELD(z, 0.0f)}));

  // Too few distinct points, or a missing polygon: an empty mesh.
  CSSE3dPolygon three;
  Circle(three, 3, 0.0f, 5);
  CH2DDelaunay small, none;
  small.CreateTriangulationFromTwoBorderPolygons(&three, &three, &band);  // the second copy merges
  EXPECT_EQ(band.NumTriangles, 0);
  none.CreateTriangulationFromTwoBorderPolygons(&top, nullptr, &band);
  EXPECT_EQ(band.NumTriangles, 0);
}

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
