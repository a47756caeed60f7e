// Lawson flips over the affected triangles.
#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_predicates.h"

// Passes run until one flips nothing, but never more often than there are
// vertices: the limit ties the work to the input size rather than to
// convergence, so a cycle of flips (possible with the float circle test)
// cannot run away.
//
// Flip across side s of T = (a, b, c), with N the neighbour on a-b and d its
// corner opposite that side:
//
//        c                 c
//       / \               /|\        T -> (d, c, a) in T's slots s, s+1, s+2
//      / T \             / | \       N -> (b, c, d) in N's slots ns, ns+1, ns+2
//     a-----b    ->     a T|N b
//      \ N /             \ | /
//       \ /               \|/
//        d                 d
void TaCIncrementalDelaunay2D::LegalizeEdges() {
  const int passLimit = GetNumVertices();
  int passes = 0;
  bool flipped = true;
  while (flipped && passes < passLimit) {
    flipped = false;
    ++passes;
    for (t_hdelaunaytriangle* t = m_AffectedTriangleList.GetHead(); t; t = t->pNext) {
      for (int s = 0; s < 3; ++s) {
        t_hdelaunaytriangle* n = t->pNeighbour[s];
        if (!n || n->bLocked) continue;
        const ESharedSide ns = FindCommonSide(static_cast<ESharedSide>(s), t, n);
        if (ns == eNoCommonSide) continue;
        const int d = n->nVertex[(ns + 2) % 3];
        if (!relief::detail::InCircleDouble(t, m_pVertices[d].x, m_pVertices[d].y)) continue;

        const int s1 = (s + 1) % 3, s2 = (s + 2) % 3;
        const int n1 = (ns + 1) % 3, n2 = (ns + 2) % 3;
        const int a = t->nVertex[s], b = t->nVertex[s1], c = t->nVertex[s2];
        t_hdelaunaytriangle* tb = t->pNeighbour[s1];  // on b-c, moves to N
        t_hdelaunaytriangle* tc = t->pNeighbour[s2];  // on c-a, stays with T
        // N's other two sides: the one touching a moves to T, the one touching b stays.
        const bool n1HasA = n->nVertex[n1] == a || n->nVertex[(n1 + 1) % 3] == a;
        t_hdelaunaytriangle* na = n->pNeighbour[n1HasA ? n1 : n2];
        t_hdelaunaytriangle* nb = n->pNeighbour[n1HasA ? n2 : n1];

        t->nVertex[s] = d, t->nVertex[s1] = c, t->nVertex[s2] = a;
        t->pNeighbour[s] = n, t->pNeighbour[s1] = tc, t->pNeighbour[s2] = na;
        n->nVertex[ns] = b, n->nVertex[n1] = c, n->nVertex[n2] = d;
        n->pNeighbour[ns] = tb, n->pNeighbour[n1] = t, n->pNeighbour[n2] = nb;
        ReplaceNeighbourInNeighbour(tb, t, n);
        ReplaceNeighbourInNeighbour(na, n, t);
        CalcCircumCircle(t);
        CalcCircumCircle(n);
        // N may be a working triangle that now owns a hull side.
        if (n->pList == &m_TriangleList && !m_bReferenceScans) RegisterHullSides(n);
        flipped = true;
      }
    }
  }
}
