// The error-bounded mesher on fractal terrain: triangles and time per error
// bound. The field is value-noise fBm (8 octaves, gain 0.5, heights 0-100,
// seed 1, first octave a quarter of the field wide), the kind of terrain
// adaptive meshers are usually compared on. On a smaller field the plain
// greedy reference of the tests runs beside it: the triangle counts of the
// two are the figure to compare (the reference is quadratic, its time is not).

#include <benchmark/benchmark.h>

#include <map>
#include <vector>

#include "relief/CHErrorBoundedMesher.h"
#include "relief/CSSEMatrix.h"
#include "tests/mesh/error_bounded_fields.h"
#include "tests/mesh/greedy_reference.h"

namespace {

CSSEMatrix& Terrain(int size) {
  static std::map<int, CSSEMatrix> fields;
  CSSEMatrix& f = fields[size];
  if (!f.GetMatrixDataDirectly()) error_bounded_fields::FbmField(f, size, size, 1);
  return f;
}

void BM_ErrorBoundedMesher(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  const float maxError = static_cast<float>(state.range(1)) / 100.0f;
  CSSEMatrix& field = Terrain(size);
  CHErrorBoundedMesher mesher;
  for (auto _ : state) {
    mesher.CreateMeshFromSSEField(&field, maxError, INT32_MAX, INT32_MAX);
    benchmark::DoNotOptimize(mesher.GetNumTriangles());
  }
  state.counters["triangles"] = mesher.GetNumTriangles();
  state.counters["points"] = mesher.GetNumPoints();
  state.counters["max_error"] = mesher.GetMaxError();
  state.counters["rms_error"] = mesher.GetRMSError();
}
// Arguments: field size, error bound in hundredths.
BENCHMARK(BM_ErrorBoundedMesher)
    ->Args({1025, 25})
    ->Args({1025, 50})
    ->Args({1025, 100})
    ->Args({1025, 200})
    ->Args({1025, 400})
    ->Args({4097, 100})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_PlainGreedyReference(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  const double maxError = static_cast<double>(state.range(1)) / 100.0;
  CSSEMatrix& field = Terrain(size);
  std::vector<float> plain(static_cast<size_t>(size) * size);
  for (int y = 0; y < size; ++y)
    for (int x = 0; x < size; ++x) plain[static_cast<size_t>(y) * size + x] = field.GetPoint(x, y);
  size_t triangles = 0;
  for (auto _ : state) triangles = greedy_reference::GreedyMesh(plain, size, size, maxError).triangles.size();
  state.counters["triangles"] = static_cast<double>(triangles);
}
BENCHMARK(BM_PlainGreedyReference)->Args({129, 100})->Args({129, 200})->Args({129, 400})->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ErrorBoundedMesher)->Args({129, 100})->Args({129, 200})->Args({129, 400})->Unit(benchmark::kMillisecond);

}  // namespace
