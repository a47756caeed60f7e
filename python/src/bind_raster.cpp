// relief.Raster and the raster operations: chamfer, zhang_suen, fill_polygon.

#include <emmintrin.h>

#include <cmath>

#include "raster_object.h"

#include "relief/CSSE3dPolygon.h"

namespace relief::python {

const CSSEMatrix& FieldArgument(const py::handle& obj, const char* what, CSSEMatrix& scratch) {
  if (py::isinstance<Raster>(obj)) return obj.cast<Raster&>().matrix;
  NumpyToRaster(AsField(obj, what), scratch);
  return scratch;
}

namespace {

// Every lane becomes 1 where it is not 0, else 0 (NaN was made 0 on the way in).
void MakeBinary(CSSEMatrix& m) {
  const __m128 one = _mm_set1_ps(1.0f), zero = _mm_setzero_ps();
  __m128** lines = m.GetMatrixDataDirectly();
  for (int k = 0; k < m.GetSSESizeY(); ++k)
    for (int x = 0; x < m.GetSSESizeX(); ++x) lines[k][x] = _mm_and_ps(_mm_cmpneq_ps(lines[k][x], zero), one);
}

std::unique_ptr<Raster> MakeRaster(const py::handle& field) {
  auto r = std::make_unique<Raster>();
  NumpyToRaster(AsField(field, "field"), r->matrix);
  return r;
}

FloatArray Chamfer(const py::handle& mask) {
  FloatArray a = AsField(mask, "mask");
  CSSEMatrix m;
  NumpyToRaster(a, m);
  {
    py::gil_scoped_release release;
    MakeBinary(m);
    m.Chamfer();
  }
  return RasterToNumpy(m);
}

FloatArray ZhangSuen(const py::handle& mask, float threshold) {
  if (std::isnan(threshold)) ThrowValue("threshold: NaN leaves no pixel valid");
  FloatArray a = AsField(mask, "mask");
  CSSEMatrix m;
  NumpyToRaster(a, m);
  {
    py::gil_scoped_release release;
    m.ZhangSuen(threshold);
  }
  return RasterToNumpy(m);
}

FloatArray FillPolygon(const py::handle& points, py::sequence shape, float value) {
  FloatArray p = AsPoints(points, 2, "points", 3);
  if (py::len(shape) != 2) ThrowValue("shape: expected (rows, cols)");
  const long long rows = shape[0].cast<long long>(), cols = shape[1].cast<long long>();
  if (rows < 1 || cols < 1 || rows > CSSEMatrix::kMaxRows || cols > (1 << 26))
    ThrowValue("shape: expected 1 .. " + std::to_string(CSSEMatrix::kMaxRows) + " rows and at least one column, got (" +
               std::to_string(rows) + ", " + std::to_string(cols) + ")");
  CSSEMatrix m;
  {
    py::gil_scoped_release release;
    CSSE3dPolygon polygon;
    const int n = static_cast<int>(p.shape(0));
    polygon.Create(n);
    const float* xy = p.data();
    for (int i = 0; i < n; ++i) polygon.SetPoint(i, xy[2 * i], xy[2 * i + 1], 0.0f);
    m.Create(static_cast<int>(cols), static_cast<int>(rows));
    // The band spans every row of the polygon.
    polygon.DrawInMatrixAndFillFine(value, &m, false, -1.0e7f, 1.0e7f);
  }
  return RasterToNumpy(m);
}

}  // namespace

void BindRaster(py::module_& m) {
  py::class_<Raster>(m, "Raster", R"doc(
A height field held in the library's own layout (four rows per SSE register).

Raster(field) converts a 2-D array once (the dtype rule and NaN rule of every
height field argument apply); mesh_from_height_field and refine accept a
Raster wherever they accept an array, so several calls on one field convert
it only once. to_numpy() (or numpy.asarray(raster)) converts it back. A
Raster pickles as its heights.)doc")
      .def(py::init(&MakeRaster), py::arg("field"))
      .def("to_numpy", [](const Raster& r) { return RasterToNumpy(r.matrix); },
           "A new float32 (rows, cols) array with the raster's heights.")
      .def("__array__", [](const Raster& r, py::object) { return RasterToNumpy(r.matrix); },
           py::arg("dtype") = py::none())
      .def_property_readonly(
          "shape", [](const Raster& r) { return py::make_tuple(r.matrix.GetSizeY(), r.matrix.GetSizeX()); },
          "(rows, cols)")
      .def("__repr__",
           [](const Raster& r) {
             return "<relief.Raster " + std::to_string(r.matrix.GetSizeY()) + " x " +
                    std::to_string(r.matrix.GetSizeX()) + ">";
           })
      // Pickled as its heights, so Dask can send one between processes.
      .def(py::pickle([](const Raster& r) { return RasterToNumpy(r.matrix); },
                      [](const FloatArray& heights) { return MakeRaster(heights); }));

  m.def("chamfer", &Chamfer, py::arg("mask"), R"doc(
3-4 chamfer distance to the nonzero pixels of mask.

mask: 2-D array; every nonzero pixel is a source (distance 0), every 0 pixel
gets its distance: 3 per straight step, 4 per diagonal step (divide by 3 for
pixels). Returns float32 of mask's shape. As the library leaves it, a frame
is 0: the first 4 and the last 5 columns, the first 4 rows and the rows from
the second-last register row on (rows 4 * (((rows >> 2) + 1) - 2) and
below); rasters under 3 x 3 get only that frame. Pixels no source reaches
keep 99999.9.)doc");

  m.def("zhang_suen", &ZhangSuen, py::arg("mask"), py::arg("threshold") = 0.0f, R"doc(
Zhang-Suen thinning of the pixels strictly above threshold.

Returns float32 of mask's shape: the skeleton as 1.0 on 0.0. A pixel is
removed only with 3 to 6 set neighbours, so end points of lines stay; the
outermost rows and columns always end 0; at most 1000 iterations.)doc");

  m.def("fill_polygon", &FillPolygon, py::arg("points"), py::arg("shape"), py::arg("value") = 1.0f, R"doc(
Rasterises the inside of a closed polygon.

points: (n, 2) corners (x = column, y = row, in pixels), n >= 3, the last
joined to the first. shape: (rows, cols) of the result. Returns float32 of
that shape holding value at every pixel centre (x, y) the crossing-number
test puts inside (ray toward +y; edges straddle x half-open), else 0.
Positions inside the polygon but outside the raster write the nearest
border pixel, as the library does.)doc");
}

}  // namespace relief::python
