// Pixel chains traced on rasters, against the naive region model.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "pixel_masks.h"
#include "relief/CPixelChain.h"

using namespace contour_test;

namespace {

std::vector<Pixel> Pixels(const CPixelChain& c) {
  std::vector<Pixel> out(c.GetCount());
  for (int k = 0; k < c.GetCount(); ++k) c.GetPixel(k, out[k].first, out[k].second);
  return out;
}

// The chain is the region's outer border: it starts at the region's first
// pixel, visits exactly the border pixels, steps to an 8-neighbour each time
// (closing back to the start), never makes a zero step, and runs clockwise
// on screen (non-negative shoelace sum in the x-y frame).
testing::AssertionResult IsOuterBorder(const CPixelChain& chain, const NaiveRegion& r, bool startsFirst = true) {
  const std::vector<Pixel> px = Pixels(chain);
  if (px.empty()) return testing::AssertionFailure() << "empty chain";
  if (startsFirst && px[0] != r.first)
    return testing::AssertionFailure() << "starts at (" << px[0].first << ", " << px[0].second << ")";
  if (std::set<Pixel>(px.begin(), px.end()) != r.border)
    return testing::AssertionFailure() << "visits " << std::set<Pixel>(px.begin(), px.end()).size()
                                       << " distinct pixels, the border has " << r.border.size();
  long long area = 0;
  for (std::size_t i = 0; i < px.size(); ++i) {
    const Pixel &a = px[i], &b = px[(i + 1) % px.size()];
    const int dx = std::abs(a.first - b.first), dy = std::abs(a.second - b.second);
    if (px.size() > 1 && (std::max(dx, dy) != 1))
      return testing::AssertionFailure() << "step " << i << " is not to an 8-neighbour";
    area += 1LL * a.first * b.second - 1LL * b.first * a.second;
  }
  if (area < 0) return testing::AssertionFailure() << "runs counter-clockwise on screen";
  return testing::AssertionSuccess();
}

// a is b started elsewhere; otherwise gives both lengths and b's start.
testing::AssertionResult IsRotation(const std::vector<Pixel>& a, const std::vector<Pixel>& b) {
  std::vector<Pixel> twice(b);
  twice.insert(twice.end(), b.begin(), b.end());
  if (a.size() == b.size() && (b.empty() || std::search(twice.begin(), twice.end(), a.begin(), a.end()) != twice.end()))
    return testing::AssertionSuccess();
  return testing::AssertionFailure() << "chains of " << a.size() << " and " << b.size()
                                     << " pixels differ in more than their start";
}

TEST(PixelChainTrace, EveryRegionAgainstNaiveModel) {
  const int sizes[] = {1, 2, 3, 5, 7, 17, 31};
  int regionsChecked = 0;
  for (MaskKind kind : {MaskKind::Noise, MaskKind::Discs, MaskKind::Rings, MaskKind::Diagonals, MaskKind::Dots})
    for (int w : sizes)
      for (int h : sizes)
        for (unsigned seed = 0; seed < 3; ++seed) {
          std::mt19937 rng(seed * 7919 + w * 131 + h);
          const Mask m = RandomMask(kind, w, h, rng);
          SCOPED_TRACE(testing::Message() << "kind " << int(kind) << " size " << w << "x" << h << " seed " << seed);
          const std::vector<NaiveRegion> naive = NaiveRegions(m);
          CSSEcharMatrix bytes = ToBytes(m, static_cast<char>(-3));
          CSSEMatrix floats = ToFloats(m);
          const std::vector<CPixelChain> all = CPixelChain::TraceAllOuterBoundaries(bytes);
          const std::vector<CPixelChain> allF = CPixelChain::TraceAllOuterBoundaries(floats, 0.5f);
          ASSERT_EQ(all.size(), naive.size());
          ASSERT_EQ(allF.size(), naive.size());
          for (std::size_t i = 0; i < naive.size(); ++i) {
            ASSERT_TRUE(IsOuterBorder(all[i], naive[i])) << "region " << i;
            ASSERT_EQ(Pixels(allF[i]), Pixels(all[i])) << "region " << i;
            int x = 0, y = 0;
            float v = 0, vF = 0;
            all[i].GetPixel(0, x, y, v);
            allF[i].GetPixel(0, x, y, vF);
            ASSERT_EQ(std::pair(v, vF), std::pair(-3.0f, 1.0f + x / 8.0f));
            // From any seed in the region: the same closed walk, started
            // elsewhere (holes on the way west are crossed).
            auto it = naive[i].pixels.begin();
            std::advance(it, rng() % naive[i].pixels.size());
            CPixelChain seeded;
            ASSERT_TRUE(seeded.TraceOuterBoundary(bytes, it->first, it->second));
            ASSERT_TRUE(IsRotation(Pixels(seeded), Pixels(all[i])))
                << "seed (" << it->first << ", " << it->second << ")";
            ++regionsChecked;
          }
          CPixelChain first;
          ASSERT_EQ(first.TraceOuterBoundary(floats, 0.5f), !naive.empty());
          if (!naive.empty()) EXPECT_EQ(Pixels(first), Pixels(all[0]));
        }
  EXPECT_GT(regionsChecked, 1500);
}

TEST(PixelChainTrace, SpursAreWalkedOutAndBack) {
  // A plus sign: the walk passes the centre four times and each arm tip once.
  Mask plus{5, 5, std::vector<std::uint8_t>(25, 0)};
  for (int k = 0; k < 5; ++k) plus.set(2, k), plus.set(k, 2);
  CPixelChain c;
  ASSERT_TRUE(c.TraceOuterBoundary(ToBytes(plus)));
  EXPECT_EQ(Pixels(c),
            (std::vector<Pixel>{
                {2, 0}, {2, 1}, {3, 2}, {4, 2}, {3, 2}, {2, 3}, {2, 4}, {2, 3}, {1, 2}, {0, 2}, {1, 2}, {2, 1}}));
}

// Bad input gives empty chains; the export writes into the caller's directory.
TEST(PixelChainTrace, BadInputAndExport) {
  CSSEcharMatrix none;  // no storage
  CSSEMatrix empty;
  empty.Create(9, 4);  // all zero: no pixel above 0
  CPixelChain c;
  c.AppendPixel(1, 1, 1);
  EXPECT_EQ(std::vector<bool>({c.TraceOuterBoundary(none), c.GetCount() == 0, c.TraceOuterBoundary(empty, 0.0f),
                               CPixelChain::TraceAllOuterBoundaries(none).empty(),
                               CPixelChain::TraceAllOuterBoundaries(empty, 0.0f).empty()}),
            std::vector<bool>({false, true, false, true, true}));
  const CSSEcharMatrix bytes = ToBytes(Mask{3, 3, {0, 0, 0, 0, 1, 0, 0, 0, 0}});
  for (const Pixel& seed : {Pixel{0, 0}, Pixel{-1, 1}, Pixel{1, 3}, Pixel{3, 1}, Pixel{1, -5}}) {
    c.AppendPixel(0, 0, 0);
    EXPECT_FALSE(c.TraceOuterBoundary(bytes, seed.first, seed.second)) << seed.first << ", " << seed.second;
    EXPECT_EQ(c.GetCount(), 0);
  }
  int x = 7, y = 7;
  EXPECT_FALSE(c.GetPixel(0, x, y));
  EXPECT_EQ(std::pair(x, c.GetValue(-1)), std::pair(7, 0.0f));
  c.AppendPixel(3, 4, 0.5f);
  c.AppendPixel(10, -2, 1.25f);
  const auto dir = std::filesystem::temp_directory_path();
  ASSERT_TRUE(c.ExportToDirectory(dir, "relief_chain_export.txt"));
  std::stringstream text;
  text << std::ifstream(dir / "relief_chain_export.txt").rdbuf();
  EXPECT_EQ(text.str(), "Index\tXPos\tYPos\tValue\n0\t3\t4\t0.500000\n1\t10\t-2\t1.250000\n");
  std::filesystem::remove(dir / "relief_chain_export.txt");
  EXPECT_FALSE(c.ExportToDirectory(dir / "relief_no_such_dir", "x.txt"));
  EXPECT_FALSE(c.ExportToDirectory(dir, ""));
}

}  // namespace
