#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "lanes.h"
#include "relief/CSSEMatrix.h"

using relief_test::Bits;
using relief_test::Lanes;

namespace {

struct LaneOp {
  const char* name;
  std::function<void(CSSEMatrix&)> apply;
  std::function<float(float)> reference;  // the rule for one lane, written plainly
};

// Partly passing registers add in double and round back; whole registers in float.
float AddPerLaneInDouble(float v, float d) { return static_cast<float>(double(v) + double(d)); }

std::vector<LaneOp> Operations() {
  return {
      {"OffsetMatrix", [](CSSEMatrix& m) { m.OffsetMatrix(0.7f); }, [](float v) { return v + 0.7f; }},
      {"OffsetMatrixAbove", [](CSSEMatrix& m) { m.OffsetMatrixAbove(1.0f, 0.1f); },
       [](float v) { return v > 1.0f ? AddPerLaneInDouble(v, 0.1f) : v; }},
      {"OffsetMatrixBelow", [](CSSEMatrix& m) { m.OffsetMatrixBelow(1.0f, -3.3f); },
       [](float v) { return v < 1.0f ? AddPerLaneInDouble(v, -3.3f) : v; }},
      {"LiftWhereNonZero", [](CSSEMatrix& m) { m.LiftWhereNonZero(2.0f); },
       [](float v) { return v > 0.005f ? AddPerLaneInDouble(v, 2.0f) : v; }},
      {"ScalarMultiply", [](CSSEMatrix& m) { m.ScalarMultiply(-1.5f); }, [](float v) { return v * -1.5f; }},
      {"InvertSign", [](CSSEMatrix& m) { m.InvertSign(); }, [](float v) { return 0.0f - v; }},
      {"Absolute", [](CSSEMatrix& m) { m.Absolute(); }, [](float v) { return std::sqrt(v * v); }},
      {"TresholdAbove", [](CSSEMatrix& m) { m.TresholdAbove(1.0f, 9.0f); },
       [](float v) { return v > 1.0f ? 9.0f : 0.0f; }},
      {"TresholdBelow", [](CSSEMatrix& m) { m.TresholdBelow(1.0f, 9.0f); },
       [](float v) { return v < 1.0f ? 9.0f : 0.0f; }},
      {"TresholdAboveKeep", [](CSSEMatrix& m) { m.TresholdAboveKeep(1.0f, 9.0f); },
       [](float v) { return v > 1.0f ? 9.0f : v; }},
      {"ErasePixelsGreater", [](CSSEMatrix& m) { m.ErasePixelsGreater(0.5f); },
       [](float v) { return v > 0.5f ? 0.0f : v; }},
      {"ErasePixelsLower", [](CSSEMatrix& m) { m.ErasePixelsLower(0.5f); },
       [](float v) { return v < 0.5f ? 0.0f : v; }},
      {"EraseOtherValuePixels", [](CSSEMatrix& m) { m.EraseOtherValuePixels(1.0f, 0.5f); },
       [](float v) { return (v > 1.5f || v < 0.5f) ? 0.0f : v; }},
      {"ReplaceValueWithValue", [](CSSEMatrix& m) { m.ReplaceValueWithValue(1.0f, 5.0f); },
       [](float v) { return (1.0f - 0.002f < v && v < 1.0f + 0.002f) ? 5.0f : v; }},
      {"ReplaceValueWithValue tolerance", [](CSSEMatrix& m) { m.ReplaceValueWithValue(0.0f, 7.0f, 0.005f); },
       [](float v) { return (-0.005f < v && v < 0.005f) ? 7.0f : v; }},
  };
}

}  // namespace

// Every bulk operation against its one-lane rule on random rasters of sizes
// that hit the padding lanes, the spare SSE row and the field boundary.
TEST(MatrixPointwise, MatchesThePlainLaneRuleOnEveryLane) {
  const int heights[] = {1, 2, 3, 4, 5, 7, 8, 15, 16, 17, 127, 128, 129};
  const int widths[] = {1, 3, 8};
  unsigned seed = 1;
  for (const LaneOp& op : Operations())
    for (int h : heights)
      for (int w : widths) {
        CSSEMatrix m;
        m.Create(w, h);
        relief_test::FillRandom(m, ++seed, -3.0f, 3.0f);
        std::vector<float> expected = Lanes(m);
        for (float& v : expected) v = op.reference(v);
        op.apply(m);
        ASSERT_EQ(Bits(Lanes(m)), Bits(expected)) << op.name << " on " << w << " x " << h << ", seed " << seed;
      }
}

