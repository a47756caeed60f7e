// Counts, extremes and integrals against lane-by-lane references: every lane
// counts (padding included), the extremes skip the frame and keep one
// accumulator per lane, the integrals pair lanes (0 + 3) + (1 + 2).

#include "raster_compare.h"
#include "relief/CSSEFns.h"

using namespace relief::test;

namespace {

TEST(MatrixCounting, CountsMatchLaneByLaneReference) {
  const int sizes[][2] = {{3, 5}, {2, 4}, {5, 6}, {1, 1}, {9, 17}, {4, 130}};
  for (unsigned seed = 1; seed <= 2; ++seed)
    for (const auto& s : sizes) {
      std::mt19937 rng(seed * 100 + s[0] * 7 + s[1]);
      CSSEMatrix a = RandomRaster(s[0], s[1], rng, WithSpecials(-1, 2));
      CSSEMatrix b = RandomRaster(s[0] + 2, s[1] + 5, rng, WithSpecials(-1, 2));
      int above = 0, below = 0, aboveOther = 0, belowOther = 0;  // b is larger: only a's extent is read
      ForEachLane(a, [&](float v, int x, int row) {
        above += v > 1.0f;  // strict, at the value 1 that WithSpecials produces
        below += v < 0.5f;
        aboveOther += v > Lane(b, x, row);
        belowOther += v < Lane(b, x, row);
      });
      SCOPED_TRACE(testing::Message() << s[0] << " x " << s[1] << ", seed " << seed);
      EXPECT_EQ(std::vector<int>({a.NumValuesAbove(1.0f), a.NumValuesBelow(0.5f), a.NumValuesAbove(&b),
                                  a.NumValuesBelow(&b), a.NumValuesAbove(nullptr)}),
                std::vector<int>({above, below, aboveOther, belowOther, 0}));
    }
}

// One accumulator per lane over SSE rows 1 .. n-2 and columns 3 .. n-4,
// acc = (v < acc) ? v : acc, then the horizontal reductions of CSSEFns;
// (maximum, minimum) as bit patterns.
std::pair<std::uint32_t, std::uint32_t> NaiveExtremes(CSSEMatrix& m, bool excludeZero) {
  float lo[4] = {1e6f, 1e6f, 1e6f, 1e6f}, hi[4] = {-1e6f, -1e6f, -1e6f, -1e6f}, maximum, minimum;
  for (int k = 1; k <= m.GetSSESizeY() - 2 && m.GetSSESizeX() >= 7; ++k)
    for (int x = 3; x <= m.GetSSESizeX() - 4; ++x)
      for (int l = 0; l < 4; ++l) {
        const float v = Lane(m, x, 4 * k + l);
        if (std::isnan(v) || (excludeZero && v > -0.002f && v < 0.002f)) continue;
        lo[l] = v < lo[l] ? v : lo[l];
        hi[l] = v > hi[l] ? v : hi[l];
      }
  CSSEFns::max_of_m128(_mm_loadu_ps(hi), &maximum);
  CSSEFns::min_of_m128(_mm_loadu_ps(lo), &minimum);
  return {Bits(maximum), Bits(minimum)};
}

// (maximum, minimum) as the raster reports them.
std::pair<float, float> Extremes(CSSEMatrix& m, bool excludeZero) {
  float first = 0, second = 0;
  excludeZero ? m.CalcMinMaxValuesExcludeZero(&first, &second) : m.CalcMinMaxValues(&first, &second);
  return {first, second};
}

TEST(MatrixCounting, ExtremesMatchOneAccumulatorPerLaneBitForBit) {
  std::mt19937 rng(2024);
  // Signed zeros and NaN, then values on the zero band's edges, then larger
  // ones: the cases where the order of the comparisons decides the bits.
  // Widths from 1 and heights from 1: rasters without an inner region too.
  const float pool[] = {0.0f, -0.0f, kNaN, 0.0019f, -0.002f, 0.002f, -0.0019f, 3.0f, -3.0f};
  for (int trial = 0; trial < 80; ++trial) {
    CSSEMatrix m = RandomRaster(1 + int(rng() % 46), 1 + int(rng() % 48), rng,
                                [&](std::mt19937& r) { return pool[r() % (3 + trial % 3 * 3)]; });
    for (bool excludeZero : {false, true}) {
      const auto [gotMax, gotMin] = Extremes(m, excludeZero);
      ASSERT_EQ(std::pair(Bits(gotMax), Bits(gotMin)), NaiveExtremes(m, excludeZero))
          << "trial " << trial << (excludeZero ? ", zero excluded" : "");
    }
  }
}

// Lane-wise float accumulation in walk order, then (l0 + l3) + (l1 + l2).
template <class Term>
float PairedSum(CSSEMatrix& m, Term term) {
  float acc[4] = {0, 0, 0, 0};
  ForEachLane(m, [&](float v, int, int row) { acc[row & 3] += term(v); });
  return (acc[0] + acc[3]) + (acc[1] + acc[2]);
}

TEST(MatrixCounting, IntegralsFollowTheLanePairing) {
  for (int h : {1, 4, 5, 17, 130}) {
    std::mt19937 rng(100 + h);
    CSSEMatrix m = RandomRaster(37, h, rng, Uniform(-1e4f, 1e4f));
    const float factor = 0.3f * 0.7f;
    EXPECT_EQ(m.IntegrateMatrix(), PairedSum(m, [](float v) { return v; })) << h;
    EXPECT_EQ(m.IntegrateMatrixAbsolute(), PairedSum(m, [](float v) { return std::sqrt(v * v); })) << h;
    EXPECT_EQ(m.IntegrateMatrixAbsolute(0.3f, 0.7f), PairedSum(m, [&](float v) { return std::sqrt(v * v) * factor; }))
        << h;
  }
  CSSEMatrix m = Filled(2, 3, 0.0f);
  m.SetPoint(0, 1, 2e19f);  // its square overflows
  EXPECT_TRUE(std::isinf(m.IntegrateMatrixAbsolute()));
}

}  // namespace
