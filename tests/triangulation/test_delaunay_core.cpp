// Behaviour of the incremental triangulation: starts, splits, exterior
// points, tolerances and the list life cycle (the Delaunay property on
// seeded sets is test_delaunay_validity's).
#include <gtest/gtest.h>

#include "delaunay_predicates.h"
#include "delaunay_test_support.h"

using namespace delaunay_test;

namespace {

TEST(DelaunayCore, DegenerateStartsLeaveTheObjectEmpty) {
  TaCIncrementalDelaunay2D two, noRoom, full;
  Build(two, {{0, 0, 0}, {1, 1, 0}}, true, false);
  two.Triangulate(2, true, true);
  EXPECT_TRUE(AllEqual({FIELD(two.GetTriangleList().GetCount(), 0), FIELD(two.GetFinalTriangleList().GetCount(), 0),
                        FIELD(two.IsFinalized(), false)}));
  Build(noRoom, {{1, 1, 0}, {9, 5, 0}, {4, 8, 0}}, false, true, -1, 2);  // a box start without room for a corner
  EXPECT_TRUE(noRoom.GetTriangleList().IsEmpty());
  Build(full, {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}}, false, false, -1, 0);
  full.InsertVertexIntoTriangulation(2.0f, 2.0f, false);  // a full container drops the insertion
  EXPECT_TRUE(AllEqual({FIELD(full.GetNumVertices(), 3), FIELD(full.GetTriangleList().GetCount(), 1)}));
}

TEST(DelaunayCore, PointWhereIsStrictAndKeepsCornersOutside) {
  TaCIncrementalDelaunay2D d;
  Build(d, {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}}, false, false);
  // (5, -0.0004): cross product -0.004, within the tolerance; (5, 0.0005): s0 rounds to just above 0.005;
  // the hex y makes s0 exactly 0.005f, which is neither inside nor on the line.
  const struct {
    float x, y;
    EPointWhere where;
  } cases[] = {{2, 2, ePointInside},         {5, 0, ePointOnSide0},      {5, 5, ePointOnSide1},
               {0, 5, ePointOnSide2},        {-1, 5, ePointOutside},     {0.0001f, 0.0001f, ePointOutside},
               {5, -0.0004f, ePointOnSide0}, {5, 0.0005f, ePointInside}, {5, 0x1.0624dcp-11f, ePointOutside}};
  for (const auto& c : cases)
    EXPECT_EQ(d.PointWhere(c.x, c.y, d.GetTriangleList().GetHead()), c.where) << c.x << ", " << c.y;
}

// The start triangle is stored counter-clockwise; nearly collinear corners
// count as clockwise and are reordered, not rejected. A box start appends the
// box corners after the points, the minimum corner taking vertex 0's place.
// (Splits, exterior points and co-circular sets are the seeded validator's.)
TEST(DelaunayCore, StartTriangleOrderAndBoxCorners) {
  const struct {
    const char* name;
    std::vector<Pt> pts;
    std::vector<int> head;
  } cases[] = {{"counter-clockwise", {{0, 0, 0}, {4, 0, 0}, {0, 3, 0}}, {0, 1, 2}},
               {"clockwise", {{0, 0, 0}, {0, 3, 0}, {4, 0, 0}}, {1, 0, 2}},
               {"nearly collinear", {{0, 0, 0}, {10, 0, 0}, {5, 0.0004f, 0}}, {1, 0, 2}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TaCIncrementalDelaunay2D d;
    Build(d, c.pts, false, false);
    const CDelaunayTriangleList& list = d.GetTriangleList();
    ASSERT_EQ(list.GetCount(), 1);
    EXPECT_EQ(std::vector<int>(list.GetHead()->nVertex, list.GetHead()->nVertex + 3), c.head);
    // The reordered nearly collinear corners really turn clockwise (by -0.004).
    if (!DegenerateStart(c.pts)) EXPECT_TRUE(ValidList(d, list));
  }
  // (9, 5) and (4, 8) lie on the box sides, so all six vertices are on the boundary.
  TaCIncrementalDelaunay2D d;
  Build(d, {{1, 1, 0}, {9, 5, 0}, {4, 8, 0}}, true, true);
  EXPECT_TRUE(AllEqual({FIELD(d.GetNumVertices(), 6), FIELD(d.GetFinalTriangleList().GetCount(), 4)}));
  EXPECT_TRUE(ValidList(d, d.GetFinalTriangleList()));
  const float corners[3][2] = {{9, 8}, {1, 8}, {9, 1}};
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(SameXY(d.GetVertex(3 + i), corners[i][0], corners[i][1])) << "corner " << i;
}

TEST(DelaunayCore, FinalisationRoundTripsTheList) {
  TaCIncrementalDelaunay2D d;
  Build(d, Uniform(200, 7), false, false);
  const std::vector<Record> working = Snapshot(d.GetTriangleList());
  EXPECT_EQ(d.FindTriangleFromCoords(50, 50), nullptr);  // not finalized yet
  d.FinalizeTriangleList();
  EXPECT_TRUE(AllEqual({FIELD(d.IsFinalized(), true), FIELD(d.GetTriangleList().GetCount(), 0)}));
  EXPECT_TRUE(SameRecords(Snapshot(d.GetFinalTriangleList()), working));
  t_hdelaunaytriangle* hit = d.FindTriangleFromCoords(50.123f, 49.877f);
  ASSERT_NE(hit, nullptr);
  EXPECT_EQ(d.PointWhere(50.123f, 49.877f, hit), ePointInside);
  d.CopyFinalTriangleListToTriangleList();
  EXPECT_TRUE(AllEqual({FIELD(d.IsFinalized(), false), FIELD(d.GetFinalTriangleList().GetCount(), 0)}));
  EXPECT_TRUE(SameRecords(Snapshot(d.GetTriangleList()), working));
  d.FinalizeTriangleList();
  // Inserting after finalisation works on the working list and finalizes again.
  d.InsertVertexIntoTriangulation(33.3f, 66.6f, true);
  EXPECT_TRUE(AllEqual({FIELD(d.IsFinalized(), true), FIELD(d.GetFinalTriangleList().GetCount(), working.size() + 2)}));
  EXPECT_TRUE(ValidList(d, d.GetFinalTriangleList()));
}

TEST(DelaunayCore, BorderMarksLockAndIsolate) {
  TaCIncrementalDelaunay2D d, cloud;
  Build(d, {{0, 0, 0}, {10, 10, 0}, {0, 10, 0}, {10, 0, 0}, {2, 1, 0}}, false, true, 4);
  for (t_hdelaunaytriangle* t : d.GetTriangleList()) t->bBorder = true;
  d.IgnoreBorderTriangles();
  EXPECT_EQ(d.CalcAffectedTriangles(4), 0);
  d.ResetIgnoreBorderTriangles();
  d.AddNewTrianglesToList();
  EXPECT_EQ(d.CalcAffectedTriangles(4), 2);

  Build(cloud, Uniform(49, 3), true, false);
  cloud.IsolateTrianglesWithoutNeighbour();
  int border = 0;
  for (t_hdelaunaytriangle* t : cloud.GetFinalTriangleList()) {
    EXPECT_EQ(t->bBorder, !t->pNeighbour[0] || !t->pNeighbour[1] || !t->pNeighbour[2]);
    border += t->bBorder;
  }
  EXPECT_GT(border, 0);
  cloud.ResetBorderTriangles();
  for (t_hdelaunaytriangle* t : cloud.GetFinalTriangleList()) ASSERT_FALSE(t->bBorder) << "a mark left after the reset";
}

}  // namespace
