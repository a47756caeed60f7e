// The triangulator's merge and nearest-triangle walk.
//
// Merging: two triangulations of 50,000 uniform points each over the same
// square. BM_MergeOther times InsertOtherTriangulation of the second into a
// copy of the first; BM_MergeOneByOne, its reference, times inserting the
// second set's points into the same copy one by one in their own order;
// BM_CombineIntoThird adds the copy of the first to the timed work.
//
// Nearest triangle: 100,000 points; 1M coherent queries (a random walk with
// steps of about one point spacing, each query starting from the previous
// answer), and queries from the list's head at random places for the
// O(sqrt n) case.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

#include "bench/bench_delaunay_points.h"

namespace {

using delaunay_bench::Xy;

struct MergeInputs {
  TaCIncrementalDelaunay2D first, second;
  std::vector<Xy> secondPoints;
  explicit MergeInputs(int n) {
    const std::vector<Xy> all = delaunay_bench::UniformPoints(2 * n, 7);
    const std::vector<Xy> a(all.begin(), all.begin() + n);
    secondPoints.assign(all.begin() + n, all.end());
    delaunay_bench::Load(first, a);
    first.Triangulate(n, true, false);
    delaunay_bench::Load(second, secondPoints);
    second.Triangulate(n, true, false);
  }
};

MergeInputs& Inputs(int n) {
  static MergeInputs inputs(n);
  return inputs;
}

void BM_MergeOther(benchmark::State& state) {
  MergeInputs& in = Inputs(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    auto copy = std::make_unique<TaCIncrementalDelaunay2D>();
    copy->InsertOtherTriangulation(in.first, false);
    state.ResumeTiming();
    copy->InsertOtherTriangulation(in.second, true);
    benchmark::DoNotOptimize(copy->GetFinalTriangleList().GetCount());
    state.PauseTiming();
    copy.reset();
    state.ResumeTiming();
  }
}

void BM_MergeOneByOne(benchmark::State& state) {
  MergeInputs& in = Inputs(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    auto copy = std::make_unique<TaCIncrementalDelaunay2D>();
    copy->InsertOtherTriangulation(in.first, false);
    copy->ReallocSize(copy->GetNumVertices() + static_cast<int>(in.secondPoints.size()));
    state.ResumeTiming();
    for (const Xy& p : in.secondPoints) copy->InsertVertexIntoTriangulation(p.x, p.y, false);
    copy->FinalizeTriangleList();
    benchmark::DoNotOptimize(copy->GetFinalTriangleList().GetCount());
    state.PauseTiming();
    copy.reset();
    state.ResumeTiming();
  }
}

void BM_CombineIntoThird(benchmark::State& state) {
  MergeInputs& in = Inputs(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    auto combined = std::make_unique<TaCIncrementalDelaunay2D>();
    combined->CombineTriangulations(in.first, in.second, true);
    benchmark::DoNotOptimize(combined->GetFinalTriangleList().GetCount());
    state.PauseTiming();
    combined.reset();
    state.ResumeTiming();
  }
}

struct NearestInputs {
  TaCIncrementalDelaunay2D d;
  float side;
  explicit NearestInputs(int n) {
    delaunay_bench::Load(d, delaunay_bench::UniformPoints(n, 3));
    d.Triangulate(n, true, false);
    side = 4.0f * std::sqrt(static_cast<float>(n));
  }
};

void BM_NearestTriangleCoherent(benchmark::State& state) {
  static NearestInputs in(100000);
  const int queries = static_cast<int>(state.range(0));
  std::mt19937 rng(5);
  std::uniform_real_distribution<float> step(-4.0f, 4.0f);
  std::vector<Xy> path(static_cast<std::size_t>(queries));
  float x = in.side / 2, y = in.side / 2;
  for (Xy& p : path) {
    x = std::clamp(x + step(rng), 0.0f, in.side);
    y = std::clamp(y + step(rng), 0.0f, in.side);
    p = {x, y};
  }
  for (auto _ : state) {
    t_hdelaunaytriangle* t = nullptr;
    for (const Xy& p : path) t = in.d.NearestTriangle(p.x, p.y, t);
    benchmark::DoNotOptimize(t);
  }
  state.SetItemsProcessed(state.iterations() * queries);
}

void BM_NearestTriangleFromHead(benchmark::State& state) {
  static NearestInputs in(100000);
  std::mt19937 rng(6);
  std::uniform_real_distribution<float> u(0.0f, in.side);
  std::vector<Xy> queries(10000);
  for (Xy& p : queries) p = {u(rng), u(rng)};
  for (auto _ : state)
    for (const Xy& p : queries) benchmark::DoNotOptimize(in.d.NearestTriangle(p.x, p.y, nullptr));
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(queries.size()));
}

}  // namespace

BENCHMARK(BM_MergeOther)->Arg(50000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MergeOneByOne)->Arg(50000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CombineIntoThird)->Arg(50000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NearestTriangleCoherent)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NearestTriangleFromHead)->Unit(benchmark::kMillisecond);
