// Store and Load of a 4096 x 4096 raster through a file against plain fwrite
// and fread of the same number of bytes to the same place. The file stays in
// the page cache, so both sides measure the copy into and out of the kernel.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

#include "relief/CSSEMatrix.h"

namespace {

constexpr int kSize = 4096;

std::filesystem::path BenchFile() { return std::filesystem::temp_directory_path() / "relief_bench_raster.bin"; }

std::size_t RecordBytes() { return 8 + 16 * static_cast<std::size_t>(kSize) * ((kSize >> 2) + 1); }

CSSEMatrix Raster() {
  CSSEMatrix m;
  m.Create(kSize, kSize);
  for (int y = 0; y < kSize; y += 7)
    for (int x = 0; x < kSize; x += 3) m.SetPoint(x, y, static_cast<float>(x ^ y));
  return m;
}

void BM_Store(benchmark::State& state) {
  CSSEMatrix m = Raster();
  for (auto _ : state) {
    if (!m.Store(BenchFile())) state.SkipWithError("cannot write the benchmark file");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(RecordBytes()));
}

void BM_Fwrite(benchmark::State& state) {
  std::vector<char> bytes(RecordBytes(), 1);
  for (auto _ : state) {
    std::FILE* f = std::fopen(BenchFile().c_str(), "wb");
    if (!f) {
      state.SkipWithError("cannot write the benchmark file");
      break;
    }
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(RecordBytes()));
}

void BM_Load(benchmark::State& state) {
  CSSEMatrix m = Raster(), loaded;
  m.Store(BenchFile());
  for (auto _ : state) {
    if (!loaded.Load(BenchFile())) state.SkipWithError("cannot read the benchmark file");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(RecordBytes()));
}

void BM_Fread(benchmark::State& state) {
  CSSEMatrix m = Raster();
  m.Store(BenchFile());
  for (auto _ : state) {
    // Load allocates its raster each time (without clearing it); so does this side.
    std::unique_ptr<char[]> bytes(new char[RecordBytes()]);
    std::FILE* f = std::fopen(BenchFile().c_str(), "rb");
    if (!f) {
      state.SkipWithError("cannot read the benchmark file");
      break;
    }
    benchmark::DoNotOptimize(std::fread(bytes.get(), 1, RecordBytes(), f));
    std::fclose(f);
    benchmark::DoNotOptimize(bytes.get());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(RecordBytes()));
}

}  // namespace

BENCHMARK(BM_Fwrite)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Store)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Fread)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Load)->Unit(benchmark::kMillisecond);
