// CSSE3dPolygon: distance of raster pixels to the contour.

#include <cmath>

#include "contour/float_arrays.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"

using relief::detail::TruncToInt;

void CSSE3dPolygon::InternalAreaDistanceTransform(float value, CSSEMatrix* heights, CSSEMatrix* target,
                                                  t_resolutiondata& r, bool steep) {
  if (!heights || !target) return;
  NormalizeXYZ(r);
  CalcBoundingBox();
  // The box plus a margin of 4 pixels, clipped to the target raster.
  auto lower = [](float v) {
    const long long t = static_cast<long long>(TruncToInt(v)) - 4;
    return t > 0 ? static_cast<int>(t) : 0;
  };
  auto upper = [](float v, int size) {
    const long long t = static_cast<long long>(TruncToInt(v)) + 4;
    return t < size ? static_cast<int>(t) : size;
  };
  const int x0 = lower(m_pBottomLeft->x), x1 = upper(m_pTopRight->x, target->GetSizeX());
  const int y0 = lower(m_pBottomLeft->y), y1 = upper(m_pTopRight->y, target->GetSizeY());
  // Groups of four contour points passed over between two examined groups:
  // about 0.1 physical units of contour.
  int skip = TruncToInt(0.1 / static_cast<double>(r.x) + 0.5);
  if (skip < 0) skip = 0;  // a zero, negative or NaN factor examines every group
  if (skip > (1 << 28)) skip = 1 << 28;

  // The normalized position is accumulated, not recomputed, per column and
  // per row; the float sums fix which pixels fall under the 0.35 rule.
  float ny = static_cast<float>(y0) * r.y;
  for (int y = y0; y < y1; ++y, ny += r.y) {
    float nx = static_cast<float>(x0) * r.x;
    for (int x = x0; x < x1; ++x, nx += r.x) {
      const float old = target->GetPoint(x, y);
      if (!(std::fabs(old - value) < 20.0f)) continue;
      const float d = GetMinEuclDistanceXY(nx, ny, skip);
      if (d <= 0.35f) {
        target->SetPoint(x, y, d);
        continue;
      }
      float w = steep ? 2.0f * d : 0.5f * d;
      if (w > 1.0f) w = 1.0f;
      const float d3 = GetMinEuclDistanceSpecial(nx, ny, heights->GetPoint(x, y), 2 * skip);
      target->SetPoint(x, y, w * d3 + (1.0f - w) * d);
    }
  }
}
