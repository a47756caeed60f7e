// CSSEMatrix searches for pixels that hold data: the first in row-major
// order, the nearest to a point, the next along a row or a column.

#include <algorithm>
#include <climits>

#include "raster/no_data.h"
#include "raster/separable_filter.h"
#include "relief/CSSEMatrix.h"

using relief::detail::HoldsData;

bool CSSEMatrix::FindFirstValidPixel(int& foundX, int& foundY) const {
  if (!m_ppLines) return false;
  for (int k = 0; 4 * k < m_nSizeY; ++k) {
    const __m128 pixels = relief::detail::PixelLaneMask(k, m_nSizeY);
    const __m128* line = m_ppLines[k];
    int firstX[4] = {-1, -1, -1, -1}, seen = 0;
    for (int x = 0; x < m_nSizeX && seen != 0xF; ++x) {
      const int fresh = _mm_movemask_ps(_mm_and_ps(pixels, HoldsData(line[x]))) & ~seen;
      for (int j = 0; j < 4; ++j)
        if (fresh & (1 << j)) firstX[j] = x;
      seen |= fresh;
      if (seen & 1) break;  // nothing can come before lane 0's first
    }
    for (int j = 0; j < 4; ++j)
      if (firstX[j] >= 0) {
        foundX = firstX[j];
        foundY = 4 * k + j;
        return true;
      }
  }
  return false;
}

bool CSSEMatrix::FindNearestValidPixel(int x, int y, int& foundX, int& foundY) const {
  if (!m_ppLines || m_nSizeX == 0 || m_nSizeY == 0) return false;
  x = std::clamp(x, 0, m_nSizeX - 1);
  y = std::clamp(y, 0, m_nSizeY - 1);
  long long best = LLONG_MAX;
  int bx = -1, by = -1;
  auto consider = [&](int px, int py) {
    if (px < 0 || py < 0 || px >= m_nSizeX || py >= m_nSizeY || !HoldsData(GetPoint(px, py))) return;
    const long long d2 = static_cast<long long>(px - x) * (px - x) + static_cast<long long>(py - y) * (py - y);
    if (d2 < best || (d2 == best && (py < by || (py == by && px < bx)))) {
      best = d2;
      bx = px;
      by = py;
    }
  };
  // Rings of growing Chebyshev distance d; a pixel on ring d is at least d
  // away, so once d^2 exceeds the best squared distance nothing nearer is left.
  const int maxRing = std::max(m_nSizeX, m_nSizeY);
  for (int d = 0; d <= maxRing && static_cast<long long>(d) * d <= best; ++d) {
    if (d == 0) {
      consider(x, y);
      continue;
    }
    for (int px = std::max(x - d, 0); px <= std::min(x + d, m_nSizeX - 1); ++px) {
      consider(px, y - d);
      consider(px, y + d);
    }
    for (int py = std::max(y - d + 1, 0); py <= std::min(y + d - 1, m_nSizeY - 1); ++py) {
      consider(x - d, py);
      consider(x + d, py);
    }
  }
  if (bx < 0) return false;
  foundX = bx;
  foundY = by;
  return true;
}

int CSSEMatrix::FindValidPixelInRow(int y, int xFrom, int step) const {
  if (!m_ppLines || m_nSizeX == 0 || m_nSizeY == 0) return -1;
  const int dx = step < 0 ? -1 : 1;
  for (int x = std::clamp(xFrom, 0, m_nSizeX - 1); x >= 0 && x < m_nSizeX; x += dx)
    if (HoldsData(GetPoint(x, y))) return x;
  return -1;
}

int CSSEMatrix::FindValidPixelInColumn(int x, int yFrom, int step) const {
  if (!m_ppLines || m_nSizeX == 0 || m_nSizeY == 0) return -1;
  const int dy = step < 0 ? -1 : 1;
  for (int y = std::clamp(yFrom, 0, m_nSizeY - 1); y >= 0 && y < m_nSizeY; y += dy)
    if (HoldsData(GetPoint(x, y))) return y;
  return -1;
}
