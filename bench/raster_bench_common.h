#pragma once

// Pieces shared by the raster benchmarks and their peer comparisons: CPU time
// per iteration, the references measured earlier in the same run, and the
// seeded height fields.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <map>
#include <random>
#include <string>

namespace relief::bench {

// CPU seconds per iteration (the machine is shared, wall time is not
// reliable); "vs_ref" figures divide a reference's value by this one.
template <class Body>
double CpuSecondsPerIteration(benchmark::State& state, Body body) {
  const std::clock_t start = std::clock();
  for (auto _ : state) body();
  return double(std::clock() - start) / CLOCKS_PER_SEC / double(state.iterations());
}

// The references measured so far in this run, by name.
inline std::map<std::string, double>& References() {
  static std::map<std::string, double> refs;
  return refs;
}

// Square blocks of 64 x 64 pixels, every seventh diagonal band of them: the
// no-data holes of the filter benchmarks.
inline bool NoDataBlock(int x, int y) { return (x / 64 + y / 64) % 7 == 0; }

// A size x size height field, row by row: put(x, y, value) receives 0 (no
// data) where isHole(x, y) holds and otherwise the next height of a seeded
// uniform draw from [1, 100). Holes draw nothing, so the field depends on the
// seed and the hole pattern only, whatever the storage.
template <class IsHole, class Put>
void FillRandomHeights(int size, unsigned seed, IsHole isHole, Put put) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> height(1.0f, 100.0f);
  for (int y = 0; y < size; ++y)
    for (int x = 0; x < size; ++x) put(x, y, isHole(x, y) ? 0.0f : height(rng));
}

// Holes as a scan has them: data inside an ellipse with a ragged edge (a rim
// of no data around it, about 40 % of the raster), single-pixel dropouts
// (0.5 % inside) and 400 small clusters of holes. put(x, y, value) receives
// every pixel row by row, then 0 for the clusters' pixels.
template <class Put>
void FillScanHeights(int size, unsigned seed, Put put) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> height(1.0f, 100.0f), unit(0.0f, 1.0f);
  const float c = 0.5f * size, ax = 0.47f * size, ay = 0.40f * size;
  for (int y = 0; y < size; ++y) {
    const float jitter = 1.0f + 0.02f * (unit(rng) - 0.5f);
    for (int x = 0; x < size; ++x) {
      const float dx = (x - c) / ax, dy = (y - c) / ay;
      const bool inside = dx * dx + dy * dy < jitter;
      put(x, y, inside && unit(rng) >= 0.005f ? height(rng) : 0.0f);
    }
  }
  for (int cluster = 0; cluster < 400; ++cluster) {
    const int cx = static_cast<int>(unit(rng) * size), cy = static_cast<int>(unit(rng) * size);
    const int w = 1 + static_cast<int>(unit(rng) * 6), h = 1 + static_cast<int>(unit(rng) * 6);
    for (int y = cy; y < std::min(cy + h, size); ++y)
      for (int x = cx; x < std::min(cx + w, size); ++x) put(x, y, 0.0f);
  }
}

}  // namespace relief::bench
