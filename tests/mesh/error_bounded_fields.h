#pragma once

// Seeded height fields for the error-bounded mesher's tests and benchmark:
// fractal value noise (fBm) and a few shapes that stress the greedy loop.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "relief/CSSEMatrix.h"

namespace error_bounded_fields {

// A lattice value in [0, 1) from a hash of its position, octave and seed.
inline double LatticeValue(std::uint32_t seed, int octave, int ix, int iy) {
  std::uint64_t h = seed * 0x9E3779B97F4A7C15ull ^ (std::uint64_t(std::uint32_t(ix)) << 32 | std::uint32_t(iy));
  h ^= std::uint64_t(octave) * 0xC2B2AE3D27D4EB4Full;
  h ^= h >> 33;
  h *= 0xFF51AFD7ED558CCDull;
  h ^= h >> 33;
  h *= 0xC4CEB9FE1A85EC53ull;
  h ^= h >> 33;
  return double(h >> 11) * (1.0 / 9007199254740992.0);
}

inline double Smoothstep(double t) { return t * t * (3.0 - 2.0 * t); }

// Value noise, octaves summed with the given gain, each octave's lattice
// twice as fine as the one before, the first with basePeriod pixels per cell
// (a quarter of the larger side by default); scaled into [low, high]. Every
// pixel gets a value of at least low, so no pixel reads as "no data" when
// low > 0; with low = 0 the lowest pixel is lifted to a tiny positive height.
inline void FbmField(CSSEMatrix& m, int width, int height, std::uint32_t seed, double low = 0.0, double high = 100.0,
                     int octaves = 8, double gain = 0.5, double basePeriod = 0.0) {
  double amplitude = 1.0, period = basePeriod > 0.0 ? basePeriod : std::max(width, height) / 4.0;
  std::vector<double> v(size_t(width) * height, 0.0);
  for (int o = 0; o < octaves; ++o) {
    for (int y = 0; y < height; ++y) {
      const int iy = int(std::floor(y / period));
      const double ty = Smoothstep(y / period - iy);
      for (int x = 0; x < width; ++x) {
        const int ix = int(std::floor(x / period));
        const double tx = Smoothstep(x / period - ix);
        const double a = LatticeValue(seed, o, ix, iy), b = LatticeValue(seed, o, ix + 1, iy);
        const double c = LatticeValue(seed, o, ix, iy + 1), d = LatticeValue(seed, o, ix + 1, iy + 1);
        const double top = a + (b - a) * tx, bottom = c + (d - c) * tx;
        v[size_t(y) * width + x] += amplitude * (top + (bottom - top) * ty);
      }
    }
    amplitude *= gain;
    period /= 2.0;
  }
  const auto [lo, hi] = std::minmax_element(v.begin(), v.end());
  const double scale = *hi > *lo ? (high - low) / (*hi - *lo) : 0.0;
  m.Create(width, height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const float z = float(low + (v[size_t(y) * width + x] - *lo) * scale);
      m.SetPoint(x, y, std::max(z, 1e-3f));
    }
}

}  // namespace error_bounded_fields
