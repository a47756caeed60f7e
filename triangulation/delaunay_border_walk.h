#pragma once

// Walking along the border of a triangulation through neighbour links, and
// the distance of a point to a triangle: shared by the border extraction and
// the nearest-triangle walk.

#include <algorithm>
#include <cmath>
#include <vector>

#include "relief/TaCIncrementalDelaunay2D.h"

namespace relief::detail {

// One side of one triangle.
struct TriangleSide {
  t_hdelaunaytriangle* t;
  int side;
  bool operator==(const TriangleSide& o) const { return t == o.t && side == o.side; }
  bool operator!=(const TriangleSide& o) const { return !(*this == o); }
};

inline int CornerOf(const t_hdelaunaytriangle* t, int vertex) {
  for (int k = 0; k < 3; ++k)
    if (t->nVertex[k] == vertex) return k;
  return -1;
}

// The border side that follows `at` along the border: the one starting where
// `at` ends. The search turns clockwise about that vertex through the
// triangles that hold it, so where two loops touch at a vertex each loop
// keeps to its own fan. False after `limit` steps or on broken links.
template <class IsBorder>
bool NextBorderSide(TriangleSide& at, IsBorder isBorder, int limit) {
  const int v = at.t->nVertex[at.side == 2 ? 0 : at.side + 1];
  t_hdelaunaytriangle* t = at.t;
  int side = CornerOf(t, v);  // the side of t starting at v
  for (int step = 0; step <= limit; ++step) {
    if (isBorder(t, side)) {
      at = {t, side};
      return true;
    }
    t = t->pNeighbour[side];
    side = CornerOf(t, v);
    if (side < 0) return false;
  }
  return false;
}

// The border side that precedes `at`: the one ending where `at` starts,
// found by turning counter-clockwise about that vertex.
template <class IsBorder>
bool PreviousBorderSide(TriangleSide& at, IsBorder isBorder, int limit) {
  const int v = at.t->nVertex[at.side];
  t_hdelaunaytriangle* t = at.t;
  int side = (CornerOf(t, v) + 2) % 3;  // the side of t ending at v
  for (int step = 0; step <= limit; ++step) {
    if (isBorder(t, side)) {
      at = {t, side};
      return true;
    }
    t = t->pNeighbour[side];
    const int k = CornerOf(t, v);
    if (k < 0) return false;
    side = (k + 2) % 3;
  }
  return false;
}

// Twice the signed area of (a, b, p) in double: positive when p lies left of a -> b.
inline double SideOf(const SSEPoint& a, const SSEPoint& b, double px, double py) {
  return (static_cast<double>(b.x) - a.x) * (py - a.y) - (static_cast<double>(b.y) - a.y) * (px - a.x);
}

// Squared distance of (px, py) to the segment a-b.
inline double SegmentDistanceSqr(const SSEPoint& a, const SSEPoint& b, double px, double py) {
  const double ex = static_cast<double>(b.x) - a.x, ey = static_cast<double>(b.y) - a.y;
  const double fx = px - a.x, fy = py - a.y;
  const double len = ex * ex + ey * ey;
  const double u = len > 0.0 ? std::clamp((fx * ex + fy * ey) / len, 0.0, 1.0) : 0.0;
  const double dx = fx - u * ex, dy = fy - u * ey;
  return dx * dx + dy * dy;
}

// Squared distance of (px, py) to the closed triangle (0 inside or on it).
inline double TriangleDistanceSqr(const SSEPoint* vertices, const t_hdelaunaytriangle* t, double px, double py) {
  const SSEPoint& a = vertices[t->nVertex[0]];
  const SSEPoint& b = vertices[t->nVertex[1]];
  const SSEPoint& c = vertices[t->nVertex[2]];
  const double s0 = SideOf(a, b, px, py), s1 = SideOf(b, c, px, py), s2 = SideOf(c, a, px, py);
  if ((s0 >= 0 && s1 >= 0 && s2 >= 0) || (s0 <= 0 && s1 <= 0 && s2 <= 0)) return 0.0;
  return std::min({SegmentDistanceSqr(a, b, px, py), SegmentDistanceSqr(b, c, px, py),
                   SegmentDistanceSqr(c, a, px, py)});
}

// A side of a triangle without the outside mark whose neighbour is missing
// or has the outside mark: the border of what the triangulation covers.
inline bool IsBorderSide(const t_hdelaunaytriangle* t, int side) {
  const t_hdelaunaytriangle* n = t->pNeighbour[side];
  return !t->bOutside && (!n || n->bOutside);
}

// A side without a neighbour: the hull or the rim of a hole.
inline bool IsOpenSide(const t_hdelaunaytriangle* t, int side) { return t->pNeighbour[side] == nullptr; }

typedef bool (*SidePredicate)(const t_hdelaunaytriangle*, int);

// The loops through the given sides (all of which satisfy isBorder): each a
// closed sequence in walking order, started at the first side of the
// sequence it contains. Sides whose walk does not close (broken links) are
// left out. Walks about a vertex are bounded by limit.
std::vector<std::vector<TriangleSide>> CollectBorderLoops(const std::vector<TriangleSide>& sides,
                                                          SidePredicate isBorder, int limit);

}  // namespace relief::detail
