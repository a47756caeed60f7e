// The border line: one open edge per triangle, walked in reverse index order.

#include "mesh_testing.h"

namespace {

using namespace mesh_test;

using P3 = std::array<float, 3>;

std::vector<P3> Points(const CSSE3dPolygon& p) {
  std::vector<P3> out(p.GetNumPoints());
  for (int i = 0; i < p.GetNumPoints(); ++i) p.GetPoint(i, out[i][0], out[i][1], out[i][2]);
  return out;
}

// The border line written out: the first open edge of each triangle, in
// reverse index order, chained end to start where they meet, otherwise
// continued with the next edge's start; one point per edge.
std::vector<P3> ReferenceBorderLine(const CHTriangulation& m) {
  std::vector<std::pair<SSEPoint, SSEPoint>> edges;
  for (int i = m.NumTriangles - 1; i >= 0; --i)
    for (int s = 0; s < 3; ++s)
      if (!m.Triangles[i].pNeighbour[s]) {
        edges.push_back({*m.Triangles[i].pPoint[s], *m.Triangles[i].pPoint[(s + 1) % 3]});
        break;
      }
  std::vector<P3> out;
  auto p3 = [](const SSEPoint& p) { return P3{p.x, p.y, p.z}; };
  for (std::size_t i = 0; i < edges.size(); ++i) {
    if (i == 0) out.push_back(p3(edges[0].first));
    const bool meets = i == 0 || _mm_movemask_ps(_mm_cmpeq_ps(edges[i].first.m, edges[i - 1].second.m)) == 15;
    out.push_back(p3(meets ? edges[i].second : edges[i].first));
  }
  out.resize(edges.size());
  return out;
}

TEST(MeshBorder, MatchesTheWrittenOutWalk) {
  // Four unconnected triangles whose first edges, in reverse index order, walk around the unit square.
  CHTriangulation square;
  Fill(square, {Tri{{{0, 1, 0, 0}, {0, 0, 0, 0}, {10, 20, 0, 0}}}, Tri{{{1, 1, 0, 0}, {0, 1, 0, 0}, {11, 21, 0, 0}}},
                Tri{{{1, 0, 0, 0}, {1, 1, 0, 0}, {12, 22, 0, 0}}}, Tri{{{0, 0, 0, 0}, {1, 0, 0, 0}, {13, 23, 0, 0}}}});
  CSSE3dPolygon line;
  square.FindBorderLine(&line);
  EXPECT_EQ(Points(line), (std::vector<P3>{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}));
  EXPECT_EQ(square.StretchListHead, nullptr);
  for (auto [sx, sy] : {std::pair{2, 5}, {3, 5}, {4, 9}, {7, 6}, {11, 13}}) {
    CSSEMatrix field;
    MakeField(field, sx, sy, [](int x, int y) { return 1.0f + 0.5f * x + 0.25f * y; });
    CHTriangulation m(&field, 0.0f, true, 1, 1, 1);
    m.CalcNeighbours(), m.FindBorderLine(&line);
    EXPECT_EQ(Points(line), ReferenceBorderLine(m)) << sx << " x " << sy;
    EXPECT_EQ(m.StretchListHead, nullptr) << sx << " x " << sy;
  }
}

TEST(MeshBorder, MeshWithoutBorderLeavesThePolygonAlone) {
  CHTriangulation empty;
  CSSE3dPolygon line;
  line.Create(3);
  empty.FindBorderLine(&line);
  empty.FindBorderLine(nullptr);
  EXPECT_EQ(line.GetNumPoints(), 3);
}

}  // namespace
