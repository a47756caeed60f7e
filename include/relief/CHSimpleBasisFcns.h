#pragma once

#include <cstdint>

#include "relief/CSSE2dPolygon.h"
#include "relief/Export.h"
#include "relief/SSEPoint.h"

// One vertex of the ear-clipping triangulator's circular list. It begins
// with the x and y of a t_h2dpoint, so a vertex converts to a t_h2dpoint*
// wherever the predicates take one.
struct t_hvertex : t_h2dpoint {
  std::uint32_t reserved;  // zero
  bool ear;                // the diagonal from previous to next is valid
  t_hvertex* next;         // successor in the circular list
  t_hvertex* previous;     // predecessor
  std::int32_t index;      // position in the vertex array
};

// Planar predicates of the ear-clipping triangulator. All of them rest on
// the doubled signed area of a triangle, evaluated in double and rounded to
// float, and on ONE absolute tolerance e = 0.0005 on that area: left,
// right and collinear are decided by it, not by exact arithmetic.
class RELIEF_API CHSimpleBasisFcns {
 public:
  // The tolerance on the doubled area.
  static constexpr float kTolerance = 0.0005f;

  // (b.x - a.x)(c.y - a.y) - (c.x - a.x)(b.y - a.y) in double, as float:
  // positive when a, b, c turn counter-clockwise (y up).
  static float AreaSign(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c);
  // AreaSign > e.
  static bool Left(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c);
  // AreaSign >= -e (also true for a NaN area).
  static bool LeftOn(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c);
  // -e <= AreaSign <= e.
  static bool Collinear(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c);
  // c lies on the closed segment ab: collinear, and c's x between a's and
  // b's x inclusive (c's y between theirs when a.x == b.x).
  static bool Between(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c);
  // Segments ab and cd cross at a point inside both: false as soon as any
  // of (a, b, c), (a, b, d), (c, d, a), (c, d, b) is collinear.
  static bool IntersectProp(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c, const t_h2dpoint* d);
  // IntersectProp, or one end of either segment lies on the other.
  static bool Intersect(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c, const t_h2dpoint* d);
  // The segment from a towards b starts inside the polygon's angle at a
  // (a's neighbours a0 = previous, a1 = next). At a convex or flat vertex
  // (LeftOn(a, a1, a0)): Left(a, b, a0) and Left(b, a, a1). At a reflex
  // vertex: not (LeftOn(a, b, a1) and LeftOn(b, a, a0)).
  static bool InCone(const t_hvertex* a, const t_hvertex* b);

  // The first index i < count whose point equals p in all four lanes, or
  // -1 (also for count 0). NaN lanes never compare equal.
  static int VertexAlreadyThereInArray(const SSEPoint* points, const SSEPoint& p, unsigned count);
};
