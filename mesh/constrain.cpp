// CHTriangulation against a height field: corners pulled onto the field.

#include "relief/CHTriangulation.h"
#include "relief/CSSEMatrix.h"
#include "relief/TaCFieldRange.h"

namespace {

// Float to pixel: add 0.5 and truncate toward zero; values beyond int (or
// NaN) are brought into range first, the raster clamps the rest.
int ToPixel(float v) {
  const double d = static_cast<double>(v) + 0.5;
  if (!(d > -1.0)) return -1;
  if (d > 2147483647.0) return 2147483647;
  return static_cast<int>(d);
}

}  // namespace

void CHTriangulation::ConstrainWithHeightField(bool top, CSSEMatrix* field, float offset) {
  if (!field || !field->GetMatrixDataDirectly()) return;
  const int corners = 3 * NumTriangles;
  for (int i = 0; i < corners; ++i) {
    SSEPoint& p = EdgeArray[i];
    // Nearest pixel, clamped by the raster like every pixel read.
    const float h = field->GetPoint(ToPixel(p.x), ToPixel(p.y));
    if (h == 0.0f) continue;  // no data
    if (top) {
      const float floor = h + offset;
      if (p.z < floor) p.z = floor;
    } else {
      const float ceiling = h - offset;
      if (p.z > ceiling) p.z = ceiling;
    }
  }
}

void CHTriangulation::ConstrainWithHeightField(TaCFieldRange& range) {
  ConstrainWithHeightField(false, range.pUpper, range.Offset);
  ConstrainWithHeightField(true, range.pLower, range.Offset);
}
