// Mesh persistence through a file: Store and Load of the full-resolution
// mesh of a smooth 512 x 512 field (about 524 thousand triangles, 140 MB
// on disk), in bytes of record per second.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include <unistd.h>

#include "bench/mesh_bench_fields.h"

namespace {

constexpr int kSize = 512;

CHTriangulation& Mesh() {
  static CHTriangulation mesh(&mesh_bench::SmoothField(kSize), 0.0f, true, 1.0f, 1.0f, 1.0f);
  return mesh;
}

std::filesystem::path File() {
  return std::filesystem::temp_directory_path() / ("relief_bench_mesh_" + std::to_string(getpid()) + ".bin");
}

void BM_Store(benchmark::State& state) {
  for (auto _ : state) {
    if (!Mesh().Store(File())) state.SkipWithError("cannot write the file");
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * (80 + 268 * int64_t(Mesh().NumTriangles)));
}

void BM_Load(benchmark::State& state) {
  if (!Mesh().Store(File())) state.SkipWithError("cannot write the file");
  for (auto _ : state) {
    CHTriangulation loaded;
    if (!loaded.Load(File())) state.SkipWithError("cannot read the file");
    benchmark::DoNotOptimize(loaded.EdgeArray);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * (80 + 268 * int64_t(Mesh().NumTriangles)));
  std::filesystem::remove(File());
}

}  // namespace

BENCHMARK(BM_Store)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Load)->Unit(benchmark::kMillisecond)->UseRealTime();
