#pragma once

// Internal allocation steps of CHTriangulation, split so that builders that
// write every triangle themselves do not clear the arrays first and then
// overwrite them (the height-field builder is bound by memory bandwidth).

#include "relief/CHTriangulation.h"

class CSSEMatrix;

namespace relief::detail {

// Releases the old triangles and allocates n, contents undefined;
// NumTriangles := n. n < 0 throws CMemoryException; on any failure the mesh
// is left empty.
void AllocateTriangles(CHTriangulation& m, int n);

// Gives triangles [first, last) the state CreateTriangulation promises:
// records wired to their array elements, neighbours and links null, Index =
// position, Type -1, corners, normals, main normal, T, S and V zero.
void ResetTriangles(CHTriangulation& m, int first, int last);

// One cell of the subsampled builders: lower corner (x, y) and the validity
// masks of its two columns (bit 0 the lower row, bit 1 the upper).
struct SubsampledCell {
  int x, y;
  int mask0, mask1;
};

// Re-creates m with `needed` triangles and writes the given cells in order
// as the subsampled builder writes its own (cell size stepX x stepY, normals
// flipped when !above, AppendTriangle's fillCell); NumTriangles := the
// number written (an unused tail is reset first).
void WriteSubsampledCells(CHTriangulation& m, const CSSEMatrix& field, const SubsampledCell* cells, int numCells,
                          int needed, int stepX, int stepY, bool above, bool fillCell);

}  // namespace relief::detail
