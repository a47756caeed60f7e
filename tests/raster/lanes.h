#pragma once

// Test helpers that look at a raster's storage lane by lane, padding included.

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "relief/CSSEMatrix.h"

namespace relief_test {

// Every lane in walk order: SSE row by SSE row, column by column, lane 0..3.
inline std::vector<float> Lanes(const CSSEMatrix& m) {
  std::vector<float> out;
  __m128** lines = m.GetMatrixDataDirectly();
  if (!lines) return out;
  for (int k = 0; k < m.GetSSESizeY(); ++k)
    for (int x = 0; x < m.GetSSESizeX(); ++x) {
      float lanes[4];
      std::memcpy(lanes, &lines[k][x], sizeof lanes);
      out.insert(out.end(), lanes, lanes + 4);
    }
  return out;
}

// Writes values back in the order Lanes() reads them.
inline void SetLanes(CSSEMatrix& m, const std::vector<float>& values) {
  __m128** lines = m.GetMatrixDataDirectly();
  std::size_t i = 0;
  for (int k = 0; k < m.GetSSESizeY(); ++k)
    for (int x = 0; x < m.GetSSESizeX(); ++x, i += 4) std::memcpy(&lines[k][x], &values[i], 16);
}

inline std::vector<std::uint32_t> Bits(const std::vector<float>& v) {
  std::vector<std::uint32_t> out(v.size());
  if (!v.empty()) std::memcpy(out.data(), v.data(), v.size() * 4);
  return out;
}

// Fills every lane (padding included) with seeded random values in [lo, hi),
// a fraction of them snapped to a few special values.
inline void FillRandom(CSSEMatrix& m, unsigned seed, float lo, float hi) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> value(lo, hi);
  std::vector<float> lanes = Lanes(m);
  const float specials[] = {0.0f, -0.0f, 1.0f, 0.004f, 0.005f, 0.006f, 1.002f, 0.998f};
  for (float& v : lanes) v = (rng() % 5 == 0) ? specials[rng() % 8] : value(rng);
  SetLanes(m, lanes);
}

}  // namespace relief_test
