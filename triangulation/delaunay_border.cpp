// The border of a triangulation as closed vertex loops.
#include <cstdint>
#include <unordered_map>

#include "relief/CSSE3dPolygon.h"
#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_border_walk.h"

namespace relief::detail {

namespace {

uintptr_t Key(const TriangleSide& s) { return reinterpret_cast<uintptr_t>(s.t) * 4 + static_cast<uintptr_t>(s.side); }

}  // namespace

std::vector<std::vector<TriangleSide>> CollectBorderLoops(const std::vector<TriangleSide>& sides,
                                                          SidePredicate isBorder, int limit) {
  // false: not yet walked; true: taken by a loop or by a walk that failed.
  std::unordered_map<uintptr_t, bool> walked;
  walked.reserve(sides.size() * 2);
  for (const TriangleSide& s : sides) walked.emplace(Key(s), false);

  std::vector<std::vector<TriangleSide>> loops;
  for (const TriangleSide& start : sides) {
    if (walked[Key(start)]) continue;
    std::vector<TriangleSide> loop;
    TriangleSide at = start;
    bool closed = false;
    // A loop has at most as many sides as there are border sides.
    for (std::size_t n = 0; n <= sides.size(); ++n) {
      auto it = walked.find(Key(at));
      if (it == walked.end() || it->second) break;
      it->second = true;
      loop.push_back(at);
      if (!NextBorderSide(at, isBorder, limit)) break;
      if (at == start) {
        closed = true;
        break;
      }
    }
    if (closed) loops.push_back(std::move(loop));
  }
  return loops;
}

}  // namespace relief::detail

using relief::detail::TriangleSide;

void TaCIncrementalDelaunay2D::RecordBorder(const CDelaunayTriangleList& list) {
  std::vector<TriangleSide> sides;
  for (t_hdelaunaytriangle* t : list)
    for (int s = 0; s < 3; ++s)
      if (relief::detail::IsBorderSide(t, s)) sides.push_back({t, s});
  RecordLoops(list, sides, eBorderEdges);
}

void TaCIncrementalDelaunay2D::RecordLoops(const CDelaunayTriangleList& list,
                                           const std::vector<relief::detail::TriangleSide>& sides, int firstList) {
  const bool full = firstList == eBorderEdges;
  const std::vector<std::vector<TriangleSide>> loops = relief::detail::CollectBorderLoops(
      sides, full ? relief::detail::IsBorderSide : relief::detail::IsOpenSide, list.GetCount());
  std::unordered_map<const t_hdelaunaytriangle*, int> position;
  if (full) {
    for (int k = eBorderEdges; k <= eHoleBorderEdges; ++k) m_EdgeLists[k].DeleteAll();
    for (const auto& loop : loops)
      for (const TriangleSide& s : loop) position.emplace(s.t, -1);
    int i = 0;
    for (t_hdelaunaytriangle* t : list) {
      auto it = position.find(t);
      if (it != position.end()) it->second = i;
      ++i;
    }
  } else {
    m_EdgeLists[firstList].DeleteAll();
  }
  const auto make = [&](const TriangleSide& s, int loop) {
    t_hdelaunayedge* e = InitNewEdge();
    e->nVertex[0] = (s.t->nVertex[s.side]);
    e->nVertex[1] = (s.t->nVertex[s.side == 2 ? 0 : s.side + 1]);
    e->nTriangle = full ? position[s.t] : -1;
    e->nSide = full ? s.side : -1;
    e->nLoop = loop;
    return e;
  };
  const SSEPoint* p = m_pVertices;
  for (std::size_t l = 0; l < loops.size(); ++l) {
    const int loop = static_cast<int>(l);
    double area = 0.0;
    for (const TriangleSide& s : loops[l]) {
      m_EdgeLists[firstList].AddTail(make(s, loop));
      if (!full) continue;
      const SSEPoint& a = p[s.t->nVertex[s.side]];
      const SSEPoint& b = p[s.t->nVertex[s.side == 2 ? 0 : s.side + 1]];
      area += static_cast<double>(a.x) * b.y - static_cast<double>(b.x) * a.y;
    }
    if (!full) continue;
    CDelaunayEdgeList& side = m_EdgeLists[area > 0.0 ? eOuterBorderEdges : eHoleBorderEdges];
    for (const TriangleSide& s : loops[l]) side.AddTail(make(s, loop));
  }
}

int TaCIncrementalDelaunay2D::GetTriangulationBorder() {
  RecordBorder(CurrentList());
  const CDelaunayEdgeList& edges = m_EdgeLists[eBorderEdges];
  return edges.IsEmpty() ? 0 : edges.GetAt(edges.GetCount() - 1)->nLoop + 1;
}

int TaCIncrementalDelaunay2D::GetTriangulationBorder(std::vector<std::vector<int>>& loops) {
  const int count = GetTriangulationBorder();
  loops.assign(static_cast<std::size_t>(count), {});
  for (const t_hdelaunayedge* e : m_EdgeLists[eBorderEdges])
    loops[static_cast<std::size_t>(e->nLoop)].push_back(e->nVertex[0]);
  return count;
}

int TaCIncrementalDelaunay2D::GetTriangulationBorder(CSSE3dPolygon& polygon, int loop) {
  std::vector<std::vector<int>> loops;
  const int count = GetTriangulationBorder(loops);
  if (loop < 0 || loop >= count) {
    polygon.Create(0);
    return count;
  }
  const std::vector<int>& vertices = loops[static_cast<std::size_t>(loop)];
  polygon.Create(static_cast<int>(vertices.size()));
  for (std::size_t i = 0; i < vertices.size(); ++i) {
    const SSEPoint& v = m_pVertices[vertices[i]];
    polygon.SetPoint(static_cast<int>(i), v.x, v.y, v.z);
  }
  return count;
}
