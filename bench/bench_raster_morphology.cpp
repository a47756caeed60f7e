// Chamfer distance and Zhang-Suen thinning on masks of thick random blobs,
// in pixels per second. The raster is refilled from the mask outside the
// timed region before each run, since both operations work in place.

#include <benchmark/benchmark.h>

#include "bench/blob_mask.h"
#include "relief/CSSEMatrix.h"

namespace {

CSSEMatrix MaskRaster(int size) {
  const std::vector<std::uint8_t> mask = relief::bench::BlobMask(size);
  CSSEMatrix m;
  m.Create(size, size);
  for (int y = 0; y < size; ++y)
    for (int x = 0; x < size; ++x) m.SetPoint(x, y, mask[static_cast<std::size_t>(y) * size + x] ? 1.0f : 0.0f);
  return m;
}

template <class Op>
void RunInPlace(benchmark::State& state, Op op) {
  const int size = static_cast<int>(state.range(0));
  CSSEMatrix mask = MaskRaster(size), work;
  for (auto _ : state) {
    state.PauseTiming();
    work.CopyFromSSEMatrix(mask);
    state.ResumeTiming();
    op(work);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * size * size);
}

void BM_Chamfer(benchmark::State& state) {
  RunInPlace(state, [](CSSEMatrix& m) { m.Chamfer(); });
}

void BM_ZhangSuen(benchmark::State& state) {
  RunInPlace(state, [](CSSEMatrix& m) { m.ZhangSuen(0.5f); });
}

}  // namespace

BENCHMARK(BM_Chamfer)->Arg(2048)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ZhangSuen)->Arg(2048)->Unit(benchmark::kMillisecond);
