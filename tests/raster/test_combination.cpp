// The two-raster combinations against a lane-by-lane reference, and the
// thresholds and extents callers depend on.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>

#include "raster_compare.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

using relief::test::Lane;
using relief::test::StorageDifference;

namespace {

using LaneRule = std::function<float(float a, float b)>;
using Member = std::function<void(CSSEMatrix& a, CSSEMatrix& b)>;

struct Combination {
  const char* name;
  Member member;
  LaneRule rule;
  bool thisExtent;  // walks this raster's extent (the other must be as large)
};

void PrintTo(const Combination& c, std::ostream* os) { *os << c.name; }

float PositivePart(float v) { return v > 0.0f ? v : 0.0f; }

const Combination kCombinations[] = {
    {"AddMatrix", [](CSSEMatrix& a, CSSEMatrix& b) { a.AddMatrix(b); }, [](float a, float b) { return a + b; }, true},
    {"SubMatrix", [](CSSEMatrix& a, CSSEMatrix& b) { a.SubMatrix(b); }, [](float a, float b) { return a - b; }, false},
    {"SubMatrixValidate", [](CSSEMatrix& a, CSSEMatrix& b) { a.SubMatrixValidate(b); },
     [](float a, float b) { return a > 0.0f ? a - b : a; }, false},
    {"AddMatrixOffseted", [](CSSEMatrix& a, CSSEMatrix& b) { a.AddMatrixOffseted(b, 0.25f); },
     [](float a, float b) { return a + PositivePart(b - 0.25f); }, true},
    {"AddMatrixOffsetedNormed", [](CSSEMatrix& a, CSSEMatrix& b) { a.AddMatrixOffsetedNormed(b, 0.25f, 1.5f); },
     [](float a, float b) { return a + PositivePart(b - 0.25f) * 1.5f; }, true},
    {"AddMatrixOffsetedConstrained",
     [](CSSEMatrix& a, CSSEMatrix& b) { a.AddMatrixOffsetedConstrained(b, 0.25f, 0.75f, 1.5f); },
     [](float a, float b) {
       const float admitted = a < 0.001f ? 0.0f : b;
       return PositivePart(admitted - 0.25f) * 1.5f + a * 0.75f;
     },
     true},
    {"MaximumOf", [](CSSEMatrix& a, CSSEMatrix& b) { a.MaximumOf(b); }, [](float a, float b) { return b > a ? b : a; },
     false},
    {"MinimumOf", [](CSSEMatrix& a, CSSEMatrix& b) { a.MinimumOf(b); }, [](float a, float b) { return b < a ? b : a; },
     false},
    {"CombineAbsolute", [](CSSEMatrix& a, CSSEMatrix& b) { a.CombineAbsolute(b); },
     [](float a, float b) { return std::sqrt(b * b + a * a); }, false},
    {"CombineMultiplicative", [](CSSEMatrix& a, CSSEMatrix& b) { a.CombineMultiplicative(b); },
     [](float a, float b) {
       const float p = a * b;
       return std::sqrt(p * p);
     },
     false},
    {"MaskOut", [](CSSEMatrix& a, CSSEMatrix& b) { a.MaskOut(b); }, [](float a, float b) { return b < 0.1f ? 0.0f : a; },
     false},
    {"MaskOutAndValidate", [](CSSEMatrix& a, CSSEMatrix& b) { a.MaskOutAndValidate(b); },
     [](float a, float b) { return b < 0.1f && a > 0.0f ? 0.0f : a; }, false},
    {"StencilThreshAbove", [](CSSEMatrix& a, CSSEMatrix& b) { a.StencilThreshAbove(b, 0.5f); },
     [](float a, float b) { return b < 0.5f ? 0.0f : a; }, false},
    {"StencilThreshBelow", [](CSSEMatrix& a, CSSEMatrix& b) { a.StencilThreshBelow(b, 0.5f); },
     [](float a, float b) { return b < 0.5f ? 0.0f : a; }, false},
    {"StencilUnscaled", [](CSSEMatrix& a, CSSEMatrix& b) { a.Stencil(b, 1.0f, 1.0f); },
     [](float a, float b) { return b < 5.0f ? 0.0f : a; }, false},
};

class CombinationRule : public testing::TestWithParam<Combination> {};

// Every lane of the overlap (padding included) follows the rule; the rest of
// this raster is untouched.
TEST_P(CombinationRule, MatchesLaneByLaneReference) {
  const Combination& c = GetParam();
  const int sizes[][4] = {{7, 9, 7, 9}, {16, 16, 16, 16}, {13, 5, 20, 11}, {1, 1, 3, 3}, {33, 17, 33, 21}};
  for (const auto& s : sizes)
    for (bool swapSizes : {false, true}) {
      if (swapSizes && c.thisExtent) continue;  // those need the other at least as large
      const int ax = swapSizes ? s[2] : s[0], ay = swapSizes ? s[3] : s[1];
      const int bx = swapSizes ? s[0] : s[2], by = swapSizes ? s[1] : s[3];
      std::mt19937 rng(ax * 7 + ay * 131 + bx * 17 + by);
      std::uniform_real_distribution<float> value(-2.0f, 8.0f);
      std::uniform_int_distribution<int> pick(0, 9);
      auto gen = [&](std::mt19937& r) {
        switch (pick(r)) {
          case 0: return 0.0f;
          case 1: return 0.1f;
          case 2: return 5.0f;
          case 3: return 0.0005f;
          default: return value(r);
        }
      };
      CSSEMatrix a, b, expected;
      a.Create(ax, ay);
      b.Create(bx, by);
      relief::test::FillLanes(a, rng, gen);
      relief::test::FillLanes(b, rng, gen);
      expected.CopyFromSSEMatrix(a);
      const int sseX = std::min(a.GetSSESizeX(), b.GetSSESizeX()), sseY = std::min(a.GetSSESizeY(), b.GetSSESizeY());
      for (int row = 0; row < 4 * sseY; ++row)
        for (int x = 0; x < sseX; ++x) Lane(expected, x, row) = c.rule(Lane(a, x, row), Lane(b, x, row));
      c.member(a, b);
      EXPECT_EQ(StorageDifference(a, expected), "") << ax << "x" << ay << " with " << bx << "x" << by;
    }
}

INSTANTIATE_TEST_SUITE_P(Members, CombinationRule, testing::ValuesIn(kCombinations),
                         [](const testing::TestParamInfo<Combination>& info) { return info.param.name; });

CSSEMatrix Single(float v) {
  CSSEMatrix m;
  m.Create(1, 1);
  m.SetPoint(0, 0, v);
  return m;
}

float Apply(void (CSSEMatrix::*member)(CSSEMatrix&), float a, float b) {
  CSSEMatrix ma = Single(a), mb = Single(b);
  (ma.*member)(mb);
  return ma.GetPoint(0, 0);
}

TEST(Combination, DocumentedValues) {
  EXPECT_EQ(Apply(&CSSEMatrix::CombineAbsolute, 3.0f, 4.0f), 5.0f);
  EXPECT_EQ(Apply(&CSSEMatrix::CombineMultiplicative, -2.0f, 3.0f), 6.0f);
  EXPECT_EQ(Apply(&CSSEMatrix::MaskOut, 7.0f, 0.1f), 7.0f);
  EXPECT_EQ(Apply(&CSSEMatrix::MaskOut, 7.0f, 0.0999f), 0.0f);
  EXPECT_EQ(Apply(&CSSEMatrix::MaskOutAndValidate, -7.0f, 0.0f), -7.0f);
  EXPECT_EQ(Apply(&CSSEMatrix::SubMatrixValidate, 0.0f, 100.0f), 0.0f);
  EXPECT_EQ(Apply(&CSSEMatrix::SubMatrixValidate, -1.0f, 100.0f), -1.0f);
  EXPECT_EQ(Apply(&CSSEMatrix::SubMatrixValidate, 1.0f, 100.0f), -99.0f);
}

TEST(Combination, NaNOnEitherSideKeepsThisRasterInMaxAndMin) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(Apply(&CSSEMatrix::MaximumOf, 1.0f, nan), 1.0f);
  EXPECT_EQ(Apply(&CSSEMatrix::MinimumOf, 1.0f, nan), 1.0f);
  EXPECT_TRUE(std::isnan(Apply(&CSSEMatrix::MaximumOf, nan, 1.0f)));
  EXPECT_TRUE(std::isnan(Apply(&CSSEMatrix::MinimumOf, nan, 1.0f)));
}

