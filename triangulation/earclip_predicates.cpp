// The tolerant planar predicates of the ear-clipping triangulator.

#include "relief/CHSimpleBasisFcns.h"
#include "triangulation/earclip_area.h"

float CHSimpleBasisFcns::AreaSign(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c) {
  // Double products, then one rounding to float: the tolerance below is
  // applied to exactly this value.
  return relief::detail::DoubledArea(a, b, c);
}

bool CHSimpleBasisFcns::Left(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c) {
  return AreaSign(a, b, c) > kTolerance;
}

bool CHSimpleBasisFcns::LeftOn(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c) {
  const float area = AreaSign(a, b, c);
  return area > kTolerance || !(area < -kTolerance);
}

bool CHSimpleBasisFcns::Collinear(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c) {
  const float area = AreaSign(a, b, c);
  return -kTolerance <= area && area <= kTolerance;
}

bool CHSimpleBasisFcns::Between(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c) {
  if (!Collinear(a, b, c)) return false;
  // A vertical segment is judged on y.
  if (a->x != b->x) return (a->x <= c->x && c->x <= b->x) || (a->x >= c->x && c->x >= b->x);
  return (a->y <= c->y && c->y <= b->y) || (a->y >= c->y && c->y >= b->y);
}

bool CHSimpleBasisFcns::IntersectProp(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c,
                                      const t_h2dpoint* d) {
  if (Collinear(a, b, c) || Collinear(a, b, d) || Collinear(c, d, a) || Collinear(c, d, b)) return false;
  return Left(a, b, c) != Left(a, b, d) && Left(c, d, a) != Left(c, d, b);
}

bool CHSimpleBasisFcns::Intersect(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c,
                                  const t_h2dpoint* d) {
  // IntersectProp or one of the four Between tests, with each area computed once.
  return relief::detail::SegmentsMeet(a, b, c, d);
}

bool CHSimpleBasisFcns::InCone(const t_hvertex* a, const t_hvertex* b) {
  const t_hvertex* a0 = a->previous;
  const t_hvertex* a1 = a->next;
  // A flat vertex counts as convex.
  if (LeftOn(a, a1, a0)) return Left(a, b, a0) && Left(b, a, a1);
  return !(LeftOn(a, b, a1) && LeftOn(b, a, a0));
}

int CHSimpleBasisFcns::VertexAlreadyThereInArray(const SSEPoint* points, const SSEPoint& p, unsigned count) {
  for (unsigned i = 0; i < count; ++i) {
    if (_mm_movemask_ps(_mm_cmpeq_ps(points[i].m, p.m)) == 0xF) return static_cast<int>(i);
  }
  return -1;
}
