#pragma once

// The 2D hull's area test: CHSimpleBasisFcns::AreaSign's arithmetic inline,
// since the angular sort calls it tens of millions of times for a million
// points.

#include "relief/CHConvexHull2D.h"
#include "triangulation/earclip_area.h"

namespace relief::detail {

inline float HullArea(const tPointStruc& a, const tPointStruc& b, const tPointStruc& c) {
  const t_h2dpoint pa{a.x, a.y}, pb{b.x, b.y}, pc{c.x, c.y};
  return DoubledArea(&pa, &pb, &pc);
}

}  // namespace relief::detail
