#pragma once

// Moore-neighbour walk along the outer border of an 8-connected region, shared
// by every pixel-chain tracer. A region type supplies a cursor on a pixel:
//   Cursor At(int x, int y) const;          // any pixel of the raster
//   int Next(Cursor c, int from) const;     // first region neighbour clockwise after
//                                           // direction from, -1 if none (outside the
//                                           // raster nothing is region)
//   Cursor Move(Cursor c, int d) const;     // the neighbour in direction d

#include <cstdint>

namespace relief::detail {

// Directions numbered clockwise as seen on screen (rows grow downward):
// 0 east, 1 south-east, 2 south, 3 south-west, 4 west, 5 north-west, 6 north,
// 7 north-east.
constexpr int kStepX[8] = {1, 1, 0, -1, -1, -1, 0, 1};
constexpr int kStepY[8] = {0, 1, 1, 1, 0, -1, -1, -1};
constexpr int kWest = 4;

// After a step in direction d, the neighbour examined just before the one
// stepped to is a non-region pixel; seen from the new pixel it lies in the
// direction returned here, where the next search starts.
inline int BacktrackAfterStep(int d) { return (d & 1) ? (d + 5) & 7 : (d + 6) & 7; }

// First direction clockwise after from whose neighbour is in the region,
// asking in(d) for each; -1 if none.
template <class In>
inline int FirstNeighbourAfter(int from, In&& in) {
  for (int i = 1; i < 8; ++i) {
    const int d = (from + i) & 7;
    if (in(d)) return d;
  }
  return -1;
}

// Walks the border from (sx, sy), a region pixel whose west neighbour is not
// in the region, calling emit(x, y, cursor) for every pixel in order, the
// start first and not again at the end. Stops when it is about to leave the
// start in its first direction (a start pixel on a spur is passed several
// times before that), or after maxSteps steps.
template <class Region, class Emit>
void WalkOuterBorder(const Region& region, int sx, int sy, std::int64_t maxSteps, Emit&& emit) {
  const auto start = region.At(sx, sy);
  auto c = start;
  emit(sx, sy, c);
  int d = region.Next(c, kWest);
  if (d < 0) return;  // a single pixel
  const int first = d;
  int x = sx, y = sy;
  for (std::int64_t step = 0; step < maxSteps; ++step) {
    x += kStepX[d];
    y += kStepY[d];
    c = region.Move(c, d);
    // The pixel just left is a region neighbour, so the search always finds one.
    d = region.Next(c, BacktrackAfterStep(d));
    if (c == start && d == first) return;
    emit(x, y, c);
  }
}

}  // namespace relief::detail
