// Height field to mesh, mesh to height field, and the adaptive mesh by
// Delaunay refinement (the tool's own procedure, shared, not repeated here).

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <pybind11/stl.h>

#include "adaptive_mesh.h"
#include "io/mesh_io.h"
#include "mesh_build.h"
#include "mesh_object.h"
#include "raster_object.h"
#include "raster_stats.h"
#include "scan_chunks.h"

#include "relief/CHErrorBoundedMesher.h"
#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"

namespace relief::python {

namespace {

void RequirePositive(const char* name, double v) {
  if (!(v > 0.0) || !std::isfinite(v))
    ThrowValue(std::string(name) + ": must be a positive number, got " + std::to_string(v));
}

// Positive finite factors, as the tool takes them (a zero or negative factor
// folds the mesh flat or turns its triangles clockwise).
void ScaleArgument(const py::sequence& scale, float s[3]) {
  FiniteFactors(scale, 3, "scale", s);
  for (int i = 0; i < 3; ++i) RequirePositive("scale", s[i]);
}

std::shared_ptr<Mesh> MeshFromHeightField(const py::handle& field, float threshold, bool above, py::sequence scale,
                                          int step) {
  float s[3];
  ScaleArgument(scale, s);
  if (std::isnan(threshold)) ThrowValue("threshold: NaN leaves no pixel valid");
  if (step < 1 || step > relief::tool::kMaxMeshStep)
    ThrowValue("step: must be 1 .. " + std::to_string(relief::tool::kMaxMeshStep) + ", got " + std::to_string(step));
  CSSEMatrix scratch;
  const CSSEMatrix& raster = FieldArgument(field, "field", scratch);
  py::gil_scoped_release release;
  relief::tool::CheckScaleFits(relief::tool::Summarize(raster), s);
  // Band by band, as the tool writes its files, so the result is the tool's
  // mesh triangle for triangle and only one band's library records exist at
  // a time (the whole field's records cost two per pixel, about 700 bytes).
  relief::tool::FieldMeshOptions options;
  options.threshold = threshold;
  options.below = !above;
  options.step = step;
  for (int i = 0; i < 3; ++i) options.scale[i] = s[i];
  relief::tool::TriangleCollector corners;
  relief::tool::StreamFieldMesh(raster, options, corners);
  if (corners.Count() == 0) {
    // An elevation model below 0 under the default threshold meshes to
    // nothing: say which heights the threshold left out.
    const relief::tool::ValidRule rule{threshold, !above};
    const std::string hint = relief::tool::ThresholdHint(relief::tool::Summarize(raster, rule), rule, "threshold");
    if (!hint.empty()) {
      py::gil_scoped_acquire acquire;
      const std::string message = "mesh_from_height_field: empty mesh" + hint;
      if (PyErr_WarnEx(PyExc_RuntimeWarning, message.c_str(), 1) < 0) throw py::error_already_set();
    }
  }
  return Mesh::FromCorners(corners.Corners().data(), corners.Count(), s);
}

FloatArray Rasterize(Mesh& mesh, std::optional<float> resolutionArg, const std::string& mode) {
  if (mode != "max" && mode != "min") ThrowValue("mode: expected \"max\" or \"min\", got \"" + mode + "\"");
  if (mesh.Count() == 0) ThrowValue("mesh: empty, nothing to rasterize");
  CHTriangulation& lib = mesh.Library();
  const float resolution = resolutionArg.value_or(lib.GetScaleX());
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
  bool stoppedByLimit = false;
};

Refinement RefineByTolerance(const py::handle& field, float tolerance, float minHeight, int passes, int seedSpacing,
                             int threads) {
  RequirePositive("tolerance", tolerance);
  RequirePositive("min_height", minHeight);
  if (passes < 0) ThrowValue("passes: must be 0 or more");
  if (seedSpacing < 1) ThrowValue("seed_spacing: must be at least 1");
  if (threads < 1) ThrowValue("threads: must be at least 1, got " + std::to_string(threads));
  CSSEMatrix scratch;
  const CSSEMatrix& raster = FieldArgument(field, "field", scratch);
  py::gil_scoped_release release;
  relief::tool::AdaptiveOptions options;
  options.tolerance = tolerance;
  options.minHeight = minHeight;
  options.passes = passes;
  options.seedSpacing = seedSpacing;
  options.threads = threads;
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

int LimitArgument(const std::optional<std::int64_t>& value, const char* name, std::int64_t least) {
  if (!value) return std::numeric_limits<std::int32_t>::max();
  if (*value < least)
    ThrowValue(std::string(name) + ": must be at least " + std::to_string(least) + ", got " + std::to_string(*value));
  return static_cast<int>(std::min<std::int64_t>(*value, std::numeric_limits<std::int32_t>::max()));
}

Refinement RefineByMaxError(const py::handle& field, double maxError, const std::optional<std::int64_t>& maxTriangles,
                            const std::optional<std::int64_t>& maxPoints, const std::optional<py::sequence>& scale) {
  if (!std::isfinite(maxError) || maxError < 0.0)
    ThrowValue("max_error: must be a finite number >= 0, got " + std::to_string(maxError));
  const int triangleLimit = LimitArgument(maxTriangles, "max_triangles", 2);  // the starting two triangles
  const int pointLimit = LimitArgument(maxPoints, "max_points", 4);           // the corners of the starting box
  float s[3] = {1.0f, 1.0f, 1.0f};
  if (scale) ScaleArgument(*scale, s);
  CSSEMatrix scratch;
  const CSSEMatrix& raster = FieldArgument(field, "field", scratch);
  py::gil_scoped_release release;
  relief::tool::CheckScaleFits(relief::tool::Summarize(raster), s);
  CHErrorBoundedMesher mesher;
  if (!mesher.CreateMeshFromSSEField(&raster, static_cast<float>(maxError), triangleLimit, pointLimit))
    ThrowValue(std::string("field: cannot mesh: ") + mesher.GetProblem());
  // The mesher's points are relative to the valid box's corner; back in
  // field pixels (x = column, y = row) they line up with the array.
  const int n = mesher.GetNumPoints(), m = mesher.GetNumTriangles();
  const float ox = static_cast<float>(mesher.GetOriginX()), oy = static_cast<float>(mesher.GetOriginY());
  std::vector<float> vertices(mesher.GetVertexArray(), mesher.GetVertexArray() + 3 * static_cast<size_t>(n));
  for (size_t i = 0; i < vertices.size(); i += 3) {
    vertices[i] = (vertices[i] + ox) * s[0];
    vertices[i + 1] = (vertices[i + 1] + oy) * s[1];
    vertices[i + 2] *= s[2];
  }
  const std::int32_t* faces = mesher.GetTriangleIndexArray();
  Refinement r;
  r.mesh = Mesh::FromIndexed(vertices.data(), n, faces, m, s);
  r.maxError = mesher.GetMaxError();
  r.rmsError = mesher.GetRMSError();
  r.points = n;
  r.compared = mesher.GetNumValidPixels();
  r.uncovered = 0;  // every valid pixel lies in a kept triangle
  r.stoppedByLimit = mesher.StoppedByLimit();
  return r;
}

Refinement Refine(const py::handle& field, std::optional<float> tolerance, std::optional<double> maxError,
                  std::optional<std::int64_t> maxTriangles, std::optional<std::int64_t> maxPoints,
                  std::optional<py::sequence> scale, std::optional<float> minHeight, std::optional<int> passes,
                  std::optional<int> seedSpacing, std::optional<int> threads) {
  if (tolerance && maxError) ThrowValue("refine: pass either tolerance or max_error, not both");
  if (maxError) {
    if (minHeight || passes || seedSpacing || threads)
      ThrowValue("refine: min_height, passes, seed_spacing and threads belong to the tolerance mode, not max_error");
    return RefineByMaxError(field, *maxError, maxTriangles, maxPoints, scale);
  }
  if (!tolerance) ThrowValue("refine: needs a tolerance or a max_error");
  if (maxTriangles || maxPoints || scale)
    ThrowValue("refine: max_triangles, max_points and scale belong to the max_error mode");
  return RefineByTolerance(field, *tolerance, minHeight.value_or(2.0f), passes.value_or(12), seedSpacing.value_or(32),
                           threads.value_or(1));
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
height v becomes the corner (x * sx, y * sy, v * sz); the factors must be
positive and keep every corner within float (else ValueError). step (1 ..
4096) > 1 meshes cells of step x step pixels. Returns a Mesh (empty when no cell is valid): the
triangles `relief mesh` writes, in the same order. An empty mesh of a field
whose heights the threshold left out (negative heights under the default
0) comes with a RuntimeWarning naming their range.)doc");

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
      .def_readonly("mesh", &Refinement::mesh,
                    "The adaptive Mesh, in pixel coordinates (x = column, y = row) and heights.")
      .def_readonly("max_error", &Refinement::maxError,
                    "Largest |mesh - field| over the pixel centres both cover (linear interpolation in each triangle).")
      .def_readonly("rms_error", &Refinement::rmsError, "Root mean square of mesh - field over the same pixels.")
      .def_readonly("points", &Refinement::points, "Points of the triangulation (seeds and inserted points).")
      .def_readonly("compared", &Refinement::compared, "Pixels the errors are measured over.")
      .def_readonly("uncovered", &Refinement::uncovered, "Field pixels with data that no triangle covers.")
      .def_readonly("stopped_by_limit", &Refinement::stoppedByLimit,
                    "max_error mode: True when max_triangles or max_points ended the meshing before the bound "
                    "held (max_error then says how far it got); always False in the tolerance mode.")
      .def("__iter__", [](const Refinement& r) { return py::iter(py::make_tuple(r.mesh, r.maxError, r.rmsError)); })
      .def("__repr__",
           [](const Refinement& r) {
             return "<relief.Refinement " + std::to_string(r.mesh->Count()) + " triangles, max error " +
                    std::to_string(r.maxError) + ", rms " + std::to_string(r.rmsError) + ">";
           })
      // Picklable, so Dask can return one from a worker.
      .def(py::pickle(
          [](const Refinement& r) {
            return py::make_tuple(r.mesh, r.maxError, r.rmsError, r.points, r.compared, r.uncovered, r.stoppedByLimit);
          },
          [](const py::tuple& s) {
            if (s.size() != 7) throw py::value_error("Refinement: bad pickle state");
            return Refinement{s[0].cast<std::shared_ptr<Mesh>>(),
                              s[1].cast<double>(),
                              s[2].cast<double>(),
                              s[3].cast<std::int64_t>(),
                              s[4].cast<std::int64_t>(),
                              s[5].cast<std::int64_t>(),
                              s[6].cast<bool>()};
          }));

  m.def("refine", &Refine, py::arg("field"), py::arg("tolerance") = py::none(), py::kw_only(),
        py::arg("max_error") = py::none(), py::arg("max_triangles") = py::none(), py::arg("max_points") = py::none(),
        py::arg("scale") = py::none(), py::arg("min_height") = py::none(), py::arg("passes") = py::none(),
        py::arg("seed_spacing") = py::none(), py::arg("threads") = py::none(), R"doc(
Adaptive mesh of a height field, in one of two modes (tolerance and
max_error exclude each other). Returns a Refinement (mesh, max_error,
rms_error, ...; it unpacks as mesh, max_error, rms_error = refine(...)).

refine(field, tolerance, min_height=2, passes=12, seed_spacing=32, threads=1): Delaunay
refinement, as `relief refine`. A grid of seed points (seed_spacing pixels
apart, denser along the edges) over the valid pixels' box is triangulated,
then refined pass by pass (at most passes) where a triangle's corners differ
in height by more than tolerance, until triangles are lower than min_height
pixels. Triangles with a corner on no data (0) are left out. The errors are
measured afterwards at the pixel centres the mesh covers. A field wider or
taller than 2048 pixels is refined in tiles; threads of them at once (the
result is the same for any count; each tile in flight holds its own
triangulation).

refine(field, max_error=E, max_triangles=None, max_points=None,
scale=(1, 1, 1)): error-bounded, as `relief refine --max-error`. The worst
pixel is inserted again and again until no valid pixel lies farther than E
(vertically, in heights) from the mesh, or one more point would pass
max_triangles (>= 2) or max_points (>= 4); stopped_by_limit tells which.
E = 0 asks for every valid pixel exactly. The mesh is indexed: vertices and
faces are the mesher's own points and triangles (counter-clockwise seen from
above), corner (x * sx, y * sy, v * sz) for pixel (x = column, y = row) of
height v. max_error and rms_error are the mesher's figures over every valid
pixel, in heights (unscaled); compared counts the valid pixels, uncovered is 0.

ValueError when the valid pixels span no area or an argument is out of range.)doc");
}

}  // namespace relief::python
