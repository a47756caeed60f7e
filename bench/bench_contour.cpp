// Contour kernels: containment queries, the fine fill against the per-pixel
// containment loop it replaces, the contour distance transform, and the
// normalisation and minimum-distance passes over long contours.
//
// The fill pair reports "speedup" (per-pixel time / fast time, both measured
// in this run) and "identical" (1 when the two rasters agree bit for bit);
// the containment queries report "vs_scalar", the ratio to a plain scalar
// loop over the same edges measured just before.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"

namespace {

constexpr double kTwoPi = 6.283185307179586;

// A star of n vertices around (c, c) alternating between two radii.
void MakeStar(CSSE3dPolygon& poly, int n, float c, float outer, float inner) {
  poly.Create(n);
  for (int i = 0; i < n; ++i) {
    const double a = kTwoPi * i / n;
    const float r = i % 2 ? inner : outer;
    poly.SetPoint(i, c + r * float(std::cos(a)), c + r * float(std::sin(a)), 0.0f);
  }
}

// ---- containment -------------------------------------------------------------

struct Queries {
  CSSE3dPolygon poly;
  std::vector<float> xs, ys;
  Queries() : xs(1000000), ys(1000000) {
    MakeStar(poly, 1000, 500, 480, 300);
    poly.CalcBoundingBox();
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(0, 1000);
    for (size_t i = 0; i < xs.size(); ++i) xs[i] = u(rng), ys[i] = u(rng);
  }
};

Queries& ContainmentQueries() {
  static Queries q;
  return q;
}

double& ScalarContainmentSeconds() {
  static double s = 0;
  return s;
}

// Reference: the same box pre-test and crossing rule as one plain scalar
// loop over all edges.
bool ScalarInside(const float* px, const float* py, int n, const SSEPoint& lo, const SSEPoint& hi, float x,
                  float y) {
  if (x < lo.x || y < lo.y || x > hi.x || y > hi.y) return false;
  bool inside = false;
  for (int i = 0, p = n - 1; i < n; p = i++) {
    if ((x > px[i]) != (px[p] >= x)) continue;
    const bool curIsA = !(px[p] < px[i]);
    const double ax = curIsA ? px[i] : px[p], ay = curIsA ? py[i] : py[p];
    const double bx = curIsA ? px[p] : px[i], by = curIsA ? py[p] : py[i];
    if ((by - ay) * (double(x) - ax) > (bx - ax) * (double(y) - ay)) inside = !inside;
  }
  return inside;
}

void BM_PointInLineInnerArea_ScalarReference(benchmark::State& state) {
  Queries& q = ContainmentQueries();
  const SSEPoint lo = q.poly.GetBottomLeft(), hi = q.poly.GetTopRight();
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    int inside = 0;
    for (size_t i = 0; i < q.xs.size(); ++i)
      inside += ScalarInside(q.poly.GetXArray(), q.poly.GetYArray(), 1000, lo, hi, q.xs[i], q.ys[i]);
    benchmark::DoNotOptimize(inside);
  }
  ScalarContainmentSeconds() =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / state.iterations();
  state.SetItemsProcessed(state.iterations() * int64_t(q.xs.size()));
}
BENCHMARK(BM_PointInLineInnerArea_ScalarReference)->Unit(benchmark::kMillisecond);

void BM_PointInLineInnerArea_1M_Points_1000_Vertices(benchmark::State& state) {
  Queries& q = ContainmentQueries();
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    int inside = 0;
    for (size_t i = 0; i < q.xs.size(); ++i) inside += q.poly.PointInLineInnerArea(q.xs[i], q.ys[i], 1);
    benchmark::DoNotOptimize(inside);
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / state.iterations();
  if (ScalarContainmentSeconds() > 0) state.counters["vs_scalar"] = ScalarContainmentSeconds() / seconds;
  state.SetItemsProcessed(state.iterations() * int64_t(q.xs.size()));
}
BENCHMARK(BM_PointInLineInnerArea_1M_Points_1000_Vertices)->Unit(benchmark::kMillisecond);

// ---- fine fill ---------------------------------------------------------------

constexpr int kRaster = 2048;

CSSE3dPolygon& FillStar() {
  static CSSE3dPolygon star = [] {
    CSSE3dPolygon s;
    MakeStar(s, 2000, 1024.3f, 1000.0f, 620.0f);
    return s;
  }();
  return star;
}

