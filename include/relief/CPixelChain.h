#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "relief/Export.h"

class CSSEMatrix;
class CSSEcharMatrix;

// An ordered chain of raster pixels (x the column, y the row), each with a
// float value, as traced along the border of a region. Polygons are built
// from it (CSSE3dPolygon(CPixelChain&, int)), which reads only the positions.
//
// Tracing. A region is an 8-connected set of region pixels: pixels strictly
// above a threshold of a CSSEMatrix (NaN is never above), or non-zero pixels
// of a CSSEcharMatrix. Pixels outside the raster are not region pixels. The
// outer boundary is followed by Moore-neighbour tracing: it holds every
// region pixel that has a non-region pixel (or the raster's edge) among its
// 4-neighbours on the outside of the region, in walking order, each step
// going to one of the 8 neighbours. Closure is implicit: the last pixel is a
// neighbour of the first, which is not repeated at the end. A pixel where
// the border touches itself (one-pixel-wide spurs and bridges) appears once
// per passage, so a line of k pixels gives 2k - 2 entries; a single pixel
// gives a chain of one. The walk stops when it is about to leave the start
// pixel in the same direction as at the beginning (which also stops
// correctly on spurs through the start), and never takes more than four
// steps per raster pixel.
// Orientation: the first pixel is the region's first pixel in scan order
// (rows top to bottom, each left to right) and the walk turns clockwise as
// seen on screen (rows grow downward): the first step goes east, south-east,
// south or south-west. In the x-y frame the shoelace sum
// sum(x_i y_(i+1) - x_(i+1) y_i) is therefore positive (zero for regions
// without area), the orientation the library's contours have.
// Each pixel's value is the raster's value there (the byte as a signed
// number for byte rasters).
//
// Round trip with the polygon fill. CSSE3dPolygon(chain, 1) puts the polygon's
// corners on the centres of the boundary pixels, so those centres lie exactly
// on its outline, and the fill's crossing rule (ray toward +y, half-open in x,
// "above" strict) settles such points one-sidedly: a point on the outline is
// filled exactly when the point moved by a vanishing step toward +y, and a
// much smaller one toward -x, lies inside. Pixels on the upper and right side
// of a region are therefore filled and those on the lower and left side are
// not: no fill of this polygon gives the region back pixel for pixel. What
// holds for a region without holes whose chain visits no pixel twice: every
// region pixel off the chain is filled, no pixel outside the region is, and a
// chain pixel is filled exactly when the direction "down, a hair to the left"
// points into the region's interior angle at that pixel. (A chain that visits
// a pixel twice loses the repeat in the fill's RemoveEqualPointsXY, which
// reshapes spurs and bridges.)
class RELIEF_API CPixelChain {
 public:
  CPixelChain() = default;

  // ---- the chain ----------------------------------------------------------
  // Appends pixel (x, y) with its value at the end of the chain.
  void AppendPixel(int x, int y, float value) { m_Pixels.push_back({x, y, value}); }
  int GetCount() const { return static_cast<int>(m_Pixels.size()); }
  // Pixel k; false (outputs untouched) when k is not in 0 .. count - 1.
  bool GetPixel(int k, int& x, int& y) const;
  bool GetPixel(int k, int& x, int& y, float& value) const;
  // The value of pixel k; 0 when k is out of range.
  float GetValue(int k) const;
  // Removes every pixel.
  void Clear() { m_Pixels.clear(); }
  // Room for n pixels without reallocation (n <= 0 does nothing).
  void Reserve(int n);

  // ---- tracing (replaces the chain's content) ----------------------------
  // The outer boundary of the region that contains the seed pixel. False and
  // an empty chain when the raster has no storage, the seed lies outside the
  // raster or is not a region pixel. The chain starts at the pixel reached by
  // walking west from the seed through the region (crossing any hole on the
  // way) up to the last region pixel before the outside; it turns clockwise
  // on screen like every chain, but its first step may go in any direction.
  bool TraceOuterBoundary(const CSSEMatrix& m, float threshold, int seedX, int seedY);
  bool TraceOuterBoundary(const CSSEcharMatrix& m, int seedX, int seedY);
  // The outer boundary of the region of the first region pixel in scan
  // order. False and an empty chain when there is none.
  bool TraceOuterBoundary(const CSSEMatrix& m, float threshold);
  bool TraceOuterBoundary(const CSSEcharMatrix& m);
  // One chain per region, every region traced once (islands inside another
  // region's holes included), ordered by their first pixels in scan order;
  // each chain starts at its region's first pixel. Empty for a raster
  // without region pixels or storage.
  static std::vector<CPixelChain> TraceAllOuterBoundaries(const CSSEMatrix& m, float threshold);
  static std::vector<CPixelChain> TraceAllOuterBoundaries(const CSSEcharMatrix& m);

  // ---- text export --------------------------------------------------------
  // Writes the chain as tab-separated text: the header line
  // "Index\tXPos\tYPos\tValue\n", then one line "k\tx\ty\tvalue\n" per pixel
  // (value with six decimals). Replaces an existing file. False when the
  // file cannot be opened or written completely.
  bool ExportToTextFile(const std::filesystem::path& path) const;
  // The same into directory / fileName. The directory is not created: false
  // when it does not exist or fileName is empty.
  bool ExportToDirectory(const std::filesystem::path& directory, const std::string& fileName) const;

 private:
  struct Pixel {
    int x;
    int y;
    float value;
  };
  std::vector<Pixel> m_Pixels;
};
