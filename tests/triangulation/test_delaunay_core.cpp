// Behaviour of the incremental triangulation: starts, splits, exterior
// points, tolerances and the list life cycle.
#include <gtest/gtest.h>

#include "delaunay_test_support.h"

using namespace delaunay_test;

namespace {

int CountUsing(const CDelaunayTriangleList& list, int vertex) {
  int n = 0;
  for (t_hdelaunaytriangle* t : list)
    if (t->nVertex[0] == vertex || t->nVertex[1] == vertex || t->nVertex[2] == vertex) ++n;
  return n;
}

struct StartCase {
  const char* name;
  std::vector<Pt> pts;
  int expected[3];
};

class DelaunayStart : public ::testing::TestWithParam<StartCase> {};

TEST_P(DelaunayStart, FirstTriangleIsCounterClockwise) {
  const StartCase& c = GetParam();
  TaCIncrementalDelaunay2D d;
  Load(d, c.pts);
  d.Triangulate(3, false, false);
  ASSERT_EQ(d.GetTriangleList().GetCount(), 1);
  const t_hdelaunaytriangle* t = d.GetTriangleList().GetHead();
  EXPECT_EQ(t->nVertex[0], c.expected[0]);
  EXPECT_EQ(t->nVertex[1], c.expected[1]);
  EXPECT_EQ(t->nVertex[2], c.expected[2]);
  EXPECT_EQ(t->pNeighbour[0], nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Orders, DelaunayStart,
    ::testing::Values(StartCase{"ccw", {{0, 0, 0}, {4, 0, 0}, {0, 3, 0}}, {0, 1, 2}},
                      StartCase{"cw", {{0, 0, 0}, {0, 3, 0}, {4, 0, 0}}, {1, 0, 2}},
                      // Nearly collinear counts as clockwise: reordered, not rejected.
                      StartCase{"flat", {{0, 0, 0}, {10, 0, 0}, {5, 0.0004f, 0}}, {1, 0, 2}}),
    [](const ::testing::TestParamInfo<StartCase>& i) { return std::string(i.param.name); });

TEST(DelaunayCore, FewerThanThreeVerticesLeaveTheObjectEmpty) {
  TaCIncrementalDelaunay2D d;
  Load(d, {{0, 0, 0}, {1, 1, 0}});
  d.Triangulate(2, true, false);
  d.Triangulate(2, true, true);
  EXPECT_TRUE(d.GetTriangleList().IsEmpty());
  EXPECT_TRUE(d.GetFinalTriangleList().IsEmpty());
  EXPECT_FALSE(d.IsFinalized());
}

TEST(DelaunayCore, BoxStartSpansTheCornersAndAppendsMissingOnes) {
  TaCIncrementalDelaunay2D d;
  Load(d, {{1, 1, 0}, {9, 5, 0}, {4, 8, 0}});
  d.Triangulate(3, true, true);
  // Corners (1, 1), (9, 8), (1, 8), (9, 1): the minimum is vertex 0, the
  // other three are appended in that order.
  ASSERT_EQ(d.GetNumVertices(), 6);
  EXPECT_EQ(d.GetVertex(3).x, 9.0f);
  EXPECT_EQ(d.GetVertex(3).y, 8.0f);
  EXPECT_EQ(d.GetVertex(4).x, 1.0f);
  EXPECT_EQ(d.GetVertex(4).y, 8.0f);
  EXPECT_EQ(d.GetVertex(5).x, 9.0f);
  EXPECT_EQ(d.GetVertex(5).y, 1.0f);
  EXPECT_EQ(Check(d, d.GetFinalTriangleList(), {true, true}), "");
  // (9, 5) and (4, 8) lie on the box sides, so all six vertices are on the boundary.
  EXPECT_EQ(d.GetFinalTriangleList().GetCount(), 2 * 6 - 2 - 6);
}

TEST(DelaunayCore, BoxStartWithoutRoomForACornerStaysEmpty) {
  TaCIncrementalDelaunay2D d;
  Load(d, {{1, 1, 0}, {9, 5, 0}, {4, 8, 0}}, 2);
  d.Triangulate(3, false, true);
  EXPECT_TRUE(d.GetTriangleList().IsEmpty());
}

TEST(DelaunayCore, PointOnAnInnerEdgeSplitsBothTrianglesIntoFour) {
  TaCIncrementalDelaunay2D d;
  // The box diagonal runs from (10, 0) to (0, 10); (5, 5) lies on it.
  Load(d, {{0, 0, 0}, {10, 10, 0}, {0, 10, 0}, {10, 0, 0}, {5, 5, 0}});
  d.Triangulate(4, false, true);
  ASSERT_EQ(d.GetTriangleList().GetCount(), 2);
  const t_hdelaunaytriangle* old[2] = {d.GetTriangleList().GetHead(), d.GetTriangleList().GetTail()};
  d.InsertVertexIntoTriangulation(4);
  const CDelaunayTriangleList& list = d.GetTriangleList();
  ASSERT_EQ(list.GetCount(), 4);
  EXPECT_EQ(CountUsing(list, 4), 4);
  for (t_hdelaunaytriangle* t : list) EXPECT_TRUE(t != old[0] && t != old[1]);
  EXPECT_EQ(Check(d, list, {true, true}), "");
}

TEST(DelaunayCore, PointWhereIsStrictAndKeepsCornersOutside) {
  TaCIncrementalDelaunay2D d;
  Load(d, {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}});
  d.Triangulate(3, false, false);
  t_hdelaunaytriangle* t = d.GetTriangleList().GetHead();
  struct Case {
    float x, y;
    EPointWhere where;
  } cases[] = {
      {2, 2, ePointInside},       {5, 0, ePointOnSide0},      {5, 5, ePointOnSide1},
      {0, 5, ePointOnSide2},      {-1, 5, ePointOutside},     {0.0001f, 0.0001f, ePointOutside},
      {5, -0.0004f, ePointOnSide0},  // cross product -0.004: within the tolerance
      {5, 0.0005f, ePointInside},    // 0.005 exactly would count as neither
  };
  for (const Case& c : cases) EXPECT_EQ(d.PointWhere(c.x, c.y, t), c.where) << c.x << ", " << c.y;
  // s0 = 10 * y: y = 0.0005 gives 0.005 exactly, which is neither inside nor on the side.
  EXPECT_EQ(d.PointWhere(5.0f, 0.0005f, t), ePointInside);
}

TEST(DelaunayCore, PointNextToAVertexStaysUnconnected) {
  TaCIncrementalDelaunay2D d;
  Load(d, {{0, 0, 0}, {10, 10, 0}, {0, 10, 0}, {10, 0, 0}, {3, 4, 0}, {3.0002f, 4.0001f, 0}});
  d.Triangulate(6, true, true);
  const CDelaunayTriangleList& list = d.GetFinalTriangleList();
  EXPECT_EQ(CountUsing(list, 5), 0);
  EXPECT_EQ(list.GetCount(), 4);
  EXPECT_EQ(Check(d, list, {true, true}), "");
}

TEST(DelaunayCore, CocircularPointsAreNotFlipped) {
  TaCIncrementalDelaunay2D d;
  Load(d, {{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}});
  d.Triangulate(4, true, false);
  const CDelaunayTriangleList& list = d.GetFinalTriangleList();
  ASSERT_EQ(list.GetCount(), 2);
  // (0, 10) is on the first circle, so it arrives as an exterior point on the
  // side (10, 10)-(0, 0), and that diagonal stays.
  for (t_hdelaunaytriangle* t : list) {
    EXPECT_TRUE((t->nVertex[0] == 0 || t->nVertex[1] == 0 || t->nVertex[2] == 0) &&
                (t->nVertex[0] == 2 || t->nVertex[1] == 2 || t->nVertex[2] == 2));
  }
  EXPECT_EQ(Check(d, list, {true, true}), "");
}

struct ExteriorCase {
  const char* name;
  Pt point;
  int attached;  // triangles made on visible sides
};

class DelaunayExterior : public ::testing::TestWithParam<ExteriorCase> {};

TEST_P(DelaunayExterior, AttachesToEveryVisibleHullSide) {
  const ExteriorCase& c = GetParam();
  TaCIncrementalDelaunay2D d;
  Load(d, {{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}, c.point});
  d.Triangulate(4, false, false);
  const int before = d.GetTriangleList().GetCount();
  d.InsertVertexIntoTriangulation(4);
  EXPECT_EQ(d.GetTriangleList().GetCount(), before + c.attached);
  EXPECT_EQ(CountUsing(d.GetTriangleList(), 4), c.attached);
  EXPECT_EQ(Check(d, d.GetTriangleList()), "");
}

INSTANTIATE_TEST_SUITE_P(Sides, DelaunayExterior,
                         ::testing::Values(ExteriorCase{"right", {20, 5, 0}, 1},
                                           ExteriorCase{"corner", {20, 20, 0}, 2},
                                           ExteriorCase{"below_left", {-5, -5, 0}, 2},
                                           // On the line of the bottom side: it sees only the right side.
                                           ExteriorCase{"collinear", {20, 0, 0}, 1}),
                         [](const ::testing::TestParamInfo<ExteriorCase>& i) { return std::string(i.param.name); });

TEST(DelaunayCore, FinalisationRoundTripsTheList) {
  TaCIncrementalDelaunay2D d;
  Load(d, MakeCloud(Cloud::kUniform, 200, 7));
  d.Triangulate(200, false, false);
  const std::vector<Record> working = Snapshot(d.GetTriangleList());
  EXPECT_EQ(d.FindTriangleFromCoords(50, 50), nullptr);  // not finalized yet
  d.FinalizeTriangleList();
  EXPECT_TRUE(d.IsFinalized());
  EXPECT_TRUE(d.GetTriangleList().IsEmpty());
  EXPECT_EQ(FirstDifference(Snapshot(d.GetFinalTriangleList()), working), -1);
  t_hdelaunaytriangle* hit = d.FindTriangleFromCoords(50.123f, 49.877f);
  ASSERT_NE(hit, nullptr);
  EXPECT_EQ(d.PointWhere(50.123f, 49.877f, hit), ePointInside);
  d.CopyFinalTriangleListToTriangleList();
  EXPECT_FALSE(d.IsFinalized());
  EXPECT_TRUE(d.GetFinalTriangleList().IsEmpty());
  EXPECT_EQ(FirstDifference(Snapshot(d.GetTriangleList()), working), -1);
  d.FinalizeTriangleList();

  // Inserting after finalisation works on the working list and finalizes again.
  d.InsertVertexIntoTriangulation(33.3f, 66.6f, true);
  EXPECT_TRUE(d.IsFinalized());
  EXPECT_EQ(d.GetFinalTriangleList().GetCount(), static_cast<int>(working.size()) + 2);
  EXPECT_EQ(Check(d, d.GetFinalTriangleList(), {true, true}), "");
}

TEST(DelaunayCore, InsertionIntoAFullContainerIsDropped) {
  TaCIncrementalDelaunay2D d;
  Load(d, {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}}, 0);
  d.Triangulate(3, false, false);
  d.InsertVertexIntoTriangulation(2.0f, 2.0f, false);
  EXPECT_EQ(d.GetNumVertices(), 3);
  EXPECT_EQ(d.GetTriangleList().GetCount(), 1);
}

