#pragma once

// numpy arrays in and out of the library's types. A height field arrives as a
// 2-D array of any real dtype and leaves as float32 (rows, cols); points
// arrive as (n, 2) or (n, 3). The copies between row-major arrays and the
// raster's register layout (four rows per register) run in C++ over whole
// registers, without the GIL.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <string>

class CSSEMatrix;

namespace relief::python {

namespace py = pybind11;

using FloatArray = py::array_t<float, py::array::c_style | py::array::forcecast>;
using IndexArray = py::array_t<std::int32_t, py::array::c_style>;

// The dtype rule of every array argument: bool, integer and floating dtypes
// are converted to float32 as numpy's astype would (float64 rounds to the
// nearest float32); anything else (complex, object, strings) is a TypeError
// naming the expected dtype. Non-contiguous arrays and lists are copied.
// The masked elements of a numpy masked array become NaN (no data in a
// height field; refused in a point array).
FloatArray AsFloat32(const py::handle& obj, const char* what);

// A height field argument: AsFloat32, then ValueError unless it is 2-D, not
// empty and within the raster limits (31,999 rows).
FloatArray AsField(const py::handle& obj, const char* what);

// A point array argument: (n, dims) with n >= minCount and finite
// coordinates, else ValueError.
FloatArray AsPoints(const py::handle& obj, int dims, const char* what, std::int64_t minCount);

// `count` finite numbers from a sequence argument such as scale=(sx, sy, sz):
// ValueError for another length or a non-finite number, TypeError naming the
// argument for an item that is not a number.
void FiniteFactors(const py::sequence& factors, int count, const char* what, float* out);

// Row-major rows x cols floats into the raster (re-created at that size).
// Padding lanes become 0; NaN and infinities become 0 ("no data"). Needs no GIL.
void ArrayToRaster(const float* data, int rows, int cols, CSSEMatrix& out);

// The raster's pixels into rows x cols row-major floats. Needs no GIL.
void RasterToArray(const CSSEMatrix& raster, float* out);

// A new float32 (rows, cols) array holding the raster (the copy runs without the GIL).
FloatArray RasterToNumpy(const CSSEMatrix& raster);

// A new float32 array of the field's shape, converted into `out` without the GIL.
void NumpyToRaster(const FloatArray& field, CSSEMatrix& out);

// Raises ValueError with the message.
[[noreturn]] void ThrowValue(const std::string& message);
[[noreturn]] void ThrowType(const std::string& message);

std::string ShapeText(const py::array& a);

}  // namespace relief::python
