#pragma once

// Moore-neighbour walk along the outer border of an 8-connected region, shared
// by every pixel-chain tracer. The region is given by a predicate In(x, y)
// that answers false outside the raster.

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

// First region neighbour of (x, y) clockwise after direction from; -1 if none.
template <class Region>
inline int NextRegionNeighbour(const Region& in, int x, int y, int from) {
  for (int i = 1; i < 8; ++i) {
    const int d = (from + i) & 7;
    if (in(x + kStepX[d], y + kStepY[d])) return d;
  }
  return -1;
}

// Walks the border from (sx, sy), a region pixel whose west neighbour is not
// in the region, calling emit(x, y) for every pixel in order, the start first
// and not again at the end. Stops when it is about to leave the start in its
// first direction (a start pixel on a spur is passed several times before
// that), or after maxSteps steps.
template <class Region, class Emit>
void WalkOuterBorder(const Region& in, int sx, int sy, std::int64_t maxSteps, Emit&& emit) {
  emit(sx, sy);
  int d = NextRegionNeighbour(in, sx, sy, kWest);
  if (d < 0) return;  // a single pixel
  const int first = d;
  int x = sx, y = sy;
  for (std::int64_t step = 0; step < maxSteps; ++step) {
    x += kStepX[d];
    y += kStepY[d];
    // The pixel just left is a region neighbour, so the search always finds one.
    d = NextRegionNeighbour(in, x, y, BacktrackAfterStep(d));
    if (x == sx && y == sy && d == first) return;
    emit(x, y);
  }
}

}  // namespace relief::detail
