#pragma once

// Height field to mesh file without holding the whole mesh: the raster is cut
// into bands of rows, each band is meshed by the library and written out
// before the next one is built. Bands start on multiples of four rows (one
// register row) and overlap by one row, and the last band keeps the raster's
// own padding, so the union of the bands' triangles is exactly the set the
// library builds from the whole raster; only their order differs.

#include <cstdint>

class CSSEMatrix;

namespace relief::tool {

class TriangleWriter;

struct FieldMeshOptions {
  float threshold = 0.0f;
  bool below = false;  // valid pixels are < threshold instead of > threshold
  float scale[3] = {1.0f, 1.0f, 1.0f};  // x = column * sx, y = row * sy, z = value * sz
  int step = 1;        // 1: the full-resolution builder; n > 1: every n-th pixel
};

// Returns the number of triangles written.
std::int64_t StreamFieldMesh(const CSSEMatrix& field, const FieldMeshOptions& options, TriangleWriter& writer);

// Rows per band; a multiple of 4 and of step.
int BandRows(int step);

}  // namespace relief::tool
