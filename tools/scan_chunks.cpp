#include "scan_chunks.h"

#include <algorithm>
#include <cmath>
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
  while (reader.Next(corners, 1 << 20)) {
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
  if (h > CSSEMatrix::kMaxRows || w > (1 << 20) || w * h > static_cast<double>(1LL << 30))
    throw BadInput(input, "a raster of " + std::to_string(static_cast<long long>(w)) + " x " +
                              std::to_string(static_cast<long long>(h)) +
                              " cells exceeds the raster limits; use a coarser --resolution");
  width = static_cast<int>(w);
  height = static_cast<int>(h);
}

namespace {

// Merges a chunk's raster into the result: 0 is "nothing there" in both.
void MergeInto(CSSEMatrix& result, const CSSEMatrix& chunk, bool minimum) {
  for (int y = 0; y < result.GetSizeY(); ++y)
    for (int x = 0; x < result.GetSizeX(); ++x) {
      const float c = chunk.GetPoint(x, y);
      if (c == 0.0f) continue;
      const float r = result.GetPoint(x, y);
      result.SetPoint(x, y, r == 0.0f ? c : minimum ? std::min(r, c) : std::max(r, c));
    }
}

}  // namespace

void ScanConvertInChunks(TriangleReader& reader, const MeshBox& box, float resolution, bool minimum,
                         std::int64_t chunkTriangles, CSSEMatrix& out) {
  const bool chunked = reader.Count() > chunkTriangles;
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
    corners.clear();
    mesh.CalcBoundingBox();
    mesh.CalcSTV();
    // Every chunk is converted over the whole mesh's box, so that all chunk
    // rasters share one grid.
    SSEPoint* block = mesh.GetPointArray();
    for (int a = 0; a < 3; ++a) {
      (&block[0].x)[a] = box.min[a];
      (&block[1].x)[a] = box.max[a];
    }
    block[0].w = block[1].w = 0.0f;
    CSSEMatrix& target = chunked ? part : out;
    if (minimum) mesh.ScanConvertTriangulationMin(&target, 0.0f);
    else mesh.ScanConvertTriangulationMax(&target, 0.0f);
    if (chunked) {
      if (out.GetMatrixDataDirectly() == nullptr) out.Create(part.GetSizeX(), part.GetSizeY());
      MergeInto(out, part, minimum);
    }
    done += n;
    progress.Update(done);
  }
}

}  // namespace relief::tool
