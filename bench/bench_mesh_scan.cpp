// Mesh to height field: ScanConvertTriangulationMax of the full-resolution
// meshes of smooth 1024 x 1024 and 2048 x 2048 fields, in triangles per
// second (the target is 40 million per second on the 1024 mesh).

#include <benchmark/benchmark.h>

#include "bench/mesh_bench_fields.h"

namespace {

CHTriangulation& GridMesh(int size) {
  static std::map<int, CHTriangulation*> meshes;
  CHTriangulation*& m = meshes[size];
  if (!m) m = new CHTriangulation(&mesh_bench::SmoothField(size), 0.0f, true, 1.0f, 1.0f, 1.0f);
  return *m;
}

void BM_ScanConvert(benchmark::State& state, void (CHTriangulation::*convert)(CSSEMatrix*, float)) {
  CHTriangulation& mesh = GridMesh(int(state.range(0)));
  CSSEMatrix out;
  for (auto _ : state) {
    (mesh.*convert)(&out, 0.0f);
    benchmark::DoNotOptimize(out.GetMatrixDataDirectly());
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * mesh.NumTriangles);
  state.counters["triangles"] = mesh.NumTriangles;
}

}  // namespace

BENCHMARK_CAPTURE(BM_ScanConvert, Max, &CHTriangulation::ScanConvertTriangulationMax)
    ->Arg(1024)
    ->Arg(2048)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_ScanConvert, Min, &CHTriangulation::ScanConvertTriangulationMin)
    ->Arg(1024)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
