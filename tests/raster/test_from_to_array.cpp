// CImgFromToArray: the first and last change per band of four rows, and the
// queries over ranges of bands.

#include "raster_compare.h"
#include "relief/CImgFromToArray.h"

using namespace relief::test;

namespace {

std::pair<int, int> Span(CImgFromToArray& spans, int band) {
  return {spans.GetArray()[band].from, spans.GetArray()[band].to};
}

TEST(FromToArray, BandsHoldTheFirstAndLastChange) {
  for (auto [rows, bands] : {std::pair{8, 2}, {9, 3}, {1, 1}}) {
    CSSEMatrix m = Filled(10, rows, 0.0f);
    CImgFromToArray spans;
    spans.CalcArray(m, 0, 9);
    ASSERT_EQ(spans.GetCount(), bands) << rows;
    EXPECT_EQ(Span(spans, 0), std::pair(0, 999999));  // constant band: untouched
  }
  CSSEMatrix m = Filled(20, 8, 0.0f);
  m.SetPoint(5, 1, 1.0f);      // band 0 changes at 5 (rising) and 6 (falling)
  m.SetPoint(12, 6, 0.005f);   // band 1: a step of exactly 0.005 counts
  m.SetPoint(15, 6, 0.0049f);  // below 0.005: no change
  CImgFromToArray spans;
  spans.CalcArray(m, 0, 19);
  EXPECT_EQ(Span(spans, 0), std::pair(5, 6));
  EXPECT_EQ(Span(spans, 1), std::pair(12, 13));
  CSSEMatrix edge = Filled(6, 4, 0.0f);
  edge.SetPoint(0, 0, 3.0f);  // with xFrom = 0, column 1 is compared with column 0
  spans.CalcArray(edge, 0, 5);
  EXPECT_EQ(Span(spans, 0).first, 1);
}

TEST(FromToArray, QueriesOverBandRanges) {
  CSSEMatrix m = Filled(30, 16, 0.0f);  // 4 bands
  m.SetPoint(10, 0, 1.0f);              // band 0: 10 .. 11
  m.SetPoint(20, 5, 1.0f);              // band 1: 20 .. 21
  m.SetPoint(3, 9, 1.0f);               // band 2: 3 .. 4
  CImgFromToArray spans;
  EXPECT_FALSE(spans.IsPositionInArray(0, 0, 1));  // no table yet
  spans.CalcArray(m, 0, 29);
  // At y = 5 with range 2 only band 0 is tested; an empty band range answers true.
  EXPECT_EQ(std::vector<bool>({spans.IsPositionInArray(11, 2, 1), spans.IsPositionInArray(12, 2, 1),
                               spans.IsPositionInArray(10, 5, 2), spans.IsPositionInArray(20, 5, 2),
                               spans.IsPositionInArray(-50, 1, 2)}),
            std::vector<bool>({true, false, true, false, true}));
  const int cases[][4] = {{2, 1, 3, 4},        // range 1 reads entry 2 itself, not band 0
                          {6, 3, 10, 21},      // bands 0 and 1 ((6 + 3) >> 2 = 2 is not tested)
                          {1, 2, 999999, 0}};  // empty band range
  for (const auto& c : cases) {
    int from = 0, to = 100;
    spans.GetFromToCoords(from, to, c[0], c[1]);
    EXPECT_EQ(std::pair(from, to), std::pair(c[2], c[3])) << c[0] << ", " << c[1];
  }
  CSSEMatrix canvas = Filled(30, 16, 0.0f);
  spans.DrawInMatrix(canvas);
  // A box centred on (10, 1) after the shift inward; to = 11 drawn after from;
  // band 3 has no right end: drawn at the border.
  EXPECT_EQ(std::vector<float>({canvas.GetPoint(9, 0), canvas.GetPoint(12, 2), canvas.GetPoint(29, 13)}),
            std::vector<float>({20, 30, 30}));
}

}  // namespace
