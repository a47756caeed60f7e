// Triangulation of uniform random points: the circle grid against the plain
// scan of the whole working list, both starts.
//
//   bench_delaunay --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
//
// The plain scan is O(n^2): it runs at 1k and 10k only, and the growth
// between the two gives the extrapolation to 100k.
#include <benchmark/benchmark.h>

#include <memory>

#include "bench/bench_delaunay_points.h"

namespace {

void Triangulate(benchmark::State& state, bool boxStart, bool plain) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<delaunay_bench::Xy> pts = delaunay_bench::UniformPoints(n);
  int triangles = 0;
  std::unique_ptr<TaCIncrementalDelaunay2D> d;
  for (auto _ : state) {
    // Set-up and the previous round's destruction are not part of the figure.
    state.PauseTiming();
    d = std::make_unique<TaCIncrementalDelaunay2D>();
    d->SetReferenceScans(plain);
    delaunay_bench::Load(*d, pts);
    state.ResumeTiming();
    d->Triangulate(n, true, boxStart);
    triangles = d->GetFinalTriangleList().GetCount();
  }
  state.counters["triangles"] = triangles;
  state.counters["points/s"] = benchmark::Counter(static_cast<double>(n) * state.iterations(), benchmark::Counter::kIsRate);
}

void BM_TriangulateBox(benchmark::State& s) { Triangulate(s, true, false); }
void BM_TriangulateFirstThree(benchmark::State& s) { Triangulate(s, false, false); }
void BM_TriangulateBoxPlainScan(benchmark::State& s) { Triangulate(s, true, true); }
void BM_TriangulateFirstThreePlainScan(benchmark::State& s) { Triangulate(s, false, true); }

}  // namespace

BENCHMARK(BM_TriangulateBox)->Arg(100)->Arg(150)->Arg(200)->Arg(250)->Arg(300)->Arg(1000)->Arg(10000)->Arg(100000)->Arg(300000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TriangulateFirstThree)->Arg(100)->Arg(150)->Arg(200)->Arg(250)->Arg(300)->Arg(1000)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TriangulateBoxPlainScan)->Arg(100)->Arg(150)->Arg(200)->Arg(250)->Arg(300)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TriangulateFirstThreePlainScan)->Arg(100)->Arg(150)->Arg(200)->Arg(250)->Arg(300)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
