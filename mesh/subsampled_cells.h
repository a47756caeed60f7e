#pragma once

// The cell walk shared by the variants of the subsampled height-field
// builder: cells of stepX x stepY pixels over a window of the raster, each
// admitted cell written through AppendTriangle with the validity masks of
// its four corners.

#include <emmintrin.h>

#include <vector>

#include "mesh/triangle_storage.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"

namespace relief::detail {

// Cells with lower corner (x, y) for x = x0, x0 + stepX, ... while x +
// stepX <= x1, likewise y; all four corners lie in x0..x1, y0..y1.
struct CellWindow {
  int x0, x1, y0, y1;
  int stepX, stepY;
};

// The window clipped to the raster; false when no cell fits.
inline bool ClipWindow(const CSSEMatrix& field, CellWindow& w) {
  if (w.x0 < 0) w.x0 = 0;
  if (w.y0 < 0) w.y0 = 0;
  if (w.x1 > field.GetSizeX() - 1) w.x1 = field.GetSizeX() - 1;
  if (w.y1 > field.GetSizeY() - 1) w.y1 = field.GetSizeY() - 1;
  return w.stepX >= 1 && w.stepY >= 1 && static_cast<long long>(w.x0) + w.stepX <= w.x1 &&
         static_cast<long long>(w.y0) + w.stepY <= w.y1;
}

// Triangles AppendTriangle writes for a cell with these masks.
inline int TrianglesOfCell(int mask0, int mask1, bool fillCell) {
  if (fillCell) {
    if (mask1 == 1 || mask1 == 2) mask1 = 3;
    if (mask0 == 1 || mask0 == 2) mask0 = 3;
  }
  if (mask0 == 3 && mask1 == 3) return 2;
  return (mask0 == 3 && (mask1 == 1 || mask1 == 2)) || (mask1 == 3 && (mask0 == 1 || mask0 == 2)) ? 1 : 0;
}

// Re-creates m with one triangle set per admitted cell (admit(x, y) on the
// cell's lower corner), columns outer and rows inner as the plain builder,
// written as the plain builder writes its cells: corners at (x ScaleX, y
// ScaleY), validity v > threshold (above) or v < threshold, normals flipped
// when !above. NumTriangles = triangles written.
template <class Admit>
void BuildCells(CHTriangulation& m, const CSSEMatrix& field, float threshold, bool above, const CellWindow& w,
                bool fillCell, Admit admit) {
  const __m128 t = _mm_set1_ps(threshold);
  auto valid = [&](int x, int y) {
    const __m128 v = _mm_set_ss(field.GetPoint(x, y));
    return (_mm_movemask_ps(above ? _mm_cmpgt_ss(v, t) : _mm_cmplt_ss(v, t)) & 1) != 0;
  };
  std::vector<SubsampledCell> cells;
  int needed = 0;
  for (int x = w.x0; x <= w.x1 - w.stepX; x += w.stepX)
    for (int y = w.y0; y <= w.y1 - w.stepY; y += w.stepY) {
      if (!admit(x, y)) continue;
      const int mask0 = int(valid(x, y)) | int(valid(x, y + w.stepY)) << 1;
      const int mask1 = int(valid(x + w.stepX, y)) | int(valid(x + w.stepX, y + w.stepY)) << 1;
      const int triangles = TrianglesOfCell(mask0, mask1, fillCell);
      if (!triangles) continue;
      needed += triangles;
      cells.push_back({x, y, mask0, mask1});
    }
  WriteSubsampledCells(m, field, cells.data(), static_cast<int>(cells.size()), needed, w.stepX, w.stepY, above,
                       fillCell);
}

}  // namespace relief::detail
