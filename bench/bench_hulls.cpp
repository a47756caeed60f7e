// 2D hull of 1M points (against a std::sort monotone chain in the same
// run), 3D hull of points in a ball, lifted Delaunay of 10k and 100k points.

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "relief/CH2DDelaunay.h"
#include "relief/CHConvexHull2D.h"
#include "relief/CHConvexHull3D.h"
#include "relief/CSSE2dPolygon.h"
#include "relief/MessageBox.h"
#include "tests/triangulation/test_hull_reference.h"

namespace {

// The hull prints a line or two per run; keep them out of the report.
class SilentStdout {
 public:
  SilentStdout() {
    std::fflush(stdout);
    saved_ = dup(1);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    close(null);
  }
  ~SilentStdout() {
    std::fflush(stdout);
    dup2(saved_, 1);
    close(saved_);
  }

 private:
  int saved_;
};

void RandomPlanar(CSSE2dPolygon& poly, int n, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> c(0.0f, 1000.0f);
  poly.Create(n);
  for (int i = 0; i < n; ++i) poly.SetPoint(i, c(rng), c(rng));
}

void BM_Hull2D(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  CSSE2dPolygon poly;
  RandomPlanar(poly, n, 7);
  int size = 0;
  {
    SilentStdout quiet;
    for (auto _ : state) {
      CHConvexHull2D h(&poly);
      size = h.GetHullSize();
      benchmark::DoNotOptimize(size);
    }
  }
  state.counters["hull"] = size;
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_Hull2D)->Arg(100)->Arg(1000000)->Unit(benchmark::kMillisecond);

// Reference: Andrew's monotone chain over std::sort (the tests' plain
// hull), exact enough for a timing comparison.
void BM_Hull2DReferenceMonotoneChain(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  CSSE2dPolygon poly;
  RandomPlanar(poly, n, 7);
  std::vector<std::pair<float, float>> pts(n);
  for (int i = 0; i < n; ++i) poly.GetPoint(i, pts[i].first, pts[i].second);
  std::size_t size = 0;
  for (auto _ : state) {
    size = MonotoneChainHull(pts, [](const auto& o, const auto& a, const auto& b) {
             return (double(a.first) - o.first) * (double(b.second) - o.second) -
                    (double(a.second) - o.second) * (double(b.first) - o.first);
           }).size();
    benchmark::DoNotOptimize(size);
  }
  state.counters["hull"] = static_cast<double>(size);
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_Hull2DReferenceMonotoneChain)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_Hull3DBall(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::mt19937 rng(11);
  std::normal_distribution<float> g(0.0f, 1.0f);
  std::vector<float> xyz;
  for (int i = 0; i < n; ++i) {
    float x = g(rng), y = g(rng), z = g(rng);
    const float s = 5000.0f / std::sqrt(x * x + y * y + z * z) * std::cbrt(std::uniform_real_distribution<float>(0, 1)(rng));
    xyz.insert(xyz.end(), {x * s, y * s, z * s});
  }
  int faces = 0;
  for (auto _ : state) {
    CHConvexHull3D h;
    for (int i = 0; i < n; ++i) h.AppendVertex3D(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2], 0.0f);
    h.CalcConvexHull();
    faces = h.GetNumFaces();
  }
  state.counters["faces"] = faces;
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_Hull3DBall)->Arg(100)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_LiftedDelaunay(benchmark::State& state) {
  SetMessageBoxHandler([](const std::string&) {});
  const int n = static_cast<int>(state.range(0));
  std::mt19937 rng(3);
  // Integer tenths over a square sized so that repeats stay rare.
  std::uniform_int_distribution<int> c(0, 100000);
  std::vector<float> xy;
  for (int i = 0; i < 2 * n; ++i) xy.push_back(c(rng) / 10.0f);
  int faces = 0;
  for (auto _ : state) {
    CH2DDelaunay d;
    for (int i = 0; i < n; ++i) d.AppendVertex(xy[2 * i], xy[2 * i + 1], -1, false);
    d.CalcDelaunayTriangulation();
    faces = d.GetNumFaces();
  }
  SetMessageBoxHandler({});
  state.counters["triangles"] = faces;
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_LiftedDelaunay)->Arg(100)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
