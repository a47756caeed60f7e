#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "lanes.h"
#include "relief/CMemoryException.h"
#include "relief/CSSEMatrix.h"

using relief_test::Lanes;

TEST(MatrixStorage, SizesSSERowsAndFields) {
  struct Case {
    int sx, sy, sseY, fields, lastFieldRows;
  } cases[] = {
      {5, 4, 2, 1, 2},   {5, 3, 1, 1, 1},       {3, 127, 32, 1, 32}, {3, 128, 33, 2, 1},
      {1, 255, 64, 2, 32}, {2, 256, 65, 3, 1}, {0, 0, 1, 1, 1},     {7, 31999, 8000, 250, 32},
  };
  for (const Case& c : cases) {
    CSSEMatrix m;
    m.Create(c.sx, c.sy);
    SCOPED_TRACE(testing::Message() << c.sx << " x " << c.sy);
    EXPECT_EQ(m.GetSizeX(), c.sx);
    EXPECT_EQ(m.GetSizeY(), c.sy);
    EXPECT_EQ(m.GetSSESizeX(), c.sx);
    EXPECT_EQ(m.GetSSESizeY(), c.sseY);
    EXPECT_EQ(m.GetFields(), c.fields);
    // Line k lies in field k / 32 at position k % 32.
    __m128** lines = m.GetMatrixDataDirectly();
    for (int k = 0; k < c.sseY; ++k)
      ASSERT_EQ(lines[k], m.GetField(k / 32) + (k % 32) * (c.sx > 0 ? c.sx : 1)) << k;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(lines[c.sseY - 1]) % 16, 0u);
    for (float v : Lanes(m)) ASSERT_EQ(v, 0.0f);
  }
}

TEST(MatrixStorage, ImpossibleSizesThrowAndChangeNothing) {
  CSSEMatrix m;
  m.Create(4, 6);
  m.SetPoint(1, 1, 7.0f);
  for (auto [sx, sy] : {std::pair{-1, 5}, {5, -1}, {3, 32000}, {-5, -5}}) {
    EXPECT_THROW(m.Create(sx, sy), CMemoryException) << sx << " x " << sy;
    EXPECT_THROW(m.CreateNoClear(sx, sy), CMemoryException);
    EXPECT_EQ(m.GetSizeX(), 4);
    EXPECT_EQ(m.GetSizeY(), 6);
    EXPECT_EQ(m.GetPoint(1, 1), 7.0f);
  }
}

TEST(MatrixStorage, AccessorsClampIntoTheRaster) {
  CSSEMatrix m;
  m.Create(6, 9);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 6; ++x) m.SetPoint(x, y, float(10 * x + y));
  struct Case {
    int x, y;
    float expected;
  } cases[] = {{-7, 2, 2}, {16, 19, 58}, {3, -1, 30}, {-1, 100, 8}, {5, 8, 58}, {2, 4, 24}};
  for (const Case& c : cases) {
    EXPECT_EQ(m.GetPoint(c.x, c.y), c.expected) << c.x << "," << c.y;
    EXPECT_EQ(m.GetPointValue(c.x, c.y), c.expected);
  }
  m.SetPoint(100, -100, -1.0f);  // overwrites the top-right pixel
  EXPECT_EQ(m.GetPoint(5, 0), -1.0f);
  // Pixel (x, y) is lane y % 4 of register x of SSE row y / 4.
  EXPECT_EQ(m.GetPointAddress(2, 5), reinterpret_cast<float*>(m.GetMatrixDataDirectly()[1] + 2) + 1);
}

TEST(MatrixStorage, RastersWithoutPixelsOrStorageNeverCrash) {
  CSSEMatrix none;
  EXPECT_EQ(none.GetPoint(3, 3), 0.0f);
  none.SetPoint(3, 3, 1.0f);
  none.Set5x5BoxPointMax(0, 0, 1.0f);
  none.Fill(2.0f);
  none.OffsetMatrix(1.0f);
  EXPECT_EQ(none.NumValuesAbove(0.0f), 0);
  EXPECT_EQ(none.GetPointAddress(0, 0), nullptr);

  CSSEMatrix empty;
  empty.Create(0, 0);
  EXPECT_EQ(empty.GetPoint(-1, 5), 0.0f);
  empty.SetPoint(2, 2, 3.0f);
  empty.SetCross(0, 0, 1.0f);
  EXPECT_EQ(empty.NumValuesAbove(-1.0f), 0);
}

TEST(MatrixStorage, FreeKeepsSizesAndDropsStorage) {
  CSSEMatrix m;
  m.Create(8, 5);
  m.Free();
  EXPECT_EQ(m.GetSizeX(), 8);
  EXPECT_EQ(m.GetSizeY(), 5);
  EXPECT_EQ(m.GetMatrixDataDirectly(), nullptr);
  EXPECT_EQ(m.GetFields(), 0);
  m.Free();  // twice is harmless
}

