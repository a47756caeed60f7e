#pragma once

// Height field to mesh, the tool's one path to the library's builders (which
// one for which step, which of its records are triangles). A mesh is either
// built whole (BuildFieldMesh, for the archive that stores the object) or
// streamed to a file without holding the whole mesh: the raster is cut
// into bands of rows, each band is meshed by the library and written out
// before the next one is built. At full resolution every 2 x 2 cell of valid
// pixels is meshed, whatever the raster's height: the library's builder skips
// the cells of its last register row, so each band is given one more register
// row of invalid pixels than it needs.

#include <cstdint>
#include <memory>

class CHTriangulation;
class CSSEMatrix;

namespace relief::tool {

class TriangleWriter;

// The largest step the band builder takes: a band is a multiple of 4 x step
// rows, so steps near 2^29 would overflow it, and a cell 4096 pixels wide
// already exceeds any useful preview.
constexpr int kMaxMeshStep = 4096;

struct FieldMeshOptions {
  float threshold = 0.0f;
  bool below = false;  // valid pixels are < threshold instead of > threshold
  float scale[3] = {1.0f, 1.0f, 1.0f};  // x = column * sx, y = row * sy, z = value * sz
  int step = 1;        // 1: the full-resolution builder; n > 1: every n-th pixel
};

// The library's mesh of every cell of field, whole and scaled by
// options.scale: the full-resolution builder at step 1, the subsampled one
// above. Unused records are left in it (see IsUsedRecord).
std::unique_ptr<CHTriangulation> BuildFieldMesh(const CSSEMatrix& field, const FieldMeshOptions& options);

// The records of a CHTriangulation that hold a triangle. The full-resolution
// builder allocates two records per valid pixel and leaves the unused ones
// with three zero corners; a real triangle never has three equal corners.
bool IsUsedRecord(const CHTriangulation& mesh, int i);
std::int64_t CountUsedRecords(const CHTriangulation& mesh);

// The same mesh built band by band, each band's used records handed to
// writer as they are made. Returns the number of triangles written.
std::int64_t StreamFieldMesh(const CSSEMatrix& field, const FieldMeshOptions& options, TriangleWriter& writer);

// The raster the library's builder needs for the cells of rows y0 .. y0 +
// cellRows - 1 of field (y0 a multiple of 4): those corner rows, then, at
// full resolution, invalid rows up to one register row beyond them.
void FillBand(const CSSEMatrix& field, int y0, int cellRows, const FieldMeshOptions& options, CSSEMatrix& band);

// Rows per band; a multiple of 4 and of step.
int BandRows(int step);

// Reverses the order of the raster's rows in place, so that row 0 becomes the
// last: a map stored north-up (first row north) then meshes with y growing
// northwards. Meshing the flipped raster keeps every triangle
// counter-clockwise seen from above.
void FlipRows(CSSEMatrix& field);

}  // namespace relief::tool
