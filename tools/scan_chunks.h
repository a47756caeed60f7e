#pragma once

// Scan conversion of a mesh file that may be far larger than memory allows
// as one library mesh: triangles are read in chunks, each chunk becomes a
// library mesh that is scan-converted over the WHOLE mesh's bounding box, and
// the chunk rasters are merged. Every stamp keeps the maximum (minimum) of
// what a cell holds, and stamps commute, so the merged raster equals the
// whole mesh's conversion (0 stands for "not reached" in both).

#include <cstdint>
#include <string>

class CSSEMatrix;

namespace relief::tool {

class TriangleReader;

struct MeshBox {
  float min[3], max[3];
};

// One pass over the reader: the corners' box. Rewinds the reader afterwards.
MeshBox MeasureBox(TriangleReader& reader);

// BadInput naming `input` when the raster over box at resolution would be
// empty or beyond the raster limits; otherwise its width and height.
void CheckScanRaster(const std::string& input, const MeshBox& box, float resolution, int& width, int& height);

// Triangles per chunk for a raster of width x height cells: the chunk's
// library mesh (about 400 bytes a triangle with its corners) stays within
// a third of the raster's bytes, so that the conversion's peak memory (the
// result, one chunk raster, that third and the process's own few MB) stays
// under three rasters. At least
// 4096 triangles, at most 2^21.
std::int64_t ChunkTrianglesFor(int width, int height);

// Converts every triangle of reader into out (created over box, cells of
// resolution), chunkTriangles at a time. The reader must be at its start.
void ScanConvertInChunks(TriangleReader& reader, const MeshBox& box, float resolution, bool minimum,
                         std::int64_t chunkTriangles, CSSEMatrix& out);

}  // namespace relief::tool
