#include "mesh_object.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "io/mesh_io.h"
#include "io/vertex_table.h"
#include "mesh_build.h"

namespace relief::python {

namespace {

std::unique_ptr<CHTriangulation> NewLibraryMesh(std::int64_t count, const float scale[3]) {
  if (count > std::numeric_limits<std::int32_t>::max() / 3)
    throw py::value_error("mesh: " + std::to_string(count) + " triangles; a mesh holds at most " +
                          std::to_string(std::numeric_limits<std::int32_t>::max() / 3));
  return std::make_unique<CHTriangulation>(static_cast<int>(count), scale[0], scale[1], scale[2]);
}

// Box, edge vectors and flat normals for a mesh whose corners were just written.
void Derive(CHTriangulation& mesh) {
  mesh.CalcBoundingBox();
  if (mesh.GetNumTriangles() == 0) return;
  mesh.CalcSTV();
  mesh.CalcNormalsFromVertices();
}

}  // namespace

Mesh::Mesh(std::unique_ptr<CHTriangulation> mesh) : m_mesh(std::move(mesh)) {}

std::shared_ptr<Mesh> Mesh::FromCorners(const float* corners, std::int64_t count, const float scale[3]) {
  auto mesh = NewLibraryMesh(count, scale);
  SSEPoint* p = mesh->GetEdgeArray();
  for (std::int64_t i = 0; i < 3 * count; ++i)
    p[i].m = _mm_setr_ps(corners[3 * i], corners[3 * i + 1], corners[3 * i + 2], 0.0f);
  Derive(*mesh);
  return std::make_shared<Mesh>(std::move(mesh));
}

std::shared_ptr<Mesh> Mesh::FromLibrary(const CHTriangulation& built, const float factor[3], const float scale[3]) {
  std::int64_t used = 0;
  for (int i = 0; i < built.GetNumTriangles(); ++i) used += relief::tool::IsUsedRecord(built, i) ? 1 : 0;
  auto mesh = NewLibraryMesh(used, scale);
  const __m128 f = _mm_setr_ps(factor[0], factor[1], factor[2], 0.0f);
  const SSEPoint* from = built.GetEdgeArray();
  SSEPoint* to = mesh->GetEdgeArray();
  for (int i = 0; i < built.GetNumTriangles(); ++i) {
    if (!relief::tool::IsUsedRecord(built, i)) continue;
    for (int k = 0; k < 3; ++k) (to++)->m = _mm_mul_ps(from[3 * i + k].m, f);
  }
  Derive(*mesh);
  return std::make_shared<Mesh>(std::move(mesh));
}

std::shared_ptr<Mesh> Mesh::FromIndexed(const float* points, std::int64_t pointCount, const std::int32_t* indices,
                                        std::int64_t count, const float scale[3]) {
  auto mesh = NewLibraryMesh(count, scale);
  SSEPoint* p = mesh->GetEdgeArray();
  for (std::int64_t i = 0; i < 3 * count; ++i) {
    const float* c = points + 3 * static_cast<size_t>(indices[i]);
    p[i].m = _mm_setr_ps(c[0], c[1], c[2], 0.0f);
  }
  Derive(*mesh);
  auto result = std::make_shared<Mesh>(std::move(mesh));
  result->m_givenVertices.assign(points, points + 3 * pointCount);
  result->m_givenFaces.assign(indices, indices + 3 * count);
  result->m_hasGivenView = true;
  return result;
}

FloatArray Mesh::Triangles() const {
  const py::ssize_t n = Count();
  FloatArray out({n, py::ssize_t{3}, py::ssize_t{3}});
  float* o = out.mutable_data();
  const SSEPoint* p = m_mesh->GetEdgeArray();
  for (py::ssize_t i = 0; i < 3 * n; ++i) {
    o[3 * i] = p[i].x;
    o[3 * i + 1] = p[i].y;
    o[3 * i + 2] = p[i].z;
  }
  return out;
}

FloatArray Mesh::Normals() const {
  const py::ssize_t n = Count();
  FloatArray out({n, py::ssize_t{3}});
  float* o = out.mutable_data();
  const SSEPoint* p = m_mesh->GetNormalArray();
  for (py::ssize_t i = 0; i < n; ++i) {
    o[3 * i] = p[3 * i].x;
    o[3 * i + 1] = p[3 * i].y;
    o[3 * i + 2] = p[3 * i].z;
  }
  return out;
}

FloatArray Mesh::Bounds() const {
  FloatArray out({py::ssize_t{2}, py::ssize_t{3}});
  float* o = out.mutable_data();
  if (Count() == 0) {
    for (int i = 0; i < 6; ++i) o[i] = std::numeric_limits<float>::quiet_NaN();
    return out;
  }
  SSEPoint lo, hi;
  m_mesh->GetMinPoint(lo);
  m_mesh->GetMaxPoint(hi);
  const float v[6] = {lo.x, lo.y, lo.z, hi.x, hi.y, hi.z};
  std::memcpy(o, v, sizeof v);
  return out;
}

py::tuple Mesh::Scale() const { return py::make_tuple(m_mesh->GetScaleX(), m_mesh->GetScaleY(), m_mesh->GetScaleZ()); }

void Mesh::BuildIndexedView() {
  if (m_faces) return;
  if (m_hasGivenView) {
    FloatArray v({static_cast<py::ssize_t>(m_givenVertices.size() / 3), py::ssize_t{3}});
    if (!m_givenVertices.empty())
      std::memcpy(v.mutable_data(), m_givenVertices.data(), m_givenVertices.size() * sizeof(float));
    IndexArray f({static_cast<py::ssize_t>(m_givenFaces.size() / 3), py::ssize_t{3}});
    if (!m_givenFaces.empty())
      std::memcpy(f.mutable_data(), m_givenFaces.data(), m_givenFaces.size() * sizeof(std::int32_t));
    m_vertices = v;
    m_faces = f;
    std::vector<float>().swap(m_givenVertices);
    std::vector<std::int32_t>().swap(m_givenFaces);
    m_hasGivenView = false;
    return;
  }
  const std::int64_t n = Count();
  std::vector<float> vertices;
  std::vector<std::int32_t> faces(static_cast<size_t>(3 * n));
  {
    py::gil_scoped_release release;
    // The writers' table: corners merged by exact comparison (-0 as 0) and
    // numbered by first appearance, so these indices are those of save_mesh.
    relief::tool::detail::VertexTable index;
    const SSEPoint* p = m_mesh->GetEdgeArray();
    for (std::int64_t i = 0; i < 3 * n; ++i) {
      const float xyz[3] = {p[i].x, p[i].y, p[i].z};
      bool added = false;
      faces[static_cast<size_t>(i)] = static_cast<std::int32_t>(index.Find(xyz, added));
      if (added) vertices.insert(vertices.end(), xyz, xyz + 3);
    }
  }
  FloatArray v({static_cast<py::ssize_t>(vertices.size() / 3), py::ssize_t{3}});
  if (!vertices.empty()) std::memcpy(v.mutable_data(), vertices.data(), vertices.size() * sizeof(float));
  IndexArray f({static_cast<py::ssize_t>(n), py::ssize_t{3}});
  if (!faces.empty()) std::memcpy(f.mutable_data(), faces.data(), faces.size() * sizeof(std::int32_t));
  m_vertices = v;
  m_faces = f;
}

// Each call hands out a copy (without a base, pybind11 copies the data): a
// caller writing into its array must not change what the next call returns.
FloatArray Mesh::Vertices() {
  BuildIndexedView();
  return FloatArray({m_vertices->shape(0), py::ssize_t{3}}, m_vertices->data());
}

IndexArray Mesh::Faces() {
  BuildIndexedView();
  return IndexArray({m_faces->shape(0), py::ssize_t{3}}, m_faces->data());
}

namespace {

std::shared_ptr<Mesh> MeshFromArray(const py::handle& obj, py::sequence scale) {
  FloatArray a = AsFloat32(obj, "triangles");
  const bool shaped = (a.ndim() == 3 && a.shape(1) == 3 && a.shape(2) == 3) || (a.ndim() == 2 && a.shape(1) == 9);
  if (!shaped) ThrowValue("triangles: expected shape (m, 3, 3) or (m, 9), got " + ShapeText(a));
  const float* p = a.data();
  for (py::ssize_t i = 0; i < a.size(); ++i)
    if (!std::isfinite(p[i])) ThrowValue("triangles: coordinates must be finite");
  float s[3];
  FiniteFactors(scale, 3, "scale", s);
  const std::int64_t count = a.shape(0);
  py::gil_scoped_release release;
  return Mesh::FromCorners(p, count, s);
}

}  // namespace

void BindMesh(py::module_& m) {
  py::class_<Mesh, std::shared_ptr<Mesh>>(m, "Mesh", R"doc(
A triangle mesh: a soup of triangles that each own their three corners.

Mesh(triangles, scale=(1, 1, 1)) builds one from a float array of shape
(m, 3, 3) or (m, 9); from an indexed mesh use Mesh(vertices[faces]).
Meshes come from mesh_from_height_field, refine and load_mesh too.
Every view is a new numpy array; the mesh itself is immutable.)doc")
      .def(py::init(&MeshFromArray), py::arg("triangles"), py::arg("scale") = py::make_tuple(1.0f, 1.0f, 1.0f))
      .def("__len__", &Mesh::Count)
      .def_property_readonly("triangles", &Mesh::Triangles,
                             "float32 (m, 3, 3): the corners of every triangle, in the mesh's winding.")
      .def_property_readonly("vertices", &Mesh::Vertices,
                             "float32 (k, 3): the distinct corners, merged by exact comparison of their "
                             "coordinates, in order of first appearance (for refine(max_error=...) the "
                             "mesher's own points in its order).")
      .def_property_readonly("faces", &Mesh::Faces, "int32 (m, 3): every triangle as indices into vertices.")
      .def_property_readonly("normals", &Mesh::Normals,
                             "float32 (m, 3): the unit normal (P1 - P0) x (P2 - P0) of every triangle "
                             "(NaN for a degenerate one).")
      .def_property_readonly("bounds", &Mesh::Bounds,
                             "float32 (2, 3): the corners' minimum and maximum (NaN for an empty mesh).")
      .def_property_readonly("scale", &Mesh::Scale,
                             "(sx, sy, sz) the mesh was built with; sx is rasterize's default resolution.")
      .def("__repr__", [](Mesh& self) { return "<relief.Mesh with " + std::to_string(self.Count()) + " triangles>"; })
      .def(py::pickle([](Mesh& self) { return py::make_tuple(self.Triangles(), self.Scale()); },
                      [](py::tuple state) {
                        if (state.size() != 2) throw py::value_error("Mesh: bad pickle state");
                        return MeshFromArray(state[0], state[1]);
                      }));
}

}  // namespace relief::python
