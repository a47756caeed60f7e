// relief's window filters and scaling against OpenCV on the same 4096 x 4096
// float32 raster, one thread each, in one run: box mean vs cv::blur, minimum
// and maximum vs cv::erode / cv::dilate with a rectangular kernel, median vs
// cv::medianBlur (float32 allows 3 x 3 and 5 x 5 only), scaling vs
// cv::resize. relief's plain variants (0 an ordinary value) are the like for
// like figures; the no-data-aware ones are listed beside them, on the same
// raster and (third argument 1) on one with a scan's holes. Every relief
// figure carries "vs_opencv": OpenCV's CPU time over relief's for the same
// operation and radius (or size) in this run, above 1 when relief is faster.

#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <map>
#include <string>

#include "bench/raster_bench_common.h"
#include "relief/CFilters.h"
#include "relief/CSSEMatrix.h"

namespace {

constexpr int kSize = 4096;

// CPU seconds per iteration of each OpenCV call, by operation and radius, so
// that relief's figure can report "vs_opencv" = OpenCV's time / relief's
// time (above 1: relief is faster). CPU time, not wall time: the machine is
// shared.
std::map<std::string, double>& OpenCvSeconds() {
  static std::map<std::string, double> seconds;
  return seconds;
}

using relief::bench::CpuSecondsPerIteration;

void Compare(benchmark::State& state, const std::string& key, double seconds) {
  if (OpenCvSeconds().count(key)) state.counters["vs_opencv"] = OpenCvSeconds()[key] / seconds;
}

// A height field with a few no-data holes, the same in both layouts: 64 x
// 64 blocks of zeros on every seventh diagonal, nothing else.
const cv::Mat& SourceMat() {
  static const cv::Mat m = [] {
    cv::Mat out(kSize, kSize, CV_32FC1);
    relief::bench::FillRandomHeights(kSize, 42, relief::bench::NoDataBlock,
                                     [&out](int x, int y, float v) { out.at<float>(y, x) = v; });
    return out;
  }();
  return m;
}

CSSEMatrix ToRaster(const cv::Mat& s) {
  CSSEMatrix out;
  out.Create(kSize, kSize);
  for (int y = 0; y < kSize; ++y)
    for (int x = 0; x < kSize; ++x) out.SetPoint(x, y, s.at<float>(y, x));
  return out;
}

const CSSEMatrix& SourceRaster() {
  static const CSSEMatrix m = ToRaster(SourceMat());
  return m;
}

// The no-data-aware figures' second raster ("scan" = 1): holes as a scan has them.
const CSSEMatrix& ScanRaster() {
  static const CSSEMatrix m = [] {
    cv::Mat out = SourceMat().clone();
    relief::bench::FillScanHeights(kSize, 7, [&out](int x, int y, float v) { out.at<float>(y, x) = v; });
    return ToRaster(out);
  }();
  return m;
}

template <class Fn>
void RunOpenCv(benchmark::State& state, const std::string& key, Fn fn) {
  cv::setNumThreads(1);
  const cv::Mat& src = SourceMat();
  cv::Mat dst(src.size(), src.type());
  OpenCvSeconds()[key] = CpuSecondsPerIteration(state, [&] {
    fn(src, dst);
    benchmark::DoNotOptimize(dst.data);
  });
  state.SetItemsProcessed(state.iterations() * kSize * kSize);
}

template <class Fn>
void RunRelief(benchmark::State& state, const std::string& key, Fn fn, bool scan = false) {
  const CSSEMatrix& src = scan ? ScanRaster() : SourceRaster();
  CSSEMatrix dst;
  dst.CreateSimilar(const_cast<CSSEMatrix&>(src));
  Compare(state, key, CpuSecondsPerIteration(state, [&] {
            fn(src, dst);
            benchmark::ClobberMemory();
          }));
  state.SetItemsProcessed(state.iterations() * kSize * kSize);
}

std::string Key(const char* op, int64_t r) { return std::string(op) + std::to_string(r); }

cv::Mat Rect(int r) { return cv::getStructuringElement(cv::MORPH_RECT, cv::Size(2 * r + 1, 2 * r + 1)); }

void BM_OpenCvBlur(benchmark::State& state) {
  const int r = static_cast<int>(state.range(0));
  RunOpenCv(state, Key("mean", r), [r](const cv::Mat& s, cv::Mat& d) { cv::blur(s, d, cv::Size(2 * r + 1, 2 * r + 1)); });
}
void BM_OpenCvErode(benchmark::State& state) {
  const cv::Mat k = Rect(static_cast<int>(state.range(0)));
  RunOpenCv(state, Key("min", state.range(0)), [&k](const cv::Mat& s, cv::Mat& d) { cv::erode(s, d, k); });
}
void BM_OpenCvDilate(benchmark::State& state) {
  const cv::Mat k = Rect(static_cast<int>(state.range(0)));
  RunOpenCv(state, Key("max", state.range(0)), [&k](const cv::Mat& s, cv::Mat& d) { cv::dilate(s, d, k); });
}
void BM_OpenCvMedianBlur(benchmark::State& state) {
  const int r = static_cast<int>(state.range(0));
  RunOpenCv(state, Key("median", r), [r](const cv::Mat& s, cv::Mat& d) { cv::medianBlur(s, d, 2 * r + 1); });
}

template <void (*Filter)(const CSSEMatrix&, CSSEMatrix&, int, bool)>
void BM_Relief(benchmark::State& state, const char* op) {
  const int r = static_cast<int>(state.range(0));
  const bool aware = state.range(1) != 0;
  const bool scan = state.range(2) != 0;
  RunRelief(
      state, Key(op, r), [r, aware](const CSSEMatrix& s, CSSEMatrix& d) { Filter(s, d, r, aware); }, scan);
}

void BM_ReliefBoxMean(benchmark::State& state) { BM_Relief<CFilters::BoxMean>(state, "mean"); }
void BM_ReliefMinimum(benchmark::State& state) { BM_Relief<CFilters::Minimum>(state, "min"); }
void BM_ReliefMaximum(benchmark::State& state) { BM_Relief<CFilters::Maximum>(state, "max"); }
void BM_ReliefMedian(benchmark::State& state) { BM_Relief<CFilters::Median>(state, "median"); }

// Scaling to a size on both sides of the source: 2867 (x 0.7) and 5734 (x 1.4).
void BM_OpenCvResize(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  const int interpolation = state.range(1) ? cv::INTER_LINEAR : cv::INTER_NEAREST;
  cv::setNumThreads(1);
  const cv::Mat& src = SourceMat();
  cv::Mat dst(size, size, CV_32FC1);
  OpenCvSeconds()[Key(state.range(1) ? "linear" : "nearest", size)] = CpuSecondsPerIteration(state, [&] {
    cv::resize(src, dst, cv::Size(size, size), 0, 0, interpolation);
    benchmark::DoNotOptimize(dst.data);
  });
  state.SetItemsProcessed(state.iterations() * size * size);
}

void BM_ReliefScale(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  const bool linear = state.range(1) != 0;
  CSSEMatrix& src = const_cast<CSSEMatrix&>(SourceRaster());
  CSSEMatrix dst;
  dst.Create(size, size);
  Compare(state, Key(linear ? "linear" : "nearest", size), CpuSecondsPerIteration(state, [&] {
            if (linear)
              dst.ScaleBilinear(src, size, size);
            else
              dst.ScaleNearest(src, size, size);
            benchmark::ClobberMemory();
          }));
  state.SetItemsProcessed(state.iterations() * size * size);
}

void Radii(benchmark::internal::Benchmark* b) {
  for (int r : {1, 2, 7}) b->Args({r, 0});
}
// Arguments: radius, aware, scan (the aware mode also on ScanRaster()).
void RadiiBothModes(benchmark::internal::Benchmark* b) {
  for (int aware : {0, 1})
    for (int r : {1, 2, 7}) b->Args({r, aware, 0});
  for (int r : {1, 2, 7}) b->Args({r, 1, 1});
}
void MedianRadii(benchmark::internal::Benchmark* b) {
  for (int aware : {0, 1})
    for (int r : {1, 2}) b->Args({r, aware, 0});
  for (int r : {1, 2}) b->Args({r, 1, 1});
}
void ScaleSizes(benchmark::internal::Benchmark* b) {
  for (int linear : {0, 1})
    for (int size : {2867, 5734}) b->Args({size, linear});
}

}  // namespace

BENCHMARK(BM_OpenCvBlur)->Apply(Radii)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReliefBoxMean)->Apply(RadiiBothModes)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenCvErode)->Apply(Radii)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReliefMinimum)->Apply(RadiiBothModes)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenCvDilate)->Apply(Radii)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReliefMaximum)->Apply(RadiiBothModes)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenCvMedianBlur)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReliefMedian)->Apply(MedianRadii)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenCvResize)->Apply(ScaleSizes)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReliefScale)->Apply(ScaleSizes)->Unit(benchmark::kMillisecond);
