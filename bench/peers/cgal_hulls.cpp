// relief's 2D hull, 3D hull and lifted Delaunay beside CGAL (and qhull when
// it is installed) on the very same points, in one binary so that the
// ratios come from one run:
//
//   bench_peer_cgal_hulls --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true \
//       --benchmark_report_aggregates_only=true
//
// Each relief figure has a plain-route twin (referenceScans), the same
// construction as written: the 2D hull's pairwise QuickSort, the 3D hull's
// visibility tests all through VolumeSign.
#include <benchmark/benchmark.h>

#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polyhedron_3.h>
#include <CGAL/convex_hull_2.h>
#include <CGAL/convex_hull_3.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include <iterator>
#include <random>
#include <string>
#include <vector>

#ifdef RELIEF_HAVE_QHULL
extern "C" {
#include <libqhull_r/qhull_ra.h>
}
#endif

#include "relief/CH2DDelaunay.h"
#include "relief/CHConvexHull2D.h"
#include "relief/CHConvexHull3D.h"
#include "relief/CSSE2dPolygon.h"
#include "relief/MessageBox.h"

namespace {

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;

// The 2D hull prints its steps; keep them out of the report.
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

// n points: uniform floats in [0, 1000)^2 (2D hull), uniform integers in a
// cube of side 2^20 (3D hull, so that relief stores them unchanged), or
// integer tenths in [0, 10000]^2 (lifted Delaunay, exact after quantising).
std::vector<double> Points(int n, int dim, int kind) {
  std::mt19937 rng(20261125u + kind);
  std::vector<double> out(static_cast<std::size_t>(n) * dim);
  if (kind == 0) {
    std::uniform_real_distribution<float> c(0.0f, 1000.0f);
    for (double& v : out) v = c(rng);
  } else if (kind == 1) {
    std::uniform_int_distribution<int> c(0, (1 << 20) - 1);
    for (double& v : out) v = c(rng);
  } else {
    std::uniform_int_distribution<int> c(0, 100000);
    for (double& v : out) v = static_cast<float>(c(rng) / 10.0f);
  }
  return out;
}

void Hull2D(benchmark::State& state, bool plain) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<double> xy = Points(n, 2, 0);
  CSSE2dPolygon poly;
  poly.Create(n);
  for (int i = 0; i < n; ++i) poly.SetPoint(i, static_cast<float>(xy[2 * i]), static_cast<float>(xy[2 * i + 1]));
  int size = 0;
  SilentStdout quiet;
  for (auto _ : state) {
    CHConvexHull2D h(&poly, plain);
    size = h.GetHullSize();
  }
  state.counters["hull"] = size;
}
void BM_ReliefHull2D(benchmark::State& state) { Hull2D(state, false); }
void BM_ReliefHull2DPlain(benchmark::State& state) { Hull2D(state, true); }

void BM_CgalHull2D(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<double> xy = Points(n, 2, 0);
  std::vector<Kernel::Point_2> pts;
  for (int i = 0; i < n; ++i) pts.emplace_back(xy[2 * i], xy[2 * i + 1]);
  std::vector<Kernel::Point_2> hull;
  for (auto _ : state) {
    hull.clear();
    CGAL::convex_hull_2(pts.begin(), pts.end(), std::back_inserter(hull));
  }
  state.counters["hull"] = static_cast<double>(hull.size());
}

void ReliefHull3D(benchmark::State& state, bool plain) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<double> p = Points(n, 3, 1);
  int faces = 0;
  for (auto _ : state) {
    CHConvexHull3D h;
    h.SetReferenceScans(plain);
    for (int i = 0; i < n; ++i)
      h.AppendVertex3D(static_cast<float>(p[3 * i]), static_cast<float>(p[3 * i + 1]), static_cast<float>(p[3 * i + 2]), 0.0f);
    h.CalcConvexHull();
    faces = h.GetNumFaces();
  }
  state.counters["faces"] = faces;
}
void BM_ReliefHull3D(benchmark::State& state) { ReliefHull3D(state, false); }
void BM_ReliefHull3DPlain(benchmark::State& state) { ReliefHull3D(state, true); }