TEST(MatrixPointwise, EdgeValues) {
  struct Case {
    const char* name;
    std::function<void(CSSEMatrix&)> apply;
    float before, after;
  } cases[] = {
      {"threshold is strict", [](CSSEMatrix& m) { m.TresholdAbove(1.0f, 9.0f); }, 1.0f, 0.0f},
      {"just above the threshold", [](CSSEMatrix& m) { m.TresholdAbove(1.0f, 9.0f); }, 1.0001f, 9.0f},
      {"band keeps 4", [](CSSEMatrix& m) { m.EraseOtherValuePixels(5, 1); }, 4.0f, 4.0f},
      {"band keeps 6", [](CSSEMatrix& m) { m.EraseOtherValuePixels(5, 1); }, 6.0f, 6.0f},
      {"band erases 3.999", [](CSSEMatrix& m) { m.EraseOtherValuePixels(5, 1); }, 3.999f, 0.0f},
      {"band erases 6.001", [](CSSEMatrix& m) { m.EraseOtherValuePixels(5, 1); }, 6.001f, 0.0f},
      {"lift skips 0.004", [](CSSEMatrix& m) { m.LiftWhereNonZero(2); }, 0.004f, 0.004f},
      {"lift moves 0.006", [](CSSEMatrix& m) { m.LiftWhereNonZero(2); }, 0.006f, 2.006f},
      {"lift keeps 0", [](CSSEMatrix& m) { m.LiftWhereNonZero(2); }, 0.0f, 0.0f},
      {"absolute of -3", [](CSSEMatrix& m) { m.Absolute(); }, -3.0f, 3.0f},
      {"absolute overflows", [](CSSEMatrix& m) { m.Absolute(); }, -1e30f, INFINITY},
      {"absolute underflows", [](CSSEMatrix& m) { m.Absolute(); }, -1e-30f, 0.0f},
      {"replace 1.0019", [](CSSEMatrix& m) { m.ReplaceValueWithValue(1, 5); }, 1.0019f, 5.0f},
      {"replace 0.9981", [](CSSEMatrix& m) { m.ReplaceValueWithValue(1, 5); }, 0.9981f, 5.0f},
      {"replace keeps 1.002", [](CSSEMatrix& m) { m.ReplaceValueWithValue(1, 5); }, 1.002f, 1.002f},
      {"replace 1.001", [](CSSEMatrix& m) { m.ReplaceValueWithValue(1, 5); }, 1.001f, 5.0f},
      {"replace 0 with tolerance", [](CSSEMatrix& m) { m.ReplaceValueWithValue(0, 99999.9f, 0.002f); }, 0.0f,
       99999.8984375f},
  };
  for (const Case& c : cases) {
    CSSEMatrix m;
    m.Create(3, 3);
    m.Fill(c.before);
    c.apply(m);
    EXPECT_EQ(m.GetPoint(1, 1), c.after) << c.name;
  }
}

TEST(MatrixPointwise, InvertSignGivesPositiveZero) {
  CSSEMatrix m;
  m.Create(2, 2);
  m.InvertSign();
  EXPECT_FALSE(std::signbit(m.GetPoint(0, 0)));
}

TEST(MatrixPointwise, ThresholdsWithLeadingColumnsCleared) {
  CSSEMatrix m;
  m.Create(6, 5);
  m.Fill(2.0f);
  m.TresholdAbove(1.0f, 7.0f, 2);
  for (int x = 0; x < 6; ++x) EXPECT_EQ(m.GetPoint(x, 4), x < 2 ? 0.0f : 7.0f) << x;
  m.Fill(0.0f);
  m.TresholdBelow(1.0f, 7.0f, -3);  // nothing to clear
  EXPECT_EQ(m.GetPoint(0, 0), 7.0f);
  m.TresholdBelow(1.0f, 7.0f, 99);  // every column cleared
  for (float v : Lanes(m)) ASSERT_EQ(v, 0.0f);
}

TEST(MatrixPointwise, RowWritesTouchOneLaneOnly) {
  CSSEMatrix m;
  m.Create(4, 9);
  m.Fill(1.0f);
  m.ClearRow(-5, 7.0f);
  m.ClearRow(9 + 3, 8.0f);
  m.ReplaceLineAbove(0.5f, 3.0f, 5);
  for (int y = 0; y < 9; ++y) {
    const float expected = y == 0 ? 7.0f : y == 8 ? 8.0f : y == 5 ? 3.0f : 1.0f;
    for (int x = 0; x < 4; ++x) ASSERT_EQ(m.GetPoint(x, y), expected) << x << "," << y;
  }
  // The padding lanes of the last SSE row are untouched by the row write.
  EXPECT_EQ(Lanes(m)[2 * 16 + 1], 1.0f);
}
