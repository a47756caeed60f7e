// CGAL's Delaunay_triangulation_2 on the very points bench_delaunay uses, so
// the ratio to relief's incremental triangulation is measured in one run:
// CGAL inserting the points as a range (it sorts them along a space-filling
// curve first), one by one in index order (relief's order, which the
// triangulation's contract fixes) with and without its location hierarchy,
// and relief's box start in the same run.
//
//   bench_peer_cgal_delaunay --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_hierarchy_2.h>

#include <memory>
#include <vector>

#include "bench/bench_delaunay_points.h"

namespace {

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Delaunay = CGAL::Delaunay_triangulation_2<Kernel>;
using HierarchyVb = CGAL::Triangulation_hierarchy_vertex_base_2<CGAL::Triangulation_vertex_base_2<Kernel>>;
using HierarchyTds = CGAL::Triangulation_data_structure_2<HierarchyVb>;
using Hierarchy = CGAL::Triangulation_hierarchy_2<CGAL::Delaunay_triangulation_2<Kernel, HierarchyTds>>;

std::vector<Kernel::Point_2> CgalPoints(int n) {
  std::vector<Kernel::Point_2> out;
  for (const delaunay_bench::Xy& p : delaunay_bench::UniformPoints(n)) out.emplace_back(p.x, p.y);
  return out;
}

void BM_CgalRange(benchmark::State& state) {
  const auto pts = CgalPoints(static_cast<int>(state.range(0)));
  std::size_t faces = 0;
  for (auto _ : state) {
    Delaunay dt;
    dt.insert(pts.begin(), pts.end());
    faces = dt.number_of_faces();
    state.PauseTiming();  // destruction is not part of the figure
    { Delaunay gone(std::move(dt)); }
    state.ResumeTiming();
  }
  state.counters["triangles"] = static_cast<double>(faces);
}

void BM_CgalOneByOne(benchmark::State& state) {
  const auto pts = CgalPoints(static_cast<int>(state.range(0)));
  std::size_t faces = 0;
  for (auto _ : state) {
    Delaunay dt;
    Delaunay::Face_handle hint;
    for (const auto& p : pts) hint = dt.insert(p, hint)->face();
    faces = dt.number_of_faces();
    state.PauseTiming();
    { Delaunay gone(std::move(dt)); }
    state.ResumeTiming();
  }
  state.counters["triangles"] = static_cast<double>(faces);
}

// One by one in index order with CGAL's point-location hierarchy: the closest
// CGAL counterpart to relief's insertion order.
void BM_CgalHierarchyOneByOne(benchmark::State& state) {
  const auto pts = CgalPoints(static_cast<int>(state.range(0)));
  std::size_t faces = 0;
  for (auto _ : state) {
    auto dt = std::make_unique<Hierarchy>();
    for (const auto& p : pts) dt->insert(p);
    faces = dt->number_of_faces();
    state.PauseTiming();
    dt.reset();
    state.ResumeTiming();
  }
  state.counters["triangles"] = static_cast<double>(faces);
}

void BM_ReliefBox(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const auto pts = delaunay_bench::UniformPoints(n);
  std::unique_ptr<TaCIncrementalDelaunay2D> d;
  for (auto _ : state) {
    state.PauseTiming();
    d = std::make_unique<TaCIncrementalDelaunay2D>();
    delaunay_bench::Load(*d, pts);
    state.ResumeTiming();
    d->Triangulate(n, true, true);
  }
  state.counters["triangles"] = d->GetFinalTriangleList().GetCount();
}

}  // namespace

BENCHMARK(BM_CgalRange)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CgalOneByOne)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CgalHierarchyOneByOne)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReliefBox)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
