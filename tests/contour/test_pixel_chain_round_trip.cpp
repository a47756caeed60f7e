// Trace a region, build a polygon from the chain, fill it back with the
// library's fine fill. The polygon's corners are the boundary pixels' centres,
// which the crossing rule settles one-sidedly, so the fill cannot return the
// region pixel for pixel; what it returns is pinned exactly instead, for
// hole-free regions whose chain visits no pixel twice:
//  - every region pixel off the chain is filled, no pixel outside the region is;
//  - a chain pixel is filled exactly when the direction "down (+y), a hair to
//    the left (-x)" points into the region's interior angle at that pixel,
//    i.e. lies strictly between the outgoing step and the reversed incoming
//    step, turning clockwise on screen.

#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "pixel_masks.h"
#include "relief/CPixelChain.h"
#include "relief/CSSE3dPolygon.h"

using namespace contour_test;

namespace {

// A blob of a few overlapping discs, its holes filled.
Mask RandomBlob(std::mt19937& rng, int size) {
  Mask m{size, size, std::vector<std::uint8_t>(static_cast<std::size_t>(size) * size, 0)};
  std::uniform_real_distribution<double> unit(0, 1);
  double cx = size / 2.0, cy = size / 2.0;
  for (int i = 0, n = 1 + static_cast<int>(unit(rng) * 4); i < n; ++i) {
    const double r = 1.5 + unit(rng) * size / 5;
    for (int y = 0; y < size; ++y)
      for (int x = 0; x < size; ++x)
        if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r) m.set(x, y);
    cx += (unit(rng) - 0.5) * r * 2, cy += (unit(rng) - 0.5) * r * 2;
  }
  // Fill holes: everything not reachable from outside belongs to the blob.
  const std::set<Pixel> outside = Flood({-1, -1}, false, [&](Pixel q) {
    return q.first >= -1 && q.second >= -1 && q.first <= size && q.second <= size && !m.at(q.first, q.second);
  });
  for (int y = 0; y < size; ++y)
    for (int x = 0; x < size; ++x)
      if (!outside.count({x, y})) m.set(x, y);
  return m;
}

// The expected fill of a chain pixel: "down, a hair left" inside the interior
// angle between the outgoing step and the reversed incoming step, measured
// clockwise on screen (y down, so increasing angle turns clockwise).
bool ExpectedOnChain(const Pixel& prev, const Pixel& p, const Pixel& next) {
  auto clockwiseFromOut = [&](double dx, double dy) {
    double a = std::atan2(dy, dx) - std::atan2(next.second - p.second, next.first - p.first);
    while (a <= 0) a += 2 * 3.14159265358979323846;
    return a;
  };
  return clockwiseFromOut(-1e-6, 1.0) < clockwiseFromOut(prev.first - p.first, prev.second - p.second);
}

TEST(PixelChainRoundTrip, FineFillGivesTheRegionUpToTheLowerLeftBoundary) {
  int tested = 0;
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 rng(seed);
    const int size = 5 + static_cast<int>(rng() % 60);
    const Mask m = RandomBlob(rng, size);
    CPixelChain chain;
    if (!chain.TraceOuterBoundary(ToBytes(m))) continue;
    std::vector<Pixel> px(chain.GetCount());
    std::map<Pixel, int> index;
    bool repeats = false;
    for (int k = 0; k < chain.GetCount(); ++k) {
      chain.GetPixel(k, px[k].first, px[k].second);
      repeats |= !index.emplace(px[k], k).second;
    }
    if (repeats || px.size() < 3) continue;  // spurs and bridges: the fill's thinning reshapes them
    // Only one region per blob is traced; the blob generator may leave more.
    const std::vector<NaiveRegion> regions = NaiveRegions(m);
    CSSE3dPolygon poly(chain, 1);
    CSSEcharMatrix filled(size, size);
    poly.DrawInCharMatrixAndFillFine(7, &filled, false, -1e6f, 1e6f);
    const std::set<Pixel>& region = regions[0].pixels;
    for (int y = 0; y < size; ++y)
      for (int x = 0; x < size; ++x) {
        const Pixel p{x, y};
        auto on = index.find(p);
        const bool expected = on == index.end() ? region.count(p) > 0
                                                : ExpectedOnChain(px[(on->second + px.size() - 1) % px.size()], p,
                                                                  px[(on->second + 1) % px.size()]);
        ASSERT_EQ(filled.GetPoint(x, y) == 7, expected)
            << "seed " << seed << " pixel (" << x << ", " << y << ")" << (on == index.end() ? "" : " on the chain");
      }
    ++tested;
  }
  EXPECT_GT(tested, 150);
}

}  // namespace
