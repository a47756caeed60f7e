// CSSEMatrix::GetValidBoundingBox: one pass over the registers.

#include <algorithm>

#include "raster/no_data.h"
#include "raster/separable_filter.h"
#include "relief/CSSEMatrix.h"

bool CSSEMatrix::GetValidBoundingBox(int& minX, int& minY, int& maxX, int& maxY) const {
  if (!m_ppLines) return false;
  int x0 = m_nSizeX, x1 = -1, y0 = m_nSizeY, y1 = -1;
  for (int k = 0; 4 * k < m_nSizeY; ++k) {
    const __m128 pixels = relief::detail::PixelLaneMask(k, m_nSizeY);
    const __m128* line = m_ppLines[k];
    int rows = 0;  // lanes that hold data somewhere in this SSE row
    for (int x = 0; x < m_nSizeX; ++x) {
      const int lanes = _mm_movemask_ps(_mm_and_ps(pixels, relief::detail::HoldsData(line[x])));
      if (!lanes) continue;
      rows |= lanes;
      x0 = std::min(x0, x);
      x1 = std::max(x1, x);
    }
    if (!rows) continue;
    y0 = std::min(y0, 4 * k + __builtin_ctz(rows));
    y1 = 4 * k + 31 - __builtin_clz(rows);
  }
  if (x1 < 0) return false;
  minX = x0;
  minY = y0;
  maxX = x1;
  maxY = y1;
  return true;
}
