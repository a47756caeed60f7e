#pragma once

// Figures about height fields that several subcommands print: what a raster
// holds, and how far a result departs from a reference.

#include <cstdint>
#include <string>

class CSSEMatrix;

namespace relief::tool {

// The one definition of a pixel that carries a height, shared by `info`,
// `mesh` and every figure the tool prints: its value is above the threshold
// (below it with `below`). By default above 0, so 0 ("no data") and negative
// heights are not valid; a lower threshold takes negative heights in.
struct ValidRule {
  float threshold = 0.0f;
  bool below = false;
  bool operator()(float v) const { return below ? v < threshold : v > threshold; }
};

struct RasterSummary {
  int width = 0, height = 0;
  std::int64_t valid = 0;                // pixels valid by the rule
  std::int64_t nonZero = 0;              // pixels that are not 0 (0 means no data)
  float minimum = 0.0f, maximum = 0.0f;  // over the non-zero pixels; 0, 0 when none
  // Over the non-zero pixels the rule leaves out; 0, 0 when none.
  float leftOutMinimum = 0.0f, leftOutMaximum = 0.0f;
};

RasterSummary Summarize(const CSSEMatrix& raster, const ValidRule& rule = ValidRule());

// When the rule leaves out heights the field holds (an elevation model below
// 0 under the default threshold), the words that say so and what to change,
// to append to an "empty" error, naming the threshold as `option`; "" when
// every non-zero pixel is valid.
std::string ThresholdHint(const RasterSummary& summary, const ValidRule& rule, const char* option = "--threshold");

// Sets every pixel that is not valid by the rule to 0 (no data), so that the
// library's meshers, which take any non-zero value for a height, see the same
// pixels as `info` and `mesh`. Returns how many non-zero pixels it cleared.
std::int64_t ClearInvalid(CSSEMatrix& raster, const ValidRule& rule);

// BadUsage unless every corner a mesh of the summarised field can have,
// (column x sx, row x sy, value x sz), is a finite float: a huge --scale or
// huge heights would otherwise give infinite coordinates.
void CheckScaleFits(const RasterSummary& summary, const float scale[3]);

struct ErrorFigures {
  std::int64_t compared = 0;  // pixels where both hold a value
  double maxAbove = 0.0;      // largest result - reference there (>= 0)
  double maxBelow = 0.0;      // largest reference - result there (>= 0)
  double maxAbs = 0.0;        // max(maxAbove, maxBelow)
  double rms = 0.0;           // root mean square of result - reference there
  std::int64_t lost = 0;      // reference pixels with a value where the result has none
  std::int64_t spill = 0;     // result pixels with a value where the reference has none
};

// Compares result with reference where both hold a value (not 0); result
// pixel (x - offsetX, y - offsetY) lies over reference pixel (x, y) (a result
// that starts at the reference's column offsetX). Result pixels outside the
// result count as 0. Sums run in double in row-major order.
ErrorFigures CompareRasters(const CSSEMatrix& reference, const CSSEMatrix& result, int offsetX, int offsetY);

}  // namespace relief::tool
