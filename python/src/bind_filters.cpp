// The smoothing and rank filters (CFilters): box_mean, minimum, maximum and
// median over height fields, and minimum / maximum over byte masks.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include <pybind11/stl.h>

#include "raster_object.h"

#include "relief/CFilters.h"
#include "relief/CSSEMatrix.h"
#include "relief/CSSEcharMatrix.h"

namespace relief::python {

namespace {

enum class Filter { kBoxMean, kMinimum, kMaximum, kMedian };

// Windows are clipped to the raster, so a radius past the larger side acts
// as that side; clamping keeps the library's window arithmetic small.
int RadiusArgument(long long radius, int rows, int cols) {
  if (radius < 0) ThrowValue("radius: must be 0 or more, got " + std::to_string(radius));
  return static_cast<int>(std::min<long long>(radius, std::max(rows, cols)));
}

void RunFloat(Filter filter, const CSSEMatrix& source, CSSEMatrix& target, int radius, bool zeroIsNoData) {
  switch (filter) {
    case Filter::kBoxMean: CFilters::BoxMean(source, target, radius, zeroIsNoData); break;
    case Filter::kMinimum: CFilters::Minimum(source, target, radius, zeroIsNoData); break;
    case Filter::kMaximum: CFilters::Maximum(source, target, radius, zeroIsNoData); break;
    case Filter::kMedian: CFilters::Median(source, target, radius, zeroIsNoData); break;
  }
}

FloatArray FilterField(Filter filter, const py::handle& field, long long radius, bool zeroIsNoData) {
  CSSEMatrix scratch, target;
  const CSSEMatrix& source = FieldArgument(field, "field", scratch);
  const int r = RadiusArgument(radius, source.GetSizeY(), source.GetSizeX());
  {
    py::gil_scoped_release release;
    RunFloat(filter, source, target, r, zeroIsNoData);
  }
  return RasterToNumpy(target);
}

// A one-byte mask: bool, uint8 or int8.
bool IsByteMask(const py::handle& obj) {
  if (!py::isinstance<py::array>(obj)) return false;
  const py::dtype dt = py::reinterpret_borrow<py::array>(obj).dtype();
  return dt.itemsize() == 1 && (dt.kind() == 'b' || dt.kind() == 'u' || dt.kind() == 'i');
}

// The byte filters order signed bytes; flipping the top bit maps uint8's
// order onto it (0 -> -128, 255 -> 127) and back.
py::array FilterMask(Filter filter, const py::handle& obj, long long radius) {
  const py::array original = py::reinterpret_borrow<py::array>(obj);
  const py::dtype dtype = original.dtype();
  using ByteArray = py::array_t<std::uint8_t, py::array::c_style | py::array::forcecast>;
  // Same-size integer casts keep the bytes (int8 -1 reads as 255).
  ByteArray bytes = ByteArray::ensure(original);
  if (!bytes) ThrowType("mask: cannot read as bytes");
  if (bytes.ndim() != 2) ThrowValue("mask: expected a 2-D array (rows, cols), got shape " + ShapeText(bytes));
  if (bytes.shape(0) == 0 || bytes.shape(1) == 0) ThrowValue("mask: empty array of shape " + ShapeText(bytes));
  if (bytes.shape(0) > CSSEcharMatrix::kMaxRows || bytes.shape(1) > (1 << 26))
    ThrowValue("mask: too large for a byte raster: " + ShapeText(bytes));
  const int rows = static_cast<int>(bytes.shape(0)), cols = static_cast<int>(bytes.shape(1));
  const int r = RadiusArgument(radius, rows, cols);
  const std::uint8_t flip = dtype.kind() == 'u' ? 0x80 : 0x00;
  py::array out(dtype, {static_cast<py::ssize_t>(rows), static_cast<py::ssize_t>(cols)});
  const std::uint8_t* in = bytes.data();
  auto* result = static_cast<std::uint8_t*>(out.mutable_data());
  {
    py::gil_scoped_release release;
    CSSEcharMatrix mask(cols, rows), target;
    // Byte (y & 15) of register x of register row (y >> 4) holds pixel (x, y).
    __m128i** lines = mask.GetMatrixDataDirectly();
    for (int y = 0; y < rows; ++y) {
      const std::uint8_t* row = in + static_cast<size_t>(y) * cols;
      __m128i* line = lines[y >> 4];
      for (int x = 0; x < cols; ++x) reinterpret_cast<std::uint8_t*>(line + x)[y & 15] = row[x] ^ flip;
    }
    if (filter == Filter::kMinimum)
      CFilters::Minimum(mask, target, r);
    else
      CFilters::Maximum(mask, target, r);
    __m128i** done = target.GetMatrixDataDirectly();
    for (int y = 0; y < rows; ++y) {
      std::uint8_t* row = result + static_cast<size_t>(y) * cols;
      const __m128i* line = done[y >> 4];
      for (int x = 0; x < cols; ++x) row[x] = reinterpret_cast<const std::uint8_t*>(line + x)[y & 15] ^ flip;
    }
  }
  return out;
}

py::object RankFilter(Filter filter, const py::handle& field, long long radius, std::optional<bool> zeroIsNoData) {
  if (IsByteMask(field)) {
    if (zeroIsNoData.value_or(false))
      ThrowValue("zero_is_no_data: masks (bool, uint8, int8) have no no-data value; 0 is an ordinary value there");
    return FilterMask(filter, field, radius);
  }
  return FilterField(filter, field, radius, zeroIsNoData.value_or(true));
}

const char* const kNoDataText = R"doc(
No data (zero_is_no_data=True, the default for height fields): pixels
holding 0 (NaN and infinities read as 0, as everywhere) keep their 0, and
every other pixel is filtered over the pixels of its window that hold data,
so the rim of a scan does not sag towards 0. With zero_is_no_data=False, 0
is an ordinary value. Windows are (2 radius + 1)^2 pixels, clipped to the
field at its borders (never padded); radius 0 returns a copy.)doc";

}  // namespace

