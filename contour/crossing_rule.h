#pragma once

// The crossing rule of the polygon containment test, shared by the per-point
// test and the row-free fill that must agree with it bit for bit.

#include <emmintrin.h>

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
inline bool CrossingParity(const float* px, const float* py, int n, int step, float x, float y);

// The step-1 walk, four edges at a time. Most edges do not straddle the
// query's vertical, and that test is a pair of float comparisons, so it runs
// on registers; only straddling edges go through the scalar double test, in
// index order. px and py must be 16-byte aligned and padded to a multiple of
// four (the polygon's own arrays are). Same answers as the scalar walk.
inline bool CrossingParityStepOne(const float* px, const float* py, int n, float x, float y) {
  bool inside = false;
  const __m128 qx = _mm_set1_ps(x);
  // Bit k of the result: edge first + k straddles x, i.e. (x > cur) equals
  // (prev >= x). NaN makes both comparisons false, as in the scalar test.
  auto straddling = [&](__m128 prev, __m128 cur) {
    return ~_mm_movemask_ps(_mm_xor_ps(_mm_cmpgt_ps(qx, cur), _mm_cmpge_ps(prev, qx))) & 0xF;
  };
  auto toggle = [&](int first, unsigned lanes) {
    while (lanes) {
      const int c = first + __builtin_ctz(lanes);
      lanes &= lanes - 1;
      const int p = c == 0 ? n - 1 : c - 1;
      if (EdgeTogglesCrossing(px[p], py[p], px[c], py[c], x, y)) inside = !inside;
    }
  };
  const int whole = n & ~3;
  // Edge i runs from point i - 1 (the last point for i = 0) to point i.
  unsigned lanes = straddling(_mm_setr_ps(px[n - 1], px[0], px[1], px[2]), _mm_load_ps(px));
  if (n < 4) lanes &= (1u << n) - 1;  // padding lanes are not edges
  toggle(0, lanes);
  int i = 4;
  for (; i + 8 <= whole; i += 8) {
    const unsigned both = straddling(_mm_loadu_ps(px + i - 1), _mm_load_ps(px + i)) |
                          straddling(_mm_loadu_ps(px + i + 3), _mm_load_ps(px + i + 4)) << 4;
    if (both) toggle(i, both);
  }
  for (; i < n; i += 4) {
    lanes = straddling(_mm_loadu_ps(px + i - 1), _mm_load_ps(px + i));
    if (n - i < 4) lanes &= (1u << (n - i)) - 1;
    toggle(i, lanes);
  }
  return inside;
}

inline bool CrossingParity(const float* px, const float* py, int n, int step, float x, float y) {
  if (step == 1) return CrossingParityStepOne(px, py, n, x, y);
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
