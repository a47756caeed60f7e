// Bulk float-raster operations on a 4096 x 4096 raster (64 MiB, far outside
// any cache) against the machine's own references on the same bytes: memset
// for write-only passes, memcpy for copies and read-modify-write passes, and
// a read-only SSE sum with four independent accumulators for reductions.
// Every figure is bytes moved (read + written) per second; "vs_ref" is the
// ratio to its reference measured earlier in the same run.

#include <benchmark/benchmark.h>
#include <emmintrin.h>

#include <chrono>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

namespace {

constexpr int kSize = 4096;

CSSEMatrix MakeFilled(float value) {
  CSSEMatrix r;
  r.Create(kSize, kSize);
  r.Fill(value);
  return r;
}

CSSEMatrix& Raster() {
  static CSSEMatrix m = MakeFilled(1.5f);
  return m;
}

CSSEMatrix& SecondRaster() {
  static CSSEMatrix m = MakeFilled(2.5f);
  return m;
}

// Bytes of one raster's storage, padding rows included.
std::size_t RasterBytes() { return sizeof(__m128) * std::size_t(kSize) * Raster().GetSSESizeY(); }

std::map<std::string, double>& References() {
  static std::map<std::string, double> refs;
  return refs;
}

// Runs body once per iteration, reports bytes/s for `bytesPerIteration`, and
// either records it as reference `refName` or reports the ratio to it.
template <class Body>
void Measure(benchmark::State& state, std::size_t bytesPerIteration, const std::string& refName, bool isReference,
             Body body) {
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) body();
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytesPerIteration));
  const double rate = state.iterations() * double(bytesPerIteration) / seconds;
  if (isReference) {
    References()[refName] = rate;
  } else if (References().count(refName)) {
    state.counters["vs_ref"] = rate / References()[refName];
  }
}

std::vector<char>& PlainBuffer(int which) {
  static std::vector<char> buffers[2] = {std::vector<char>(RasterBytes(), 1), std::vector<char>(RasterBytes(), 2)};
  return buffers[which];
}

// ---- references -----------------------------------------------------------

// Writing zeros can be faster than writing other bytes (it is on some
// machines), so Clear is compared with a memset of zeros and Fill with a
// memset of a non-zero byte.
void Ref_memset_zero(benchmark::State& state) {
  std::vector<char>& dst = PlainBuffer(0);
  Measure(state, dst.size(), "memset_zero", true, [&] {
    std::memset(dst.data(), 0, dst.size());
    benchmark::ClobberMemory();
  });
}

void Ref_memset(benchmark::State& state) {
  std::vector<char>& dst = PlainBuffer(0);
  Measure(state, dst.size(), "memset", true, [&] {
    std::memset(dst.data(), 0x3f, dst.size());
    benchmark::ClobberMemory();
  });
}

void Ref_memcpy(benchmark::State& state) {
  std::vector<char>& dst = PlainBuffer(0);
  std::vector<char>& src = PlainBuffer(1);
  Measure(state, 2 * dst.size(), "memcpy", true, [&] {
    std::memcpy(dst.data(), src.data(), dst.size());
    benchmark::ClobberMemory();
  });
}

// The fastest simple read loop: four independent accumulators hide the add latency.
void Ref_sse_sum(benchmark::State& state) {
  std::vector<char>& src = PlainBuffer(1);
  const __m128* p = reinterpret_cast<const __m128*>(src.data());
  const std::size_t n = src.size() / sizeof(__m128);
  Measure(state, src.size(), "sse_sum", true, [&] {
    __m128 a = _mm_setzero_ps(), b = a, c = a, d = a;
    for (std::size_t i = 0; i + 4 <= n; i += 4) {
      a = _mm_add_ps(a, _mm_loadu_ps(reinterpret_cast<const float*>(p + i)));
      b = _mm_add_ps(b, _mm_loadu_ps(reinterpret_cast<const float*>(p + i + 1)));
      c = _mm_add_ps(c, _mm_loadu_ps(reinterpret_cast<const float*>(p + i + 2)));
      d = _mm_add_ps(d, _mm_loadu_ps(reinterpret_cast<const float*>(p + i + 3)));
    }
    benchmark::DoNotOptimize(_mm_add_ps(_mm_add_ps(a, b), _mm_add_ps(c, d)));
  });
}

// ---- write-only -------------------------------------------------------------

void Fill(benchmark::State& state) {
  Measure(state, RasterBytes(), "memset", false, [] { Raster().Fill(1.5f); });
}

void Clear(benchmark::State& state) {
  Measure(state, RasterBytes(), "memset_zero", false, [] { Raster().Clear(); });
}

// ---- copies and read-modify-write --------------------------------------------

void CopyFromSSEMatrix(benchmark::State& state) {
  SecondRaster();  // made (and its pages touched) before the timing
  Measure(state, 2 * RasterBytes(), "memcpy", false, [] { Raster().CopyFromSSEMatrix(SecondRaster()); });
}

void TresholdAbove(benchmark::State& state) {
  // Threshold below every value: the raster keeps its content for the next pass.
  Measure(state, 2 * RasterBytes(), "memcpy", false, [] { Raster().TresholdAbove(-1.0f, 1.5f); });
}

