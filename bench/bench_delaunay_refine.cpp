// Refinement of a coarse triangulation against a 1024 x 1024 smooth synthetic
// terrain down to a z tolerance of 0.5 % of the terrain's range, and the scan
// conversion of the result back into a raster.
//
//   bench_delaunay_refine --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>

#include "relief/CSSEMatrix.h"
#include "relief/TaCIncrementalDelaunay2D.h"

namespace {

constexpr int kSize = 1024;

// Rolling hills plus one ridge: smooth, with a range of about 100 units.
const CSSEMatrix& Terrain() {
  static CSSEMatrix field;
  if (field.GetSizeX() == 0) {
    field.Create(kSize, kSize);
    for (int y = 0; y < kSize; ++y)
      for (int x = 0; x < kSize; ++x) {
        const double u = x / double(kSize), v = y / double(kSize);
        const double h = 30.0 * std::sin(6.0 * u) * std::cos(5.0 * v) + 20.0 * std::exp(-40.0 * (u - v) * (u - v)) +
                         10.0 * std::sin(17.0 * u + 11.0 * v);
        field.SetPoint(x, y, static_cast<float>(h + 60.0));
      }
  }
  return field;
}

float TerrainRange() {
  float lo = 1e30f, hi = -1e30f;
  for (int y = 0; y < kSize; ++y)
    for (int x = 0; x < kSize; ++x) {
      lo = std::min(lo, Terrain().GetPoint(x, y));
      hi = std::max(hi, Terrain().GetPoint(x, y));
    }
  return hi - lo;
}

// The corners and a coarse 9 x 9 grid of the terrain, triangulated from the box.
std::unique_ptr<TaCIncrementalDelaunay2D> Coarse() {
  auto d = std::make_unique<TaCIncrementalDelaunay2D>(100);
  for (int j = 0; j <= 8; ++j)
    for (int i = 0; i <= 8; ++i) {
      const float x = i * (kSize - 1) / 8.0f, y = j * (kSize - 1) / 8.0f;
      SSEPoint p;
      p.m = _mm_setr_ps(x, y, Terrain().GetPoint(static_cast<int>(x + 0.5f), static_cast<int>(y + 0.5f)), 0.0f);
      d->AppendVertex(p);
    }
  d->Triangulate(d->GetNumVertices(), false, true);
  return d;
}

void BM_RefineTerrain(benchmark::State& state) {
  const float tolerance = 0.005f * TerrainRange();
  CSSEMatrix* field = const_cast<CSSEMatrix*>(&Terrain());
  std::unique_ptr<TaCIncrementalDelaunay2D> d;
  for (auto _ : state) {
    state.PauseTiming();
    d = Coarse();
    state.ResumeTiming();
    d->RefineTriangulation(field, 2.0f, 1000, tolerance);
  }
  state.counters["triangles"] = d->GetTriangleList().GetCount();
  state.counters["vertices"] = d->GetNumVertices();
  state.counters["tolerance"] = tolerance;
}

void BM_ScanConvertRefined(benchmark::State& state) {
  const float tolerance = 0.005f * TerrainRange();
  std::unique_ptr<TaCIncrementalDelaunay2D> d = Coarse();
  d->RefineTriangulation(const_cast<CSSEMatrix*>(&Terrain()), 2.0f, 1000, tolerance);
  d->FinalizeTriangleList();
  d->SetScanConvResolution(1.0f, 1.0f, 1.0f);
  d->CalcBoundingBox();
  CSSEMatrix out;
  SSEPoint origin;
  for (auto _ : state) {
    d->ScanConvertTriangulationMax(&out, 0.0f, origin);
    benchmark::DoNotOptimize(out.GetPoint(512, 512));
  }
  state.counters["triangles"] = d->GetFinalTriangleList().GetCount();
  state.counters["cells/s"] =
      benchmark::Counter(static_cast<double>(out.GetSizeX()) * out.GetSizeY() * state.iterations(),
                         benchmark::Counter::kIsRate);
}

}  // namespace

BENCHMARK(BM_RefineTerrain)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_ScanConvertRefined)->Unit(benchmark::kMillisecond);
