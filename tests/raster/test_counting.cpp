#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <cstring>
#include <random>
#include <vector>

#include "lanes.h"
#include "relief/CSSEFns.h"
#include "relief/CSSEMatrix.h"

using relief_test::Lanes;

namespace {

// Lane-wise float accumulation in walk order, then (l0 + l3) + (l1 + l2).
float PairedSum(const std::vector<float>& lanes, float (*term)(float)) {
  float acc[4] = {0, 0, 0, 0};
  for (std::size_t i = 0; i < lanes.size(); ++i) acc[i % 4] += term(lanes[i]);
  return (acc[0] + acc[3]) + (acc[1] + acc[2]);
}

}  // namespace

TEST(MatrixCounting, CountsIncludeSpareLanes) {
  CSSEMatrix m;
  m.Create(3, 5);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 3; ++x) m.SetPoint(x, y, 1.0f);
  EXPECT_EQ(m.NumValuesAbove(0.0f), 15);
  EXPECT_EQ(m.NumValuesBelow(0.5f), 3 * 8 - 15);
  m.Fill(1.0f);
  EXPECT_EQ(m.NumValuesAbove(0.0f), 24);
  EXPECT_EQ(m.NumValuesAbove(1.0f), 0);  // strict

  CSSEMatrix four;
  four.Create(2, 4);  // a whole spare SSE row of zeros counts
  EXPECT_EQ(four.NumValuesBelow(0.5f), 16);
}

TEST(MatrixCounting, CountsAgainstAnotherRaster) {
  CSSEMatrix a, b;
  a.Create(5, 6);
  b.Create(5, 6);
  relief_test::FillRandom(a, 11, -1, 1);
  relief_test::FillRandom(b, 12, -1, 1);
  const std::vector<float> la = Lanes(a), lb = Lanes(b);
  int above = 0, below = 0;
  for (std::size_t i = 0; i < la.size(); ++i) {
    above += la[i] > lb[i];
    below += la[i] < lb[i];
  }
  EXPECT_EQ(a.NumValuesAbove(&b), above);
  EXPECT_EQ(a.NumValuesBelow(&b), below);
  EXPECT_EQ(a.NumValuesAbove(nullptr), 0);

  CSSEMatrix small;
  small.Create(2, 2);
  small.Fill(5.0f);
  EXPECT_EQ(small.NumValuesAbove(&a), 2 * 4);  // only the overlap is read
}

TEST(MatrixCounting, ExtremesSkipTheFrameAndReturnMaximumFirst) {
  CSSEMatrix m;
  m.Create(10, 12);  // SSE rows 0..3: rows 4..11 are inside, columns 3..6
  m.Fill(1.0f);
  m.SetPoint(0, 5, 100.0f);  // outside: column 0
  m.SetPoint(5, 2, -100.0f);  // outside: first SSE row
  m.SetPoint(4, 8, 6.0f);
  m.SetPoint(6, 4, -2.0f);
  float first = 0, second = 0;
  m.CalcMinMaxValues(&first, &second);
  EXPECT_EQ(first, 6.0f);
  EXPECT_EQ(second, -2.0f);

  CSSEMatrix narrow;
  narrow.Create(6, 100);
  narrow.Fill(3.0f);
  narrow.CalcMinMaxValues(&first, &second);
  EXPECT_EQ(first, -1000000.0f);
  EXPECT_EQ(second, 1000000.0f);
}

TEST(MatrixCounting, ExtremesExcludingZero) {
  CSSEMatrix m;
  m.Create(10, 12);
  m.SetPoint(5, 6, 5.0f);
  m.SetPoint(4, 7, 0.0019f);
  m.SetPoint(4, 8, -0.0019f);
  float first = 0, second = 0;
  m.CalcMinMaxValues(&first, &second);
  EXPECT_EQ(first, 5.0f);
  EXPECT_EQ(second, -0.0019f);
  m.CalcMinMaxValuesExcludeZero(&first, &second);
  EXPECT_EQ(first, 5.0f);
  EXPECT_EQ(second, 5.0f);
}

TEST(MatrixCounting, ExtremesIgnoreNaN) {
  CSSEMatrix m;
  m.Create(10, 12);
  m.Fill(2.0f);
  m.SetPoint(5, 6, std::numeric_limits<float>::quiet_NaN());
  float first = 0, second = 0;
  m.CalcMinMaxValues(&first, &second);
  EXPECT_EQ(first, 2.0f);
  EXPECT_EQ(second, 2.0f);
}

