#pragma once

// The crossing rule of the polygon containment test, shared by the per-point
// test and the row-free fill that must agree with it bit for bit.

namespace relief::detail {

// Does the edge (prev, cur) toggle the crossing parity of (x, y)? It must
// straddle the vertical through x half-open (cur.x < x <= prev.x or prev.x <
// x <= cur.x) and pass above the point (the ray runs toward +y). a is the end
// with the smaller x (cur on a tie), b the other; the comparison is made in
// double on float inputs.
inline bool EdgeTogglesCrossing(float prevX, float prevY, float curX, float curY, float x, float y) {
  if ((x > curX) != (prevX >= x)) return false;
  const bool curIsA = !(prevX < curX);  // a = cur unless prev has the smaller x
  const double ax = curIsA ? curX : prevX, ay = curIsA ? curY : prevY;
  const double bx = curIsA ? prevX : curX, by = curIsA ? prevY : curY;
  return (by - ay) * (static_cast<double>(x) - ax) > (bx - ax) * (static_cast<double>(y) - ay);
}

// Crossing parity of (x, y) against the polygon px/py of n points, visiting
// every step-th vertex from 0 while the index is at most n - step, joined to
// the last point (n - 1) at the start and, for step > 1, once more at the end.
inline bool CrossingParity(const float* px, const float* py, int n, int step, float x, float y) {
  bool inside = false;
  float prevX = px[n - 1], prevY = py[n - 1];
  for (int i = 0; i <= n - step; i += step) {
    if (EdgeTogglesCrossing(prevX, prevY, px[i], py[i], x, y)) inside = !inside;
    prevX = px[i];
    prevY = py[i];
  }
  if (step > 1 && EdgeTogglesCrossing(prevX, prevY, px[n - 1], py[n - 1], x, y)) inside = !inside;
  return inside;
}

}  // namespace relief::detail
