// The window filters on a 4096 x 4096 height field with no-data holes, in
// pixels per second. The reference in the same run is a deep copy of the
// raster (CopyFromSSEMatrix, one read and one write of the storage: the
// bandwidth floor of any filter). Radii 1, 2 and 7 show the independence of
// the radius, the second argument the no-data-aware mode (1) against the
// plain one (0), the third (1) the aware mode on a raster with a scan's
// holes instead of the block holes of the first.

#include <benchmark/benchmark.h>

#include "bench/raster_bench_common.h"
#include "relief/CFilters.h"
#include "relief/CSSEMatrix.h"

namespace {

constexpr int kSize = 4096;

using relief::bench::CpuSecondsPerIteration;
using relief::bench::References;

const CSSEMatrix& HeightField() {
  static const CSSEMatrix m = [] {
    CSSEMatrix out;
    out.Create(kSize, kSize);
    relief::bench::FillRandomHeights(kSize, 42, relief::bench::NoDataBlock,
                                     [&out](int x, int y, float v) { out.SetPoint(x, y, v); });
    return out;
  }();
  return m;
}

// The aware figures' second raster: holes as a scan has them.
const CSSEMatrix& ScanField() {
  static const CSSEMatrix m = [] {
    CSSEMatrix out;
    out.Create(kSize, kSize);
    relief::bench::FillScanHeights(kSize, 7, [&out](int x, int y, float v) { out.SetPoint(x, y, v); });
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
