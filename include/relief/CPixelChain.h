#pragma once

#include <filesystem>
#include <vector>

#include "relief/Export.h"

// An ordered chain of raster pixels, each with a float value, as traced
// along a contour. Polygons are built from it (CSSE3dPolygon(CPixelChain&,
// int)), which reads only the pixel positions.
class RELIEF_API CPixelChain {
 public:
  CPixelChain() = default;

  // Appends pixel (x, y) with its value at the end of the chain.
  void AppendPixel(int x, int y, float value);
  int GetCount() const { return static_cast<int>(m_Pixels.size()); }
  // Pixel k; false (outputs untouched) when k is not in 0 .. count - 1.
  bool GetPixel(int k, int& x, int& y) const;
  bool GetPixel(int k, int& x, int& y, float& value) const;
  // Removes every pixel.
  void Clear() { m_Pixels.clear(); }

  // Writes the chain as tab-separated text: the header line
  // "Index\tXPos\tYPos\tValue\n", then one line "k\tx\ty\tvalue\n" per pixel
  // (value with six decimals). Replaces an existing file. False when the
  // file cannot be opened or written completely.
  bool ExportToTextFile(const std::filesystem::path& path) const;

 private:
  struct Pixel {
    int x;
    int y;
    float value;
  };
  std::vector<Pixel> m_Pixels;
};
