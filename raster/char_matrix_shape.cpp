// CSSEcharMatrix members that change the raster's size: stacking two
// rasters, framing, widening and enlarging by interpolation. Each builds
// the new raster aside and copies it in, so a failed allocation leaves this
// raster as it was.

#include <algorithm>
#include <climits>
#include <cmath>

#include "relief/CMemoryException.h"
#include "relief/CSSEcharMatrix.h"

namespace {

// Pixels of `from` into `to`, shifted by (dx, dy); only where both exist.
void Blit(CSSEcharMatrix& from, CSSEcharMatrix& to, int dx, int dy) {
  for (int y = 0; y < from.GetSizeY(); ++y)
    for (int x = 0; x < from.GetSizeX(); ++x) to.SetPoint(x + dx, y + dy, from.GetPoint(x, y));
}

void Stack(CSSEcharMatrix& top, CSSEcharMatrix& bottom, int bottomRow) {
  if (!top.GetMatrixDataDirectly() || !bottom.GetMatrixDataDirectly()) return;
  CSSEcharMatrix copyOfBottom(bottom);  // bottom may be top itself
  CSSEcharMatrix result(std::max(top.GetSizeX(), bottom.GetSizeX()), bottomRow + bottom.GetSizeY());
  Blit(top, result, 0, 0);
  Blit(copyOfBottom, result, 0, bottomRow);
  top.CopyFromOtherMatrix(result);
}

}  // namespace

void CSSEcharMatrix::CombineYDir(CSSEcharMatrix& other) { Stack(*this, other, SizeY); }

void CSSEcharMatrix::CombineYDirFast(CSSEcharMatrix& other) {
  if (!m_ppLines || !other.GetMatrixDataDirectly()) return;
  // Whole registers of other land on whole registers of the result.
  const int bottomRow = 16 * ((SizeY + 15) >> 4);
  CSSEcharMatrix copyOfOther(other);
  CSSEcharMatrix result(std::max(SizeX, other.GetSizeX()), bottomRow + other.GetSizeY());
  __m128i** dst = result.GetMatrixDataDirectly();
  for (int q = 0; 16 * q < SizeY; ++q) std::copy(m_ppLines[q], m_ppLines[q] + SizeX, dst[q]);
  __m128i** src = copyOfOther.GetMatrixDataDirectly();
  for (int q = 0; 16 * q < copyOfOther.GetSizeY(); ++q)
    std::copy(src[q], src[q] + copyOfOther.GetSizeX(), dst[(bottomRow >> 4) + q]);
  // Spare rows of the last copied register of this raster are not pixels of
  // it; clear them so the gap rows read 0.
  for (int y = SizeY; y < bottomRow; ++y)
    for (int x = 0; x < result.GetSizeX(); ++x) result.SetPoint(x, y, 0);
  CopyFromOtherMatrix(result);
}

void CSSEcharMatrix::EmbedinValueFrame(int frameX, int frameY, char value) {
  if (!m_ppLines || frameX < 0 || frameY < 0) return;
  CSSEcharMatrix result(SizeX + 2 * frameX, SizeY + 2 * frameY);
  result.Clear(value);
  Blit(*this, result, frameX, frameY);
  CopyFromOtherMatrix(result);
}

void CSSEcharMatrix::ElongateRight(int n) {
  if (!m_ppLines || n < 1) return;
  CSSEcharMatrix result(SizeX + n, SizeY);
  Blit(*this, result, 0, 0);
  if (SizeX > 0)
    for (int y = 0; y < SizeY; ++y)
      for (int x = SizeX; x < SizeX + n; ++x) result.SetPoint(x, y, GetPoint(SizeX - 1, y));
  CopyFromOtherMatrix(result);
}

void CSSEcharMatrix::ElongateLeft(int n) {
  if (!m_ppLines || n < 1) return;
  CSSEcharMatrix result(SizeX + n, SizeY);
  Blit(*this, result, n, 0);
  if (SizeX > 0)
    for (int y = 0; y < SizeY; ++y)
      for (int x = 0; x < n; ++x) result.SetPoint(x, y, GetPoint(0, y));
  CopyFromOtherMatrix(result);
}

void CSSEcharMatrix::InterpolateUp(int factorX, int factorY) {
  if (!m_ppLines || factorX < 1 || factorY < 1 || SizeX < 1 || SizeY < 1) return;
  if (factorX == 1 && factorY == 1) return;
  const long long nx = static_cast<long long>(SizeX) * factorX, ny = static_cast<long long>(SizeY) * factorY;
  if (nx > INT_MAX || ny > kMaxRows) AfxThrowMemoryException();
  CSSEcharMatrix result(static_cast<int>(nx), static_cast<int>(ny));
  auto axis = [](int i, int factor, int size, int& i0, int& i1, double& f) {
    const double s = std::clamp((i + 0.5) / factor - 0.5, 0.0, static_cast<double>(size - 1));
    i0 = static_cast<int>(s);
    i1 = std::min(i0 + 1, size - 1);
    f = s - i0;
  };
  for (int y = 0; y < ny; ++y) {
    int y0, y1;
    double fy;
    axis(y, factorY, SizeY, y0, y1, fy);
    for (int x = 0; x < nx; ++x) {
      int x0, x1;
      double fx;
      axis(x, factorX, SizeX, x0, x1, fx);
      auto at = [&](int px, int py) { return static_cast<double>(static_cast<signed char>(GetPoint(px, py))); };
      const double top = at(x0, y0) + (at(x1, y0) - at(x0, y0)) * fx;
      const double bottom = at(x0, y1) + (at(x1, y1) - at(x0, y1)) * fx;
      result.SetPoint(x, y, static_cast<char>(std::lround(top + (bottom - top) * fy)));
    }
  }
  CopyFromOtherMatrix(result);
}
