#pragma once

// Shared by the raster tests: lane access (padding lanes included), bitwise
// comparison of whole storage and seeded random fills.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <vector>

#include "predicates.h"
#include "relief/CSSEMatrix.h"

namespace relief::test {

inline const float kNaN = std::numeric_limits<float>::quiet_NaN();

// Lane (x, row) of the storage; rows from sizeY on are padding lanes.
inline float& Lane(CSSEMatrix& m, int x, int row) {
  return reinterpret_cast<float*>(m.GetMatrixDataDirectly()[row >> 2] + x)[row & 3];
}
inline float Lane(const CSSEMatrix& m, int x, int row) {
  return reinterpret_cast<const float*>(m.GetMatrixDataDirectly()[row >> 2] + x)[row & 3];
}

// fn(lane, x, row) for every lane, row by row: each of the four lane
// positions still sees its registers in walk order (SSE row, then column).
template <class Matrix, class Fn>
void ForEachLane(Matrix& m, Fn fn) {
  for (int row = 0; row < 4 * m.GetSSESizeY(); ++row)
    for (int x = 0; x < m.GetSSESizeX(); ++x) fn(Lane(m, x, row), x, row);
}

// The filters' and queries' notion of a pixel with data: neither 0 nor NaN.
inline bool HoldsData(float v) { return v == v && v != 0.0f; }

inline std::uint32_t Bits(float v) {
  std::uint32_t u;
  std::memcpy(&u, &v, sizeof u);
  return u;
}

// Empty when a and b have the same sizes and bitwise the same lanes;
// otherwise names the first difference.
inline std::string StorageDifference(const CSSEMatrix& a, const CSSEMatrix& b) {
  std::ostringstream out;
  if (a.GetSizeX() != b.GetSizeX() || a.GetSizeY() != b.GetSizeY())
    out << "size " << a.GetSizeX() << "x" << a.GetSizeY() << " vs " << b.GetSizeX() << "x" << b.GetSizeY();
  else
    ForEachLane(a, [&](float va, int x, int row) {
      const float vb = Lane(b, x, row);
      if (out.tellp() == 0 && Bits(va) != Bits(vb)) out << "lane (" << x << ", " << row << "): " << va << " vs " << vb;
    });
  return out.str();
}

// Same sizes and bitwise the same lanes (padding included), naming the first differing lane.
inline testing::AssertionResult SameStorage(const CSSEMatrix& actual, const CSSEMatrix& expected) {
  return relief_test::NoViolation(StorageDifference(actual, expected));
}

using relief_test::SamePoints;

inline CSSEMatrix Filled(int sizeX, int sizeY, float value) {
  CSSEMatrix m;
  m.Create(sizeX, sizeY);
  m.Fill(value);
  return m;
}

inline auto Uniform(float lo, float hi) {
  return [lo, hi](std::mt19937& r) { return std::uniform_real_distribution<float>(lo, hi)(r); };
}

// Uniform in [lo, hi), every fifth value or so snapped to a value on or
// next to a threshold the operations use (signed zeros, 0.005, 1 +- 0.002, ...).
inline auto WithSpecials(float lo, float hi) {
  return [lo, hi](std::mt19937& r) {
    static const float specials[] = {0.0f,   -0.0f, 1.0f, 0.004f, 0.005f, 0.006f, 1.002f,  0.998f,
                                     0.001f, 0.1f,  0.5f, 1.5f,   0.25f,  5.0f,   0.0005f, 1e30f};
    return r() % 5 == 0 ? specials[r() % 16] : std::uniform_real_distribution<float>(lo, hi)(r);
  };
}

// A sizeX x sizeY raster with gen(rng) in every lane, padding included.
template <class Gen>
CSSEMatrix RandomRaster(int sizeX, int sizeY, std::mt19937& rng, Gen gen) {
  CSSEMatrix m;
  m.Create(sizeX, sizeY);
  ForEachLane(m, [&](float& v, int, int) { v = gen(rng); });
  return m;
}

}  // namespace relief::test
