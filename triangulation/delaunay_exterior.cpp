// Attaching a point outside the triangulation to every hull side it sees.
#include <algorithm>
#include <utility>
#include <vector>

#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_predicates.h"

namespace {
// Side s of t is visible from (x, y) when the point lies strictly to its
// right; no tolerance, so a point on the side's line does not see it. The
// sign is exact: a hull that stays convex needs a point on the line of a
// collinear run to see all of the run or none of it.
bool SideVisible(const SSEPoint* vertices, const t_hdelaunaytriangle* t, int s, float x, float y) {
  const SSEPoint& p = vertices[t->nVertex[s]];
  const SSEPoint& q = vertices[t->nVertex[(s + 1) % 3]];
  return relief::detail::TurnsLeftExact(q.x, q.y, p.x, p.y, x, y);
}
}  // namespace

// The hull sides of the working list in the order a scan of the list meets
// them: the register holds every working triangle that may have an open side
// (entries whose sides were closed meanwhile are dropped here), and sorting by
// append rank and side restores the list order.
void TaCIncrementalDelaunay2D::CollectVisibleHullSides(int vertex,
                                                       std::vector<std::pair<t_hdelaunaytriangle*, int>>& sides) {
  const float x = m_pVertices[vertex].x, y = m_pVertices[vertex].y;
  for (std::size_t i = 0; i < m_HullRegister.size();) {
    t_hdelaunaytriangle* t = m_HullRegister[i];
    if (t->pNeighbour[0] && t->pNeighbour[1] && t->pNeighbour[2]) {
      ForgetHullSides(t);  // swaps the last entry into slot i
      continue;
    }
    ++i;
    if (t->bLocked) continue;
    for (int s = 0; s < 3; ++s)
      if (!t->pNeighbour[s] && SideVisible(m_pVertices, t, s, x, y)) sides.emplace_back(t, s);
  }
  std::sort(sides.begin(), sides.end(), [](const auto& l, const auto& r) {
    return l.first->nSequence != r.first->nSequence ? l.first->nSequence < r.first->nSequence : l.second < r.second;
  });
}

//  side 0 of T = (a, b, c) seen from v gives (b, a, v), its side 0 facing T;
//  side 1 gives (v, c, b) with side 1 facing T; side 2 gives (c, v, a) with
//  side 2 facing T. The new triangles are linked to each other where they
//  share a side and join the affected list for legalisation.
void TaCIncrementalDelaunay2D::AppendExteriorPoint(int vertex) {
  const float x = m_pVertices[vertex].x, y = m_pVertices[vertex].y;
  std::vector<std::pair<t_hdelaunaytriangle*, int>> sides;
  for (t_hdelaunaytriangle* t : m_AffectedTriangleList) {
    if (t->bLocked) continue;
    for (int s = 0; s < 3; ++s)
      if (!t->pNeighbour[s] && SideVisible(m_pVertices, t, s, x, y)) sides.emplace_back(t, s);
  }
  if (m_bReferenceScans) {
    for (t_hdelaunaytriangle* t : m_TriangleList) {
      if (t->bLocked) continue;
      for (int s = 0; s < 3; ++s)
        if (!t->pNeighbour[s] && SideVisible(m_pVertices, t, s, x, y)) sides.emplace_back(t, s);
    }
  } else {
    std::vector<std::pair<t_hdelaunaytriangle*, int>> hull;
    CollectVisibleHullSides(vertex, hull);
    sides.insert(sides.end(), hull.begin(), hull.end());
  }

  std::vector<t_hdelaunaytriangle*> made;
  made.reserve(sides.size());
  for (const auto& [t, s] : sides) {
    t_hdelaunaytriangle* n = NewTriangle();
    const int a = t->nVertex[0], b = t->nVertex[1], c = t->nVertex[2];
    if (s == 0)
      n->nVertex[0] = b, n->nVertex[1] = a, n->nVertex[2] = vertex;
    else if (s == 1)
      n->nVertex[0] = vertex, n->nVertex[1] = c, n->nVertex[2] = b;
    else
      n->nVertex[0] = c, n->nVertex[1] = vertex, n->nVertex[2] = a;
    n->pNeighbour[s] = t;
    t->pNeighbour[s] = n;
    CalcCircumCircle(n);
    made.push_back(n);
  }
  for (std::size_t i = 0; i < made.size(); ++i)
    for (std::size_t j = i + 1; j < made.size(); ++j) FindNeighbours(made[i], made[j]);
  for (t_hdelaunaytriangle* n : made) m_AffectedTriangleList.AddTail(n);
}
