// relief's Chamfer against OpenCV's L1 distance transform with the 3 x 3 mask
// on the same blob masks, one thread each, so that the ratio comes from one
// run. OpenCV measures the distance to its zero pixels, relief to its 1.0
// pixels: the blobs are the seeds on both sides.

#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "bench/blob_mask.h"
#include "relief/CSSEMatrix.h"

namespace {

void BM_OpenCvDistanceL1Mask3(benchmark::State& state) {
  cv::setNumThreads(1);
  const int size = static_cast<int>(state.range(0));
  const std::vector<std::uint8_t> mask = relief::bench::BlobMask(size);
  cv::Mat src(size, size, CV_8UC1), dst(size, size, CV_32FC1);
  for (int y = 0; y < size; ++y)
    for (int x = 0; x < size; ++x) src.at<std::uint8_t>(y, x) = mask[static_cast<std::size_t>(y) * size + x] ? 0 : 255;
  for (auto _ : state) {
    cv::distanceTransform(src, dst, cv::DIST_L1, cv::DIST_MASK_3, CV_32F);
    benchmark::DoNotOptimize(dst.data);
  }
  state.SetItemsProcessed(state.iterations() * size * size);
}

void BM_ReliefChamfer(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  const std::vector<std::uint8_t> mask = relief::bench::BlobMask(size);
  CSSEMatrix source, work;
  source.Create(size, size);
  for (int y = 0; y < size; ++y)
    for (int x = 0; x < size; ++x) source.SetPoint(x, y, mask[static_cast<std::size_t>(y) * size + x] ? 1.0f : 0.0f);
  for (auto _ : state) {
    state.PauseTiming();
    work.CopyFromSSEMatrix(source);
    state.ResumeTiming();
    work.Chamfer();
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * size * size);
}

}  // namespace

BENCHMARK(BM_OpenCvDistanceL1Mask3)->Arg(2048)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReliefChamfer)->Arg(2048)->Arg(4096)->Unit(benchmark::kMillisecond);
