#pragma once

// Removes zero-area triangles from a triangulation without opening a crack.
//
// A zero-area triangle (x, y, m) with m between x and y is what the
// triangulator can leave along a straight run of collinear points, such as
// the seeds on a tile's edge: dropping it alone would leave the edge x-y of
// the triangle u beyond it unmatched on one side and x-m, m-y on the other.
// Instead u = (y, x, d) is split at m into (y, m, d) and (m, x, d), which
// takes the zero-area triangle's place exactly. Without a triangle beyond
// x-y (the run lies on the hull) the zero-area triangle is simply dropped.

#include <array>
#include <cstdint>
#include <vector>

namespace relief::tool {

struct PlanarPoint {
  double x, y;
};

// triangles: vertex indices into points, counter-clockwise where not
// degenerate. Zero-area triangles are repaired as above, repeatedly while
// splits leave new ones; what cannot be repaired (a repeated vertex, a
// neighbour that is itself degenerate after all rounds) is dropped. Returns
// the number of zero-area triangles met.
std::int64_t RepairZeroAreaTriangles(std::vector<std::array<std::int32_t, 3>>& triangles,
                                     const std::vector<PlanarPoint>& points);

}  // namespace relief::tool
