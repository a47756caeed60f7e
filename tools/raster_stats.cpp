#include "raster_stats.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "errors.h"
#include "relief/CSSEMatrix.h"

namespace relief::tool {

RasterSummary Summarize(const CSSEMatrix& raster, const ValidRule& rule) {
  RasterSummary s;
  s.width = raster.GetSizeX();
  s.height = raster.GetSizeY();
  // Widens [lo, hi] to take v in; the first value sets both.
  const auto widen = [](float v, bool& first, float& lo, float& hi) {
    lo = first ? v : std::min(lo, v);
    hi = first ? v : std::max(hi, v);
    first = false;
  };
  bool firstNonZero = true, firstLeftOut = true;
  for (int y = 0; y < s.height; ++y)
    for (int x = 0; x < s.width; ++x) {
      const float v = raster.GetPoint(x, y);
      const bool valid = rule(v);
      s.valid += valid ? 1 : 0;
      if (v == 0.0f) continue;
      ++s.nonZero;
      widen(v, firstNonZero, s.minimum, s.maximum);
      if (!valid) widen(v, firstLeftOut, s.leftOutMinimum, s.leftOutMaximum);
    }
  return s;
}

std::string ThresholdHint(const RasterSummary& summary, const ValidRule& rule, const char* option) {
  const std::int64_t leftOut = summary.nonZero - summary.valid;
  if (leftOut <= 0) return "";
  char text[256];
  std::snprintf(text, sizeof text,
                "; %lld pixel(s) hold heights from %g to %g that the threshold %g leaves out (%s %s to take them in)",
                static_cast<long long>(leftOut), summary.leftOutMinimum, summary.leftOutMaximum, rule.threshold,
                rule.below ? "raise" : "lower", option);
  return text;
}

std::int64_t ClearInvalid(CSSEMatrix& raster, const ValidRule& rule) {
  std::int64_t cleared = 0;
  for (int y = 0; y < raster.GetSizeY(); ++y)
    for (int x = 0; x < raster.GetSizeX(); ++x) {
      float* v = raster.GetPointAddress(x, y);
      if (!v || *v == 0.0f || rule(*v)) continue;
      *v = 0.0f;
      ++cleared;
    }
  return cleared;
}

void CheckScaleFits(const RasterSummary& summary, const float scale[3]) {
  const float largestHeight = std::max(std::fabs(summary.minimum), std::fabs(summary.maximum));
  const float reach[3] = {static_cast<float>(summary.width), static_cast<float>(summary.height), largestHeight};
  static const char* const kAxis[3] = {"x", "y", "z"};
  for (int a = 0; a < 3; ++a)
    if (!std::isfinite(reach[a] * scale[a]))
      throw BadUsage(std::string("scale ") + kAxis[a] + " " + std::to_string(scale[a]) +
                     " makes coordinates overflow the float range");
}

ErrorFigures CompareRasters(const CSSEMatrix& reference, const CSSEMatrix& result, int offsetX, int offsetY) {
  ErrorFigures e;
  double sumSquares = 0.0;
  const int rw = result.GetSizeX(), rh = result.GetSizeY();
  auto resultAt = [&](int x, int y) {
    // The result's own clamping would repeat border pixels; outside is empty.
    return x < 0 || y < 0 || x >= rw || y >= rh ? 0.0f : result.GetPoint(x, y);
  };
  for (int y = 0; y < reference.GetSizeY(); ++y)
    for (int x = 0; x < reference.GetSizeX(); ++x) {
      const float ref = reference.GetPoint(x, y);
      const float got = resultAt(x - offsetX, y - offsetY);
      if (ref == 0.0f || got == 0.0f) {
        e.spill += ref == 0.0f && got != 0.0f;
        e.lost += ref != 0.0f && got == 0.0f;
        continue;
      }
      const double d = static_cast<double>(got) - ref;
      ++e.compared;
      e.maxAbove = std::max(e.maxAbove, d);
      e.maxBelow = std::max(e.maxBelow, -d);
      sumSquares += d * d;
    }
  // Result pixels beyond the reference's extent have nothing under them.
  for (int y = 0; y < rh; ++y)
    for (int x = 0; x < rw; ++x) {
      const int rx = x + offsetX, ry = y + offsetY;
      if ((rx < 0 || ry < 0 || rx >= reference.GetSizeX() || ry >= reference.GetSizeY()) &&
          result.GetPoint(x, y) != 0.0f)
        ++e.spill;
    }
  e.maxAbs = std::max(e.maxAbove, e.maxBelow);
  e.rms = e.compared ? std::sqrt(sumSquares / static_cast<double>(e.compared)) : 0.0;
  return e;
}

}  // namespace relief::tool