TEST(Combination, SmallerRasterLimitsTheWalkToWholeSseRows) {
  CSSEMatrix big, small;
  big.Create(10, 10);
  small.Create(6, 6);
  big.Fill(1.0f);
  small.Fill(2.0f);
  big.SubMatrix(small);
  for (int y = 0; y < 10; ++y)
    for (int x = 0; x < 10; ++x)
      EXPECT_EQ(big.GetPoint(x, y), x < 6 && y < 8 ? -1.0f : 1.0f) << x << "," << y;
}

TEST(Stencil, UnscaledKeepsMaskValueFive) {
  CSSEMatrix m = Single(3.0f), mask = Single(5.0f);
  m.Stencil(mask, 1.0f, 1.0f);
  EXPECT_EQ(m.GetPoint(0, 0), 3.0f);
  mask.SetPoint(0, 0, 4.9999f);
  m.Stencil(mask, 1.0f, 1.0f);
  EXPECT_EQ(m.GetPoint(0, 0), 0.0f);
}

// The scaled stencils pixel by pixel: mask pixel (x * sx + 0.5, y * sy + 0.5),
// truncated and clamped.
TEST(Stencil, ScaledReadsClampedMaskPositions) {
  for (float sx : {0.5f, 2.0f, 1.0f})
    for (float sy : {0.5f, 1.0f, 3.0f}) {
      std::mt19937 rng(static_cast<unsigned>(sx * 10 + sy * 100));
      CSSEMatrix m, mask, expected;
      m.Create(11, 9);
      mask.Create(7, 6);
      relief::test::FillLanes(m, rng, [](std::mt19937& r) { return std::uniform_real_distribution<float>(1, 2)(r); });
      relief::test::FillLanes(mask, rng, [](std::mt19937& r) { return std::uniform_real_distribution<float>(0, 10)(r); });
      CSSEcharMatrix charMask;
      charMask.Create(7, 6);
      for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 7; ++x) charMask.SetPoint(x, y, static_cast<char>(std::uniform_int_distribution<int>(-128, 127)(rng)));
      expected.CopyFromSSEMatrix(m);
      CSSEMatrix expectedChar(m), gotChar(m);
      for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 11; ++x) {
          const int mx = sx == 1.0f && sy == 1.0f ? x : static_cast<int>(static_cast<float>(x) * sx + 0.5f);
          const int my = sx == 1.0f && sy == 1.0f ? y : static_cast<int>(static_cast<float>(y) * sy + 0.5f);
          if (mask.GetPoint(mx, my) < 5.0f) expected.SetPoint(x, y, 0.0f);
          if (static_cast<signed char>(charMask.GetPoint(mx, my)) < 5) expectedChar.SetPoint(x, y, 0.0f);
        }
      gotChar.Stencil(charMask, sx, sy);
      EXPECT_EQ(StorageDifference(gotChar, expectedChar), "") << "byte mask, scale " << sx << ", " << sy;
      if (sx == 1.0f && sy == 1.0f) continue;  // the unscaled float stencil walks registers, tested above
      m.Stencil(mask, sx, sy);
      EXPECT_EQ(StorageDifference(m, expected), "") << "scale " << sx << ", " << sy;
    }
}

