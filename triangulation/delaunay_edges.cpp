// The edge records and edge lists, and the fourth triangle list.
#include "relief/SafeMemory.h"
#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_triangle_pool.h"

void CDelaunayEdgeList::DeleteAll() {
  for (t_hdelaunayedge* e : m_Edges) TaCIncrementalDelaunay2D::DeleteEdge(e);
  m_Edges.clear();
}

t_hdelaunayedge* TaCIncrementalDelaunay2D::InitNewEdge() {
  return static_cast<t_hdelaunayedge*>(SafeCalloc(1, sizeof(t_hdelaunayedge)));
}

void TaCIncrementalDelaunay2D::DeleteEdge(t_hdelaunayedge* e) { SafeFree(e); }

const CDelaunayEdgeList& TaCIncrementalDelaunay2D::GetEdgeList(int which) const {
  static const CDelaunayEdgeList kEmpty;
  return which < 0 || which >= eNumEdgeLists ? kEmpty : m_EdgeLists[which];
}

void TaCIncrementalDelaunay2D::ClearEdgeList(int which) {
  if (which >= 0 && which < eNumEdgeLists) m_EdgeLists[which].DeleteAll();
}

void TaCIncrementalDelaunay2D::ClearOtherTriangleList() { ReleaseAll(m_OtherTriangleList); }
