#pragma once

// Pieces shared by the raster benchmarks and their peer comparisons: CPU time
// per iteration, the references measured earlier in the same run, and the
// seeded height fields.

#include <benchmark/benchmark.h>

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

}  // namespace relief::bench
