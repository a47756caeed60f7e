// CFilters against a deliberately naive per-pixel reference: every pixel's
// clipped window collected and reduced, on seeded rasters with no-data holes
// (+0, -0 and NaNs with payloads) and sizes that are no multiple of 4 or of a
// column strip; in place and out of place.

#include <tuple>

#include "raster_compare.h"
#include "relief/CFilters.h"
#include "relief/CSSEcharMatrix.h"

using namespace relief::test;

namespace {

enum Kind { kMean, kMin, kMax, kMedian };
const struct {
  const char* name;
  void (*apply)(const CSSEMatrix&, CSSEMatrix&, int, bool);
  void (*inPlace)(CSSEMatrix&, int, bool);
} kFilters[] = {{"mean", CFilters::BoxMean, CFilters::BoxMean},
                {"min", CFilters::Minimum, CFilters::Minimum},
                {"max", CFilters::Maximum, CFilters::Maximum},
                {"median", CFilters::Median, CFilters::Median}};

// The filter's definition, one pixel at a time.
float Reference(Kind k, const CSSEMatrix& m, int x, int y, int r, bool aware) {
  const float centre = m.GetPoint(x, y);
  if (aware && !HoldsData(centre)) return centre;
  std::vector<float> v;
  double sum = 0, pixels = 0;
  for (int yy = std::max(y - r, 0); yy <= std::min(y + r, m.GetSizeY() - 1); ++yy)
    for (int xx = std::max(x - r, 0); xx <= std::min(x + r, m.GetSizeX() - 1); ++xx) {
      const float p = m.GetPoint(xx, yy);
      ++pixels;
      if (aware ? HoldsData(p) : p == p) v.push_back(p), sum += p;
    }
  std::sort(v.begin(), v.end());
  if (k == kMean) return static_cast<float>(sum / (aware ? v.size() : pixels));
  if (v.empty()) return k == kMin ? INFINITY : k == kMax ? -INFINITY : centre;
  return k == kMin ? v.front() : k == kMax ? v.back() : v[(v.size() - 1) / 2];
}

// Names the first pixel that differs from the reference (means within a
// relative 2e-6 of the window's magnitude; pixels without data bitwise) or
// the first padding lane not 0.
testing::AssertionResult MatchesReference(Kind k, const CSSEMatrix& source, const CSSEMatrix& got, int r, bool aware) {
  for (int y = 0; y < source.GetSizeY(); ++y)
    for (int x = 0; x < source.GetSizeX(); ++x) {
      const float want = Reference(k, source, x, y, r, aware), have = got.GetPoint(x, y);
      const bool same =
          aware && !HoldsData(source.GetPoint(x, y))
              ? Bits(want) == Bits(have)
              : want == have || (want != want && have != have) || (k == kMean && std::fabs(want - have) <= 2.56e-4f);
      if (!same)
        return testing::AssertionFailure() << kFilters[k].name << " r=" << r << (aware ? " aware" : " plain") << " at ("
                                           << x << ", " << y << "): " << have << ", reference " << want;
    }
  for (int row = source.GetSizeY(); row < 4 * got.GetSSESizeY(); ++row)
    for (int x = 0; x < got.GetSizeX(); ++x)
      if (Lane(got, x, row) != 0.0f)
        return testing::AssertionFailure() << "padding lane (" << x << ", " << row << ") not 0";
  return testing::AssertionSuccess();
}

// Heights in [1, 100) with holes: single ones (one pixel in `every`) and a
// block of 12 x 9. With NaNs, a hole is +0 half the time, otherwise -0 or a
// NaN with a payload; without, +0.
CSSEMatrix HoleyRaster(int sx, int sy, std::mt19937& rng, unsigned every, bool withNaN) {
  const std::uint32_t noData[] = {0x00000000u, 0x80000000u, 0x7FC01234u, 0xFFC00001u, 0x7F800001u};
  CSSEMatrix m = RandomRaster(sx, sy, rng, Uniform(1.0f, 100.0f));
  const int bx = static_cast<int>(rng() % sx), by = static_cast<int>(rng() % sy);
  for (int y = 0; y < sy; ++y)
    for (int x = 0; x < sx; ++x)
      if (rng() % every == 0 || (x >= bx && x < bx + 12 && y >= by && y < by + 9)) {
        float v;
        const std::uint32_t bits = withNaN && rng() % 2 ? noData[rng() % 5] : 0u;
        std::memcpy(&v, &bits, sizeof v);
        m.SetPoint(x, y, v);
      }
  return m;
}

// Dense holes (one pixel in 6) and sparse ones (one in 150: long runs of
// windows without holes between short runs with them), the sparse ones with
// NaNs, which take no part in the plain filters (the plain median gives NaN no defined place).
TEST(Filters, MatchTheNaiveWindowOnHoleyRastersOfOddSizes) {
  const int sizes[][2] = {{1, 1},   {2, 3},  {3, 2},    {5, 7},   {7, 5},    {17, 31},
                          {31, 17}, {70, 9}, {129, 33}, {6, 130}, {150, 37}, {43, 20}};
  for (unsigned seed = 1; seed <= 2; ++seed)
    for (const auto& s : sizes) {
      std::mt19937 rng(seed * 1000 + s[0] * 7 + s[1]);
      const CSSEMatrix source = HoleyRaster(s[0], s[1], rng, seed == 1 ? 6 : 150, seed == 2);
      for (Kind k : {kMean, kMin, kMax, kMedian})
        for (int r : {1, 2, 3, 7})
          for (bool aware : {true, false}) {
            if (seed == 2 && k == kMedian && !aware) continue;
            CSSEMatrix target, inPlace(source);
            kFilters[k].apply(source, target, r, aware);
            kFilters[k].inPlace(inPlace, r, aware);
            EXPECT_TRUE(MatchesReference(k, source, target, r, aware))
                << "seed " << seed << ", " << s[0] << "x" << s[1];
            EXPECT_TRUE(SameStorage(inPlace, target)) << kFilters[k].name << " in place, r=" << r;
          }
    }
}

// Radius < 1 copies; no storage leaves the target alone; no pixels give a
// target of the source's size.
TEST(Filters, BadInputGivesDocumentedResults) {
  std::mt19937 rng(3);
  const CSSEMatrix source = HoleyRaster(9, 6, rng, 6, false), none;
  for (const auto& f : kFilters) {
    CSSEMatrix zero, negative, untouched = Filled(2, 2, 4.0f);
    f.apply(source, zero, 0, true), f.apply(source, negative, -3, true), f.apply(none, untouched, 1, true);
    for (const CSSEMatrix* t : {&zero, &negative}) EXPECT_TRUE(SameStorage(*t, source)) << f.name;
    EXPECT_EQ(untouched.GetPoint(1, 1), 4.0f);
    for (const auto& size : {std::pair(0, 5), std::pair(5, 0), std::pair(0, 0)}) {
      CSSEMatrix empty, t = Filled(3, 3, 1.0f);
      empty.Create(size.first, size.second);
      f.apply(empty, t, 2, false);
      EXPECT_EQ(std::pair(t.GetSizeX(), t.GetSizeY()), size) << f.name;
    }
  }
}

// Window counts past a byte (r = 8: 289 pixels) and past 16 bits (r = 130
// on 300 x 260: up to 67,860), and windows wider than the raster (r = 70 on
// 150 x 37, in place): small whole heights make every float sum exact, so
// the mean must equal sum / count from summed-area tables.
TEST(Filters, AwareMeanOfLargeWindowsCountsExactly) {
  for (auto [sx, sy, r] : {std::tuple{300, 260, 8}, {300, 260, 40}, {300, 260, 130}, {150, 37, 70}}) {
    std::mt19937 rng(11);
    CSSEMatrix source = HoleyRaster(sx, sy, rng, 6, false), out(source);
    ForEachLane(source, [](float& v, int, int) { v = v != 0.0f ? std::floor(v / 12.5f) + 1.0f : v; });
    // sums[y][x], counts[y][x]: over [0, x) x [0, y).
    std::vector<std::vector<double>> sums(sy + 1, std::vector<double>(sx + 1)), counts = sums;
    for (int y = 0; y < sy; ++y)
      for (int x = 0; x < sx; ++x) {
        const float v = source.GetPoint(x, y);
        sums[y + 1][x + 1] = sums[y][x + 1] + sums[y + 1][x] - sums[y][x] + v;
        counts[y + 1][x + 1] = counts[y][x + 1] + counts[y + 1][x] - counts[y][x] + HoldsData(v);
      }
    auto box = [&](const std::vector<std::vector<double>>& t, int x, int y) {
      const int x0 = std::max(x - r, 0), y0 = std::max(y - r, 0), x1 = std::min(x + r + 1, sx),
                y1 = std::min(y + r + 1, sy);
      return static_cast<float>(t[y1][x1] - t[y0][x1] - t[y1][x0] + t[y0][x0]);
    };
    CFilters::BoxMean(source, out, r, true);
    for (const auto& f : kFilters) {  // halos wider than a column strip, in place
      if (r != 70) continue;
      CSSEMatrix apart, inPlace(source);
      f.apply(source, apart, r, true);
      f.inPlace(inPlace, r, true);
      EXPECT_TRUE(SameStorage(inPlace, apart)) << f.name;
    }
    for (int y = 0; y < sy; ++y)
      for (int x = 0; x < sx; ++x)
        if (HoldsData(source.GetPoint(x, y)))
          ASSERT_EQ(out.GetPoint(x, y), box(sums, x, y) / box(counts, x, y)) << "r=" << r << " at " << x << ", " << y;
  }
}

// The byte rasters' minimum and maximum follow the same (plain) window.
TEST(Filters, ByteMinimumAndMaximumMatchTheNaiveWindow) {
  for (auto [sx, sy] : {std::pair{1, 1}, {3, 17}, {17, 33}, {33, 5}, {40, 50}, {2, 16}})
    for (int r : {0, 1, 2, 7})
      for (Kind k : {kMin, kMax}) {
        std::mt19937 rng(sx * 131 + sy * 7 + r);
        CSSEcharMatrix m(sx, sy), out, inPlace;
        CSSEMatrix values = Filled(sx, sy, 0.0f);
        for (int i = 0; i < sx * sy; ++i) {
          const char v = rng() % 3 ? static_cast<char>(rng()) : 0;
          m.SetPoint(i % sx, i / sx, v), values.SetPoint(i % sx, i / sx, static_cast<signed char>(v));
        }
        inPlace.CopyFromOtherMatrix(m);
        using Filter = void (*)(const CSSEcharMatrix&, CSSEcharMatrix&, int);
        const Filter filter =
            k == kMin ? static_cast<Filter>(CFilters::Minimum) : static_cast<Filter>(CFilters::Maximum);
        filter(m, out, r);
        filter(inPlace, inPlace, r);
        for (int i = 0; i < sx * sy; ++i) {
          const int x = i % sx, y = i / sx;
          ASSERT_EQ(static_cast<signed char>(out.GetPoint(x, y)), Reference(k, values, x, y, r, false))
              << kFilters[k].name << " r=" << r << " " << sx << " x " << sy << " at " << x << ", " << y;
          ASSERT_EQ(inPlace.GetPoint(x, y), out.GetPoint(x, y)) << "in place";
        }
      }
}

}  // namespace
