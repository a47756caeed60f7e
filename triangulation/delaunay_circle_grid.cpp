#include "triangulation/delaunay_circle_grid.h"

#include <algorithm>
#include <cmath>

namespace relief::detail {

namespace {
// A circle whose box covers more cells than this is cheaper to visit on every
// query than to file cell by cell (thin hull triangles have huge circles).
constexpr long long kMaxCellsPerCircle = 64;
}  // namespace

void CCircleGrid::Reset(double x0, double y0, double x1, double y1, std::size_t cells) {
  m_Cells.clear();
  m_Unbounded.clear();
  m_nCount = 0;
  if (!(x1 >= x0) || !(y1 >= y0) || !std::isfinite(x1 - x0) || !std::isfinite(y1 - y0)) {
    x0 = y0 = 0.0;
    x1 = y1 = 1.0;
  }
  const double w = std::max(x1 - x0, 1e-6), h = std::max(y1 - y0, 1e-6);
  const double side = std::sqrt(w * h / static_cast<double>(std::max<std::size_t>(cells, 1)));
  m_nX = static_cast<int>(std::min(4096.0, std::max(1.0, std::ceil(w / side))));
  m_nY = static_cast<int>(std::min(4096.0, std::max(1.0, std::ceil(h / side))));
  m_fX0 = x0;
  m_fY0 = y0;
  m_fInv = 1.0 / std::max(w / m_nX, h / m_nY);
  m_Cells.resize(static_cast<std::size_t>(m_nX) * m_nY);
}

void CCircleGrid::Insert(t_hdelaunaytriangle* t) {
  ++m_nCount;
  const double r2 = t->fRadiusSqr, cx = t->fCenterX, cy = t->fCenterY;
  bool bounded = std::isfinite(r2) && std::isfinite(cx) && std::isfinite(cy) && r2 >= 0.0;
  if (bounded) {
    // Half side of the box: see the exactness note in the header. The absolute
    // terms cover the double rounding of c +- r and circles of zero radius.
    const double r = std::sqrt(r2) * (1.0 + 1e-5) + (std::fabs(cx) + std::fabs(cy)) * 1e-12 + 1e-15;
    const int ix0 = CellX(cx - r), ix1 = CellX(cx + r), iy0 = CellY(cy - r), iy1 = CellY(cy + r);
    if (static_cast<long long>(ix1 - ix0 + 1) * (iy1 - iy0 + 1) <= kMaxCellsPerCircle) {
      t->nGridBox[0] = ix0;
      t->nGridBox[1] = iy0;
      t->nGridBox[2] = ix1;
      t->nGridBox[3] = iy1;
      t->nGridSlot = -1;
      for (int iy = iy0; iy <= iy1; ++iy)
        for (int ix = ix0; ix <= ix1; ++ix) m_Cells[static_cast<std::size_t>(iy) * m_nX + ix].push_back(t);
      return;
    }
  }
  t->nGridBox[0] = -1;
  t->nGridSlot = static_cast<int32_t>(m_Unbounded.size());
  m_Unbounded.push_back(t);
}

void CCircleGrid::Erase(t_hdelaunaytriangle* t) {
  --m_nCount;
  if (t->nGridSlot >= 0) {
    const std::size_t slot = static_cast<std::size_t>(t->nGridSlot);
    m_Unbounded[slot] = m_Unbounded.back();
    m_Unbounded[slot]->nGridSlot = static_cast<int32_t>(slot);
    m_Unbounded.pop_back();
    t->nGridSlot = -1;
    return;
  }
  for (int iy = t->nGridBox[1]; iy <= t->nGridBox[3]; ++iy)
    for (int ix = t->nGridBox[0]; ix <= t->nGridBox[2]; ++ix) {
      std::vector<t_hdelaunaytriangle*>& cell = m_Cells[static_cast<std::size_t>(iy) * m_nX + ix];
      auto it = std::find(cell.begin(), cell.end(), t);
      *it = cell.back();
      cell.pop_back();
    }
}

}  // namespace relief::detail
