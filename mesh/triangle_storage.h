#pragma once

// Internal allocation steps of CHTriangulation, split so that builders that
// write every triangle themselves do not clear the arrays first and then
// overwrite them (the height-field builder is bound by memory bandwidth).

#include "relief/CHTriangulation.h"

namespace relief::detail {

// Releases the old triangles and allocates n, contents undefined;
// NumTriangles := n. n < 0 throws CMemoryException; on any failure the mesh
// is left empty.
void AllocateTriangles(CHTriangulation& m, int n);

// Gives triangles [first, last) the state CreateTriangulation promises:
// records wired to their array elements, neighbours and links null, Index =
// position, Type -1, corners, normals, main normal, T, S and V zero.
void ResetTriangles(CHTriangulation& m, int first, int last);

}  // namespace relief::detail
