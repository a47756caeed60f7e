// The byte raster: storage geometry, clamping, copies, thresholds from float
// rasters and the column profile.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "raster_compare.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"
#include "relief/SafeMemory.h"

namespace {

char& Byte(CSSEcharMatrix& m, int x, int row) {
  return reinterpret_cast<char*>(m.GetMatrixDataDirectly()[row >> 4] + x)[row & 15];
}

TEST(CharMatrix, SixteenRowsPerRegisterWithASpareRow) {
  const int cases[][3] = {{5, 16, 2}, {5, 15, 1}, {5, 0, 1}, {1, 32, 3}, {2, 511, 32}, {2, 512, 33}};
  for (const auto& c : cases) {
    CSSEcharMatrix m(c[0], c[1]);
    EXPECT_EQ(m.GetSSESizeY(), c[2]) << c[0] << " x " << c[1];
    EXPECT_EQ(m.GetSSESizeX(), c[0]);
    for (int row = 0; row < 16 * m.GetSSESizeY(); ++row)
      for (int x = 0; x < m.GetSSESizeX(); ++x) ASSERT_EQ(Byte(m, x, row), 0);
  }
}

TEST(CharMatrix, LargeRastersSpanSeveralFieldsAndStayAddressable) {
  CSSEcharMatrix m(3, 16 * 32 * 2 + 5);  // three fields
  for (int y = 0; y < m.GetSizeY(); ++y) m.SetPoint(1, y, static_cast<char>(y));
  for (int y = 0; y < m.GetSizeY(); ++y) ASSERT_EQ(m.GetPoint(1, y), static_cast<char>(y));
}

TEST(CharMatrix, PixelAccessClamps) {
  CSSEcharMatrix m(5, 16);
  m.SetPoint(-3, 100, 7);
  EXPECT_EQ(m.GetPoint(0, 15), 7);
  EXPECT_EQ(m.GetPoint(-10, 1000), 7);
  m.SetPoint(99, -4, -2);
  EXPECT_EQ(m.GetPoint(4, 0), -2);
  EXPECT_EQ(Byte(m, 0, 16), 0);  // the spare row is never written as a pixel
}

TEST(CharMatrix, WithoutStorageReadsZeroAndIgnoresWrites) {
  CSSEcharMatrix m;
  m.SetPoint(1, 1, 5);
  EXPECT_EQ(m.GetPoint(1, 1), 0);
  m.Clear(3);
  EXPECT_EQ(m.GetMatrixDataDirectly(), nullptr);
}

TEST(CharMatrix, ImpossibleSizesThrowAndChangeNothing) {
  CSSEcharMatrix m(4, 4);
  m.SetPoint(2, 2, 9);
  for (auto size : {std::pair{-1, 3}, std::pair{3, -1}, std::pair{1, 128000}}) {
    EXPECT_THROW(m.Create(size.first, size.second), CMemoryException);
    EXPECT_EQ(m.GetSizeX(), 4);
    EXPECT_EQ(m.GetPoint(2, 2), 9);
  }
}

TEST(CharMatrix, ClearWritesSpareRowsToo) {
  CSSEcharMatrix m(3, 20);
  m.Clear(-5);
  for (int row = 0; row < 32; ++row) EXPECT_EQ(Byte(m, 2, row), -5);
}

TEST(CharMatrix, CopiesAreDeepAndIncludeSpareRows) {
  CSSEcharMatrix m(6, 21);
  m.Clear(1);
  m.SetPoint(5, 20, 8);
  CSSEcharMatrix copy(m);
  m.SetPoint(5, 20, 0);
  EXPECT_EQ(copy.GetPoint(5, 20), 8);
  EXPECT_EQ(Byte(copy, 0, 31), 1);
  CSSEcharMatrix empty, fromEmpty(empty);
  EXPECT_NE(fromEmpty.GetMatrixDataDirectly(), nullptr);
}

TEST(CharMatrix, CopyLimitedXTakesClampedColumns) {
  CSSEcharMatrix src(5, 18);
  for (int y = 0; y < 18; ++y)
    for (int x = 0; x < 5; ++x) src.SetPoint(x, y, static_cast<char>(10 * x + y));
  struct Case {
    int from, to, width, first;
  };
  for (const Case c : {Case{1, 3, 3, 1}, Case{-4, 1, 2, 0}, Case{3, 99, 2, 3}, Case{2, 2, 1, 2}}) {
    CSSEcharMatrix part(src, c.from, c.to);
    ASSERT_EQ(part.GetSizeX(), c.width) << c.from << ".." << c.to;
    ASSERT_EQ(part.GetSizeY(), 18);
    for (int y = 0; y < 18; ++y)
      for (int x = 0; x < c.width; ++x) EXPECT_EQ(part.GetPoint(x, y), src.GetPoint(x + c.first, y));
  }
  CSSEcharMatrix part;
  EXPECT_THROW(part.CopyFromOtherMatrixLimitedX(src, 7, 2), CMemoryException);  // width 2 - 4 + 1
  CSSEcharMatrix noRows(4, 0);
  part.CopyFromOtherMatrixLimitedX(noRows, 0, 3);
  EXPECT_EQ(part.GetMatrixDataDirectly(), nullptr);
}

TEST(CharMatrix, AssignmentIsShallow) {
  CSSEcharMatrix m(2, 2), alias;
  alias = m;
  alias.SetPoint(1, 1, 4);
  EXPECT_EQ(m.GetPoint(1, 1), 4);
  alias = CSSEcharMatrix();  // forget the shared storage before it is freed twice
}

// Thresholds pixel by pixel against the float raster.
TEST(CharMatrix, ThresholdsMatchPerPixelReference) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (int sy : {1, 4, 15, 16, 17, 33, 64})
    for (int sx : {1, 3, 10}) {
      std::mt19937 rng(sx * 100 + sy);
      CSSEMatrix src;
      src.Create(sx, sy);
      relief::test::FillLanes(src, rng, [&](std::mt19937& r) {
        const int k = std::uniform_int_distribution<int>(0, 9)(r);
        return k == 0 ? 0.5f : k == 1 ? nan : std::uniform_real_distribution<float>(0, 1)(r);
      });
      for (bool above : {true, false}) {
        CSSEcharMatrix m(2, 2);
        if (above)
          m.CopyAndTresholdAbove(src, 0.5f, -7);
        else
          m.CopyAndTresholdBelow(src, 0.5f, 42);
        ASSERT_EQ(m.GetSizeX(), sx);
        ASSERT_EQ(m.GetSizeY(), sy);
        for (int row = 0; row < 16 * m.GetSSESizeY(); ++row)
          for (int x = 0; x < sx; ++x) {
            char expected = 0;
            if (row < sy) {
              const float v = src.GetPoint(x, row);
              if (above && v > 0.5f) expected = -7;
              if (!above && v < 0.5f) expected = 42;
            }
            ASSERT_EQ(Byte(m, x, row), expected) << sx << " x " << sy << " at " << x << "," << row;
          }
      }
    }
}

