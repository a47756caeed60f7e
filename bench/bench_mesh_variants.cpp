// The variants of the subsampled builder, the two-field solid, the loft and
// the further scan conversions, each beside its plain routine in the same
// run. "per_triangle_vs_plain" is the variant's time per triangle over the
// plain subsampled builder's; "vs_plain_max" the scan variant's time over
// ScanConvertTriangulationMax's on the same mesh (run the plain benchmark
// first: the filter order below keeps it first).

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>

#include "bench/mesh_bench_fields.h"
#include "relief/CSSE3dPolygon.h"

namespace {

constexpr int kSize = 1024;
std::map<int, double> g_plainBuildPerTriangle;  // by step
double g_plainScan = 0;

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

// A circle of n points around the middle of a raster of the given size,
// covering most of it.
CSSE3dPolygon& Circle(int n, int rasterSize) {
  static std::map<std::pair<int, int>, CSSE3dPolygon> circles;
  CSSE3dPolygon& p = circles[{n, rasterSize}];
  if (p.GetNumPoints() == 0) {
    const double radius = 0.45 * rasterSize;
    p.Create(n);
    for (int i = 0; i < n; ++i) {
      const double a = 6.283185307179586 * i / n;
      p.SetPoint(i, float(rasterSize / 2 + radius * std::cos(a)), float(rasterSize / 2 + radius * std::sin(a)), 0);
    }
  }
  return p;
}

CSSEMatrix& Bottom() {
  static CSSEMatrix f;
  if (!f.GetMatrixDataDirectly()) {
    CSSEMatrix& top = mesh_bench::SmoothField(kSize);
    f.Create(kSize, kSize);
    for (int y = 0; y < kSize; ++y)
      for (int x = 0; x < kSize; ++x) f.SetPoint(x, y, top.GetPoint(x, y) - 5.0f);
  }
  return f;
}

template <class Build>
void BuildBenchmark(benchmark::State& state, bool plain, Build build) {
  const int step = int(state.range(0));
  CHTriangulation mesh(0, 1.0f, 1.0f, 1.0f);
  build(mesh);  // maps the pages once
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    build(mesh);
    benchmark::ClobberMemory();
  }
  const double perTriangle = Seconds(start) / (double(state.iterations()) * mesh.NumTriangles);
  if (plain) g_plainBuildPerTriangle[step] = perTriangle;
  if (!plain && g_plainBuildPerTriangle.count(step))
    state.counters["per_triangle_vs_plain"] = perTriangle / g_plainBuildPerTriangle[step];
  state.SetItemsProcessed(int64_t(state.iterations()) * mesh.NumTriangles);
  state.counters["triangles"] = mesh.NumTriangles;
}

void BM_Build_PlainSubSampled(benchmark::State& state) {
  const int step = int(state.range(0));
  BuildBenchmark(state, true, [&](CHTriangulation& m) {
    m.CreateTriangulationFromSSEFieldSubSampled(&mesh_bench::SmoothField(kSize), 0.0f, true, step, step);
  });
}

void BM_Build_Polygon(benchmark::State& state) {
  const int step = int(state.range(0));
  BuildBenchmark(state, false, [&](CHTriangulation& m) {
    m.CreateTriangulationFromSSEFieldSubSampled(&mesh_bench::SmoothField(kSize), 0.0f, true, step, step,
                                                &Circle(2000, kSize));
  });
}

void BM_Build_Rectangle(benchmark::State& state) {
  const int step = int(state.range(0));
  BuildBenchmark(state, false, [&](CHTriangulation& m) {
    m.CreateTriangulationFromSSEFieldSubSampled(&mesh_bench::SmoothField(kSize), 0.0f, true, 100, 900, 50, 1000, step,
                                                step, false);
  });
}

void BM_Build_TwoFields(benchmark::State& state) {
  const int step = int(state.range(0));
  BuildBenchmark(state, false, [&](CHTriangulation& m) {
    m.CreateTriangulationFromSSEFieldSubSampledTwoFields(&mesh_bench::SmoothField(kSize), &Bottom(), true, step, step);
  });
}

