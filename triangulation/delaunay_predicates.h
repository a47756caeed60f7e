#pragma once

#include <cmath>

#include "relief/TaCIncrementalDelaunay2D.h"

namespace relief::detail {

// Orientation tolerance of the Delaunay tests, in squared raster units.
constexpr float kSideTolerance = 0.005f;

// Where (px, py) lies relative to the directed line a -> b: positive on the
// left. Formed in double from the float inputs, then rounded to float, which
// is the value every comparison of the triangulator sees.
inline float Cross(float ax, float ay, float bx, float by, float px, float py) {
  return static_cast<float>((static_cast<double>(py) - ay) * (static_cast<double>(bx) - ax) -
                            (static_cast<double>(by) - ay) * (static_cast<double>(px) - ax));
}

// The in-circle comparison of the point search, in float; strict, so a point
// on the circle is outside and a NaN or infinite circle never holds a point.
inline bool InCircleFloat(const t_hdelaunaytriangle* t, float x, float y) {
  const float dx = x - t->fCenterX, dy = y - t->fCenterY;
  return t->fRadiusSqr > dx * dx + dy * dy;
}

// The legalisation's comparison: differences in double, the sum rounded to float.
inline bool InCircleDouble(const t_hdelaunaytriangle* t, float x, float y) {
  const double dx = static_cast<double>(x) - t->fCenterX, dy = static_cast<double>(y) - t->fCenterY;
  return t->fRadiusSqr > static_cast<float>(dx * dx + dy * dy);
}

// True when a, b, c turn strictly counter-clockwise, by the exact sign of
// (b - a) x (c - a). The double evaluation decides unless its result lies
// within its own rounding bound; then the differences and products are
// split into error-free pairs and summed exactly.
bool TurnsLeftExactSlow(float ax, float ay, float bx, float by, float cx, float cy);
inline bool TurnsLeftExact(float ax, float ay, float bx, float by, float cx, float cy) {
  const double l = (static_cast<double>(bx) - ax) * (static_cast<double>(cy) - ay);
  const double r = (static_cast<double>(by) - ay) * (static_cast<double>(cx) - ax);
  const double det = l - r;
  // Each difference of floats carries at most one rounding, each product and
  // the subtraction one more: 8 units of 2^-53 on |l| + |r| covers them.
  const double bound = 8.9e-16 * (std::fabs(l) + std::fabs(r));
  if (det > bound) return true;
  if (det < -bound) return false;
  return TurnsLeftExactSlow(ax, ay, bx, by, cx, cy);
}

}  // namespace relief::detail
