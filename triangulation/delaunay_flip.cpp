// Flipping the diagonal of the quadrilateral formed by two neighbours.
#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_circle_grid.h"

//          c                       c
//         / \                     /|\        t = (a, b, c) -> (a, d, c)
//        / t \                   / | \       n = (b, a, d) -> (d, b, c)
//       a-----b       ->        a  |  b
//        \ n /                   \ | /
//         \ /                     \|/
//          d                       d
bool TaCIncrementalDelaunay2D::FlipEdge(t_hdelaunaytriangle* t, t_hdelaunaytriangle* n) {
  if (!t || !n || t == n) return false;
  int s = 0;
  while (s < 3 && t->pNeighbour[s] != n) ++s;
  if (s == 3) return false;
  const ESharedSide r = FindCommonSide(static_cast<ESharedSide>(s), t, n);
  if (r == eNoCommonSide || n->pNeighbour[r] != t) return false;
  if (t->bKill || n->bKill || t->bLocked || n->bLocked || t->bOutside != n->bOutside) return false;

  const int a = t->nVertex[s], b = t->nVertex[(s + 1) % 3], c = t->nVertex[(s + 2) % 3];
  const int d = n->nVertex[(r + 2) % 3];
  if (a == d || b == d || c == d) return false;
  t_hdelaunaytriangle left{}, right{};
  left.nVertex[0] = a, left.nVertex[1] = d, left.nVertex[2] = c;
  right.nVertex[0] = d, right.nVertex[1] = b, right.nVertex[2] = c;
  if (GetOrientation(&left) != 1 || GetOrientation(&right) != 1) return false;

  t_hdelaunaytriangle* tb = t->pNeighbour[(s + 1) % 3];  // across b-c
  t_hdelaunaytriangle* tc = t->pNeighbour[(s + 2) % 3];  // across c-a
  t_hdelaunaytriangle* na = n->pNeighbour[(r + 1) % 3];  // across a-d
  t_hdelaunaytriangle* nd = n->pNeighbour[(r + 2) % 3];  // across d-b
  const bool tracked[2] = {InWorkingIndex(t), InWorkingIndex(n)};
  if (tracked[0]) ForgetHullSides(t);
  if (tracked[1]) ForgetHullSides(n);
  t->nVertex[0] = a, t->nVertex[1] = d, t->nVertex[2] = c;
  t->pNeighbour[0] = na, t->pNeighbour[1] = n, t->pNeighbour[2] = tc;
  n->nVertex[0] = d, n->nVertex[1] = b, n->nVertex[2] = c;
  n->pNeighbour[0] = nd, n->pNeighbour[1] = tb, n->pNeighbour[2] = t;
  ReplaceNeighbourInNeighbour(na, n, t);
  ReplaceNeighbourInNeighbour(tb, t, n);
  CalcCircumCircle(t);
  CalcCircumCircle(n);
  if (tracked[0]) m_pGrid->Update(t), RegisterHullSides(t);
  if (tracked[1]) m_pGrid->Update(n), RegisterHullSides(n);
  // The third mark is kept current only where it is in use: the pair's open
  // sides moved between the two, so both are judged again.
  if (t->bBorder || n->bBorder)
    for (t_hdelaunaytriangle* x : {t, n}) {
      x->bBorder = false;
      for (const t_hdelaunaytriangle* across : x->pNeighbour)
        if (!x->bOutside && (!across || across->bOutside)) x->bBorder = true;
    }
  for (t_hdelaunaytriangle* x : {t, n}) {
    ComputeNormalVectorOfTriangle(x);  // nothing without a slot
    if (x->pCenter)
      ComputeCentreOfTriangle(&m_pVertices[x->nVertex[0]], &m_pVertices[x->nVertex[1]], &m_pVertices[x->nVertex[2]],
                              x->pCenter);
  }
  t_hdelaunayedge* e = InitNewEdge();
  e->nVertex[0] = d, e->nVertex[1] = c;
  e->nTriangle = e->nSide = e->nLoop = -1;
  m_EdgeLists[eFlippedEdges].AddTail(e);
  return true;
}
