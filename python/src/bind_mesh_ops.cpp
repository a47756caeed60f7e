// Height field to mesh, mesh to height field, and the adaptive mesh by
// Delaunay refinement (the tool's own procedure, shared, not repeated here).

#include <cmath>
#include <string>

#include "adaptive_mesh.h"
#include "mesh_object.h"
#include "raster_object.h"
#include "scan_chunks.h"

#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"

namespace relief::python {

namespace {

void RequirePositive(const char* name, double v) {
  if (!(v > 0.0) || !std::isfinite(v)) ThrowValue(std::string(name) + ": must be a positive number, got " + std::to_string(v));
}

std::shared_ptr<Mesh> MeshFromHeightField(const py::handle& field, float threshold, bool above, py::sequence scale,
                                          int step) {
  if (py::len(scale) != 3) ThrowValue("scale: expected three factors (sx, sy, sz)");
  const float s[3] = {scale[0].cast<float>(), scale[1].cast<float>(), scale[2].cast<float>()};
  for (float f : s)
    if (!std::isfinite(f)) ThrowValue("scale: factors must be finite");
  if (step < 1) ThrowValue("step: must be at least 1, got " + std::to_string(step));
  CSSEMatrix scratch;
  const CSSEMatrix& raster = FieldArgument(field, "field", scratch);
  py::gil_scoped_release release;
  // Built at unit scale and scaled afterwards, as the tool does: corners
  // stay integer grid positions until the user's factors multiply them.
  CSSEMatrix& input = const_cast<CSSEMatrix&>(raster);  // the builders only read the field
  const auto built = step == 1 ? std::make_unique<CHTriangulation>(&input, threshold, above, 1.0f, 1.0f, 1.0f)
                               : std::make_unique<CHTriangulation>(&input, threshold, above, 1.0f, 1.0f, 1.0f,
                                                                   step, step);
  return Mesh::FromLibrary(*built, s, s);
}

FloatArray Rasterize(Mesh& mesh, py::object resolutionArg, const std::string& mode) {
  if (mode != "max" && mode != "min") ThrowValue("mode: expected \"max\" or \"min\", got \"" + mode + "\"");
  if (mesh.Count() == 0) ThrowValue("mesh: empty, nothing to rasterize");
  CHTriangulation& lib = mesh.Library();
  const float resolution = resolutionArg.is_none() ? lib.GetScaleX() : resolutionArg.cast<float>();
  RequirePositive("resolution", resolution);
  SSEPoint lo, hi;
  lib.GetMinPoint(lo);
  lib.GetMaxPoint(hi);
  const relief::tool::MeshBox box = {{lo.x, lo.y, lo.z}, {hi.x, hi.y, hi.z}};
  int width = 0, height = 0;
  relief::tool::CheckScanRaster("mesh", box, resolution, width, height);  // the tool's size limits
  CSSEMatrix out;
  {
    py::gil_scoped_release release;
    std::lock_guard<std::mutex> hold(mesh.Lock());
    lib.SetScanConvResolution(resolution, resolution, lib.GetScaleZ());
    if (mode == "max")
      lib.ScanConvertTriangulationMax(&out, 0.0f);
    else
      lib.ScanConvertTriangulationMin(&out, 0.0f);
  }
  if (out.GetMatrixDataDirectly() == nullptr) ThrowValue("mesh: too small to rasterize at this resolution");
  return RasterToNumpy(out);
}

struct Refinement {
  std::shared_ptr<Mesh> mesh;
  double maxError = 0.0, rmsError = 0.0;
  std::int64_t points = 0, compared = 0, uncovered = 0;
};

Refinement Refine(const py::handle& field, float tolerance, float minHeight, int passes, int seedSpacing) {
  RequirePositive("tolerance", tolerance);
  RequirePositive("min_height", minHeight);
  if (passes < 0) ThrowValue("passes: must be 0 or more");
  if (seedSpacing < 1) ThrowValue("seed_spacing: must be at least 1");
  CSSEMatrix scratch;
  const CSSEMatrix& raster = FieldArgument(field, "field", scratch);
  py::gil_scoped_release release;
  relief::tool::AdaptiveOptions options;
  options.tolerance = tolerance;
  options.minHeight = minHeight;
  options.passes = passes;
  options.seedSpacing = seedSpacing;
  CSSEMatrix& input = const_cast<CSSEMatrix&>(raster);  // the refinement only samples the field
  const relief::tool::AdaptiveMesh adaptive = relief::tool::RefineField(input, options, "field");
  const relief::tool::ErrorFigures error = relief::tool::MeasureAgainstField(adaptive.corners, raster);
  const float unit[3] = {1.0f, 1.0f, 1.0f};
  Refinement r;
  r.mesh = Mesh::FromCorners(adaptive.corners.data(), adaptive.Triangles(), unit);
  r.maxError = error.maxAbs;
  r.rmsError = error.rms;
  r.points = adaptive.vertices;
  r.compared = error.compared;
  r.uncovered = error.lost;
  return r;
}

}  // namespace

void BindMeshOperations(py::module_& m) {
  m.def("mesh_from_height_field", &MeshFromHeightField, py::arg("field"), py::arg("threshold") = 0.0f,
        py::arg("above") = true, py::arg("scale") = py::make_tuple(1.0f, 1.0f, 1.0f), py::arg("step") = 1, R"doc(
Meshes a height field: every 2 x 2 cell of valid pixels gives two triangles.

field: 2-D array (rows, cols) or Raster; 0 means no data. A pixel is valid
when its height is > threshold (above=True) or < threshold (above=False).
Each cell of four valid pixels is split on its (x, y)-(x+1, y+1) diagonal;
three valid corners give one triangle. Pixel (x = column, y = row) with
height v becomes the corner (x * sx, y * sy, v * sz). step > 1 meshes cells
of step x step pixels. Returns a Mesh (empty when no cell is valid).
At step 1 the library walks whole register rows of four: cells whose upper
row is 4 * (rows // 4) or later are not meshed, which drops the last
rows % 4 - 1 cell rows when rows % 4 is 2 or 3 (the tool's meshes agree).)doc");

  m.def("rasterize", &Rasterize, py::arg("mesh"), py::arg("resolution") = py::none(), py::arg("mode") = "max",
        R"doc(
Scan-converts a mesh into a height field, keeping the highest (mode="max")
or lowest (mode="min") surface.

resolution: cell size in mesh units (default: the mesh's sx). Returns a
float32 (rows, cols) array over the mesh's bounds: cell (c, r) lies at
mesh.bounds[0, :2] + (c, r) * resolution. Every triangle is sampled along
its edges and each sample stamped as a five-pixel cross, so heights beside
steep slopes rise; cells no sample reaches, and the outermost ring, hold 0.)doc");

  py::class_<Refinement>(m, "Refinement", "The result of refine: the mesh and how far it departs from the field.")
      .def_readonly("mesh", &Refinement::mesh, "The adaptive Mesh, in pixel coordinates (x = column, y = row) and heights.")
      .def_readonly("max_error", &Refinement::maxError,
                    "Largest |mesh - field| over the pixel centres both cover (linear interpolation in each triangle).")
      .def_readonly("rms_error", &Refinement::rmsError, "Root mean square of mesh - field over the same pixels.")
      .def_readonly("points", &Refinement::points, "Points of the triangulation (seeds and inserted points).")
      .def_readonly("compared", &Refinement::compared, "Pixels the errors are measured over.")
      .def_readonly("uncovered", &Refinement::uncovered, "Field pixels with data that no triangle covers.")
      .def("__iter__", [](const Refinement& r) {
        return py::iter(py::make_tuple(r.mesh, r.maxError, r.rmsError));
      })
      .def("__repr__", [](const Refinement& r) {
        return "<relief.Refinement " + std::to_string(r.mesh->Count()) + " triangles, max error " +
               std::to_string(r.maxError) + ", rms " + std::to_string(r.rmsError) + ">";
      });

  m.def("refine", &Refine, py::arg("field"), py::arg("tolerance"), py::kw_only(), py::arg("min_height") = 2.0f,
        py::arg("passes") = 12, py::arg("seed_spacing") = 32, R"doc(
Adaptive mesh of a height field by Delaunay refinement, as `relief refine`.

A grid of seed points (seed_spacing pixels apart, denser along the edges)
over the valid pixels' box is triangulated, then refined pass by pass
(at most passes) where a triangle's corners differ in height by more than
tolerance, until triangles are lower than min_height pixels. Triangles with
a corner on no data (0) are left out. Returns a Refinement (mesh, max_error,
rms_error, ...; it unpacks as mesh, max_error, rms_error = refine(...)).
ValueError when the valid pixels span no area.)doc");
}

}  // namespace relief::python