void BindFilters(py::module_& m) {
  m.def(
      "box_mean",
      [](const py::handle& field, long long radius, bool zeroIsNoData) {
        return FilterField(Filter::kBoxMean, field, radius, zeroIsNoData);
      },
      py::arg("field"), py::arg("radius") = 1, py::arg("zero_is_no_data") = true,
      (std::string(R"doc(
Mean of each pixel's window. field: 2-D array or Raster; returns float32 of
its shape.)doc") + kNoDataText).c_str());

  m.def(
      "median",
      [](const py::handle& field, long long radius, bool zeroIsNoData) {
        return FilterField(Filter::kMedian, field, radius, zeroIsNoData);
      },
      py::arg("field"), py::arg("radius") = 1, py::arg("zero_is_no_data") = true,
      (std::string(R"doc(
Median of each pixel's window; of an even number of values (clipped or
no-data windows) the lower of the two middle ones. field: 2-D array or
Raster; returns float32 of its shape.)doc") + kNoDataText).c_str());

  const std::string rankText = std::string(R"doc(
field: a 2-D height field (any real dtype, or a Raster) -> float32; or a
byte mask (bool, uint8, int8) -> the same dtype, an erosion (minimum) or
dilation (maximum) by a square, where 0 is an ordinary value and
zero_is_no_data must be left unset or False.)doc") + kNoDataText;
  m.def(
      "minimum",
      [](const py::handle& field, long long radius, std::optional<bool> zeroIsNoData) {
        return RankFilter(Filter::kMinimum, field, radius, zeroIsNoData);
      },
      py::arg("field"), py::arg("radius") = 1, py::arg("zero_is_no_data") = py::none(),
      ("Smallest value of each pixel's window.\n" + rankText).c_str());
  m.def(
      "maximum",
      [](const py::handle& field, long long radius, std::optional<bool> zeroIsNoData) {
        return RankFilter(Filter::kMaximum, field, radius, zeroIsNoData);
      },
      py::arg("field"), py::arg("radius") = 1, py::arg("zero_is_no_data") = py::none(),
      ("Largest value of each pixel's window.\n" + rankText).c_str());
}

}  // namespace relief::python
