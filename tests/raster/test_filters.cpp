// CFilters against a deliberately naive per-pixel reference: every pixel's
// clipped window collected and reduced, on seeded rasters with no-data holes
// and sizes that are no multiple of 4 or of a column strip.

#include <algorithm>
#include <cmath>
#include <functional>

#include "raster_compare.h"
#include "relief/CFilters.h"

using namespace relief::test;

namespace {

enum class Kind { Mean, Min, Max, Median };
const char* Name(Kind k) {
  static const char* names[] = {"mean", "min", "max", "median"};
  return names[static_cast<int>(k)];
}

void Apply(Kind k, const CSSEMatrix& s, CSSEMatrix& t, int r, bool aware) {
  switch (k) {
    case Kind::Mean:
      return CFilters::BoxMean(s, t, r, aware);
    case Kind::Min:
      return CFilters::Minimum(s, t, r, aware);
    case Kind::Max:
      return CFilters::Maximum(s, t, r, aware);
    case Kind::Median:
      return CFilters::Median(s, t, r, aware);
  }
}

bool HoldsData(float v) { return v == v && v != 0.0f; }

// The filter's definition, one pixel at a time.
float Reference(Kind k, const CSSEMatrix& m, int x, int y, int r, bool aware) {
  const float centre = m.GetPoint(x, y);
  if (aware && !HoldsData(centre)) return centre;
  std::vector<float> v;
  int pixels = 0;
  for (int yy = std::max(y - r, 0); yy <= std::min(y + r, m.GetSizeY() - 1); ++yy)
    for (int xx = std::max(x - r, 0); xx <= std::min(x + r, m.GetSizeX() - 1); ++xx) {
      const float p = m.GetPoint(xx, yy);
      ++pixels;
      if (aware ? HoldsData(p) : p == p) v.push_back(p);
    }
  switch (k) {
    case Kind::Mean: {
      double sum = 0;
      for (float p : v) sum += p;
      return static_cast<float>(sum / (aware ? v.size() : pixels));
    }
    case Kind::Min:
      return v.empty() ? INFINITY : *std::min_element(v.begin(), v.end());
    case Kind::Max:
      return v.empty() ? -INFINITY : *std::max_element(v.begin(), v.end());
    case Kind::Median:
      if (v.empty()) return centre;
      std::sort(v.begin(), v.end());
      return v[(v.size() - 1) / 2];
  }
  return 0;
}

// Names the first pixel that differs from the reference (means within a
// relative 2e-6 of the window's magnitude) or the first padding lane not 0.
testing::AssertionResult MatchesReference(Kind k, const CSSEMatrix& source, const CSSEMatrix& got, int r, bool aware) {
  for (int y = 0; y < source.GetSizeY(); ++y)
    for (int x = 0; x < source.GetSizeX(); ++x) {
      const float want = Reference(k, source, x, y, r, aware), have = got.GetPoint(x, y);
      const float tolerance = k == Kind::Mean ? 2e-6f * 128.0f : 0.0f;
      const bool same = (want != want && have != have) || std::fabs(want - have) <= tolerance || want == have;
      if (!same)
        return testing::AssertionFailure() << Name(k) << " r=" << r << (aware ? " aware" : " plain") << " at (" << x
                                           << ", " << y << "): " << have << ", reference " << want;
    }
  for (int row = source.GetSizeY(); row < 4 * got.GetSSESizeY(); ++row)
    for (int x = 0; x < got.GetSizeX(); ++x)
      if (Lane(got, x, row) != 0.0f)
        return testing::AssertionFailure() << "padding lane (" << x << ", " << row << ") not 0";
  return testing::AssertionSuccess();
}

// Heights in [1, 100) with holes: single zeros (one pixel in `every`) and a
// zero block.
CSSEMatrix HoleyRaster(int sx, int sy, std::mt19937& rng, unsigned every = 6) {
  CSSEMatrix m = RandomRaster(sx, sy, rng, Uniform(1.0f, 100.0f));
  for (int y = 0; y < sy; ++y)
    for (int x = 0; x < sx; ++x)
      if (rng() % every == 0) m.SetPoint(x, y, 0.0f);
  const int bx = static_cast<int>(rng() % sx), by = static_cast<int>(rng() % sy);
  for (int y = by; y < std::min(by + 5, sy); ++y)
    for (int x = bx; x < std::min(bx + 9, sx); ++x) m.SetPoint(x, y, 0.0f);
  return m;
}

// Dense holes (one pixel in 6) and sparse ones (one in 150: long runs of
// windows without holes between short runs with them).
TEST(Filters, MatchTheNaiveWindowOnHoleyRastersOfOddSizes) {
  const int sizes[][2] = {{1, 1}, {2, 3}, {3, 2}, {5, 7}, {7, 5}, {17, 31}, {31, 17}, {70, 9}, {129, 33}, {6, 130}};
  for (unsigned seed = 1; seed <= 2; ++seed)
    for (const auto& s : sizes) {
      std::mt19937 rng(seed * 1000 + s[0] * 7 + s[1]);
      const CSSEMatrix source = HoleyRaster(s[0], s[1], rng, seed == 1 ? 6 : 150);
      for (Kind k : {Kind::Mean, Kind::Min, Kind::Max, Kind::Median})
        for (int r : {1, 2, 3, 7})
          for (bool aware : {true, false}) {
            CSSEMatrix target;
            Apply(k, source, target, r, aware);
            EXPECT_TRUE(MatchesReference(k, source, target, r, aware))
                << "seed " << seed << ", " << s[0] << " x " << s[1];
          }
    }
}

TEST(Filters, InPlaceEqualsOutOfPlace) {
  std::mt19937 rng(7);
  const CSSEMatrix source = HoleyRaster(150, 37, rng);
  for (Kind k : {Kind::Mean, Kind::Min, Kind::Max, Kind::Median})
    for (int r : {1, 2, 7, 70}) {
      CSSEMatrix apart, inPlace(source);
      Apply(k, source, apart, r, true);
      Apply(k, inPlace, inPlace, r, true);
      EXPECT_TRUE(SameStorage(apart, inPlace)) << Name(k) << " r=" << r;
    }
}

TEST(Filters, BadInputGivesDocumentedResults) {
  std::mt19937 rng(3);
  const CSSEMatrix source = HoleyRaster(9, 6, rng);
  for (Kind k : {Kind::Mean, Kind::Min, Kind::Max, Kind::Median}) {
    for (int r : {0, -3}) {  // radius < 1: a copy
      CSSEMatrix t;
      Apply(k, source, t, r, true);
      EXPECT_TRUE(SameStorage(t, source)) << Name(k) << " r=" << r;
    }
    CSSEMatrix none, untouched = Filled(2, 2, 4.0f);  // no storage: no change
    Apply(k, none, untouched, 1, true);
    EXPECT_EQ(untouched.GetPoint(1, 1), 4.0f);
    for (const auto& size : {std::pair(0, 5), std::pair(5, 0), std::pair(0, 0)}) {  // no pixels
      CSSEMatrix empty, t = Filled(3, 3, 1.0f);
      empty.Create(size.first, size.second);
      Apply(k, empty, t, 2, false);
      EXPECT_EQ(std::pair(t.GetSizeX(), t.GetSizeY()), size) << Name(k);
    }
  }
}

TEST(Filters, NaNIsNoDataWhenAwareAndTakesNoPartOtherwise) {
  CSSEMatrix m = Filled(7, 7, 3.0f), out;
  m.SetPoint(3, 3, kNaN);
  m.SetPoint(1, 1, 5.0f);
  for (Kind k : {Kind::Mean, Kind::Min, Kind::Max, Kind::Median}) {
    Apply(k, m, out, 1, true);
    EXPECT_TRUE(std::isnan(out.GetPoint(3, 3))) << Name(k);
    EXPECT_TRUE(MatchesReference(k, m, out, 1, true));
    if (k == Kind::Median) continue;  // plain median with NaN: unspecified
    Apply(k, m, out, 1, false);
    EXPECT_TRUE(MatchesReference(k, m, out, 1, false));
  }
}

// Aware filters leave a pixel without data bitwise as it was: +0, -0 and
// NaNs with payloads, alone, in rows of holes and in whole groups of holes.
TEST(Filters, PixelsWithoutDataKeepTheirBits) {
  const std::uint32_t noData[] = {0x00000000u, 0x80000000u, 0x7FC01234u, 0xFFC00001u, 0x7F800001u};
  for (unsigned seed = 1; seed <= 3; ++seed) {
    std::mt19937 rng(seed);
    CSSEMatrix source = RandomRaster(150, 37, rng, Uniform(1.0f, 100.0f));
    for (int y = 0; y < 37; ++y)
      for (int x = 0; x < 150; ++x) {
        const bool hole = rng() % 5 == 0 || (x >= 40 && x < 60 && y >= 8 && y < 20);  // a block of holes
        if (!hole) continue;
        std::uint32_t bits = noData[rng() % 5];
        if (rng() % 2) bits = 0;  // mostly +0, as a scan has them
        float v;
        std::memcpy(&v, &bits, sizeof v);
        source.SetPoint(x, y, v);
      }
    for (Kind k : {Kind::Mean, Kind::Min, Kind::Max, Kind::Median})
      for (int r : {1, 3}) {
        CSSEMatrix out;
        Apply(k, source, out, r, true);
        for (int y = 0; y < 37; ++y)
          for (int x = 0; x < 150; ++x) {
            const float was = source.GetPoint(x, y);
            if (!HoldsData(was))
              ASSERT_EQ(Bits(out.GetPoint(x, y)), Bits(was))
                  << Name(k) << " r=" << r << " at (" << x << ", " << y << "), seed " << seed;
          }
      }
  }
}

// Window counts past a byte (r = 8: 289 pixels) and past 16 bits (r = 130
// on 300 x 260: up to 67,860): small whole heights make every float sum
// exact, so the mean must equal sum / count from summed-area tables.
TEST(Filters, AwareMeanOfLargeWindowsCountsExactly) {
  std::mt19937 rng(11);
  CSSEMatrix source = HoleyRaster(300, 260, rng);
  for (int y = 0; y < 260; ++y)
    for (int x = 0; x < 300; ++x)
      if (const float v = source.GetPoint(x, y); v != 0.0f) source.SetPoint(x, y, std::floor(v / 12.5f) + 1.0f);
  // sums[y][x], counts[y][x]: over [0, x) x [0, y).
  std::vector<std::vector<double>> sums(261, std::vector<double>(301)), counts = sums;
  for (int y = 0; y < 260; ++y)
    for (int x = 0; x < 300; ++x) {
      const float v = source.GetPoint(x, y);
      sums[y + 1][x + 1] = sums[y][x + 1] + sums[y + 1][x] - sums[y][x] + (HoldsData(v) ? v : 0.0);
      counts[y + 1][x + 1] = counts[y][x + 1] + counts[y + 1][x] - counts[y][x] + (HoldsData(v) ? 1 : 0);
    }
  auto box = [](const std::vector<std::vector<double>>& t, int x0, int y0, int x1, int y1) {
    return t[y1][x1] - t[y0][x1] - t[y1][x0] + t[y0][x0];
  };
  for (int r : {8, 40, 130}) {
    CSSEMatrix out, inPlace(source);
    CFilters::BoxMean(source, out, r, true);
    CFilters::BoxMean(inPlace, r, true);
    EXPECT_EQ(StorageDifference(out, inPlace), "") << "r=" << r;
    for (int y = 0; y < 260; ++y)
      for (int x = 0; x < 300; ++x) {
        const float centre = source.GetPoint(x, y);
        if (!HoldsData(centre)) continue;
        const int x0 = std::max(x - r, 0), y0 = std::max(y - r, 0), x1 = std::min(x + r + 1, 300),
                  y1 = std::min(y + r + 1, 260);
        const float want =
            static_cast<float>(box(sums, x0, y0, x1, y1)) / static_cast<float>(box(counts, x0, y0, x1, y1));
        ASSERT_EQ(out.GetPoint(x, y), want) << "r=" << r << " at (" << x << ", " << y << ")";
      }
  }
}

}  // namespace