// The two-polygon constructor (loft and its passes) between two
// 10,000-point rings at different heights.
void BM_Loft(benchmark::State& state) {
  const int n = int(state.range(0));
  CSSE3dPolygon low, high;
  low.Create(n), high.Create(n);
  for (int i = 0; i < n; ++i) {
    const double a = 6.283185307179586 * i / n, b = a + 0.3;
    low.SetPoint(i, float(10 * std::cos(a)), float(10 * std::sin(a) * (1 + 0.2 * std::cos(3 * a))), 0.0f);
    high.SetPoint(i, float(6 * std::cos(b)), float(6 * std::sin(b)), 8.0f);
  }
  int triangles = 0;
  for (auto _ : state) {
    CHTriangulation loft(&low, &high, 1.0f, 1.0f, 1.0f, false, false);
    triangles = loft.NumTriangles;
    benchmark::DoNotOptimize(loft.EdgeArray);
  }
  state.counters["triangles"] = triangles;
}

CHTriangulation& GridMesh() {
  // Half-pixel resolution: several samples per triangle, so the refinement's
  // shifted lattice has samples too.
  static CHTriangulation* m = [] {
    auto* mesh = new CHTriangulation(&mesh_bench::SmoothField(kSize), 0.0f, true, 1.0f, 1.0f, 1.0f);
    mesh->SetScanConvResolution(0.5f, 0.5f, 1.0f);
    return mesh;
  }();
  return *m;
}

template <class Convert>
void ScanBenchmark(benchmark::State& state, bool plain, Convert convert) {
  CHTriangulation& mesh = GridMesh();
  CSSEMatrix out;
  mesh.ScanConvertTriangulationMax(&out, 0.0f);  // the raster the variants work on
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    convert(mesh, out);
    benchmark::DoNotOptimize(out.GetMatrixDataDirectly());
  }
  const double seconds = Seconds(start) / double(state.iterations());
  if (plain) g_plainScan = seconds;
  if (!plain && g_plainScan > 0) state.counters["vs_plain_max"] = seconds / g_plainScan;
  state.SetItemsProcessed(int64_t(state.iterations()) * mesh.NumTriangles);
}

void BM_Scan_PlainMax(benchmark::State& state) {
  ScanBenchmark(state, true, [](CHTriangulation& m, CSSEMatrix& out) { m.ScanConvertTriangulationMax(&out, 0.0f); });
}
void BM_Scan_ThroughLineMax(benchmark::State& state) {
  ScanBenchmark(state, false, [](CHTriangulation& m, CSSEMatrix& out) {
    m.ScanConvertThroughLineMax(&out, &Circle(2000, out.GetSizeX()), 0.0f);
  });
}
void BM_Scan_MaxNoDelete(benchmark::State& state) {
  ScanBenchmark(state, false,
                [](CHTriangulation& m, CSSEMatrix& out) { m.ScanConvertTriangulationMaxNoDelete(&out, true, true); });
}
void BM_Scan_MaxNoDeleteInYArea(benchmark::State& state) {
  ScanBenchmark(state, false, [](CHTriangulation& m, CSSEMatrix& out) {
    m.ScanConvertTriangulationMaxNoDeleteInYArea(&out, 0.0f, float(kSize));
  });
}
void BM_Scan_RefineTop(benchmark::State& state) {
  ScanBenchmark(state, false, [](CHTriangulation& m, CSSEMatrix& out) { m.RefineScanConvImageTop(&out, 0.0f); });
}

}  // namespace

BENCHMARK(BM_Build_PlainSubSampled)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Build_Polygon)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Build_Rectangle)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Build_TwoFields)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Loft)->Arg(10000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Scan_PlainMax)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Scan_ThroughLineMax)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Scan_MaxNoDelete)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Scan_MaxNoDeleteInYArea)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Scan_RefineTop)->Unit(benchmark::kMillisecond)->UseRealTime();
