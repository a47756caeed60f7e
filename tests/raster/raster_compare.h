#pragma once

// Helpers shared by the raster tests: bitwise comparison of whole storage
// (padding lanes included), direct lane access, and seeded random fills.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <sstream>
#include <string>

#include "relief/CSSEMatrix.h"

namespace relief::test {

// Lane (x, row) of the storage, rows beyond sizeY included (padding lanes).
inline float& Lane(CSSEMatrix& m, int x, int row) {
  return reinterpret_cast<float*>(m.GetMatrixDataDirectly()[row >> 2] + x)[row & 3];
}

inline std::uint32_t Bits(float v) {
  std::uint32_t u;
  std::memcpy(&u, &v, sizeof u);
  return u;
}

// Empty when a and b have the same sizes and bitwise the same registers;
// otherwise names the first difference.
inline std::string StorageDifference(CSSEMatrix& a, CSSEMatrix& b) {
  std::ostringstream out;
  if (a.GetSizeX() != b.GetSizeX() || a.GetSizeY() != b.GetSizeY()) {
    out << "size " << a.GetSizeX() << "x" << a.GetSizeY() << " vs " << b.GetSizeX() << "x" << b.GetSizeY();
    return out.str();
  }
  for (int row = 0; row < 4 * a.GetSSESizeY(); ++row)
    for (int x = 0; x < a.GetSSESizeX(); ++x) {
      const float va = Lane(a, x, row), vb = Lane(b, x, row);
      if (Bits(va) != Bits(vb)) {
        out << "lane (" << x << ", " << row << "): " << va << " vs " << vb;
        return out.str();
      }
    }
  return {};
}

// Fills every lane, padding included, with gen(rng).
template <class Gen>
void FillLanes(CSSEMatrix& m, std::mt19937& rng, Gen gen) {
  for (int row = 0; row < 4 * m.GetSSESizeY(); ++row)
    for (int x = 0; x < m.GetSSESizeX(); ++x) Lane(m, x, row) = gen(rng);
}

// A mask of thick blobs: `count` discs of radius up to maxRadius hold
// `inside`, everything else `outside`.
inline void FillBlobs(CSSEMatrix& m, std::mt19937& rng, int count, int maxRadius, float inside, float outside) {
  m.Fill(outside);
  std::uniform_int_distribution<int> px(0, std::max(0, m.GetSizeX() - 1)), py(0, std::max(0, m.GetSizeY() - 1)),
      pr(1, std::max(1, maxRadius));
  for (int i = 0; i < count; ++i) {
    const int cx = px(rng), cy = py(rng), r = pr(rng);
    for (int y = std::max(0, cy - r); y <= std::min(m.GetSizeY() - 1, cy + r); ++y)
      for (int x = std::max(0, cx - r); x <= std::min(m.GetSizeX() - 1, cx + r); ++x)
        if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r) m.SetPoint(x, y, inside);
  }
}

}  // namespace relief::test
