// Float raster storage: geometry, clamped access, rasters without storage,
// copies, and the stamps' footprints and min/max rules.

#include <set>
#include <tuple>

#include "raster_compare.h"
#include "relief/CMemoryException.h"

using namespace relief::test;

namespace {

CSSEMatrix Ramp(int sx, int sy) {  // pixel (x, y) holds 10 x + y
  CSSEMatrix m = Filled(sx, sy, 0.0f);
  for (int i = 0; i < sx * sy; ++i) m.SetPoint(i % sx, i / sx, float(10 * (i % sx) + i / sx));
  return m;
}

TEST(MatrixStorage, SizesSseRowsAndFields) {
  const int cases[][4] = {{5, 4, 2, 1},    {5, 3, 1, 1},    {3, 127, 32, 1}, {3, 128, 33, 2},
                          {1, 255, 64, 2}, {2, 256, 65, 3}, {0, 0, 1, 1},    {7, 31999, 8000, 250}};
  for (const auto& c : cases) {
    CSSEMatrix m = Filled(c[0], c[1], 0.0f);
    EXPECT_EQ(std::tuple(m.GetSSESizeX(), m.GetSSESizeY(), m.GetFields()), std::tuple(c[0], c[2], c[3]))
        << c[0] << "x" << c[1];
    __m128** lines = m.GetMatrixDataDirectly();  // line k: field k / 32, position k % 32
    for (int k = 0; k < c[2]; ++k) ASSERT_EQ(lines[k], m.GetField(k / 32) + (k % 32) * std::max(c[0], 1)) << k;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(lines[c[2] - 1]) % 16, 0u);
  }
}

// Impossible sizes throw and change nothing; accessors clamp into the raster.
TEST(MatrixStorage, ImpossibleSizesAndClampedAccess) {
  CSSEMatrix m = Ramp(6, 9), before(m);
  for (auto [sx, sy] : {std::pair{-1, 5}, {5, -1}, {3, 32000}, {-5, -5}}) {
    EXPECT_THROW(m.Create(sx, sy), CMemoryException) << sx << " x " << sy;
    EXPECT_THROW(m.CreateNoClear(sx, sy), CMemoryException) << sx << " x " << sy;
  }
  EXPECT_TRUE(SameStorage(m, before));
  const int cases[][3] = {{-7, 2, 2}, {16, 19, 58}, {3, -1, 30}, {-1, 100, 8}, {5, 8, 58}, {2, 4, 24}};
  for (const auto& c : cases) EXPECT_EQ(m.GetPointValue(c[0], c[1]), float(c[2])) << c[0] << "," << c[1];
  m.SetPoint(100, -100, -1.0f);
  EXPECT_EQ(m.GetPoint(5, 0), -1.0f);
  // Pixel (x, y) is lane y % 4 of register x of SSE row y / 4.
  EXPECT_EQ(m.GetPointAddress(2, 5), reinterpret_cast<float*>(m.GetMatrixDataDirectly()[1] + 2) + 1);
}

TEST(MatrixStorage, RastersWithoutPixelsOrStorageNeverCrash) {
  CSSEMatrix none, freed = Ramp(8, 5), empty = Filled(0, 0, 0.0f);
  freed.Free();
  freed.Free();  // twice is harmless; the sizes stay
  EXPECT_EQ(std::tuple(freed.GetSizeX(), freed.GetSizeY(), freed.GetFields()), std::tuple(8, 5, 0));
  for (CSSEMatrix* m : {&none, &freed, &empty}) {
    EXPECT_EQ(m->GetPoint(-1, 5), 0.0f);
    m->SetPoint(3, 3, 1.0f);
    m->Set5x5BoxPointMax(0, 0, 1.0f);
    m->Fill(2.0f);
    EXPECT_EQ(m->NumValuesAbove(-1.0f), 0);
  }
  none.ZhangSuen(0.0f);
  EXPECT_EQ(std::vector<const void*>({none.GetPointAddress(0, 0), freed.GetMatrixDataDirectly()}),
            std::vector<const void*>(2, nullptr));
}

TEST(MatrixStorage, FillClearAndCopiesReachThePaddingLanes) {
  std::mt19937 rng(7);
  for (int size : {5, 130, 1031}) {  // the large fill streams; 130 rows span two fields
    CSSEMatrix m = RandomRaster(size - 2, size, rng, WithSpecials(-5, 5)), constructed(m), copy = Filled(2, 2, 1), none;
    copy.CopyFromSSEMatrix(m);     // another size: re-created
    copy.CopyFromSSEMatrix(none);  // an empty source changes nothing
    for (const CSSEMatrix* t : {&copy, &constructed}) EXPECT_TRUE(SameStorage(*t, m)) << size;
    EXPECT_NE(copy.GetMatrixDataDirectly(), m.GetMatrixDataDirectly());
    m.Fill(-3.25f);
    EXPECT_TRUE(SameStorage(m, Filled(size - 2, size, -3.25f))) << size;
    for (bool create : {false, true}) {  // both clear, padding included
      m.Fill(1.0f);
      create ? m.Create(size - 2, size) : m.Clear();
      EXPECT_TRUE(SameStorage(m, Filled(size - 2, size, 0.0f))) << size;
    }
  }
}

