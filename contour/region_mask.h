#pragma once

// A raster's region pixels as a row-major byte image (1 inside, 0 outside)
// with a frame of one 0 pixel on every side, so that the border walks can look
// at all eight neighbours of any pixel without a range check.

#include <cstdint>
#include <vector>

class CSSEMatrix;
class CSSEcharMatrix;

namespace relief::detail {

struct RegionMask {
  int width = 0;   // raster columns
  int height = 0;  // raster rows
  int stride = 0;  // bytes per framed row (width + 2)
  std::vector<std::uint8_t> bytes;

  // Pixel (x, y) of the raster, -1 <= x <= width, -1 <= y <= height.
  bool operator()(int x, int y) const {
    return bytes[static_cast<std::size_t>(y + 1) * stride + (x + 1)] != 0;
  }
  const std::uint8_t* Row(int y) const { return bytes.data() + static_cast<std::size_t>(y + 1) * stride + 1; }
};

// Pixels strictly above threshold (NaN is not) of a float raster.
RegionMask MakeRegionMask(const CSSEMatrix& m, float threshold);
// Non-zero pixels of a byte raster.
RegionMask MakeRegionMask(const CSSEcharMatrix& m);

}  // namespace relief::detail
