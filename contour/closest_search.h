#pragma once

namespace relief::detail {

// The single-axis and planar nearest-point searches look at indices 0, 2, 4,
// ... below count - 1 only: every second point and never the last. Callers
// pass dense contours where this halves the work; keep the stride. Returns the
// first index with the strictly smallest measure below 1e7, or -1 (always for
// count <= 1).
template <class Measure>
int ClosestEverySecond(int count, Measure measure) {
  if (count <= 1) return -1;
  float best = 1e7f;
  int index = -1;
  for (int i = 0; i < count - 1; i += 2) {
    const float d = measure(i);
    if (d < best) {
      best = d;
      index = i;
    }
  }
  return index;
}

}  // namespace relief::detail