// CopyFromMatrix swaps the bounds when it creates the raster; the centred
// copies align the centres (dx = 3 - 1 = 2, dy = 4 - 2 = 2).
TEST(MatrixStorage, CopyFromMatrixAndCenteredCopies) {
  double r0[] = {1, 2, 3}, r1[] = {4, 5, 6}, r2[] = {7, 8, 9};
  double* rows[] = {r0, r1, r2};
  CSSEMatrix existing = Filled(3, 2, 0.0f), fresh, big = Ramp(7, 9), small = Filled(3, 4, 100.0f);
  existing.CopyFromMatrix(rows, 2, 3);  // 2 rows of 3
  fresh.CopyFromMatrix(rows, 2, 3);     // created 3 x 2, then filled for y < 3 (clamped onto row 1), x < 2
  fresh.CopyFromMatrix(nullptr, 2, 3);
  EXPECT_EQ(std::vector<float>({existing.GetPoint(2, 1), float(fresh.GetSizeX()), float(fresh.GetSizeY()),
                                fresh.GetPoint(1, 1), fresh.GetPoint(2, 0), fresh.GetPoint(0, 0)}),
            std::vector<float>({6, 3, 2, 8, 0, 1}));
  small.CopyFromSSEMatrixCentered(big);
  std::vector<float> got = {small.GetPoint(0, 0), small.GetPoint(2, 3)};
  small.Fill(30.0f);
  small.CopyFromSSEMatrixCenteredMaximum(big);
  got.push_back(small.GetPoint(0, 0));
  small.CopyFromSSEMatrixCenteredMinimum(big);
  got.insert(got.end(), {small.GetPoint(1, 0), small.GetPoint(2, 3)});
  EXPECT_EQ(got, std::vector<float>({22, 45, 30, 32, 45}));
  big.CopyFromSSEMatrixCentered(small);  // a smaller source leaves the plain copy cleared
  EXPECT_TRUE(SameStorage(big, Filled(7, 9, 0.0f)));
}

using Stamp = void (CSSEMatrix::*)(int, int, float);
using Pixels = std::set<std::pair<int, int>>;

Pixels Box(int x0, int x1, int y0, int y1) {
  Pixels p;
  for (int y = y0; y <= y1; ++y)
    for (int x = x0; x <= x1; ++x) p.insert({x, y});
  return p;
}

// Which pixels of a 10 x 9 raster filled with old a stamp changes (bitwise).
Pixels Changed(Stamp stamp, int x, int y, float old, float value) {
  CSSEMatrix m = Filled(10, 9, old);
  (m.*stamp)(x, y, value);
  Pixels changed;
  for (int i = 0; i < 90; ++i)
    if (Bits(m.GetPoint(i % 10, i / 10)) != Bits(old)) changed.insert({i % 10, i / 10});
  return changed;
}

// Every stamp is shifted inward, never clipped. On ones, a value on its side
// (5 for Max and plain, 0.5 for Min) and NaN change exactly the footprint, the
// other side changes nothing for Min and Max; over NaN every value is stored.
TEST(MatrixStamps, FootprintsAndMinMaxRules) {
  enum Kind { kPlain, kMin, kMax };
  using M = CSSEMatrix;
  const struct {
    Stamp stamp;
    Kind kind;
    int x, y;
    Pixels expected;
  } cases[] = {
      {&M::SetPointMax, kMax, -3, 20, {{0, 8}}},
      {&M::SetPointMin, kMin, 4, 4, {{4, 4}}},
      {&M::SetPointAndRightOfPoint, kPlain, 9, 4, {{8, 4}, {9, 4}}},
      {&M::SetPointAndLeftOfPoint, kPlain, 0, 4, {{0, 4}, {1, 4}}},
      {&M::SetTriplePointMin, kMin, 0, 0, Box(0, 2, 0, 0)},
      {&M::SetTriplePointMax, kMax, 5, 3, Box(4, 6, 3, 3)},
      {&M::SetCross, kPlain, 0, 0, {{1, 0}, {0, 1}, {1, 1}, {2, 1}, {1, 2}}},
      {&M::SetCrossMax, kMax, 50, 50, {{8, 6}, {7, 7}, {8, 7}, {9, 7}, {8, 8}}},
      {&M::SetCrossMin, kMin, 4, 4, {{4, 3}, {3, 4}, {4, 4}, {5, 4}, {4, 5}}},
      {&M::Set3x3BoxPoint, kPlain, -1, -1, Box(0, 2, 0, 2)},
      {&M::Set3x3BoxPointMax, kMax, 4, 4, Box(3, 5, 3, 5)},
      {&M::Set3x3BoxPointMin, kMin, 9, 0, Box(7, 9, 0, 2)},
      {&M::Set5x5BoxPointMax, kMax, -10, -10, Box(0, 4, 0, 4)},
      {&M::Set5x5BoxPointMin, kMin, 9, 8, Box(5, 9, 4, 8)},
      {&M::Set5x5BoxPointMax, kMax, 5, 3, Box(3, 7, 1, 5)},  // across SSE rows
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "case " << &c - cases);
    const float inside = c.kind == kMin ? 0.5f : 5.0f, outside = c.kind == kMin ? 5.0f : 0.5f;
    EXPECT_EQ(Changed(c.stamp, c.x, c.y, 1.0f, inside), c.expected);
    EXPECT_EQ(Changed(c.stamp, c.x, c.y, 1.0f, outside), c.kind == kPlain ? c.expected : Pixels());
    EXPECT_EQ(Changed(c.stamp, c.x, c.y, 1.0f, kNaN), c.expected);
    EXPECT_EQ(Changed(c.stamp, c.x, c.y, kNaN, outside), c.expected);
  }
  CSSEMatrix tiny = Filled(2, 1, 0.0f);  // smaller than the footprint: stays inside the storage
  tiny.Set5x5BoxPointMax(0, 0, 4.0f);
  tiny.SetCross(5, 5, 3.0f);
  EXPECT_EQ(tiny.GetPoint(0, 0) + tiny.GetPoint(1, 0), 6.0f);
}

}  // namespace
