// Every outer boundary of a blob mask: relief's CPixelChain tracer against
// OpenCV's findContours (RETR_EXTERNAL, CHAIN_APPROX_NONE), one thread each,
// in the same run. Both start from their own raster type holding the same
// mask (a byte raster for relief, an 8-bit Mat for OpenCV) and both include
// their conversion of it. Before timing, the set-up checks that both find the
// same outermost regions with the same number of boundary pixels each
// (relief also returns islands inside holes, which OpenCV's external mode
// leaves out; those are counted separately).

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <utility>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "bench/blob_mask.h"
#include "relief/CPixelChain.h"
#include "relief/CSSEcharMatrix.h"

namespace {

struct Inputs {
  cv::Mat mat;
  CSSEcharMatrix bytes;
};

Inputs& MakeInputs(int size) {
  static std::map<int, Inputs> cache;
  auto found = cache.find(size);
  if (found != cache.end()) return found->second;
  Inputs& in = cache[size];
  const std::vector<std::uint8_t> mask = relief::bench::BlobMask(size);
  in.mat = cv::Mat(size, size, CV_8UC1);
  in.bytes.Create(size, size);
  for (int y = 0; y < size; ++y)
    for (int x = 0; x < size; ++x) {
      const std::uint8_t v = mask[static_cast<std::size_t>(y) * size + x];
      in.mat.at<std::uint8_t>(y, x) = v ? 255 : 0;
      in.bytes.SetPoint(x, y, v ? 1 : 0);
    }
  return in;
}

// Same regions, same pixel counts: OpenCV's contours keyed by their first
// point (its external contours start at the region's first pixel in scan
// order, as relief's chains do).
bool SameBoundaries(int size, std::size_t& pixels, std::size_t& islands) {
  Inputs& in = MakeInputs(size);
  std::vector<std::vector<cv::Point>> contours;
  cv::findContours(in.mat, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
  std::map<std::pair<int, int>, std::size_t> byStart;
  for (const auto& c : contours) byStart[{c[0].y, c[0].x}] = c.size();
  const std::vector<CPixelChain> chains = CPixelChain::TraceAllOuterBoundaries(in.bytes);
  std::size_t matched = 0;
  pixels = 0;
  for (const CPixelChain& chain : chains) {
    int x = 0, y = 0;
    chain.GetPixel(0, x, y);
    auto it = byStart.find({y, x});
    if (it == byStart.end()) continue;
    if (it->second != static_cast<std::size_t>(chain.GetCount())) {
      std::fprintf(stderr, "region at (%d, %d): OpenCV %zu pixels, relief %d\n", x, y, it->second, chain.GetCount());
      return false;
    }
    ++matched;
    pixels += it->second;
  }
  islands = chains.size() - matched;
  return matched == contours.size();
}

void BM_OpenCvFindContoursExternal(benchmark::State& state) {
  cv::setNumThreads(1);
  const int size = static_cast<int>(state.range(0));
  Inputs& in = MakeInputs(size);
  std::vector<std::vector<cv::Point>> contours;
  for (auto _ : state) {
    cv::findContours(in.mat, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    benchmark::DoNotOptimize(contours.data());
  }
  state.counters["regions"] = static_cast<double>(contours.size());
}

void BM_ReliefTraceAllOuterBoundaries(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  std::size_t pixels = 0, islands = 0;
  if (!SameBoundaries(size, pixels, islands)) {
    state.SkipWithError("relief and OpenCV disagree on the boundaries");
    return;
  }
  Inputs& in = MakeInputs(size);
  std::vector<CPixelChain> chains;
  for (auto _ : state) {
    chains = CPixelChain::TraceAllOuterBoundaries(in.bytes);
    benchmark::DoNotOptimize(chains.data());
  }
  state.counters["regions"] = static_cast<double>(chains.size());
  state.counters["islands"] = static_cast<double>(islands);
  state.counters["matched_pixels"] = static_cast<double>(pixels);
}

}  // namespace

BENCHMARK(BM_OpenCvFindContoursExternal)->Arg(1024)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReliefTraceAllOuterBoundaries)->Arg(1024)->Arg(4096)->Unit(benchmark::kMillisecond);
