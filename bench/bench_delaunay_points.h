#pragma once

// Point sets shared by the Delaunay benchmarks and the peer comparison, so
// both triangulate exactly the same input.

#include <random>
#include <vector>

#include "relief/TaCIncrementalDelaunay2D.h"

namespace delaunay_bench {

struct Xy {
  float x, y;
};

// n uniform points in a square of side sqrt(n) * 4 raster units: the density
// of a height field sampled every few pixels, whatever n.
inline std::vector<Xy> UniformPoints(int n, unsigned seed = 42) {
  std::mt19937 rng(seed);
  const float side = 4.0f * std::sqrt(static_cast<float>(n));
  std::uniform_real_distribution<float> u(0.0f, side);
  std::vector<Xy> pts(static_cast<std::size_t>(n));
  for (Xy& p : pts) p = {u(rng), u(rng)};
  return pts;
}

inline void Load(TaCIncrementalDelaunay2D& d, const std::vector<Xy>& pts) {
  d.CreateVertexArray(static_cast<int>(pts.size()) + 4);
  for (const Xy& p : pts) {
    SSEPoint s;
    s.m = _mm_setr_ps(p.x, p.y, 0.0f, 0.0f);
    d.AppendVertex(s);
  }
}

}  // namespace delaunay_bench
