// The window filters on a 4096 x 4096 height field with no-data holes, in
// pixels per second. The reference in the same run is a deep copy of the
// raster (CopyFromSSEMatrix, one read and one write of the storage: the
// bandwidth floor of any filter). Radii 1, 2 and 7 show the independence of
// the radius, the second argument the no-data-aware mode (1) against the
// plain one (0), the third (1) the aware mode on a raster with a scan's
// holes instead of the block holes of the first.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <map>
#include <random>
#include <string>

#include "relief/CFilters.h"
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

const CSSEMatrix& HeightField() {
  static const CSSEMatrix m = [] {
    CSSEMatrix out;
    out.Create(kSize, kSize);
    std::mt19937 rng(42);
    std::uniform_real_distribution<float> height(1.0f, 100.0f);
    for (int y = 0; y < kSize; ++y)
      for (int x = 0; x < kSize; ++x) out.SetPoint(x, y, (x / 64 + y / 64) % 7 == 0 ? 0.0f : height(rng));
    return out;
  }();
  return m;
}

// Holes as a scan has them: data inside an ellipse with a ragged edge (a
// rim of no data around it, about 40 % of the raster), single-pixel
// dropouts (0.5 % inside) and a few hundred small clusters of holes.
const CSSEMatrix& ScanField() {
  static const CSSEMatrix m = [] {
    CSSEMatrix out;
    out.Create(kSize, kSize);
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> height(1.0f, 100.0f), unit(0.0f, 1.0f);
    const float c = 0.5f * kSize, ax = 0.47f * kSize, ay = 0.40f * kSize;
    for (int y = 0; y < kSize; ++y) {
      const float jitter = 1.0f + 0.02f * (unit(rng) - 0.5f);
      for (int x = 0; x < kSize; ++x) {
        const float dx = (x - c) / ax, dy = (y - c) / ay;
        const bool inside = dx * dx + dy * dy < jitter;
        out.SetPoint(x, y, inside && unit(rng) >= 0.005f ? height(rng) : 0.0f);
      }
    }
    for (int cluster = 0; cluster < 400; ++cluster) {
      const int cx = static_cast<int>(unit(rng) * kSize), cy = static_cast<int>(unit(rng) * kSize);
      const int w = 1 + static_cast<int>(unit(rng) * 6), h = 1 + static_cast<int>(unit(rng) * 6);
      for (int y = cy; y < std::min(cy + h, kSize); ++y)
        for (int x = cx; x < std::min(cx + w, kSize); ++x) out.SetPoint(x, y, 0.0f);
    }
    return out;
  }();
  return m;
}

template <class Fn>
void Run(benchmark::State& state, bool isReference, Fn fn, bool scan = false) {
  CSSEMatrix& source = const_cast<CSSEMatrix&>(scan ? ScanField() : HeightField());
  CSSEMatrix target;
  target.CreateSimilar(source);
  const double seconds = CpuSecondsPerIteration(state, [&] {
    fn(source, target);
    benchmark::ClobberMemory();
  });
  if (isReference)
    References()["copy"] = seconds;
  else if (References().count("copy"))
    state.counters["vs_ref"] = References()["copy"] / seconds;
  state.SetItemsProcessed(state.iterations() * kSize * kSize);
}

void BM_CopyReference(benchmark::State& state) {
  Run(state, true, [](CSSEMatrix& s, CSSEMatrix& t) { t.CopyFromSSEMatrix(s); });
}

template <void (*Filter)(const CSSEMatrix&, CSSEMatrix&, int, bool)>
void BM_Filter(benchmark::State& state) {
  const int r = static_cast<int>(state.range(0));
  const bool aware = state.range(1) != 0;
  const bool scan = state.range(2) != 0;
  Run(
      state, false, [r, aware](CSSEMatrix& s, CSSEMatrix& t) { Filter(s, t, r, aware); }, scan);
}

void Args(benchmark::internal::Benchmark* b) {
  for (int aware : {0, 1})
    for (int r : {1, 2, 7}) b->Args({r, aware, 0});
  for (int r : {1, 2, 7}) b->Args({r, 1, 1});
}

void MedianArgs(benchmark::internal::Benchmark* b) {
  for (int aware : {0, 1})
    for (int r : {1, 2}) b->Args({r, aware, 0});
  for (int r : {1, 2}) b->Args({r, 1, 1});
}

}  // namespace

BENCHMARK(BM_CopyReference)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Filter<CFilters::BoxMean>)->Name("BM_BoxMean")->Apply(Args)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Filter<CFilters::Minimum>)->Name("BM_Minimum")->Apply(Args)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Filter<CFilters::Maximum>)->Name("BM_Maximum")->Apply(Args)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Filter<CFilters::Median>)->Name("BM_Median")->Apply(MedianArgs)->Unit(benchmark::kMillisecond);
