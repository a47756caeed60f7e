// The triangle holding, or nearest to, a point: a walk through neighbours.
#include <limits>

#include "relief/TaCIncrementalDelaunay2D.h"
#include "triangulation/delaunay_border_walk.h"

namespace {

bool IsOpenSide(const t_hdelaunaytriangle* t, int side) { return t->pNeighbour[side] == nullptr; }

t_hdelaunaytriangle* ScanForNearest(const CDelaunayTriangleList& list, const SSEPoint* vertices, double x, double y) {
  t_hdelaunaytriangle* best = nullptr;
  double bestDistance = std::numeric_limits<double>::infinity();
  for (t_hdelaunaytriangle* t : list) {
    const double d = relief::detail::TriangleDistanceSqr(vertices, t, x, y);
    if (d < bestDistance) bestDistance = d, best = t;
  }
  return best ? best : list.GetHead();
}

}  // namespace

// Straight-line visibility walk: leave through a side that has the point
// strictly on its outer side. Which side is tried first turns with every
// step, so a walk cannot keep circling in a triangulation that is not
// Delaunay. When the only such sides are open, the point is outside there,
// and the walk follows the border towards the foot of the point on it: on a
// convex border the distance falls monotonically up to that foot.
t_hdelaunaytriangle* TaCIncrementalDelaunay2D::NearestTriangle(float x, float y, t_hdelaunaytriangle* start) {
  const CDelaunayTriangleList& list = CurrentList();
  if (list.IsEmpty()) return nullptr;
  using relief::detail::SideOf;
  using relief::detail::TriangleSide;
  const double px = x, py = y;
  const int limit = list.GetCount() + 3;
  t_hdelaunaytriangle* t = start ? start : list.GetHead();
  int open = -1;
  int step = 0;
  for (unsigned turn = 0; step < limit; ++step, ++turn) {
    open = -1;
    t_hdelaunaytriangle* next = nullptr;
    for (int k = 0; k < 3 && !next; ++k) {
      const int s = static_cast<int>((turn + k) % 3);
      const SSEPoint& a = m_pVertices[t->nVertex[s]];
      const SSEPoint& b = m_pVertices[t->nVertex[s == 2 ? 0 : s + 1]];
      if (!(SideOf(a, b, px, py) < 0.0)) continue;
      if (t->pNeighbour[s])
        next = t->pNeighbour[s];
      else
        open = s;
    }
    if (!next) break;
    t = next;
  }
  if (step >= limit) return ScanForNearest(list, m_pVertices, px, py);
  if (open < 0) return t;

  // Along the border: the foot of the point on side a-b lies before a, on
  // the side, or beyond b. A reversal means the foot is the corner between.
  TriangleSide at{t, open};
  int lastMove = 0;
  for (int n = 0; n < limit; ++n) {
    const SSEPoint& a = m_pVertices[at.t->nVertex[at.side]];
    const SSEPoint& b = m_pVertices[at.t->nVertex[at.side == 2 ? 0 : at.side + 1]];
    const double ex = static_cast<double>(b.x) - a.x, ey = static_cast<double>(b.y) - a.y;
    const double u = (px - a.x) * ex + (py - a.y) * ey;
    const int move = u < 0.0 ? -1 : u > ex * ex + ey * ey ? 1 : 0;
    if (move == 0 || move == -lastMove) return at.t;
    TriangleSide to = at;
    const bool ok = move > 0 ? relief::detail::NextBorderSide(to, IsOpenSide, limit)
                             : relief::detail::PreviousBorderSide(to, IsOpenSide, limit);
    if (!ok) break;
    if (to == at) return at.t;  // a lone triangle: all its sides are open
    at = to;
    lastMove = move;
  }
  return ScanForNearest(list, m_pVertices, px, py);
}
