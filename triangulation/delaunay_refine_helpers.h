#pragma once

#include "core/pixel_rounding.h"
#include "relief/CSSEMatrix.h"
#include "relief/SSEPoint.h"

namespace relief::detail {

// Mean of three points in all four lanes: (a + b) + c, then divided by 3.
inline SSEPoint Centroid(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c) {
  SSEPoint p;
  p.m = _mm_div_ps(_mm_add_ps(_mm_add_ps(a.m, b.m), c.m), _mm_set1_ps(3.0f));
  return p;
}

inline float FieldAt(const CSSEMatrix* field, double x, double y) {
  if (!field) return 0.0f;
  return field->GetPoint(ClampedPixelOf(x, field->GetSizeX()), ClampedPixelOf(y, field->GetSizeY()));
}

bool BigEnough(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c, float minHeightSqr);
bool Rough(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c, float zToleranceSqr);

}  // namespace relief::detail