TEST(MatrixCounting, IntegralsFollowTheLanePairing) {
  for (int h : {1, 4, 5, 17, 130}) {
    CSSEMatrix m;
    m.Create(37, h);
    relief_test::FillRandom(m, 100 + h, -1e4f, 1e4f);
    const std::vector<float> lanes = Lanes(m);
    EXPECT_EQ(m.IntegrateMatrix(), PairedSum(lanes, [](float v) { return v; })) << h;
    EXPECT_EQ(m.IntegrateMatrixAbsolute(), PairedSum(lanes, [](float v) { return std::sqrt(v * v); })) << h;
    static float factor;
    factor = 0.3f * 0.7f;
    EXPECT_EQ(m.IntegrateMatrixAbsolute(0.3f, 0.7f), PairedSum(lanes, [](float v) { return std::sqrt(v * v) * factor; }))
        << h;
  }
}

TEST(MatrixCounting, IntegralsOfSignedPairs) {
  CSSEMatrix m;
  m.Create(2, 3);
  m.SetPoint(0, 0, -2.0f);
  m.SetPoint(1, 0, 2.0f);
  EXPECT_EQ(m.IntegrateMatrix(), 0.0f);
  EXPECT_EQ(m.IntegrateMatrixAbsolute(), 4.0f);
  m.SetPoint(0, 1, 2e19f);  // its square overflows
  EXPECT_TRUE(std::isinf(m.IntegrateMatrixAbsolute()));
}

namespace {

// One accumulator per lane, register by register, acc = (v < acc) ? v : acc.
void NaiveExtremes(const CSSEMatrix& m, bool excludeZero, float* maximum, float* minimum) {
  float lo[4] = {1e6f, 1e6f, 1e6f, 1e6f}, hi[4] = {-1e6f, -1e6f, -1e6f, -1e6f};
  __m128** lines = m.GetMatrixDataDirectly();
  for (int k = 1; k <= m.GetSSESizeY() - 2 && m.GetSSESizeX() >= 7; ++k)
    for (int x = 3; x <= m.GetSSESizeX() - 4; ++x) {
      float v[4];
      std::memcpy(v, &lines[k][x], sizeof v);
      for (int l = 0; l < 4; ++l) {
        if (std::isnan(v[l]) || (excludeZero && v[l] > -0.002f && v[l] < 0.002f)) continue;
        lo[l] = v[l] < lo[l] ? v[l] : lo[l];
        hi[l] = v[l] > hi[l] ? v[l] : hi[l];
      }
    }
  CSSEFns::max_of_m128(_mm_loadu_ps(hi), maximum);
  CSSEFns::min_of_m128(_mm_loadu_ps(lo), minimum);
}

}  // namespace

TEST(MatrixCounting, ExtremesMatchOneAccumulatorPerLaneBitForBit) {
  std::mt19937 rng(2024);
  for (int trial = 0; trial < 60; ++trial) {
    CSSEMatrix m;
    m.Create(7 + int(rng() % 40), 9 + int(rng() % 40));
    // Mostly signed zeros, some NaN and small values: the cases where the
    // order of the comparisons decides the result's bits.
    std::vector<float> lanes = Lanes(m);
    const float pool[] = {0.0f, -0.0f, std::numeric_limits<float>::quiet_NaN(), 0.001f, -0.001f, 3.0f, -3.0f};
    for (float& v : lanes) v = pool[rng() % (trial % 2 ? 7 : 3)];
    relief_test::SetLanes(m, lanes);
    for (bool excludeZero : {false, true}) {
      float gotMax, gotMin, wantMax, wantMin;
      if (excludeZero)
        m.CalcMinMaxValuesExcludeZero(&gotMax, &gotMin);
      else
        m.CalcMinMaxValues(&gotMax, &gotMin);
      NaiveExtremes(m, excludeZero, &wantMax, &wantMin);
      ASSERT_EQ(relief_test::Bits({gotMax, gotMin}), relief_test::Bits({wantMax, wantMin}))
          << "trial " << trial << " excludeZero " << excludeZero;
    }
  }
}
