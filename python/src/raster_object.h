#pragma once

// relief.Raster: a height field held in the library's register layout, so
// that several calls on one field convert it once.

#include <pybind11/pybind11.h>

#include <memory>

#include "field_convert.h"

#include "relief/CSSEMatrix.h"

namespace relief::python {

struct Raster {
  CSSEMatrix matrix;
};

// A height field argument as a raster: a Raster is used as it is (callers
// must only read it), an array is converted into `scratch`.
const CSSEMatrix& FieldArgument(const py::handle& obj, const char* what, CSSEMatrix& scratch);

void BindRaster(py::module_& m);

}  // namespace relief::python
