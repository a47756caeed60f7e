// Scaling a 4096 x 4096 raster down (x 0.7) and up (x 1.4), nearest and
// bilinear, in target pixels per second. The reference in the same run is
// Fill of a target of the same size: writing the target alone.

#include <benchmark/benchmark.h>

#include <string>

#include "bench/raster_bench_common.h"
#include "relief/CSSEMatrix.h"

namespace {

constexpr int kSize = 4096;

using relief::bench::CpuSecondsPerIteration;
using relief::bench::References;

CSSEMatrix& Source() {
  static CSSEMatrix m = [] {
    CSSEMatrix out;
    out.Create(kSize, kSize);
    relief::bench::FillRandomHeights(
        kSize, 7, [](int, int) { return false; }, [&out](int x, int y, float v) { out.SetPoint(x, y, v); });
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
