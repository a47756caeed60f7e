// relief._relief: the compiled half of the Python package `relief`.

#include <pybind11/pybind11.h>

#include "errors.h"
#include "progress.h"

#include "relief/CArchive.h"

namespace relief::python {
namespace py = pybind11;
void BindMesh(py::module_& m);
void BindMeshOperations(py::module_& m);
void BindGeometry(py::module_& m);
void BindRaster(py::module_& m);
void BindIo(py::module_& m);
void BindFilters(py::module_& m);
void BindViewer(py::module_& m);
}  // namespace relief::python

PYBIND11_MODULE(_relief, m) {
  namespace py = pybind11;
  m.doc() = "relief: SIMD geometry and raster routines for height fields (compiled part).";
  // The tool's progress lines and messages stay off inside Python.
  relief::tool::Output().quiet = true;

  // The tool's errors carry one line naming the file: bad input is a
  // ValueError, failed work (a full disk) an OSError, an output that cannot
  // be created the OSError of its errno. Memory exhaustion
  // (CMemoryException, a std::bad_alloc) arrives as MemoryError.
  py::register_exception_translator([](std::exception_ptr p) {
    try {
      if (p) std::rethrow_exception(p);
    } catch (const relief::tool::ToolError& e) {
      if (e.SystemError() != 0)  // OSError(errno, text) becomes FileNotFoundError, PermissionError, ...
        PyErr_SetObject(PyExc_OSError, py::make_tuple(e.SystemError(), e.what()).ptr());
      else if (e.ExitCode() == relief::tool::kExitBadInput)
        PyErr_SetString(PyExc_ValueError, e.what());
      else
        PyErr_SetString(PyExc_OSError, e.what());
    } catch (const CArchiveException& e) {
      PyErr_SetString(PyExc_ValueError, e.what());
    }
  });

  relief::python::BindMesh(m);
  relief::python::BindMeshOperations(m);
  relief::python::BindGeometry(m);
  relief::python::BindRaster(m);
  relief::python::BindIo(m);
  relief::python::BindFilters(m);
  relief::python::BindViewer(m);
}
