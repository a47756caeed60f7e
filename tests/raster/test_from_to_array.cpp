#include <gtest/gtest.h>

#include "relief/CImgFromToArray.h"
#include "relief/CSSEMatrix.h"

namespace {

// A raster whose band k has a step between given columns.
CSSEMatrix Steps(int sizeX, int sizeY) {
  CSSEMatrix m;
  m.Create(sizeX, sizeY);
  return m;
}

}  // namespace

TEST(FromToArray, BandCountAndUntouchedBands) {
  for (auto [rows, bands] : {std::pair{8, 2}, {9, 3}, {1, 1}, {4, 1}}) {
    CSSEMatrix m = Steps(10, rows);
    CImgFromToArray spans;
    spans.CalcArray(m, 0, 9);
    ASSERT_EQ(spans.GetCount(), bands) << rows;
    EXPECT_EQ(spans.GetArray()[0].from, 0);
    EXPECT_EQ(spans.GetArray()[0].to, 999999);
    EXPECT_TRUE(spans.IsPositionInArray(123456, 0, 1));  // constant band: every x >= 0
  }
}

TEST(FromToArray, FindsTheFirstAndLastChange) {
  CSSEMatrix m = Steps(20, 8);
  m.SetPoint(5, 1, 1.0f);   // band 0 changes at 5 (rising) and 6 (falling)
  m.SetPoint(12, 6, 0.005f);  // band 1: a step of exactly 0.005 counts
  m.SetPoint(15, 6, 0.0049f);  // below 0.005: no change
  CImgFromToArray spans;
  spans.CalcArray(m, 0, 19);
  EXPECT_EQ(spans.GetArray()[0].from, 5);
  EXPECT_EQ(spans.GetArray()[0].to, 6);
  EXPECT_EQ(spans.GetArray()[1].from, 12);
  EXPECT_EQ(spans.GetArray()[1].to, 13);

  // A change at column 1 is found with xFrom = 0 (column 1 is compared with 0).
  CSSEMatrix edge = Steps(6, 4);
  edge.SetPoint(0, 0, 3.0f);
  spans.CalcArray(edge, 0, 5);
  EXPECT_EQ(spans.GetArray()[0].from, 1);
}

TEST(FromToArray, QueriesOverBandRanges) {
  CSSEMatrix m = Steps(30, 16);  // 4 bands
  m.SetPoint(10, 0, 1.0f);   // band 0: 10 .. 11
  m.SetPoint(20, 5, 1.0f);   // band 1: 20 .. 21
  m.SetPoint(3, 9, 1.0f);    // band 2: 3 .. 4
  CImgFromToArray spans;
  EXPECT_FALSE(spans.IsPositionInArray(0, 0, 1));  // no table yet
  spans.CalcArray(m, 0, 29);

  EXPECT_TRUE(spans.IsPositionInArray(11, 2, 1));
  EXPECT_FALSE(spans.IsPositionInArray(12, 2, 1));
  // y = 5, range 2: bands 0 <= k < 1, so only band 0 is tested.
  EXPECT_TRUE(spans.IsPositionInArray(10, 5, 2));
  EXPECT_FALSE(spans.IsPositionInArray(20, 5, 2));
  // Empty band range answers true.
  EXPECT_TRUE(spans.IsPositionInArray(-50, 1, 2));

  int from = -1, to = -1;
  spans.GetFromToCoords(from, to, 2, 1);  // range 1 reads entry 2 itself, not band 0
  EXPECT_EQ(from, 3);
  EXPECT_EQ(to, 4);
  from = 0, to = 100;
  spans.GetFromToCoords(from, to, 6, 3);  // bands 0 and 1 ((6 + 3) >> 2 = 2 is not tested)
  EXPECT_EQ(from, 10);
  EXPECT_EQ(to, 21);
  from = 0, to = 100;
  spans.GetFromToCoords(from, to, 1, 2);  // empty band range
  EXPECT_EQ(from, 999999);
  EXPECT_EQ(to, 0);
}

TEST(FromToArray, DrawMarksSpanEnds) {
  CSSEMatrix m = Steps(12, 8);
  m.SetPoint(5, 1, 1.0f);
  CImgFromToArray spans;
  spans.CalcArray(m, 0, 11);
  CSSEMatrix canvas = Steps(12, 8);
  spans.DrawInMatrix(canvas);
  EXPECT_EQ(canvas.GetPoint(4, 0), 20.0f);   // box centred on (5, 1) after the shift inward
  EXPECT_EQ(canvas.GetPoint(6, 2), 30.0f);   // to = 6 drawn after from
  EXPECT_EQ(canvas.GetPoint(11, 5), 30.0f);  // band 1 has no right end: drawn at the border
}
