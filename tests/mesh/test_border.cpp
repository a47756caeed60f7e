#include <gtest/gtest.h>

#include "mesh_testing.h"
#include "relief/CSSE3dPolygon.h"

using mesh_test::Fill;
using mesh_test::Tri;

namespace {

struct P3 {
  float x, y, z;
  bool operator==(const P3& o) const { return x == o.x && y == o.y && z == o.z; }
};

std::vector<P3> Points(const CSSE3dPolygon& p) {
  std::vector<P3> out(p.GetNumPoints());
  for (int i = 0; i < p.GetNumPoints(); ++i) p.GetPoint(i, out[i].x, out[i].y, out[i].z);
  return out;
}

// The border line written out: one edge per triangle with an open slot,
// taken in reverse index order, chained end to start where they meet.
std::vector<P3> ReferenceBorderLine(const CHTriangulation& m) {
  static const int edge[3][2] = {{0, 1}, {1, 2}, {2, 0}};
  std::vector<std::pair<SSEPoint, SSEPoint>> stretches;
  for (int i = m.NumTriangles - 1; i >= 0; --i)
    for (int s = 0; s < 3; ++s)
      if (!m.Triangles[i].pNeighbour[s]) {
        stretches.push_back({*m.Triangles[i].pPoint[edge[s][0]], *m.Triangles[i].pPoint[edge[s][1]]});
        break;
      }
  std::vector<P3> out;
  if (stretches.empty()) return out;
  auto p3 = [](const SSEPoint& p) { return P3{p.x, p.y, p.z}; };
  out.push_back(p3(stretches[0].first));
  out.push_back(p3(stretches[0].second));
  for (std::size_t i = 1; i < stretches.size(); ++i) {
    const SSEPoint& end = stretches[i - 1].second;
    const SSEPoint& start = stretches[i].first;
    const bool meets = start.x == end.x && start.y == end.y && start.z == end.z && start.w == end.w;
    out.push_back(p3(meets ? stretches[i].second : start));
  }
  out.resize(stretches.size());
  return out;
}

}  // namespace

TEST(MeshBorder, ChainOfTouchingEdgesGivesTheOutline) {
  // Four unconnected triangles whose first edges, in reverse index order,
  // walk around the unit square.
  CHTriangulation m;
  Fill(m, {Tri{{{0, 1, 0, 0}, {0, 0, 0, 0}, {10, 20, 0, 0}}}, Tri{{{1, 1, 0, 0}, {0, 1, 0, 0}, {11, 21, 0, 0}}},
           Tri{{{1, 0, 0, 0}, {1, 1, 0, 0}, {12, 22, 0, 0}}}, Tri{{{0, 0, 0, 0}, {1, 0, 0, 0}, {13, 23, 0, 0}}}});
  CSSE3dPolygon line;
  m.FindBorderLine(&line);
  const std::vector<P3> expected = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  EXPECT_EQ(Points(line), expected);
  EXPECT_EQ(m.StretchListHead, nullptr);
}

TEST(MeshBorder, GridMeshesFollowTheStretchWalk) {
  struct Case {
    int sx, sy;
  } cases[] = {{2, 5}, {3, 5}, {4, 9}, {7, 6}, {11, 13}};
  for (const Case& c : cases) {
    CSSEMatrix field;
    mesh_test::MakeField(field, c.sx, c.sy, [](int x, int y) { return 1.0f + 0.5f * x + 0.25f * y; });
    CHTriangulation m(&field, 0.0f, true, 1, 1, 1);
    m.CalcNeighbours();
    CSSE3dPolygon line;
    m.FindBorderLine(&line);
    const std::vector<P3> expected = ReferenceBorderLine(m);
    EXPECT_EQ(Points(line), expected) << c.sx << " x " << c.sy;
    EXPECT_EQ(m.StretchListHead, nullptr);
  }
}

TEST(MeshBorder, SquareCellAndMeshesWithoutBorder) {
  // A full cell with distinct heights: triangle 0 is open on P11-P01 (slot
  // 1), triangle 1 on P00-P10 (slot 0). The walk starts at the last
  // triangle's edge; the first triangle's edge does not meet it, and its
  // start would be point 2 of a two-point polygon. (On a flat cell, P10
  // would lie lane by lane on triangle 0 and the open slots would differ.)
  CSSEMatrix field;
  mesh_test::MakeField(field, 2, 5, [](int x, int y) { return y < 2 ? 1.0f + x + 2.0f * y : 0.0f; });
  CHTriangulation m(&field, 0.5f, true, 1, 1, 1);
  m.NumTriangles = 2;  // only the cell, not the unwritten tail
  m.CalcNeighbours();
  CSSE3dPolygon line;
  m.FindBorderLine(&line);
  const std::vector<P3> expected = {{0, 0, 1}, {1, 0, 2}};
  EXPECT_EQ(Points(line), expected);

  CHTriangulation empty;
  line.Create(3);
  line.SetPoint(2, 4, 5, 6);
  empty.FindBorderLine(&line);
  EXPECT_EQ(line.GetNumPoints(), 3) << "a mesh without border leaves the polygon alone";
  empty.FindBorderLine(nullptr);
}
