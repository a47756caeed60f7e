// Cutting the triangles inside a contour out of the triangulation.
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "relief/CSSE3dPolygon.h"
#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_circle_grid.h"
#include "triangulation/delaunay_refine_helpers.h"

int TaCIncrementalDelaunay2D::RemoveTrianglesInPolygon(CSSE3dPolygon* polygon) {
  if (!polygon || polygon->GetNumPoints() < 3) return 0;
  CDelaunayTriangleList& list = CurrentList();
  std::unordered_set<const t_hdelaunaytriangle*> doomed;
  bool marksInUse = false;
  for (t_hdelaunaytriangle* t : list) {
    marksInUse |= t->bBorder;
    const SSEPoint c = relief::detail::Centroid(m_pVertices[t->nVertex[0]], m_pVertices[t->nVertex[1]],
                                                m_pVertices[t->nVertex[2]]);
    if (polygon->PointInLineInnerArea(c.x, c.y, 1)) doomed.insert(t);
  }
  if (doomed.empty()) return 0;

  ClearOtherTriangleList();
  m_EdgeLists[eRemovalRimEdges].DeleteAll();
  // Open the sides between kept and dropped triangles, from both ends.
  std::vector<std::pair<t_hdelaunaytriangle*, int>> rim;
  for (t_hdelaunaytriangle* t = list.GetHead(); t;) {
    t_hdelaunaytriangle* next = t->pNext;
    if (doomed.count(t)) {
      for (int s = 0; s < 3; ++s) {
        t_hdelaunaytriangle* n = t->pNeighbour[s];
        if (!n || doomed.count(n)) continue;
        for (int r = 0; r < 3; ++r)
          if (n->pNeighbour[r] == t) {
            n->pNeighbour[r] = nullptr;
            rim.emplace_back(n, r);
          }
        t->pNeighbour[s] = nullptr;
      }
      if (&list == &m_TriangleList)
        RemoveFromWorking(t);
      else
        list.RemoveAt(t);
      m_OtherTriangleList.AddTail(t);
    }
    t = next;
  }
  // Kept triangles with a new open side: a border side now, and a hull side
  // for the exterior search of later insertions.
  std::unordered_map<const t_hdelaunaytriangle*, int> position;
  for (const auto& [t, side] : rim) {
    position.emplace(t, -1);
    if (marksInUse && !t->bOutside) t->bBorder = true;
    if (InWorkingIndex(t)) RegisterHullSides(t);
  }
  int i = 0;
  for (t_hdelaunaytriangle* t : list) {
    auto it = position.find(t);
    if (it != position.end()) it->second = i;
    ++i;
  }
  for (const auto& [t, side] : rim) {
    t_hdelaunayedge* e = InitNewEdge();
    e->nVertex[0] = t->nVertex[side];
    e->nVertex[1] = t->nVertex[side == 2 ? 0 : side + 1];
    e->nTriangle = position[t];
    e->nSide = side;
    e->nLoop = -1;
    m_EdgeLists[eRemovalRimEdges].AddTail(e);
  }
  return static_cast<int>(doomed.size());
}
