// CSSE3dPolygon: outlines stamped at the vertices, the x-z side fill and the
// ray fill.

#include <algorithm>
#include <cmath>

#include "contour/float_arrays.h"
#include "relief/CSSE3dPolygon.h"
#include "relief/CSSEMatrix.h"

using relief::detail::ClampedPixelOf;
using relief::detail::PixelOf;

void CSSE3dPolygon::DrawInMatrix(CSSEMatrix* m) {
  if (!m) return;
  for (int i = 0; i < m_nNumPoints; ++i)
    m->SetPoint(ClampedPixelOf(m_pX[i], m->GetSizeX()), ClampedPixelOf(m_pY[i], m->GetSizeY()), m_pZ[i]);
}

void CSSE3dPolygon::DrawInMatrix(float value, CSSEMatrix* m, bool zy, float offsetX, float offsetY, bool xz) {
  if (!m) return;
  for (int i = 0; i < m_nNumPoints; ++i) {
    if (xz) {
      m->Set3x3BoxPoint(PixelOf(m_pX[i] + offsetX), PixelOf(m_pZ[i] + offsetY), value);
    } else if (zy) {
      // The z-y view has always ignored the offsets; callers pass zeros.
      m->SetPoint(ClampedPixelOf(m_pZ[i], m->GetSizeX()), ClampedPixelOf(m_pY[i], m->GetSizeY()), value);
    } else {
      m->Set3x3BoxPoint(PixelOf(m_pX[i] + offsetX), PixelOf(m_pY[i] + offsetY), value);
    }
  }
}

void CSSE3dPolygon::DrawInMatrixAndFillToOneSideFront(float value, CSSEMatrix* m, float offsetX, float offsetZ,
                                                      bool front) {
  if (!m) return;
  const int rows = m->GetSizeY();
  for (int i = 0; i < m_nNumPoints; ++i) {
    const int c = PixelOf(m_pX[i] + offsetX);
    const int r = PixelOf(m_pZ[i] + offsetZ);
    // Stamps centred above row 1 or below row rows - 2 are shifted onto those
    // rows, so starting the strokes there gives the same pixels without
    // walking from a far-away (or, for a NaN z, INT_MIN) row.
    if (!front) {
      for (int row = std::max(r, 0); row < rows - 1; ++row) m->Set3x3BoxPoint(c, row, value);
    } else if (r >= 2) {
      for (int row = std::min(r, std::max(rows - 1, 2)); row > 1; --row) m->Set3x3BoxPoint(c, row, value);
    }
  }
}

void CSSE3dPolygon::DrawInMatrixAndFill(float value, CSSEMatrix* m) {
  if (!m || !m->GetMatrixDataDirectly()) return;
  const int sizeX = m->GetSizeX(), sizeY = m->GetSizeY();
  if (sizeX <= 0 || sizeY <= 0) return;
  // Only whole groups of four vertices take part, as in the minimum-distance
  // searches; the last count mod 4 are left out on purpose (the contours
  // filled this way are dense, and results must not change with that rule).
  const int used = 4 * (m_nNumPoints / 4);
  for (int i = 0; i < used; ++i)
    m->SetPoint(ClampedPixelOf(m_pX[i], sizeX), ClampedPixelOf(m_pY[i], sizeY), value);

  for (int i = 0; i < used; ++i) {
    const int next = i + 1 < used ? i + 1 : 0;
    const float dx = m_pX[next] - m_pX[i];
    const float dy = m_pY[next] - m_pY[i];
    const int x = ClampedPixelOf(m_pX[i], sizeX);
    const int y = ClampedPixelOf(m_pY[i], sizeY);
    // The run goes to the left of the direction of travel, perpendicular to
    // its dominant component: the interior of a contour of positive signed
    // area.
    int stepX = 0, stepY = 0;
    if (std::fabs(dx) > std::fabs(dy))
      stepY = dx > 0.0f ? 1 : -1;
    else
      stepX = dy > 0.0f ? -1 : 1;
    for (int px = x + stepX, py = y + stepY; px >= 0 && px < sizeX && py >= 0 && py < sizeY;
         px += stepX, py += stepY) {
      float* pixel = m->GetPointAddress(px, py);
      if (std::fabs(*pixel) >= 1.0f) break;
      *pixel = value;
    }
  }
}
