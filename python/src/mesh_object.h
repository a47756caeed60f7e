#pragma once

// The Python Mesh: one library mesh (CHTriangulation) holding only real
// triangles, with its box, edge vectors and flat normals current. Views for
// numpy (triangles, indexed vertices and faces, normals, bounds) are copies
// made on request; the indexed view is made once and kept.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "field_convert.h"

#include "relief/CHTriangulation.h"

namespace relief::python {

class Mesh {
 public:
  // Takes a library mesh whose records are all real triangles and whose
  // derived data are current (use the factories below).
  explicit Mesh(std::unique_ptr<CHTriangulation> mesh);

  // Nine floats per triangle; scale is stored with the mesh (the default
  // rasterisation resolution). Needs no GIL.
  static std::shared_ptr<Mesh> FromCorners(const float* corners, std::int64_t count, const float scale[3]);
  // The used records of a library mesh (the full-resolution builder leaves
  // unused all-zero records behind), corners multiplied by factor, stored
  // with scale. Needs no GIL.
  static std::shared_ptr<Mesh> FromLibrary(const CHTriangulation& built, const float factor[3],
                                           const float scale[3]);

  // An indexed mesh: count points (x, y, z), triangles as three indices each
  // (all in range). The indexed view becomes these arrays as given, so
  // vertices and faces return them unchanged. Needs no GIL.
  static std::shared_ptr<Mesh> FromIndexed(const float* points, std::int64_t pointCount, const std::int32_t* indices,
                                           std::int64_t count, const float scale[3]);

  int Count() const { return m_mesh->GetNumTriangles(); }
  // The library mesh; hold Lock() while a library call may change its state
  // (the scan resolution).
  CHTriangulation& Library() { return *m_mesh; }
  std::mutex& Lock() { return m_lock; }

  FloatArray Triangles() const;       // (m, 3, 3)
  FloatArray Normals() const;         // (m, 3)
  FloatArray Bounds() const;          // (2, 3); NaN for an empty mesh
  py::tuple Scale() const;
  FloatArray Vertices();              // (k, 3), corners merged by exact comparison
  IndexArray Faces();                 // (m, 3) into Vertices()

 private:
  void BuildIndexedView();

  std::unique_ptr<CHTriangulation> m_mesh;
  std::mutex m_lock;
  std::optional<FloatArray> m_vertices;
  std::optional<IndexArray> m_faces;
  // An indexed view given at construction, turned into arrays on first use
  // (arrays need the GIL, the factories run without it).
  std::vector<float> m_givenVertices;
  std::vector<std::int32_t> m_givenFaces;
  bool m_hasGivenView = false;
};

void BindMesh(py::module_& m);

}  // namespace relief::python