TEST(Stencil, ByteMaskIsSigned) {
  CSSEcharMatrix mask(1, 1);
  for (int byte : {5, 127, 4, -1, 200 - 256, 128 - 256}) {
    CSSEMatrix m = Single(9.0f);
    mask.SetPoint(0, 0, static_cast<char>(byte));
    m.Stencil(mask, 1.0f, 1.0f);
    EXPECT_EQ(m.GetPoint(0, 0), byte >= 5 ? 9.0f : 0.0f) << "byte " << byte;
  }
}

TEST(CalcDifferenceMatrixConstrained, TakesSmallerSizeAndErasesAsAsked) {
  CSSEMatrix first, second;
  first.Create(5, 9);
  second.Create(7, 6);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 5; ++x) first.SetPoint(x, y, static_cast<float>(x));
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 7; ++x) second.SetPoint(x, y, static_cast<float>(y));
  for (int mode = 0; mode < 4; ++mode) {
    CSSEMatrix d;
    d.Create(50, 50);
    d.CalcDifferenceMatrixConstrained(first, second, mode & 1, mode & 2);
    ASSERT_EQ(d.GetSizeX(), 5);
    ASSERT_EQ(d.GetSizeY(), 6);
    for (int y = 0; y < 6; ++y)
      for (int x = 0; x < 5; ++x) {
        float v = static_cast<float>(x - y);
        if ((mode & 1) && v < 0) v = 0;
        if ((mode & 2) && v > 0) v = 0;
        EXPECT_EQ(d.GetPoint(x, y), v) << "mode " << mode << " at " << x << "," << y;
      }
  }
  // The result may replace one of its operands.
  first.CalcDifferenceMatrixConstrained(first, second, false, false);
  EXPECT_EQ(first.GetSizeY(), 6);
  EXPECT_EQ(first.GetPoint(4, 1), 3.0f);
}

}  // namespace
