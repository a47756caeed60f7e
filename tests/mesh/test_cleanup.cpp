// Removal of triangles by height band and by repeated orientation, and the normal refresh.

#include "mesh_testing.h"

namespace {

using namespace mesh_test;

// A triangle at x offset `at` whose corners have the given z.
Tri WithZ(float at, float z0, float z1, float z2) {
  return Tri{Corner{at, 0, z0, 0}, Corner{at + 1, 0, z1, 0}, Corner{at, 1, z2, 0}};
}

TEST(MeshRemoval, HeightBandsRemoveOnlyTrianglesWhollyInside) {
  enum Removal { Below, Above, Between };
  const struct {
    Removal removal;
    float a, b, z[3];
    bool kept;
  } cases[] = {{Below, 0, 0, {0, 0, 0.1f}, true},     {Below, 0, 0, {0, 0, 0}, false},  // limits inclusive
               {Below, 0, 0, {-3, -2, -1}, false},    {Above, 5, 0, {5, 5, 4.9f}, true},
               {Above, 5, 0, {5, 5, 5}, false},       {Between, 1, 2, {0, 1, 5}, false},  // one corner on a bound
               {Between, 1, 2, {2, -1, 5}, false},    {Between, 1, 2, {0, 0.5f, 5}, true},
               {Between, 1, 2, {0.9f, 2.1f, 0}, true}};  // straddling is kept
  for (const auto& c : cases) {
    CHTriangulation m;
    Fill(m, {WithZ(0, c.z[0], c.z[1], c.z[2])});
    c.removal == Below   ? m.RemoveTrianglesBelowZ(c.a)
    : c.removal == Above ? m.RemoveTrianglesAboveZ(c.a)
                         : m.RemoveTrianglesBetweenZ(c.a, c.b);
    EXPECT_TRUE(ValidMesh(m, c.kept ? 1 : 0)) << "case " << &c - cases;
  }
}

TEST(MeshRemoval, KeptTrianglesKeepIndexTypeAndDerivedData) {
  // A strip of three triangles sharing edges; the middle one is removed.
  CHTriangulation m;
  Fill(m, {WithZ(0, 1, 1, 1), Tri{Corner{1, 0, -1, 0}, Corner{1, 1, -1, 0}, Corner{0, 1, -1, 0}}, WithZ(1, 1, 1, 1)});
  for (int i = 0; i < 3; ++i) m.Triangles[i].Type = 20 + i;
  const SSEPoint box = m.PointArray[0], lastMin = m.MinPointArray[2];
  m.RemoveTrianglesBelowZ(0.0f);
  ASSERT_TRUE(ValidMesh(m, 2));
  EXPECT_TRUE(AllEqual({FIELD(m.Triangles[0].Index, 0), FIELD(m.Triangles[1].Index, 2 /* not renumbered */),
                        FIELD(m.Triangles[0].Type, 13 /* border */)}));
  // The rebuild copies through CopyFromHTriangulation, whose maxima are the
  // minima; CalcSTV brings the real ones back.
  EXPECT_TRUE(SamePoint(m.MaxPointArray[1], lastMin));
  m.CalcSTV();
  EXPECT_EQ(CheckMesh(m, {true, true, false}), "");
  EXPECT_EQ(m.Triangles[1].pNeighbour[0], nullptr) << "the removed neighbour is gone";
  EXPECT_EQ(m.PointArray[0].z, box.z) << "the box stays";
}

TEST(MeshRemoval, SameOrientationComparesAllPairsWithAnInclusiveTolerance) {
  // First normals by triangle; Type 0 marks a triangle for removal too.
  const struct {
    std::vector<float> dx;
    int zeroType, kept;
  } cases[] = {{{0, 0.05f}, -1, 1},
               {{0, -0.05f}, -1, 1},
               {{0, 0.0501f}, -1, 2},
               {{0, -0.0501f}, -1, 2},
               {{0, 0.04f, 0.08f, 0.7f}, 3, 1}};  // 2 repeats 1 (already marked) but not 0
  for (const auto& c : cases) {
    CHTriangulation m;
    std::vector<Tri> tris;
    for (std::size_t i = 0; i < c.dx.size(); ++i) tris.push_back(WithZ(5.0f * i, 0, 0, 0));
    Fill(m, tris);
    for (std::size_t i = 0; i < c.dx.size(); ++i) {
      m.Triangles[i].Type = int(i) == c.zeroType ? 0 : 1;
      m.NormalArray[3 * i] = int(i) == c.zeroType ? Point(0.7f, 0.7f, 0) : Point(c.dx[i], 0, 1);
    }
    m.RemoveTrianglesWithSameOrientation();
    EXPECT_TRUE(AllEqual({FIELD(m.GetNumTriangles(), c.kept), FIELD(m.Triangles[0].Index, 0)})) << c.dx[1];
  }
}

TEST(MeshCleanup, OrientTowardsBBoxCentreOnlyRefreshesNormals) {
  CHTriangulation m;
  // Clockwise seen from above: its flat normal points down, and stays so.
  Fill(m, {Tri{Corner{0, 0, 0, 0}, Corner{0, 1, 0, 0}, Corner{1, 0, 0, 0}}});
  const SSEPoint p1 = m.EdgeArray[1];
  m.OrientTrianglesTowardsBBoxCenter();
  EXPECT_TRUE(AllEqual({FIELD(m.NormalArray[0].z, -1.0f), FIELD(m.NormalArray[2].z, -1.0f)}));
  EXPECT_TRUE(SamePoint(m.EdgeArray[1], p1));
}

}  // namespace
