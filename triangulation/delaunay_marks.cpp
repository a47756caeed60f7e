// Mark maintenance and point lookup in the finished triangulation.
#include "relief/TaCIncrementalDelaunay2D.h"

t_hdelaunaytriangle* TaCIncrementalDelaunay2D::FindTriangleFromCoords(float x, float y) {
  for (t_hdelaunaytriangle* t : m_FinalTriangleList)
    if (PointWhere(x, y, t) == ePointInside) return t;
  return nullptr;
}

// Border triangles: inside the polygon, with an open side or a side facing a
// triangle outside it.
void TaCIncrementalDelaunay2D::IsolateTrianglesWithoutNeighbour() {
  const CDelaunayTriangleList& list = MarkedList();
  for (t_hdelaunaytriangle* t : list) t->bBorder = false;
  for (t_hdelaunaytriangle* t : list) {
    if (t->bOutside) continue;
    for (int s = 0; s < 3; ++s)
      if (!t->pNeighbour[s] || t->pNeighbour[s]->bOutside) {
        t->bBorder = true;
        break;
      }
  }
}

void TaCIncrementalDelaunay2D::ResetBorderTriangles() {
  for (t_hdelaunaytriangle* t : MarkedList()) t->bBorder = false;
}

void TaCIncrementalDelaunay2D::IgnoreBorderTriangles() {
  for (t_hdelaunaytriangle* t : MarkedList()) t->bLocked = t->bBorder;
}

void TaCIncrementalDelaunay2D::ResetIgnoreBorderTriangles() {
  for (t_hdelaunaytriangle* t : MarkedList()) t->bLocked = false;
}

void TaCIncrementalDelaunay2D::ResetIgnoreStateOfTriangles() {
  for (t_hdelaunaytriangle* t : m_TriangleList) t->bKill = false;
}