void OffsetMatrix(benchmark::State& state) {
  Measure(state, 2 * RasterBytes(), "memcpy", false, [] { Raster().OffsetMatrix(0.0f); });
}

void ReplaceValueWithValue(benchmark::State& state) {
  Measure(state, 2 * RasterBytes(), "memcpy", false, [] { Raster().ReplaceValueWithValue(1.5f, 1.5f); });
}

// In-place differences along x on a raster of their own (they change what
// they read). Zeros stay zeros, so every pass sees the same ordinary values;
// repeated differences of anything else run into infinities and NaNs. The
// byte raster's pair is on 16-row registers of the same count.
CSSEMatrix& DerivativeRaster() {
  static CSSEMatrix m = MakeFilled(0.0f);
  return m;
}

CSSEcharMatrix& ByteRaster(int which) {
  static CSSEcharMatrix m[2];
  if (m[which].GetSSESizeX() == 0) {
    m[which].Create(kSize, kSize);
    m[which].Clear(static_cast<char>(3 + which));
  }
  return m[which];
}

std::size_t ByteRasterBytes() {
  return sizeof(__m128i) * std::size_t(ByteRaster(0).GetSSESizeX()) * ByteRaster(0).GetSSESizeY();
}

void CalcDerivativeX(benchmark::State& state) {
  DerivativeRaster();
  Measure(state, 2 * RasterBytes(), "memcpy", false, [] { DerivativeRaster().CalcDerivativeX(); });
}

void CalcDerivativeY(benchmark::State& state) {
  DerivativeRaster();
  Measure(state, 2 * RasterBytes(), "memcpy", false, [] { DerivativeRaster().CalcDerivativeY(); });
}

void FillMatrixWithProcessedRow(benchmark::State& state) {
  Measure(state, RasterBytes(), "memset", false, [] { Raster().FillMatrixWithProcessedRow(); });
}

void ByteSubMatrix(benchmark::State& state) {
  ByteRaster(0);
  ByteRaster(1);
  Measure(state, 3 * ByteRasterBytes(), "memcpy", false, [] { ByteRaster(0).SubMatrix(ByteRaster(1)); });
}

void ByteCalcDerivative(benchmark::State& state) {
  Measure(state, 2 * ByteRasterBytes(), "memcpy", false, [] { ByteRaster(1).CalcDerivative(); });
}

// ---- reductions --------------------------------------------------------------

void NumValuesAbove(benchmark::State& state) {
  Measure(state, RasterBytes(), "sse_sum", false, [] { benchmark::DoNotOptimize(Raster().NumValuesAbove(1.0f)); });
}

void IntegrateMatrix(benchmark::State& state) {
  Measure(state, RasterBytes(), "sse_sum", false, [] { benchmark::DoNotOptimize(Raster().IntegrateMatrix()); });
}

void CalcMinMaxValues(benchmark::State& state) {
  Measure(state, RasterBytes(), "sse_sum", false, [] {
    float maximum, minimum;
    Raster().CalcMinMaxValues(&maximum, &minimum);
    benchmark::DoNotOptimize(maximum);
    benchmark::DoNotOptimize(minimum);
  });
}

void GetValidBoundingBox(benchmark::State& state) {
  Measure(state, RasterBytes(), "sse_sum", false, [] {
    int box[4];
    benchmark::DoNotOptimize(Raster().GetValidBoundingBox(box[0], box[1], box[2], box[3]));
  });
}

// ---- scattered access -------------------------------------------------------------

std::vector<std::pair<int, int>> RandomPositions() {
  std::mt19937 rng(42);
  std::uniform_int_distribution<int> coord(-8, kSize + 8);  // a few clamp
  std::vector<std::pair<int, int>> positions(1000000);
  for (auto& p : positions) p = {coord(rng), coord(rng)};
  return positions;
}

void SetGetPointRandom(benchmark::State& state) {
  const auto positions = RandomPositions();
  CSSEMatrix& m = Raster();
  for (auto _ : state) {
    float sum = 0;
    for (const auto& [x, y] : positions) {
      m.SetPoint(x, y, 1.5f);
      sum += m.GetPoint(y, x);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * positions.size());
}

void Set5x5BoxPointMaxRandom(benchmark::State& state) {
  const auto positions = RandomPositions();
  CSSEMatrix& m = Raster();
  for (auto _ : state)
    for (const auto& [x, y] : positions) m.Set5x5BoxPointMax(x, y, 1.5f);
  state.SetItemsProcessed(state.iterations() * positions.size());
}

}  // namespace

// References first: later benchmarks report their ratio to them.
BENCHMARK(Ref_memset_zero)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Ref_memset)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Ref_memcpy)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Ref_sse_sum)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Fill)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Clear)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(CopyFromSSEMatrix)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(TresholdAbove)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(OffsetMatrix)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ReplaceValueWithValue)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(CalcDerivativeX)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(CalcDerivativeY)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(FillMatrixWithProcessedRow)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ByteSubMatrix)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ByteCalcDerivative)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(NumValuesAbove)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(IntegrateMatrix)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(CalcMinMaxValues)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(GetValidBoundingBox)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(SetGetPointRandom)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Set5x5BoxPointMaxRandom)->Unit(benchmark::kMillisecond)->UseRealTime();
