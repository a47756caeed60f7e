#include "scan_chunks.h"

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "errors.h"
#include "io/mesh_io.h"
#include "progress.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"

namespace relief::tool {

MeshBox MeasureBox(TriangleReader& reader) {
  MeshBox box = {{INFINITY, INFINITY, INFINITY}, {-INFINITY, -INFINITY, -INFINITY}};
  std::vector<float> corners;
  while (reader.Next(corners, 1 << 16)) {
    for (size_t i = 0; i < corners.size(); i += 3)
      for (int a = 0; a < 3; ++a) {
        box.min[a] = std::min(box.min[a], corners[i + a]);
        box.max[a] = std::max(box.max[a], corners[i + a]);
      }
    corners.clear();
  }
  reader.Rewind();
  return box;
}

void CheckScanRaster(const std::string& input, const MeshBox& box, float resolution, int& width, int& height) {
  // The size the library's scan converter will create, in its rounding.
  const double w = std::trunc((static_cast<double>(box.max[0]) - box.min[0]) / resolution + 0.5);
  const double h = std::trunc((static_cast<double>(box.max[1]) - box.min[1]) / resolution + 0.5);
  if (!(w >= 1.0 && h >= 1.0))
    throw BadInput(input, "mesh is smaller than one cell at resolution " + std::to_string(resolution));
  if (h > CSSEMatrix::kMaxRows || w > (1 << 20) || w * h > static_cast<double>(1LL << 30)) {
    // Printed as doubles: a tiny resolution gives sizes no integer holds.
    char text[200];
    std::snprintf(text, sizeof text, "a raster of %.0f x %.0f cells exceeds the raster limits; use a coarser --resolution",
                  w, h);
    throw BadInput(input, text);
  }
  width = static_cast<int>(w);
  height = static_cast<int>(h);
}

std::int64_t ChunkTrianglesFor(int width, int height) {
  constexpr std::int64_t kBytesPerTriangle = 400;
  const std::int64_t rasterBytes = 4LL * std::max(width, 1) * std::max(height, 1);
  return std::clamp<std::int64_t>(rasterBytes / 3 / kBytesPerTriangle, 4096, std::int64_t(1) << 21);
}

namespace {

// Merges a chunk's raster into the result over the register rows
// [firstRow, lastRow]: 0 is "nothing there" in both, elsewhere the maximum
// (minimum) is kept. Four lanes at a time, as the scan converter's rasters
// are laid out.
void MergeInto(CSSEMatrix& result, const CSSEMatrix& chunk, bool minimum, int firstRow, int lastRow) {
  __m128** to = result.GetMatrixDataDirectly();
  const __m128* const* from = chunk.GetMatrixDataDirectly();
  const int width = result.GetSizeX();
  const __m128 zero = _mm_setzero_ps();
  lastRow = std::min(lastRow, std::min(result.GetSSESizeY(), chunk.GetSSESizeY()) - 1);
  for (int k = std::max(firstRow, 0); k <= lastRow; ++k)
    for (int x = 0; x < width; ++x) {
      const __m128 r = to[k][x], c = from[k][x];
      const __m128 chunkEmpty = _mm_cmpeq_ps(c, zero), resultEmpty = _mm_cmpeq_ps(r, zero);
      const __m128 both = minimum ? _mm_min_ps(r, c) : _mm_max_ps(r, c);
      const __m128 kept = _mm_or_ps(_mm_and_ps(resultEmpty, c), _mm_andnot_ps(resultEmpty, both));
      to[k][x] = _mm_or_ps(_mm_and_ps(chunkEmpty, r), _mm_andnot_ps(chunkEmpty, kept));
    }
}

}  // namespace

void ScanConvertInChunks(TriangleReader& reader, const MeshBox& box, float resolution, bool minimum,
                         std::int64_t chunkTriangles, CSSEMatrix& out) {
  const bool chunked = reader.Count() > chunkTriangles;
  // The whole raster's size, in the scan converter's own rounding.
  const int fullHeight = static_cast<int>(std::trunc((static_cast<double>(box.max[1]) - box.min[1]) / resolution + 0.5));
  const int fullWidth = static_cast<int>(std::trunc((static_cast<double>(box.max[0]) - box.min[0]) / resolution + 0.5));
  // A chunk's raster starts at the whole raster's origin, so that its cells
  // are the same cells in the same rounding, but ends below the chunk's last
  // row: filling and clearing it then costs only the rows above that. Its
  // height is rounded up to an eighth of the whole so that it is seldom
  // reallocated.
  const int heightStep = std::max(64, fullHeight / 8);
  CSSEMatrix part;
  std::vector<float> corners;
  Progress progress("rasterizing", reader.Count());
  std::int64_t done = 0;
  while (reader.Next(corners, chunkTriangles)) {
    const int n = static_cast<int>(corners.size() / 9);
    CHTriangulation mesh(n, resolution, resolution, 1.0f);
    SSEPoint* points = mesh.GetEdgeArray();
    for (int i = 0; i < 3 * n; ++i) {
      points[i].x = corners[3 * i];
      points[i].y = corners[3 * i + 1];
      points[i].z = corners[3 * i + 2];
      points[i].w = 0.0f;
    }
    // The register rows this chunk can reach: its corners' rows, widened by
    // the stamps' reach and the rounding of the cell coordinates.
    float lowY = INFINITY, highY = -INFINITY;
    for (size_t i = 1; i < corners.size(); i += 3) {
      lowY = std::min(lowY, corners[i]);
      highY = std::max(highY, corners[i]);
    }
    const double firstCell = (static_cast<double>(lowY) - box.min[1]) / resolution - 3.0;
    const double lastCell = (static_cast<double>(highY) - box.min[1]) / resolution + 3.0;
    corners.clear();
    mesh.CalcBoundingBox();
    mesh.CalcSTV();
    // Every chunk is converted over the whole mesh's grid.
    SSEPoint low, high;
    low.x = box.min[0], low.y = box.min[1], low.z = box.min[2], low.w = 0.0f;
    high.x = box.max[0], high.y = box.max[1], high.z = box.max[2], high.w = 0.0f;
    if (chunked) {
      const double rows = std::ceil((lastCell + 3.0) / heightStep) * heightStep;
      if (rows < fullHeight) high.y = box.min[1] + static_cast<float>(rows) * resolution;
    }
    CSSEMatrix& target = chunked ? part : out;
    if (minimum) mesh.ScanConvertTriangulationMin_MinMaxPoint(&target, 0.0f, low, high);
    else mesh.ScanConvertTriangulationMax_MinMaxPoint(&target, 0.0f, low, high);
    if (chunked) {
      if (out.GetMatrixDataDirectly() == nullptr) out.Create(fullWidth, fullHeight);
      MergeInto(out, part, minimum, static_cast<int>(std::floor(std::max(firstCell, 0.0) / 4.0)),
                static_cast<int>(std::min(lastCell / 4.0, 1e9)) + 1);
    }
    done += n;
    progress.Update(done);
  }
}

}  // namespace relief::tool
