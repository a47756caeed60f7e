#pragma once

// Scanning a triangle's pixels against the plane of its corners, for the
// error-bounded mesher. The field is a plain row-major float copy of the valid
// box (0 = no data); triangle corners are integer pixel positions in it.

#include <cstdint>

namespace relief::detail {

struct SFieldView {
  const float* data = nullptr;  // width * height floats, row by row
  int width = 0, height = 0;
};

// A triangle: corners counter-clockwise (positive orientation), heights as
// given to the plane.
struct SScanTriangle {
  int x[3], y[3];
  double z[3];
};

struct STriangleScanResult {
  double error = 0.0;   // largest |field - plane| over the valid pixels covered
  int x = -1, y = -1;   // the first pixel (row by row) with that error; -1 when none counts
  bool coversData = false;  // some valid pixel centre lies in the triangle (edges included)
};

// Scans every pixel centre in the triangle, edges included. The error at a
// corner is rounding only, so a worst pixel that is a corner scores 0.
STriangleScanResult ScanTriangle(const SFieldView& field, const SScanTriangle& t);

// For the final figures: every valid pixel in the triangle not yet marked in
// seen (one byte per pixel of the field) is marked and its error added.
void MeasureTriangle(const SFieldView& field, const SScanTriangle& t, std::uint8_t* seen, double& sumSquares,
                     double& maxError, std::int64_t& count);

}  // namespace relief::detail
