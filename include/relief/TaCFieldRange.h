#pragma once

#include "relief/Export.h"

class CSSEMatrix;

// A band of admissible heights over a raster's pixels: at every pixel a
// height must lie at or above the lower field plus Offset and at or below
// the upper field minus Offset (for a restoration, e.g. above the
// preparation and below the antagonist). Either field may be null (no
// bound on that side); a pixel holding 0 (no data) bounds nothing. The
// fields are borrowed, not owned.
class RELIEF_API TaCFieldRange {
 public:
  TaCFieldRange() = default;
  TaCFieldRange(CSSEMatrix* lower, CSSEMatrix* upper, float offset) : pLower(lower), pUpper(upper), Offset(offset) {}

  CSSEMatrix* pLower = nullptr;
  CSSEMatrix* pUpper = nullptr;
  float Offset = 0.0f;
};
