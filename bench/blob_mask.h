#pragma once

// The benchmark mask of thick random blobs shared by relief's morphology
// benchmarks and the peer comparisons: discs of radius 8 to 40 pixels placed
// with a fixed seed until roughly half of the raster is covered.

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace relief::bench {

// Row-major bytes, 1 inside a blob and 0 outside.
inline std::vector<std::uint8_t> BlobMask(int size, unsigned seed = 2026) {
  std::vector<std::uint8_t> mask(static_cast<std::size_t>(size) * size, 0);
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> position(0, size - 1), radius(8, 40);
  const int blobs = size * size / 2400;
  for (int i = 0; i < blobs; ++i) {
    const int cx = position(rng), cy = position(rng), r = radius(rng);
    for (int y = std::max(0, cy - r); y <= std::min(size - 1, cy + r); ++y)
      for (int x = std::max(0, cx - r); x <= std::min(size - 1, cx + r); ++x)
        if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r) mask[static_cast<std::size_t>(y) * size + x] = 1;
  }
  return mask;
}

}  // namespace relief::bench
