// Ear clipping of a noisy star and a wavy circle from 100 to 100k vertices:
// the ratios between sizes show the growth (the edge tree keeps each flag
// test local, so it should stay close to n log n).

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "relief/CHPolygonTriangulationRefinement.h"
#include "relief/CHPolygonTriangulator.h"
#include "relief/CSSE3dPolygon.h"

namespace {

// A star polygon about the origin: n points at increasing angles, radii
// between 50 and 100, and every fifth point moved onto the segment between
// its neighbours (collinear runs).
void StarPolygon(CSSE3dPolygon& poly, int n, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> radius(50.0, 100.0);
  std::vector<double> x(n), y(n);
  for (int i = 0; i < n; ++i) {
    const double a = 6.283185307179586 * i / n, r = radius(rng);
    x[i] = r * std::cos(a);
    y[i] = r * std::sin(a);
  }
  for (int i = 4; i + 1 < n; i += 5) {
    x[i] = 0.5 * (x[i - 1] + x[i + 1]);
    y[i] = 0.5 * (y[i - 1] + y[i + 1]);
  }
  poly.Create(n);
  for (int i = 0; i < n; ++i) poly.SetPoint(i, static_cast<float>(x[i]), static_cast<float>(y[i]), 0.0f);
}

void BM_EarClipStar(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  CSSE3dPolygon poly;
  StarPolygon(poly, n, 12345);
  int triangles = 0;
  for (auto _ : state) {
    CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, 1.0f, true);
    triangles = t.GetNumTriangles();
    benchmark::DoNotOptimize(triangles);
  }
  state.counters["triangles"] = triangles;
  state.counters["vertices"] = n;
}
BENCHMARK(BM_EarClipStar)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// A circle with a wave on its radius: long convex and concave runs. The
// radius grows with n (points about 3 units apart), so that neighbouring
// points stay clear of the predicates' tolerance.
void WavyCircle(CSSE3dPolygon& poly, int n) {
  poly.Create(n);
  for (int i = 0; i < n; ++i) {
    const double a = 6.283185307179586 * i / n, r = 0.5 * n * (1.0 + 0.1 * std::sin(20.0 * a));
    poly.SetPoint(i, static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a)), 0.0f);
  }
}

void BM_EarClipWavyCircle(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  CSSE3dPolygon poly;
  WavyCircle(poly, n);
  int triangles = 0;
  for (auto _ : state) {
    CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, 1.0f, true);
    triangles = t.GetNumTriangles();
    benchmark::DoNotOptimize(triangles);
  }
  state.counters["triangles"] = triangles;
  state.counters["vertices"] = n;
}
BENCHMARK(BM_EarClipWavyCircle)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// The diagonal tests alone, walk against index, on the same triangulator:
// where the index starts to pay (small polygons take the walk).
void BM_EarClipRetriangulate(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const bool walk = state.range(1) != 0, star = state.range(2) != 0;
  CSSE3dPolygon poly;
  if (star) {
    StarPolygon(poly, n, 12345);
  } else {
    WavyCircle(poly, n);
  }
  CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, 1.0f, true);
  for (auto _ : state) {
    t.Retriangulate(walk);
    benchmark::DoNotOptimize(t.GetNumTriangles());
  }
  state.SetLabel(std::string(star ? "star" : "wavy") + (walk ? " walk" : " index"));
}
BENCHMARK(BM_EarClipRetriangulate)
    ->ArgsProduct({{50, 100, 200, 400, 1000}, {1, 0}, {1, 0}})
    ->Unit(benchmark::kMicrosecond);

void BM_EarClipRefine(benchmark::State& state) {
  CSSE3dPolygon poly;
  StarPolygon(poly, 1000, 12345);
  CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, 1.0f, true);
  int triangles = 0;
  for (auto _ : state) {
    CHPolygonTriangulationRefinement r(&t, static_cast<float>(state.range(0)), 14);
    triangles = r.GetNumTriangles();
    benchmark::DoNotOptimize(triangles);
  }
  state.counters["triangles"] = triangles;
}
BENCHMARK(BM_EarClipRefine)->Arg(4)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
