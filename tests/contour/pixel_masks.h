#pragma once

// Seeded masks for the pixel-chain tests and a deliberately naive model of
// regions and their outer borders (flood fills on a plain row-major grid).

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

namespace contour_test {

struct Mask {
  int w = 0, h = 0;
  std::vector<std::uint8_t> px;  // row-major, 1 = region
  bool at(int x, int y) const { return x >= 0 && y >= 0 && x < w && y < h && px[y * w + x]; }
  void set(int x, int y, std::uint8_t v = 1) {
    if (x >= 0 && y >= 0 && x < w && y < h) px[y * w + x] = v;
  }
};

enum class MaskKind { Noise, Discs, Rings, Diagonals, Dots };

// Noise at several densities, discs (edge-touching), rings with islands in
// their holes, diagonal strokes touching corner to corner, single pixels.
inline Mask RandomMask(MaskKind kind, int w, int h, std::mt19937& rng) {
  Mask m{w, h, std::vector<std::uint8_t>(static_cast<std::size_t>(w) * h, 0)};
  std::uniform_int_distribution<int> X(-2, w + 1), Y(-2, h + 1);
  std::uniform_real_distribution<double> unit(0, 1);
  const int area = w * h;
  switch (kind) {
    case MaskKind::Noise: {
      const double p = 0.2 + 0.5 * unit(rng);
      for (auto& v : m.px) v = unit(rng) < p;
      break;
    }
    case MaskKind::Discs:
    case MaskKind::Rings:
      for (int i = 0; i < 1 + area / 150; ++i) {
        const int cx = X(rng), cy = Y(rng), r = 1 + static_cast<int>(unit(rng) * 9);
        for (int y = cy - r; y <= cy + r; ++y)
          for (int x = cx - r; x <= cx + r; ++x) {
            const int d = (x - cx) * (x - cx) + (y - cy) * (y - cy);
            if (d <= r * r && (kind == MaskKind::Discs || d >= (r - 2) * (r - 2) || d <= 1)) m.set(x, y);
          }
      }
      break;
    case MaskKind::Diagonals:
      for (int i = 0; i < 1 + area / 40; ++i) {
        int x = X(rng), y = Y(rng);
        const int dx = unit(rng) < 0.5 ? 1 : -1, len = 1 + static_cast<int>(unit(rng) * 8);
        for (int k = 0; k < len; ++k, x += dx, ++y) m.set(x, y);
      }
      break;
    case MaskKind::Dots:
      for (int i = 0; i < 1 + area / 10; ++i) {
        const int x = X(rng), y = Y(rng);
        if (!m.at(x - 1, y) && !m.at(x + 1, y)) m.set(x, y);
      }
      break;
  }
  return m;
}

inline CSSEcharMatrix ToBytes(const Mask& m, char value = 1) {
  CSSEcharMatrix r(m.w, m.h);
  for (int y = 0; y < m.h; ++y)
    for (int x = 0; x < m.w; ++x) r.SetPoint(x, y, m.at(x, y) ? value : 0);
  return r;
}

// Region pixels get 1 + their column / 8 (all above 0.5), others 0.25 or NaN.
inline CSSEMatrix ToFloats(const Mask& m) {
  CSSEMatrix r;
  r.Create(m.w, m.h);
  for (int y = 0; y < m.h; ++y)
    for (int x = 0; x < m.w; ++x)
      r.SetPoint(x, y, m.at(x, y) ? 1.0f + x / 8.0f : ((x + y) % 3 ? 0.25f : std::nanf("")));
  return r;
}

using Pixel = std::pair<int, int>;  // (x, y)

// One region of the naive model: its pixels, its first pixel in scan order
// and the pixels of its outer border (those with a 4-neighbour in the
// background component around the region).
struct NaiveRegion {
  std::set<Pixel> pixels;
  Pixel first;
  std::set<Pixel> border;
};

// The pixels reachable from start through 4- (or 8-) neighbours that pass ok.
template <class Ok>
std::set<Pixel> Flood(Pixel start, bool eight, Ok ok) {
  std::set<Pixel> reached{start};
  std::vector<Pixel> todo{start};
  while (!todo.empty()) {
    const Pixel p = todo.back();
    todo.pop_back();
    for (int dy = -1; dy <= 1; ++dy)
      for (int dx = -1; dx <= 1; ++dx) {
        const Pixel q{p.first + dx, p.second + dy};
        if ((dx || dy) && (eight || !dx || !dy) && ok(q) && reached.insert(q).second) todo.push_back(q);
      }
  }
  return reached;
}

inline std::vector<NaiveRegion> NaiveRegions(const Mask& m) {
  std::vector<NaiveRegion> regions;
  std::set<Pixel> labelled;
  for (int y = 0; y < m.h; ++y)
    for (int x = 0; x < m.w; ++x) {
      if (!m.at(x, y) || labelled.count({x, y})) continue;
      NaiveRegion r{Flood({x, y}, true, [&](Pixel q) { return m.at(q.first, q.second); }), {x, y}, {}};
      labelled.insert(r.pixels.begin(), r.pixels.end());
      // The background around the region: 4-connected, from the pixel west of
      // its first pixel, on a grid with a one-pixel frame outside the raster.
      const std::set<Pixel> outside = Flood({x - 1, y}, false, [&](Pixel q) {
        return q.first >= -1 && q.second >= -1 && q.first <= m.w && q.second <= m.h && !m.at(q.first, q.second);
      });
      for (const Pixel& p : r.pixels)
        for (const Pixel& q : {Pixel{p.first + 1, p.second}, Pixel{p.first - 1, p.second}, Pixel{p.first, p.second + 1},
                               Pixel{p.first, p.second - 1}})
          if (outside.count(q)) r.border.insert(p);
      regions.push_back(std::move(r));
    }
  return regions;
}

}  // namespace contour_test
