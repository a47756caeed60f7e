// Removal of triangles by height band and by repeated orientation, and the
// normal refresh.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mesh_testing.h"
#include "relief/CHTriangulation.h"

namespace {

using mesh_test::CheckMesh;
using mesh_test::Corner;
using mesh_test::Tri;

// A triangle at x offset `at` whose corners have the given z.
Tri WithZ(float at, float z0, float z1, float z2) {
  return Tri{Corner{at, 0, z0, 0}, Corner{at + 1, 0, z1, 0}, Corner{at, 1, z2, 0}};
}

enum class Removal { Below, Above, Between };

struct RemovalCase {
  const char* name;
  Removal removal;
  float a, b;
  std::array<float, 3> z;
  bool kept;
};

class MeshRemovalRules : public testing::TestWithParam<RemovalCase> {};

TEST_P(MeshRemovalRules, KeepsOrRemoves) {
  const RemovalCase& c = GetParam();
  CHTriangulation m;
  mesh_test::Fill(m, {WithZ(0, c.z[0], c.z[1], c.z[2])});
  switch (c.removal) {
    case Removal::Below: m.RemoveTrianglesBelowZ(c.a); break;
    case Removal::Above: m.RemoveTrianglesAboveZ(c.a); break;
    case Removal::Between: m.RemoveTrianglesBetweenZ(c.a, c.b); break;
  }
  EXPECT_EQ(m.GetNumTriangles(), c.kept ? 1 : 0);
  EXPECT_EQ(CheckMesh(m), "");
}

INSTANTIATE_TEST_SUITE_P(
    Bounds, MeshRemovalRules,
    testing::Values(RemovalCase{"below_one_corner_above", Removal::Below, 0, 0, {0, 0, 0.1f}, true},
                    RemovalCase{"below_all_on_the_limit", Removal::Below, 0, 0, {0, 0, 0}, false},
                    RemovalCase{"below_all_under", Removal::Below, 0, 0, {-3, -2, -1}, false},
                    RemovalCase{"above_one_corner_below", Removal::Above, 5, 0, {5, 5, 4.9f}, true},
                    RemovalCase{"above_all_on_the_limit", Removal::Above, 5, 0, {5, 5, 5}, false},
                    RemovalCase{"between_one_corner_on_low", Removal::Between, 1, 2, {0, 1, 5}, false},
                    RemovalCase{"between_one_corner_on_high", Removal::Between, 1, 2, {2, -1, 5}, false},
                    RemovalCase{"between_none_inside", Removal::Between, 1, 2, {0, 0.5f, 5}, true},
                    RemovalCase{"between_straddling_is_kept", Removal::Between, 1, 2, {0.9f, 2.1f, 0}, true}),
    [](const testing::TestParamInfo<RemovalCase>& i) { return std::string(i.param.name); });

TEST(MeshRemoval, KeptTrianglesKeepIndexTypeAndDerivedData) {
  // A strip of three triangles sharing edges; the middle one is removed.
  CHTriangulation m;
  mesh_test::Fill(m, {Tri{Corner{0, 0, 1, 0}, Corner{1, 0, 1, 0}, Corner{0, 1, 1, 0}},
                      Tri{Corner{1, 0, -1, 0}, Corner{1, 1, -1, 0}, Corner{0, 1, -1, 0}},
                      Tri{Corner{1, 0, 1, 0}, Corner{2, 0, 1, 0}, Corner{1, 1, 1, 0}}});
  m.CalcNormalsFromVertices();
  for (int i = 0; i < 3; ++i) m.Triangles[i].Type = 20 + i;
  SSEPoint box;
  m.GetMinPoint(box);
  const SSEPoint lastMin = m.MinPointArray[2];
  m.RemoveTrianglesBelowZ(0.0f);
  ASSERT_EQ(m.GetNumTriangles(), 2);
  EXPECT_EQ(CheckMesh(m, {true, false, false}), "");
  EXPECT_EQ(m.Triangles[0].Index, 0);
  EXPECT_EQ(m.Triangles[1].Index, 2);  // not renumbered
  EXPECT_EQ(m.Triangles[0].Type, 13);  // CalcNeighbours tags the border
  // The rebuild copies through CopyFromHTriangulation, whose maxima are the
  // minima; CalcSTV brings the real ones back.
  EXPECT_TRUE(mesh_test::SameBits(m.MaxPointArray[1], lastMin));
  m.CalcSTV();
  EXPECT_EQ(CheckMesh(m, {true, true, false}), "");
  EXPECT_EQ(m.Triangles[1].pNeighbour[0], nullptr);  // the removed neighbour is gone
  SSEPoint after;
  m.GetMinPoint(after);
  EXPECT_EQ(after.z, box.z);  // the box is not recomputed
  m.RemoveTrianglesBelowZ(0.0f);
  EXPECT_EQ(m.Triangles[0].Index, 0);
  m.RemoveTrianglesAboveZ(1.0f);
  EXPECT_EQ(m.GetNumTriangles(), 0);
  EXPECT_EQ(CheckMesh(m), "");
}

void SetN0(CHTriangulation& m, int i, float x, float y, float z) {
  m.NormalArray[3 * i] = mesh_test::Point(x, y, z);
}

TEST(MeshRemoval, SameOrientationAtTheToleranceBound) {
  struct Case {
    float dx;
    int kept;
  };
  for (const Case& c : {Case{0.05f, 1}, Case{-0.05f, 1}, Case{0.0501f, 2}, Case{-0.0501f, 2}}) {
    CHTriangulation m;
    mesh_test::Fill(m, {WithZ(0, 0, 0, 0), WithZ(5, 0, 0, 0)});
    for (int i = 0; i < 2; ++i) m.Triangles[i].Type = 1;
    SetN0(m, 0, 0, 0, 1);
    SetN0(m, 1, c.dx, 0, 1);
    m.RemoveTrianglesWithSameOrientation();
    EXPECT_EQ(m.GetNumTriangles(), c.kept) << c.dx;
    EXPECT_EQ(m.Triangles[0].Index, 0);
  }
}

TEST(MeshRemoval, SameOrientationComparesAllPairsAndDropsTypeZero) {
  CHTriangulation m;
  mesh_test::Fill(m, {WithZ(0, 0, 0, 0), WithZ(5, 0, 0, 0), WithZ(10, 0, 0, 0), WithZ(15, 0, 0, 0)});
  for (int i = 0; i < 4; ++i) m.Triangles[i].Type = 1;
  SetN0(m, 0, 0, 0, 1);
  SetN0(m, 1, 0.04f, 0, 1);   // repeats 0
  SetN0(m, 2, 0.08f, 0, 1);   // repeats 1 (already marked) but not 0
  SetN0(m, 3, 0.7f, 0.7f, 0);
  m.Triangles[3].Type = 0;    // already zero: removed as well
  m.RemoveTrianglesWithSameOrientation();
  ASSERT_EQ(m.GetNumTriangles(), 1);
  EXPECT_EQ(m.Triangles[0].Index, 0);
}

TEST(MeshCleanup, OrientTowardsBBoxCentreOnlyRefreshesNormals) {
  CHTriangulation m;
  // Clockwise seen from above: its flat normal points down, and stays so.
  mesh_test::Fill(m, {Tri{Corner{0, 0, 0, 0}, Corner{0, 1, 0, 0}, Corner{1, 0, 0, 0}}});
  const SSEPoint p1 = m.EdgeArray[1];
  m.OrientTrianglesTowardsBBoxCenter();
  EXPECT_EQ(m.NormalArray[0].z, -1.0f);
  EXPECT_EQ(m.NormalArray[2].z, -1.0f);
  EXPECT_TRUE(mesh_test::SameBits(m.EdgeArray[1], p1));
}

}  // namespace
