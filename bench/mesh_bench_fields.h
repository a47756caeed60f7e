#pragma once

// Smooth height fields for the mesh benchmarks, every pixel valid, built
// once per size and shared by the benchmarks of one program.

#include <cmath>
#include <map>

#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"

namespace mesh_bench {

inline CSSEMatrix& SmoothField(int size) {
  static std::map<int, CSSEMatrix> fields;
  CSSEMatrix& f = fields[size];
  if (!f.GetMatrixDataDirectly()) {
    f.Create(size, size);
    for (int y = 0; y < size; ++y)
      for (int x = 0; x < size; ++x)
        f.SetPoint(x, y, 20.0f + 3.0f * std::sin(x * 0.011f) + 2.0f * std::cos(y * 0.017f) + 0.001f * x);
  }
  return f;
}

// The bytes a mesh of n triangles occupies: the records and the eight point
// arrays (corners and vertex normals three per triangle, six of one each).
inline double MeshBytes(int n) { return double(n) * (sizeof(t_htriangle) + 12 * sizeof(SSEPoint)); }

}  // namespace mesh_bench
