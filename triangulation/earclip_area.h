#pragma once

// The ear clipper's two hottest predicates, inline so that the clipper's
// loops and the exported CHSimpleBasisFcns share one definition.

#include "relief/CHSimpleBasisFcns.h"

namespace relief::detail {

// The doubled signed area in double, rounded once to float.
inline float DoubledArea(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c) {
  const double area = (static_cast<double>(b->x) - a->x) * (static_cast<double>(c->y) - a->y) -
                      (static_cast<double>(c->x) - a->x) * (static_cast<double>(b->y) - a->y);
  return static_cast<float>(area);
}

// CHSimpleBasisFcns::Intersect with each of its four areas computed once:
// proper crossing (no triple collinear, each segment's ends on opposite
// sides of the other) or one end of either segment between the other's.
inline bool SegmentsMeet(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c, const t_h2dpoint* d) {
  constexpr float e = CHSimpleBasisFcns::kTolerance;
  const float abc = DoubledArea(a, b, c), abd = DoubledArea(a, b, d);
  const float cda = DoubledArea(c, d, a), cdb = DoubledArea(c, d, b);
  auto collinear = [](float area) { return -e <= area && area <= e; };
  // On the segment's x range (y range when it is vertical), ends included.
  auto within = [](const t_h2dpoint* p, const t_h2dpoint* q, const t_h2dpoint* r) {
    if (p->x != q->x) return (p->x <= r->x && r->x <= q->x) || (p->x >= r->x && r->x >= q->x);
    return (p->y <= r->y && r->y <= q->y) || (p->y >= r->y && r->y >= q->y);
  };
  const bool cAbc = collinear(abc), cAbd = collinear(abd), cCda = collinear(cda), cCdb = collinear(cdb);
  if (!(cAbc || cAbd || cCda || cCdb)) return ((abc > e) != (abd > e)) && ((cda > e) != (cdb > e));
  return (cAbc && within(a, b, c)) || (cAbd && within(a, b, d)) || (cCda && within(c, d, a)) ||
         (cCdb && within(c, d, b));
}

}  // namespace relief::detail
