// Bulk operations on one raster and combinations of two, each against its
// one-lane rule written plainly (NaN and signed zeros included), plus a few
// documented values.

#include "raster_compare.h"
#include "relief/CSSEcharMatrix.h"

using namespace relief::test;

namespace {

using Member = void (*)(CSSEMatrix& a, CSSEMatrix& b);
#define CALL(call) #call, [](CSSEMatrix & a, [[maybe_unused]] CSSEMatrix & b) { a.call; }
#define RULE(expr) [](float a, [[maybe_unused]] float b) { return float(expr); }

// Partly passing registers add in double and round back; whole registers in float.
float AddInDouble(float v, float d) { return static_cast<float>(double(v) + double(d)); }
float PositivePart(float v) { return v > 0.0f ? v : 0.0f; }

const struct LaneOp {
  const char* name;
  Member member;
  float (*rule)(float a, float b);
  bool thisExtent;  // walks this raster's extent (the other must be as large)
} kOps[] = {
    {CALL(OffsetMatrix(0.7f)), RULE(a + 0.7f), true},
    {CALL(OffsetMatrixAbove(1.0f, 0.1f)), RULE(a > 1.0f ? AddInDouble(a, 0.1f) : a), true},
    {CALL(OffsetMatrixBelow(1.0f, -3.3f)), RULE(a < 1.0f ? AddInDouble(a, -3.3f) : a), true},
    {CALL(LiftWhereNonZero(2.0f)), RULE(a > 0.005f ? AddInDouble(a, 2.0f) : a), true},
    {CALL(ScalarMultiply(-1.5f)), RULE(a * -1.5f), true},
    {CALL(InvertSign()), RULE(0.0f - a), true},
    {CALL(Absolute()), RULE(std::sqrt(a* a)), true},
    {CALL(TresholdAbove(1.0f, 9.0f)), RULE(a > 1.0f ? 9.0f : 0.0f), true},
    {CALL(TresholdBelow(1.0f, 9.0f)), RULE(a < 1.0f ? 9.0f : 0.0f), true},
    {CALL(TresholdAboveKeep(1.0f, 9.0f)), RULE(a > 1.0f ? 9.0f : a), true},
    {CALL(ErasePixelsGreater(0.5f)), RULE(a > 0.5f ? 0.0f : a), true},
    {CALL(ErasePixelsLower(0.5f)), RULE(a < 0.5f ? 0.0f : a), true},
    {CALL(EraseOtherValuePixels(1.0f, 0.5f)), RULE(a > 1.5f || a < 0.5f ? 0.0f : a), true},
    {CALL(ReplaceValueWithValue(1.0f, 5.0f)), RULE(1.0f - 0.002f < a && a < 1.0f + 0.002f ? 5.0f : a), true},
    {CALL(ReplaceValueWithValue(0.0f, 7.0f, 0.005f)), RULE(-0.005f < a && a < 0.005f ? 7.0f : a), true},
    {CALL(AddMatrix(b)), RULE(a + b), true},
    {CALL(SubMatrix(b)), RULE(a - b), false},
    {CALL(SubMatrixValidate(b)), RULE(a > 0.0f ? a - b : a), false},
    {CALL(AddMatrixOffseted(b, 0.25f)), RULE(a + PositivePart(b - 0.25f)), true},
    {CALL(AddMatrixOffsetedNormed(b, 0.25f, 1.5f)), RULE(a + PositivePart(b - 0.25f) * 1.5f), true},
    {CALL(AddMatrixOffsetedConstrained(b, 0.25f, 0.75f, 1.5f)),
     RULE(PositivePart((a < 0.001f ? 0.0f : b) - 0.25f) * 1.5f + a * 0.75f), true},
    {CALL(MaximumOf(b)), RULE(b > a ? b : a), false},
    {CALL(MinimumOf(b)), RULE(b < a ? b : a), false},
    {CALL(CombineAbsolute(b)), RULE(std::sqrt(b* b + a * a)), false},
    {CALL(CombineMultiplicative(b)), RULE(std::sqrt((a * b) * (a * b))), false},
    {CALL(MaskOut(b)), RULE(b < 0.1f ? 0.0f : a), false},
    {CALL(MaskOutAndValidate(b)), RULE(b<0.1f && a> 0.0f ? 0.0f : a), false},
    {CALL(StencilThreshAbove(b, 0.5f)), RULE(b < 0.5f ? 0.0f : a), false},
    {CALL(StencilThreshBelow(b, 0.5f)), RULE(b < 0.5f ? 0.0f : a), false},
    {CALL(Stencil(b, 1.0f, 1.0f)), RULE(b < 5.0f ? 0.0f : a), false},
};

// Every lane of the overlap (padding included) follows the rule, the rest of
// this raster is untouched; heights hit the padding lanes, the spare SSE row
// and the 32-row fields.
TEST(LaneRules, MatchPlainReferenceOnRandomRasters) {
  const int sizes[][4] = {{1, 1, 1, 1},     {3, 2, 3, 2},     {8, 5, 8, 5},     {7, 9, 7, 9},
                          {16, 16, 16, 16}, {13, 5, 20, 11},  {1, 1, 3, 3},     {33, 17, 33, 21},
                          {3, 127, 3, 127}, {1, 128, 1, 128}, {8, 129, 8, 129}, {3, 15, 4, 17}};
  unsigned seed = 0;
  for (const LaneOp& op : kOps)
    for (const auto& s : sizes)
      for (bool swap : {false, true}) {
        if (swap && (op.thisExtent || (s[0] == s[2] && s[1] == s[3]))) continue;
        std::mt19937 rng(++seed);
        auto gen = [special = WithSpecials(-3, 8)](std::mt19937& r) { return r() % 40 ? special(r) : kNaN; };
        CSSEMatrix a = RandomRaster(s[swap ? 2 : 0], s[swap ? 3 : 1], rng, gen);
        CSSEMatrix b = RandomRaster(s[swap ? 0 : 2], s[swap ? 1 : 3], rng, gen);
        CSSEMatrix expected(a);
        const int sseX = std::min(a.GetSSESizeX(), b.GetSSESizeX()), sseY = std::min(a.GetSSESizeY(), b.GetSSESizeY());
        for (int row = 0; row < 4 * sseY; ++row)
          for (int x = 0; x < sseX; ++x) Lane(expected, x, row) = op.rule(Lane(a, x, row), Lane(b, x, row));
        op.member(a, b);
        EXPECT_TRUE(SameStorage(a, expected)) << op.name << " on " << a.GetSizeX() << "x" << a.GetSizeY() << " with "
                                              << b.GetSizeX() << "x" << b.GetSizeY() << ", seed " << seed;
      }
}

TEST(LaneRules, ThresholdsWithLeadingColumnsClearedAndRowWrites) {
  CSSEMatrix m = Filled(6, 5, 2.0f), z = Filled(6, 5, 0.0f), all(z);
  m.TresholdAbove(1.0f, 7.0f, 2);
  for (int x = 0; x < 6; ++x) EXPECT_EQ(m.GetPoint(x, 4), x < 2 ? 0.0f : 7.0f) << x;
  z.TresholdBelow(1.0f, 7.0f, -3);    // nothing to clear
  all.TresholdBelow(1.0f, 7.0f, 99);  // every column cleared
  EXPECT_EQ(std::pair(z.GetPoint(0, 0), all.NumValuesAbove(0.0f) + all.NumValuesBelow(0.0f)), std::pair(7.0f, 0));
  CSSEMatrix rows = Filled(4, 9, 1.0f);
  rows.ClearRow(-5, 7.0f), rows.ClearRow(9 + 3, 8.0f), rows.ReplaceLineAbove(0.5f, 3.0f, 5);
  const float expected[9] = {7, 1, 1, 1, 1, 3, 1, 1, 8};  // by row
  for (int i = 0; i < 36; ++i) ASSERT_EQ(rows.GetPoint(i % 4, i / 4), expected[i / 4]) << i;
  EXPECT_EQ(Lane(rows, 1, 9), 1.0f);  // padding lanes of the last SSE row untouched
}

// The scaled stencils pixel by pixel: mask pixel (x * sx + 0.5, y * sy + 0.5),
// truncated and clamped; the byte mask always so, its bytes signed.
TEST(LaneRules, StencilsReadClampedMaskPositions) {
  for (float sx : {0.5f, 2.0f, 1.0f})
    for (float sy : {0.5f, 1.0f, 3.0f}) {
      std::mt19937 rng(static_cast<unsigned>(sx * 10 + sy * 100));
      CSSEMatrix m = RandomRaster(11, 9, rng, Uniform(1, 2));
      CSSEMatrix mask = RandomRaster(7, 6, rng, Uniform(0, 10));
      CSSEcharMatrix charMask(7, 6);
      for (int i = 0; i < 42; ++i) charMask.SetPoint(i % 7, i / 7, static_cast<char>(rng()));
      CSSEMatrix expected(m), expectedChar(m), gotChar(m);
      const bool unscaled = sx == 1.0f && sy == 1.0f;
      for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 11; ++x) {
          const int mx = unscaled ? x : int(float(x) * sx + 0.5f), my = unscaled ? y : int(float(y) * sy + 0.5f);
          if (mask.GetPoint(mx, my) < 5.0f) expected.SetPoint(x, y, 0.0f);
          if (static_cast<signed char>(charMask.GetPoint(mx, my)) < 5) expectedChar.SetPoint(x, y, 0.0f);
        }
      gotChar.Stencil(charMask, sx, sy);
      EXPECT_TRUE(SameStorage(gotChar, expectedChar)) << "byte mask, scale " << sx << ", " << sy;
      if (unscaled) continue;  // the unscaled float stencil walks registers, tested above
      m.Stencil(mask, sx, sy);
      EXPECT_TRUE(SameStorage(m, expected)) << "scale " << sx << ", " << sy;
    }
}

// first - second over the smaller of the two (padding lanes included), then
// negative and/or positive differences erased.
TEST(LaneRules, DifferenceMatrixTakesSmallerSizeAndErasesAsAsked) {
  std::mt19937 rng(5);
  CSSEMatrix first = RandomRaster(5, 9, rng, Uniform(-1, 1)), second = RandomRaster(7, 6, rng, Uniform(-1, 1));
  for (int mode = 0; mode < 4; ++mode) {
    CSSEMatrix d = Filled(50, 50, 1.0f), expected = Filled(5, 6, 0.0f);
    ForEachLane(expected, [&](float& v, int x, int row) {
      v = Lane(first, x, row) - Lane(second, x, row);
      if (((mode & 1) && v < 0) || ((mode & 2) && v > 0)) v = 0.0f;
    });
    d.CalcDifferenceMatrixConstrained(first, second, mode & 1, mode & 2);
    EXPECT_TRUE(SameStorage(d, expected)) << "mode " << mode;
  }
  CSSEMatrix plain;
  plain.CalcDifferenceMatrixConstrained(first, second, false, false);
  first.CalcDifferenceMatrixConstrained(first, second, false, false);  // may replace an operand
  EXPECT_TRUE(SameStorage(first, plain));
}

}  // namespace
