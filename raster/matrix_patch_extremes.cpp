// CSSEMatrix::CalcPatchExtremes: extremes of a rectangle with positions.

#include <algorithm>

#include "raster/no_data.h"
#include "raster/register_walk.h"
#include "relief/CSSEMatrix.h"

t_patchextremes CSSEMatrix::CalcPatchExtremes(int xFrom, int yFrom, int xTo, int yTo, bool excludeNoData) const {
  t_patchextremes e{1e6f, -1, -1, -1e6f, -1, -1, 0};
  if (!m_ppLines || m_nSizeX == 0 || m_nSizeY == 0) return e;
  const int x0 = std::clamp(std::min(xFrom, xTo), 0, m_nSizeX - 1), x1 = std::clamp(std::max(xFrom, xTo), 0, m_nSizeX - 1);
  const int y0 = std::clamp(std::min(yFrom, yTo), 0, m_nSizeY - 1), y1 = std::clamp(std::max(yFrom, yTo), 0, m_nSizeY - 1);
  bool first = true;
  for (int y = y0; y <= y1; ++y) {
    const float* row = relief::detail::ImageRow(m_ppLines, y);
    for (int x = x0; x <= x1; ++x) {
      const float v = row[4 * x];
      if (v != v || (excludeNoData && v == 0.0f)) continue;
      ++e.nCount;
      // The first pixel sets both; later ones replace only when strictly
      // beyond, so the first extreme in row-major order is kept.
      if (first || v < e.fMin) e.fMin = v, e.nMinX = x, e.nMinY = y;
      if (first || v > e.fMax) e.fMax = v, e.nMaxX = x, e.nMaxY = y;
      first = false;
    }
  }
  return e;
}
