#include "mesh_build.h"

#include <algorithm>
#include <cstring>

#include "io/mesh_io.h"
#include "progress.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"

namespace relief::tool {

int BandRows(int step) {
  // About 32 rows keep a band's mesh near 100 MB for a 4096-wide raster
  // (two records of ~340 bytes per pixel) while the per-band overhead stays
  // small.
  const int unit = 4 * step;
  return unit * std::max(1, 32 / unit);
}

std::int64_t StreamFieldMesh(const CSSEMatrix& field, const FieldMeshOptions& options, TriangleWriter& writer) {
  const int width = field.GetSizeX(), height = field.GetSizeY();
  const int rows = BandRows(options.step);
  std::int64_t written = 0;
  Progress progress("meshing", height);
  CSSEMatrix band;
  for (int y0 = 0; y0 + 1 < height; y0 += rows) {
    const int bandHeight = std::min(rows + 1, height - y0);
    band.Create(width, bandHeight);
    // Whole register rows: band SSE row k is the field's SSE row y0/4 + k.
    // The last band thereby carries the field's padding lanes, which the
    // full-resolution builder reads like pixels.
    __m128** from = field.GetMatrixDataDirectly();
    __m128** to = band.GetMatrixDataDirectly();
    for (int k = 0; k < band.GetSSESizeY(); ++k)
      std::memcpy(to[k], from[y0 / 4 + k], sizeof(__m128) * static_cast<size_t>(width));

    // Unit scale: corners stay integer grid positions, so the shift by y0
    // and the user's scale below round exactly as a whole-raster build would.
    std::unique_ptr<CHTriangulation> mesh;
    if (options.step == 1)
      mesh = std::make_unique<CHTriangulation>(&band, options.threshold, !options.below, 1.0f, 1.0f, 1.0f);
    else
      mesh = std::make_unique<CHTriangulation>(&band, options.threshold, !options.below, 1.0f, 1.0f, 1.0f,
                                               options.step, options.step);
    const SSEPoint* corners = mesh->GetEdgeArray();
    for (int i = 0; i < mesh->GetNumTriangles(); ++i) {
      if (!IsUsedRecord(*mesh, i)) continue;
      float c[9];
      for (int k = 0; k < 3; ++k) {
        const SSEPoint& p = corners[3 * i + k];
        c[3 * k] = p.x * options.scale[0];
        c[3 * k + 1] = (p.y + static_cast<float>(y0)) * options.scale[1];
        c[3 * k + 2] = p.z * options.scale[2];
      }
      writer.Add(c);
      ++written;
    }
    progress.Update(y0 + rows);
  }
  return written;
}

}  // namespace relief::tool
