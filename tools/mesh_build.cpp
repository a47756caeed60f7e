#include "mesh_build.h"

#include <algorithm>
#include <cstring>
#include <memory>

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

// Band raster for the cells of rows y0 .. y0 + cellRows - 1 (corner rows
// y0 .. y0 + cellRows). Full resolution: the library's builder visits the
// cells of every register row but the last, so the band gets a whole
// register row more than the corners need, and every pixel that is not a
// corner holds the threshold itself, which is valid neither above nor below
// it (padding lanes included). The subsampled builder reads single pixels up
// to its own height, so there the band is just the corner rows.
void FillBand(const CSSEMatrix& field, int y0, int cellRows, const FieldMeshOptions& options, CSSEMatrix& band) {
  const int width = field.GetSizeX();
  const int cornerRows = cellRows + 1;
  band.CreateNoClear(width, options.step == 1 ? 4 * ((cellRows + 3) / 4) + 1 : cornerRows);
  band.Fill(options.threshold);
  // y0 is a multiple of four, so whole register rows copy as they are; the
  // rows of a last, partly used register go pixel by pixel.
  const __m128* const* from = field.GetMatrixDataDirectly();
  __m128** to = band.GetMatrixDataDirectly();
  const int wholeRegisters = cornerRows / 4;
  for (int k = 0; k < wholeRegisters; ++k)
    std::memcpy(to[k], from[y0 / 4 + k], sizeof(__m128) * static_cast<size_t>(width));
  for (int y = 4 * wholeRegisters; y < cornerRows; ++y)
    for (int x = 0; x < width; ++x) band.SetPoint(x, y, field.GetPoint(x, y0 + y));
}

namespace {

// The one place that picks the library's builder for options.step, on a
// raster FillBand has prepared.
std::unique_ptr<CHTriangulation> BuildPrepared(CSSEMatrix& band, const FieldMeshOptions& options,
                                               const float scale[3]) {
  if (options.step == 1)
    return std::make_unique<CHTriangulation>(&band, options.threshold, !options.below, scale[0], scale[1], scale[2]);
  return std::make_unique<CHTriangulation>(&band, options.threshold, !options.below, scale[0], scale[1], scale[2],
                                           options.step, options.step);
}

}  // namespace

std::unique_ptr<CHTriangulation> BuildFieldMesh(const CSSEMatrix& field, const FieldMeshOptions& options) {
  CSSEMatrix whole;
  FillBand(field, 0, field.GetSizeY() - 1, options, whole);
  return BuildPrepared(whole, options, options.scale);
}

bool IsUsedRecord(const CHTriangulation& mesh, int i) {
  const SSEPoint* p = mesh.GetEdgeArray() + 3 * i;
  auto same = [](const SSEPoint& a, const SSEPoint& b) { return a.x == b.x && a.y == b.y && a.z == b.z; };
  return !(same(p[0], p[1]) && same(p[1], p[2]));
}

std::int64_t CountUsedRecords(const CHTriangulation& mesh) {
  std::int64_t used = 0;
  for (int i = 0; i < mesh.GetNumTriangles(); ++i) used += IsUsedRecord(mesh, i) ? 1 : 0;
  return used;
}

std::int64_t StreamFieldMesh(const CSSEMatrix& field, const FieldMeshOptions& options, TriangleWriter& writer) {
  static constexpr float kUnitScale[3] = {1.0f, 1.0f, 1.0f};
  const int height = field.GetSizeY();
  const int rows = BandRows(options.step);
  std::int64_t written = 0;
  Progress progress("meshing", height);
  CSSEMatrix band;
  for (int y0 = 0; y0 + 1 < height; y0 += rows) {
    FillBand(field, y0, std::min(rows, height - 1 - y0), options, band);
    // Unit scale: corners stay integer grid positions, so the shift by y0
    // and the user's scale below round exactly as a whole-raster build would.
    const std::unique_ptr<CHTriangulation> mesh = BuildPrepared(band, options, kUnitScale);
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

void FlipRows(CSSEMatrix& field) {
  const int width = field.GetSizeX(), height = field.GetSizeY();
  for (int top = 0, bottom = height - 1; top < bottom; ++top, --bottom)
    for (int x = 0; x < width; ++x) {
      const float a = field.GetPoint(x, top);
      field.SetPoint(x, top, field.GetPoint(x, bottom));
      field.SetPoint(x, bottom, a);
    }
}

}  // namespace relief::tool