// The column profile byte by byte: (b - offset) mod 256 read as signed,
// summed over the first rowLimit >> 4 SSE rows, divided by the capacity.
TEST(CharMatrix, IntegralVectorMatchesReference) {
  for (int sy : {1, 16, 40, 100})
    for (int offset : {0, 5, -3, 300})
      for (int rowLimit : {-16, 0, 15, 16, 50, 1000}) {
        std::mt19937 rng(sy * 31 + offset * 7 + rowLimit);
        CSSEcharMatrix m(4, sy);
        for (int row = 0; row < 16 * m.GetSSESizeY(); ++row)
          for (int x = 0; x < 4; ++x) Byte(m, x, row) = static_cast<char>(rng());
        t_intvector v = m.GetIntegralVectorFromMatrix(offset, rowLimit);
        ASSERT_EQ(v.nCount, 4);
        const int rows = std::min(m.GetSSESizeY(), rowLimit >> 4);
        for (int x = 0; x < 4; ++x) {
          int sum = 0;
          for (int row = 0; row < 16 * std::max(rows, 0); ++row)
            sum += static_cast<signed char>(static_cast<unsigned char>(Byte(m, x, row)) - offset);
          EXPECT_EQ(v.pValues[x], sum / (16 * m.GetSSESizeY())) << sy << " " << offset << " " << rowLimit;
        }
        SafeFree(v.pValues);
      }
  CSSEcharMatrix empty;
  t_intvector none = empty.GetIntegralVectorFromMatrix(0, 100);
  EXPECT_EQ(none.nCount, 0);
  SafeFree(none.pValues);
}

}  // namespace