TEST(MatrixStorage, FillAndClearReachThePaddingLanes) {
  CSSEMatrix m;
  m.Create(3, 5);
  m.Fill(2.5f);
  const std::vector<float> lanes = Lanes(m);
  EXPECT_EQ(lanes.size(), 3u * 2 * 4);
  for (float v : lanes) EXPECT_EQ(v, 2.5f);
  m.Clear();
  for (float v : Lanes(m)) EXPECT_EQ(v, 0.0f);
}

TEST(MatrixStorage, LargeFillStreamsTheSameValues) {
  CSSEMatrix m;
  m.Create(1031, 1029);  // above the streaming threshold, several fields
  m.Fill(-3.25f);
  for (float v : Lanes(m)) ASSERT_EQ(v, -3.25f);
}

TEST(MatrixStorage, DeepCopiesVersusShallowAssignment) {
  CSSEMatrix source;
  source.Create(5, 130);  // two fields
  relief_test::FillRandom(source, 7, -5, 5);

  CSSEMatrix copy;
  copy.CopyFromSSEMatrix(source);
  EXPECT_EQ(relief_test::Bits(Lanes(copy)), relief_test::Bits(Lanes(source)));
  EXPECT_NE(copy.GetMatrixDataDirectly(), source.GetMatrixDataDirectly());

  CSSEMatrix constructed(source);
  EXPECT_EQ(relief_test::Bits(Lanes(constructed)), relief_test::Bits(Lanes(source)));

  // A copy into a raster of another size re-creates it; from an empty source nothing changes.
  CSSEMatrix other;
  other.Create(2, 2);
  other.CopyFromSSEMatrix(source);
  EXPECT_EQ(other.GetSizeY(), 130);
  CSSEMatrix nothing;
  other.CopyFromSSEMatrix(nothing);
  EXPECT_EQ(other.GetSizeY(), 130);

  CSSEMatrix* shallow = new CSSEMatrix;
  *shallow = source;
  EXPECT_EQ(shallow->GetMatrixDataDirectly(), source.GetMatrixDataDirectly());
  // Only one of the two may own the storage: drop the alias without freeing.
  ::operator delete(static_cast<void*>(shallow));
}

TEST(MatrixStorage, CopyFromMatrixSwapsBoundsOnFirstUse) {
  double r0[] = {1, 2, 3}, r1[] = {4, 5, 6}, r2[] = {7, 8, 9};
  double* rows[] = {r0, r1, r2};

  CSSEMatrix existing;
  existing.Create(3, 2);
  existing.CopyFromMatrix(rows, 2, 3);  // 2 rows of 3
  EXPECT_EQ(existing.GetPoint(2, 1), 6.0f);

  // Without storage: created as 3 columns x 2 rows, then filled for y < 3, x < 2.
  CSSEMatrix fresh;
  fresh.CopyFromMatrix(rows, 2, 3);
  EXPECT_EQ(fresh.GetSizeX(), 3);
  EXPECT_EQ(fresh.GetSizeY(), 2);
  EXPECT_EQ(fresh.GetPoint(0, 0), 1.0f);
  EXPECT_EQ(fresh.GetPoint(1, 1), 8.0f);  // row 2 clamped onto row 1
  EXPECT_EQ(fresh.GetPoint(2, 0), 0.0f);  // column 2 never written

  fresh.CopyFromMatrix(nullptr, 2, 3);
  EXPECT_EQ(fresh.GetPoint(0, 0), 1.0f);
}

TEST(MatrixStorage, CenteredCopies) {
  CSSEMatrix big;
  big.Create(7, 9);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 7; ++x) big.SetPoint(x, y, float(10 * x + y));

  CSSEMatrix small;
  small.Create(3, 4);
  small.Fill(100.0f);
  small.CopyFromSSEMatrixCentered(big);  // dx = 3 - 1 = 2, dy = 4 - 2 = 2
  EXPECT_EQ(small.GetPoint(0, 0), 22.0f);
  EXPECT_EQ(small.GetPoint(2, 3), 45.0f);

  small.Fill(30.0f);
  small.CopyFromSSEMatrixCenteredMaximum(big);
  EXPECT_EQ(small.GetPoint(0, 0), 30.0f);
  EXPECT_EQ(small.GetPoint(1, 0), 32.0f);
  small.CopyFromSSEMatrixCenteredMinimum(big);
  EXPECT_EQ(small.GetPoint(1, 0), 32.0f);
  EXPECT_EQ(small.GetPoint(2, 3), 45.0f);

  // A smaller source leaves the plain copy cleared.
  big.CopyFromSSEMatrixCentered(small);
  for (float v : Lanes(big)) ASSERT_EQ(v, 0.0f);
}
