// relief.Viewer: the debug viewer (CHTriangulationDlg) that writes meshes,
// height fields, colour maps and polylines into one self-contained HTML page.

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include "mesh_object.h"
#include "raster_object.h"

#include "relief/CHTriangulationDlg.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"

namespace relief::python {

namespace {

// The library works without the GIL; the lock keeps two Python threads
// from changing one page at once.
struct Viewer {
  CHTriangulationDlg dialog;
  mutable std::mutex lock;
  std::string title;  // the dialog keeps it but does not give it back
};

// Layers without a colour of their own take the next of these, by layer index.
constexpr std::uint32_t kPalette[] = {0xb0b8c8, 0xe07040, 0x50a050, 0x4070d0, 0xd0b030, 0xa050c0};

std::uint32_t ColourArgument(const Viewer& v, const std::optional<long long>& colour) {
  if (!colour) {
    std::lock_guard<std::mutex> hold(v.lock);
    return kPalette[v.dialog.GetNumLayers() % (sizeof kPalette / sizeof kPalette[0])];
  }
  if (*colour < 0 || *colour > 0xffffff) ThrowValue("colour: expected 0xRRGGBB (0 .. 0xffffff)");
  return static_cast<std::uint32_t>(*colour);
}

int AddMesh(Viewer& v, Mesh& mesh, const std::string& name, std::optional<long long> colour) {
  const std::uint32_t c = ColourArgument(v, colour);
  py::gil_scoped_release release;
  std::lock_guard<std::mutex> hold(mesh.Lock());
  std::lock_guard<std::mutex> page(v.lock);
  return v.dialog.AddTriangulation(mesh.Library(), name, c);
}

int AddHeightField(Viewer& v, const py::handle& field, const std::string& name, std::optional<long long> colour,
                   const py::sequence& scale) {
  const std::uint32_t c = ColourArgument(v, colour);
  float s[3];
  FiniteFactors(scale, 3, "scale", s);
  CSSEMatrix scratch;
  const CSSEMatrix& raster = FieldArgument(field, "field", scratch);
  py::gil_scoped_release release;
  std::lock_guard<std::mutex> page(v.lock);
  return v.dialog.AddHeightField(raster, name, c, s[0], s[1], s[2]);
}

int AddColourMap(Viewer& v, const py::handle& values, const std::string& name, bool zeroIsNoData,
                 const py::sequence& scale, float z, const std::optional<py::sequence>& ramp) {
  float s[2], range[2] = {0.0f, 0.0f};
  FiniteFactors(scale, 2, "scale", s);
  if (!std::isfinite(z)) ThrowValue("z: must be finite");
  if (ramp) {
    FiniteFactors(*ramp, 2, "ramp", range);
    if (!(range[0] < range[1])) ThrowValue("ramp: expected finite low < high");
  }
  CSSEMatrix scratch;
  const CSSEMatrix& raster = FieldArgument(values, "values", scratch);
  py::gil_scoped_release release;
  std::lock_guard<std::mutex> page(v.lock);
  return v.dialog.AddColourMap(raster, name, zeroIsNoData, s[0], s[1], z, range[0], range[1]);
}

int AddPolyline(Viewer& v, const py::handle& points, const std::string& name, std::optional<long long> colour,
                bool closed) {
  const std::uint32_t c = ColourArgument(v, colour);
  FloatArray a = AsFloat32(points, "points");
  const int dims = a.ndim() == 2 ? static_cast<int>(a.shape(1)) : 0;
  if (dims != 2 && dims != 3) ThrowValue("points: expected shape (n, 2) or (n, 3), got " + ShapeText(a));
  a = AsPoints(a, dims, "points", 2);
  const float* p = a.data();
  const int n = static_cast<int>(a.shape(0));
  py::gil_scoped_release release;
  CSSE3dPolygon polygon;
  polygon.Create(n);
  for (int i = 0; i < n; ++i) polygon.SetPoint(i, p[dims * i], p[dims * i + 1], dims == 3 ? p[dims * i + 2] : 0.0f);
  std::lock_guard<std::mutex> page(v.lock);
  return v.dialog.AddPolygon(polygon, name, c, closed);
}

}  // namespace

void BindViewer(py::module_& m) {
  py::class_<Viewer>(m, "Viewer", R"doc(
Collects layers and writes them as one self-contained HTML page (the
renderer inlined, the data embedded: it opens from file:// with no server
and no network). The page orbits (left drag), pans (right drag), zooms
(wheel), toggles each layer and a wireframe, and shows a legend with colour
ramps, counts and the bounding box; a page without layers says "empty".

Viewer(title="relief viewer", triangle_limit=2_000_000). Every add_... copies
its data at once and returns the layer's index; colours are 0xRRGGBB (by
default the next of a small palette). Layers above triangle_limit triangles
are decimated for display (values below 1000 are raised to 1000).)doc")
      .def(py::init([](const std::string& title, long long triangleLimit) {
             auto v = std::make_unique<Viewer>();
             v->dialog.SetTitle(title);
             v->title = title;
             v->dialog.SetTriangleLimit(triangleLimit);
             return v;
           }),
           py::arg("title") = "relief viewer", py::arg("triangle_limit") = 2000000)
      .def("add_mesh", &AddMesh, py::arg("mesh"), py::arg("name") = "mesh", py::arg("colour") = py::none(),
           "A Mesh as a shaded surface; corners equal bit for bit are merged so shading runs smoothly across them.")
      .def("add_height_field", &AddHeightField, py::arg("field"), py::arg("name") = "height field",
           py::arg("colour") = py::none(), py::arg("scale") = py::make_tuple(1.0f, 1.0f, 1.0f),
           "A height field (2-D array or Raster) as a surface coloured by height: pixel (x = column, y = row) "
           "with value v > 0 becomes (x sx, y sy, v sz); 0 (no data) leaves a hole. colour is the legend's swatch.")
      .def("add_colour_map", &AddColourMap, py::arg("values"), py::arg("name") = "colour map",
           py::arg("zero_is_no_data") = true, py::arg("scale") = py::make_tuple(1.0f, 1.0f), py::arg("z") = 0.0f,
           py::arg("ramp") = py::none(),
           "A raster as a flat colour map in the plane z (error maps, masks), each pixel a square. With "
           "zero_is_no_data, pixels holding 0 are transparent. ramp=(low, high) fixes the ramp's ends (values "
           "beyond take the end colours); by default it spans the values shown.")
      .def("add_polyline", &AddPolyline, py::arg("points"), py::arg("name") = "polyline",
           py::arg("colour") = py::none(), py::arg("closed") = false,
           "A line through (n, 3) points (or (n, 2) at z = 0), n >= 2, in their order; closed joins the last "
           "point to the first.")
      .def(
          "set_visible",
          [](Viewer& v, int layer, bool visible) {
            std::lock_guard<std::mutex> hold(v.lock);
            if (layer < 0 || layer >= v.dialog.GetNumLayers())
              throw py::index_error("layer: no layer " + std::to_string(layer));
            v.dialog.SetLayerVisible(layer, visible);
          },
          py::arg("layer"), py::arg("visible"), "Whether the layer starts shown (the default) or unticked.")
      .def("__len__",
           [](const Viewer& v) {
             std::lock_guard<std::mutex> hold(v.lock);
             return v.dialog.GetNumLayers();
           })
      .def(
          "clear",
          [](Viewer& v) {
            std::lock_guard<std::mutex> hold(v.lock);
            v.dialog.Clear();
          },
          "Drops every layer (title and triangle limit stay).")
      .def_property(
          "title", [](const Viewer& v) { return v.title; },
          [](Viewer& v, const std::string& title) {
            std::lock_guard<std::mutex> hold(v.lock);
            v.dialog.SetTitle(title);
            v.title = title;
          },
          "The page's title.")
      .def_property_readonly("triangle_limit", [](const Viewer& v) { return v.dialog.GetTriangleLimit(); })
      .def(
          "to_html",
          [](const Viewer& v) {
            std::string page;
            {
              py::gil_scoped_release release;
              std::lock_guard<std::mutex> hold(v.lock);
              page = v.dialog.ToHtml();
            }
            return page;
          },
          "The page as a string.")
      .def(
          "write",
          [](const Viewer& v, const std::filesystem::path& path) {
            bool written;
            {
              py::gil_scoped_release release;
              std::lock_guard<std::mutex> hold(v.lock);
              written = v.dialog.WriteHtml(path);
            }
            if (!written) {
              PyErr_SetString(PyExc_OSError, ("cannot write " + path.string()).c_str());
              throw py::error_already_set();
            }
            return path;
          },
          py::arg("path"),
          "Writes the page to path (nothing is left behind on failure: OSError). Returns the path.")
      .def("__repr__", [](const Viewer& v) {
        std::lock_guard<std::mutex> hold(v.lock);
        return "<relief.Viewer with " + std::to_string(v.dialog.GetNumLayers()) + " layers>";
      });
}

}  // namespace relief::python
