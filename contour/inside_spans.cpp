// Column-wise evaluation of the crossing rule.
//
// The per-point test toggles on edge e exactly when e straddles x half-open
// (lo < x <= hi) and passes above (x, y): L(x) > D * (y - a.y), with L(x) =
// (b.y - a.y)(x - a.x) and D = b.x - a.x > 0, all in double. For a fixed
// edge and column, L is fixed and the right side only grows with y (rounding
// is monotone), so the edge toggles for every row up to some last row t and
// for none after it. A column's parity at row y is therefore the parity of
// the number of its straddling edges with t >= y: sort the t of the column
// and the inside rows fall out as runs. The work is the sum of the edges'
// column extents instead of (pixels x edges), and because every toggle
// decision is made by evaluating the very same double expression as the
// per-point test, the runs are bit-for-bit its answers.

#include "contour/inside_spans.h"

#include <algorithm>
#include <cmath>

namespace relief::detail {

namespace {

constexpr double kExactLimit = 16777216.0;  // 2^24: integers are exact floats below this

struct Edge {
  double ax, ay, bx, by;
};

inline bool NoInfinity(const float* v, int n) {
  for (int i = 0; i < n; ++i)
    if (std::isinf(v[i])) return false;
  return true;
}

}  // namespace

bool InsideColumnSpans(const float* px, const float* py, int n, float boxMinX, float boxMinY, float boxMaxX,
                       float boxMaxY, const FillWindow& window, std::vector<ColumnSpan>& spans) {
  if (n < 3) return true;  // the per-point test answers false everywhere
  // A NaN coordinate only silences its two edges (every comparison in the
  // toggle test is then false), but infinities break the threshold search.
  if (!NoInfinity(px, n) || !NoInfinity(py, n)) return false;
  if (!std::isfinite(boxMinX) || !std::isfinite(boxMinY) || !std::isfinite(boxMaxX) || !std::isfinite(boxMaxY))
    return false;
  const double limits[4] = {double(window.x0), double(window.x1), double(window.y0), double(window.y1)};
  for (double v : limits)
    if (std::fabs(v) > kExactLimit) return false;
  const int step = window.columnStep > 0 ? window.columnStep : 1;

  // Rows and columns that pass the inclusive box pre-test (all in double, so
  // a huge box cannot overflow the conversions; the window bounds them).
  const double rowFirst = std::max<double>(window.y0, std::ceil(double(boxMinY)));
  const double rowLast = std::min<double>(window.y1 - 1.0, std::floor(double(boxMaxY)));
  const double firstColumn = std::max<double>(window.x0, std::ceil(double(boxMinX)));
  const double lastColumn = std::min<double>(window.x1 - 1.0, std::floor(double(boxMaxX)));
  if (rowFirst > rowLast || firstColumn > lastColumn) return true;
  const int r0 = static_cast<int>(rowFirst), r1 = static_cast<int>(rowLast);
  const int c1 = static_cast<int>(lastColumn);
  // The first grid column at or after firstColumn.
  const long long offset = static_cast<long long>(firstColumn) - window.x0;
  const int c0 = static_cast<int>(window.x0 + (offset + step - 1) / step * step);
  if (c0 > c1) return true;
  const int columns = (c1 - c0) / step + 1;

  // Pass 1: the last toggling row t of every (edge, column) pair that toggles at all.
  struct Toggle {
    int column;  // grid index
    int lastRow;
  };
  std::vector<Toggle> toggles;
  float prevX = px[n - 1], prevY = py[n - 1];
  for (int i = 0; i < n; ++i) {
    const float curX = px[i], curY = py[i];
    const float lo = std::min(prevX, curX), hi = std::max(prevX, curX);
    if (lo < hi && !std::isnan(prevY) && !std::isnan(curY)) {
      const bool curIsA = !(prevX < curX);
      const Edge e{curIsA ? curX : prevX, curIsA ? curY : prevY, curIsA ? prevX : curX, curIsA ? prevY : curY};
      const double dx = e.bx - e.ax, dy = e.by - e.ay;
      // Straddled columns: lo < x <= hi, on the grid, inside [c0, c1].
      const double first = std::max<double>(std::floor(double(lo)) + 1.0, c0);
      const double last = std::min<double>(std::floor(double(hi)), c1);
      if (first <= last) {
        int g = static_cast<int>(std::ceil((first - c0) / step));
        for (int x = c0 + g * step; x <= last; x += step, ++g) {
          const double L = dy * (static_cast<double>(x) - e.ax);
          auto above = [&](int y) { return L > dx * (static_cast<double>(y) - e.ay); };
          if (!above(r0)) continue;
          int t;
          if (above(r1)) {
            t = r1;
          } else {
            // Start near the exact crossing and walk to the last true row;
            // above(r0) is true and above(r1) false, so both walks stop.
            const double guess = std::floor(e.ay + L / dx);
            t = static_cast<int>(std::min<double>(std::max<double>(guess, r0), r1 - 1.0));
            if (above(t)) {
              while (above(t + 1)) ++t;
            } else {
              do --t;
              while (!above(t));
            }
          }
          toggles.push_back({g, t});
        }
      }
    }
    prevX = curX;
    prevY = curY;
  }

  // Pass 2: group by column (counting sort), then each column's runs.
  std::vector<int> start(columns + 1, 0);
  for (const Toggle& t : toggles) ++start[t.column + 1];
  for (int c = 0; c < columns; ++c) start[c + 1] += start[c];
  std::vector<int> rows(toggles.size());
  std::vector<int> fill(start.begin(), start.end() - 1);
  for (const Toggle& t : toggles) rows[fill[t.column]++] = t.lastRow;
  for (int c = 0; c < columns; ++c) {
    int* begin = rows.data() + start[c];
    int* end = rows.data() + start[c + 1];
    if (begin == end) continue;
    std::sort(begin, end);
    // Rows after the k-th smallest t see (count - k) toggling edges.
    const int x = c0 + c * step;
    int remaining = static_cast<int>(end - begin);
    int previous = r0 - 1;
    for (int* t = begin; t != end; ++t, --remaining) {
      if (*t > previous && (remaining & 1)) spans.push_back({x, previous + 1, *t});
      if (*t > previous) previous = *t;
    }
  }
  return true;
}

}  // namespace relief::detail
