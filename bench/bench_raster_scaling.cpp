// Scaling a 4096 x 4096 raster down (x 0.7) and up (x 1.4), nearest and
// bilinear, in target pixels per second. The reference in the same run is
// Fill of a target of the same size: writing the target alone.

#include <benchmark/benchmark.h>

#include <ctime>
#include <map>
#include <random>
#include <string>

#include "relief/CSSEMatrix.h"

namespace {

constexpr int kSize = 4096;

// CPU seconds per iteration (the machine is shared, wall time is not
// reliable); "vs_ref" is the reference's time over this figure's.
template <class Body>
double CpuSecondsPerIteration(benchmark::State& state, Body body) {
  const std::clock_t start = std::clock();
  for (auto _ : state) body();
  return double(std::clock() - start) / CLOCKS_PER_SEC / double(state.iterations());
}

std::map<std::string, double>& References() {
  static std::map<std::string, double> refs;
  return refs;
}

CSSEMatrix& Source() {
  static CSSEMatrix m = [] {
    CSSEMatrix out;
    out.Create(kSize, kSize);
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> height(1.0f, 100.0f);
    for (int y = 0; y < kSize; ++y)
      for (int x = 0; x < kSize; ++x) out.SetPoint(x, y, height(rng));
    return out;
  }();
  return m;
}

void BM_FillReference(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  CSSEMatrix target;
  target.Create(size, size);
  References()[std::to_string(size)] = CpuSecondsPerIteration(state, [&] {
    target.Fill(1.5f);
    benchmark::ClobberMemory();
  });
  state.SetItemsProcessed(state.iterations() * size * size);
}

void BM_Scale(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  const bool linear = state.range(1) != 0;
  CSSEMatrix target;
  target.Create(size, size);
  const double seconds = CpuSecondsPerIteration(state, [&] {
    if (linear)
      target.ScaleBilinear(Source(), size, size);
    else
      target.ScaleNearest(Source(), size, size);
    benchmark::ClobberMemory();
  });
  if (References().count(std::to_string(size))) state.counters["vs_ref"] = References()[std::to_string(size)] / seconds;
  state.SetItemsProcessed(state.iterations() * size * size);
}

}  // namespace

BENCHMARK(BM_FillReference)->Arg(2867)->Arg(5734)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Scale)->Args({2867, 0})->Args({5734, 0})->Args({2867, 1})->Args({5734, 1})->Unit(benchmark::kMillisecond);
