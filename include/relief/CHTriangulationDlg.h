#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "relief/Export.h"

class CHTriangulation;
class CSSEMatrix;
class CSSE3dPolygon;
class CHOctree;
class TaCIncrementalDelaunay2D;

// The debug viewer: collects what to look at and writes it as one
// self-contained HTML page (the rendering library is inlined, the data is
// embedded; the page opens from file:// with no server and no network).
//
// The page orbits (left drag), pans (right drag) and zooms (wheel); it shades
// surfaces with per-vertex normals, toggles a wireframe overlay and each
// layer, shows a legend, colour ramps with scale bars, the counts and the
// bounding box, and has a reset-view button. A page without anything to show
// says "empty".
//
// Every Add... call copies what it needs at once, so the source objects may
// change or die afterwards. Colours are 0xRRGGBB. Coordinates are shown as
// they are (the page centres the view on the data, so far-off coordinates
// display fine). Layers above the triangle limit (SetTriangleLimit) are
// decimated for display, and the page says so in the legend.
//
// Nothing here runs unless called: the library's computations never touch it.
class RELIEF_API CHTriangulationDlg {
 public:
  CHTriangulationDlg();
  ~CHTriangulationDlg();
  CHTriangulationDlg(const CHTriangulationDlg&) = delete;
  CHTriangulationDlg& operator=(const CHTriangulationDlg&) = delete;

  // The page's title (default "relief viewer").
  void SetTitle(const std::string& title);
  // Triangles one layer may send to the page before it is decimated
  // (default 2,000,000; values below 1,000 are raised to 1,000).
  void SetTriangleLimit(std::int64_t triangles);
  std::int64_t GetTriangleLimit() const;

  // A mesh as a shaded surface. Corners equal bit for bit are merged, so the
  // page smooths across them; records with three equal corners (the unused
  // records of the full-resolution builder) and non-finite corners are
  // skipped. Returns the layer's index.
  int AddTriangulation(const CHTriangulation& mesh, const std::string& name, std::uint32_t colour);
  // The same for a plain triangle list: nine floats (x0, y0, z0, x1, ...)
  // per triangle, count triangles (a null list or count <= 0 adds an empty
  // layer). For meshes read from files, without building a CHTriangulation.
  int AddTriangles(const float* corners, std::int64_t count, const std::string& name, std::uint32_t colour);
  // A height field as a surface: pixel (x, y) with value v > 0 becomes the
  // point (x sx, y sy, v sz); every 2 x 2 cell of valid pixels gives two
  // triangles, 0 (no data) leaves a hole. Coloured by a height ramp with a
  // scale bar; colour is the legend's swatch.
  int AddHeightField(const CSSEMatrix& field, const std::string& name, std::uint32_t colour, float sx = 1.0f,
                     float sy = 1.0f, float sz = 1.0f);
  // A raster as a flat colour map in the plane z = z (error maps, masks):
  // each pixel a square of the ramp's colour, with a scale bar from the
  // smallest to the largest value shown. With zeroIsNoData, pixels holding 0
  // are transparent; otherwise 0 is an ordinary value. A finite range
  // low < high fixes the ramp's ends instead (values beyond take the end
  // colours), e.g. to saturate an error map at a tolerance.
  int AddColourMap(const CSSEMatrix& values, const std::string& name, bool zeroIsNoData, float sx = 1.0f,
                   float sy = 1.0f, float z = 0.0f, float rampLow = 0.0f, float rampHigh = 0.0f);
  // A contour as a line through its points in their order, closed back to
  // the first point when closed is set.
  int AddPolygon(const CSSE3dPolygon& polygon, const std::string& name, std::uint32_t colour, bool closed = true);
  // The bricks of an octree that hold entries in any of their four lists, as
  // wire-frame boxes (all bricks of the root level when none holds any).
  int AddOctree(const CHOctree& octree, const std::string& name, std::uint32_t colour);
  // A Delaunay triangulation's edges as a wireframe in the x/y plane at the
  // vertices' z: the final list when finalized, else the working list.
  // Triangles with an out-of-range vertex index are skipped.
  int AddDelaunay(const TaCIncrementalDelaunay2D& delaunay, const std::string& name, std::uint32_t colour);

  // Whether the layer starts shown (default) or with its box unticked;
  // a bad index is ignored.
  void SetLayerVisible(int layer, bool visible);

  int GetNumLayers() const;
  // Drops every layer (the title and the triangle limit stay).
  void Clear();

  // The page as a string.
  std::string ToHtml() const;
  // Writes the page; false when the file cannot be written (nothing is left
  // behind then: the page goes to a temporary beside the target first).
  bool WriteHtml(const std::filesystem::path& file) const;

 private:
  struct Layer;
  std::string m_title = "relief viewer";
  std::int64_t m_triangleLimit = 2000000;
  std::vector<std::unique_ptr<Layer>> m_layers;
};
