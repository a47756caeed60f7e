#include "field_convert.h"

#include <emmintrin.h>
#include <sys/mman.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "relief/CSSEMatrix.h"

namespace relief::python {

void ThrowValue(const std::string& message) { throw py::value_error(message); }
void ThrowType(const std::string& message) { throw py::type_error(message); }

std::string ShapeText(const py::array& a) {
  std::string s = "(";
  for (py::ssize_t i = 0; i < a.ndim(); ++i) s += (i ? ", " : "") + std::to_string(a.shape(i));
  return s + (a.ndim() == 1 ? ",)" : ")");
}

namespace {

// A numpy masked array's data as float32 with its masked elements NaN:
// numpy would hand the library the values under the mask, which for an
// elevation model read with its no-data mask are fill values (-9999,
// -32768), not heights.
FloatArray MaskedAsNaN(const py::handle& obj, const py::module_& ma, const char* what) {
  const FloatArray data = AsFloat32(ma.attr("getdata")(obj), what);
  using BoolArray = py::array_t<bool, py::array::c_style | py::array::forcecast>;
  const BoolArray mask = ma.attr("getmaskarray")(obj);
  std::vector<py::ssize_t> shape(data.shape(), data.shape() + data.ndim());
  FloatArray out(shape);
  const float* from = data.data();
  const bool* masked = mask.data();
  float* to = out.mutable_data();
  for (py::ssize_t i = 0; i < data.size(); ++i) to[i] = masked[i] ? std::nanf("") : from[i];
  return out;
}

}  // namespace

FloatArray AsFloat32(const py::handle& obj, const char* what) {
  const py::module_ ma = py::module_::import("numpy.ma");
  if (py::isinstance(obj, ma.attr("MaskedArray"))) return MaskedAsNaN(obj, ma, what);
  py::array any = py::array::ensure(obj);
  if (!any) ThrowType(std::string(what) + ": expected a float32 numpy array");
  const char kind = any.dtype().kind();
  if (kind != 'f' && kind != 'i' && kind != 'u' && kind != 'b')
    ThrowType(std::string(what) + ": expected a float32 array (bool, integer and float dtypes are converted), got dtype " +
              std::string(py::str(any.dtype())));
  // Copies only when the dtype or the layout differ; numpy's own error (a
  // MemoryError for a copy too large to allocate) reaches the caller.
  return FloatArray(any);
}

FloatArray AsField(const py::handle& obj, const char* what) {
  FloatArray a = AsFloat32(obj, what);
  if (a.ndim() != 2)
    ThrowValue(std::string(what) + ": expected a 2-D array (rows, cols), got shape " + ShapeText(a));
  if (a.shape(0) == 0 || a.shape(1) == 0) ThrowValue(std::string(what) + ": empty array of shape " + ShapeText(a));
  if (a.shape(0) > CSSEMatrix::kMaxRows)
    ThrowValue(std::string(what) + ": " + std::to_string(a.shape(0)) + " rows; a raster holds at most " +
               std::to_string(CSSEMatrix::kMaxRows));
  if (a.shape(1) > (1 << 26)) ThrowValue(std::string(what) + ": too many columns: " + ShapeText(a));
  return a;
}

FloatArray AsPoints(const py::handle& obj, int dims, const char* what, std::int64_t minCount) {
  FloatArray a = AsFloat32(obj, what);
  if (a.ndim() != 2 || a.shape(1) != dims)
    ThrowValue(std::string(what) + ": expected an array of shape (n, " + std::to_string(dims) + "), got shape " +
               ShapeText(a));
  if (a.shape(0) < minCount)
    ThrowValue(std::string(what) + ": needs at least " + std::to_string(minCount) + " points, got " +
               std::to_string(a.shape(0)));
  if (a.shape(0) > (1 << 28)) ThrowValue(std::string(what) + ": too many points");
  const float* p = a.data();
  for (py::ssize_t i = 0; i < a.size(); ++i)
    if (!std::isfinite(p[i]))
      ThrowValue(std::string(what) + ": coordinates must be finite (point " + std::to_string(i / dims) +
                 " is NaN, infinite or masked)");
  return a;
}

void FiniteFactors(const py::sequence& factors, int count, const char* what, float* out) {
  if (py::len(factors) != static_cast<size_t>(count))
    ThrowValue(std::string(what) + ": expected " + std::to_string(count) + " factors");
  for (int i = 0; i < count; ++i) {
    try {
      out[i] = factors[i].cast<float>();
    } catch (const py::cast_error&) {
      ThrowType(std::string(what) + ": expected numbers, got " + std::string(py::repr(factors)));
    }
    if (!std::isfinite(out[i])) ThrowValue(std::string(what) + ": factors must be finite");
  }
}

namespace {

// NaN and infinities become 0: v - v is 0 exactly for finite v.
inline __m128 Sanitize(__m128 v) { return _mm_and_ps(v, _mm_cmpeq_ps(_mm_sub_ps(v, v), _mm_setzero_ps())); }

}  // namespace

namespace {

// The raster's storage is one block; large ones are offered to the kernel as
// huge pages (as numpy does for its own arrays), which saves most of the page
// faults of writing a fresh block.
void AdviseHugePages(const CSSEMatrix& m) {
  constexpr std::uintptr_t kHuge = 2u << 20;
  const std::size_t bytes = sizeof(__m128) * static_cast<std::size_t>(m.GetSSESizeX()) * m.GetSSESizeY();
  if (bytes < 2 * kHuge) return;
  const auto begin = reinterpret_cast<std::uintptr_t>(m.GetMatrixDataDirectly()[0]);
  const std::uintptr_t from = (begin + kHuge - 1) & ~(kHuge - 1), to = (begin + bytes) & ~(kHuge - 1);
  if (to > from) ::madvise(reinterpret_cast<void*>(from), to - from, MADV_HUGEPAGE);
}

}  // namespace

void ArrayToRaster(const float* data, int rows, int cols, CSSEMatrix& out) {
  out.CreateNoClear(cols, rows);
  AdviseHugePages(out);
  __m128** lines = out.GetMatrixDataDirectly();
  // Rows past the field (the padding lanes of the last register row) read zeros.
  std::vector<float> zeros(static_cast<size_t>(cols) + 4, 0.0f);
  for (int k = 0; k < out.GetSSESizeY(); ++k) {
    const float* r[4];
    for (int i = 0; i < 4; ++i) {
      const int y = 4 * k + i;
      r[i] = y < rows ? data + static_cast<size_t>(y) * cols : zeros.data();
    }
    __m128* line = lines[k];
    int x = 0;
    // Four columns of four rows: one 4 x 4 transpose gives four registers.
    for (; x + 4 <= cols; x += 4) {
      __m128 a = Sanitize(_mm_loadu_ps(r[0] + x)), b = Sanitize(_mm_loadu_ps(r[1] + x));
      __m128 c = Sanitize(_mm_loadu_ps(r[2] + x)), d = Sanitize(_mm_loadu_ps(r[3] + x));
      _MM_TRANSPOSE4_PS(a, b, c, d);
      line[x] = a;
      line[x + 1] = b;
      line[x + 2] = c;
      line[x + 3] = d;
    }
    for (; x < cols; ++x) line[x] = Sanitize(_mm_setr_ps(r[0][x], r[1][x], r[2][x], r[3][x]));
  }
}

void RasterToArray(const CSSEMatrix& raster, float* out) {
  const int rows = raster.GetSizeY(), cols = raster.GetSizeX();
  const __m128* const* lines = raster.GetMatrixDataDirectly();
  if (!lines) return;
  for (int k = 0; 4 * k < rows; ++k) {
    const __m128* line = lines[k];
    float* r[4];
    const int bandRows = rows - 4 * k < 4 ? rows - 4 * k : 4;
    for (int i = 0; i < 4; ++i) r[i] = out + static_cast<size_t>(4 * k + (i < bandRows ? i : 0)) * cols;
    if (bandRows == 4) {
      int x = 0;
      for (; x + 4 <= cols; x += 4) {
        __m128 a = line[x], b = line[x + 1], c = line[x + 2], d = line[x + 3];
        _MM_TRANSPOSE4_PS(a, b, c, d);
        _mm_storeu_ps(r[0] + x, a);
        _mm_storeu_ps(r[1] + x, b);
        _mm_storeu_ps(r[2] + x, c);
        _mm_storeu_ps(r[3] + x, d);
      }
      for (; x < cols; ++x) {
        const float* lanes = reinterpret_cast<const float*>(line + x);
        for (int i = 0; i < 4; ++i) r[i][x] = lanes[i];
      }
    } else {
      for (int x = 0; x < cols; ++x) {
        const float* lanes = reinterpret_cast<const float*>(line + x);
        for (int i = 0; i < bandRows; ++i) r[i][x] = lanes[i];
      }
    }
  }
}

FloatArray RasterToNumpy(const CSSEMatrix& raster) {
  FloatArray out({static_cast<py::ssize_t>(raster.GetSizeY()), static_cast<py::ssize_t>(raster.GetSizeX())});
  float* data = out.mutable_data();
  {
    py::gil_scoped_release release;
    RasterToArray(raster, data);
  }
  return out;
}

void NumpyToRaster(const FloatArray& field, CSSEMatrix& out) {
  const float* data = field.data();
  const int rows = static_cast<int>(field.shape(0)), cols = static_cast<int>(field.shape(1));
  py::gil_scoped_release release;
  ArrayToRaster(data, rows, cols, out);
}

}  // namespace relief::python
