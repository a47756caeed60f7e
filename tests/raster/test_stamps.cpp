#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <set>
#include <utility>

#include "relief/CSSEMatrix.h"

namespace {

using Stamp = void (CSSEMatrix::*)(int, int, float);
using Pixels = std::set<std::pair<int, int>>;

Pixels Box(int x0, int x1, int y0, int y1) {
  Pixels p;
  for (int y = y0; y <= y1; ++y)
    for (int x = x0; x <= x1; ++x) p.insert({x, y});
  return p;
}

Pixels Cross(int x, int y) { return {{x - 1, y}, {x, y}, {x + 1, y}, {x, y - 1}, {x, y + 1}}; }

// The pixels a stamp changed on a raster of 10 x 9 filled with 1.
Pixels Footprint(Stamp stamp, int x, int y, float value) {
  CSSEMatrix m;
  m.Create(10, 9);
  m.Fill(1.0f);
  (m.*stamp)(x, y, value);
  Pixels changed;
  for (int py = 0; py < 9; ++py)
    for (int px = 0; px < 10; ++px)
      if (m.GetPoint(px, py) != 1.0f) changed.insert({px, py});
  return changed;
}

}  // namespace

TEST(MatrixStamps, FootprintsAreShiftedInwardNeverClipped) {
  struct Case {
    const char* name;
    Stamp stamp;
    int x, y;
    Pixels expected;
  } cases[] = {
      {"point max", &CSSEMatrix::SetPointMax, -3, 20, {{0, 8}}},
      {"right of point at the right border", &CSSEMatrix::SetPointAndRightOfPoint, 9, 4, {{8, 4}, {9, 4}}},
      {"left of point at the left border", &CSSEMatrix::SetPointAndLeftOfPoint, 0, 4, {{0, 4}, {1, 4}}},
      {"triple at the left border", &CSSEMatrix::SetTriplePointMax, 0, 0, Box(0, 2, 0, 0)},
      {"triple inside", &CSSEMatrix::SetTriplePointMax, 5, 3, Box(4, 6, 3, 3)},
      {"cross at the corner", &CSSEMatrix::SetCross, 0, 0, Cross(1, 1)},
      {"cross max far outside", &CSSEMatrix::SetCrossMax, 50, 50, Cross(8, 7)},
      {"3x3 at the corner", &CSSEMatrix::Set3x3BoxPoint, -1, -1, Box(0, 2, 0, 2)},
      {"3x3 max inside", &CSSEMatrix::Set3x3BoxPointMax, 4, 4, Box(3, 5, 3, 5)},
      {"5x5 far outside", &CSSEMatrix::Set5x5BoxPointMax, -10, -10, Box(0, 4, 0, 4)},
      {"5x5 bottom right", &CSSEMatrix::Set5x5BoxPointMax, 9, 8, Box(5, 9, 4, 8)},
      {"5x5 across SSE rows 3 and 4", &CSSEMatrix::Set5x5BoxPointMax, 5, 3, Box(3, 7, 1, 5)},
  };
  for (const Case& c : cases) EXPECT_EQ(Footprint(c.stamp, c.x, c.y, 5.0f), c.expected) << c.name;
}

TEST(MatrixStamps, MinimumAndMaximumRules) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  struct Case {
    Stamp stamp;
    float old, value, expected;
  } cases[] = {
      {&CSSEMatrix::SetPointMin, 2, 3, 2},        {&CSSEMatrix::SetPointMin, 2, 1, 1},
      {&CSSEMatrix::SetPointMax, 2, 3, 3},        {&CSSEMatrix::SetPointMax, 2, 1, 2},
      {&CSSEMatrix::SetPointMin, 0, 4, 0},  // minimum on a cleared raster keeps 0
      {&CSSEMatrix::Set5x5BoxPointMin, 2, 3, 2},  {&CSSEMatrix::Set3x3BoxPointMin, 2, 1, 1},
      {&CSSEMatrix::SetCrossMin, 2, 1, 1},        {&CSSEMatrix::SetTriplePointMin, 2, 1, 1},
      // A NaN on either side makes the comparison false: the new value is stored.
      {&CSSEMatrix::SetPointMax, nan, 3, 3},      {&CSSEMatrix::SetPointMin, nan, 3, 3},
      {&CSSEMatrix::Set5x5BoxPointMax, 7, nan, nan}, {&CSSEMatrix::SetCrossMin, 7, nan, nan},
  };
  for (const Case& c : cases) {
    CSSEMatrix m;
    m.Create(9, 9);
    m.Fill(c.old);
    (m.*c.stamp)(4, 4, c.value);
    const float got = m.GetPoint(4, 4);
    if (std::isnan(c.expected))
      EXPECT_TRUE(std::isnan(got)) << c.old << " " << c.value;
    else
      EXPECT_EQ(got, c.expected) << c.old << " " << c.value;
  }
}

TEST(MatrixStamps, RastersSmallerThanTheFootprintStayInsideStorage) {
  CSSEMatrix m;
  m.Create(2, 1);
  m.Set5x5BoxPointMax(0, 0, 4.0f);
  m.SetCross(5, 5, 3.0f);
  EXPECT_EQ(m.GetPoint(0, 0), 3.0f);
  EXPECT_EQ(m.GetPoint(1, 0), 3.0f);
}
