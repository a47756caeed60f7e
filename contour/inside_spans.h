#pragma once

// Whole-window evaluation of the polygon containment test: the same answers
// as calling the per-point test at every integer position, computed column by
// column instead of pixel by pixel.

#include <vector>

namespace relief::detail {

// A run of rows ya .. yb (inclusive) of column x that lies inside.
struct ColumnSpan {
  int x;
  int ya;
  int yb;
};

// The integer positions examined: columns x0, x0 + columnStep, ... below x1
// and rows y0 .. y1 - 1.
struct FillWindow {
  int x0, x1, y0, y1;
  int columnStep;
};

// Appends to spans every maximal run of window positions (x, y) for which the
// containment test with step 1 on the polygon px/py (n >= 3 points, box
// corners boxMin/boxMax as the polygon holds them) answers true. Returns
// false, leaving spans untouched, when it cannot guarantee the per-point
// answers (infinite coordinates, a window beyond +-2^24); the caller then
// tests point by point.
bool InsideColumnSpans(const float* px, const float* py, int n, float boxMinX, float boxMinY, float boxMaxX,
                       float boxMaxY, const FillWindow& window, std::vector<ColumnSpan>& spans);

}  // namespace relief::detail
