#pragma once

// Scanning a triangle's pixels against the plane of its corners, for the
// error-bounded mesher. The field is a plain row-major float copy of the valid
// box (0 = no data); triangle corners are integer pixel positions in it.

#include <cstdint>
#include <vector>

namespace relief::detail {

struct SFieldView {
  const float* data = nullptr;  // width * height floats, row by row, then 4 more (read, never scored)
  int width = 0, height = 0;
  double largestHeight = 0.0;   // the largest |height|, for the bound of the float screening
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
  bool coversData = false;  // a valid pixel centre other than a corner lies in the triangle (edges included)
};

// One row of a scan: its covered columns and its worst error screened in float.
struct SScannedRow {
  int from, to;
  float screened;  // -1 for a row without pixels
};

// Scans every pixel centre in the triangle, edges included: every row in
// float first, then the rows that may hold the worst pixel in double. The
// error at a corner is rounding only, so a worst pixel that is a corner
// scores 0. scratch is working memory, kept by the caller between calls.
STriangleScanResult ScanTriangle(const SFieldView& field, const SScanTriangle& t, std::vector<SScannedRow>& scratch);

// The valid pixel in the triangle, corners excluded, nearest to the corners
// flagged in cornerMask (bit k for corner k); the first of equals row by row.
// False when there is none.
bool NearestDataPixel(const SFieldView& field, const SScanTriangle& t, int cornerMask, int& x, int& y);

// For the final figures: writes |field - plane| of every pixel in the
// triangle into errors (one float per pixel of the field). Pixels on a shared
// edge are written twice with the same figure up to rounding.
void MeasureTriangle(const SFieldView& field, const SScanTriangle& t, float* errors);

}  // namespace relief::detail
