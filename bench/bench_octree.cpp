// Octree construction and the filing of a 1-million-triangle mesh.

#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <string>

#include "relief/CHOctree.h"
#include "relief/CHTriangulation.h"
#include "relief/MessageBox.h"

namespace {

SSEPoint Pt(float x, float y, float z) {
  SSEPoint p;
  p.m = _mm_set_ps(0.0f, z, y, x);
  return p;
}

// 1000 x 500 cells of a wavy height field, two triangles each.
void WavyMesh(CHTriangulation& m) {
  const int nx = 1000, ny = 500;
  m.CreateTriangulation(2 * nx * ny);
  auto h = [](int x, int y) { return 20.0f + 10.0f * std::sin(x * 0.01f) * std::cos(y * 0.013f); };
  int t = 0;
  for (int y = 0; y < ny; ++y) {
    for (int x = 0; x < nx; ++x) {
      const float fx = x * 0.1f, fy = y * 0.1f, s = 0.1f;
      SSEPoint* p = m.EdgeArray + 3 * t;
      p[0] = Pt(fx, fy, h(x, y));
      p[1] = Pt(fx + s, fy, h(x + 1, y));
      p[2] = Pt(fx + s, fy + s, h(x + 1, y + 1));
      p[3] = Pt(fx, fy, h(x, y));
      p[4] = Pt(fx + s, fy + s, h(x + 1, y + 1));
      p[5] = Pt(fx, fy + s, h(x, y + 1));
      t += 2;
    }
  }
  m.CalcBoundingBox();
  m.CalcSTV();
}

void BM_OctreeConstruction(benchmark::State& state) {
  SetMessageBoxHandler([](const std::string&) {});
  SSEPoint lo = Pt(0, 0, 0), hi = Pt(100, 100, 100);
  const float minBrick = 100.0f / static_cast<float>(1 << (state.range(0) - 1));
  int bricks = 0, levels = 0;
  for (auto _ : state) {
    CHOctree o(hi, lo, minBrick);
    bricks = o.GetNumBricks();
    levels = o.NumLevels;
    benchmark::DoNotOptimize(bricks);
  }
  SetMessageBoxHandler({});
  state.counters["levels"] = levels;
  state.counters["bricks"] = bricks;
}
BENCHMARK(BM_OctreeConstruction)->Arg(5)->Arg(7)->Unit(benchmark::kMillisecond);

void BM_OctreeEntries1M(benchmark::State& state) {
  SetMessageBoxHandler([](const std::string&) {});
  CHTriangulation mesh;
  WavyMesh(mesh);
  SSEPoint lo = Pt(0, 0, 0), hi = Pt(100, 100, 100);
  const float minBrick = 100.0f / static_cast<float>(1 << (state.range(0) - 1));
  int levels = 0;
  for (auto _ : state) {
    state.PauseTiming();
    auto o = std::make_unique<CHOctree>(hi, lo, minBrick);
    state.ResumeTiming();
    o->CalculateOctreeEntries(&mesh, 0);
    state.PauseTiming();
    levels = o->NumLevels;
    o.reset();  // releasing the entry blocks is not part of the filing
    state.ResumeTiming();
  }
  SetMessageBoxHandler({});
  state.counters["triangles"] = mesh.GetNumTriangles();
  state.counters["levels"] = levels;
  state.SetItemsProcessed(state.iterations() * mesh.GetNumTriangles());
}
BENCHMARK(BM_OctreeEntries1M)->Arg(5)->Arg(7)->Unit(benchmark::kMillisecond);

}  // namespace
