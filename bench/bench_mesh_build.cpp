// Height field to mesh at full resolution on a 2048 x 2048 smooth field
// (every pixel valid, about 8.4 million triangles, 2.8 GB of mesh), against
// memset of the same number of bytes in the same run, in two settings:
//  - warm: memset into a mapped buffer, against the builder re-building a
//    mesh of the same size (which keeps its blocks);
//  - fresh: allocate, memset, free, against a builder that allocates a new
//    mesh every time (the constructor). First touches of fresh pages cost
//    far more than the writes on virtual machines, so this pair mostly
//    measures the system's page faults.
// "vs_warm" / "vs_fresh" are the builder's bytes per second over the
// reference's. Writing zeros runs about twice as fast as writing other bytes
// on some machines (these among them), so the warm reference is measured
// both ways: "vs_warm" against a memset of zeros, "vs_warm_nonzero" against
// a memset of a non-zero byte, which is what the builder writes.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/mesh_bench_fields.h"
#include "relief/SafeMemory.h"

namespace {

constexpr int kSize = 2048;

int TrianglesOfField() {
  static const int n = 2 * mesh_bench::SmoothField(kSize).NumValuesAbove(0.0f);
  return n;
}

double g_freshRate = 0, g_warmRate = 0, g_warmNonZeroRate = 0;

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

void Ref_MemsetFresh(benchmark::State& state) {
  const std::size_t bytes = std::size_t(mesh_bench::MeshBytes(TrianglesOfField()));
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    void* p = SafeAlignedAlloc(bytes, 16);
    std::memset(p, 0, bytes);
    benchmark::DoNotOptimize(p);
    benchmark::ClobberMemory();
    SafeAlignedFree(p);
  }
  g_freshRate = state.iterations() * double(bytes) / Seconds(start);
  state.SetBytesProcessed(int64_t(state.iterations() * bytes));
}

// state.range(0) is the byte written.
void Ref_MemsetWarm(benchmark::State& state) {
  const std::size_t bytes = std::size_t(mesh_bench::MeshBytes(TrianglesOfField()));
  const int value = static_cast<int>(state.range(0));
  std::vector<char> buffer(bytes, 1);
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    std::memset(buffer.data(), value, bytes);
    benchmark::ClobberMemory();
  }
  (value == 0 ? g_warmRate : g_warmNonZeroRate) = state.iterations() * double(bytes) / Seconds(start);
  state.SetBytesProcessed(int64_t(state.iterations() * bytes));
}

void Report(benchmark::State& state, int triangles, double seconds, bool fresh) {
  const double bytes = mesh_bench::MeshBytes(triangles);
  state.SetItemsProcessed(int64_t(state.iterations()) * triangles);
  state.SetBytesProcessed(int64_t(state.iterations() * bytes));
  const double rate = state.iterations() * bytes / seconds;
  if (fresh && g_freshRate > 0) state.counters["vs_fresh"] = rate / g_freshRate;
  if (!fresh && g_warmRate > 0) state.counters["vs_warm"] = rate / g_warmRate;
  if (!fresh && g_warmNonZeroRate > 0) state.counters["vs_warm_nonzero"] = rate / g_warmNonZeroRate;
}

// The builder alone, re-building into the blocks of the previous build.
void BM_FieldToMesh(benchmark::State& state) {
  CSSEMatrix& field = mesh_bench::SmoothField(kSize);
  CHTriangulation mesh(0, 1.0f, 1.0f, 1.0f);
  mesh.CreateTriangulationFromSSEField(&field, 0.0f, true);  // maps the pages once
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    mesh.CreateTriangulationFromSSEField(&field, 0.0f, true);
    benchmark::ClobberMemory();
  }
  Report(state, TrianglesOfField(), Seconds(start), false);
}

// The constructor: builder, bounding box and S/T/V.
void BM_FieldConstructor(benchmark::State& state) {
  CSSEMatrix& field = mesh_bench::SmoothField(kSize);
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    CHTriangulation mesh(&field, 0.0f, true, 1.0f, 1.0f, 1.0f);
    benchmark::DoNotOptimize(mesh.EdgeArray);
  }
  Report(state, TrianglesOfField(), Seconds(start), true);
}

}  // namespace

BENCHMARK(Ref_MemsetWarm)->Arg(0)->Arg(0x3f)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FieldToMesh)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Ref_MemsetFresh)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FieldConstructor)->Unit(benchmark::kMillisecond)->UseRealTime();
