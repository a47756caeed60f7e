// Two-raster combinations on 4096 x 4096 against the memory traffic they
// cannot avoid: a three-stream loop that reads two arrays of the same size as
// the raster storage and writes a third. Both report bytes per second over
// three streams, so their ratio is the combination's share of bandwidth.

#include <benchmark/benchmark.h>
#include <emmintrin.h>

#include <cstddef>

#include "relief/CSSEMatrix.h"
#include "relief/SafeMemory.h"

namespace {

constexpr int kSize = 4096;

std::size_t StorageBytes() { return sizeof(__m128) * static_cast<std::size_t>(kSize) * ((kSize >> 2) + 1); }

void BM_ThreeStreamReference(benchmark::State& state) {
  const std::size_t n = StorageBytes() / sizeof(__m128);
  auto* a = static_cast<__m128*>(SafeAlignedAlloc(StorageBytes(), 16));
  auto* b = static_cast<__m128*>(SafeAlignedAlloc(StorageBytes(), 16));
  auto* c = static_cast<__m128*>(SafeAlignedAlloc(StorageBytes(), 16));
  for (std::size_t i = 0; i < n; ++i) a[i] = b[i] = c[i] = _mm_set1_ps(static_cast<float>(i & 255));
  for (auto _ : state) {
    for (std::size_t i = 0; i < n; ++i) c[i] = _mm_add_ps(a[i], b[i]);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 3 * static_cast<std::int64_t>(StorageBytes()));
  SafeAlignedFree(a);
  SafeAlignedFree(b);
  SafeAlignedFree(c);
}

template <class Op>
void RunCombination(benchmark::State& state, Op op) {
  CSSEMatrix a, b;
  a.Create(kSize, kSize);
  b.Create(kSize, kSize);
  a.Fill(1.0f);
  b.Fill(0.5f);
  for (auto _ : state) {
    op(a, b);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 3 * static_cast<std::int64_t>(StorageBytes()));
}

void BM_AddMatrix(benchmark::State& state) {
  RunCombination(state, [](CSSEMatrix& a, CSSEMatrix& b) { a.AddMatrix(b); });
}
void BM_MaximumOf(benchmark::State& state) {
  RunCombination(state, [](CSSEMatrix& a, CSSEMatrix& b) { a.MaximumOf(b); });
}
void BM_MaskOut(benchmark::State& state) {
  RunCombination(state, [](CSSEMatrix& a, CSSEMatrix& b) { a.MaskOut(b); });
}
void BM_CombineAbsolute(benchmark::State& state) {
  RunCombination(state, [](CSSEMatrix& a, CSSEMatrix& b) { a.CombineAbsolute(b); });
}

}  // namespace

BENCHMARK(BM_ThreeStreamReference)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AddMatrix)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MaximumOf)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MaskOut)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CombineAbsolute)->Unit(benchmark::kMillisecond);