TEST(DelaunayCore, LockedTrianglesAreNeverAffected) {
  TaCIncrementalDelaunay2D d;
  Load(d, {{0, 0, 0}, {10, 10, 0}, {0, 10, 0}, {10, 0, 0}, {2, 1, 0}});
  d.Triangulate(4, false, true);
  for (t_hdelaunaytriangle* t : d.GetTriangleList()) t->bBorder = true;
  d.IgnoreBorderTriangles();
  EXPECT_EQ(d.CalcAffectedTriangles(4), 0);
  d.ResetIgnoreBorderTriangles();
  d.AddNewTrianglesToList();
  EXPECT_EQ(d.CalcAffectedTriangles(4), 2);
}

TEST(DelaunayCore, IsolateMarksTrianglesOnTheBorder) {
  TaCIncrementalDelaunay2D d;
  Load(d, MakeCloud(Cloud::kSeparated, 49, 3));
  d.Triangulate(49, true, false);
  d.IsolateTrianglesWithoutNeighbour();
  int border = 0;
  for (t_hdelaunaytriangle* t : d.GetFinalTriangleList()) {
    const bool open = !t->pNeighbour[0] || !t->pNeighbour[1] || !t->pNeighbour[2];
    EXPECT_EQ(t->bBorder, open);
    border += t->bBorder;
  }
  EXPECT_GT(border, 0);
  d.ResetBorderTriangles();
  for (t_hdelaunaytriangle* t : d.GetFinalTriangleList()) EXPECT_FALSE(t->bBorder);
}

// Well separated random points: every circle is empty and the count matches
// Euler's formula for a triangulated convex hull.
class DelaunayProperty : public ::testing::TestWithParam<uint32_t> {};

TEST_P(DelaunayProperty, CirclesAreEmptyAndCountMatchesHull) {
  const uint32_t seed = GetParam();
  for (int n : {3, 4, 5, 17, 64, 300}) {
    const std::vector<Pt> pts = MakeCloud(Cloud::kSeparated, n, seed);
    TaCIncrementalDelaunay2D d;
    Load(d, pts);
    d.Triangulate(n, true, false);
    const CDelaunayTriangleList& list = d.GetFinalTriangleList();
    SCOPED_TRACE("seed " + std::to_string(seed) + ", n " + std::to_string(n));
    EXPECT_EQ(Check(d, list, {true, true}), "");
    EXPECT_EQ(list.GetCount(), 2 * n - 2 - HullSize(pts));
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, DelaunayProperty, ::testing::Values(1u, 2u, 3u, 11u, 12345u));

}  // namespace
