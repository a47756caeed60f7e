// The byte raster: storage geometry, clamping, copies, thresholds from float
// rasters and the column profile.

#include "raster_compare.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEcharMatrix.h"
#include "relief/SafeMemory.h"

using namespace relief::test;

namespace {

char& Byte(CSSEcharMatrix& m, int x, int row) {
  return reinterpret_cast<char*>(m.GetMatrixDataDirectly()[row >> 4] + x)[row & 15];
}

// fn(byte, x, row) for every byte of the storage, spare rows included.
template <class Fn>
void ForEachByte(CSSEcharMatrix& m, Fn fn) {
  for (int row = 0; row < 16 * m.GetSSESizeY(); ++row)
    for (int x = 0; x < m.GetSSESizeX(); ++x) fn(Byte(m, x, row), x, row);
}

TEST(CharMatrix, SixteenRowsPerRegisterWithASpareRow) {
  const int cases[][3] = {{5, 16, 2}, {5, 15, 1}, {5, 0, 1}, {1, 32, 3}, {2, 511, 32}, {2, 512, 33}, {3, 1029, 65}};
  for (const auto& c : cases) {
    CSSEcharMatrix m(c[0], c[1]);
    EXPECT_EQ(std::pair(m.GetSSESizeX(), m.GetSSESizeY()), std::pair(c[0], c[2])) << c[0] << " x " << c[1];
    int cleared = 0, filled = 0;  // created cleared; Clear overwrites every byte
    ForEachByte(m, [&](char& b, int, int) { cleared += b == 0, b = 7; });
    m.Clear(-5);
    ForEachByte(m, [&](char b, int, int) { filled += b == -5; });
    EXPECT_EQ(std::pair(cleared, filled), std::pair(16 * c[0] * c[2], 16 * c[0] * c[2]));
    for (int y = 0; y < c[1]; ++y) m.SetPoint(c[0] - 1, y, static_cast<char>(y));  // every field addressable
    for (int y = 0; y < c[1]; ++y) ASSERT_EQ(m.GetPoint(c[0] - 1, y), static_cast<char>(y));
  }
}

TEST(CharMatrix, ClampingCopiesAndRastersWithoutStorage) {
  CSSEcharMatrix m(5, 21), none, fromNone(none), alias;
  m.SetPoint(-3, 100, 7), m.SetPoint(99, -4, -2);
  EXPECT_EQ(std::vector<int>({m.GetPoint(-10, 1000), m.GetPoint(4, 0), Byte(m, 0, 21)}), std::vector<int>({7, -2, 0}));
  Byte(m, 0, 31) = 1;
  CSSEcharMatrix copy(m);  // deep, spare rows included
  m.SetPoint(4, 0, 0);
  EXPECT_EQ(std::pair(copy.GetPoint(4, 0), Byte(copy, 0, 31)), (std::pair<char, char>(-2, 1)));
  alias = m;  // assignment shares the storage
  alias.SetPoint(1, 1, 4);
  EXPECT_EQ(m.GetPoint(1, 1), 4);
  alias = CSSEcharMatrix();  // forget the shared storage before it is freed twice
  EXPECT_NE(fromNone.GetMatrixDataDirectly(), nullptr);
  none.SetPoint(1, 1, 5), none.Clear(3);
  EXPECT_EQ(none.GetPoint(1, 1), 0);
  for (auto [sx, sy] : {std::pair{-1, 3}, std::pair{3, -1}, std::pair{1, 128000}}) {
    EXPECT_THROW(m.Create(sx, sy), CMemoryException) << sx << " x " << sy;
    EXPECT_EQ(std::pair(m.GetSizeX(), m.GetPoint(1, 1)), std::pair(5, char(4)));
  }
}

TEST(CharMatrix, CopyLimitedXTakesClampedColumns) {
  CSSEcharMatrix src(5, 18), part, noRows(4, 0);
  for (int i = 0; i < 90; ++i) src.SetPoint(i % 5, i / 5, static_cast<char>(i));
  const int cases[][4] = {{1, 3, 3, 1}, {-4, 1, 2, 0}, {3, 99, 2, 3}, {2, 2, 1, 2}};  // from, to, width, first
  for (const auto& c : cases) {
    CSSEcharMatrix got(src, c[0], c[1]);
    ASSERT_EQ(std::pair(got.GetSizeX(), got.GetSizeY()), std::pair(c[2], 18)) << c[0] << ".." << c[1];
    for (int i = 0; i < 18 * c[2]; ++i)
      EXPECT_EQ(got.GetPoint(i % c[2], i / c[2]), src.GetPoint(i % c[2] + c[3], i / c[2]));
  }
  EXPECT_THROW(part.CopyFromOtherMatrixLimitedX(src, 7, 2), CMemoryException);  // width 2 - 4 + 1
  part.CopyFromOtherMatrixLimitedX(noRows, 0, 3);
  EXPECT_EQ(part.GetMatrixDataDirectly(), nullptr);
}

// Thresholds pixel by pixel against the float raster (strict, NaN never passes).
TEST(CharMatrix, ThresholdsMatchPerPixelReference) {
  for (int sy : {1, 4, 15, 16, 17, 33, 64})
    for (int sx : {1, 3, 10})
      for (bool above : {true, false}) {
        std::mt19937 rng(sx * 100 + sy);
        CSSEMatrix src = RandomRaster(sx, sy, rng, [&](std::mt19937& r) {
          const int k = std::uniform_int_distribution<int>(0, 9)(r);
          return k == 0 ? 0.5f : k == 1 ? kNaN : std::uniform_real_distribution<float>(0, 1)(r);
        });
        CSSEcharMatrix m(2, 2);
        above ? m.CopyAndTresholdAbove(src, 0.5f, -7) : m.CopyAndTresholdBelow(src, 0.5f, 42);
        ASSERT_EQ(std::pair(m.GetSizeX(), m.GetSizeY()), std::pair(sx, sy));
        ForEachByte(m, [&](char b, int x, int row) {
          const float v = row < sy ? src.GetPoint(x, row) : kNaN;  // spare rows stay 0
          EXPECT_EQ(b, above && v > 0.5f    ? -7
                       : !above && v < 0.5f ? 42
                                            : 0)
              << sx << " x " << sy << " at " << x << "," << row;
        });
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
        ForEachByte(m, [&](char& b, int, int) { b = static_cast<char>(rng()); });
        t_intvector v = m.GetIntegralVectorFromMatrix(offset, rowLimit);
        ASSERT_EQ(v.nCount, 4);
        const int rows = std::max(std::min(m.GetSSESizeY(), rowLimit >> 4), 0);
        for (int x = 0; x < 4; ++x) {
          int sum = 0;
          for (int row = 0; row < 16 * rows; ++row)
            sum += static_cast<signed char>(static_cast<unsigned char>(Byte(m, x, row)) - offset);
          EXPECT_EQ(v.pValues[x], sum / (16 * m.GetSSESizeY())) << sy << " " << offset << " " << rowLimit;
        }
        SafeFree(v.pValues);
      }
}

}  // namespace
