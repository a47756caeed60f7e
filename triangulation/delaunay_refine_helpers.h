#pragma once

#include <algorithm>

#include "relief/CSSEMatrix.h"
#include "relief/SSEPoint.h"

namespace relief::detail {

// Mean of three points in all four lanes: (a + b) + c, then divided by 3.
inline SSEPoint Centroid(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c) {
  SSEPoint p;
  p.m = _mm_div_ps(_mm_add_ps(_mm_add_ps(a.m, b.m), c.m), _mm_set1_ps(3.0f));
  return p;
}

// Raster cell of a coordinate: add 0.5, truncate toward zero, clamp.
inline int CellOf(double v, int size) {
  const double r = v + 0.5;
  if (!(r > 0.0)) return 0;
  if (r >= size) return std::max(size - 1, 0);
  return static_cast<int>(r);
}

inline float FieldAt(const CSSEMatrix* field, double x, double y) {
  if (!field) return 0.0f;
  return field->GetPoint(CellOf(x, field->GetSizeX()), CellOf(y, field->GetSizeY()));
}

bool BigEnough(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c, float minHeightSqr);
bool Rough(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c, float zToleranceSqr);

}  // namespace relief::detail