void BM_CgalHull3D(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<double> p = Points(n, 3, 1);
  std::vector<Kernel::Point_3> pts;
  for (int i = 0; i < n; ++i) pts.emplace_back(p[3 * i], p[3 * i + 1], p[3 * i + 2]);
  std::size_t faces = 0;
  for (auto _ : state) {
    CGAL::Polyhedron_3<Kernel> poly;
    CGAL::convex_hull_3(pts.begin(), pts.end(), poly);
    faces = poly.size_of_facets();
  }
  state.counters["faces"] = static_cast<double>(faces);
}

void ReliefLiftedDelaunay(benchmark::State& state, bool plain) {
  SetMessageBoxHandler([](const std::string&) {});
  const int n = static_cast<int>(state.range(0));
  const std::vector<double> xy = Points(n, 2, 2);
  int faces = 0;
  for (auto _ : state) {
    CH2DDelaunay d;
    d.SetReferenceScans(plain);
    for (int i = 0; i < n; ++i) d.AppendVertex(static_cast<float>(xy[2 * i]), static_cast<float>(xy[2 * i + 1]), -1, false);
    d.CalcDelaunayTriangulation();
    faces = d.GetNumFaces();
  }
  SetMessageBoxHandler({});
  state.counters["triangles"] = faces;
}
void BM_ReliefLiftedDelaunay(benchmark::State& state) { ReliefLiftedDelaunay(state, false); }
void BM_ReliefLiftedDelaunayPlain(benchmark::State& state) { ReliefLiftedDelaunay(state, true); }

void BM_CgalDelaunayRange(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<double> xy = Points(n, 2, 2);
  std::vector<Kernel::Point_2> pts;
  for (int i = 0; i < n; ++i) pts.emplace_back(xy[2 * i], xy[2 * i + 1]);
  std::size_t faces = 0;
  for (auto _ : state) {
    CGAL::Delaunay_triangulation_2<Kernel> dt;
    dt.insert(pts.begin(), pts.end());
    faces = dt.number_of_faces();
  }
  state.counters["triangles"] = static_cast<double>(faces);
}

#ifdef RELIEF_HAVE_QHULL
// qhull's convex hull of the same points ("qhull", no output).
void QhullRun(benchmark::State& state, int dim, int kind) {
  const int n = static_cast<int>(state.range(0));
  std::vector<double> p = Points(n, dim, kind);
  int facets = 0;
  for (auto _ : state) {
    qhT qh_qh;
    qhT* qh = &qh_qh;
    QHULL_LIB_CHECK
    qh_zero(qh, stderr);
    char flags[] = "qhull";
    if (qh_new_qhull(qh, dim, n, p.data(), False, flags, nullptr, stderr) == 0) facets = qh->num_facets;
    qh_freeqhull(qh, !qh_ALL);
    int curlong, totlong;
    qh_memfreeshort(qh, &curlong, &totlong);
  }
  state.counters["facets"] = facets;
}
void BM_QhullHull2D(benchmark::State& state) { QhullRun(state, 2, 0); }
void BM_QhullHull3D(benchmark::State& state) { QhullRun(state, 3, 1); }
#endif

}  // namespace

BENCHMARK(BM_ReliefHull2D)->Arg(100)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReliefHull2DPlain)->Arg(100)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CgalHull2D)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReliefHull3D)->Arg(100)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReliefHull3DPlain)->Arg(100)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CgalHull3D)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReliefLiftedDelaunay)->Arg(100)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReliefLiftedDelaunayPlain)->Arg(100)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CgalDelaunayRange)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
#ifdef RELIEF_HAVE_QHULL
BENCHMARK(BM_QhullHull2D)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_QhullHull3D)->Arg(100000)->Unit(benchmark::kMillisecond);
#endif
