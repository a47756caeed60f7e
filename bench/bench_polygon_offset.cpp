// Dilation and erosion of a 10,000-corner contour: the exact round dilation
// (offset curves, crossings, outer border) and the quasi-Minkowski mitred
// offsets, on a circle and on a wavy star whose offsets cross themselves.
// A copy of the contour, made outside the timing, is offset each time.

#include <benchmark/benchmark.h>

#include <cmath>

#include "relief/CSSE3dPolygon.h"

namespace {

CSSE3dPolygon Contour(int n, bool wavy) {
  CSSE3dPolygon p;
  p.Create(n);
  for (int i = 0; i < n; ++i) {
    const double a = 6.283185307179586 * i / n;
    const double r = wavy ? 1000.0 + 60.0 * std::sin(40 * a) : 1000.0;
    p.SetPoint(i, static_cast<float>(2048 + r * std::cos(a)), static_cast<float>(2048 + r * std::sin(a)), 0.0f);
  }
  return p;
}

template <void (CSSE3dPolygon::*Op)(float)>
void BM_Offset(benchmark::State& state) {
  const CSSE3dPolygon source = Contour(static_cast<int>(state.range(0)), state.range(1) != 0);
  const float distance = static_cast<float>(state.range(2));
  CSSE3dPolygon work;
  for (auto _ : state) {
    state.PauseTiming();
    work.CreateSimilar(const_cast<CSSE3dPolygon*>(&source));
    state.ResumeTiming();
    (work.*Op)(distance);
    benchmark::DoNotOptimize(work.GetXArray());
  }
  state.counters["points_out"] = work.GetNumPoints();
}

// Arguments: corners, wavy (0 circle, 1 star), distance in pixels.
void Args(benchmark::internal::Benchmark* b) {
  for (int wavy : {0, 1})
    for (int d : {2, 20}) b->Args({10000, wavy, d});
}

}  // namespace

BENCHMARK_TEMPLATE(BM_Offset, &CSSE3dPolygon::DilateExact)->Apply(Args)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Offset, &CSSE3dPolygon::DoQuasiMinkowskiDilation)->Apply(Args)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Offset, &CSSE3dPolygon::DoQuasiMinkowskiErosion)->Apply(Args)->Unit(benchmark::kMillisecond);
