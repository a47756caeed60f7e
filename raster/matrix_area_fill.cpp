// CSSEMatrix area fills: a scanline flood fill over a visited bitmap, shared
// by the plain fill (same value as the seed) and the cylinder fill.

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "relief/CSSEMatrix.h"

namespace {

// Fills the region of pixels connected to (sx, sy) inside the box [x0, x1] x
// [y0, y1] for which inside(x, y, value) holds, with `value`; returns the
// number of pixels filled. The bitmap makes a fill value that itself passes
// the test safe; each pixel is tested before it is overwritten.
template <class Inside>
int FillRegion(CSSEMatrix& m, int sx, int sy, int x0, int y0, int x1, int y1, bool eightConnected, float value,
               Inside inside) {
  const int bw = x1 - x0 + 1, bh = y1 - y0 + 1;
  std::vector<bool> visited(static_cast<std::size_t>(bw) * bh, false);
  auto seen = [&](int x, int y) { return visited[static_cast<std::size_t>(y - y0) * bw + (x - x0)]; };
  auto open = [&](int x, int y) { return !seen(x, y) && inside(x, y, m.GetPoint(x, y)); };
  std::vector<std::pair<int, int>> stack{{sx, sy}};
  const int reach = eightConnected ? 1 : 0;
  int filled = 0;
  while (!stack.empty()) {
    const auto [x, y] = stack.back();
    stack.pop_back();
    if (!open(x, y)) continue;
    int left = x, right = x;
    while (left > x0 && open(left - 1, y)) --left;
    while (right < x1 && open(right + 1, y)) ++right;
    for (int px = left; px <= right; ++px) {
      visited[static_cast<std::size_t>(y - y0) * bw + (px - x0)] = true;
      m.SetPoint(px, y, value);
    }
    filled += right - left + 1;
    for (int ny : {y - 1, y + 1}) {
      if (ny < y0 || ny > y1) continue;
      bool inRun = false;  // push one seed per run of open pixels
      for (int px = std::max(left - reach, x0); px <= std::min(right + reach, x1); ++px) {
        const bool o = open(px, ny);
        if (o && !inRun) stack.emplace_back(px, ny);
        inRun = o;
      }
    }
  }
  return filled;
}

}  // namespace

int CSSEMatrix::FillArea(int x, int y, float value, bool eightConnected) {
  if (!m_ppLines || x < 0 || y < 0 || x >= m_nSizeX || y >= m_nSizeY) return 0;
  const float seed = GetPoint(x, y);
  if (seed != seed) return 0;
  return FillRegion(*this, x, y, 0, 0, m_nSizeX - 1, m_nSizeY - 1, eightConnected, value,
                    [seed](int, int, float v) { return v == seed; });
}

int CSSEMatrix::FillAreaZylindrical(int x, int y, float radius, float height, float value) {
  if (!m_ppLines || x < 0 || y < 0 || x >= m_nSizeX || y >= m_nSizeY) return 0;
  const float seed = GetPoint(x, y);
  if (seed != seed || !(radius >= 0.0f) || !(height >= 0.0f)) return 0;
  const double r2 = static_cast<double>(radius) * radius;
  const int reach = static_cast<int>(std::min<double>(radius, m_nSizeX + m_nSizeY));
  return FillRegion(*this, x, y, std::max(x - reach, 0), std::max(y - reach, 0), std::min(x + reach, m_nSizeX - 1),
                    std::min(y + reach, m_nSizeY - 1), false, value, [=](int px, int py, float v) {
                      const double dx = px - x, dy = py - y;
                      return dx * dx + dy * dy <= r2 && std::fabs(static_cast<double>(v) - seed) <= height;
                    });
}
