#pragma once

// A raster's region pixels as a bit image, row by row, with a frame of 0 bits
// on every side, so that the border walk can look at all eight neighbours of
// any pixel without a range check. One bit per pixel keeps a 4096 x 4096
// mask at 2 MiB, small enough for the border walks to find in the cache.

#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

class CSSEMatrix;
class CSSEcharMatrix;

namespace relief::detail {

// next[n][from]: the first walk direction clockwise after from whose bit is
// set in the neighbourhood byte n, -1 if none.
struct FirstAfterTable {
  std::int8_t next[256][8];
};
constexpr FirstAfterTable MakeFirstAfterTable() {
  FirstAfterTable t{};
  for (unsigned n = 0; n < 256; ++n)
    for (int from = 0; from < 8; ++from) {
      int first = -1;
      for (int i = 1; i < 8 && first < 0; ++i)
        if ((n >> ((from + i) & 7)) & 1) first = (from + i) & 7;
      t.next[n][from] = static_cast<std::int8_t>(first);
    }
  return t;
}
inline constexpr FirstAfterTable kFirstAfter = MakeFirstAfterTable();

struct RegionBits {
  int width = 0;   // raster columns
  int height = 0;  // raster rows
  // Words per row: a leading 0 word (column -1 lies in it) and room for
  // columns 0 .. width, column width always 0.
  int words = 0;
  std::vector<std::uint64_t> bits;  // rows -1 .. height, rows -1 and height all 0

  // Words of row y, from column 0 (index 0 holds columns 0 .. 63).
  const std::uint64_t* Row(int y) const { return bits.data() + static_cast<std::size_t>(y + 1) * words + 1; }
  std::uint64_t* Row(int y) { return bits.data() + static_cast<std::size_t>(y + 1) * words + 1; }

  // Walk interface (see moore_walk.h): the cursor is the pixel's bit index.
  std::int64_t At(int x, int y) const { return (static_cast<std::int64_t>(y + 1) * words + 1) * 64 + x; }
  int Next(std::int64_t c, int from) const { return kFirstAfter.next[Neighbourhood(c)][from]; }
  std::int64_t Move(std::int64_t c, int d) const { return c + offset[d]; }

  std::int64_t offset[8] = {};  // bit distance to the neighbour in each walk direction

  // The eight neighbours of bit c as one byte, bit d for walk direction d.
  unsigned Neighbourhood(std::int64_t c) const {
    const unsigned above = Three(c - rowBits), middle = Three(c), below = Three(c + rowBits);
    // Three() gives columns x - 1, x, x + 1 in bits 0, 1, 2.
    return ((middle >> 2) & 1) | ((below >> 2) & 1) << 1 | ((below >> 1) & 1) << 2 | (below & 1) << 3 |
           (middle & 1) << 4 | (above & 1) << 5 | ((above >> 1) & 1) << 6 | ((above >> 2) & 1) << 7;
  }
  // Bits c - 1, c, c + 1 (an unaligned read; the vector has a spare word).
  unsigned Three(std::int64_t c) const {
    const std::int64_t first = c - 1;
    std::uint64_t v;
    std::memcpy(&v, reinterpret_cast<const unsigned char*>(bits.data()) + (first >> 3), sizeof v);
    return static_cast<unsigned>(v >> (first & 7)) & 7u;
  }
  std::int64_t rowBits = 0;
};

// Called with each band of rows [y0, y1) as soon as its bits are complete,
// top to bottom.
using RowBandSink = std::function<void(const RegionBits&, int y0, int y1)>;

// Pixels strictly above threshold (NaN is not) of a float raster.
RegionBits MakeRegionBits(const CSSEMatrix& m, float threshold, const RowBandSink& sink);
// Non-zero pixels of a byte raster.
RegionBits MakeRegionBits(const CSSEcharMatrix& m, const RowBandSink& sink);

}  // namespace relief::detail