// The fill done the plain way: the same thinned copy and window, every
// position through the per-point containment test.
void PerPixelFill(CSSE3dPolygon& src, float value, CSSEMatrix& m) {
  src.CalcBoundingBox();
  int minX, minY, maxX, maxY;
  src.GetBoundingBox2D(minX, minY, maxX, maxY);
  auto clamp = [](int v, int size) { return std::max(0, std::min(size - 1, v)); };
  const int low = clamp(minY, m.GetSizeY()), high = clamp(maxY, m.GetSizeY());
  minX = clamp(minX, m.GetSizeX());
  maxX = clamp(maxX, m.GetSizeX());
  CSSE3dPolygon copy;
  copy.CreateSimilar(&src);
  copy.RemoveEqualPointsXY();
  copy.CalcBoundingBox();
  for (int y = low - 5; y < high + 5; ++y)
    for (int x = minX - 5; x < maxX + 5; ++x)
      if (copy.PointInLineInnerArea(float(x), float(y), 1))
        m.SetPoint(clamp(x, m.GetSizeX()), clamp(y, m.GetSizeY()), value);
}

double& FastFillSeconds() {
  static double s = 0;
  return s;
}

void BM_FillFine_Star2000_2048(benchmark::State& state) {
  CSSEMatrix m;
  m.Create(kRaster, kRaster);
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    FillStar().DrawInMatrixAndFillFine(1.0f, &m, false, -1e6f, 1e6f);
    benchmark::ClobberMemory();
  }
  FastFillSeconds() =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / state.iterations();
  state.SetItemsProcessed(state.iterations() * int64_t(kRaster) * kRaster);
}
BENCHMARK(BM_FillFine_Star2000_2048)->Unit(benchmark::kMillisecond);

void BM_FillPerPixelReference_Star2000_2048(benchmark::State& state) {
  CSSEMatrix m, fast;
  m.Create(kRaster, kRaster);
  fast.Create(kRaster, kRaster);
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    PerPixelFill(FillStar(), 1.0f, m);
    benchmark::ClobberMemory();
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / state.iterations();
  FillStar().DrawInMatrixAndFillFine(1.0f, &fast, false, -1e6f, 1e6f);
  bool same = true;
  for (int y = 0; y < kRaster && same; ++y)
    for (int x = 0; x < kRaster; ++x) {
      const float a = m.GetPoint(x, y), b = fast.GetPoint(x, y);
      if (std::memcmp(&a, &b, sizeof a) != 0) {
        same = false;
        break;
      }
    }
  state.counters["identical"] = same ? 1 : 0;
  if (FastFillSeconds() > 0) state.counters["speedup"] = seconds / FastFillSeconds();
  state.SetItemsProcessed(state.iterations() * int64_t(kRaster) * kRaster);
}
BENCHMARK(BM_FillPerPixelReference_Star2000_2048)->Unit(benchmark::kMillisecond)->Iterations(1);

// ---- distance transform ------------------------------------------------------

void BM_InternalAreaDistanceTransform_500_512(benchmark::State& state) {
  CSSE3dPolygon poly;
  MakeStar(poly, 500, 256, 240, 200);
  CSSEMatrix heights, target;
  heights.Create(512, 512);
  heights.Fill(0.25f);
  target.Create(512, 512);
  t_resolutiondata r{0.05f, 0.05f, 1.0f};
  for (auto _ : state) {
    state.PauseTiming();
    target.Fill(1.0f);
    state.ResumeTiming();
    poly.InternalAreaDistanceTransform(1.0f, &heights, &target, r, true);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * 512 * 512);
}
BENCHMARK(BM_InternalAreaDistanceTransform_500_512)->Unit(benchmark::kMillisecond);

// ---- long contours -------------------------------------------------------------

CSSE3dPolygon& LongContour() {
  static CSSE3dPolygon poly = [] {
    CSSE3dPolygon p;
    MakeStar(p, 100000, 5000, 4000, 3000);
    return p;
  }();
  return poly;
}

void BM_NormalizeXYZ_100k(benchmark::State& state) {
  t_resolutiondata r{0.02f, 0.03f, 0.5f};
  for (auto _ : state) {
    LongContour().NormalizeXYZ(r);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * 100000);
  state.SetBytesProcessed(state.iterations() * 100000 * 6 * int64_t(sizeof(float)));
}
BENCHMARK(BM_NormalizeXYZ_100k)->Unit(benchmark::kMicrosecond);

void BM_GetMinEuclDistanceXY_100k(benchmark::State& state) {
  t_resolutiondata r{0.02f, 0.03f, 0.5f};
  LongContour().NormalizeXYZ(r);
  float q = 10;
  for (auto _ : state) {
    benchmark::DoNotOptimize(LongContour().GetMinEuclDistanceXY(q, 100 - q, 0));
    q += 0.001f;
  }
  state.SetItemsProcessed(state.iterations() * 100000);
}
BENCHMARK(BM_GetMinEuclDistanceXY_100k)->Unit(benchmark::kMicrosecond);

}  // namespace
