// CPixelChain: the outer boundary of one region, from a seed or from the first
// region pixel in scan order. These walks read the raster pixel by pixel
// through its accessors; only the whole-mask tracer builds a region mask.

#include <cstdint>

#include "moore_walk.h"
#include "relief/CPixelChain.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

using relief::detail::WalkOuterBorder;

namespace {

struct PixelCursor {
  int x, y;
  bool operator==(const PixelCursor& o) const { return x == o.x && y == o.y; }
};

// Walk interface over region tests by position (see moore_walk.h).
template <class Derived>
struct ByPosition {
  PixelCursor At(int x, int y) const { return {x, y}; }
  PixelCursor Move(PixelCursor c, int d) const {
    return {c.x + relief::detail::kStepX[d], c.y + relief::detail::kStepY[d]};
  }
  int Next(PixelCursor c, int from) const {
    return relief::detail::FirstNeighbourAfter(from, [&](int d) {
      return static_cast<const Derived&>(*this)(c.x + relief::detail::kStepX[d], c.y + relief::detail::kStepY[d]);
    });
  }
};

// Region pixels of a raster, false outside it; value() is what a chain stores.
struct FloatRegion : ByPosition<FloatRegion> {
  FloatRegion(const CSSEMatrix& raster, float t) : m(raster), threshold(t) {}
  const CSSEMatrix& m;
  float threshold;
  bool operator()(int x, int y) const {
    return x >= 0 && y >= 0 && x < m.GetSizeX() && y < m.GetSizeY() && m.GetPoint(x, y) > threshold;
  }
  float value(int x, int y) const { return m.GetPoint(x, y); }
  bool HasPixels() const { return m.GetMatrixDataDirectly() && m.GetSizeX() > 0 && m.GetSizeY() > 0; }
};

struct ByteRegion : ByPosition<ByteRegion> {
  explicit ByteRegion(const CSSEcharMatrix& raster) : m(raster) {}
  const CSSEcharMatrix& m;
  bool operator()(int x, int y) const {
    return x >= 0 && y >= 0 && x < m.GetSizeX() && y < m.GetSizeY() && m.GetPoint(x, y) != 0;
  }
  float value(int x, int y) const { return static_cast<float>(static_cast<signed char>(m.GetPoint(x, y))); }
  bool HasPixels() const { return m.GetMatrixDataDirectly() && m.GetSizeX() > 0 && m.GetSizeY() > 0; }
};

template <class Region>
std::int64_t StepLimit(const Region& r) {
  return 4 * static_cast<std::int64_t>(r.m.GetSizeX()) * r.m.GetSizeY() + 4;
}

// Twice the signed area of the chain's polygon (shoelace in the x-y frame).
std::int64_t TwiceSignedArea(const CPixelChain& chain) {
  const int n = chain.GetCount();
  std::int64_t sum = 0;
  int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  for (int i = 0; i < n; ++i) {
    chain.GetPixel(i, x0, y0);
    chain.GetPixel(i + 1 < n ? i + 1 : 0, x1, y1);
    sum += static_cast<std::int64_t>(x0) * y1 - static_cast<std::int64_t>(x1) * y0;
  }
  return sum;
}

template <class Region>
void Walk(CPixelChain& chain, const Region& region, int sx, int sy) {
  chain.Clear();
  WalkOuterBorder(region, sx, sy, StepLimit(region),
                  [&](int x, int y, PixelCursor) { chain.AppendPixel(x, y, region.value(x, y)); });
}

template <class Region>
bool TraceFromSeed(CPixelChain& chain, const Region& region, int seedX, int seedY) {
  chain.Clear();
  if (!region.HasPixels() || !region(seedX, seedY)) return false;
  // Walk west to the region's edge. The border found there is either the
  // outer one or that of a hole; a hole's border runs the other way round
  // (negative area, since the walk keeps the hole on its left), and then the
  // walk goes on west across the hole, which the region encloses.
  int x = seedX;
  for (;;) {
    while (region(x - 1, seedY)) --x;
    Walk(chain, region, x, seedY);
    if (TwiceSignedArea(chain) >= 0) return true;
    --x;
    while (x >= 0 && !region(x - 1, seedY)) --x;
    if (x <= 0) return true;  // cannot happen for a true hole; keep the last border
    --x;
  }
}

template <class Region>
bool TraceFirst(CPixelChain& chain, const Region& region) {
  chain.Clear();
  if (!region.HasPixels()) return false;
  for (int y = 0; y < region.m.GetSizeY(); ++y)
    for (int x = 0; x < region.m.GetSizeX(); ++x)
      if (region(x, y)) {
        Walk(chain, region, x, y);
        return true;
      }
  return false;
}

}  // namespace

bool CPixelChain::TraceOuterBoundary(const CSSEMatrix& m, float threshold, int seedX, int seedY) {
  return TraceFromSeed(*this, FloatRegion{m, threshold}, seedX, seedY);
}

bool CPixelChain::TraceOuterBoundary(const CSSEcharMatrix& m, int seedX, int seedY) {
  return TraceFromSeed(*this, ByteRegion{m}, seedX, seedY);
}

bool CPixelChain::TraceOuterBoundary(const CSSEMatrix& m, float threshold) {
  return TraceFirst(*this, FloatRegion{m, threshold});
}

bool CPixelChain::TraceOuterBoundary(const CSSEcharMatrix& m) { return TraceFirst(*this, ByteRegion{m}); }
