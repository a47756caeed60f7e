// Height fields and meshes in and out of files through the tool's own
// readers and writers (tools/io), so Python and `relief` agree on every format.

#include <filesystem>
#include <string>
#include <vector>

#include <pybind11/stl/filesystem.h>

#include "io/mesh_io.h"
#include "io/raster_io.h"
#include "mesh_object.h"

namespace relief::python {

namespace {

namespace fs = std::filesystem;

// FileNotFoundError or IsADirectoryError, as Python's open() would raise.
void RequireFile(const fs::path& path) {
  std::error_code ec;
  if (fs::is_regular_file(path, ec)) return;
  if (fs::is_directory(path, ec))
    PyErr_SetString(PyExc_IsADirectoryError, (path.string() + ": is a folder, not a file").c_str());
  else
    PyErr_SetString(PyExc_FileNotFoundError, (path.string() + ": no such file").c_str());
  throw py::error_already_set();
}

FloatArray LoadHeightField(const fs::path& path) {
  RequireFile(path);
  std::unique_ptr<CSSEMatrix> raster;
  {
    py::gil_scoped_release release;
    raster = relief::tool::ReadRaster(path);
  }
  return RasterToNumpy(*raster);
}

std::string SaveHeightField(const fs::path& path, const py::handle& field, float pngScale) {
  relief::tool::RasterFormatOf(path);  // refuse a bad extension before converting
  if (pngScale < 0.0f) ThrowValue("png_scale: must be 0 (automatic) or positive");
  CSSEMatrix raster;
  NumpyToRaster(AsField(field, "field"), raster);
  py::gil_scoped_release release;
  relief::tool::RasterWriteOptions options;
  options.pngScale = pngScale;
  return relief::tool::WriteRaster(path, raster, options);
}

std::shared_ptr<Mesh> LoadMesh(const fs::path& path) {
  RequireFile(path);
  py::gil_scoped_release release;
  if (relief::tool::MeshFormatOf(path) == relief::tool::MeshFormat::kRmesh) {
    std::unique_ptr<CHTriangulation> stored = relief::tool::ReadRmesh(path);
    const float unit[3] = {1.0f, 1.0f, 1.0f};
    const float scale[3] = {stored->GetScaleX(), stored->GetScaleY(), stored->GetScaleZ()};
    return Mesh::FromLibrary(*stored, unit, scale);
  }
  auto reader = relief::tool::OpenTriangleReader(path);
  std::vector<float> corners;
  corners.reserve(static_cast<size_t>(reader->Count()) * 9);
  while (reader->Next(corners, 1 << 20)) {
  }
  const float unit[3] = {1.0f, 1.0f, 1.0f};
  return Mesh::FromCorners(corners.data(), static_cast<std::int64_t>(corners.size() / 9), unit);
}

std::int64_t SaveMesh(const fs::path& path, Mesh& mesh) {
  relief::tool::MeshFormatOf(path);
  py::gil_scoped_release release;
  std::lock_guard<std::mutex> hold(mesh.Lock());
  return relief::tool::WriteMesh(path, mesh.Library());
}

}  // namespace

void BindIo(py::module_& m) {
  m.def("load_height_field", &LoadHeightField, py::arg("path"), R"doc(
Reads a height field: .png (8/16-bit grey; a 16-bit PNG written by relief
carries its height scale), .tif/.tiff (one sample per pixel: integers of 8
to 64 bits or floats; a GDAL no-data value reads as 0), .npy (2-D, C or
Fortran order, either byte order, float32, float64 or integers) or .rsm
(the library's raster record), as `relief` reads them (docs/tool.md).
Returns float32 (rows, cols); NaN and infinities read as 0 (no data).
FileNotFoundError for a missing file, PermissionError for one that may not
be read, ValueError for anything unreadable.)doc");

  m.def("save_height_field", &SaveHeightField, py::arg("path"), py::arg("field"), py::arg("png_scale") = 0.0f,
        R"doc(
Writes a height field, the format chosen by the extension: .png (16-bit,
value = stored integer * png_scale; 0 picks max / 65535; ValueError for
negative heights or heights beyond 65535 steps), .tif/.tiff and .npy
(float32) or .rsm. Written to a temporary beside path and renamed when
complete. Returns a short description of what was written. OSError (such as
FileNotFoundError or PermissionError) when the file cannot be created or
written.)doc");

  m.def("load_mesh", &LoadMesh, py::arg("path"), R"doc(
Reads a mesh: .ply (binary or ASCII; polygons fanned), .stl (binary or
ASCII) or .rmesh (the library's mesh record, with its scale). Returns a
Mesh. Text files may spell numbers as nan and inf (also the Windows forms
such as 1.#QNAN); vertices no triangle uses may hold anything.
FileNotFoundError for a missing file, PermissionError for one that may not
be read, ValueError for a corrupt, truncated or empty one, or a triangle
with a non-finite corner.)doc");

  m.def("save_mesh", &SaveMesh, py::arg("path"), py::arg("mesh"), R"doc(
Writes a mesh: .ply (binary), .stl (binary), .obj or .rmesh, written to a
temporary beside path and renamed when complete. Returns the number of
triangles written. OSError (such as FileNotFoundError or PermissionError)
when the file cannot be created or written.)doc");
}

}  // namespace relief::python
